#include "tools/report/SequenceFiles.h"

#include "decode/DecodedVideoFrame.h"
#include "source/PictureIndex.h"
#include "source/SequencePictures.h"
#include "tools/report/MessageLog.h"

#include <QFileInfo>

#include <algorithm>

namespace {

// A sequence whose first files are all broken is not searched any further.
constexpr int mostTried = 20;

} // namespace

QList<SequenceFiles::Hole> SequenceFiles::FindHoles(Source const& source)
{
    ImageSequence const& sequence = source.GetSequence();
    QList<Hole> holes;
    for (long long index = 0; index < sequence.GetCount();) {
        long long const next = sequence.GetIndexAfter(index);
        if (next < sequence.GetCount() && next > index + 1)
            holes.append({NumberOf(source, index + 1), NumberOf(source, next - 1)});
        index = next;
    }
    return holes;
}

long long SequenceFiles::GetBytes(Source const& source)
{
    long long bytes = 0;
    for (QString const& file : source.GetSequence().GetFiles())
        bytes += QFileInfo(file).size();
    return bytes;
}

QString SequenceFiles::Describe(Hole const& hole)
{
    if (hole.first == hole.last)
        return QStringLiteral("the file of picture %1 is missing").arg(hole.first);
    return QStringLiteral("the files of pictures %1 to %2 are missing").arg(hole.first).arg(hole.last);
}

long long SequenceFiles::IndexAt(Source const& source, long long time)
{
    return PictureIndex(source.GetSequence().GetCount(), source.GetSequenceRate()).NumberAt(time);
}

long long SequenceFiles::TimeOf(Source const& source, long long index)
{
    return SequencePictures::TimeOf(index, source.GetSequenceRate());
}

long long SequenceFiles::NumberOf(Source const& source, long long index)
{
    return source.GetSequence().GetFirstNumber() + index;
}

QString SequenceFiles::NameOf(Source const& source, long long index)
{
    return QStringLiteral("picture %1 (%2)")
        .arg(QString::number(NumberOf(source, index)), QFileInfo(source.GetSequence().GetFile(index)).fileName());
}

QStringList SequenceFiles::DescribeFaults(Source const& source, QVector<long long> const& lost, long long from,
                                          long long to)
{
    QStringList faults;
    for (Hole const& hole : FindHoles(source)) {
        long long const first = hole.first - source.GetSequence().GetFirstNumber();
        long long const last = hole.last - source.GetSequence().GetFirstNumber();
        if (TimeOf(source, last + 1) > from && TimeOf(source, first) < to)
            faults << Describe(hole);
    }
    for (long long const time : lost) {
        long long const index = IndexAt(source, time);
        if (TimeOf(source, index + 1) > from && time < to)
            faults << NameOf(source, index) + QStringLiteral(" cannot be decoded");
    }
    return faults;
}

SequenceFiles::Decoded SequenceFiles::Decode(Source const& source, long long index)
{
    ImageSequence const& sequence = source.GetSequence();
    SourceOptions options;
    options.colours = source.GetColours();
    FfmpegMessages const messages;
    SequencePictures alone(ImageSequence::FromFile(sequence.GetFile(index)), options);
    Decoded decoded;
    if (alone.ReadAt(0, decoded.picture) == ReadResult::Got) {
        decoded.picture->startTime = TimeOf(source, index);
        decoded.picture->endTime = TimeOf(source, sequence.GetIndexAfter(index)) - 1;
    }
    decoded.isDamaged = messages.GetErrorCount() > 0;
    decoded.error = messages.GetFirstError();
    return decoded;
}

std::optional<Source> SequenceFiles::DescribeOne(Source const& source)
{
    SourceOptions options;
    options.colours = source.GetColours();
    for (QString const& file : source.GetSequence().GetFiles().mid(0, mostTried)) {
        Source one = Source::OpenFile(file, options);
        bool const isImage = one.HasPictures() && one.GetWidth() > 0 && one.GetHeight() > 0;
        if (isImage)
            return one;
    }
    return std::nullopt;
}
