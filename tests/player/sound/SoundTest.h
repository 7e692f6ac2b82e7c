#pragma once

#include "decode/DecodedVideoFrame.h"
#include "player/PlayerWindow.h"
#include "player/controls/ControlBar.h"
#include "tests/player/DemoMovie.h"
#include "tests/player/Eventually.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <functional>
#include <memory>
#include <vector>

// The player's window and a sound server that plays into nothing; runs under with-null-sink.
namespace Sound {

constexpr int rate = DemoMovie::sampleRate;
constexpr long long second = 1000000;
constexpr double pi = 3.14159265358979323846;

inline long long Now()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The server: ended and started again as on a desktop, where it crashes or is updated.
class Server
{
public:
    static bool IsRunning() { return Run("pactl", {"info"}); }
    static bool Suspend(bool suspended) { return Run("pactl", {"suspend-sink", "nowhere", suspended ? "1" : "0"}); }

    static void Kill()
    {
        if (Started()->state() == QProcess::NotRunning)
            ::kill(qEnvironmentVariableIntValue("SOUND_SERVER_PID"), SIGKILL);
        Started()->kill();
        Started()->waitForFinished();
    }

    static bool Start()
    {
        Started()->start("sh", {"-c", "exec " + qEnvironmentVariable("SOUND_SERVER_COMMAND")});
        return Eventually(&Server::IsRunning);
    }

private:
    static std::unique_ptr<QProcess>& Started() // by a test
    {
        static std::unique_ptr<QProcess> process = std::make_unique<QProcess>();
        return process;
    }

    static bool Run(QString const& program, QStringList const& arguments)
    {
        QProcess process;
        process.start(program, arguments);
        return process.waitForFinished() && process.exitCode() == 0;
    }
};

// What comes out of the sink, and when: the arrival that had waited least says when the first sample was played.
class Recording
{
public:
    bool Start()
    {
        process.start("parec", {"--device=nowhere.monitor", "--format=s16le", "--rate=48000", "--channels=2", "--raw",
                                "--latency-msec=5"});
        QObject::connect(&process, &QProcess::readyReadStandardOutput, [this] { Take(); });
        return process.waitForStarted();
    }

    void Stop()
    {
        process.kill();
        process.waitForFinished();
    }

    int GetFrames() const { return bytes.size() / 4; }

    double At(int frame, int channel) const
    {
        return qFromLittleEndian<qint16>(bytes.constData() + 4 * static_cast<qsizetype>(frame) + 2 * channel);
    }

    long long TimeOf(int frame) const { return start + frame * second / rate; }

    // How much of the tone is in 10 ms from `frame` on, as its amplitude.
    double Amplitude(int frame, int channel, double frequency) const
    {
        constexpr int window = rate / 100;
        double cosine = 0.0;
        double sine = 0.0;
        for (int i = 0; i < window; ++i) {
            double const angle = 2.0 * pi * frequency * i / rate;
            cosine += At(frame + i, channel) * std::cos(angle);
            sine += At(frame + i, channel) * std::sin(angle);
        }
        return 2.0 / window * std::hypot(cosine, sine);
    }

private:
    void Take()
    {
        long long const now = Now();
        bytes += process.readAllStandardOutput();
        long long const startSeen = now - GetFrames() * second / rate;
        start = start == 0 ? startSeen : std::min(start, startSeen);
    }

    QProcess process;
    QByteArray bytes;
    long long start = 0;
};

// The frames at which the second channel's beeps begin, to the millisecond.
inline std::vector<int> Beeps(Recording const& recording)
{
    std::vector<int> beeps;
    bool beeping = true; // whatever the recording begins with is no beginning of a beep
    for (int frame = 0; frame + rate / 100 < recording.GetFrames(); frame += rate / 1000) {
        bool const loud = recording.Amplitude(frame, 1, 2000.0) > 8000.0; // half of it: the window's middle
        if (loud && !beeping)
            beeps.push_back(frame + rate / 200);
        beeping = loud;
    }
    return beeps;
}

inline long long Median(std::vector<long long> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

class PlayerSoundTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(qEnvironmentVariableIsSet("SOUND_SERVER_PID")) << "to be run by with-null-sink";
        ASSERT_TRUE(Server::IsRunning() || Server::Start());
        qputenv("XDG_CONFIG_HOME", home.filePath("config").toUtf8());
        qputenv("XDG_DATA_HOME", home.filePath("data").toUtf8());
        options.audio = "portaudio";
        options.painting = PictureView::Painting::Painter;
    }

    void Start(int seconds)
    {
        movie = DemoMovie::Make(seconds * DemoMovie::rate);
        ASSERT_FALSE(movie.isEmpty());
        options.files = QStringList{movie};
        window = std::make_unique<PlayerWindow>(options, PlayerSettings());
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    int ShownNumber()
    {
        auto const shown = window->GetView().GetShown();
        return shown ? static_cast<int>(shown->startTime / 40000) : -1;
    }

    QString Note() { return window->findChild<ControlBar*>()->GetNote(); }

    // Records so many seconds of play. From each beep to its flash, in microseconds; empty without sound.
    std::vector<long long> MeasureLags(int seconds)
    {
        Recording recording;
        std::vector<long long> flashes; // when each second's first picture came
        if (!recording.Start())
            return {};
        QElapsedTimer timer;
        for (timer.start(); timer.elapsed() < seconds * 1000; QTest::qWait(1)) {
            bool const isFirst = ShownNumber() % DemoMovie::rate == 0;
            if (isFirst && !wasFirst)
                flashes.push_back(Now());
            wasFirst = isFirst;
        }
        recording.Stop();
        std::vector<long long> lags;
        for (int const beep : Beeps(recording)) {
            long long const heard = recording.TimeOf(beep);
            for (long long const flash : flashes)
                if (std::llabs(flash - heard) < second / 2)
                    lags.push_back(flash - heard);
        }
        return lags;
    }

    PlaybackStatus Status() { return window->GetEngine().GetStatus(); }

    bool wasFirst = true; // the picture seen last began a second
    QTemporaryDir home;
    QString movie;
    PlayerOptions options;
    std::unique_ptr<PlayerWindow> window;
};

} // namespace Sound
