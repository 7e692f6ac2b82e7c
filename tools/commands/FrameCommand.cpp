#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/output/PictureFile.h"
#include "tools/output/RgbPicture.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"
#include "tools/report/PictureCount.h"

#include <limits>
#include <optional>

namespace {

struct Request
{
    QString path;
    QString picturePath;
    long long time = 0;              // microseconds
    std::optional<long long> number; // of the picture, instead of a time
    bool asStored = false;
    ColourSettings colours;
};

Request RequestIn(Arguments& arguments)
{
    Request request;
    request.path = arguments.OnlyFile();
    if (arguments.Has("at") == arguments.Has("number"))
        arguments.Reject(QStringLiteral("frame needs either --at TIME or --number N"));
    request.time = arguments.Time("at", 0);
    int const number = arguments.Number("number", 0, std::numeric_limits<int>::max(), 0);
    if (arguments.Has("number"))
        request.number = number;
    request.picturePath = arguments.Output(PictureFile::Endings());
    request.asStored = arguments.Has("as-stored");
    request.colours = arguments.Colours(/*followsStream=*/true, /*exact=*/true);
    return request;
}

// The time of the picture that is asked for by its number; false, having said why, when there is none.
bool FindTime(Source const& source, Request& request)
{
    if (!request.number)
        return true;
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

ExitCode Find(Source const& source, Request const& request, PictureStream::Picture& picture)
{
    auto const pictures = source.OpenPictures();
    if (!pictures) {
        Console::Say(request.path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    }
    if (pictures->ReadAt(request.time, picture) != ReadResult::Got) {
        Console::Say(request.path + QStringLiteral(": no picture could be decoded"));
        return ExitCode::DecodingFailed;
    }
    if (!source.IsOver(*picture, request.time))
        return ExitCode::Ok;
    Console::Say(QStringLiteral("%1: %2 is past the end; the last picture starts at %3")
                     .arg(request.path, TimeText::Clock(request.time),
                          TimeText::PictureClock(picture->startTime, picture->endTime)));
    return ExitCode::DecodingFailed;
}

void SayWhatItIs(Source const& source, QString const& path)
{
    if (source.GetInfo()->IsImage())
        Console::Say(path + QStringLiteral(": a still image, the same at every time"));
    else if (source.HasCoverOnly())
        Console::Say(path + QStringLiteral(": its only picture is cover art, the same at every time"));
    else if (source.GetInfo()->GetDuration() <= 0)
        Console::Say(path + QStringLiteral(": states no duration, so it is decoded from the beginning"));
}

ExitCode Write(DecodedVideoFrame const& record, Request const& request)
{
    int const degrees = request.asStored ? 0 : record.rotation;
    if (degrees % 90 != 0)
        Console::Say(QStringLiteral("to be turned by %1 degrees, which is left to the viewer").arg(degrees));
    RgbPicture const picture = RgbPicture::FromRecord(record).TurnedClockwise(degrees);
    return WritePicture(
        picture, request.picturePath,
        QStringLiteral("%1 at %2 (%3us)")
            .arg(request.number ? QStringLiteral("picture %1").arg(*request.number) : QStringLiteral("the picture"),
                 TimeText::PictureClock(record.startTime, record.endTime), QString::number(record.startTime)));
}

ExitCode Run(Arguments& arguments, MessageLog& log)
{
    Request request = RequestIn(arguments);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    auto const source = OpenPictures(request.path, log, request.colours);
    if (!source)
        return ExitCode::CannotOpen;
    SayWhatItIs(*source, request.path);
    if (!FindTime(*source, request))
        return ExitCode::DecodingFailed;
    PictureStream::Picture picture;
    ExitCode const found = Find(*source, request, picture);
    return found == ExitCode::Ok ? Write(*picture, request) : found;
}

} // namespace

Command FrameCommand()
{
    return {"frame",
            "the exact picture at a time, as PNG, JPEG or PPM",
            "FILE --at TIME | --number N -o PICTURE",
            "Writes the picture of FILE that shows at TIME: the last one that starts at or\n"
            "before it, as it shows on the screen: pixels square, turned upright. The ending\n"
            "of PICTURE says the format: .png, .jpg, .jpeg or .ppm.\n\n"
            "With --number it writes picture N, counted from 0 as the player does. Finding it\n"
            "takes reading the file, for some formats decoding it up to there.\n\n"
            "The last picture shows until the file ends; a TIME past that is an error\n"
            "(exit code 4), and nothing is written.\n",
            {{"at", "TIME", "The time: 12.5, 00:00:12.500 or 12500000us."},
             {"number", "N", "The number of the picture, from 0, instead of a time."},
             Options::Output("PICTURE"),
             {"as-stored", nullptr, "Leave the picture as it is stored, not upright."},
             Options::Colours(/*followsStream=*/true),
             Options::noToneMapping},
            Run};
}
