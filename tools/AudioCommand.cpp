#include "tools/AudioCommand.h"

#include "tools/CommandAnswers.h"
#include "tools/Console.h"
#include "tools/MessageLog.h"
#include "tools/OpenSource.h"
#include "tools/OutputOption.h"
#include "tools/SoundRender.h"
#include "tools/TimeRange.h"
#include "tools/TimeRangeOptions.h"
#include "tools/TimeText.h"
#include "tools/WavFile.h"

#include <QCommandLineParser>
#include <QFileInfo>

#include <cmath>
#include <vector>

namespace {

constexpr double slowest = 0.01;
constexpr double fastest = 16.0;
constexpr double loudest = 100.0;

struct Request
{
    QString path;
    QString wavPath;
    TimeRange range;
    double speed = 1.0;
    double volume = 1.0;
};

bool TakeNumber(QCommandLineParser const& parser, QString const& option, double& number)
{
    bool isNumber = true;
    if (parser.isSet(option))
        number = parser.value(option).toDouble(&isNumber);
    return isNumber && std::isfinite(number);
}

ExitCode TakeRequest(QCommandLineParser const& parser, Request& request)
{
    if (parser.positionalArguments().size() != 1)
        return CommandAnswers::RejectUsage(QStringLiteral("audio takes one file"));
    request.path = parser.positionalArguments().first();
    request.wavPath = OutputOption::Value(parser);
    if (QFileInfo(request.wavPath).suffix().toLower() != QLatin1String("wav"))
        return CommandAnswers::RejectUsage(QStringLiteral("audio needs -o with a name that ends in .wav"));
    bool const isSpeed = TakeNumber(parser, QStringLiteral("speed"), request.speed);
    if (!isSpeed || std::fabs(request.speed) < slowest || std::fabs(request.speed) > fastest)
        return CommandAnswers::RejectUsage(QStringLiteral("--speed is from -16 to 16 and not nearer to 0 than 0.01"));
    bool const isVolume = TakeNumber(parser, QStringLiteral("volume"), request.volume);
    if (!isVolume || request.volume < 0.0 || request.volume > loudest)
        return CommandAnswers::RejectUsage(
            QStringLiteral("--volume is from 0 to 100; 1 leaves the samples as they are"));
    return TimeRangeOptions::Take(parser, request.range) ? ExitCode::Ok : ExitCode::Usage;
}

long long TimeOf(SoundRender const& render, long long frames)
{
    return static_cast<long long>(static_cast<double>(frames) / render.GetSampleRate() * 1e6);
}

ExitCode Write(SoundRender& render, Request const& request)
{
    long long const bytes = render.GetFrameCount() * render.GetChannelCount() * static_cast<long long>(sizeof(short));
    if (bytes > WavFile::mostBytes)
        return CommandAnswers::CannotWrite(
            request.wavPath, QStringLiteral("a WAV file holds 4 GiB at most, and this takes %1 bytes; give a "
                                            "shorter range with --from and --to")
                                 .arg(bytes));
    WavFile file(request.wavPath, render.GetChannelCount(), render.GetSampleRate());
    if (!file.Open())
        return CommandAnswers::CannotWrite(request.wavPath, file.GetError());
    std::vector<short> block;
    while (render.Read(block)) {
        if (!file.Write(block.data(), static_cast<int>(block.size()) / render.GetChannelCount()))
            return CommandAnswers::CannotWrite(request.wavPath, file.GetError());
        Console::ShowProgress(QStringLiteral("%1 of %2")
                                  .arg(TimeText::Clock(TimeOf(render, render.GetReadCount())),
                                       TimeText::Clock(TimeOf(render, render.GetFrameCount()))));
    }
    if (!render.GetError().isEmpty()) {
        Console::Say(request.path + QStringLiteral(": ") + render.GetError());
        return ExitCode::DecodingFailed;
    }
    return file.Finish() ? ExitCode::Ok : CommandAnswers::CannotWrite(request.wavPath, file.GetError());
}

void ReportWritten(SoundRender const& render, Request const& request)
{
    Console::WriteData(QStringLiteral("%1: %2 of sound, %3 frames, %4 channel%5 at %6 Hz\n")
                           .arg(request.wavPath, TimeText::Clock(TimeOf(render, render.GetFrameCount())))
                           .arg(render.GetFrameCount())
                           .arg(render.GetChannelCount())
                           .arg(render.GetChannelCount() == 1 ? QString() : QStringLiteral("s"))
                           .arg(render.GetSampleRate()));
}

} // namespace

QString AudioCommand::GetName() const
{
    return QStringLiteral("audio");
}

QString AudioCommand::GetSummary() const
{
    return QStringLiteral("the sound at any speed, backwards too, as WAV");
}

QString AudioCommand::GetUsage() const
{
    return QStringLiteral("FILE -o WAV [--speed S] [--from T] [--to T] [--volume V]");
}

QString AudioCommand::GetDescription() const
{
    return QStringLiteral("Writes the sound of FILE as the player plays it: 16-bit samples at the rate and\n"
                          "with the channels of FILE. At speed 1 they are the decoded samples themselves;\n"
                          "at others some are left out or come twice, and below 0 they come last to first.\n"
                          "The first few milliseconds fade in.\n\n"
                          "Exit code 4 when something could not be decoded, even if the rest was written,\n"
                          "and when there is no sound between the times given.\n");
}

void AudioCommand::AddOptions(QCommandLineParser& parser) const
{
    OutputOption::Add(parser, QStringLiteral("WAV"));
    parser.addOption(
        {QStringLiteral("speed"), QStringLiteral("From -16 to 16; below 0 plays backwards."), QStringLiteral("S")});
    parser.addOption(
        {QStringLiteral("volume"), QStringLiteral("Factor of every sample, 0 to 100."), QStringLiteral("V")});
    TimeRangeOptions::Add(parser);
}

ExitCode AudioCommand::Run(QCommandLineParser const& parser, MessageLog& log)
{
    Request request;
    ExitCode const usage = TakeRequest(parser, request);
    if (usage != ExitCode::Ok)
        return usage;
    auto const source = OpenSound(request.path, log);
    if (!source)
        return ExitCode::CannotOpen;
    SoundRender render(*source);
    if (!render.Open()) {
        Console::Say(request.path + QStringLiteral(": ") + render.GetError());
        return ExitCode::CannotOpen;
    }
    int const errorsBefore = log.GetErrorCount();
    if (!render.Start(request.range, request.speed, request.volume)) {
        Console::Say(request.path + QStringLiteral(": ") + render.GetError());
        return ExitCode::DecodingFailed;
    }
    ExitCode const written = Write(render, request);
    if (written != ExitCode::Ok)
        return written;
    ReportWritten(render, request);
    return log.GetErrorCount() > errorsBefore ? ExitCode::DecodingFailed : ExitCode::Ok;
}
