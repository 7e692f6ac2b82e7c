#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <future>
#include <limits>
#include <thread>

namespace {

class EngineTest : public testing::Test
{
protected:
    void SetUp() override { AvGlobals::maxAudioOutputChannels = 2; }

    void Open(char const* name)
    {
        engine.Open(Clips::Made(name));
        Wait();
    }

    void Wait() { ASSERT_TRUE(engine.WaitUntilReady(patience)); }

    long long Shown()
    {
        auto const picture = engine.GetPicture();
        return picture ? picture->startTime : -1;
    }

    PlaybackStatus Status() { return engine.GetStatus(); }

    std::vector<short> Block(int frames)
    {
        std::vector<short> block(static_cast<size_t>(frames) * 2);
        EXPECT_EQ(engine.FillAudio(block.data(), frames), frames);
        return block;
    }

    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    PlaybackEngine engine{Reference::PlainOptions(), time};
};

// ---- Opening

TEST_F(EngineTest, BeginsClosed)
{
    EXPECT_EQ(Status().state, PlaybackState::Closed);
    EXPECT_FALSE(engine.GetPicture());
    short sample[2] = {7, 7};
    EXPECT_EQ(engine.FillAudio(sample, 1), 0);
    EXPECT_EQ(sample[0], 7);
    EXPECT_TRUE(engine.WaitUntilReady(0));
}

TEST_F(EngineTest, OpensPausedAtTheFirstPicture)
{
    engine.Open(Clips::Made("gop12.mp4"));
    EXPECT_EQ(Status().state, PlaybackState::Opening);
    Wait();
    PlaybackStatus const status = Status();
    EXPECT_EQ(status.state, PlaybackState::Paused);
    EXPECT_EQ(status.kind, SourceKind::Movie);
    EXPECT_EQ(status.width, 192);
    EXPECT_EQ(status.height, 108);
    EXPECT_EQ(status.frameRate, 25.0);
    EXPECT_EQ(status.frameStep, 40000);
    EXPECT_EQ(Shown(), 0);
}

TEST_F(EngineTest, TellsWhyAFileCannotBeOpened)
{
    engine.Open("/nowhere/none.mp4");
    Wait();
    EXPECT_EQ(Status().state, PlaybackState::Closed);
    EXPECT_EQ(Status().error, QString("There is no file \"/nowhere/none.mp4\"."));
    engine.Open("/dev/null");
    Wait();
    EXPECT_EQ(Status().error, QString("\"/dev/null\" cannot be read."));
    engine.Open(Clips::Made("gop12.mp4"));
    Wait();
    EXPECT_EQ(Status().error, QString());
}

TEST_F(EngineTest, AnotherOpenReplacesTheFirst)
{
    engine.Open(Clips::Made("gop250.mp4"));
    engine.Open(Clips::Made("ntsc.mp4"));
    Wait();
    EXPECT_EQ(Status().frameRate, 59.94);
    EXPECT_EQ(Status().path, Clips::Made("ntsc.mp4"));
}

TEST_F(EngineTest, CloseCancelsAnOpening)
{
    engine.Open(Clips::Made("gop250.mp4"));
    engine.Close();
    Wait();
    EXPECT_EQ(Status().state, PlaybackState::Closed);
    EXPECT_FALSE(engine.GetPicture());
}

TEST_F(EngineTest, WhatIsOrderedWhileOpeningHoldsAfterwards)
{
    engine.Open(Clips::Made("gop12.mp4"));
    engine.Seek(2010000);
    engine.SetSpeed(1.0);
    Wait();
    EXPECT_EQ(Status().state, PlaybackState::Playing);
    EXPECT_EQ(Shown(), 2000000);
}

TEST_F(EngineTest, WithoutPicturesAMovieIsItsSound)
{
    PlaybackOptions options = Reference::PlainOptions();
    options.withPictures = false;
    PlaybackEngine sound(options, time);
    sound.Open(Clips::Made("stream.ts"));
    ASSERT_TRUE(sound.WaitUntilReady(patience));
    EXPECT_EQ(sound.GetStatus().kind, SourceKind::Sound);
    EXPECT_FALSE(sound.GetPicture());
    EXPECT_EQ(sound.GetStatus().picturesDecoded, 0);
    EXPECT_GT(sound.GetStatus().soundStart, 1000000); // container time, where the sound starts after 1 s
    short sample[2] = {};
    EXPECT_EQ(sound.FillAudio(sample, 1), 1);
}

TEST_F(EngineTest, AMovieWhoseSoundHasNoDecoderShowsItsPictures)
{
    engine.Open(WithoutDecoder("without-mp4a-gop12.mp4", Clips::Made("gop12.mp4"), "mp4a"));
    Wait();
    EXPECT_EQ(Status().kind, SourceKind::Movie);
    EXPECT_EQ(Status().error, QString("There is no decoder for the sound of \"without-mp4a-gop12.mp4\"."));
    EXPECT_EQ(Status().channels, 0);
    engine.Seek(4010000);
    Wait();
    EXPECT_EQ(Shown(), 4000000);
}

TEST_F(EngineTest, AMovieWhosePicturesHaveNoDecoderPlaysItsSound)
{
    engine.Open(WithoutDecoder("without-avc1-gop12.mp4", Clips::Made("gop12.mp4"), "avc1"));
    Wait();
    EXPECT_EQ(Status().kind, SourceKind::Sound);
    EXPECT_EQ(Status().error, QString("There is no decoder for the pictures of \"without-avc1-gop12.mp4\"."));
    EXPECT_EQ(Status().sampleRate, 44100);
    engine.SetSpeed(1.0);
    Wait();
    auto const blocks = Block(4410);
    EXPECT_NE(std::count(blocks.begin(), blocks.end(), 0), 8820);
    EXPECT_FALSE(engine.GetPicture());
}

TEST_F(EngineTest, AFileWhoseNameIsAPatternIsThatFile)
{
    QTemporaryDir const folder;
    Clips::WriteNumberedPictures(folder.path(), "take.%04d.ppm", {1, 2, 3});
    ASSERT_TRUE(QFile::copy(Clips::Made("gop12.mp4"), folder.filePath("take.%04d.mp4")));
    engine.Open(folder.filePath("take.%04d.mp4"));
    Wait();
    EXPECT_EQ(Status().kind, SourceKind::Movie);
    EXPECT_TRUE(engine.GetPicture());
    engine.Open(folder.filePath("take.####.ppm"));
    Wait();
    EXPECT_EQ(Status().kind, SourceKind::Sequence);
}

#if defined(__GLIBC__)
// Each file of a sequence is decoded on its own thread, which cannot be started here.
TEST_F(EngineTest, SaysThatAThreadCouldNotBeStartedAndGoesOnAfterwards)
{
    engine.GetStatus(); // the engine's own thread is running
    QString const sequence = Clips::MadeSequence();
    pthread_attr_t usual;
    pthread_attr_t huge;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_getattr_default_np(&huge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&huge, size_t{1} << 47), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    engine.Open(sequence);
    EXPECT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_EQ(pthread_setattr_default_np(&usual), 0);
    EXPECT_EQ(Status().state, PlaybackState::Closed);
    EXPECT_EQ(Status().error, QString("A thread could not be started: Resource temporarily unavailable."));
    engine.Open(sequence);
    Wait();
    EXPECT_TRUE(engine.GetPicture());
    EXPECT_EQ(Status().error, QString());
}
#endif

TEST_F(EngineTest, SaysWhatAnExceptionSays)
{
    PlaybackEngine failing(PlaybackOptions(), std::make_shared<FailingTime>());
    failing.Open(Clips::Made("gop12.mp4"));
    EXPECT_TRUE(failing.WaitUntilReady(patience));
    EXPECT_EQ(failing.GetStatus().state, PlaybackState::Closed);
    EXPECT_EQ(failing.GetStatus().error, QString("Decoding was broken off: The clock is gone."));
}

// ---- Time

TEST_F(EngineTest, TheClockWaitsForTheFirstPictureAndThenForNothing)
{
    Open("gop12.mp4");
    engine.Seek(4000000);
    engine.SetSpeed(1.0);
    time->Advance(500000);
    Wait();
    EXPECT_EQ(Status().position, 4000000);
    time->Advance(500000);
    EXPECT_EQ(Status().position, 4500000);
    time->Advance(500000);
    EXPECT_EQ(Status().position, 5000000);
}

TEST_F(EngineTest, AChangeOfSpeedGoesOnFromThePosition)
{
    Open("gop12.mp4");
    engine.SetSpeed(2.0);
    Wait();
    time->Advance(500000);
    EXPECT_EQ(Status().position, 1000000);
    engine.SetSpeed(0.5);
    time->Advance(500000);
    EXPECT_EQ(Status().position, 1250000);
    engine.Pause();
    time->Advance(500000);
    EXPECT_EQ(Status().position, 1250000);
}

TEST_F(EngineTest, SpeedIsHeldToItsRange)
{
    Open("gop12.mp4");
    engine.SetSpeed(100.0);
    EXPECT_EQ(Status().speed, 16.0);
    engine.SetSpeed(-100.0);
    EXPECT_EQ(Status().speed, -16.0);
    engine.SetSpeed(std::nan(""));
    EXPECT_EQ(Status().speed, 0.0);
}

TEST_F(EngineTest, PositionsStayWithinTheMedia)
{
    Open("gop12.mp4");
    engine.Seek(-5000000);
    Wait();
    EXPECT_EQ(Status().position, 0);
    engine.Seek(std::numeric_limits<long long>::max());
    Wait();
    EXPECT_EQ(Status().position, Status().duration);
    EXPECT_EQ(Shown(), 7960000);
    engine.Seek(std::numeric_limits<long long>::min());
    Wait();
    EXPECT_EQ(Status().position, 0);
}

// Nothing is decoded meanwhile, so playback waits for the new position.
TEST_F(EngineTest, PositionsStayWithinTheMediaWhilePlayWaitsAndWhileItOpens)
{
    for (double const speed : {-1.0, 1.0, 0.0}) {
        for (long long const time : {std::numeric_limits<long long>::min(), -1LL}) {
            engine.Open(Clips::Made("gop12.mp4"));
            engine.SetSpeed(speed);
            engine.Seek(time);
            EXPECT_GE(Status().position, 0);
            Wait();
            engine.Seek(4000000);
            Wait();
            engine.Seek(time);
            EXPECT_GE(Status().position, Status().start);
            Wait();
            EXPECT_GE(Status().position, Status().start);
        }
    }
    engine.Seek(std::numeric_limits<long long>::max()); // makes the end known
    Wait();
    for (double const speed : {-1.0, 1.0, 0.0}) {
        engine.SetSpeed(speed);
        engine.Seek(std::numeric_limits<long long>::max());
        EXPECT_LE(Status().position, Status().start + Status().duration);
        Wait();
    }
}

TEST_F(EngineTest, ASeekWhileTheSoundIsOpeningGoesBeyondThePictures)
{
    for (int i = 0; i < 20; ++i) {
        engine.Open(Clips::Made("cover.mp3"));
        engine.Seek(2000000);
        while (Status().state == PlaybackState::Opening) {
        }
        Wait();
        EXPECT_EQ(Status().position, 2000000);
    }
}

TEST_F(EngineTest, EveryArgumentIsSafe)
{
    long long const least = std::numeric_limits<long long>::min();
    long long const most = std::numeric_limits<long long>::max();
    double const infinity = std::numeric_limits<double>::infinity();
    PlaybackOptions options = Reference::PlainOptions();
    options.cacheBudget = most;
    options.untimedRate = std::nan("");
    options.previewRest = most;
    options.muteAboveSpeed = infinity;
    options.sequenceThreads = std::numeric_limits<int>::max();
    for (char const* name : {"gop12.mp4", "raw.264", "stream.ts", "tone.wav", "tone.mp3", "cover.mp3"}) {
        PlaybackEngine wild(options, time);
        wild.Open(Clips::Made(name));
        ASSERT_TRUE(wild.WaitUntilReady(patience));
        std::vector<short> block(2000);
        for (long long moment : {most, least, most - 1, most / 2, least / 2, -1LL, 0LL, 100000000LL}) {
            for (double speed : {infinity, -infinity, std::nan(""), 1e300, -1e-300, 1.0, -1.0}) {
                wild.Seek(moment);
                wild.SeekPreview(moment);
                wild.SetSpeed(speed);
                wild.SetLoop(moment, most);
                wild.SetVolume(speed);
                wild.SetMuteAboveSpeed(speed);
                wild.SetCacheBudget(moment);
                wild.FillAudio(block.data(), 1000, moment);
                time->Advance(100000);
                wild.GetPicture();
                PlaybackStatus const status = wild.GetStatus();
                EXPECT_LE(std::abs(status.speed), 16.0);
                EXPECT_GE(status.duration, 0);
            }
            wild.SetLoop(most, moment);
            wild.Step(std::numeric_limits<int>::min());
            wild.Step(std::numeric_limits<int>::max());
            wild.Step(std::numeric_limits<int>::max());
            EXPECT_EQ(wild.FillAudio(nullptr, 10), 0);
            EXPECT_EQ(wild.FillAudio(block.data(), 0), 0);
            EXPECT_EQ(wild.FillAudio(block.data(), std::numeric_limits<int>::min()), 0);
            wild.Seek(moment);
            EXPECT_TRUE(wild.WaitUntilReady(patience)) << name << ' ' << moment;
        }
        wild.ClearLoop();
        wild.SetCacheBudget(1000000);
        wild.Seek(2000000);
        EXPECT_TRUE(wild.WaitUntilReady(patience)) << name;
        EXPECT_EQ(wild.GetStatus().position, 2000000) << name;
    }
}

TEST_F(EngineTest, EndsAtEitherEndAndGoesOnTheOtherWay)
{
    Open("gop250.mp4");
    engine.Seek(21900000);
    Wait();
    engine.SetSpeed(1.0);
    Wait();
    time->Advance(1000000);
    Wait();
    EXPECT_EQ(Status().state, PlaybackState::Ended);
    EXPECT_EQ(Status().position, 22000000);
    EXPECT_EQ(Shown(), 21960000);
    engine.SetSpeed(-1.0);
    Wait();
    time->Advance(100000);
    Wait();
    EXPECT_EQ(Status().state, PlaybackState::Playing);
    EXPECT_EQ(Shown(), 21880000);
    engine.Seek(50000);
    Wait();
    time->Advance(100000);
    EXPECT_EQ(Status().state, PlaybackState::Ended);
    EXPECT_EQ(Status().position, 0);
}

TEST_F(EngineTest, LoopsEitherWay)
{
    Open("gop250.mp4");
    engine.SetLoop(2000000, 2400000);
    engine.Seek(2000000);
    engine.SetSpeed(1.0);
    std::vector<long long> forwards;
    for (int i = 0; i < 25; ++i) {
        Wait();
        forwards.push_back(Shown());
        time->Advance(40000);
    }
    for (size_t i = 0; i < forwards.size(); ++i)
        EXPECT_EQ(forwards[i], 2000000 + static_cast<long long>(i % 10) * 40000) << i;
    engine.SetSpeed(-1.0);
    Wait();
    time->Advance(1000000);
    Wait();
    EXPECT_GE(Status().position, 2000000); // within the range
    EXPECT_LT(Status().position, 2400000);
}

// Ten pictures, one of them for each turn of the loop below.
TEST_F(EngineTest, LoopsBackwardsWithEveryPictureAtAnySpeed)
{
    for (double const speed : {-0.25, -1.0, -2.0, -8.0}) {
        Open("gop250.mp4");
        engine.SetLoop(2000000, 2400000);
        engine.Seek(2399999);
        engine.SetSpeed(speed);
        for (int i = 0; i < 35; ++i) {
            Wait();
            EXPECT_EQ(Shown(), 2360000 - i % 10 * 40000) << speed << ", turn " << i;
            time->Advance(static_cast<long long>(40000 / -speed));
        }
    }
}

TEST_F(EngineTest, StepsAskedForFasterThanDecodingAreAllMade)
{
    Open("gop250.mp4");
    engine.Seek(12000000);
    for (int i = 0; i < 30; ++i)
        engine.Step(-1);
    engine.Step(3);
    Wait();
    EXPECT_EQ(Shown(), 12000000 - 27 * 40000);
    engine.Step(-1000000);
    Wait();
    EXPECT_EQ(Shown(), 0);
}

// ---- Cache

TEST_F(EngineTest, TurningDecodesNothingAnewThatIsCached)
{
    Open("gop250.mp4");
    engine.SetSpeed(1.0);
    Wait();
    for (int i = 0; i < 60; ++i) {
        time->Advance(40000);
        Wait();
        Shown();
    }
    engine.Pause();
    for (int tries = 0; tries < 500 && Status().cacheEnd < 21999999; ++tries) { // the rest of the movie fits
        engine.WaitUntilReady(10);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(Status().cacheEnd, 21999999);
    long long const decoded = Status().picturesDecoded;
    engine.SetSpeed(-1.0);
    for (int i = 0; i < 20; ++i) {
        Wait();
        Shown();
        time->Advance(40000);
    }
    engine.SetSpeed(1.0);
    Wait();
    EXPECT_EQ(Status().picturesDecoded, decoded);
}

TEST_F(EngineTest, TheBudgetHoldsBothWays)
{
    Open("gop250.mp4");
    long long const picture = 192 * 108 * 3;
    long long const budget = 40 * picture;
    engine.SetCacheBudget(budget);
    engine.Seek(15000000);
    Wait();
    engine.SetSpeed(-1.0);
    for (int i = 0; i < 300; ++i) {
        Wait();
        EXPECT_LE(Status().cachedBytes, budget) << i;
        EXPECT_EQ(Shown(), 15000000 - i * 40000);
        time->Advance(40000);
    }
    engine.SetSpeed(1.0);
    for (int i = 0; i < 100; ++i) {
        Wait();
        EXPECT_LE(Status().cachedBytes, budget) << i;
        Shown();
        time->Advance(40000);
    }
    engine.SetCacheBudget(10 * picture);
    Wait();
    EXPECT_EQ(Status().cacheBudget, 10 * picture);
    EXPECT_LE(Status().cachedBytes, 10 * picture);
    EXPECT_EQ(Status().picturesDropped, 0);
}

TEST_F(EngineTest, PicturesThatPlayPassesOverAreCounted)
{
    Open("gop12.mp4");
    engine.SetSpeed(1.0);
    Wait();
    EXPECT_EQ(Shown(), 0);
    time->Advance(200000);
    Wait();
    EXPECT_EQ(Shown(), 200000);
    EXPECT_EQ(Status().picturesDropped, 4);
    EXPECT_EQ(Status().picturesShown, 2);
}

// The sound begins before the first picture, and so does the position.
TEST_F(EngineTest, ShowsTheFirstPictureWhenItIsToPlayBackwardsFromThere)
{
    engine.Open(Clips::Made("program.mpg"));
    engine.SetSpeed(-0.01);
    Wait();
    EXPECT_EQ(Shown(), 0);
    engine.Seek(-4000000000000000000);
    Wait();
    EXPECT_EQ(Shown(), 0);
}

// There is nothing to decode far before the start; playback ends at the start, where there is.
TEST_F(EngineTest, PlayingBackwardsFromBeforeTheStartEndsThereAndIsReady)
{
    for (char const* name : {"gop12.mp4", "offset.mkv", "matroska.mkv", "program.mpg", "stream.ts", "tone.wav"}) {
        for (double const speed : {-0.5, -4.0, -16.0}) {
            engine.Open(Clips::Made(name));
            engine.SetSpeed(speed);
            engine.Seek(-4000000000000000000);
            ASSERT_TRUE(engine.WaitUntilReady(patience)) << name << " at " << speed;
            EXPECT_EQ(Status().state, PlaybackState::Ended) << name;
            EXPECT_EQ(Status().position, Status().start) << name;
        }
    }
}

// The budget is smaller than the distance that playback covers between two calls.
TEST_F(EngineTest, PlaysBackwardsFastWithLittleRoom)
{
    engine.SetCacheBudget(8 * 192 * 108 * 3);
    Open("gop12.mp4");
    engine.Seek(6000000);
    engine.SetSpeed(-4.0);
    Wait();
    for (int i = 1; i <= 12; ++i) {
        time->Advance(100000);
        Wait();
        EXPECT_EQ(Shown(), 6000000 - i * 400000);
    }
}

// Nothing else takes pictures or sound meanwhile, and the decoding thread is idle.
TEST_F(EngineTest, WaitingIsEnoughForALoopToBeginAnew)
{
    engine.SetCacheBudget(0);
    Open("gop250.mp4");
    engine.SetLoop(0, 2000000);
    engine.SetSpeed(1.0);
    Wait();
    for (long long const step : {1500000, 600000, 1500000, 600000}) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        time->Advance(step);
        Wait();
    }
    EXPECT_EQ(Shown(), 0);
}

// While one picture is decoded, the clock advances by several.
TEST_F(EngineTest, WhereDecodingCannotKeepUpTheNewestPictureIsShownAndTheRestIsCounted)
{
    for (double speed : {1.0, -1.0}) {
        PlaybackOptions options = Reference::PlainOptions();
        options.withSound = false;
        PlaybackEngine slow(options, std::make_shared<HurryingTime>(20000));
        slow.Open(Clips::Made("gop250.mp4"));
        slow.Seek(speed > 0.0 ? 0 : 21960000);
        ASSERT_TRUE(slow.WaitUntilReady(patience));
        slow.SetSpeed(speed);
        std::vector<long long> shown;
        while (slow.GetStatus().state != PlaybackState::Ended) {
            auto const picture = slow.GetPicture();
            ASSERT_TRUE(picture);
            if (shown.empty() || shown.back() != picture->startTime)
                shown.push_back(picture->startTime);
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        EXPECT_GT(shown.size(), 15U) << speed; // of 550; 70 or more on an idle machine
        EXPECT_TRUE(speed > 0.0 ? std::is_sorted(shown.begin(), shown.end())
                                : std::is_sorted(shown.rbegin(), shown.rend()));
        long long const last = std::abs(shown.back() - shown.front()) / 40000;
        EXPECT_EQ(slow.GetStatus().picturesShown + slow.GetStatus().picturesDropped, last + 1);
    }
}

TEST_F(EngineTest, APreviewIsAnyPictureAndTheExactOneFollows)
{
    engine.SetCacheBudget(0);
    Open("gop250.mp4");
    engine.SeekPreview(18000000);
    Wait();
    EXPECT_EQ(Shown(), 10000000); // the key picture
    EXPECT_EQ(Status().position, 18000000);
    time->Advance(200000);
    Wait();
    EXPECT_EQ(Shown(), 18000000);
}

// ---- Sound

// Decoding is slowed down to observe the order of picture and sound.
TEST_F(EngineTest, WhilePausedThePictureOfASeekComesBeforeItsSound)
{
    PlaybackOptions options;
    options.cacheBudget = 0;
    PlaybackEngine slow(options, std::make_shared<SlowLooks>());
    slow.Open(Clips::Made("gop12.mp4"));
    ASSERT_TRUE(slow.WaitUntilReady(patience));
    for (long long const target : {5000000, 2000000, 7000000}) {
        slow.Seek(target);
        bool hasSound = false;
        for (int looks = 0; looks < 100000 && !hasSound; ++looks) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            PlaybackStatus const status = slow.GetStatus();
            hasSound = status.soundStart <= target && status.soundEnd > target;
            if (hasSound) {
                auto const picture = slow.GetPicture();
                ASSERT_TRUE(picture);
                EXPECT_EQ(picture->startTime, target);
            }
        }
        EXPECT_TRUE(hasSound);
    }
}

TEST_F(EngineTest, APreviewWhilePausedDecodesNoSound)
{
    Open("gop12.mp4");
    engine.SeekPreview(6000000);
    Wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_LT(Status().soundEnd, 6000000); // not up to there: only what opening has read
    time->Advance(200000);
    Wait();
    EXPECT_GE(Status().soundEnd, 7000000); // a second ahead
}

TEST_F(EngineTest, TheSoundOutputIsTheClock)
{
    Open("gop12.mp4");
    engine.SetSpeed(1.0);
    Wait();
    for (int i = 0; i < 10; ++i) {
        Wait();
        Block(4410); // 100 ms each; the time source stands still
    }
    EXPECT_EQ(Status().position, 900000); // where the last block begins
    EXPECT_NEAR(Status().drift, 900000.0, 1.0);
}

// Another thread is held inside a call that reads the play state, with its lock held.
TEST_F(EngineTest, FillsABlockOfSoundWithoutWaitingForWhoLooksAtTheState)
{
    auto const holding = std::make_shared<HoldingTime>();
    PlaybackEngine held(PlaybackOptions(), holding);
    held.Open(Clips::Made("pure.wav"));
    held.Seek(1000000);
    held.SetSpeed(1.0);
    ASSERT_TRUE(held.WaitUntilReady(patience));
    std::thread display([&] {
        holding->HoldThisThread();
        held.GetStatus();
    });
    holding->WaitUntilHeld();
    std::vector<short> block(2 * 4410);
    auto const filled = std::async(std::launch::async, [&] { return held.FillAudio(block.data(), 4410); });
    EXPECT_EQ(filled.wait_for(std::chrono::milliseconds(patience)), std::future_status::ready);
    holding->LetGo();
    display.join();
    // Most of the 8820 values: the tone passes through 0 a few times only.
    EXPECT_GT(std::count_if(block.begin(), block.end(), [](short value) { return value != 0; }), 4410);
}

TEST_F(EngineTest, TheSoundOfASeekComesWithTheNextBlock)
{
    Open("tone.wav");
    engine.SetSpeed(1.0);
    Wait();
    Block(441);
    engine.Seek(3000000);
    Wait();
    Block(4410);
    Block(4410);
    EXPECT_EQ(Status().position, 3100000); // where the last block begins
}

TEST_F(EngineTest, PausedAndMutedAreSilent)
{
    Open("tone.wav");
    std::vector<short> const silence(2000, 0);
    EXPECT_EQ(Block(1000), silence);
    engine.SetMuted(true);
    engine.SetSpeed(1.0);
    Wait();
    EXPECT_EQ(Block(1000), silence);
    engine.SetMuted(false);
    EXPECT_NE(Block(1000), silence);
}

TEST_F(EngineTest, SoundIsMutedAboveTheSpeedThatWasSet)
{
    Open("tone.wav");
    std::vector<short> const silence(2000, 0);
    engine.SetSpeed(5.0);
    Wait();
    EXPECT_EQ(Block(1000), silence);
    engine.SetMuteAboveSpeed(5.0);
    Wait();
    EXPECT_NE(Block(1000), silence);
}

// Where the sound ends is found out although nobody hears it.
TEST_F(EngineTest, ComesToTheEndAtASpeedWithoutSound)
{
    for (char const* name : {"gop12.mp4", "short-video.mp4", "tone.mp3"}) {
        Open(name);
        engine.SetSpeed(8.0);
        for (int i = 0; i < 40 && Status().state != PlaybackState::Ended; ++i) {
            engine.GetPicture();
            Wait();
            time->Advance(100000);
        }
        EXPECT_EQ(Status().state, PlaybackState::Ended) << name;
        EXPECT_TRUE(Status().durationKnown) << name;
    }
}

TEST_F(EngineTest, BackwardsFromTheEndOfTheSoundItBeginsAtOnce)
{
    for (char const* name : {"pure.wav", "gop12.mp4"}) {
        engine.SetSpeed(0.0);
        Open(name);
        engine.Seek(1000000000);
        Wait();
        engine.SetSpeed(-1.0);
        Wait();
        // After the fade, most of the 1000 values: the tone passes through 0 a few times only.
        auto const block = Block(1000);
        EXPECT_GT(std::count_if(block.begin() + 1000, block.end(), [](short value) { return value != 0; }), 800)
            << name;
    }
}

TEST_F(EngineTest, TurnedAtTheEndTheSoundGoesBackAtOnce)
{
    Open("pure.wav");
    engine.Seek(5950000);
    Wait();
    engine.SetSpeed(1.0);
    for (int i = 0; i < 10; ++i) {
        Wait();
        Block(441);
        time->Advance(10000);
    }
    ASSERT_EQ(Status().state, PlaybackState::Ended);
    engine.SetSpeed(-1.0);
    Wait();
    // After the fade, most of the 1000 values: the tone passes through 0 a few times only.
    auto const block = Block(1000);
    EXPECT_GT(std::count_if(block.begin() + 1000, block.end(), [](short value) { return value != 0; }), 800);
}

// The tone's own steps between samples are up to 1030; a cut would be a step of thousands.
TEST_F(EngineTest, NothingClicks)
{
    Open("pure.wav");
    std::vector<short> out;
    auto const take = [&] {
        Wait();
        auto const block = Block(441);
        out.insert(out.end(), block.begin(), block.end());
        time->Advance(10000);
    };
    engine.SetVolume(4.0);
    engine.SetSpeed(1.0);
    for (int i = 0; i < 200; ++i) {
        switch (i % 40) {
        case 5:
            engine.Pause();
            break;
        case 8:
            engine.SetSpeed(1.0);
            break;
        case 12:
            engine.Seek(i * 20000 + 1234);
            break;
        case 20:
            engine.SetSpeed(-1.0);
            break;
        case 28:
            engine.SetSpeed(1.0);
            break;
        case 33:
            engine.SetMuted(true);
            break;
        case 36:
            engine.SetMuted(false);
            break;
        default:
            break;
        }
        take();
    }
    int largest = 0;
    int loudest = 0;
    for (size_t i = 2; i < out.size(); i += 2) {
        largest = std::max(largest, std::abs(out[i] - out[i - 2]));
        loudest = std::max(loudest, std::abs(static_cast<int>(out[i])));
    }
    EXPECT_GT(loudest, 10000);
    EXPECT_LT(largest, 1500);
}

TEST_F(EngineTest, PicturesGoOnAfterTheSoundAndSoundAfterThePictures)
{
    Open("short-video.mp4");
    engine.Seek(4000000);
    Wait();
    EXPECT_EQ(Shown(), 1960000);
    engine.SetSpeed(1.0);
    Wait();
    auto const block = Block(4000);
    EXPECT_NE(std::count(block.begin(), block.end(), 0), 8000);
    EXPECT_GT(Status().duration, 4900000); // the sound's 5 s; the pictures end at 2 s
    Open("long-video.mp4");
    engine.Seek(4010000);
    engine.SetSpeed(1.0);
    Wait();
    EXPECT_EQ(Shown(), 4000000);
    time->Advance(500000);
    Wait();
    EXPECT_EQ(Shown(), 4480000);
}

TEST_F(EngineTest, PlaysImagesOneBehindTheOther)
{
    QTemporaryDir const folder;
    QByteArray bytes;
    for (char grey : {'a', 'b', 'c'})
        bytes += "P6\n64 32\n255\n" + QByteArray(64 * 32 * 3, grey);
    QFile file(folder.filePath("row"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    engine.Open(file.fileName());
    Wait();
    EXPECT_EQ(Status().kind, SourceKind::Movie);
    for (char const grey : {'a', 'b', 'c'}) {
        ASSERT_TRUE(engine.GetPicture());
        EXPECT_EQ(engine.GetPicture()->data[0], grey);
        engine.Step(1);
        Wait();
    }
}

} // namespace
