#include "ClipTest.h"
#include "VirtualTime.h"
#include "tests/support/Patience.h"

#include "decode/DecodedVideoFrame.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <random>

// Every picture that the engine shows, by whatever path, is the one that a plain decode of the whole file has at that
// time.

namespace {

constexpr long long farAhead = 1000000000000LL;

std::vector<std::string> AllClips()
{
    std::vector<std::string> names = Clips::MovieNames();
    names.emplace_back("sequence");
    return names;
}

class PictureProofTest : public ClipTest
{
protected:
    void SetUp() override
    {
        ClipTest::SetUp();
        options.sequenceRate = 25.0;
        options.withSound = false;
    }

    void Open()
    {
        engine = std::make_unique<PlaybackEngine>(options, time);
        engine->Open(path);
        Wait();
        ASSERT_EQ(engine->GetStatus().error, QString());
    }

    void Wait() { ASSERT_TRUE(engine->WaitUntilReady(patience)); }

    // `count`, or a third of it where pictures are large: decoding them takes most of these tests' time.
    size_t LessOfLarge(size_t count) const
    {
        constexpr int large = 800 * 600;
        auto const shown = engine->GetPicture();
        return shown && shown->width * shown->height >= large ? count / 3 : count;
    }

    void ExpectShown(size_t index)
    {
        auto const shown = engine->GetPicture();
        ASSERT_TRUE(shown) << "at picture " << index;
        EXPECT_EQ(shown->startTime, pictures[index].time) << "at picture " << index;
        EXPECT_TRUE(IsRight(*shown, index)) << "at picture " << index;
    }

    PlaybackOptions options = Reference::PlainOptions();
    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    std::unique_ptr<PlaybackEngine> engine;
};

TEST_P(PictureProofTest, ForwardsShowsEveryPictureOnce)
{
    Open();
    engine->SetSpeed(1.0);
    for (size_t i = 0; i < pictures.size() && !HasFailure(); ++i) {
        time->Advance(i == 0 ? 0 : pictures[i].time - pictures[i - 1].time);
        Wait();
        ExpectShown(i);
    }
    EXPECT_EQ(engine->GetStatus().picturesDropped, 0);
    EXPECT_EQ(engine->GetStatus().picturesShown, static_cast<long long>(pictures.size()));
    time->Advance(60000000);
    Wait();
    ExpectShown(pictures.size() - 1);
    EXPECT_EQ(engine->GetStatus().state, PlaybackState::Ended);
    EXPECT_EQ(engine->GetStatus().picturesShown, static_cast<long long>(pictures.size()));
    if (Clips::IsWhole(GetParam())) {
        EXPECT_EQ(engine->GetStatus().damage, QVector<long long>());
    }
}

TEST_P(PictureProofTest, BackwardsShowsEveryPictureOnce)
{
    Open();
    engine->Seek(farAhead);
    Wait();
    long long position = engine->GetStatus().position;
    EXPECT_TRUE(engine->GetStatus().durationKnown);
    engine->SetSpeed(-1.0);
    Wait();
    for (size_t i = pictures.size(); i-- > 0 && !HasFailure();) {
        time->Advance(position - pictures[i].time);
        position = pictures[i].time;
        Wait();
        ExpectShown(i);
    }
    EXPECT_EQ(engine->GetStatus().picturesDropped, 0);
    EXPECT_EQ(engine->GetStatus().picturesShown, static_cast<long long>(pictures.size()));
}

// Only a few: SeekGridTest covers each clip densely.
TEST_P(PictureProofTest, RandomSeeksShowThePictureOfTheirTime)
{
    Open();
    std::mt19937 random(7);
    std::uniform_int_distribution<long long> anyTime(0, pictures.back().time + 30000);
    size_t const seeks = LessOfLarge(9);
    for (size_t i = 0; i < seeks && !HasFailure(); ++i) {
        long long const moment = anyTime(random);
        engine->Seek(moment);
        Wait();
        ExpectShown(IndexAt(moment));
    }
}

TEST_P(PictureProofTest, StepsShowTheNeighbours)
{
    Open();
    size_t const count = std::min(pictures.size(), LessOfLarge(45));
    for (size_t i = 0; i < count && !HasFailure(); ++i) {
        Wait();
        ExpectShown(i);
        engine->Step(1);
    }
    engine->Seek(farAhead);
    Wait();
    for (size_t i = 0; i < count && !HasFailure(); ++i) {
        ExpectShown(pictures.size() - 1 - i);
        engine->Step(-1);
        Wait();
    }
}

TEST_P(PictureProofTest, ABudgetSmallerThanAGroupChangesNothing)
{
    options.cacheBudget = 1; // the minimum, four pictures
    Open();
    size_t const most = LessOfLarge(21);
    size_t const from = std::min(pictures.size() - 1, most);
    engine->Seek(pictures[from].time);
    Wait();
    engine->SetSpeed(-1.0);
    for (size_t i = from; i > 0 && !HasFailure(); --i) {
        Wait();
        ExpectShown(i);
        time->Advance(pictures[i].time - pictures[i - 1].time);
    }
    Wait();
    ExpectShown(0);
    engine->SetSpeed(1.0);
    for (size_t i = 0; i < std::min(from, most) && !HasFailure(); ++i) {
        Wait();
        ExpectShown(i);
        time->Advance(pictures[i + 1].time - pictures[i].time);
    }
    EXPECT_EQ(engine->GetStatus().picturesDropped, 0);
}

INSTANTIATE_TEST_SUITE_P(Clips, PictureProofTest, testing::ValuesIn(AllClips()), ClipTest::TestName);

} // namespace
