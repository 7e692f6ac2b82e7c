#include "tools/report/DecodeReport.h"

#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"
#include "source/PictureIndex.h"
#include "source/Source.h"
#include "tools/report/Console.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QtEndian>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

QString SumLine(char const* kind, long long time, QString const& size, QString const& sum)
{
    return QStringLiteral("%1 %2 %3 %4\n").arg(QLatin1String(kind), QString::number(time), size, sum);
}

QString Title(char const* title)
{
    return QStringLiteral("  %1").arg(QLatin1String(title), -10);
}

} // namespace

void DecodeReport::Span::Include(long long newStart, long long newEnd)
{
    start = std::min(start, newStart);
    end = std::max(end, newEnd);
}

DecodeReport::DecodeReport(Source const& newSource, bool newWithSums) : source(newSource), withSums(newWithSums) {}

void DecodeReport::Begin()
{
    if (withSums)
        Console::WriteData(QStringLiteral("# %1\n").arg(source.GetName()));
}

void DecodeReport::Take(SessionWalk::Records const& records)
{
    for (auto const& record : records.pictures) {
        if (SessionWalk::IsPicture(*record))
            TakePicture(*record);
        else
            ++(record->data ? sizeMarks : endMarks);
    }
    for (auto const& record : records.sounds)
        TakeSound(*record);
}

void DecodeReport::TakePicture(DecodedVideoFrame const& record)
{
    pictureReached = std::max(pictureReached, record.startTime);
    ++pictureCount;
    QString const size = QStringLiteral("%1x%2").arg(record.width).arg(record.height);
    if (!pictureSizes.contains(size))
        pictureSizes.append(size);
    pictureSpan.Include(record.startTime, record.startTime + StepAfter(record));
    if (withSums)
        Console::WriteData(SumLine("video", record.startTime, size, RecordSum::Of(record)));
}

void DecodeReport::SetNumbers(std::shared_ptr<PictureIndex const> newIndex)
{
    index = std::move(newIndex);
}

void DecodeReport::Finish()
{
    Console::ClearProgress();
    Console::WriteData(soundSums.join(QString()));
}

long long DecodeReport::StepAfter(DecodedVideoFrame const& record) const
{
    return record.frameRate > 0.0 ? static_cast<long long>(secondUs / record.frameRate) : 0;
}

void DecodeReport::TakeSound(DecodedAudioFrame const& record)
{
    long long const start = source.ToMediaTime(record.startTime);
    long long const end = source.ToMediaTime(record.endTime);
    soundReached = std::max(soundReached, start);
    ++soundCount;
    samplesPerChannel += record.frameCount;
    sampleRate = record.sampleRate;
    channels = record.frameCount > 0 ? record.sampleCount / record.frameCount : channels;
    soundSpan.Include(start, end + 1);
    if (withSums)
        soundSums.append(SumLine("audio", start, QStringLiteral("%1x%2").arg(record.frameCount).arg(channels),
                                 RecordSum::Of(record)));
}

long long DecodeReport::GetReachedTime() const
{
    return std::max(pictureReached, soundReached);
}

QString DecodeReport::Summary(double elapsedSeconds) const
{
    bool const isSequence = source.GetKind() == SourceKind::Sequence; // its files are read one by one, without marks
    QString const format = isSequence ? QString() : QStringLiteral(", ") + source.GetFormatName();
    QString text = QStringLiteral("%1\n%2%3%4\n").arg(source.GetName(), Title("kind"), source.Describe(), format);
    if (source.HasPictures())
        text += PictureLine();
    if (source.HasSound())
        text += SoundLine();
    if (!isSequence)
        text +=
            QStringLiteral("%1%2 of the end, %3 of a changed size\n").arg(Title("marks")).arg(endMarks).arg(sizeMarks);
    return text + SpeedLine(elapsedSeconds);
}

QString DecodeReport::PictureLine() const
{
    if (pictureCount == 0)
        return Title("pictures") + QStringLiteral("none\n");
    long long const number = index ? index->NumberFrom(pictureSpan.start) : -1;
    long long const firstEnd = number >= 0 ? index->EndOf(number) : pictureSpan.start;
    return QStringLiteral("%1%2%3, %4, %5 to %6\n")
        .arg(Title("pictures"), QString::number(pictureCount), NumbersText(),
             pictureSizes.join(QStringLiteral(" and ")), TimeText::PictureClock(pictureSpan.start, firstEnd),
             TimeText::Clock(pictureSpan.end));
}

// Empty where the numbers are not known.
QString DecodeReport::NumbersText() const
{
    long long const first = index ? index->NumberFrom(pictureSpan.start) : -1;
    long long const last = index ? index->NumberFrom(pictureReached) : -1;
    if (source.GetKind() == SourceKind::Sequence && first >= 0)
        return QStringLiteral(" (#%1 to #%2)").arg(source.GetFirstNumber() + first).arg(source.GetFirstNumber() + last);
    if (first < 0 || last - first + 1 != pictureCount)
        return {};
    return QStringLiteral(" (#%1 to #%2 of %3)").arg(first).arg(last).arg(index->GetCount());
}

QString DecodeReport::SoundLine() const
{
    if (soundCount == 0)
        return Title("sound") + QStringLiteral("none\n");
    return QStringLiteral("%1%2 samples a channel in %3 frames, %4 Hz, %5 channel%6, %7 to %8\n")
        .arg(Title("sound"), QString::number(samplesPerChannel), QString::number(soundCount),
             QString::number(sampleRate), QString::number(channels), channels == 1 ? QString() : QStringLiteral("s"),
             TimeText::Clock(soundSpan.start), TimeText::Clock(soundSpan.end));
}

QString DecodeReport::SpeedLine(double elapsedSeconds) const
{
    double const seconds = std::max(elapsedSeconds, 1e-6);
    double const played = static_cast<double>(std::max(pictureSpan.Duration(), soundSpan.Duration())) / secondUs;
    QString text = Title("speed");
    if (pictureCount > 0)
        text += QStringLiteral("%1 pictures a second, ").arg(static_cast<double>(pictureCount) / seconds, 0, 'f', 1);
    if (source.GetKind() != SourceKind::Still && played > 0.0)
        text += QStringLiteral("%1 times as fast as it plays, ").arg(played / seconds, 0, 'f', 1);
    return text + QStringLiteral("%1 s in all\n").arg(elapsedSeconds, 0, 'f', 3);
}

namespace {

QString Hexadecimal(QCryptographicHash const& hash)
{
    return QString::fromLatin1(hash.result().toHex());
}

QByteArray View(void const* bytes, int size)
{
    return QByteArray::fromRawData(static_cast<char const*>(bytes), size);
}

} // namespace

QString RecordSum::Of(DecodedVideoFrame const& record)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    int const stride = PaddedRowBytes(record.width);
    for (int row = 0; row < record.height; ++row)
        hash.addData(View(record.data + static_cast<size_t>(row) * static_cast<size_t>(stride), 3 * record.width));
    return Hexadecimal(hash);
}

QString RecordSum::Of(DecodedAudioFrame const& record)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    std::vector<short> samples(static_cast<size_t>(record.sampleCount));
    qToLittleEndian<short>(record.samples, record.sampleCount, samples.data());
    hash.addData(View(samples.data(), record.sampleCount * static_cast<int>(sizeof(short))));
    return Hexadecimal(hash);
}
