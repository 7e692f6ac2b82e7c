#include "common/Settings.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/VideoDecoder.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// On request, pictures that the seek filter drops and that no other picture refers to are not decoded. The delivered
// pictures are the same as without a seek time, when everything is decoded and the early pictures are removed
// afterwards.

namespace {

constexpr int rate = 25;
constexpr double frameDuration = 1000000.0 / rate;
constexpr long long lengthUs = 6000000;
constexpr int picturesAfterTarget = 6;

struct Recipe
{
    char const* name; // file name
    QStringList encoder;
};

QStringList X264(QString const& parameters)
{
    return {"-c:v",     "libx264", "-preset",      "ultrafast",
            "-pix_fmt", "yuv420p", "-x264-params", "keyint=60:scenecut=0:b-adapt=0:ref=3:" + parameters};
}

QStringList Encoder(QString const& name, QStringList const& more)
{
    return QStringList{"-c:v", name, "-pix_fmt", "yuv420p"} + more;
}

std::vector<Recipe> Recipes()
{
    QStringList const mpeg = {"-bf", "2", "-g", "50", "-b:v", "1M"};
    QString const x265 = "log-level=0:bframes=4:b-adapt=0:keyint=60";
    return {
        {"skip-plain.mp4", X264("bframes=0")},
        {"skip-b.mp4", X264("bframes=3:b-pyramid=none")},
        {"skip-pyramid.mkv", X264("bframes=7:b-pyramid=normal")},
        {"skip-open.mkv", X264("bframes=3:open-gop=1")},
        {"skip-open.ts", X264("bframes=3:open-gop=1")},
        {"skip-interlaced.mp4", X264("bframes=3:interlaced=1")},
        {"skip-refresh.mp4", X264("bframes=3:intra-refresh=1")},
        {"skip-b.flv", X264("bframes=3")},
        {"skip-b.avi", X264("bframes=3")},
        {"skip-late.mov", X264("bframes=3") + QStringList{"-output_ts_offset", "5"}},
        {"skip-mpeg1.mpg", Encoder("mpeg1video", mpeg)},
        {"skip-mpeg2.mkv", Encoder("mpeg2video", mpeg)},
        {"skip-mpeg2i.ts", Encoder("mpeg2video", mpeg + QStringList{"-flags", "+ildct+ilme"})},
        {"skip-mpeg4.mp4", Encoder("mpeg4", mpeg)},
        {"skip-mpeg4.avi", Encoder("mpeg4", mpeg)},
        {"skip-hevc.mp4", Encoder("libx265", {"-preset", "ultrafast", "-x265-params", x265})},
        {"skip-hevc-open.mkv", Encoder("libx265", {"-preset", "ultrafast", "-x265-params", x265 + ":open-gop=1"})},
        {"skip-vp8.webm", Encoder("libvpx", {"-deadline", "realtime", "-cpu-used", "8", "-g", "60"})},
        {"skip-vp9.webm", Encoder("libvpx-vp9", {"-deadline", "realtime", "-cpu-used", "8", "-g", "60"})},
    };
}

QString Make(Recipe const& recipe)
{
    return MakeMedia(recipe.name, Picture("128x96", rate, lengthUs / 1000000.0) + recipe.encoder);
}

void PrintTo(Recipe const& recipe, std::ostream* stream)
{
    *stream << recipe.name;
}

struct Delivered
{
    long long time = 0;
    std::vector<uint8_t> bytes;

    bool operator==(Delivered const& other) const { return time == other.time && bytes == other.bytes; }
};

void PrintTo(Delivered const& picture, std::ostream* stream)
{
    *stream << picture.time;
}

int CountBuffer(AVCodecContext* context, AVFrame* frame, int flags)
{
    ++*static_cast<int*>(context->opaque);
    return avcodec_default_get_buffer2(context, frame, flags);
}

// A session that seeks as a host does, with any number of threads.
class SkippingSession
{
public:
    SkippingSession(QString const& path, int threads, bool counts = false)
        : input(path, AVMEDIA_TYPE_VIDEO), codec(avcodec_alloc_context3(nullptr))
    {
        AVStream const* stream = Stream();
        auto const info = Probed(path);
        VideoStream record;
        info->GetVideoStream(input.StreamIndex(), record);
        startTime = record.startTime;
        avcodec_parameters_to_context(codec.get(), stream->codecpar);
        codec->thread_count = threads;
        if (counts) {
            codec->opaque = &decodedPictures;
            codec->get_buffer2 = CountBuffer;
        }
        avcodec_open2(codec.get(), avcodec_find_decoder(codec->codec_id), nullptr);
        decoder.Initialize(codec.get(), stream->time_base, record.width, record.height, record.pixelAspectRatio,
                           startTime, rate, 0, false, false);
    }

    // The first pictures from the filter's bound before `target` on. With `skips`, the decoder gets the target and may
    // skip unneeded pictures; otherwise it decodes everything, and the pictures before the bound are removed here.
    std::vector<Delivered> Seek(long long target, bool skips) { return Seek(target, skips, skips); }

    std::vector<Delivered> Seek(long long target, bool skips, bool tellsTarget)
    {
        return SeekFrom(target, target, skips, tellsTarget);
    }

    // Seeks the file to `place`.
    std::vector<Delivered> SeekFrom(long long place, long long target, bool skips, bool tellsTarget)
    {
        decoder.SetSeekSkipping(skips);
        AVRational const microseconds = {1, AV_TIME_BASE};
        auto const ticks = av_rescale_q(place + startTime, microseconds, Stream()->time_base);
        avformat_seek_file(input.Format(), input.StreamIndex(), 0, ticks, ticks, AVSEEK_FLAG_FRAME);
        avcodec_flush_buffers(codec.get());
        std::vector<Delivered> delivered;
        int forced = 0;
        while (!IsComplete(delivered, target) && forced < 200) {
            auto packet = input.NextPacket();
            if (!packet)
                ++forced; // the pictures after a dropped one come with further empty packets
            Pictures pictures;
            decoder.DecodePacket(packet ? packet.get() : EmptyPacket().get(), pictures, tellsTarget ? target : -1);
            for (auto const& picture : pictures)
                Take(*picture, target, delivered);
        }
        return delivered;
    }

    void BeginAtKeyPicture() { decoder.BeginAtKeyPicture(); }
    bool HasSkippedInDoubt() const { return decoder.HasSkippedInDoubt(); }
    AVCodecContext* Codec() const { return codec.get(); }
    int DecodedPictures() const { return decodedPictures; } // only with `counts`

private:
    AVStream* Stream() const { return input.Format()->streams[input.StreamIndex()]; }

    static bool IsComplete(std::vector<Delivered> const& delivered, long long target)
    {
        return std::count_if(delivered.begin(), delivered.end(),
                             [target](Delivered const& one) { return one.time >= target; }) >= picturesAfterTarget;
    }

    static void Take(DecodedVideoFrame const& picture, long long target, std::vector<Delivered>& delivered)
    {
        double const bound = static_cast<double>(target) - Settings::maxTrailingFramesAfterSeek * frameDuration;
        if (picture.data && static_cast<double>(picture.startTime) >= bound)
            delivered.push_back({picture.startTime, {picture.data, picture.data + picture.size}});
    }

    ReferenceInput input;
    int decodedPictures = 0;
    long long startTime = 0;
    FfmpegPtr<AVCodecContext> codec;
    VideoDecoder decoder; // uses the context
};

class SeekSkippingFormatTest : public testing::TestWithParam<Recipe>
{};

std::string RecipeName(testing::TestParamInfo<Recipe> const& info)
{
    std::string name = info.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '.'; }, '_');
    return name;
}

} // namespace

TEST_P(SeekSkippingFormatTest, DeliversTheSamePicturesAsWithoutSkipping)
{
    QString const path = Make(GetParam());
    for (int const threads : {1, 0}) {
        SkippingSession skipping(path, threads);
        SkippingSession plain(path, threads);
        size_t pictures = 0;
        for (int i = 0; i < 8; ++i) {
            long long const target = i * 1234567LL % lengthUs + 17;
            auto const expected = plain.Seek(target, false);
            EXPECT_EQ(skipping.Seek(target, true), expected) << "target " << target << ", threads " << threads;
            pictures += expected.size();
        }
        // At least four of the eight targets in full: behind the last key picture of a transport stream there is none.
        EXPECT_GT(pictures, 4U * picturesAfterTarget);
        // key picture of a transport stream there are none
    }
}

INSTANTIATE_TEST_SUITE_P(All, SeekSkippingFormatTest, testing::ValuesIn(Recipes()), RecipeName);

TEST(SeekSkippingTest, LeavesOutPicturesThatNothingRefersTo)
{
    // A key picture every 60 pictures; three of four pictures in between are not used for reference.
    SkippingSession skipping(Make({"skip-b.mp4", X264("bframes=3:b-pyramid=none")}), 1, /*counts=*/true);
    int const decodedBefore = skipping.DecodedPictures();
    skipping.Seek(4600000, true); // picture 115; its key picture is number 60
    int const decoded = skipping.DecodedPictures() - decodedBefore;
    // 23: the 16 references from 60 to 120, and the other pictures from 113 on; 64 without skipping.
    EXPECT_LT(decoded, 30);
    EXPECT_GT(decoded, 20);
}

TEST(SeekSkippingTest, KeepsWhatTheHostHasSetInTheContext)
{
    for (AVDiscard const own : {AVDISCARD_NONE, AVDISCARD_DEFAULT, AVDISCARD_BIDIR, AVDISCARD_NONKEY}) {
        SkippingSession session(Make({"skip-b.mp4", X264("bframes=3:b-pyramid=none")}), 1);
        session.Codec()->skip_frame = own;
        session.Seek(1500000, true);
        EXPECT_EQ(session.Codec()->skip_frame, own);
    }
}

// The host may skip more: of six seconds from the start only the three key pictures are decoded.
TEST(SeekSkippingTest, SkipsNoLessThanTheHostAskedFor)
{
    SkippingSession session(Make({"skip-b.mp4", X264("bframes=3:b-pyramid=none")}), 1, /*counts=*/true);
    session.Codec()->skip_frame = AVDISCARD_NONKEY;
    std::vector<long long> times;
    for (Delivered const& picture : session.Seek(1500000, true))
        times.push_back(picture.time);
    EXPECT_EQ(times, (std::vector<long long>{2400000, 4800000}));
    EXPECT_EQ(session.DecodedPictures(), 3);
}

// The number of pictures that the codec decodes from the beginning to `target` and a few pictures on.
int DecodedOnTheWay(Recipe const& recipe, long long target, bool skips)
{
    SkippingSession session(Make(recipe), 1, /*counts=*/true);
    session.SeekFrom(0, target, skips, /*tellsTarget=*/true);
    return session.DecodedPictures();
}

TEST(SeekSkippingTest, DecodesEveryPictureUnlessItIsAskedTo)
{
    Recipe const movie = {"skip-b.mp4", X264("bframes=3:b-pyramid=none")};
    // Picture 115 is the target. With skipping 39: each fourth picture, and all from just before the target on.
    EXPECT_GE(DecodedOnTheWay(movie, 4600000, /*skips=*/false), 115);
    EXPECT_LT(DecodedOnTheWay(movie, 4600000, /*skips=*/true), 50);
}

// Whether the HEVC movie has pictures above the first sub-layer.
bool HasSubLayers(QString const& path)
{
    ReferenceInput input(path, AVMEDIA_TYPE_VIDEO);
    while (auto const packet = input.NextPacket()) {
        for (int at = 0; at + 6 <= packet->size;) {
            uint8_t const* unit = packet->data + at;
            if ((unit[5] & 7) > 1)
                return true;
            at += 4 + (unit[0] << 24 | unit[1] << 16 | unit[2] << 8 | unit[3]);
        }
    }
    return false;
}

// A field may refer to the other field of its picture; a picture of a higher sub-layer may refer to one that none of
// its own sub-layer refers to; VP8 has no header that says which pictures are references.
TEST(SeekSkippingTest, LeavesOutNothingWithoutAProofThatItIsHarmless)
{
    QString const layers = "log-level=0:bframes=7:b-adapt=0:keyint=60:rc-lookahead=20:temporal-layers=1";
    for (Recipe const& recipe :
         {Recipe{"skip-interlaced.mp4", X264("bframes=3:interlaced=1")},
          Recipe{"skip-mpeg2i.ts",
                 Encoder("mpeg2video", {"-bf", "2", "-g", "50", "-b:v", "1M", "-flags", "+ildct+ilme"})},
          Recipe{"skip-layers.mp4", Encoder("libx265", {"-preset", "ultrafast", "-x265-params", layers})},
          Recipe{"skip-vp8.webm", Encoder("libvpx", {"-deadline", "realtime", "-cpu-used", "8", "-g", "60"})}}) {
        bool const isHevc = std::string(recipe.name).find("layers") != std::string::npos;
        if (isHevc && !HasSubLayers(Make(recipe)))
            continue; // this encoder's version of the option gives one sub-layer
        EXPECT_EQ(DecodedOnTheWay(recipe, 3900000, true), DecodedOnTheWay(recipe, 3900000, false)) << recipe.name;
    }
}

TEST(SeekSkippingTest, LeavesOutPicturesOfEachCodecThatProvesIt)
{
    QString const x265 = "log-level=0:bframes=4:b-adapt=0:keyint=60:b-pyramid=0";
    QStringList const mpeg = {"-bf", "2", "-g", "50", "-b:v", "1M"};
    for (Recipe const& recipe :
         {Recipe{"skip-b.mkv", X264("bframes=3:b-pyramid=none")}, Recipe{"skip-b.ts", X264("bframes=3:b-pyramid=none")},
          Recipe{"skip-hevc-flat.mp4", Encoder("libx265", {"-preset", "ultrafast", "-x265-params", x265})},
          Recipe{"skip-mpeg1.mpg", Encoder("mpeg1video", mpeg)}, Recipe{"skip-mpeg2.mkv", Encoder("mpeg2video", mpeg)},
          Recipe{"skip-mpeg4.mp4", Encoder("mpeg4", mpeg)}}) {
        // 45 of 100 or fewer: at least two of three pictures before the target are no references.
        EXPECT_LT(DecodedOnTheWay(recipe, 3900000, true), DecodedOnTheWay(recipe, 3900000, false) / 2) << recipe.name;
    }
}

TEST(SeekSkippingTest, IsInDoubtWhereTheStretchIsDamaged)
{
    QString const sound = Make({"skip-b.mp4", X264("bframes=3:b-pyramid=none")});
    SkippingSession whole(sound, 1);
    whole.Seek(4600000, true);
    EXPECT_FALSE(whole.HasSkippedInDoubt());

    QByteArray bytes = ReadMedia(sound);
    auto const head = bytes.indexOf("mdat");
    auto const length = bytes.indexOf("moov") - head;
    ASSERT_GT(length, 20000);
    for (auto at = head + length / 2; at < head + length * 3 / 4; at += 800)
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
    SkippingSession damaged(WriteMedia("skip-damaged.mp4", bytes), 1);
    damaged.Seek(4600000, true);
    EXPECT_TRUE(damaged.HasSkippedInDoubt());
    damaged.Seek(4600000, /*skips=*/false, /*tellsTarget=*/true);
    EXPECT_FALSE(damaged.HasSkippedInDoubt()); // nothing was skipped
}

// The container marks every packet as a key packet; for FFmpeg's decoder only each 50th picture is one.
TEST(SeekSkippingTest, BeginsAtAKeyPictureOfTheCodecWhereTheContainerLies)
{
    QString const movie = Make({"skip-mpeg4.mp4", Encoder("mpeg4", {"-bf", "2", "-g", "50", "-b:v", "1M"})});
    SkippingSession session(PatchMedia("skip-all-key.mp4", movie, "stss", "free"), 1);
    auto const trusting = session.Seek(1500000, false);
    ASSERT_FALSE(trusting.empty());
    session.BeginAtKeyPicture();
    auto const careful = session.Seek(1500000, false);
    ASSERT_FALSE(careful.empty());
    std::vector<long long> keyTimes;
    ReferenceInput input(movie, AVMEDIA_TYPE_VIDEO);
    input.DecodeAll([&](AVFrame& frame) {
        if (frame.pict_type == AV_PICTURE_TYPE_I)
            keyTimes.push_back(
                static_cast<long long>(static_cast<double>(frame.best_effort_timestamp) * input.TickUs()));
    });
    auto const next = std::upper_bound(keyTimes.begin(), keyTimes.end(), 1500000);
    ASSERT_NE(next, keyTimes.end());
    EXPECT_LT(trusting.front().time, *next);
    EXPECT_EQ(careful.front().time, *next);
}

// The B pictures shown before the key picture of an open group refer to the previous group, which was not decoded.
TEST(SeekSkippingTest, LeavesOutWhatShowsBeforeTheKeyPictureOfAnOpenGroup)
{
    QString const movie = Make({"skip-open.mkv", X264("bframes=3:open-gop=1")});
    SkippingSession session(movie, 1);
    session.Seek(2420000, false);
    session.BeginAtKeyPicture();
    auto const delivered = session.Seek(2420000, false);
    ReferenceInput input(movie, AVMEDIA_TYPE_VIDEO);
    std::vector<std::vector<uint8_t>> plain;
    input.DecodeAll([&plain](AVFrame& frame) { plain.push_back(ConvertPlainly(frame, frame.width)); });
    ASSERT_FALSE(delivered.empty());
    for (Delivered const& picture : delivered)
        EXPECT_EQ(picture.bytes, plain[static_cast<size_t>((picture.time + 20000) / 40000)]) << picture.time;
}
