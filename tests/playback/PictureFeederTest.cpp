#include "playback/PictureFeeder.h"
#include "decode/DecodedVideoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

// Tests the order of decoding with a source that needs time per picture: the clock advances meanwhile.

namespace {

constexpr long long step = 40000;
constexpr long long count = 1000; // 40 s

// Pictures of 40 ms in groups; decoding one takes `cost` microseconds.
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
        if (isLost)
            return ReadResult::End;
        if (stop())
            return ReadResult::Stopped;
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
        next = std::max(next, firstNumber);
        if (next >= count || isLost)
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

    void SetColours(ColourSettings const& newColours) override { colours = newColours; }
    QString DescribeColours() const override { return colours.followStream ? "bt709" : "bt601"; }
    long long GetEnd() const override { return isLost ? next * step : isEndKnown || next >= count ? count * step : -1; }
    long long GetOrigin() const override { return 1400000; }
    QString GetError() const override { return isLost ? "The file is gone." : ""; }
    long long GetDecodedCount() const override { return decoded; }

    bool isEndKnown = true;
    bool isLost = false;       // the source can no longer be read
    long long firstNumber = 0; // of the first picture that can be read
    ColourSettings colours;

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
    // Plays from `from` to the end in the play direction; returns the starts of the pictures that a display would show.
    std::vector<long long> Play(double speed, long long from, long long cost, long long group)
    {
        auto const pass = [this](long long duration) { Pass(duration); };
        feeder = std::make_unique<PictureFeeder>(std::make_unique<SlowSource>(pass, cost, group), step, 100 * 12);
        need = PlayNeed();
        need.budget = 100 * 12;
        need.position = from;
        need.forwards = speed > 0.0;
        need.seekSerial = 1;
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

    // Advances the position and the display by a quarter of a picture at a time.
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

// Pictures of three sizes; the position, the direction and the budget change during decoding.
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

    // After any sequence of requests, the picture at the position becomes ready.
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
            ++need.seekSerial;
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
        EXPECT_GT(walk.GetMostBytes(), 20000 / 2) << seed; // of the largest budget: the cache was really filled
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

// 40 s of pictures, 1000 in all, take 60 or 160 s to decode. The limits are seven tenths or more of the present numbers
// (199, 85, 142, 54, 84, 7 forwards and 258, 133, 324, 168, 360, 21, 28 backwards), which depend on no real time.
TEST_F(PictureFeederTest, SomethingMovesForwardsWhereDecodingIsTooSlow)
{
    EXPECT_GE(PicturesPlayed(1.0, 60000, 12), 150U);
    EXPECT_GE(PicturesPlayed(1.0, 160000, 12), 70U);
    EXPECT_GE(PicturesPlayed(1.0, 60000, 250), 120U);
    EXPECT_GE(PicturesPlayed(1.0, 160000, 250), 45U);
    EXPECT_GE(PicturesPlayed(16.0, 30000, 12), 63U);
    EXPECT_GE(PicturesPlayed(16.0, 30000, 250), 5U);
}

TEST_F(PictureFeederTest, SomethingMovesBackwardsWhereDecodingIsTooSlow)
{
    EXPECT_GE(PicturesPlayed(-1.0, 60000, 12), 250U);
    EXPECT_GE(PicturesPlayed(-1.0, 160000, 12), 100U);
    EXPECT_GE(PicturesPlayed(-1.0, 60000, 250), 250U);
    EXPECT_GE(PicturesPlayed(-1.0, 160000, 250), 126U);
    EXPECT_GE(PicturesPlayed(-4.0, 10000, 12), 270U);
    EXPECT_GE(PicturesPlayed(-16.0, 30000, 12), 16U);
    EXPECT_GE(PicturesPlayed(-16.0, 30000, 250), 21U);
}

// Single work steps with a source that takes no time: groups of 25 pictures, one second each.
class PictureFeederWorkTest : public testing::Test
{
protected:
    void Begin(int budgetInPictures)
    {
        auto owned = std::make_unique<SlowSource>([](long long) {}, 1, 25);
        source = owned.get();
        source->isEndKnown = false;
        need.budget = budgetInPictures * 12LL;
        feeder = std::make_unique<PictureFeeder>(std::move(owned), step, need.budget);
        ASSERT_TRUE(feeder->Begin([] { return false; }));
    }

    bool Work()
    {
        return feeder->Work(PlayNeed(need), [this] { return need; });
    }

    void WorkUntilDone()
    {
        int pieces = 0;
        while (Work())
            ASSERT_LT(++pieces, 3 * count); // it ends: each picture is decoded once or twice
    }

    void SeekTo(long long position)
    {
        need.position = position;
        ++need.seekSerial;
    }

    long long StartAt(long long position, int offset = 0) const
    {
        PictureCache::Place const place = feeder->Find(position, offset);
        return place.picture ? place.start : -1;
    }

    PlayNeed need;
    SlowSource* source = nullptr;
    std::unique_ptr<PictureFeeder> feeder;
};

TEST_F(PictureFeederWorkTest, BeginsWithTheFirstPicture)
{
    Begin(100);
    PictureFeeder::Snapshot const now = feeder->GetSnapshot();
    EXPECT_EQ(now.first, 0);
    EXPECT_EQ(now.end, -1);
    EXPECT_EQ(now.decodedCount, 1);
    EXPECT_EQ(now.error, QString());
    EXPECT_EQ(now.colourText, QString("bt601"));
    EXPECT_EQ(feeder->GetOrigin(), 1400000);
    EXPECT_EQ(StartAt(0), 0);
    EXPECT_EQ(StartAt(-5000000), 0);
    EXPECT_EQ(StartAt(40000), -1);
    EXPECT_TRUE(feeder->IsFirst(feeder->Find(0, 0)));
    EXPECT_FALSE(feeder->IsLast(feeder->Find(0, 0)));
}

TEST_F(PictureFeederWorkTest, DoesNotBeginWithoutAPicture)
{
    auto owned = std::make_unique<SlowSource>([](long long) {}, 1, 25);
    owned->isLost = true;
    PictureFeeder empty(std::move(owned), step, 1000);
    EXPECT_FALSE(empty.Begin([] { return false; }));
}

TEST_F(PictureFeederWorkTest, WhilePausedFillsItsBudgetAroundThePositionAndStops)
{
    Begin(50);
    SeekTo(10000000);
    EXPECT_FALSE(feeder->IsReady(need));
    WorkUntilDone();
    EXPECT_TRUE(feeder->IsReady(need));
    EXPECT_EQ(StartAt(10000000), 10000000);
    EXPECT_EQ(feeder->GetSpan().count, 50);
    EXPECT_EQ(feeder->GetSpan().bytes, 600);
}

TEST_F(PictureFeederWorkTest, BeyondTheLastPictureIsTheLastPicture)
{
    Begin(50);
    SeekTo(39990000);
    WorkUntilDone();
    EXPECT_EQ(feeder->GetEnd(), 40000000);
    SeekTo(1000000000);
    EXPECT_TRUE(feeder->IsReady(need));
    EXPECT_EQ(StartAt(1000000000), 39960000);
    EXPECT_TRUE(feeder->IsLast(feeder->Find(39960000, 0)));
    EXPECT_FALSE(feeder->IsLast(feeder->Find(39920000, 0)));
}

TEST_F(PictureFeederWorkTest, AStepBringsTheNeighbourEvenWithoutRoom)
{
    for (int const direction : {1, -1}) {
        Begin(0);
        SeekTo(10000000);
        WorkUntilDone();
        for (int i = 1; i < 60; ++i) {
            need.steps = direction;
            for (int pieces = 0; pieces < 4 * 25 /* four groups */ && StartAt(need.position, direction) < 0; ++pieces)
                Work();
            ASSERT_EQ(StartAt(need.position, direction), need.position + direction * step) << i;
            need.position += direction * step;
            EXPECT_LE(feeder->GetSpan().count, 4);
        }
        need = PlayNeed();
    }
}

TEST_F(PictureFeederWorkTest, APreviewIsTheKeyPictureAndOfOneSeekOnly)
{
    Begin(50);
    SeekTo(10130000);
    need.preview = true;
    EXPECT_TRUE(Work());
    EXPECT_FALSE(Work());
    ASSERT_TRUE(feeder->GetPreview(need.seekSerial));
    EXPECT_EQ(feeder->GetPreview(need.seekSerial)->startTime, 10000000);
    EXPECT_FALSE(feeder->GetPreview(need.seekSerial + 1));
    EXPECT_TRUE(feeder->IsReady(need));
    EXPECT_EQ(StartAt(10130000), -1);
    need.preview = false;
    EXPECT_FALSE(feeder->IsReady(need));
    WorkUntilDone();
    EXPECT_EQ(StartAt(10130000), 10120000);
}

TEST_F(PictureFeederWorkTest, WhereNothingCanBeReadItIsReadyAndTriesAgainAfterTheNextSeek)
{
    for (bool const preview : {false, true}) {
        Begin(50);
        source->isLost = true;
        SeekTo(10000000);
        need.preview = preview;
        EXPECT_TRUE(Work());
        EXPECT_FALSE(Work());
        EXPECT_TRUE(feeder->IsReady(need));
        EXPECT_EQ(feeder->GetSnapshot().error, QString("The file is gone."));
        source->isLost = false;
        EXPECT_FALSE(Work());
        SeekTo(10000000);
        EXPECT_FALSE(feeder->IsReady(need));
        EXPECT_TRUE(Work());
        EXPECT_TRUE(feeder->IsReady(need));
        EXPECT_EQ(feeder->GetSnapshot().error, QString());
    }
}

TEST_F(PictureFeederWorkTest, AFileThatIsLostWhileItPlaysEndsTheWork)
{
    for (bool const forwards : {true, false}) {
        Begin(10);
        SeekTo(10000000);
        WorkUntilDone();
        need.playing = true;
        need.forwards = forwards;
        need.speed = forwards ? 1.0 : -1.0;
        source->isLost = true;
        need.position += forwards ? 300000 : -300000;
        WorkUntilDone();
        EXPECT_FALSE(Work());
        need = PlayNeed();
    }
}

// Seeks come faster than pictures can be decoded. The first one interrupts the decoding; the second waits for a
// picture.
TEST_F(PictureFeederWorkTest, ASeekElsewhereStopsTheWorkButEverySecondOneComesToItsPicture)
{
    Begin(50);
    SeekTo(10130000);
    AskNeed const another = [this] {
        PlayNeed later = need;
        later.seekSerial = need.seekSerial + 1;
        later.position = 20000000;
        return later;
    };
    EXPECT_TRUE(feeder->Work(PlayNeed(need), another));
    EXPECT_EQ(StartAt(10130000), -1);
    EXPECT_TRUE(feeder->Work(PlayNeed(need), another));
    EXPECT_EQ(StartAt(10130000), 10120000);
    SeekTo(30130000);
    EXPECT_TRUE(feeder->Work(PlayNeed(need), another));
    EXPECT_EQ(StartAt(30130000), -1);
}

TEST_F(PictureFeederWorkTest, AnotherSourceStopsAnyWork)
{
    Begin(50);
    AskNeed const closed = [this] {
        PlayNeed later = need;
        ++later.openSerial;
        return later;
    };
    feeder->Work(PlayNeed(need), closed);
    EXPECT_EQ(feeder->GetSpan().count, 1);
    SeekTo(10130000);
    for (int i = 0; i < 3; ++i)
        feeder->Work(PlayNeed(need), closed);
    EXPECT_EQ(StartAt(10130000), -1);
    SeekTo(20130000);
    need.preview = true;
    feeder->Work(PlayNeed(need), closed);
    EXPECT_FALSE(feeder->GetPreview(need.seekSerial));
}

TEST_F(PictureFeederWorkTest, ReadsEverythingAnewInOtherColours)
{
    Begin(50);
    SeekTo(10000000);
    WorkUntilDone();
    PictureCache::Picture const former = feeder->Find(10000000, 0).picture;
    need.colours.followStream = true;
    EXPECT_FALSE(feeder->IsReady(need));
    EXPECT_TRUE(Work());
    EXPECT_TRUE(source->colours.followStream);
    EXPECT_TRUE(feeder->GetSnapshot().colours.followStream);
    EXPECT_EQ(feeder->GetSnapshot().colourText, QString("bt709"));
    EXPECT_TRUE(feeder->IsReady(need));
    EXPECT_NE(feeder->Find(10000000, 0).picture, former);
    EXPECT_EQ(feeder->GetSpan().count, 1);
}

TEST_F(PictureFeederWorkTest, OtherColoursMakeAPreviewAnewToo)
{
    Begin(50);
    SeekTo(10130000);
    need.preview = true;
    Work();
    PictureCache::Picture const former = feeder->GetPreview(need.seekSerial);
    need.colours.followStream = true;
    EXPECT_TRUE(Work());
    EXPECT_NE(feeder->GetPreview(need.seekSerial), former);
    EXPECT_TRUE(feeder->GetPreview(need.seekSerial));
}

TEST_F(PictureFeederWorkTest, LessBudgetKeepsThePicturesNextToThePosition)
{
    Begin(100);
    SeekTo(10000000);
    WorkUntilDone();
    ASSERT_EQ(feeder->GetSpan().count, 100);
    need.budget = 60;
    Work();
    EXPECT_EQ(feeder->GetSpan().budget, 60);
    EXPECT_LE(feeder->GetSpan().bytes, 60);
    EXPECT_EQ(StartAt(10000000), 10000000);
}

TEST_F(PictureFeederWorkTest, CountsThePicturesBetweenTwoAndEstimatesThoseThatAreNotThere)
{
    Begin(100);
    WorkUntilDone();
    PictureCache::Place const first = feeder->Find(0, 0);
    EXPECT_EQ(feeder->CountBetween(first, feeder->Find(40000, 0)), 0);
    EXPECT_EQ(feeder->CountBetween(first, feeder->Find(400000, 0)), 9);
    EXPECT_EQ(feeder->CountBetween(feeder->Find(400000, 0), first), 9);
    PictureCache::Place gone;
    gone.start = 30000000;
    gone.end = 30039999;
    EXPECT_EQ(feeder->CountBetween(first, gone), 749);
}

TEST_F(PictureFeederWorkTest, TheNewestPictureIsTheOneThatPlayHasPassedLast)
{
    Begin(25);
    SeekTo(10000000);
    WorkUntilDone();
    PictureCache::Span const span = feeder->GetSpan();
    EXPECT_EQ(feeder->FindNewest(span.end + 1000000, true).end, span.end);
    EXPECT_EQ(feeder->FindNewest(span.start - 1000000, false).start, span.start);
    EXPECT_FALSE(feeder->FindNewest(span.start - 1000000, true).picture); // not reached yet
    EXPECT_FALSE(feeder->FindNewest(span.end + 1000000, false).picture);
    EXPECT_EQ(feeder->FindNewest(10010000, true).start, 10000000);
}

TEST_F(PictureFeederWorkTest, PlayingBackwardsItIsReadyWithThePictureBeforeToo)
{
    Begin(0);
    SeekTo(10000000);
    Work();
    need.playing = true;
    need.forwards = false;
    EXPECT_FALSE(feeder->IsReady(need));
    WorkUntilDone();
    EXPECT_TRUE(feeder->IsReady(need));
    EXPECT_EQ(StartAt(10000000, -1), 9960000);
    SeekTo(0);
    WorkUntilDone();
    EXPECT_TRUE(feeder->IsReady(need)); // there is no picture before the first
}

// The file has changed: pictures read before are no longer there.
TEST_F(PictureFeederWorkTest, WhereNothingLiesBeforeTheCachedPicturesTheyBeginWithTheFirst)
{
    Begin(50);
    SeekTo(10000000);
    Work();
    source->firstNumber = 250;
    need.playing = true;
    need.forwards = false;
    need.speed = -1.0;
    WorkUntilDone();
    EXPECT_EQ(feeder->GetSnapshot().first, 10000000);
    EXPECT_TRUE(feeder->IsFirst(feeder->Find(10000000, 0)));
}

TEST_F(PictureFeederWorkTest, MeasuresHowFastItDecodes)
{
    Begin(100);
    EXPECT_EQ(feeder->GetSnapshot().decodeRate, 0.0);
    Work();
    EXPECT_GT(feeder->GetSnapshot().decodeRate, 0.0);
    EXPECT_EQ(feeder->GetSnapshot().decodedCount, 2);
}

} // namespace
