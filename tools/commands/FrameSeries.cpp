#include "tools/commands/FrameSeries.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"
#include "tools/report/PictureCount.h"
#include "tools/report/PictureDamage.h"
#include "tools/report/SequenceFiles.h"

#include <algorithm>

namespace {

// Between the times of packets and of pictures.
constexpr long long timeRounding = 1000;

} // namespace

FrameSeries::FrameSeries(Source const& newSource, FrameRequest const& newRequest)
    : source(newSource), request(newRequest), pattern(newRequest.target.path)
{}

ExitCode FrameSeries::Write(MessageLog const& log)
{
    auto messages = std::make_unique<FfmpegMessages>();
    int const errorsBefore = log.GetErrorCount();
    auto const pictures = source.OpenPictures();
    if (!pictures) {
        Console::Say(request.path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    }
    ExitCode const written = WriteAll(*pictures);
    bool const hasErrors = messages->GetErrorCount() > 0 || log.GetErrorCount() > errorsBefore;
    QString const firstError = messages->GetFirstError();
    messages.reset(); // those of the judgement are counted anew
    if (written == ExitCode::Ok && IsSequence())
        return JudgeFiles(pictures->GetDamage(), hasErrors);
    return written == ExitCode::Ok && hasErrors ? Judge(pictures->GetOrigin(), firstError) : written;
}

ExitCode FrameSeries::WriteAll(PictureStream& pictures)
{
    ExitCode const written = request.timeStep > 0 ? WriteByTime(pictures) : WriteByCount(pictures);
    if (written != ExitCode::Ok || !shown.empty())
        return written;
    Console::Say(request.path + QStringLiteral(": there is no picture in the time asked for"));
    return ExitCode::DecodingFailed;
}

ExitCode FrameSeries::WriteByTime(PictureStream& pictures)
{
    long long const step = request.timeStep;
    PictureStream::Picture picture;
    for (long long time = std::max(request.range.from, 0LL); time < request.range.to;) {
        if (pictures.ReadAt(time, picture) != ReadResult::Got || source.IsOver(*picture, time))
            break;
        ExitCode const written = Take(*picture, time);
        if (written != ExitCode::Ok || source.HasOnePicture())
            return written;
        time += step * (std::max(picture->endTime - time, 0LL) / step + 1); // it shows until then
    }
    return ExitCode::Ok;
}

ExitCode FrameSeries::WriteByCount(PictureStream& pictures)
{
    long long const from = std::max(request.range.from, 0LL);
    PictureStream::Picture picture;
    ReadResult result = pictures.ReadAt(from, picture);
    if (result == ReadResult::Got && source.IsOver(*picture, from))
        result = ReadResult::End;
    for (int i = 0; result == ReadResult::Got && picture->startTime < request.range.to; ++i) {
        long long const until = picture->endTime - timeRounding;
        if (IsSequence() ? !IsAskedFor(picture->startTime) : i % request.pictureStep != 0) {
            passed.push_back({picture->startTime, until});
        } else {
            ExitCode const written = Take(*picture, until);
            if (written != ExitCode::Ok)
                return written;
        }
        result = pictures.Read(picture);
    }
    return ExitCode::Ok;
}

// Of a picture of a sequence, where numbers without a file count, too.
bool FrameSeries::IsAskedFor(long long start) const
{
    long long const from = std::max(request.range.from, 0LL);
    long long const first = SequenceFiles::IndexAt(source, from);
    long long const index = SequenceFiles::IndexAt(source, start);
    if (request.timeStep == 0)
        return (index - first) % request.pictureStep == 0 && start < request.range.to;
    long long const after = SequenceFiles::TimeOf(source, index + 1);
    long long const steps = std::max(after - 1 - from, -1LL) / request.timeStep;
    long long const last = from + steps * request.timeStep; // the last step before the next picture
    return after > from && last >= start && last < request.range.to;
}

ExitCode FrameSeries::Take(DecodedVideoFrame const& picture, long long until)
{
    bool const isWritten = !shown.empty() && shown.back().start >= picture.startTime;
    shown.push_back({picture.startTime, until});
    if (isWritten)
        return ExitCode::Ok;
    PictureTarget target = request.target;
    long long const number = pattern.HasNumber() || IsSequence() ? NumberOf(picture) : 0;
    if (!target.IsStandardOutput())
        target.path = pattern.NameFor(number, picture.startTime);
    Console::ShowProgress(TimeText::Clock(picture.startTime));
    return request.Write(picture, target,
                         IsSequence() ? QStringLiteral("picture %1").arg(number) : QStringLiteral("the picture"));
}

// Of all pictures of the source, from 0, or in the file's name. Where no index tells it, the pictures before it are
// decoded.
long long FrameSeries::NumberOf(DecodedVideoFrame const& picture)
{
    if (IsSequence())
        return SequenceFiles::NumberOf(source, SequenceFiles::IndexAt(source, picture.startTime));
    if (!counter) {
        counter = source.OpenPictures();
        index = PictureCount::ReadIndex(source);
    }
    if (index && index->Has(picture.startTime, picture.endTime))
        return index->NumberFrom(picture.startTime);
    PictureStream::Picture next;
    while (countedUpTo < picture.startTime && counter && counter->Read(next) == ReadResult::Got) {
        countedUpTo = next->startTime;
        ++counted;
    }
    return counted - 1;
}

ExitCode FrameSeries::Judge(long long origin, QString const& firstError) const
{
    auto const damage = source.HasOnePicture()
                            ? std::nullopt
                            : PictureDamage::Probe(source, origin, shown.front().start, shown.back().until);
    if (!damage) {
        Console::Say(QStringLiteral("%1: damaged, or not fully readable: %2").arg(request.path, firstError));
        return ExitCode::DecodingFailed;
    }
    ExitCode result = ExitCode::Ok;
    for (Shown const& picture : shown) {
        bool const isDamaged = damage->IsDamaged(picture.start);
        auto const lost = damage->FindLost(picture.start, picture.until);
        if (isDamaged)
            request.SayDamaged(picture.start, damage->GetFirstMessage());
        if (lost)
            request.SayLost(*lost);
        if (isDamaged || lost)
            result = ExitCode::DecodingFailed;
    }
    for (Shown const& picture : passed) {
        if (auto const lost = damage->FindLost(picture.start, picture.until)) {
            request.SayLost(*lost);
            result = ExitCode::DecodingFailed;
        }
    }
    return result;
}

// Of a sequence each file is judged by itself.
ExitCode FrameSeries::JudgeFiles(QVector<long long> const& lost, bool hasErrors) const
{
    QStringList faults = FindLostFiles(lost);
    for (Shown const& picture : hasErrors ? shown : std::vector<Shown>()) {
        long long const index = SequenceFiles::IndexAt(source, picture.start);
        auto const decoded = SequenceFiles::Decode(source, index);
        if (decoded.isDamaged)
            faults << SequenceFiles::NameOf(source, index) + QStringLiteral(" is damaged: ") + decoded.error;
    }
    for (QString const& fault : faults)
        Console::Say(QStringLiteral("%1: %2").arg(request.path, fault));
    return faults.isEmpty() ? ExitCode::Ok : ExitCode::DecodingFailed;
}

// Steps of time ask for what shows then, and pictures stay where files are missing. Steps of pictures ask for files.
QStringList FrameSeries::FindLostFiles(QVector<long long> const& lost) const
{
    long long const from = std::max(request.range.from, 0LL);
    if (request.timeStep == 0 && request.pictureStep == 1)
        return SequenceFiles::DescribeFaults(source, lost, from, request.range.to);
    QStringList faults = request.timeStep == 0 ? FindMissingFiles(from) : QStringList();
    for (long long const time : lost) {
        if (IsAskedFor(time))
            faults << SequenceFiles::NameOf(source, SequenceFiles::IndexAt(source, time)) +
                          QStringLiteral(" cannot be decoded");
    }
    return faults;
}

// The first one of each hole that a step of pictures falls into.
QStringList FrameSeries::FindMissingFiles(long long from) const
{
    QStringList faults;
    long long const first = SequenceFiles::NumberOf(source, SequenceFiles::IndexAt(source, from));
    for (SequenceFiles::Hole const& hole : SequenceFiles::FindHoles(source)) {
        long long const steps = (std::max(hole.first - first, 0LL) + request.pictureStep - 1) / request.pictureStep;
        long long const asked = first + steps * request.pictureStep;
        long long const time = SequenceFiles::TimeOf(source, asked - source.GetFirstNumber());
        if (asked >= hole.first && asked <= hole.last && time < request.range.to)
            faults << SequenceFiles::Describe({asked, asked});
    }
    return faults;
}
