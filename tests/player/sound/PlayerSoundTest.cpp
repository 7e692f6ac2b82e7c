#include "tests/player/sound/SoundTest.h"

#include <cstdio>
#include <string>

// How long the demo plays: TAVOLIN_SOUND_SECONDS, by default 8; 60 for the whole proof.

namespace Sound {

namespace {

int PlayedSeconds()
{
    int const asked = qEnvironmentVariableIntValue("TAVOLIN_SOUND_SECONDS");
    return asked > 0 ? std::min(asked, 600) : 8;
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
    while (first + rate < recording.GetFrames() && recording.Amplitude(first, 0, 1000.0) < 8000.0 / 2)
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
    EXPECT_GT(weakest, 8000.0 * 7 / 8); // no 10 ms lack more than 1.25 ms of the tone
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
    EXPECT_LT(std::llabs(Median(lags)), second / DemoMovie::rate); // a picture
}

} // namespace Sound
