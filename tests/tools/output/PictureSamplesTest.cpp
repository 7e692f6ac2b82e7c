#include "tools/output/PictureSamples.h"

#include "decode/DecodedVideoFrame.h"
#include "source/Source.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"

#include <gtest/gtest.h>

namespace {

using Result = PictureSamples::Result;

struct Samples
{
    Samples(QString const& path, TimeRange const& range, int count)
    {
        Source const source = Source::OpenFile(path);
        result = PictureSamples(source).Take(range, count,
                                             [&](auto const& picture) { starts.push_back(picture->startTime); });
    }

    LogCapture log;
    Result result = Result::CannotOpen;
    std::vector<long long> starts;
};

QString SampledMovie()
{
    return MovingPicture("four.mp4", {"-c:v", "libx264", "-g", "30", "-bf", "2"});
}

} // namespace

// Parts of a second; at 0.5 s shows the picture that starts at 0.48 s.
TEST(PictureSamplesTest, TakesThePictureInTheMiddleOfEachPart)
{
    Samples const samples(SampledMovie(), {}, 4);
    EXPECT_EQ(samples.result, Result::Done);
    EXPECT_EQ(samples.starts, (std::vector<long long>{480000, 1480000, 2480000, 3480000}));
}

TEST(PictureSamplesTest, TakesOnlyWhatLiesInTheRange)
{
    TimeRange range;
    range.from = 2000000;
    range.to = 3000000;
    EXPECT_EQ(Samples(SampledMovie(), range, 2).starts, (std::vector<long long>{2240000, 2720000}));
    range.to = 99000000; // there is nothing after 4 s
    EXPECT_EQ(Samples(SampledMovie(), range, 2).starts, (std::vector<long long>{2480000, 3480000}));
    range.from = 4000000;
    EXPECT_EQ(Samples(SampledMovie(), range, 2).result, Result::NothingInRange);
}

TEST(PictureSamplesTest, TakesAPictureOnce)
{
    QString const slides = MakeMedia(
        "two.mp4", {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=1/4:duration=8", "-c:v", "libx264", "-bf", "0"});
    EXPECT_EQ(Samples(slides, {}, 10).starts, (std::vector<long long>{0, 4000000}));
}

// Without times there is nothing to seek by, and no length: 100 pictures of 1/25 s.
TEST(PictureSamplesTest, ReadsFromTheBeginningWhereSeeksCannotBeTrusted)
{
    QString const raw = MovingPicture("timeless.h264", {"-c:v", "libx264", "-bf", "0"});
    Samples const samples(raw, {}, 4);
    EXPECT_EQ(samples.result, Result::Done);
    EXPECT_EQ(samples.starts, (std::vector<long long>{480000, 1480000, 2480000, 3480000})); // 12, 37, 62, 87
    EXPECT_EQ(Samples(raw, {}, 500).starts.size(), 100u);
}

TEST(PictureSamplesTest, TakesTheOnePictureOfAnImage)
{
    QString const still = MakeMedia("one.png", Picture("40x30", 1, 1.0) + QStringList{"-frames:v", "1"});
    EXPECT_EQ(Samples(still, {}, 20).starts, (std::vector<long long>{0}));
}
