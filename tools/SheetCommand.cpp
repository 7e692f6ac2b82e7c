#include "tools/SheetCommand.h"

#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/ColourOptions.h"
#include "tools/CommandAnswers.h"
#include "tools/Console.h"
#include "tools/ContactSheet.h"
#include "tools/MessageLog.h"
#include "tools/NumberOption.h"
#include "tools/OpenSource.h"
#include "tools/OutputOption.h"
#include "tools/PictureFile.h"
#include "tools/PictureSamples.h"
#include "tools/RgbPicture.h"
#include "tools/TimeRange.h"
#include "tools/TimeRangeOptions.h"
#include "tools/TimeText.h"

#include <QCommandLineParser>

#include <algorithm>

namespace {

constexpr int mostColumns = 100;
constexpr int mostRows = 1000;
constexpr int mostPictures = 10000;
constexpr int smallestWidth = 80; // as wide as a time
constexpr int largestWidth = 4096;

struct Request
{
    QString path;
    QString picturePath;
    TimeRange range;
    int columns = 4;
    int count = 20;
    int width = 320;
    ColourSettings colours;
};

bool TakeNumbers(QCommandLineParser const& parser, Request& request)
{
    int rows = 5;
    bool const areNumbers =
        NumberOption::Take(parser, QStringLiteral("columns"), 1, mostColumns, request.columns) &&
        NumberOption::Take(parser, QStringLiteral("rows"), 1, mostRows, rows) &&
        NumberOption::Take(parser, QStringLiteral("width"), smallestWidth, largestWidth, request.width);
    request.count = request.columns * rows;
    return areNumbers && NumberOption::Take(parser, QStringLiteral("count"), 1, mostPictures, request.count);
}

ExitCode TakeRequest(QCommandLineParser const& parser, Request& request)
{
    if (parser.positionalArguments().size() != 1)
        return CommandAnswers::RejectUsage(QStringLiteral("sheet takes one file"));
    request.path = parser.positionalArguments().first();
    request.picturePath = OutputOption::Value(parser);
    if (!PictureFile::IsSupported(request.picturePath))
        return CommandAnswers::RejectUsage(
            QStringLiteral("sheet needs -o with a name that ends in .png, .jpg, .jpeg or .ppm"));
    if (parser.isSet(QStringLiteral("rows")) && parser.isSet(QStringLiteral("count")))
        return CommandAnswers::RejectUsage(QStringLiteral("--rows and --count do not go together"));
    bool const isGood = TakeNumbers(parser, request) && TimeRangeOptions::Take(parser, request.range) &&
                        ColourOptions::Take(parser, /*followsStream=*/true, /*exact=*/true, request.colours);
    return isGood ? ExitCode::Ok : ExitCode::Usage;
}

ExitCode Report(Request const& request, PictureSamples::Result result)
{
    switch (result) {
    case PictureSamples::Result::Done:
        return ExitCode::Ok;
    case PictureSamples::Result::CannotOpen:
        Console::Say(request.path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    case PictureSamples::Result::NoPicture:
        Console::Say(request.path + QStringLiteral(": no picture could be decoded"));
        return ExitCode::DecodingFailed;
    case PictureSamples::Result::NothingInRange:
        Console::Say(request.path + QStringLiteral(": there is no picture in the time asked for"));
        return ExitCode::DecodingFailed;
    }
    return ExitCode::DecodingFailed;
}

bool IsTooLarge(ContactSheet const& sheet, Request const& request)
{
    long long const width = sheet.GetWidth(request.columns);
    return width * sheet.GetHeight(request.columns, request.count) > PictureFile::mostPixels;
}

ExitCode Collect(Source const& source, Request const& request, ContactSheet& sheet)
{
    bool const hasTime = !source.HasOnePicture();
    bool isTooLarge = false;
    auto const result = PictureSamples(source).Take(request.range, request.count, [&](auto const& record) {
        if (isTooLarge)
            return;
        sheet.Add(RgbPicture::FromRecord(*record).TurnedClockwise(record->rotation),
                  hasTime ? TimeText::Clock(record->startTime) : QString());
        isTooLarge = hasTime && IsTooLarge(sheet, request);
    });
    if (isTooLarge)
        return CommandAnswers::RejectUsage(
            QStringLiteral("the sheet would have more than 64 million pixels; ask for fewer or smaller ones"));
    return Report(request, result);
}

ExitCode Write(ContactSheet const& sheet, Request const& request)
{
    int const columns = std::min(request.columns, sheet.GetCount());
    RgbPicture const picture = sheet.Draw(columns);
    QString error;
    if (!PictureFile::Write(picture, request.picturePath, error))
        return CommandAnswers::CannotWrite(request.picturePath, error);
    Console::WriteData(QStringLiteral("%1: %2 picture%3 in %4 column%5, %6x%7\n")
                           .arg(request.picturePath)
                           .arg(sheet.GetCount())
                           .arg(sheet.GetCount() == 1 ? QString() : QStringLiteral("s"))
                           .arg(columns)
                           .arg(columns == 1 ? QString() : QStringLiteral("s"))
                           .arg(picture.width)
                           .arg(picture.height));
    return ExitCode::Ok;
}

} // namespace

QString SheetCommand::GetName() const
{
    return QStringLiteral("sheet");
}

QString SheetCommand::GetSummary() const
{
    return QStringLiteral("pictures from all over a file side by side, with times");
}

QString SheetCommand::GetUsage() const
{
    return QStringLiteral("FILE -o PICTURE [--columns N] [--rows N | --count N]");
}

QString SheetCommand::GetDescription() const
{
    return QStringLiteral("Cuts FILE, or what lies between --from and --to, into equal parts and puts the\n"
                          "picture from the middle of each into PICTURE, with the time at which it starts\n"
                          "below it: pixels square, turned upright. The ending of PICTURE says the format:\n"
                          ".png, .jpg, .jpeg or .ppm. A picture comes once, so there may be fewer; a still\n"
                          "image and cover art give their one picture, without a time.\n\n"
                          "Exit code 4 when something could not be decoded, even if the rest was written,\n"
                          "and when there is no picture between the times given.\n");
}

void SheetCommand::AddOptions(QCommandLineParser& parser) const
{
    OutputOption::Add(parser, QStringLiteral("PICTURE"));
    parser.addOption(
        {QStringLiteral("columns"), QStringLiteral("Pictures side by side; 4 if not given."), QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("rows"), QStringLiteral("Rows of pictures; 5 if not given."), QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("count"), QStringLiteral("Pictures in all, instead of --rows."), QStringLiteral("N")});
    parser.addOption({QStringLiteral("width"), QStringLiteral("Pixels of a picture in it; 320 if not given."),
                      QStringLiteral("PIXELS")});
    TimeRangeOptions::Add(parser);
    ColourOptions::Add(parser, /*followsStream=*/true);
}

ExitCode SheetCommand::Run(QCommandLineParser const& parser, MessageLog& log)
{
    Request request;
    ExitCode const usage = TakeRequest(parser, request);
    if (usage != ExitCode::Ok)
        return usage;
    auto const source = OpenPictures(request.path, log, request.colours);
    if (!source)
        return ExitCode::CannotOpen;
    int const errorsBefore = log.GetErrorCount();
    ContactSheet sheet(request.width);
    ExitCode const collected = Collect(*source, request, sheet);
    if (collected != ExitCode::Ok)
        return collected;
    ExitCode const written = Write(sheet, request);
    if (written != ExitCode::Ok)
        return written;
    return log.GetErrorCount() > errorsBefore ? ExitCode::DecodingFailed : ExitCode::Ok;
}
