#include "playback/PlayState.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

// The play state is arithmetic: the tests choose every instant.

namespace {

constexpr long long second = 1000000;
constexpr long long farAway = std::numeric_limits<long long>::max() / 4;

PlayRange TenSeconds()
{
    PlayRange range;
    range.end = 10 * second;
    range.endKnown = true;
    return range;
}

// Opened and advanced at instant 0; then at 2 s.
PlayState Paused()
{
    PlayState state;
    state.SetMuteAboveSpeed(4.0);
    state.Open(0);
    state.Advance(TenSeconds(), 0);
    state.Seek(2000000, 0);
    return state;
}

PlayState Waiting()
{
    PlayState state = Paused();
    state.SetSpeed(1.0, 0);
    return state;
}

// Playing since instant 0 from 2 s on.
PlayState Playing(double speed)
{
    PlayState state = Paused();
    state.SetSpeed(speed, 0);
    state.Begin(0);
    return state;
}

PlayState Ended(double speed)
{
    PlayState state = Playing(speed);
    state.Advance(TenSeconds(), 20 * second);
    return state;
}

PlayState Stepping()
{
    PlayState state = Paused();
    state.Step(3, 0);
    return state;
}

PlayState Previewing()
{
    PlayState state = Paused();
    state.SeekPreview(2000000, 1500000, 0);
    return state;
}

// Position, speed, and everything else that differs from the paused state.
std::string Tell(PlayState const& state, long long now)
{
    std::string text = std::to_string(state.GetPosition(now)) + " x" + std::to_string(std::lround(state.speed));
    if (state.waiting)
        text += " waiting";
    if (state.IsRunning())
        text += " running";
    if (state.ended)
        text += " ended";
    if (state.preview)
        text += " preview";
    if (state.steps != 0)
        text += " steps " + std::to_string(state.steps);
    return text;
}

using Command = std::function<void(PlayState&, long long now)>;

// The result of a command at instant 1 s in each state.
void ExpectInEachState(Command const& command, std::vector<std::string> const& expected)
{
    std::vector<std::pair<std::string, PlayState>> const states = {
        {"paused", Paused()},         {"waiting", Waiting()},         {"forwards", Playing(1.0)},
        {"backwards", Playing(-1.0)}, {"ended forwards", Ended(1.0)}, {"ended backwards", Ended(-1.0)},
        {"stepping", Stepping()},     {"previewing", Previewing()},
    };
    ASSERT_EQ(expected.size(), states.size());
    for (size_t i = 0; i < states.size(); ++i) {
        PlayState state = states[i].second;
        state.Advance(TenSeconds(), second);
        command(state, second);
        EXPECT_EQ(Tell(state, second), expected[i]) << states[i].first;
    }
}

// ---- Every command in every state

TEST(PlayStateTest, GoesOnByItselfWithoutACommand)
{
    ExpectInEachState([](PlayState&, long long) {},
                      {"2000000 x0", "2000000 x1 waiting", "3000000 x1 running", "1000000 x-1 running",
                       "10000000 x1 ended", "0 x-1 ended", "2000000 x0 steps 3", "2000000 x0 preview"});
}

TEST(PlayStateTest, WaitsWherePlayBeginsOrTurnsAndOnlyThere)
{
    ExpectInEachState([](PlayState& state, long long now) { state.SetSpeed(2.0, now); },
                      {"2000000 x2 waiting", "2000000 x2 waiting", "3000000 x2 running", "1000000 x2 waiting",
                       "10000000 x2 waiting", "0 x2 waiting", "2000000 x2 waiting", "2000000 x2 waiting"});
    ExpectInEachState([](PlayState& state, long long now) { state.SetSpeed(-2.0, now); },
                      {"2000000 x-2 waiting", "2000000 x-2 waiting", "3000000 x-2 waiting", "1000000 x-2 running",
                       "10000000 x-2 waiting", "0 x-2 waiting", "2000000 x-2 waiting", "2000000 x-2 waiting"});
}

TEST(PlayStateTest, PausesWhereItIs)
{
    ExpectInEachState(
        [](PlayState& state, long long now) {
            state.SetSpeed(0.0, now);
            state.Advance(TenSeconds(), now);
        },
        {"2000000 x0", "2000000 x0", "3000000 x0", "1000000 x0", "10000000 x0", "0 x0", "2000000 x0 steps 3",
         "2000000 x0 preview"});
}

TEST(PlayStateTest, PausesForAStepAndAddsItToThoseStillToMake)
{
    ExpectInEachState([](PlayState& state, long long now) { state.Step(-1, now); },
                      {"2000000 x0 steps -1", "2000000 x0 steps -1", "3000000 x0 steps -1", "1000000 x0 steps -1",
                       "10000000 x0 steps -1", "0 x0 steps -1", "2000000 x0 steps 2", "2000000 x0 steps -1"});
}

TEST(PlayStateTest, PlayGoesOnFromWhereASeekGoes)
{
    ExpectInEachState([](PlayState& state, long long now) { state.Seek(5000000, now); },
                      {"5000000 x0", "5000000 x1 waiting", "5000000 x1 waiting", "5000000 x-1 waiting",
                       "5000000 x1 waiting", "5000000 x-1 waiting", "5000000 x0", "5000000 x0"});
}

TEST(PlayStateTest, APreviewIsASeekThatEndsByItself)
{
    Command const preview = [](PlayState& state, long long now) { state.SeekPreview(5000000, 1200000, now); };
    ExpectInEachState(preview, {"5000000 x0 preview", "5000000 x1 waiting preview", "5000000 x1 waiting preview",
                                "5000000 x-1 waiting preview", "5000000 x1 waiting preview",
                                "5000000 x-1 waiting preview", "5000000 x0 preview", "5000000 x0 preview"});
    PlayState state = Paused();
    preview(state, second);
    long long const wakes = state.wakeSerial;
    state.Advance(TenSeconds(), 1199999);
    EXPECT_TRUE(state.preview);
    EXPECT_EQ(state.wakeSerial, wakes);
    state.Advance(TenSeconds(), 1200000);
    EXPECT_FALSE(state.preview);
    EXPECT_EQ(state.wakeSerial, wakes + 1);
}

TEST(PlayStateTest, OpeningPausesAtTheStart)
{
    ExpectInEachState([](PlayState& state, long long now) { state.Open(now); }, std::vector<std::string>(8, "0 x0"));
}

TEST(PlayStateTest, ALoopTakesPlayBackAndNothingElse)
{
    ExpectInEachState(
        [](PlayState& state, long long now) {
            state.SetLoop(1500000, 2500000);
            state.Advance(TenSeconds(), now);
        },
        {"2000000 x0", "2000000 x1 waiting", "1500000 x1 waiting", "2499999 x-1 waiting", "10000000 x1 ended",
         "0 x-1 ended", "2000000 x0 steps 3", "2000000 x0 preview"});
}

TEST(PlayStateTest, SettingsOfTheSoundLeavePlayAlone)
{
    ExpectInEachState(
        [](PlayState& state, long long) {
            state.SetVolume(0.5);
            state.SetMuted(true);
            state.SetMuteAboveSpeed(0.5);
            state.SetScrubSound(true);
        },
        {"2000000 x0", "2000000 x1 waiting", "3000000 x1 running", "1000000 x-1 running", "10000000 x1 ended",
         "0 x-1 ended", "2000000 x0 steps 3", "2000000 x0 preview"});
}

// ---- Time

TEST(PlayStateTest, TheClockStandsStillUntilPlayBegins)
{
    PlayState state = Waiting();
    EXPECT_EQ(state.GetPosition(3000000), 2000000);
    state.Begin(3000000);
    EXPECT_EQ(state.begunAt, 2000000);
    EXPECT_EQ(state.GetPosition(3000000), 2000000);
    EXPECT_EQ(state.GetPosition(3400000), 2400000);
}

TEST(PlayStateTest, ChangesOfSpeedAddUp)
{
    PlayState state = Playing(2.0);
    state.SetSpeed(0.5, 500000);
    EXPECT_EQ(state.GetPosition(500000), 3000000);
    state.SetSpeed(16.0, 1500000);
    EXPECT_EQ(state.GetPosition(1500000), 3500000);
    state.SetSpeed(0.0, 1600000);
    EXPECT_EQ(state.GetPosition(9000000), 5100000);
}

TEST(PlayStateTest, HoldsArgumentsToWhatMakesSense)
{
    PlayState state = Paused();
    state.SetSpeed(100.0, 0);
    EXPECT_EQ(state.speed, 16.0);
    state.SetSpeed(-std::numeric_limits<double>::infinity(), 0);
    EXPECT_EQ(state.speed, -16.0);
    state.SetSpeed(std::nan(""), 0);
    EXPECT_EQ(state.speed, 0.0);
    state.Step(std::numeric_limits<int>::max(), 0);
    EXPECT_EQ(state.steps, 1000000);
    state.Step(std::numeric_limits<int>::min(), 0);
    EXPECT_EQ(state.steps, 0);
    state.Seek(std::numeric_limits<long long>::max(), 0);
    EXPECT_EQ(state.reported, farAway);
    state.SetLoop(std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max());
    EXPECT_EQ(state.loopStart, -farAway);
    EXPECT_EQ(state.loopEnd, farAway);
    state.SetVolume(-1.0);
    EXPECT_EQ(state.volume, 0.0);
    state.SetVolume(1e9);
    EXPECT_EQ(state.volume, 1000000.0);
    state.SetVolume(std::nan(""));
    EXPECT_EQ(state.volume, 0.0);
    state.SetMuteAboveSpeed(std::nan(""));
    EXPECT_EQ(state.muteAboveSpeed, 0.0);
}

// ---- Ends

TEST(PlayStateTest, EndsAtTheEndAndGoesBackFromThere)
{
    PlayState state = Playing(1.0);
    state.Advance(TenSeconds(), 7999999);
    EXPECT_EQ(Tell(state, 7999999), "9999999 x1 running");
    state.Advance(TenSeconds(), 8000000);
    EXPECT_EQ(Tell(state, 8000000), "10000000 x1 ended");
    EXPECT_EQ(state.GetPosition(20 * second), 10000000);
    state.SetSpeed(-1.0, 9000000);
    state.Advance(TenSeconds(), 9000000);
    EXPECT_EQ(Tell(state, 9000000), "10000000 x-1 waiting");
    state.Begin(9500000);
    EXPECT_EQ(state.GetPosition(9600000), 9900000);
}

TEST(PlayStateTest, EndsAtTheStartAndGoesOnFromThere)
{
    PlayState state = Playing(-1.0);
    state.Advance(TenSeconds(), 1999999);
    EXPECT_EQ(Tell(state, 1999999), "1 x-1 running");
    state.Advance(TenSeconds(), 2000000);
    EXPECT_EQ(Tell(state, 2000000), "0 x-1 ended");
    state.SetSpeed(1.0, 3000000);
    state.Advance(TenSeconds(), 3000000);
    EXPECT_EQ(Tell(state, 3000000), "0 x1 waiting");
    state.Begin(3000000);
    EXPECT_EQ(state.GetPosition(3000250), 250);
}

TEST(PlayStateTest, EndsAgainWhenItIsToPlayOnFromTheEnd)
{
    PlayState state = Ended(1.0);
    state.SetSpeed(3.0, second);
    state.Advance(TenSeconds(), second);
    EXPECT_EQ(Tell(state, second), "10000000 x3 ended");
}

// Its first picture must be shown.
TEST(PlayStateTest, PlayingBackwardsFromTheStartWaitsBeforeItEnds)
{
    PlayState state = Paused();
    state.Seek(-5000000, 0);
    state.SetSpeed(-1.0, 0);
    state.Advance(TenSeconds(), 0);
    EXPECT_EQ(Tell(state, 0), "0 x-1 waiting");
    state.Begin(1000);
    state.Advance(TenSeconds(), 1000);
    EXPECT_EQ(Tell(state, 1000), "0 x-1 ended");
}

TEST(PlayStateTest, ASeekBeyondAnEndGoesToThatEnd)
{
    PlayState state = Paused();
    state.Seek(11000000, 0);
    state.Advance(TenSeconds(), 0);
    EXPECT_EQ(Tell(state, 0), "10000000 x0");
    PlayRange range = TenSeconds();
    range.start = -500000;
    state.Seek(-900000, 0);
    state.Advance(range, 0);
    EXPECT_EQ(Tell(state, 0), "-500000 x0");
}

TEST(PlayStateTest, AnEstimatedEndHoldsNothingBack)
{
    PlayRange range = TenSeconds();
    range.endKnown = false;
    PlayState state = Playing(1.0);
    state.Advance(range, 20 * second);
    EXPECT_EQ(Tell(state, 20 * second), "22000000 x1 running");
    state.Advance(TenSeconds(), 20 * second);
    EXPECT_EQ(Tell(state, 20 * second), "10000000 x1 ended");
}

// A movie's sound is opened after its pictures, and may begin before them.
TEST(PlayStateTest, BeginsAtTheStartOnceThatIsKnown)
{
    PlayRange range = TenSeconds();
    range.startKnown = false;
    PlayRange known = TenSeconds();
    known.start = -700000;
    PlayState state;
    state.Open(0);
    state.Advance(range, 1000);
    EXPECT_EQ(Tell(state, 1000), "0 x0");
    PlayState sought = state;
    sought.Seek(30000, 1000);
    PlayState stepped = state;
    stepped.Step(1, 1000);
    stepped.MakeStep(40000, /*isLast=*/false, 1000);
    for (PlayState* each : {&state, &sought, &stepped}) {
        each->Advance(range, 2000);
        each->Advance(known, 3000);
    }
    EXPECT_EQ(Tell(state, 3000), "-700000 x0");
    EXPECT_EQ(Tell(sought, 3000), "30000 x0");
    EXPECT_EQ(Tell(stepped, 3000), "40000 x0");
}

TEST(PlayStateTest, StaysBeforeAStartThatIsNotKnownYet)
{
    PlayRange range = TenSeconds();
    range.startKnown = false;
    PlayState state;
    state.Open(0);
    state.Seek(-300000, 0);
    state.Advance(range, 0);
    EXPECT_EQ(state.GetPosition(0), -300000);
    state.Advance(TenSeconds(), 0);
    EXPECT_EQ(state.GetPosition(0), 0);
}

// ---- Loops

TEST(PlayStateTest, LoopsForwards)
{
    PlayState state = Playing(1.0);
    state.SetLoop(1000000, 3000000);
    state.Advance(TenSeconds(), 999999);
    EXPECT_EQ(Tell(state, 999999), "2999999 x1 running");
    long long const serial = state.seekSerial;
    state.Advance(TenSeconds(), 1000000);
    EXPECT_EQ(Tell(state, 1000000), "1000000 x1 waiting");
    EXPECT_EQ(state.seekSerial, serial + 1);
    state.Begin(1100000);
    state.Advance(TenSeconds(), 1300000);
    EXPECT_EQ(Tell(state, 1300000), "1200000 x1 running");
}

TEST(PlayStateTest, LoopsBackwards)
{
    PlayState state = Playing(-1.0);
    state.SetLoop(1000000, 3000000);
    state.Advance(TenSeconds(), 1000000);
    EXPECT_EQ(Tell(state, 1000000), "1000000 x-1 running");
    state.Advance(TenSeconds(), 1000001);
    EXPECT_EQ(Tell(state, 1000001), "2999999 x-1 waiting");
}

TEST(PlayStateTest, ALoopReachesNoFurtherThanTheMedia)
{
    PlayState state = Playing(1.0);
    state.SetLoop(-5000000, 50000000);
    state.Advance(TenSeconds(), 8000000);
    EXPECT_EQ(Tell(state, 8000000), "0 x1 waiting");
    state = Playing(-1.0);
    state.SetLoop(-5000000, 50000000);
    state.Advance(TenSeconds(), 2000001);
    EXPECT_EQ(Tell(state, 2000001), "9999999 x-1 waiting");
}

TEST(PlayStateTest, ARangeBelowOneMicrosecondIsNoLoop)
{
    for (long long const end : {-1LL, 1000000LL, 999999LL}) {
        PlayState state = Playing(1.0);
        state.SetLoop(1000000, end);
        state.Advance(TenSeconds(), second);
        EXPECT_EQ(Tell(state, second), "3000000 x1 running") << end;
    }
    PlayState state = Playing(1.0);
    state.SetLoop(1000000, 1000001);
    state.Advance(TenSeconds(), second);
    EXPECT_EQ(Tell(state, second), "1000000 x1 waiting");
    state.Open(second);
    EXPECT_EQ(state.loopEnd, state.loopStart);
}

// ---- Steps

TEST(PlayStateTest, MakesItsStepsOneByOneAndStopsAtTheLastPicture)
{
    PlayState state = Stepping();
    state.MakeStep(2040000, /*isLast=*/false, second);
    EXPECT_EQ(Tell(state, second), "2040000 x0 steps 2");
    state.MakeStep(2090000, /*isLast=*/false, second);
    EXPECT_EQ(Tell(state, second), "2090000 x0 steps 1");
    state.MakeStep(2090000, /*isLast=*/true, second);
    EXPECT_EQ(Tell(state, second), "2090000 x0");
    state.Step(-2, second);
    state.MakeStep(2040000, /*isLast=*/false, second);
    EXPECT_EQ(Tell(state, second), "2040000 x0 steps -1");
}

// ---- The sound output's clock

SoundReport ReportAt(PlayState const& state, double position, long long instant)
{
    SoundReport report;
    report.clockSerial = state.clockSerial;
    report.position = position;
    report.instant = instant;
    report.drift = 250.0;
    return report;
}

TEST(PlayStateTest, FollowsTheSoundOutput)
{
    PlayState state = Playing(1.0);
    state.Follow(ReportAt(state, 2500000.0, 400000));
    EXPECT_EQ(state.GetPosition(400000), 2500000);
    EXPECT_EQ(state.GetPosition(500000), 2600000);
    EXPECT_EQ(state.drift, 250.0);
}

TEST(PlayStateTest, NeverGoesAgainstTheDirectionOfPlay)
{
    PlayState state = Playing(1.0);
    state.Advance(TenSeconds(), 500000);
    state.Follow(ReportAt(state, 2450000.0, 500000));
    EXPECT_EQ(state.GetPosition(500000), 2500000);
    EXPECT_EQ(state.GetPosition(540000), 2500000);
    EXPECT_EQ(state.GetPosition(560000), 2510000);
    state = Playing(-1.0);
    state.Advance(TenSeconds(), 500000);
    state.Follow(ReportAt(state, 1550000.0, 500000));
    EXPECT_EQ(state.GetPosition(500000), 1500000);
    EXPECT_EQ(state.GetPosition(560000), 1490000);
}

TEST(PlayStateTest, AReportFromBeforeTheClockWasSetIsLeft)
{
    for (Command const &set : std::vector<Command>{
             [](PlayState&state, long long now) { state.Seek(5000000, now); },
             [](PlayState&state, long long now) { state.SetSpeed(2.0, now); },
             [](PlayState&state, long long now) { state.Step(1, now); },
             [](PlayState&state, long long now) { state.Open(now); },
         }) {
        PlayState state = Playing(1.0);
        SoundReport const report = ReportAt(state, 9000000.0, 400000);
        set(state, 400000);
        long long const position = state.GetPosition(400000);
        state.Follow(report);
        EXPECT_EQ(state.GetPosition(400000), position);
    }
}

TEST(PlayStateTest, VolumeLeavesTheClockToTheSoundOutput)
{
    PlayState state = Playing(1.0);
    SoundReport const report = ReportAt(state, 2500000.0, 400000);
    state.SetVolume(0.5);
    state.SetMuted(true);
    state.SetLoop(0, 9000000);
    state.Follow(report);
    EXPECT_EQ(state.GetPosition(400000), 2500000);
}

// ---- Serials

TEST(PlayStateTest, CountsOpeningsAndSeeks)
{
    PlayState state = Paused();
    long long const open = state.openSerial;
    long long const seek = state.seekSerial;
    state.SetSpeed(1.0, 0);
    state.Begin(0);
    state.Advance(TenSeconds(), 500000);
    state.Step(1, 500000);
    state.MakeStep(2540000, /*isLast=*/false, 500000);
    EXPECT_EQ(state.seekSerial, seek);
    state.Seek(2540000, 500000); // to the present position
    EXPECT_EQ(state.seekSerial, seek + 1);
    state.SeekPreview(0, 0, 500000);
    EXPECT_EQ(state.seekSerial, seek + 2);
    EXPECT_EQ(state.openSerial, open);
    state.Open(500000);
    EXPECT_EQ(state.openSerial, open + 1);
    EXPECT_EQ(state.seekSerial, seek + 3);
}

TEST(PlayStateTest, WakesWhereAnotherPlaceIsNeeded)
{
    PlayState state = Playing(1.0);
    long long wakes = state.wakeSerial;
    state.Advance(TenSeconds(), 500000); // playback continues
    EXPECT_EQ(state.wakeSerial, wakes);
    state.Advance(TenSeconds(), 9000000); // playback ends
    EXPECT_GT(state.wakeSerial, wakes);
    wakes = state.wakeSerial;
    state.Seek(1000000, 9000000);
    EXPECT_GT(state.wakeSerial, wakes);
}

// ---- What it needs from the feeders

TEST(PlayStateTest, TellsTheFeedersWhatIsNeeded)
{
    PlayNeed const playing = Playing(-2.0).GetNeed(500000);
    EXPECT_EQ(playing.position, 1000000);
    EXPECT_TRUE(playing.playing);
    EXPECT_FALSE(playing.forwards);
    EXPECT_EQ(playing.speed, -2.0);
    EXPECT_TRUE(playing.needsSound);
    PlayNeed const waiting = Waiting().GetNeed(500000);
    EXPECT_TRUE(waiting.playing);
    EXPECT_EQ(waiting.speed, 0.0); // the clock's speed
    PlayState pausedAfterwards = Playing(-2.0);
    pausedAfterwards.SetSpeed(0.0, 500000);
    EXPECT_FALSE(pausedAfterwards.GetNeed(500000).playing);
    EXPECT_FALSE(pausedAfterwards.GetNeed(500000).forwards); // the last direction
    EXPECT_FALSE(Ended(1.0).GetNeed(0).playing);
    EXPECT_EQ(Stepping().GetNeed(0).steps, 3);
    EXPECT_TRUE(Previewing().GetNeed(0).preview);
    EXPECT_EQ(Previewing().GetNeed(0).seekSerial, Previewing().seekSerial);
    EXPECT_EQ(Previewing().GetNeed(0).openSerial, Previewing().openSerial);
}

TEST(PlayStateTest, NeedsNoSoundAtAHighSpeedNorForAPreviewWhilePaused)
{
    EXPECT_TRUE(Playing(4.0).GetNeed(0).needsSound);
    EXPECT_FALSE(Playing(4.5).GetNeed(0).needsSound);
    EXPECT_FALSE(Playing(-4.5).GetNeed(0).needsSound);
    EXPECT_FALSE(Previewing().GetNeed(0).needsSound);
    PlayState playing = Playing(1.0);
    playing.SeekPreview(0, second, 0);
    EXPECT_TRUE(playing.GetNeed(0).needsSound);
    playing.SetMuted(true); // muting may end at any time
    EXPECT_TRUE(playing.GetNeed(0).needsSound);
}

TEST(PlayStateTest, SoundsWhileItRunsUnlessItIsMuted)
{
    PlayState state = Playing(-4.0);
    state.SetVolume(0.5);
    EXPECT_TRUE(state.GetSoundRun().sounding);
    EXPECT_EQ(state.GetSoundRun().speed, -4.0);
    EXPECT_EQ(state.GetSoundRun().volume, 0.5);
    EXPECT_EQ(state.GetSoundRun().seekSerial, state.seekSerial);
    state.SetMuted(true);
    EXPECT_FALSE(state.GetSoundRun().sounding);
    EXPECT_EQ(state.GetSoundRun().speed, -4.0); // its position advances
    EXPECT_FALSE(Playing(-4.5).GetSoundRun().sounding);
    for (PlayState const& silent : {Paused(), Waiting(), Ended(1.0), Ended(-1.0), Stepping()}) {
        EXPECT_FALSE(silent.GetSoundRun().sounding);
        EXPECT_EQ(silent.GetSoundRun().speed, 0.0);
    }
}

// ---- Pieces of sound while paused, at 2 s at first

PlayState Scrubbing()
{
    PlayState state = Paused();
    state.SetScrubSound(true);
    return state;
}

PlayState WithPiece()
{
    PlayState state = Scrubbing();
    state.SeekPreview(3000000, second, 0);
    return state;
}

TEST(PlayStateTest, AStepAsksForAPieceInItsDirection)
{
    PlayState state = Scrubbing();
    state.Step(1, 0);
    EXPECT_EQ(state.GetNeed(0).piece.serial, 0); // not before the step is made
    long long const wakes = state.wakeSerial;
    state.MakeStep(2040000, /*isLast=*/false, 0);
    EXPECT_GT(state.wakeSerial, wakes);
    EXPECT_EQ(state.GetNeed(0).piece.serial, 1);
    EXPECT_EQ(state.GetNeed(0).piece.position, 2040000);
    EXPECT_TRUE(state.GetNeed(0).piece.forwards);
    state.Step(-1, 0);
    state.MakeStep(2000000, /*isLast=*/false, 0);
    EXPECT_EQ(state.GetNeed(0).piece.serial, 2);
    EXPECT_EQ(state.GetNeed(0).piece.position, 2000000);
    EXPECT_FALSE(state.GetNeed(0).piece.forwards);
    state.Step(-1, 0);
    state.MakeStep(2000000, /*isLast=*/true, 0); // there is no picture before it
    EXPECT_EQ(state.GetNeed(0).piece.serial, 2);
}

TEST(PlayStateTest, APreviewAsksForAPieceInTheDirectionOfItsMove)
{
    PlayState state = Scrubbing();
    state.SeekPreview(3000000, second, 0);
    EXPECT_EQ(state.GetNeed(0).piece.position, 3000000);
    EXPECT_TRUE(state.GetNeed(0).piece.forwards);
    state.SeekPreview(1000000, second, 0);
    EXPECT_EQ(state.GetNeed(0).piece.position, 1000000);
    EXPECT_FALSE(state.GetNeed(0).piece.forwards);
    state.SeekPreview(1000000, second, 0); // no move
    EXPECT_EQ(state.GetNeed(0).piece.serial, 0);
    PlayState playing = Playing(1.0);
    playing.SetScrubSound(true);
    playing.SeekPreview(3000000, second, 0);
    EXPECT_EQ(playing.GetNeed(0).piece.serial, 0);
}

TEST(PlayStateTest, APieceSoundsOnceItIsDecoded)
{
    PlayState state = WithPiece();
    EXPECT_FALSE(state.GetSoundRun().sounding);
    state.StartPiece();
    EXPECT_EQ(state.GetNeed(0).piece.serial, 0); // nothing more to decode
    EXPECT_TRUE(state.GetSoundRun().sounding);
    EXPECT_EQ(state.GetSoundRun().piece.serial, 1);
    EXPECT_EQ(state.GetSoundRun().speed, 1.0);
    state.SeekPreview(1000000, second, 0);
    EXPECT_FALSE(state.GetSoundRun().sounding);
    state.StartPiece();
    EXPECT_EQ(state.GetSoundRun().piece.serial, 2);
    EXPECT_EQ(state.GetSoundRun().speed, -1.0);
}

TEST(PlayStateTest, PlayASeekAndSilenceDropAPiece)
{
    std::vector<std::pair<std::string, Command>> const commands = {
        {"open", [](PlayState& state, long long now) { state.Open(now); }},
        {"play", [](PlayState& state, long long now) { state.SetSpeed(1.0, now); }},
        {"seek", [](PlayState& state, long long now) { state.Seek(3000000, now); }},
        {"mute", [](PlayState& state, long long) { state.SetMuted(true); }},
        {"scrub silently", [](PlayState& state, long long) { state.SetScrubSound(false); }},
    };
    for (auto const& [name, command] : commands) {
        PlayState state = WithPiece();
        command(state, 0);
        EXPECT_EQ(state.GetNeed(0).piece.serial, 0) << name;
        state.StartPiece();
        EXPECT_EQ(state.GetSoundRun().piece.serial, 0) << name;
    }
}

TEST(PlayStateTest, MutedOrUnaskedThereIsNoPiece)
{
    PlayState muted = Scrubbing();
    muted.SetMuted(true);
    PlayState unasked = Paused();
    for (PlayState state : {muted, unasked}) {
        state.SeekPreview(3000000, second, 0);
        EXPECT_EQ(state.GetNeed(0).piece.serial, 0);
        state.Step(1, 0);
        state.MakeStep(3040000, /*isLast=*/false, 0);
        EXPECT_EQ(state.GetNeed(0).piece.serial, 0);
    }
}

} // namespace
