#include "tests/support/Clips.h"

#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "playback/SoundFeeder.h"

#include <gtest/gtest.h>

namespace {

constexpr long long ahead = 500000;
constexpr long long longestFrame = 4608 * 1000000LL / 44100 + 1; // of FLAC at this rate

// A seek arrives while sound at another place is being decoded.
class SoundFeederTest : public testing::Test
{
protected:
    void SetUp() override
    {
        AvGlobals::maxAudioOutputChannels = 2;
        auto const info = std::make_shared<MediaInfo>(Clips::Made("tone.flac"));
        ASSERT_TRUE(MediaReader::ParseMedia(info));
        auto reader = std::make_unique<SoundStream>(info);
        ASSERT_TRUE(reader->Open());
        feeder = std::make_unique<SoundFeeder>(std::move(reader), 0);
        keeper = info;
        ASSERT_TRUE(feeder->Begin([] { return false; }));
    }

    static PlayNeed NeedAt(long long position, long long seekSerial, bool forwards = true)
    {
        PlayNeed need;
        need.position = position;
        need.seekSerial = seekSerial;
        need.playing = !forwards;
        need.forwards = forwards;
        return need;
    }

    // One work step for `need`; `later` is the need at its end.
    bool Work(PlayNeed const& need, PlayNeed const& later)
    {
        return feeder->Work(
            need, [&] { return later; }, ahead);
    }

    bool HasSound(PlayNeed const& need) const { return feeder->HasSound(need, 1); }

    std::shared_ptr<MediaInfo> keeper;
    std::unique_ptr<SoundFeeder> feeder;
};

TEST_F(SoundFeederTest, DecodesWhatIsNeeded)
{
    PlayNeed const need = NeedAt(3000000, 1);
    EXPECT_FALSE(HasSound(need));
    EXPECT_TRUE(Work(need, need));
    EXPECT_TRUE(HasSound(need));
}

TEST_F(SoundFeederTest, LeavesItForASeekToAnotherPlace)
{
    PlayNeed const need = NeedAt(3000000, 1);
    PlayNeed const later = NeedAt(5000000, 2);
    EXPECT_TRUE(Work(need, later));
    EXPECT_FALSE(HasSound(need));
    EXPECT_TRUE(Work(later, later));
    EXPECT_TRUE(HasSound(later));
}

TEST_F(SoundFeederTest, GoesOnWhereThePlaceOfTheSeekIsDecodedAlready)
{
    PlayNeed const need = NeedAt(3000000, 1);
    while (Work(need, need)) {
    }
    PlayNeed const beyond = NeedAt(3400000, 1);
    EXPECT_TRUE(Work(beyond, NeedAt(3200000, 2)));
    EXPECT_TRUE(feeder->HasSound(beyond, 200000));
}

TEST_F(SoundFeederTest, WhatWasLeftBackwardsIsDecodedWhenItIsNeededAfterAll)
{
    PlayNeed const first = NeedAt(4000000, 1, false);
    while (Work(first, first)) {
    }
    EXPECT_TRUE(HasSound(first));
    PlayNeed const second = NeedAt(1500000, 2, false);
    EXPECT_TRUE(Work(second, NeedAt(5500000, 3, false)));
    EXPECT_FALSE(HasSound(first));
    EXPECT_TRUE(Work(first, first));
    EXPECT_TRUE(HasSound(first));
}

TEST_F(SoundFeederTest, BeginsWithTheFirstSound)
{
    SoundFeeder::Snapshot const now = feeder->GetSnapshot();
    EXPECT_EQ(now.begin, 0);
    EXPECT_EQ(now.forwards.from, 0);
    EXPECT_GT(now.forwards.to, 0);
    EXPECT_LT(now.forwards.to, 100000 + longestFrame); // one work step: 0.1 s
    EXPECT_LT(now.backwards.to, now.backwards.from);
    EXPECT_EQ(now.end, SoundFeeder::noLimit);
    EXPECT_EQ(feeder->GetOrigin(), 0);
    EXPECT_EQ(feeder->GetOutput()->GetSampleRate(), 44100);
}

TEST_F(SoundFeederTest, DoesNotBeginWhenItIsStopped)
{
    auto reader = std::make_unique<SoundStream>(keeper);
    ASSERT_TRUE(reader->Open());
    SoundFeeder stopped(std::move(reader), 0);
    EXPECT_FALSE(stopped.Begin([] { return true; }));
}

TEST_F(SoundFeederTest, DecodesAsFarAheadAsItIsToldAndAsTheSpeedNeeds)
{
    PlayNeed need = NeedAt(1000000, 1);
    while (Work(need, need)) {
    }
    EXPECT_GE(feeder->GetSnapshot().forwards.to, 1500000);
    EXPECT_LT(feeder->GetSnapshot().forwards.to, 1500000 + 100000 + longestFrame); // 0.5 s ahead and a work step
    EXPECT_TRUE(feeder->HasSound(need, 500000));
    EXPECT_FALSE(feeder->HasSound(need, 1500000));
    need.speed = 4.0;
    EXPECT_FALSE(feeder->HasSound(need, 500000));
    while (Work(need, need)) {
    }
    EXPECT_GE(feeder->GetSnapshot().forwards.to, 3000000);
    EXPECT_TRUE(feeder->HasSound(need, 500000));
}

TEST_F(SoundFeederTest, NeedsNothingWhereNoSoundIsPlayed)
{
    PlayNeed need = NeedAt(3000000, 1);
    need.needsSound = false;
    EXPECT_TRUE(HasSound(need));
    EXPECT_FALSE(Work(need, need));
    EXPECT_LT(feeder->GetSnapshot().forwards.to, 100000 + longestFrame); // the first work step only
}

TEST_F(SoundFeederTest, KeepsASecondOfThePast)
{
    for (long long position = 0; position <= 4000000; position += 100000) {
        PlayNeed const need = NeedAt(position, 1);
        while (Work(need, need)) {
        }
    }
    EXPECT_LE(feeder->GetSnapshot().forwards.from, 3000000);
    EXPECT_GE(feeder->GetSnapshot().forwards.from, 3000000 - longestFrame);
}

TEST_F(SoundFeederTest, KnowsTheEndOnceItHasBeenReached)
{
    PlayNeed const need = NeedAt(5800000, 1);
    while (Work(need, need)) {
    }
    EXPECT_NEAR(static_cast<double>(feeder->GetSnapshot().end), 6000000.0, 1.0); // rounded to microseconds
    EXPECT_EQ(feeder->GetSnapshot().forwards.to, SoundFeeder::noLimit);
    EXPECT_TRUE(feeder->HasSound(need, 100000000));
    PlayNeed const beyond = NeedAt(9000000, 2);
    while (Work(beyond, beyond)) {
    }
    EXPECT_TRUE(HasSound(beyond));
}

TEST_F(SoundFeederTest, BackwardsFromNearTheBeginningThatIsAllThereIs)
{
    PlayNeed const need = NeedAt(1500000, 1, false);
    while (Work(need, need)) {
    }
    EXPECT_TRUE(feeder->HasSound(need, 100000000));
    EXPECT_LE(feeder->GetSnapshot().backwards.from, 0);
    EXPECT_GE(feeder->GetSnapshot().backwards.to, 1500000);
}

TEST_F(SoundFeederTest, AfterATurnItReadsOnWhereItWas)
{
    PlayNeed const forwards = NeedAt(3000000, 1);
    while (Work(forwards, forwards)) {
    }
    long long const reached = feeder->GetSnapshot().forwards.to;
    PlayNeed const backwards = NeedAt(3400000, 1, false);
    while (Work(backwards, backwards)) {
    }
    PlayNeed const again = NeedAt(3400000, 1);
    while (Work(again, again)) {
    }
    EXPECT_GT(feeder->GetSnapshot().forwards.to, reached);
    EXPECT_LE(feeder->GetSnapshot().forwards.from, 3000000); // nothing was read again
}

// A movie's sound uses container time; media time 0 is the first picture.
TEST_F(SoundFeederTest, CountsFromItsOrigin)
{
    auto reader = std::make_unique<SoundStream>(keeper);
    ASSERT_TRUE(reader->Open());
    feeder = std::make_unique<SoundFeeder>(std::move(reader), 2000000);
    ASSERT_TRUE(feeder->Begin([] { return false; }));
    PlayNeed const need = NeedAt(1000000, 1);
    while (Work(need, need)) {
    }
    EXPECT_LE(feeder->GetSnapshot().forwards.from, 3000000);
    EXPECT_GE(feeder->GetSnapshot().forwards.to, 3500000);
}

} // namespace
