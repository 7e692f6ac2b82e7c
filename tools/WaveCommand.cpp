#include "tools/WaveCommand.h"

#include "tools/CommandAnswers.h"
#include "tools/Console.h"
#include "tools/MessageLog.h"
#include "tools/NumberOption.h"
#include "tools/OpenSource.h"
#include "tools/OutputOption.h"
#include "tools/PictureFile.h"
#include "tools/SoundLevels.h"
#include "tools/TimeRange.h"
#include "tools/TimeRangeOptions.h"
#include "tools/TimeText.h"
#include "tools/WavePicture.h"

#include <QCommandLineParser>

#include <cmath>

namespace {

constexpr int smallestWidth = 160;
constexpr int largestSide = 16384;

struct Request
{
    QString path;
    QString picturePath;
    TimeRange range;
    int width = 1280;
    int height = 0; // 0: as the channels need it
};

ExitCode TakeRequest(QCommandLineParser const& parser, Request& request)
{
    if (parser.positionalArguments().size() != 1)
        return CommandAnswers::RejectUsage(QStringLiteral("wave takes one file"));
    request.path = parser.positionalArguments().first();
    request.picturePath = OutputOption::Value(parser);
    if (!PictureFile::IsSupported(request.picturePath))
        return CommandAnswers::RejectUsage(
            QStringLiteral("wave needs -o with a name that ends in .png, .jpg, .jpeg or .ppm"));
    bool const isGood =
        NumberOption::Take(parser, QStringLiteral("width"), smallestWidth, largestSide, request.width) &&
        NumberOption::Take(parser, QStringLiteral("height"), 1, largestSide, request.height) &&
        TimeRangeOptions::Take(parser, request.range);
    return isGood ? ExitCode::Ok : ExitCode::Usage;
}

ExitCode Report(Request const& request, SoundLevels::Result result)
{
    switch (result) {
    case SoundLevels::Result::Done:
        return ExitCode::Ok;
    case SoundLevels::Result::CannotOpen:
        Console::Say(request.path + QStringLiteral(": the sound of it cannot be decoded"));
        return ExitCode::CannotOpen;
    case SoundLevels::Result::NothingInRange:
        Console::Say(request.path + QStringLiteral(": there is no sound in the time asked for"));
        return ExitCode::DecodingFailed;
    }
    return ExitCode::DecodingFailed;
}

ExitCode TakeHeight(SoundLevels const& levels, Request& request)
{
    if (request.height == 0)
        request.height = WavePicture::DefaultHeight(levels.GetChannelCount());
    int const least = WavePicture::LeastHeight(levels.GetChannelCount());
    if (request.height < least)
        return CommandAnswers::RejectUsage(
            QStringLiteral("--height is at least %1 for %2 channels").arg(least).arg(levels.GetChannelCount()));
    if (static_cast<long long>(request.width) * request.height > PictureFile::mostPixels)
        return CommandAnswers::RejectUsage(
            QStringLiteral("the picture would have more than 64 million pixels; ask for a smaller one"));
    return ExitCode::Ok;
}

QString PeakText(SoundLevels const& levels)
{
    if (levels.GetPeak() == 0)
        return QStringLiteral("silence");
    return QStringLiteral("peak %1 dB").arg(20.0 * std::log10(levels.GetPeak() / 32768.0), 0, 'f', 1);
}

ExitCode Write(SoundLevels const& levels, Request const& request)
{
    QString error;
    if (!PictureFile::Write(WavePicture::Draw(levels, request.height), request.picturePath, error))
        return CommandAnswers::CannotWrite(request.picturePath, error);
    Console::WriteData(QStringLiteral("%1: %2 to %3, %4 channel%5, %6, %7x%8\n")
                           .arg(request.picturePath, TimeText::Clock(levels.GetFrom()), TimeText::Clock(levels.GetTo()))
                           .arg(levels.GetChannelCount())
                           .arg(levels.GetChannelCount() == 1 ? QString() : QStringLiteral("s"))
                           .arg(PeakText(levels))
                           .arg(request.width)
                           .arg(request.height));
    return ExitCode::Ok;
}

} // namespace

QString WaveCommand::GetName() const
{
    return QStringLiteral("wave");
}

QString WaveCommand::GetSummary() const
{
    return QStringLiteral("the sound as a picture, with an axis of time");
}

QString WaveCommand::GetUsage() const
{
    return QStringLiteral("FILE -o PICTURE [--width PIXELS] [--height PIXELS]");
}

QString WaveCommand::GetDescription() const
{
    return QStringLiteral("Draws the sound of FILE, a lane for each channel: from the lowest to the highest\n"
                          "sample of each column, and inside it, brighter, their root mean square. Silence\n"
                          "is a thin line; where there is no sound there is nothing, on darker ground. The\n"
                          "lines at a quarter and three quarters of a lane are half of full scale. The\n"
                          "ending of PICTURE says the format: .png, .jpg, .jpeg or .ppm.\n\n"
                          "Exit code 4 when something could not be decoded, even if the rest was written,\n"
                          "and when there is no sound between the times given.\n");
}

void WaveCommand::AddOptions(QCommandLineParser& parser) const
{
    OutputOption::Add(parser, QStringLiteral("PICTURE"));
    parser.addOption(
        {QStringLiteral("width"), QStringLiteral("Of the picture; 1280 if not given."), QStringLiteral("PIXELS")});
    parser.addOption({QStringLiteral("height"), QStringLiteral("Of the picture; 120 a lane if not given."),
                      QStringLiteral("PIXELS")});
    TimeRangeOptions::Add(parser);
}

ExitCode WaveCommand::Run(QCommandLineParser const& parser, MessageLog& log)
{
    Request request;
    ExitCode const usage = TakeRequest(parser, request);
    if (usage != ExitCode::Ok)
        return usage;
    auto const source = OpenSound(request.path, log);
    if (!source)
        return ExitCode::CannotOpen;
    int const errorsBefore = log.GetErrorCount();
    SoundLevels levels(*source);
    ExitCode const read = Report(request, levels.Read(request.range, request.width - 2 * WavePicture::SideSpace()));
    ExitCode const fits = read == ExitCode::Ok ? TakeHeight(levels, request) : read;
    ExitCode const written = fits == ExitCode::Ok ? Write(levels, request) : fits;
    if (written != ExitCode::Ok)
        return written;
    return log.GetErrorCount() > errorsBefore ? ExitCode::DecodingFailed : ExitCode::Ok;
}
