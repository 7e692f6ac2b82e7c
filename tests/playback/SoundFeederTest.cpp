#include "Clips.h"

#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "playback/SoundFeeder.h"

#include <gtest/gtest.h>

namespace {

constexpr long long ahead = 500000;

// A seek comes while the sound of another place is decoded.
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

    static PlayNeed NeedAt(long long position, long long sought, bool forwards = true)
    {
        PlayNeed need;
        need.position = position;
        need.sought = sought;
        need.playing = !forwards;
        need.forwards = forwards;
        return need;
    }

    // One piece of work for `need`, while `later` is what is needed by then.
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

} // namespace
