#include "python/Video.h"

#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "python/Reports.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <set>
#include <thread>

namespace {

StopCheck const never = [] { return false; };

constexpr long long step = 40000;         // microseconds per picture
constexpr long long pictureBytes = 18432; // 96 x 64

// A hundred pictures in groups of fifty.
QString Movie()
{
    return MakeMedia("groups.mov", Picture("96x64", 25, 4.0) + Tone(8000, 1, 4.0) +
                                       QStringList{"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "pcm_s16le"});
}

Video::Options WithCache(long long bytes)
{
    Video::Options options;
    options.cacheBytes = bytes;
    return options;
}

std::vector<std::string> BytesOf(std::vector<Video::Picture> const& pictures)
{
    std::vector<std::string> bytes;
    for (auto const& picture : pictures)
        bytes.emplace_back(reinterpret_cast<char const*>(picture->data), static_cast<size_t>(picture->size));
    return bytes;
}

// The pictures as a session decodes them, from the first to the last.
std::vector<std::string> PlainPictures()
{
    auto const info = Probed(Movie());
    MediaInstance instance;
    instance.Initialize(info, 0);
    std::vector<Video::Picture> pictures;
    for (auto const& record : DecodeAll(instance).pictures) {
        if (IsPicture(*record))
            pictures.push_back(record);
    }
    return BytesOf(pictures);
}

class VideoTest : public testing::Test
{
private:
    OutputChannels const channels{2};
};

// Counts the pictures that a video keeps, among those that it has given here.
class Kept
{
public:
    explicit Kept(Video& newVideo) : video(newVideo) {}

    // Goes to the picture at `from`, on to that at `to`, both numbers, and one back when `returns`.
    void Walk(long long from, long long to, bool returns = false)
    {
        auto picture = Note(video.At(from * step, never));
        while (picture->startTime < to * step)
            picture = Note(video.FindNeighbour(*picture, true, never));
        if (returns)
            Note(video.FindNeighbour(*picture, false, never));
    }

    long long Count() const
    {
        return std::count_if(seen.begin(), seen.end(), [](auto const& one) { return !one.second.expired(); });
    }

private:
    Video::Picture Note(Video::Picture picture)
    {
        seen[picture->startTime] = picture;
        return picture;
    }

    Video& video;
    std::map<long long, std::weak_ptr<DecodedVideoFrame>> seen;
};

class CachedVideoTest : public VideoTest, public testing::WithParamInterface<long long>
{};

} // namespace

TEST_P(CachedVideoTest, IsExactBothWaysWithAnyCache)
{
    std::vector<std::string> const expected = PlainPictures();
    ASSERT_EQ(expected.size(), 100U);
    Video video(Movie(), WithCache(GetParam()), never);
    std::vector<Video::Picture> forwards;
    for (auto picture = video.At(0, never); picture; picture = video.FindNeighbour(*picture, true, never)) {
        EXPECT_EQ(picture->startTime, step * static_cast<long long>(forwards.size()));
        forwards.push_back(picture);
    }
    EXPECT_EQ(BytesOf(forwards), expected);
    std::vector<Video::Picture> backwards;
    for (auto picture = video.FindLast(never); picture; picture = video.FindNeighbour(*picture, false, never))
        backwards.insert(backwards.begin(), picture);
    EXPECT_EQ(BytesOf(backwards), expected);
}

TEST_P(CachedVideoTest, KeepsNoMoreThanItsBudgetOrFourPictures)
{
    Video video(Movie(), WithCache(GetParam()), never);
    std::vector<std::weak_ptr<DecodedVideoFrame>> seen;
    auto const most = std::max(GetParam() / pictureBytes, 4LL) + 1; // and the one being returned
    auto const note = [&](Video::Picture const& picture) {
        seen.push_back(picture);
        return std::count_if(seen.begin(), seen.end(), [](auto const& one) { return !one.expired(); });
    };
    for (auto picture = video.At(0, never); picture; picture = video.FindNeighbour(*picture, true, never))
        ASSERT_LE(note(picture), most);
    for (auto picture = video.FindLast(never); picture; picture = video.FindNeighbour(*picture, false, never))
        ASSERT_LE(note(picture), most);
}

TEST_P(CachedVideoTest, HasThePicturesItCameByStillThereOnTurningRound)
{
    if (GetParam() < 60 * pictureBytes)
        GTEST_SKIP() << "a group of fifty is more than this cache holds";
    Video video(Movie(), WithCache(GetParam()), never);
    std::set<DecodedVideoFrame const*> records;
    std::vector<Video::Picture> held;
    for (auto picture = video.FindLast(never); picture; picture = video.FindNeighbour(*picture, false, never))
        held.push_back(picture);
    for (auto const& picture : held) // the last ones still exist, unchanged
        records.insert(picture.get());
    for (auto picture = video.At(0, never); picture->startTime < 40 * step;
         picture = video.FindNeighbour(*picture, true, never))
        EXPECT_TRUE(records.count(picture.get()));
}

INSTANTIATE_TEST_SUITE_P(Cache, CachedVideoTest, testing::Values(0, 7 * pictureBytes, 60 * pictureBytes, 1 << 30));

TEST_F(VideoTest, KeepsAQuarterOfItsBudgetBehindUntilItIsAskedBack)
{
    Video forwards(Movie(), WithCache(40 * pictureBytes), never);
    Kept kept(forwards);
    kept.Walk(0, 60);
    EXPECT_EQ(kept.Count(), 10);
    kept.Walk(10, 55); // goes back so far that the whole budget would not have helped
    EXPECT_EQ(kept.Count(), 10);
    kept.Walk(55, 55, /*returns=*/true);
    kept.Walk(55, 99);
    EXPECT_EQ(kept.Count(), 40);

    Video sought(Movie(), WithCache(40 * pictureBytes), never);
    Kept alike(sought);
    alike.Walk(0, 60);
    alike.Walk(25, 99); // the whole budget would have held it
    EXPECT_EQ(alike.Count(), 40);
}

TEST_F(VideoTest, StopsWhenItIsAskedTo)
{
    Video video(Movie(), WithCache(0), never);
    Video::Picture const last = video.FindLast(never);
    EXPECT_THROW(video.At(50 * step, [] { return true; }), PictureSpan::Interrupted);
    EXPECT_THROW(video.FindNeighbour(*last, false, [] { return true; }), PictureSpan::Interrupted);
    EXPECT_EQ(video.FindNeighbour(*last, false, never)->startTime, 98 * step);
    EXPECT_EQ(video.At(50 * step, never)->startTime, 50 * step);
    EXPECT_THROW(Reports::Check(Movie(), {}, [] { return true; }), PictureSpan::Interrupted);
}

TEST_F(VideoTest, IsReadByAnyThread)
{
    std::vector<std::string> const expected = PlainPictures();
    Video video(Movie(), WithCache(20 * pictureBytes), never);
    std::atomic<int> wrong = 0;
    auto const walk = [&](unsigned seed) {
        std::mt19937 random(seed);
        for (int i = 0; i < 20; ++i) {
            auto const number = static_cast<long long>(random() % 99);
            auto const picture = video.At(number * step, never);
            auto const next = video.FindNeighbour(*picture, true, never);
            wrong += BytesOf({picture, next})[0] != expected[static_cast<size_t>(number)];
            wrong += BytesOf({picture, next})[1] != expected[static_cast<size_t>(number) + 1];
        }
    };
    std::thread other(walk, 1);
    walk(2);
    auto const sound = video.ReadSound(1000000, 2000000, -1.0, never);
    EXPECT_EQ(sound.samples.size(), 8000U);
    other.join();
    EXPECT_EQ(wrong, 0);
}
