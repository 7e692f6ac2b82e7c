#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "decode/DecodedVideoFrame.h"
#include "playback/PictureNumbers.h"
#include "playback/PlaybackEngine.h"
#include "source/Source.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/avutil.h>
}

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

template <typename Condition>
bool Eventually(Condition const& condition)
{
    for (int i = 0; i < patience / 2; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

class EngineNumbersTest : public testing::Test
{
protected:
    using Index = std::shared_ptr<PictureIndex const>;

    void Open(QString const& path)
    {
        engine.Open(path);
        ASSERT_TRUE(engine.WaitUntilReady(patience));
    }

    Index WaitForIndex()
    {
        Index index;
        Eventually([&] { return (index = engine.GetStatus().index) != nullptr; });
        return index;
    }

    PlaybackEngine engine{Reference::PlainOptions(), std::make_shared<VirtualTime>()};
};

TEST_F(EngineNumbersTest, NumbersThePicturesOfAMovie)
{
    Open(Clips::Made("vfr.mp4"));
    Index const index = WaitForIndex();
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetCount(), 76);
    for (long long number = 0; number < 20; ++number) {
        EXPECT_EQ(index->NumberAt(engine.GetPicture()->startTime), number);
        engine.Step(1);
        ASSERT_TRUE(engine.WaitUntilReady(patience));
    }
}

TEST_F(EngineNumbersTest, ASequenceHasItsNumbersWithTheFirstPicture)
{
    Open(Clips::MadeSequence());
    Index const index = engine.GetStatus().index;
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetCount(), 60);
}

TEST_F(EngineNumbersTest, SoundHasNoNumbers)
{
    Open(Clips::Made("tone.wav"));
    EXPECT_FALSE(engine.GetStatus().index);
}

TEST_F(EngineNumbersTest, AnotherSourceHasItsOwnNumbers)
{
    Open(Clips::Made("gop12.mp4"));
    ASSERT_TRUE(WaitForIndex());
    EXPECT_EQ(engine.GetStatus().index->GetCount(), 200);
    Open(Clips::Made("ntsc.mp4"));
    ASSERT_TRUE(WaitForIndex());
    EXPECT_EQ(engine.GetStatus().index->GetCount(), 240);
    engine.Close();
    EXPECT_FALSE(engine.GetStatus().index);
}

// Sources that follow each other sooner than any index can be read.
TEST_F(EngineNumbersTest, KeepsUpWithManySources)
{
    for (int i = 0; i < 20; ++i) {
        engine.Open(Clips::Made(i % 2 == 0 ? "gop250.mp4" : "ntsc.mp4"));
        std::this_thread::sleep_for(std::chrono::milliseconds(3 * (i % 5)));
    }
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    Index const index = WaitForIndex();
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetCount(), 240);
}

// `path`, MP4, with nothing but zeros in one packet of the pictures, so that no picture comes of it.
QString WithoutPacket(QString const& path, int position)
{
    ReferenceInput input(path, AVMEDIA_TYPE_VIDEO);
    auto packet = input.NextPacket();
    for (int i = 0; i < position; ++i)
        packet = input.NextPacket();
    QByteArray bytes = ReadMedia(path);
    constexpr int lengthBytes = 4;
    std::fill_n(bytes.begin() + static_cast<int>(packet->pos) + lengthBytes, packet->size - lengthBytes, '\0');
    return WriteMedia("one-less.mp4", bytes);
}

TEST_F(EngineNumbersTest, LosesNumbersThatDecodingProvesFalse)
{
    engine.SetCacheBudget(20LL * 192 * 108 * 3); // decoding ahead does not reach it
    Open(WithoutPacket(Clips::Made("ntsc.mp4"), 99));
    Index const index = WaitForIndex();
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetCount(), 240);
    engine.Seek(index->TimeOf(97));
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_TRUE(Eventually([&] { return !engine.GetStatus().index; })); // once the next ones are decoded
}

// ---- Without an engine

std::shared_ptr<IndexReading> Read(PictureIndex const& index)
{
    auto reading = std::make_shared<IndexReading>();
    reading->index = std::make_shared<PictureIndex const>(index);
    reading->done = true;
    return reading;
}

PictureIndex const threePictures({{0, true}, {40000, false}, {100000, true}}, 139999);

TEST(PictureNumbersTest, AreKnownOnceTheyAreRead)
{
    auto const reading = std::make_shared<IndexReading>();
    PictureNumbers numbers(reading);
    numbers.Note(0, 39999);
    EXPECT_FALSE(numbers.Get());
    reading->index = std::make_shared<PictureIndex const>(threePictures);
    reading->done = true;
    ASSERT_TRUE(numbers.Get());
    EXPECT_EQ(numbers.Get()->GetCount(), 3);
}

TEST(PictureNumbersTest, AreGoneWithAPictureThatIsNotAmongThem)
{
    PictureNumbers numbers(Read(threePictures));
    numbers.Note(40000, 99999);
    EXPECT_TRUE(numbers.Get());
    numbers.Note(0, 99999); // picture 1 did not come
    EXPECT_FALSE(numbers.Get());
    numbers.Note(40000, 99999);
    EXPECT_FALSE(numbers.Get());
}

TEST(PictureNumbersTest, AreComparedWithPicturesThatCameBefore)
{
    auto const reading = std::make_shared<IndexReading>();
    PictureNumbers numbers(reading);
    numbers.Note(40000, 79999);
    reading->index = std::make_shared<PictureIndex const>(threePictures);
    reading->done = true;
    EXPECT_FALSE(numbers.Get());
}

TEST(PictureNumbersTest, StopTheReadingWhenNobodyNeedsThem)
{
    auto const reading = std::make_shared<IndexReading>();
    {
        PictureNumbers const numbers(reading);
        EXPECT_FALSE(reading->stopped);
    }
    EXPECT_TRUE(reading->stopped);
}

} // namespace
