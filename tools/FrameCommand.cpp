#include "tools/FrameCommand.h"

#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/ColourOptions.h"
#include "tools/CommandAnswers.h"
#include "tools/Console.h"
#include "tools/MessageLog.h"
#include "tools/OpenSource.h"
#include "tools/OutputOption.h"
#include "tools/PictureFile.h"
#include "tools/RgbPicture.h"
#include "tools/TimeText.h"

#include <QCommandLineParser>

namespace {

struct Request
{
    QString path;
    QString picturePath;
    long long time = 0; // microseconds
    bool asStored = false;
    ColourSettings colours;
};

ExitCode TakeRequest(QCommandLineParser const& parser, Request& request)
{
    if (parser.positionalArguments().size() != 1)
        return CommandAnswers::RejectUsage(QStringLiteral("frame takes one file"));
    if (!parser.isSet(QStringLiteral("at")) || !parser.isSet(QStringLiteral("o")))
        return CommandAnswers::RejectUsage(QStringLiteral("frame needs --at TIME and -o PICTURE"));
    auto const time = TimeText::Parse(parser.value(QStringLiteral("at")));
    if (!time)
        return CommandAnswers::RejectUsage(
            QStringLiteral("\"%1\" is not a time").arg(parser.value(QStringLiteral("at"))));
    request.path = parser.positionalArguments().first();
    request.picturePath = OutputOption::Value(parser);
    request.time = *time;
    request.asStored = parser.isSet(QStringLiteral("as-stored"));
    if (!PictureFile::IsSupported(request.picturePath))
        return CommandAnswers::RejectUsage(
            QStringLiteral("\"%1\" does not end in .png, .jpg, .jpeg or .ppm").arg(request.picturePath));
    bool const isGood = ColourOptions::Take(parser, /*followsStream=*/true, /*exact=*/true, request.colours);
    return isGood ? ExitCode::Ok : ExitCode::Usage;
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
    QString error;
    if (!PictureFile::Write(picture, request.picturePath, error))
        return CommandAnswers::CannotWrite(request.picturePath, error);
    Console::WriteData(QStringLiteral("%1: the picture at %2 (%3us), %4x%5\n")
                           .arg(request.picturePath, TimeText::Clock(record.startTime))
                           .arg(record.startTime)
                           .arg(picture.width)
                           .arg(picture.height));
    return ExitCode::Ok;
}

} // namespace

QString FrameCommand::GetName() const
{
    return QStringLiteral("frame");
}

QString FrameCommand::GetSummary() const
{
    return QStringLiteral("the exact picture at a time, as PNG, JPEG or PPM");
}

QString FrameCommand::GetUsage() const
{
    return QStringLiteral("FILE --at TIME -o PICTURE");
}

QString FrameCommand::GetDescription() const
{
    return QStringLiteral("Writes the picture of FILE that shows at TIME: the last one that starts at or\n"
                          "before it, as it shows on the screen: pixels square, turned upright. The ending\n"
                          "of PICTURE says the format: .png, .jpg, .jpeg or .ppm.\n\n"
                          "The last picture shows until the file ends; a TIME past that is an error\n"
                          "(exit code 4), and nothing is written.\n");
}

void FrameCommand::AddOptions(QCommandLineParser& parser) const
{
    parser.addOption(
        {QStringLiteral("at"), QStringLiteral("The time: 12.5, 00:00:12.500 or 12500000us."), QStringLiteral("TIME")});
    OutputOption::Add(parser, QStringLiteral("PICTURE"));
    parser.addOption({QStringLiteral("as-stored"), QStringLiteral("Leave the picture as it is stored, not upright.")});
    ColourOptions::Add(parser, /*followsStream=*/true);
}

ExitCode FrameCommand::Run(QCommandLineParser const& parser, MessageLog& log)
{
    Request request;
    ExitCode const usage = TakeRequest(parser, request);
    if (usage != ExitCode::Ok)
        return usage;
    auto const source = OpenPictures(request.path, log, request.colours);
    if (!source)
        return ExitCode::CannotOpen;
    SayWhatItIs(*source, request.path);
    PictureStream::Picture picture;
    ExitCode const found = Find(*source, request, picture);
    return found == ExitCode::Ok ? Write(*picture, request) : found;
}
