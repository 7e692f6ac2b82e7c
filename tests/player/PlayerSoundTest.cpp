#include "DemoMovie.h"
#include "decode/DecodedVideoFrame.h"
#include "player/PlayerWindow.h"
#include "player/controls/ControlBar.h"

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

// Runs under with-null-sink. How long the demo plays: TAVOLIN_SOUND_SECONDS, by default 8; 60 for the whole proof.

namespace {

constexpr int rate = DemoMovie::sampleRate;
constexpr long long second = 1000000;
constexpr int patience = 60000; // milliseconds
constexpr double pi = 3.14159265358979323846;

long long Now()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool Eventually(std::function<bool()> const& condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > patience)
            return false;
        QTest::qWait(5);
    }
    return true;
}

int PlayedSeconds()
{
    int const asked = qEnvironmentVariableIntValue("TAVOLIN_SOUND_SECONDS");
    return asked > 0 ? std::min(asked, 600) : 8;
}

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

class PlayerSoundTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(qEnvironmentVariableIsSet("SOUND_SERVER_PID")) << "to be run by with-null-sink";
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

    PlaybackStatus Status() { return window->GetEngine().GetStatus(); }

    QTemporaryDir home;
    QString movie;
    PlayerOptions options;
    std::unique_ptr<PlayerWindow> window;
};

// The frames at which the second channel's beeps begin, to the millisecond.
std::vector<int> Beeps(Recording const& recording)
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

long long Median(std::vector<long long> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

TEST_F(PlayerSoundTest, PlaysTheToneWithoutAGapAtItsPitchAndInTimeWithThePictures)
{
    int const seconds = PlayedSeconds();
    Recording recording;
    ASSERT_TRUE(recording.Start());
    Start(seconds + 2);
    std::vector<long long> flashes(static_cast<size_t>(seconds) + 2, 0); // when each second's first picture came
    ASSERT_TRUE(Eventually([&] { return ShownNumber() > 5; }));
    QElapsedTimer timer;
    timer.start();
    while (ShownNumber() < seconds * DemoMovie::rate + 5 && timer.elapsed() < (seconds + 20) * 1000) {
        int const number = ShownNumber();
        auto& flash = flashes[static_cast<size_t>(number / DemoMovie::rate)];
        if (flash == 0 && number % DemoMovie::rate == 0)
            flash = Now();
        QTest::qWait(1);
    }
    QTest::qWait(300);
    recording.Stop();

    // From half a second after the tone begins to the end of the recording it never falters, and each turn of it takes
    // 48 samples: counted over the whole stretch, its rising zero crossings give the pitch.
    int first = 0;
    while (first + rate < recording.GetFrames() && recording.Amplitude(first, 0, 1000.0) < 4000.0)
        first += rate / 100;
    first += rate / 2;
    int const last = first + (seconds - 2) * rate;
    ASSERT_LT(last + rate / 100, recording.GetFrames());
    int crossings = 0;
    double weakest = 1e9;
    for (int frame = first; frame < last; ++frame) {
        crossings += recording.At(frame, 0) < 0.0 && recording.At(frame + 1, 0) >= 0.0 ? 1 : 0;
        if ((frame - first) % (rate / 100) == 0)
            weakest = std::min(weakest, recording.Amplitude(frame, 0, 1000.0));
    }
    EXPECT_GT(weakest, 7000.0);
    EXPECT_NEAR(static_cast<double>(crossings) / (seconds - 2), 1000.0, 1.0);

    std::vector<long long> lags; // from the beep to its flash
    for (int const beep : Beeps(recording)) {
        long long const heard = recording.TimeOf(beep);
        for (long long const flash : flashes)
            if (flash != 0 && std::llabs(flash - heard) < second / 2)
                lags.push_back(flash - heard);
    }
    ASSERT_GE(static_cast<int>(lags.size()), seconds - 3);
    RecordProperty("lag_us", std::to_string(Median(lags)));
    std::printf("picture after sound by %lld us (median of %zu), %lld to %lld; %lld pictures dropped\n", Median(lags),
                lags.size(), *std::min_element(lags.begin(), lags.end()), *std::max_element(lags.begin(), lags.end()),
                Status().picturesDropped);
    EXPECT_LT(std::llabs(Median(lags)), 40000);
}

TEST_F(PlayerSoundTest, GoesOnInSilenceWhenTheDeviceVanishes)
{
    options.loop = true;
    Start(20);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() > 10; }));
    EXPECT_EQ(window->findChild<ControlBar*>()->GetNote(), "");
    ::kill(qEnvironmentVariableIntValue("SOUND_SERVER_PID"), SIGKILL);
    auto* bar = window->findChild<ControlBar*>();
    EXPECT_TRUE(Eventually([&] { return bar->GetNote() == "The sound device has gone; playing without sound."; }))
        << qPrintable(bar->GetNote());
    long long const shown = Status().picturesShown;
    EXPECT_TRUE(Eventually([&] { return Status().picturesShown > shown + 10; }));
}

TEST_F(PlayerSoundTest, PlaysWithoutADevice)
{
    // The test before has ended the sound server, so that none can be opened.
    ASSERT_NE(::kill(qEnvironmentVariableIntValue("SOUND_SERVER_PID"), 0), 0) << "runs after the test above";
    Start(20);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() > 10; }));
    auto* bar = window->findChild<ControlBar*>();
    EXPECT_TRUE(Eventually([&] { return bar->GetNote().endsWith("playing without sound."); }));
    EXPECT_EQ(Status().state, PlaybackState::Playing);
}
