#include "media/MediaInfo.h"

#include "media/FfmpegBridge.h"
#include "media/MediaReader.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

QString SmallMovie()
{
    return MakeMedia("movie.mkv", Picture("64x48", 25, 1) + QStringList{"-c:v", "mpeg4", "-threads", "1"});
}

QString SmallSound()
{
    return WriteMedia("sound.wav", WavBytes(1, 1, 8000, 16, QByteArray(24000, 0)));
}

QString SmallStill()
{
    return MakeMedia("still.png", Picture("64x48", 25, 1) + QStringList{"-frames:v", "1"});
}

std::shared_ptr<MediaInfo> MovieOf(double milliseconds)
{
    return Probed(WithMatroskaDuration("movie.mkv", SmallMovie(), milliseconds));
}

// A movie with its duration in nanoseconds.
std::shared_ptr<MediaInfo> MovieOfNanoseconds(double nanoseconds)
{
    QByteArray const inMilliseconds("\x2a\xd7\xb1\x83\x0f\x42\x40", 7); // TimestampScale, the unit of the times
    QByteArray const inNanoseconds("\x2a\xd7\xb1\x83\x00\x00\x01", 7);
    QString const movie = PatchMedia("fine.mkv", SmallMovie(), inMilliseconds, inNanoseconds);
    return Probed(WithMatroskaDuration("movie.mkv", movie, nanoseconds));
}

// A movie probed again with another tag on its stream.
std::shared_ptr<MediaInfo> MovieWithTag(char const* key, char const* value)
{
    auto info = Probed(SmallMovie());
    AVFormatContext* context = nullptr;
    if (!MediaReader::OpenInput(info, &context) || avformat_find_stream_info(context, nullptr) < 0)
        return nullptr;
    av_dict_set(&context->streams[0]->metadata, key, value, 0);
    MediaReader::ParseVideoProperties(info, context, 0);
    MediaReader::CloseInput(&context);
    return info;
}

} // namespace

TEST(MediaInfoTest, StartsEmptyWithItsPathAsItStands)
{
    MediaInfo const info("some/where/../movie.mov");
    EXPECT_EQ(info.GetFilePath(), "some/where/../movie.mov");
    EXPECT_EQ(info.GetFileName(), "movie.mov");
    EXPECT_FALSE(info.IsInitialized());
    EXPECT_FALSE(info.GetID().isNull());
    EXPECT_TRUE(info.GetSourceID().isNull());
    EXPECT_EQ(info.GetDuration(), 0);
    EXPECT_EQ(info.GetDurationInSeconds(), 0.0);
    EXPECT_EQ(info.GetDurationAsString(), "00:00:00.00");
    EXPECT_FALSE(info.IsImage());
    EXPECT_FALSE(info.IsLinearColorSpace());
    EXPECT_EQ(info.GetNumAudioStreams(), 0);
    EXPECT_EQ(info.GetNumVideoStreams(), 0);
    EXPECT_TRUE(info.GetAudioStreams().isEmpty());
    EXPECT_TRUE(info.GetVideoStreams().isEmpty());
}

// The fields sourceId, duration and isImage in declared order, without gaps.
TEST(MediaInfoTest, HasItsDurationBetweenTheSecondIdentityAndTheFlags)
{
    auto const info = Probed(SmallSound());
    long long duration = 0;
    auto const* isImage = reinterpret_cast<char const*>(&info->isImage);
    std::memcpy(&duration, isImage - sizeof duration, sizeof duration);
    EXPECT_EQ(duration, 1500000); // 12000 samples at 8000 Hz
    EXPECT_GE(isImage - sizeof duration, reinterpret_cast<char const*>(&info->sourceId + 1));
}

TEST(MediaInfoTest, AnswersZeroForThePictureSideWithoutVideo)
{
    auto const info = Probed(SmallSound());
    ASSERT_TRUE(info->IsInitialized());
    EXPECT_EQ(info->GetStartTime(), 0);
    EXPECT_EQ(info->GetFrameStep(), 0);
    EXPECT_EQ(info->GetNumFrames(), 0);
    EXPECT_EQ(info->GetFrameRate(), 0.0);
    EXPECT_EQ(info->GetVideoWidth(), 0);
    EXPECT_EQ(info->GetVideoHeight(), 0);
    EXPECT_FALSE(info->IsVideoRotated());
    EXPECT_EQ(info->GetDuration(), 1500000);
    EXPECT_EQ(info->GetDurationInSeconds(), 1.5);
}

TEST(MediaInfoTest, TakesThePictureSideFromTheFirstVideoStream)
{
    auto const info = Probed(
        MakeMedia("two-videos.mkv", Picture("64x48", 25, 1) + Picture("32x16", 10, 1) +
                                        QStringList{"-map", "0", "-map", "1", "-c:v", "mpeg4", "-threads", "1"}));
    ASSERT_EQ(info->GetNumVideoStreams(), 2);
    EXPECT_EQ(info->GetVideoWidth(), 64);
    EXPECT_EQ(info->GetVideoHeight(), 48);
    EXPECT_EQ(info->GetFrameRate(), 25.0);
    EXPECT_EQ(info->GetFrameStep(), 40000);
    EXPECT_EQ(info->GetNumFrames(), 25);
    EXPECT_EQ(info->GetStartTime(), 0);
}

TEST(MediaInfoTest, GivesAStillImageNoDurationAndOneFrame)
{
    auto const info = Probed(SmallStill(), /*isImage=*/true);
    ASSERT_TRUE(info->IsInitialized());
    EXPECT_EQ(info->GetDuration(), -1);
    EXPECT_EQ(info->GetDurationInSeconds(), -0.000001);
    EXPECT_EQ(info->GetDurationAsString(), "00:00:00.00");
    EXPECT_EQ(info->GetStartTime(), 0);
    EXPECT_EQ(info->GetNumFrames(), 1);
    EXPECT_EQ(info->GetFrameRate(), -1.0);
    EXPECT_EQ(info->GetFrameStep(), -1);
}

TEST(MediaInfoTest, HoldsTheStartTimeOfAnImageAtZero)
{
    auto const info =
        Probed(MakeMedia("starts-at-2s.mkv", Picture("64x48", 25, 1) + QStringList{"-c:v", "mpeg4", "-threads", "1",
                                                                                   "-output_ts_offset", "2"}));
    ASSERT_EQ(info->GetStartTime(), 2000000);
    info->isImage = true;
    EXPECT_EQ(info->GetStartTime(), 0);
}

TEST(MediaInfoTest, AnswersTheFrameStepAsTheDurationOfAnImage)
{
    auto const info = Probed(SmallMovie());
    EXPECT_EQ(info->GetDuration(), 1000000);
    info->isImage = true;
    EXPECT_EQ(info->GetDuration(), 40000);
    EXPECT_EQ(info->GetDurationInSeconds(), 0.04);
}

TEST(MediaInfoTest, FallsBackToTheContainersDurationForAnImageWithoutVideo)
{
    auto const info = Probed(SmallSound());
    info->isImage = true;
    EXPECT_EQ(info->GetDuration(), 1500000);
}

TEST(MediaInfoTest, PrintsTheWholeDurationInTheSecondsField)
{
    EXPECT_EQ(MovieOf(3725500)->GetDurationAsString(), "01:02:3725.50");
    EXPECT_EQ(MovieOf(5000)->GetDurationAsString(), "00:00:05.00");
    EXPECT_EQ(MovieOf(83070)->GetDurationAsString(), "00:01:83.07");
}

TEST(MediaInfoTest, RoundsTheDurationToTheNearestHundredth)
{
    EXPECT_EQ(MovieOf(59996)->GetDurationAsString(), "00:01:60.00");
    EXPECT_EQ(MovieOf(59994)->GetDurationAsString(), "00:00:59.99");
    EXPECT_EQ(MovieOf(1004.999)->GetDurationAsString(), "00:00:01.00");
    EXPECT_EQ(MovieOf(1005)->GetDurationAsString(), "00:00:01.01");
}

TEST(MediaInfoTest, PrintsLongFieldsInFull)
{
    EXPECT_EQ(MovieOf(359999994.0)->GetDurationAsString(), "99:59:359999.99");
    EXPECT_EQ(MovieOf(359999995.0)->GetDurationAsString(), "100:00:360000.00");
}

// 2147483648 seconds no longer fit the 32-bit seconds field, which keeps the low 32 bits.
TEST(MediaInfoTest, CutsTheSecondsTo32Bits)
{
    EXPECT_EQ(MovieOf(2147483647000.0)->GetDurationAsString(), "596523:14:2147483647.00");
    EXPECT_EQ(MovieOf(4294967301000.0)->GetDurationAsString(), "00:00:05.00");
}

// 9223372036854770808 is the first time to which 5000 are not added, because larger ones would overflow. These are the
// nearest times that a Matroska header can store.
TEST(MediaInfoTest, LeavesTheLongestDurationsUnrounded)
{
    auto const rounded = MovieOfNanoseconds(9223372036854770688e3);
    ASSERT_EQ(rounded->GetDuration(), 9223372036854770688);
    EXPECT_EQ(rounded->GetDurationAsString(), "577014:32:2077252342.77");
    auto const unrounded = MovieOfNanoseconds(9223372036854771712e3);
    ASSERT_EQ(unrounded->GetDuration(), 9223372036854771712);
    EXPECT_EQ(unrounded->GetDurationAsString(), "577014:32:2077252342.77");
}

TEST(MediaInfoTest, CountsAsRotatedOnlyByExactly90Or270)
{
    EXPECT_FALSE(Probed(SmallMovie())->IsVideoRotated());
    EXPECT_TRUE(MovieWithTag("rotate", "90")->IsVideoRotated());
    EXPECT_TRUE(MovieWithTag("rotate", "270")->IsVideoRotated());
    for (char const* value : {"180", "-90", "90.0", "", " 90", "0", "450", "Ninety"})
        EXPECT_FALSE(MovieWithTag("rotate", value)->IsVideoRotated()) << value;
}

TEST(MediaInfoTest, LooksForTheRotateTagInItsOwnCase)
{
    auto const info = MovieWithTag("ROTATE", "90");
    ASSERT_EQ(info->GetVideoStreams().first().metadata.value("ROTATE"), "90");
    EXPECT_FALSE(info->IsVideoRotated());
}

TEST(MediaInfoTest, FindsAStreamByItsIndexInTheContainer)
{
    auto const info =
        Probed(MakeMedia("sound-first.mkv", Tone(8000, 1, 0.5) + Picture("64x48", 25, 0.5) + Tone(8000, 2, 0.5) +
                                                QStringList{"-map", "0", "-map", "1", "-map", "2", "-c:v", "mpeg4",
                                                            "-threads", "1", "-c:a", "pcm_s16le"}));
    AudioStream sound;
    info->GetAudioStream(2, sound);
    EXPECT_TRUE(sound.valid);
    EXPECT_EQ(sound.streamIndex, 2);
    EXPECT_EQ(sound.channels, 2);
    VideoStream video;
    info->GetVideoStream(1, video);
    EXPECT_TRUE(video.valid);
    EXPECT_EQ(video.width, 64);
}

TEST(MediaInfoTest, LeavesTheRecordAloneWhenNoStreamHasTheIndex)
{
    auto const info = Probed(MakeMedia("sound-first.mkv", Tone(8000, 1, 0.5) + Picture("64x48", 25, 0.5) +
                                                              QStringList{"-map", "0", "-map", "1", "-c:v", "mpeg4",
                                                                          "-threads", "1", "-c:a", "pcm_s16le"}));
    VideoStream video;
    video.width = 7;
    video.codecName = "mine";
    info->GetVideoStream(5, video);
    info->GetVideoStream(0, video); // a position in the list, but no stream index
    EXPECT_EQ(video.width, 7);
    EXPECT_EQ(video.codecName, "mine");
    EXPECT_FALSE(video.valid);
    AudioStream sound;
    sound.channels = 7;
    info->GetAudioStream(1, sound);
    MediaInfo("empty").GetAudioStream(0, sound);
    EXPECT_EQ(sound.channels, 7);
}

TEST(MediaInfoTest, HasAnIdentityOfItsOwn)
{
    MediaInfo const first("same");
    MediaInfo const second("same");
    EXPECT_NE(first.GetID(), second.GetID());
    EXPECT_EQ(first.GetID(), first.GetID());
}

TEST(MediaInfoTest, KeepsTheHostsFields)
{
    MediaInfo info("movie.mov");
    info.sourceId = QUuid::createUuid();
    info.isLinearColorSpace = true;
    info.isImage = true;
    EXPECT_EQ(info.GetSourceID(), info.sourceId);
    EXPECT_TRUE(info.IsLinearColorSpace());
    EXPECT_TRUE(info.IsImage());
    info.DebugPrint();
}
