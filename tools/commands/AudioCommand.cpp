#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/output/OutputFile.h"
#include "tools/output/SoundRender.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

#include <cmath>
#include <vector>

namespace {

constexpr double slowest = 0.01;
constexpr double fastest = 16.0;
constexpr double loudest = 100.0;

struct AudioRequest
{
    QString path;
    QString wavPath;
    TimeRange range;
    int soundStream = 0; // from 1; 0: the best
    double speed = 1.0;
    double volume = 1.0;
};

AudioRequest AudioRequestIn(Arguments& arguments)
{
    AudioRequest request;
    request.path = arguments.OnlyFile();
    request.wavPath = arguments.Output({QStringLiteral("wav")});
    request.speed = arguments.Decimal("speed", 1.0);
    if (!(std::fabs(request.speed) >= slowest && std::fabs(request.speed) <= fastest))
        arguments.Reject(QStringLiteral("--speed is from -16 to 16 and not nearer to 0 than 0.01"));
    request.volume = arguments.Decimal("volume", 1.0);
    if (!(request.volume >= 0.0 && request.volume <= loudest))
        arguments.Reject(QStringLiteral("--volume is from 0 to 100; 1 leaves the samples as they are"));
    request.soundStream = arguments.SoundStream();
    request.range = arguments.Range();
    return request;
}

long long TimeOf(SoundRender const& render, long long frames)
{
    return static_cast<long long>(static_cast<double>(frames) / render.GetSampleRate() * secondUs);
}

ExitCode Write(SoundRender& render, AudioRequest const& request)
{
    long long const bytes = render.GetFrameCount() * render.GetChannelCount() * static_cast<long long>(sizeof(short));
    if (bytes > WavFile::mostBytes)
        return CannotWrite(request.wavPath,
                           QStringLiteral("a WAV file holds 4 GiB at most, and this takes %1 bytes; give a "
                                          "shorter range with --from and --to")
                               .arg(bytes));
    WavFile file(request.wavPath, render.GetChannelCount(), render.GetSampleRate());
    if (!file.Open())
        return CannotWrite(request.wavPath, file.GetError());
    std::vector<short> block;
    while (render.Read(block)) {
        if (!file.Write(block.data(), static_cast<int>(block.size()) / render.GetChannelCount()))
            return CannotWrite(request.wavPath, file.GetError());
        Console::ShowProgress(QStringLiteral("%1 of %2")
                                  .arg(TimeText::Clock(TimeOf(render, render.GetReadCount())),
                                       TimeText::Clock(TimeOf(render, render.GetFrameCount()))));
    }
    if (!render.GetError().isEmpty()) {
        Console::Say(request.path + QStringLiteral(": ") + render.GetError());
        return ExitCode::DecodingFailed;
    }
    return file.Finish() ? ExitCode::Ok : CannotWrite(request.wavPath, file.GetError());
}

void ReportWritten(SoundRender const& render, AudioRequest const& request)
{
    Console::WriteData(QStringLiteral("%1: %2 of sound, %3 frames, %4 channel%5 at %6 Hz\n")
                           .arg(request.wavPath, TimeText::Clock(TimeOf(render, render.GetFrameCount())),
                                QString::number(render.GetFrameCount()), QString::number(render.GetChannelCount()),
                                render.GetChannelCount() == 1 ? QString() : QStringLiteral("s"),
                                QString::number(render.GetSampleRate())));
}

ExitCode RunAudio(Arguments& arguments, MessageLog& log)
{
    AudioRequest const request = AudioRequestIn(arguments);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    auto const source = OpenSound(request.path, log, request.soundStream);
    if (!source)
        return ExitCode::CannotOpen;
    SoundRender render(*source);
    if (!render.Open()) {
        Console::Say(request.path + QStringLiteral(": ") + render.GetError());
        return ExitCode::CannotOpen;
    }
    return WithoutErrors(log, [&] {
        if (!render.Start(request.range, request.speed, request.volume)) {
            Console::Say(request.path + QStringLiteral(": ") + render.GetError());
            return ExitCode::DecodingFailed;
        }
        ExitCode const written = Write(render, request);
        if (written == ExitCode::Ok)
            ReportWritten(render, request);
        return written;
    });
}

} // namespace

Command AudioCommand()
{
    return {"audio",
            "write the sound as WAV, at any speed, forwards or backwards",
            "FILE -o WAV [--speed S] [--from T] [--to T] [--volume V]",
            "Writes the sound of FILE as the player plays it: 16-bit samples, with the rate\n"
            "and the channels of FILE. At speed 1 these are the decoded samples. Other speeds\n"
            "leave samples out or repeat them. A speed below 0 plays backwards. The first 5\n"
            "milliseconds fade in.\n\n"
            "The exit code is 4 if something could not be decoded (the rest is written), or\n"
            "if there is no sound between --from and --to.\n",
            {Options::Output("WAV"),
             {"speed", "S", "From -16 to 16; below 0 plays backwards."},
             {"volume", "V", "Factor of every sample, 0 to 100."},
             Options::soundStream,
             Options::from,
             Options::to},
            RunAudio};
}
