#include "common/TimeText.h"
#include "common/Timecode.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/commands/Commands.h"
#include "tools/commands/FrameRequest.h"
#include "tools/commands/FrameSeries.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"
#include "tools/report/PictureCount.h"
#include "tools/report/PictureDamage.h"
#include "tools/report/SequenceFiles.h"

#include <QFileInfo>

#include <algorithm>
#include <optional>

namespace {

// A picture that was found, and what is wrong with it.
struct Found
{
    PictureStream::Picture picture;
    long long origin = 0;   // the container's time of media time 0
    bool hasErrors = false; // while it was decoded, and others beside it
    QString firstError;
};

// The number of the picture that is asked for by its timecode; false, having said why, when there is none.
bool FindNumber(Source const& source, FrameRequest& request)
{
    if (request.timecode.isEmpty())
        return true;
    StartTimecode const& told = source.GetStartTimecode();
    auto const start = Timecode::Parse(told.text, told.rate);
    auto const wanted = start ? start->ParseAlike(request.timecode) : std::nullopt;
    if (!start)
        Console::Say(request.path + QStringLiteral(": has no timecode"));
    else if (!wanted)
        Console::Say(QStringLiteral("%1: there is no timecode %2; the first picture has %3")
                         .arg(request.path, request.timecode, start->ToText()));
    if (!wanted)
        return false;
    long long const since = wanted->FramesSince(*start) * Timecode::PicturesPerFrame(source.GetFrameRate(), told.rate);
    request.number = source.GetFirstNumber() + since;
    return true;
}

// The same of a sequence, where it is the number in the file's name.
bool FindTimeInSequence(Source const& source, FrameRequest& request)
{
    ImageSequence const& sequence = source.GetSequence();
    long long const first = sequence.GetFirstNumber();
    bool const isInRange = *request.number >= first && *request.number - first < sequence.GetCount();
    if (!isInRange) {
        Console::Say(QStringLiteral("%1: there is no picture %2; the numbers are %3 to %4")
                         .arg(request.path, QString::number(*request.number), QString::number(first),
                              QString::number(first + sequence.GetCount() - 1)));
        return false;
    }
    request.time = SequenceFiles::TimeOf(source, *request.number - first);
    bool const hasFile = !sequence.GetFile(*request.number - first).isEmpty();
    if (!hasFile)
        Console::Say(
            QStringLiteral("%1: %2").arg(request.path, SequenceFiles::Describe({*request.number, *request.number})));
    return hasFile;
}

// The time of the picture that is asked for by its number; false, having said why, when there is none.
bool FindTime(Source const& source, FrameRequest& request)
{
    if (!request.number)
        return true;
    if (source.GetKind() == SourceKind::Sequence)
        return FindTimeInSequence(source, request);
    long long count = 0;
    auto const time = PictureCount::TimeOf(source, *request.number, count);
    request.time = time.value_or(0);
    if (!time && count == 0)
        Console::Say(request.path + QStringLiteral(": no picture could be decoded"));
    else if (!time)
        Console::Say(QStringLiteral("%1: there is no picture %2; the numbers are 0 to %3")
                         .arg(request.path, QString::number(*request.number), QString::number(count - 1)));
    return time.has_value();
}

ExitCode Find(Source const& source, FrameRequest const& request, MessageLog const& log, Found& found)
{
    FfmpegMessages const messages;
    int const errorsBefore = log.GetErrorCount();
    auto const pictures = source.OpenPictures();
    if (!pictures) {
        Console::Say(request.path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    }
    if (pictures->ReadAt(request.time, found.picture) != ReadResult::Got) {
        Console::Say(request.path + QStringLiteral(": no picture could be decoded"));
        return ExitCode::DecodingFailed;
    }
    found.origin = pictures->GetOrigin();
    found.hasErrors = messages.GetErrorCount() > 0 || log.GetErrorCount() > errorsBefore;
    found.firstError = messages.GetFirstError();
    if (!source.IsOver(*found.picture, request.time))
        return ExitCode::Ok;
    Console::Say(QStringLiteral("%1: %2 is past the end; the last picture starts at %3")
                     .arg(request.path, TimeText::Clock(request.time),
                          TimeText::PictureClock(found.picture->startTime, found.picture->endTime)));
    return ExitCode::DecodingFailed;
}

// Whether the picture is the one asked for and whole; says so when it is not. `isLost`: it is another one.
bool IsWhole(Source const& source, FrameRequest const& request, Found const& found, bool& isLost)
{
    long long const start = found.picture->startTime;
    if (!found.hasErrors)
        return true;
    auto const damage = source.HasOnePicture()
                            ? std::nullopt
                            : PictureDamage::Probe(source, found.origin, start, std::max(request.time, start));
    auto const lost = damage ? damage->FindLost(start, request.time) : std::nullopt;
    isLost = lost.has_value();
    if (lost)
        Console::Say(
            QStringLiteral("%1: the picture at %2 cannot be decoded; the one before it starts at %3")
                .arg(request.path, TimeText::PictureClock(*lost, *lost), TimeText::PictureClock(start, start)));
    else if (!damage)
        request.SayDamaged(start, found.firstError); // it, or one near it: its packets do not tell
    else if (damage->IsDamaged(start))
        request.SayDamaged(start, damage->GetFirstMessage());
    else
        return true;
    return false;
}

void SayWhatItIs(Source const& source, MediaItem const& item, QString const& path)
{
    if (item.isSequence)
        Console::Say(QStringLiteral("%1: %2 is one picture of this image sequence, by which times and numbers count; "
                                    "--stills takes it alone")
                         .arg(path, QFileInfo(item.path).fileName()));
    else if (source.GetKind() == SourceKind::Sequence)
        return;
    else if (source.GetInfo()->IsImage())
        Console::Say(path + QStringLiteral(": a still image, the same at every time"));
    else if (source.HasCoverOnly())
        Console::Say(path + QStringLiteral(": its only picture is cover art, the same at every time"));
    else if (source.GetInfo()->GetDuration() <= 0)
        Console::Say(
            path +
            QStringLiteral(": states no duration, so finding a picture may take decoding the file from the beginning"));
}

ExitCode WriteOne(Source const& source, FrameRequest const& request, MessageLog const& log)
{
    Found found;
    ExitCode const result = Find(source, request, log, found);
    if (result != ExitCode::Ok)
        return result;
    bool isLost = false;
    bool const isWhole = IsWhole(source, request, found, isLost);
    if (isLost)
        return ExitCode::DecodingFailed;
    QString const name =
        request.number ? QStringLiteral("picture %1").arg(*request.number) : QStringLiteral("the picture");
    ExitCode const written = request.Write(*found.picture, request.target, name);
    return written == ExitCode::Ok && !isWhole ? ExitCode::DecodingFailed : written;
}

// Each of its pictures has a file of its own, so that nothing else is read, and damage belongs to that file.
ExitCode WriteOneOfSequence(Source const& source, FrameRequest const& request)
{
    long long const asked = SequenceFiles::IndexAt(source, request.time);
    long long const index = source.GetSequence().GetIndexUpTo(asked);
    QString const name = SequenceFiles::NameOf(source, index);
    if (request.time >= source.GetDuration()) {
        Console::Say(QStringLiteral("%1: %2 is past the end; the last one is %3")
                         .arg(request.path, TimeText::Clock(request.time), name));
        return ExitCode::DecodingFailed;
    }
    if (index != asked)
        Console::Say(QStringLiteral("%1: the file of picture %2 is missing; picture %3 shows")
                         .arg(request.path, QString::number(SequenceFiles::NumberOf(source, asked)),
                              QString::number(SequenceFiles::NumberOf(source, index))));
    auto const decoded = SequenceFiles::Decode(source, index);
    if (!decoded.picture) {
        Console::Say(QStringLiteral("%1: %2 cannot be decoded").arg(request.path, name));
        return ExitCode::DecodingFailed;
    }
    if (decoded.isDamaged)
        Console::Say(QStringLiteral("%1: %2 is damaged: %3").arg(request.path, name, decoded.error));
    ExitCode const written = request.Write(*decoded.picture, request.target, name);
    return written == ExitCode::Ok && decoded.isDamaged ? ExitCode::DecodingFailed : written;
}

ExitCode Write(Source const& source, FrameRequest const& request, MessageLog const& log)
{
    if (request.isSeries)
        return FrameSeries(source, request).Write(log);
    return source.GetKind() == SourceKind::Sequence ? WriteOneOfSequence(source, request)
                                                    : WriteOne(source, request, log);
}

ExitCode RunFrame(Arguments& arguments, MessageLog& log)
{
    FrameRequest request = FrameRequest::From(arguments);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    auto const item = FindOnlyOne(request.path, MediaItems::Half::Pictures, request.rows);
    auto const source = OpenPictures(item, log, request.options);
    if (!source)
        return ExitCode::CannotOpen;
    request.path = source->GetName();
    if (request.isNamed && !item->isSequence && !source->HasOnePicture()) {
        FrameRequest::RejectUntold(arguments);
        return ExitCode::Usage;
    }
    if (request.isNamed && item->isSequence)
        request.number = SequenceFiles::NumberOf(*source, item->startIndex);
    else if (!request.isNamed)
        SayWhatItIs(*source, *item, request.path);
    if (!FindNumber(*source, request) || !FindTime(*source, request))
        return ExitCode::DecodingFailed;
    Silence const silence(log, source->GetKind() == SourceKind::Sequence); // its broken files are named
    return Write(*source, request, log);
}

} // namespace

Command FrameCommand()
{
    return {"frame",
            "write the exact picture at a time, or many pictures",
            "FILE [--at T | --number N | --every STEP [...]] -o PICTURE",
            "Writes the picture of FILE shown at T: the last one that starts at or before T.\n"
            "Pixels are square and the picture is upright. The ending of PICTURE selects the\n"
            "format: .png, .jpg, .jpeg, .ppm or .pnm.\n\n"
            "--number N writes picture N, counted from 0 as in the player. For most formats\n"
            "this reads the file up to its end, for some it decodes the pictures before N.\n\n"
            "FILE can be an image sequence, by its pattern (shot.%04d.png), its folder, or\n"
            "one of its files. N is then the number in the name of a file. One numbered file\n"
            "and no time gives the picture in that file. --stills takes a file by itself.\n\n"
            "--every, --from and --to write many pictures, each once and to its own file.\n"
            "--every 2.5 writes the pictures shown every 2.5 seconds, --every 10p every tenth\n"
            "picture. Without --every all pictures of the range are written. PICTURE then\n"
            "needs a place for the picture's number, counted from 0, or its time:\n"
            "shot-%04d.png, shot-####.png or shot-%t.png.\n\n"
            "-o - writes to standard output, as PNG if --format is not given. Messages go to\n"
            "standard error.\n\n"
            "The last picture shows until the file ends. If T is past that, or if the picture\n"
            "cannot be decoded, nothing is written and the exit code is 4. A damaged picture\n"
            "is written as far as it could be decoded, and the exit code is 4.\n",
            {{"at", "TIME", "The time: 12.5, 00:00:12.500, 12500000us, or a timecode: 01:00:10:02."},
             {"number", "N", "The number of the picture, from 0 or in its file's name, instead of a time."},
             {"every", "STEP", "Many pictures: at steps of a TIME, or every so many, as in 10p."},
             Options::from,
             Options::to,
             Options::PictureOutput(),
             Options::format,
             Options::fps,
             Options::stills,
             {"as-stored", nullptr, "Leave the picture as it is stored, not upright."},
             Options::Colours(/*followsStream=*/true),
             Options::noToneMapping},
            RunFrame};
}
