#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "playback/PictureCache.h"
#include "playback/PlaybackEngine.h"
#include "source/MoviePictures.h"
#include "source/SoundStream.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

// Tests the rules that a host of the library must follow, one by one, and some consequences; the tests over whole clips
// combine them. Rules 5 and 6, about reading, are tested in tests/source.

namespace {

std::shared_ptr<MediaInfo> Probe(QString const& path)
{
    auto const info = std::make_shared<MediaInfo>(path);
    EXPECT_TRUE(MediaReader::ParseMedia(info));
    return info;
}

class HostRulesTest : public testing::Test
{
protected:
    void SetUp() override { AvGlobals::maxAudioOutputChannels = 2; }

    void Open(QString const& path, bool asSequence = false)
    {
        if (asSequence)
            engine.OpenSequence(path);
        else
            engine.Open(path);
        Wait();
    }

    void Wait() { ASSERT_TRUE(engine.WaitUntilReady(patience)); }

    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    PlaybackEngine engine{Reference::PlainOptions(), time};
};

// Rule 1: a picture needs its end time before it is put into the cache.

TEST_F(HostRulesTest, TheNewestCachedPictureShowsUntilItsEnd)
{
    MoviePictures reader(Probe(Clips::Made("gop12.mp4")), 25.0);
    ASSERT_TRUE(reader.Open());
    PictureCache cache;
    cache.SetBudget(100000000, 1, 0);
    std::shared_ptr<DecodedVideoFrame> picture;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(reader.Read(picture), ReadResult::Got);
        cache.Append(picture);
    }
    EXPECT_EQ(cache.Find(79999, 0).start, 40000);
    EXPECT_TRUE(cache.Find(79999, 0).picture);
    EXPECT_FALSE(cache.Find(80000, 0).picture);
}

TEST_F(HostRulesTest, TheLastPictureEndsWithTheMedia)
{
    Open(Clips::Made("gop12.mp4"));
    engine.Seek(1000000000);
    Wait();
    EXPECT_EQ(engine.GetStatus().cacheEnd, 7999999);
}

// Rule 2: backwards, a segment is appended last to first.

TEST_F(HostRulesTest, BackwardsTheCacheGrowsWithoutGaps)
{
    engine.SetCacheBudget(0); // the cache is empty when playback begins
    Open(Clips::Made("gop12.mp4"));
    engine.Seek(4000000);
    Wait();
    engine.SetSpeed(-1.0);
    engine.SetCacheBudget(100000000);
    Wait();
    EXPECT_LE(engine.GetStatus().cacheStart, 3960000); // at least the picture before
    for (int i = 0; i < 20; ++i) {
        time->Advance(40000);
        Wait();
        ASSERT_TRUE(engine.GetPicture());
        EXPECT_EQ(engine.GetPicture()->startTime, 4000000 - (i + 1) * 40000);
    }
}

// Rule 3: with fewer than 30 pictures the cache itself advises going forwards.

void AppendPicturesAt(PictureCache& cache, std::vector<long long> const& starts) // of 10 bytes, 25 a second
{
    for (long long const start : starts) {
        uint8_t const bytes[10] = {};
        auto picture = std::make_shared<DecodedVideoFrame>(bytes, 10, 1, 1, start, 25.0, 0, false);
        picture->endTime = start + 39999;
        cache.Append(picture);
    }
}

TEST_F(HostRulesTest, BackwardsNothingIsDecodedForwards)
{
    PictureCache cache;
    cache.SetBudget(1000, 10, 0);
    AppendPicturesAt(cache, {400000, 440000, 480000});
    std::vector<PictureCache::Picture> released;
    PictureCache::Window window;
    window.time = 440000;
    window.mediaEnd = 10000000;
    window.playing = true;
    window.forwards = false;
    EXPECT_EQ(cache.Update(window, released), PictureCache::Advice::Backwards);
    window.forwards = true;
    EXPECT_EQ(cache.Update(window, released), PictureCache::Advice::Forwards);
}

TEST_F(HostRulesTest, EachUpdateLetsGoOfOnePictureAndNeverOfTheOneShowing)
{
    PictureCache cache;
    cache.SetBudget(40, 10, 0);
    AppendPicturesAt(cache, {0, 40000, 80000, 120000});
    std::vector<PictureCache::Picture> released;
    PictureCache::Window window;
    window.time = 20000;
    window.mediaEnd = 10000000;
    window.playing = true;
    EXPECT_EQ(cache.Update(window, released), PictureCache::Advice::Nothing); // nothing is behind
    EXPECT_TRUE(released.empty());
    window.time = 60000;
    EXPECT_EQ(cache.Update(window, released), PictureCache::Advice::Forwards);
    ASSERT_EQ(released.size(), 1U);
    EXPECT_EQ(released.front()->startTime, 0);
    EXPECT_EQ(cache.GetSpan().start, 40000);
}

// Rule 4: picture times count from the first picture; sound and seeks use container time.

TEST_F(HostRulesTest, SeeksAndSoundAreInTheContainersTime)
{
    QString const clip = Clips::Made("stream.ts");
    long long const first = Reference::FirstPictureTime(clip);
    ASSERT_GT(first, 1000000);
    MoviePictures reader(Probe(clip), 25.0);
    ASSERT_TRUE(reader.Open());
    PictureStream::Picture picture;
    ASSERT_EQ(reader.ReadAt(4000000, picture), ReadResult::Got);
    EXPECT_EQ(reader.GetOrigin(), first);
    EXPECT_EQ(picture->startTime, 4000000);
    Open(clip);
    EXPECT_NEAR(static_cast<double>(engine.GetStatus().soundStart), 0.0, 60000.0); // two frames of sound
}

TEST_F(HostRulesTest, SoundThatBeginsBeforeThePicturesIsPlayed)
{
    Open(Clips::Made("late-video.mp4"));
    // The encoder's packet of silence comes before the tone.
    EXPECT_NEAR(static_cast<double>(engine.GetStatus().start), -1000000.0, 1024 * 1e6 / 44100 + 1.0);
    EXPECT_EQ(engine.GetStatus().position, engine.GetStatus().start);
    ASSERT_TRUE(engine.GetPicture());
    EXPECT_EQ(engine.GetPicture()->startTime, 0);
}

// Rule 7: a cover is shown, but the file is a sound file.

TEST_F(HostRulesTest, ACoverMakesNoMovie)
{
    for (char const* name : {"cover.mp3", "cover-png.mp3"}) {
        Open(Clips::Made(name));
        EXPECT_EQ(engine.GetStatus().kind, SourceKind::SoundWithCover) << name;
        engine.Seek(2000000);
        Wait();
        ASSERT_TRUE(engine.GetPicture()) << name;
        EXPECT_EQ(engine.GetPicture()->width, 64) << name;
        EXPECT_GE(engine.GetStatus().duration, 3000000) << name; // all of the tone
        std::vector<short> block(2000);
        EXPECT_EQ(engine.FillAudio(block.data(), 1000), 1000) << name;
    }
}

// Rule 8: the host decides before probing whether a file is a still or a movie.

TEST_F(HostRulesTest, AMotionJpegMovieIsAMovieAndAJpegIsAStill)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    Open(Clips::Real("camera-mjpeg-pcm16.avi"));
    EXPECT_EQ(engine.GetStatus().kind, SourceKind::Movie);
    for (char const* name : {"still-camera-444.jpg", "still-10bit.dpx", "still-alpha-135x135.png",
                             "still-half-alpha.exr", "still-rgba.tif", "still-rle24.tga"}) {
        Open(Clips::Real(name));
        EXPECT_EQ(engine.GetStatus().kind, SourceKind::Still) << name;
        ASSERT_TRUE(engine.GetPicture()) << name;
        EXPECT_EQ(engine.GetStatus().duration, 0) << name;
        engine.Seek(5000000);
        Wait();
        EXPECT_EQ(engine.GetStatus().position, 0) << name;
        EXPECT_TRUE(engine.GetPicture()) << name;
    }
}

TEST_F(HostRulesTest, ASequenceTimesItsPicturesByTheirNumbers)
{
    QTemporaryDir const folder;
    Clips::WriteNumberedPictures(folder.path(), "take.%04d.ppm", {7, 8, 9, 10});
    Open(folder.filePath("take.%04d.ppm"));
    EXPECT_EQ(engine.GetStatus().kind, SourceKind::Sequence);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(engine.GetPicture()->startTime, i * 1000000LL / 24);
        EXPECT_EQ(engine.GetPicture()->data[0], (7 + i) * 8);
        engine.Step(1);
        Wait();
    }
}

// Rule 9: rows are 3 x width bytes rounded up to a multiple of 4.

TEST_F(HostRulesTest, RowsAreRoundedUpToFourBytes)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    Open(Clips::Real("webm-vp9-161x121.webm"));
    ASSERT_TRUE(engine.GetPicture());
    EXPECT_EQ(engine.GetPicture()->width, 161);
    EXPECT_EQ(engine.GetPicture()->size, 484 * 121);
}

TEST_F(HostRulesTest, ABlackPictureHasRoundedRowsToo)
{
    QTemporaryDir const folder;
    for (char const* name : {"take.1.ppm", "take.3.ppm"}) {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("P6\n5 2\n255\n" + QByteArray(5 * 2 * 3, 'x'));
    }
    PlaybackOptions options = Reference::PlainOptions();
    options.sequenceHoles = SequenceHoles::Black;
    PlaybackEngine withHoles(options, time);
    withHoles.Open(folder.filePath("take.#.ppm"));
    withHoles.Step(1);
    ASSERT_TRUE(withHoles.WaitUntilReady(patience));
    ASSERT_TRUE(withHoles.GetPicture());
    EXPECT_EQ(withHoles.GetPicture()->data[0], 0);
    EXPECT_EQ(withHoles.GetPicture()->size, 16 * 2);
}

// Rule 10: the output is at the source's own rate.

TEST_F(HostRulesTest, TheOutputTellsTheRateToOpenTheDeviceWith)
{
    Open(Clips::Made("tone.wav"));
    EXPECT_EQ(engine.GetStatus().sampleRate, 44100);
    EXPECT_EQ(engine.GetStatus().channels, 2);
    if (!Clips::HasReal())
        return;
    Open(Clips::Real("phone-h263-amr-vfr.3gp"));
    EXPECT_EQ(engine.GetStatus().sampleRate, 8000);
    EXPECT_EQ(engine.GetStatus().channels, 1);
}

} // namespace
