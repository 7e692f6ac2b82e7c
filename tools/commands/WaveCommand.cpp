#include "common/TimeText.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/output/PictureFile.h"
#include "tools/output/SoundLevels.h"
#include "tools/output/WavePicture.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

#include <cmath>

namespace {

constexpr int smallestWaveWidth = 160;
constexpr int largestSide = 16384;

struct WaveRequest
{
    QString path;
    PictureTarget target;
    TimeRange range;
    int soundStream = 0; // from 1; 0: the best
    int width = 0;
    int height = 0; // 0: the default for the number of channels
};

WaveRequest WaveRequestIn(Arguments& arguments)
{
    WaveRequest request;
    request.path = arguments.OnlyFile();
    request.target = arguments.PictureOutput();
    request.width = arguments.Number("width", smallestWaveWidth, largestSide, 1280);
    request.height = arguments.Number("height", 1, largestSide, 0);
    request.soundStream = arguments.SoundStream();
    request.range = arguments.Range();
    return request;
}

ExitCode Report(WaveRequest const& request, SoundLevels::Result result)
{
    switch (result) {
    case SoundLevels::Result::Done:
        return ExitCode::Ok;
    case SoundLevels::Result::CannotOpen:
        Console::Say(request.path + QStringLiteral(": the sound cannot be decoded"));
        return ExitCode::CannotOpen;
    case SoundLevels::Result::NothingInRange:
        Console::Say(request.path + QStringLiteral(": there is no sound in the time asked for"));
        return ExitCode::DecodingFailed;
    }
    return ExitCode::DecodingFailed;
}

// The requested height, or the default.
int HeightOf(SoundLevels const& levels, WaveRequest const& request, Arguments& arguments)
{
    int const channels = levels.GetChannelCount();
    int const height = request.height == 0 ? WavePicture::DefaultHeight(channels) : request.height;
    int const least = WavePicture::LeastHeight(channels);
    if (height < least)
        arguments.Reject(QStringLiteral("--height is at least %1 for %2 channels").arg(least).arg(channels));
    if (static_cast<long long>(request.width) * height > PictureFile::mostPixels)
        arguments.Reject(QStringLiteral("the picture would have more than 64 million pixels; ask for a smaller one"));
    return height;
}

QString PeakText(SoundLevels const& levels)
{
    if (levels.GetPeak() == 0)
        return QStringLiteral("silence");
    return QStringLiteral("peak %1 dB").arg(20.0 * std::log10(levels.GetPeak() / 32768.0), 0, 'f', 1);
}

ExitCode Write(SoundLevels const& levels, int height, WaveRequest const& request)
{
    return WritePicture(WavePicture::Draw(levels, height), request.target,
                        QStringLiteral("%1 to %2, %3 channel%4, %5")
                            .arg(TimeText::Clock(levels.GetFrom()), TimeText::Clock(levels.GetTo()))
                            .arg(levels.GetChannelCount())
                            .arg(levels.GetChannelCount() == 1 ? QString() : QStringLiteral("s"))
                            .arg(PeakText(levels)));
}

ExitCode RunWave(Arguments& arguments, MessageLog& log)
{
    WaveRequest const request = WaveRequestIn(arguments);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    auto const source = OpenSound(request.path, log, request.soundStream);
    if (!source)
        return ExitCode::CannotOpen;
    return WithoutErrors(log, [&] {
        SoundLevels levels(*source);
        ExitCode const read = Report(request, levels.Read(request.range, request.width - 2 * WavePicture::SideSpace()));
        if (read != ExitCode::Ok)
            return read;
        int const height = HeightOf(levels, request, arguments);
        return arguments.AreWrong() ? ExitCode::Usage : Write(levels, height, request);
    });
}

} // namespace

Command WaveCommand()
{
    return {"wave",
            "draw the waveform of the sound with a time axis",
            "FILE -o PICTURE [--width PIXELS] [--height PIXELS]",
            "Draws the waveform of FILE, one lane per channel. Each column spans its lowest\n"
            "to its highest sample; a brighter line inside spans the root mean square.\n"
            "Silence is a thin line. Where the sound has not begun, the lane is empty and\n"
            "darker. The faint lines are half of full scale. The ending of PICTURE selects\n"
            "the format: .png, .jpg, .jpeg, .ppm or .pnm.\n\n"
            "The exit code is 4 if something could not be decoded (the rest is written), or\n"
            "if there is no sound between --from and --to.\n",
            {Options::PictureOutput(),
             Options::format,
             {"width", "PIXELS", "Of the picture; 1280 if not given."},
             {"height", "PIXELS", "Of the picture; 120 a lane if not given."},
             Options::soundStream,
             Options::from,
             Options::to},
            RunWave};
}
