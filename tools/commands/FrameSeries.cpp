#include "tools/commands/FrameSeries.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"
#include "tools/report/PictureCount.h"
#include "tools/report/PictureDamage.h"

#include <algorithm>

namespace {

// Between the times of packets and of pictures.
constexpr long long rounding = 1000;

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
        long long const until = picture->endTime - rounding;
        if (i % request.pictureStep != 0) {
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

ExitCode FrameSeries::Take(DecodedVideoFrame const& picture, long long until)
{
    bool const isWritten = !shown.empty() && shown.back().start >= picture.startTime;
    shown.push_back({picture.startTime, until});
    if (isWritten)
        return ExitCode::Ok;
    PictureTarget target = request.target;
    if (!target.IsStandardOutput())
        target.path = pattern.NameFor(pattern.HasNumber() ? NumberOf(picture) : 0, picture.startTime);
    Console::ShowProgress(TimeText::Clock(picture.startTime));
    return request.Write(picture, target);
}

// Of all pictures of the source, from 0. Where no index tells it, the pictures before it are decoded.
long long FrameSeries::NumberOf(DecodedVideoFrame const& picture)
{
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
