#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Patience.h"

#include "decode/DecodedVideoFrame.h"
#include "playback/PlaybackEngine.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>

namespace {

class EngineSequenceTest : public testing::Test
{
protected:
    void Write(QString const& pattern, std::vector<long long> const& numbers)
    {
        Clips::WriteNumberedPictures(folder.path(), pattern, numbers);
    }

    // The greys shown from the first picture to the last, at 10 pictures per second, in steps of one picture.
    std::vector<int> Greys(PlaybackEngine& engine, int count, double speed)
    {
        std::vector<int> greys;
        EXPECT_TRUE(engine.WaitUntilReady(patience));
        engine.SetSpeed(speed);
        for (int i = 0; i < count; ++i) {
            EXPECT_TRUE(engine.WaitUntilReady(patience));
            auto const picture = engine.GetPicture();
            greys.push_back(picture ? picture->data[0] : -1);
            time->Advance(100000);
        }
        return greys;
    }

    QTemporaryDir folder;
    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
};

TEST_F(EngineSequenceTest, PlaysInOrderBothWays)
{
    std::vector<long long> numbers;
    std::vector<int> greys;
    for (int i = 0; i < 25; ++i) {
        numbers.push_back(990 + i);
        greys.push_back((990 + i) * 8 % 256);
    }
    Write("a.%03d.ppm", numbers);
    for (int threads : {1, 4}) {
        PlaybackOptions options;
        options.sequenceRate = 10.0;
        options.sequenceThreads = threads;
        PlaybackEngine engine(options, time);
        engine.Open(folder.filePath("a.###.ppm"));
        EXPECT_EQ(Greys(engine, 25, 1.0), greys);
        EXPECT_EQ(engine.GetStatus().duration, 2500000);
        EXPECT_TRUE(engine.GetStatus().durationKnown);
        engine.Seek(2400000);
        std::vector<int> const reversed(greys.rbegin(), greys.rend());
        EXPECT_EQ(Greys(engine, 25, -1.0), reversed);
        EXPECT_EQ(engine.GetStatus().picturesDropped, 0);
    }
}

TEST_F(EngineSequenceTest, AHoleHoldsThePictureBeforeIt)
{
    Write("a.%04d.ppm", {1, 2, 5});
    PlaybackOptions options;
    options.sequenceRate = 10.0;
    PlaybackEngine engine(options, time);
    engine.Open(folder.filePath("a.####.ppm"));
    EXPECT_EQ(Greys(engine, 5, 1.0), (std::vector<int>{8, 16, 16, 16, 40}));
    engine.Seek(450000);
    EXPECT_EQ(Greys(engine, 5, -1.0), (std::vector<int>{40, 16, 16, 16, 8}));
}

TEST_F(EngineSequenceTest, AHoleIsBlackWhenSoChosen)
{
    Write("a.%04d.ppm", {1, 2, 5});
    PlaybackOptions options;
    options.sequenceRate = 10.0;
    options.sequenceHoles = SequenceHoles::Black;
    PlaybackEngine engine(options, time);
    engine.Open(folder.filePath("a.####.ppm"));
    EXPECT_EQ(Greys(engine, 5, 1.0), (std::vector<int>{8, 16, 0, 0, 40}));
    EXPECT_EQ(engine.GetPicture()->width, 16);
}

TEST_F(EngineSequenceTest, AFileThatCannotBeReadHoldsAndIsReported)
{
    Write("a.%04d.ppm", {1, 2, 3, 4});
    QFile broken(folder.filePath("a.0003.ppm"));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("P6");
    broken.close();
    PlaybackOptions options;
    options.sequenceRate = 10.0;
    PlaybackEngine engine(options, time);
    engine.Open(folder.filePath("a.####.ppm"));
    EXPECT_EQ(Greys(engine, 4, 1.0), (std::vector<int>{8, 16, 16, 32}));
    EXPECT_TRUE(engine.GetStatus().error.endsWith("a.0003.ppm\" cannot be read as an image."));
}

TEST_F(EngineSequenceTest, OneFileOfARowOpensTheRowOrJustItself)
{
    Write("a.%04d.ppm", {1, 2, 3});
    PlaybackEngine engine(PlaybackOptions(), time);
    engine.OpenSequence(folder.filePath("a.0002.ppm"));
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_EQ(engine.GetStatus().kind, SourceKind::Sequence);
    EXPECT_EQ(engine.GetPicture()->data[0], 8);
    engine.Open(folder.filePath("a.0002.ppm"));
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_EQ(engine.GetStatus().kind, SourceKind::Still);
    EXPECT_EQ(engine.GetPicture()->data[0], 16);
}

// Files of other sizes, depths and formats in one sequence, each shown as when opened alone.
TEST_F(EngineSequenceTest, FilesOfOtherKindsAreShownAsTheyAreAlone)
{
    Write("a.%04d.ppm", {1, 2, 6, 7});
    auto const write = [this](char const* name, QByteArray const& bytes) {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    };
    write("a.0003.ppm", "P6\n24 8\n255\n" + QByteArray(24 * 8 * 3, 'a'));                     // wider
    write("a.0004.ppm", "P6\n16 4\n255\n" + QByteArray(16 * 4 * 3, 'b'));                     // lower
    write("a.0005.ppm", "P5\n16 8\n65535\n" + QByteArray(static_cast<int>(16 * 8 * 2), 'c')); // deep grey
    for (int const threads : {1, 3}) {
        PlaybackOptions options;
        options.sequenceRate = 10.0;
        options.sequenceThreads = threads;
        PlaybackEngine row(options, time);
        row.Open(folder.filePath("a.####.ppm"));
        for (int number = 1; number <= 7; ++number) {
            row.Seek((number - 1) * 100000);
            ASSERT_TRUE(row.WaitUntilReady(patience));
            PlaybackEngine alone(options, time);
            alone.Open(folder.filePath(QString("a.000%1.ppm").arg(number)));
            ASSERT_TRUE(alone.WaitUntilReady(patience));
            auto const expected = alone.GetPicture();
            auto const picture = row.GetPicture();
            ASSERT_TRUE(picture && expected) << number;
            ASSERT_EQ(picture->width, expected->width) << number;
            ASSERT_EQ(picture->height, expected->height) << number;
            EXPECT_EQ(std::memcmp(picture->data, expected->data, static_cast<size_t>(picture->size)), 0) << number;
        }
        EXPECT_EQ(row.GetStatus().error, "");
    }
}

} // namespace
