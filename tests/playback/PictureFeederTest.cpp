#include "playback/PictureFeeder.h"
#include "decode/DecodedVideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

// What is decoded when, with a source whose pictures take time to decode: the clock goes on meanwhile.

namespace {

constexpr long long step = 40000;
constexpr long long count = 1000; // 40 s

// Pictures of 40 ms in groups; decoding one lets `cost` microseconds pass.
class SlowSource : public PictureStream
{
public:
    using Size = std::function<int(long long)>; // bytes of the picture of a number, a multiple of 12

    SlowSource(
        std::function<void(long long)> newPass, long long newCost, long long newGroup,
        Size newSize = [](long long) { return 12; })
        : pass(std::move(newPass)), cost(newCost), group(newGroup), size(std::move(newSize))
    {}

    ReadResult ReadNear(long long time, long long earliest, Picture& picture, StopCheck const& stop) override
    {
        long long const wanted = std::clamp(time / step, 0LL, count - 1);
        long long const key = wanted / group * group;
        next = next <= wanted ? std::max(next, key) : key;
        for (; next < std::min(earliest / step, wanted); ++next) {
            if (stop())
                return ReadResult::Stopped;
            pass(cost);
        }
        return Read(picture, neverStop);
    }

    ReadResult Read(Picture& picture, StopCheck const& stop) override
    {
        if (stop())
            return ReadResult::Stopped;
        if (next >= count)
            return ReadResult::End;
        pass(cost);
        std::vector<uint8_t> const bytes(static_cast<size_t>(size(next)));
        picture = std::make_shared<DecodedVideoFrame>(bytes.data(), size(next), size(next) / 12, 3, next * step, 25.0,
                                                      0, false);
        picture->endTime = (next + 1) * step - 1;
        ++next;
        ++decoded;
        return ReadResult::Got;
    }

    long long GetEnd() const override { return count * step; }
    long long GetDecodedCount() const override { return decoded; }

private:
    std::function<void(long long)> const pass;
    long long const cost;
    long long const group;
    Size const size;
    long long next = 0;
    long long decoded = 0;
};

class PictureFeederTest : public testing::Test
{
protected:
    // Plays from `from` to the end in question, and gives the starts of the pictures that a display would show.
    std::vector<long long> Play(double speed, long long from, long long cost, long long group)
    {
        auto const pass = [this](long long duration) { Pass(duration); };
        feeder = std::make_unique<PictureFeeder>(std::make_unique<SlowSource>(pass, cost, group), step, 100 * 12);
        need = PlayNeed();
        need.budget = 100 * 12;
        need.position = from;
        need.forwards = speed > 0.0;
        need.sought = 1;
        shown.clear();
        AskNeed const ask = [this] { return need; };
        EXPECT_TRUE(feeder->Begin([] { return false; }));
        need.playing = true;
        while (!feeder->IsReady(need))
            feeder->Work(PlayNeed(need), ask);
        need.speed = speed;
        while (need.position > 0 - step && need.position < count * step) {
            if (!feeder->Work(PlayNeed(need), ask))
                Pass(step / 4);
        }
        return shown;
    }

    size_t PicturesPlayed(double speed, long long cost, long long group)
    {
        auto const pictures = Play(speed, speed > 0.0 ? 0 : (count - 1) * step, cost, group);
        EXPECT_TRUE(AreInOrder(pictures, speed > 0.0));
        return pictures.size();
    }

    // Play and the display go on, by a quarter of a picture at a time.
    void Pass(long long duration)
    {
        for (; duration > 0; duration -= step / 4) {
            Show();
            need.position += static_cast<long long>(static_cast<double>(std::min(duration, step / 4)) * need.speed);
        }
    }

    void Show()
    {
        PictureCache::Place const place = feeder->FindNewest(need.position, need.forwards);
        if (!place.picture || !need.playing)
            return;
        bool const isOver = need.forwards ? place.start <= need.position : place.end >= need.position;
        EXPECT_TRUE(isOver || need.position < 0) << place.start << " at " << need.position;
        if (shown.empty() || shown.back() != place.start)
            shown.push_back(place.start);
    }

    static bool AreInOrder(std::vector<long long> const& times, bool rising)
    {
        auto const isWrong = [rising](long long one, long long next) { return rising ? one >= next : one <= next; };
        return std::adjacent_find(times.begin(), times.end(), isWrong) == times.end();
    }

    PlayNeed need;
    std::unique_ptr<PictureFeeder> feeder;
    std::vector<long long> shown;
};

// Pictures of three sizes; the position, the direction and the budget change while some are on their way.
class BudgetWalk
{
public:
    explicit BudgetWalk(unsigned seed) : random(seed)
    {
        auto const pass = [this](long long) { Look(); };
        auto const size = [](long long number) { return number / 7 % 3 == 0 ? 120 : number / 7 % 3 == 1 ? 36 : 480; };
        feeder = std::make_unique<PictureFeeder>(std::make_unique<SlowSource>(pass, 1, 25, size), step, 1000);
        need.budget = 1000;
        EXPECT_TRUE(feeder->Begin([] { return false; }));
    }

    void Run(int orders)
    {
        AskNeed const ask = [this] {
            Look();
            if (Pick(0, 99) == 0)
                Order();
            return need;
        };
        for (int i = 0; i < orders && !testing::Test::HasFailure(); ++i) {
            Order();
            for (int work = Pick(0, 40); work > 0 && feeder->Work(PlayNeed(need), ask); --work)
                Look();
        }
    }

    // Whatever has been asked for, the picture of the position comes.
    void Finish()
    {
        need.playing = false;
        need.speed = 0.0;
        need.steps = 0;
        while (!feeder->IsReady(need) && feeder->Work(PlayNeed(need), [this] { return need; })) {
        }
        PictureCache::Place const place = feeder->Find(need.position, 0);
        ASSERT_TRUE(place.picture);
        EXPECT_EQ(place.start, need.position / step * step);
    }

    long long GetMostBytes() const { return mostBytes; }

private:
    void Look()
    {
        if (!feeder)
            return;
        PictureCache::Span const span = feeder->GetSpan();
        EXPECT_LE(span.bytes, std::max(span.budget, 4LL * 480)) << span.count << " pictures";
        mostBytes = std::max(mostBytes, span.bytes);
    }

    void Order()
    {
        switch (Pick(0, 5)) {
        case 0:
            need.budget = Pick(0, 20000);
            break;
        case 1:
            ++need.sought;
            need.position = Pick(0, count * step - 1);
            break;
        case 2:
            need.playing = Pick(0, 2) > 0;
            need.forwards = Pick(0, 1) == 0;
            need.speed = need.playing ? need.forwards ? 1.0 : -1.0 : 0.0;
            break;
        case 3:
            need.steps = need.playing ? 0 : Pick(-2, 2);
            break;
        default:
            need.position = std::clamp(need.position + Pick(-10, 10) * step, 0LL, count * step - 1);
        }
    }

    long long Pick(long long least, long long most)
    {
        return std::uniform_int_distribution<long long>(least, most)(random);
    }

    std::mt19937 random;
    PlayNeed need;
    std::unique_ptr<PictureFeeder> feeder;
    long long mostBytes = 0;
};

TEST(PictureFeederBudgetTest, HoldsAtEveryMomentWhateverTheSizesOfThePictures)
{
    for (unsigned seed = 1; seed <= 20 && !testing::Test::HasFailure(); ++seed) {
        BudgetWalk walk(seed);
        walk.Run(500);
        walk.Finish();
        EXPECT_GT(walk.GetMostBytes(), 10000) << seed; // or it was not put to the test
    }
}

TEST_F(PictureFeederTest, ShowsEveryPictureWhereDecodingIsQuickEnough)
{
    auto const forwards = Play(1.0, 0, 10000, 50);
    EXPECT_EQ(forwards.size(), 1000U);
    EXPECT_TRUE(AreInOrder(forwards, true));
    auto const backwards = Play(-1.0, 999 * step, 10000, 25);
    EXPECT_EQ(backwards.size(), 1000U);
    EXPECT_TRUE(AreInOrder(backwards, false));
}

// 40 s of pictures of which all take 60 or 160 s to decode.
TEST_F(PictureFeederTest, SomethingMovesForwardsWhereDecodingIsTooSlow)
{
    EXPECT_GE(PicturesPlayed(1.0, 60000, 12), 150U);
    EXPECT_GE(PicturesPlayed(1.0, 160000, 12), 70U);
    EXPECT_GE(PicturesPlayed(1.0, 60000, 250), 120U);
    EXPECT_GE(PicturesPlayed(1.0, 160000, 250), 45U);
    EXPECT_GE(PicturesPlayed(16.0, 30000, 12), 20U);
    EXPECT_GE(PicturesPlayed(16.0, 30000, 250), 4U);
}

TEST_F(PictureFeederTest, SomethingMovesBackwardsWhereDecodingIsTooSlow)
{
    EXPECT_GE(PicturesPlayed(-1.0, 60000, 12), 250U);
    EXPECT_GE(PicturesPlayed(-1.0, 160000, 12), 80U);
    EXPECT_GE(PicturesPlayed(-1.0, 60000, 250), 250U);
    EXPECT_GE(PicturesPlayed(-1.0, 160000, 250), 70U);
    EXPECT_GE(PicturesPlayed(-4.0, 10000, 12), 250U);
    EXPECT_GE(PicturesPlayed(-16.0, 30000, 12), 12U);
    EXPECT_GE(PicturesPlayed(-16.0, 30000, 250), 10U);
}

} // namespace
