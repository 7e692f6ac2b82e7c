#include "tools/report/SessionWalk.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/Source.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"
#include "tests/tools/ToolMedia.h"

#include <gtest/gtest.h>

namespace {

struct Session
{
    explicit Session(QString const& path) : source(Source::OpenFile(path)), walk(source) {}

    SessionWalk::Records ReadAll()
    {
        SessionWalk::Records records;
        while (walk.Read(records)) {
        }
        return records;
    }

    OutputChannels channels{8};
    LogCapture log;
    Source source;
    SessionWalk walk;
};

QString const h264 = "libx264";

QString MovieWithReordering()
{
    return Movie("movie.mp4", {"-c:v", h264, "-g", "50", "-bf", "3", "-c:a", "aac"});
}

std::vector<long long> StartsOf(SessionWalk::Records const& records)
{
    std::vector<long long> starts;
    for (auto const& picture : records.pictures) {
        if (SessionWalk::IsPicture(*picture))
            starts.push_back(picture->startTime);
    }
    return starts;
}

} // namespace

TEST(SessionWalkTest, DeliversEveryPictureAndOneMarkOfTheEnd)
{
    Session session(MovieWithReordering());
    ASSERT_TRUE(session.walk.Start());
    auto const records = session.ReadAll();
    ASSERT_EQ(records.pictures.size(), 101);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(records.pictures[i]->startTime, i * 40000);
    EXPECT_FALSE(records.pictures.last()->data);
    EXPECT_FALSE(session.walk.Read(const_cast<SessionWalk::Records&>(records)));
}

TEST(SessionWalkTest, GivesTheSoundOfTheDrainItsTrueTimes)
{
    // The decoder of this format holds its last frame back.
    Session session(MakeMedia("delayed.wma", Tone(44100, 1, 2.0) + QStringList{"-c:a", "wmav2"}));
    ASSERT_TRUE(session.walk.Start());
    auto const sounds = session.ReadAll().sounds;
    ASSERT_GE(sounds.size(), 2 * 44100 / 2048);
    DecodedAudioFrame const& last = *sounds.last();
    // Where a version does not hold it back, it has the container's time, in whole milliseconds.
    constexpr double rounding = 1000.0;
    EXPECT_NEAR(static_cast<double>(last.startTime), static_cast<double>(sounds.at(sounds.size() - 2)->endTime + 1),
                rounding);
    EXPECT_EQ(last.endTime, last.startTime + 46439 - 1); // 2048 samples
}

TEST(SessionWalkTest, FollowsChangesOfTheSize)
{
    QString const small = MakeMedia("small.h264", Picture("64x48", 25, 0.4) + QStringList{"-c:v", h264});
    QString const large = MakeMedia("large.h264", Picture("96x64", 25, 0.4) + QStringList{"-c:v", h264});
    Session session(WriteMedia("both.h264", ReadMedia(small) + ReadMedia(large)));
    ASSERT_TRUE(session.walk.Start());
    auto const records = session.ReadAll();
    int smallOnes = 0, largeOnes = 0, marks = 0;
    for (auto const& picture : records.pictures) {
        marks += picture->data && !SessionWalk::IsPicture(*picture) ? 1 : 0;
        smallOnes += SessionWalk::IsPicture(*picture) && picture->width == 64 ? 1 : 0;
        largeOnes += SessionWalk::IsPicture(*picture) && picture->width == 96 ? 1 : 0;
    }
    // A decoder that runs ahead tells the new size a few pictures early.
    EXPECT_EQ(smallOnes + largeOnes, 20);
    EXPECT_GT(smallOnes, 0);
    EXPECT_GE(largeOnes, 10);
    EXPECT_EQ(marks, 1);
}

TEST(SessionWalkTest, GivesPicturesWithoutTimesARateOfTheirOwn)
{
    Session session(MovingPicture("timeless.h264", {"-c:v", h264}));
    ASSERT_TRUE(session.walk.Start());
    auto const starts = StartsOf(session.ReadAll());
    ASSERT_EQ(starts.size(), 100u);
    EXPECT_EQ(starts[24] - starts[0], 960000); // 24 of 25 a second
}

TEST(SessionWalkTest, CanStartAgainAfterTheEnd)
{
    Session session(MovieWithReordering());
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(session.walk.Start());
        EXPECT_EQ(StartsOf(session.ReadAll()).size(), 100u);
    }
}

TEST(SessionWalkTest, DeliversAnImageOnce)
{
    Session session(MakeMedia("one.png", Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"}));
    ASSERT_TRUE(session.walk.Start());
    EXPECT_EQ(session.ReadAll().pictures.size(), 1);
}

TEST(SessionWalkTest, CannotStartWithoutADescription)
{
    Session session("/nowhere/a.mp4");
    EXPECT_FALSE(session.walk.Start());
    SessionWalk::Records records;
    EXPECT_FALSE(session.walk.Read(records));
}
