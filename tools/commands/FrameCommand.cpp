#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/output/PictureFile.h"
#include "tools/output/RgbPicture.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

namespace {

struct Request
{
    QString path;
    QString picturePath;
    long long time = 0; // microseconds
    bool asStored = false;
    ColourSettings colours;
};

Request RequestIn(Arguments& arguments)
{
    Request request;
    request.path = arguments.OnlyFile();
    if (!arguments.Has("at"))
        arguments.Reject(QStringLiteral("frame needs --at TIME"));
    request.time = arguments.Time("at", 0);
    request.picturePath = arguments.Output(PictureFile::Endings());
    request.asStored = arguments.Has("as-stored");
    request.colours = arguments.Colours(/*followsStream=*/true, /*exact=*/true);
    return request;
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
                     .arg(request.path, TimeText::Clock(request.time), TimeText::Clock(picture->startTime)));
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
    return WritePicture(picture, request.picturePath,
                        QStringLiteral("the picture at %1 (%2us)")
                            .arg(TimeText::Clock(record.startTime), QString::number(record.startTime)));
}

ExitCode Run(Arguments& arguments, MessageLog& log)
{
    Request const request = RequestIn(arguments);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    auto const source = OpenPictures(request.path, log, request.colours);
    if (!source)
        return ExitCode::CannotOpen;
    SayWhatItIs(*source, request.path);
    PictureStream::Picture picture;
    ExitCode const found = Find(*source, request, picture);
    return found == ExitCode::Ok ? Write(*picture, request) : found;
}

} // namespace

Command FrameCommand()
{
    return {"frame",
            "the exact picture at a time, as PNG, JPEG or PPM",
            "FILE --at TIME -o PICTURE",
            "Writes the picture of FILE that shows at TIME: the last one that starts at or\n"
            "before it, as it shows on the screen: pixels square, turned upright. The ending\n"
            "of PICTURE says the format: .png, .jpg, .jpeg or .ppm.\n\n"
            "The last picture shows until the file ends; a TIME past that is an error\n"
            "(exit code 4), and nothing is written.\n",
            {{"at", "TIME", "The time: 12.5, 00:00:12.500 or 12500000us."},
             Options::Output("PICTURE"),
             {"as-stored", nullptr, "Leave the picture as it is stored, not upright."},
             Options::Colours(/*followsStream=*/true),
             Options::noToneMapping},
            Run};
}
