#include "decode/VideoDecoder.h"

#include "common/Settings.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

AVRational const microseconds = {1, 1000000};

LogLine const decodingError = ErrorLine("Error decoding video packet.");

// An uncompressed stream: the decoder delivers each packet's picture unchanged at the packet's time.
class RawVideo
{
public:
    RawVideo(int width, int height, AVPixelFormat format = AV_PIX_FMT_RGB24) : context(avcodec_alloc_context3(nullptr))
    {
        context->width = width;
        context->height = height;
        context->pix_fmt = format;
        avcodec_open2(context.get(), avcodec_find_decoder(AV_CODEC_ID_RAWVIDEO), nullptr);
    }

    FfmpegPtr<AVPacket> Packet(AVFrame const& picture, int64_t time) const
    {
        auto const format = static_cast<AVPixelFormat>(picture.format);
        int const size = av_image_get_buffer_size(format, picture.width, picture.height, 1);
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        av_new_packet(packet.get(), size);
        av_image_copy_to_buffer(packet->data, size, picture.data, picture.linesize, format, picture.width,
                                picture.height, 1);
        packet->pts = time;
        packet->dts = time;
        return packet;
    }

    FfmpegPtr<AVPacket> Packet(int64_t time) const
    {
        return Packet(*NoisePicture(context->width, context->height, context->pix_fmt, 1), time);
    }

    FfmpegPtr<AVCodecContext> context;
};

// A decoder of small uncompressed pictures at 25 per second; times are microseconds unless noted.
class Scene
{
public:
    explicit Scene(AVRational timeBase = microseconds, long long start = 0, double frameRate = 25.0)
    {
        decoder.Initialize(video.context.get(), timeBase, 16, 8, 1.0f, start, frameRate, 0, false, false);
    }

    // Decodes packets of these times, one call each.
    Pictures Decode(std::vector<int64_t> const& times, long long seekTime = -1)
    {
        Pictures pictures;
        for (int64_t const time : times)
            decoder.DecodePacket(video.Packet(time).get(), pictures, seekTime);
        return pictures;
    }

    long long TimeOf(int64_t packetTime) { return Decode({packetTime}).at(0)->startTime; }

    RawVideo video{16, 8};
    VideoDecoder decoder;
};

constexpr int64_t noTime = AV_NOPTS_VALUE;

std::vector<long long> StartsOf(Pictures const& pictures)
{
    std::vector<long long> starts;
    for (auto const& picture : pictures)
        starts.push_back(picture->startTime);
    return starts;
}

// A movie of 10 pictures at 25 per second whose codec holds pictures back.
QString DelayedMovie()
{
    return MakeMedia("delayed.mkv",
                     Picture("64x48", 25, 0.4) + QStringList{"-c:v", "libx264", "-x264-params", "bframes=2:b-adapt=0"});
}

QString OddStillImage()
{
    return MakeMedia("still.png", Picture("65x48", 25, 1) + QStringList{"-frames:v", "1", "-pix_fmt", "rgb24"});
}

// The only packet of a file.
FfmpegPtr<AVPacket> FirstPacket(QString const& path)
{
    return ReferenceInput(path, AVMEDIA_TYPE_VIDEO).NextPacket();
}

FfmpegPtr<AVCodecContext> OpenedCodec(QString const& path, int threads)
{
    ReferenceInput const input(path, AVMEDIA_TYPE_VIDEO);
    FfmpegPtr<AVCodecContext> context(avcodec_alloc_context3(nullptr));
    avcodec_parameters_to_context(context.get(), input.Format()->streams[input.StreamIndex()]->codecpar);
    context->thread_count = threads;
    avcodec_open2(context.get(), avcodec_find_decoder(context->codec_id), nullptr);
    return context;
}

// A packet that no codec accepts: data of size 0.
FfmpegPtr<AVPacket> WrongVideoPacket()
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    av_new_packet(packet.get(), 16);
    packet->size = 0;
    return packet;
}

QString Vp9Movie()
{
    return MakeMedia("pairs.webm", Picture("64x48", 25, 0.4) + QStringList{"-c:v", "libvpx-vp9", "-b:v", "100k", "-g",
                                                                           "2", "-keyint_min", "2", "-auto-alt-ref",
                                                                           "0", "-threads", "1"});
}

// Two pictures in one packet, followed by the index of their sizes.
FfmpegPtr<AVPacket> PairOf(AVPacket const& first, AVPacket const& second)
{
    FfmpegPtr<AVPacket> pair(av_packet_alloc());
    av_new_packet(pair.get(), first.size + second.size + 6);
    std::memcpy(pair->data, first.data, static_cast<size_t>(first.size));
    std::memcpy(pair->data + first.size, second.data, static_cast<size_t>(second.size));
    uint8_t* const index = pair->data + first.size + second.size;
    index[0] = index[5] = 0xc9; // two sizes of two bytes
    index[1] = static_cast<uint8_t>(first.size);
    index[2] = static_cast<uint8_t>(first.size >> 8);
    index[3] = static_cast<uint8_t>(second.size);
    index[4] = static_cast<uint8_t>(second.size >> 8);
    pair->pts = first.pts;
    pair->dts = first.dts;
    return pair;
}

// Sends packets directly to the codec until it accepts no more; returns their number.
int Fill(Scene& scene)
{
    int sent = 0;
    while (sent < 100 && avcodec_send_packet(scene.video.context.get(), scene.video.Packet(sent * 1000).get()) >= 0)
        ++sent;
    return sent;
}

bool HasBytes(DecodedVideoFrame const& record, std::vector<uint8_t> const& bytes)
{
    return record.data && record.size == static_cast<int>(bytes.size()) &&
           std::memcmp(record.data, bytes.data(), bytes.size()) == 0;
}

} // namespace

// Initialisation

TEST(VideoDecoderTest, DoesNothingBeforeItIsInitialised)
{
    LogCapture log;
    VideoDecoder decoder;
    Pictures pictures;
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    bool gotFrame = true;
    bool endOfStream = false;
    EXPECT_LT(decoder.DecodeInternal(nullptr, gotFrame, endOfStream), 0);
    EXPECT_FALSE(gotFrame);
    EXPECT_FALSE(endOfStream);
    decoder.Shutdown();
    decoder.SetFrameRate(25.0);
    EXPECT_TRUE(pictures.isEmpty());
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VideoDecoderTest, RefusesNoContextAndStaysAsItWas)
{
    Scene scene;
    EXPECT_FALSE(scene.decoder.Initialize(nullptr, microseconds, 8, 8, 1.0f, 500, 50.0, 90, true, true));
    Pictures const pictures = scene.Decode({1000});
    ASSERT_EQ(pictures.size(), 1);
    EXPECT_EQ(pictures[0]->width, 16);
    EXPECT_EQ(pictures[0]->startTime, 1000);
    EXPECT_EQ(pictures[0]->frameRate, 25.0);
    EXPECT_EQ(pictures[0]->rotation, 0);
    EXPECT_FALSE(pictures[0]->isLinear);
}

TEST(VideoDecoderTest, RefusesImpossibleSizesAndDoesNothingThen)
{
    LogCapture log;
    RawVideo video(16, 8);
    for (auto const& [width, height] : std::vector<std::pair<int, int>>{
             {0, 8}, {16, 0}, {-16, 8}, {16, -8}, {40000, 40000}, {2147483647, 1}, {-2147483647, 1}}) {
        VideoDecoder decoder;
        EXPECT_FALSE(
            decoder.Initialize(video.context.get(), microseconds, width, height, 1.0f, 0, 25.0, 0, false, false))
            << width << " x " << height;
        Pictures pictures;
        decoder.DecodePacket(video.Packet(0).get(), pictures, -1);
        EXPECT_TRUE(pictures.isEmpty());
    }
    VideoDecoder decoder;
    EXPECT_FALSE(decoder.Initialize(video.context.get(), microseconds, 16, 8, 0.01f, 0, 25.0, 0, false, false));
    EXPECT_FALSE(decoder.Initialize(video.context.get(), microseconds, 16, 8, 1e30f, 0, 25.0, 0, false, false));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VideoDecoderTest, CanBeInitialisedAgainAfterShutdown)
{
    Scene scene;
    scene.Decode({0});
    scene.decoder.Shutdown();
    scene.decoder.Shutdown();
    EXPECT_TRUE(scene.Decode({40000}).isEmpty());
    RawVideo other(10, 4);
    EXPECT_TRUE(scene.decoder.Initialize(other.context.get(), microseconds, 10, 4, 1.0f, 0, 25.0, 270, false, false));
    Pictures pictures;
    scene.decoder.DecodePacket(other.Packet(80000).get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 1);
    EXPECT_EQ(pictures[0]->width, 10);
    EXPECT_EQ(pictures[0]->size, 32 * 4);
    EXPECT_EQ(pictures[0]->rotation, 270);
}

// Sizes and bytes

TEST(VideoDecoderTest, RoundsRowsUpToAMultipleOfFourBytes)
{
    for (auto const& [width, rowBytes] : std::vector<std::pair<int, int>>{
             {1, 4}, {2, 8}, {3, 12}, {4, 12}, {640, 1920}, {641, 1924}, {642, 1928}, {643, 1932}}) {
        RawVideo video(width, 3);
        VideoDecoder decoder;
        ASSERT_TRUE(decoder.Initialize(video.context.get(), microseconds, width, 3, 1.0f, 0, 25.0, 0, false, false));
        Pictures pictures;
        decoder.DecodePacket(video.Packet(0).get(), pictures, -1);
        ASSERT_EQ(pictures.size(), 1);
        EXPECT_EQ(pictures[0]->size, rowBytes * 3);
        EXPECT_EQ(pictures[0]->width, width);
        EXPECT_EQ(pictures[0]->height, 3);
    }
}

TEST(VideoDecoderTest, StretchesTheWidthByThePixelsAspectInSinglePrecision)
{
    auto const widthOf = [](int width, float aspectRatio, bool isImage) {
        RawVideo video(width, 4);
        VideoDecoder decoder;
        decoder.Initialize(video.context.get(), microseconds, width, 4, aspectRatio, 0, 25.0, 0, isImage, false);
        Pictures pictures;
        decoder.DecodePacket(video.Packet(0).get(), pictures, -1);
        return pictures.at(0)->width;
    };
    EXPECT_EQ(widthOf(640, 1.5f, false), 960);
    EXPECT_EQ(widthOf(640, 0.7f, false), 448);                            // 447.99999 in double precision
    EXPECT_EQ(widthOf(720, static_cast<float>(59.0 / 54.0), false), 786); // 786.67
    EXPECT_EQ(widthOf(1440, static_cast<float>(4.0 / 3.0), false), 1920);
    EXPECT_EQ(widthOf(640, 1.5f, true), 640);
}

TEST(VideoDecoderTest, DeliversThePlainConversionWithClearPadding)
{
    for (AVPixelFormat const format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_NV12,
          AV_PIX_FMT_RGB24, AV_PIX_FMT_GBRP, AV_PIX_FMT_GRAY8}) {
        for (int const width : {1, 7, 22, 64, 65, 642, 648, 854, 1080, 1366}) {
            for (float const aspectRatio : {1.0f, 1.5f}) {
                RawVideo video(width, 12, format);
                VideoDecoder decoder;
                ASSERT_TRUE(decoder.Initialize(video.context.get(), microseconds, width, 12, aspectRatio, 0, 25.0, 0,
                                               false, false));
                auto const packet = video.Packet(*NoisePicture(width, 12, format, 3), 0);
                Pictures pictures;
                decoder.DecodePacket(packet.get(), pictures, -1);
                ASSERT_EQ(pictures.size(), 1);

                RawVideo plain(width, 12, format);
                FfmpegPtr<AVFrame> const frame(av_frame_alloc());
                avcodec_send_packet(plain.context.get(), packet.get());
                ASSERT_GE(avcodec_receive_frame(plain.context.get(), frame.get()), 0);
                auto const outputWidth = static_cast<int>(static_cast<float>(width) * aspectRatio);
                EXPECT_TRUE(HasBytes(*pictures[0], ConvertPlainly(*frame, outputWidth)))
                    << width << " at " << aspectRatio << " of format " << format;
            }
        }
    }
}

TEST(VideoDecoderTest, FillsThePictureRecord)
{
    RawVideo video(16, 8);
    VideoDecoder decoder;
    ASSERT_TRUE(decoder.Initialize(video.context.get(), AVRational{1, 25}, 16, 8, 1.0f, 0, 12.5, 90, false, false));
    Pictures pictures;
    decoder.DecodePacket(video.Packet(3).get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 1);
    DecodedVideoFrame const& picture = *pictures[0];
    EXPECT_EQ(picture.startTime, 120000);
    EXPECT_EQ(picture.endTime, 0);
    EXPECT_EQ(picture.frameRate, 12.5);
    EXPECT_EQ(picture.rotation, 90);
    EXPECT_FALSE(picture.isLinear);
    EXPECT_EQ(picture.status, 0);
    EXPECT_TRUE(picture.text.isEmpty());
}

TEST(VideoDecoderTest, EncodesLinearLightForTheDisplay)
{
    RawVideo video(85, 2); // a row of 255 bytes and one byte of padding
    auto const ramp = NoisePicture(85, 2, AV_PIX_FMT_RGB24, 1);
    for (int i = 0; i < 255; ++i) {
        ramp->data[0][i] = static_cast<uint8_t>(i);
        ramp->data[0][ramp->linesize[0] + i] = static_cast<uint8_t>(i + 1);
    }
    VideoDecoder decoder;
    ASSERT_TRUE(decoder.Initialize(video.context.get(), microseconds, 85, 2, 1.0f, 0, 25.0, 0, false, true));
    Pictures pictures;
    decoder.DecodePacket(video.Packet(*ramp, 0).get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 1);
    EXPECT_TRUE(pictures[0]->isLinear);
    uint8_t const* const first = pictures[0]->data;
    uint8_t const* const second = first + 256;
    EXPECT_EQ(first[0], 0);
    EXPECT_EQ(first[1], 21);
    EXPECT_EQ(first[2], 28);
    EXPECT_EQ(first[3], 34);
    EXPECT_EQ(first[16], 72);
    EXPECT_EQ(first[64], 136);
    EXPECT_EQ(first[128], 186);
    EXPECT_EQ(first[200], 228);
    EXPECT_EQ(first[255], 0); // padding
    EXPECT_EQ(second[254], 255);
    EXPECT_TRUE(HasBytes(*pictures[0], EncodeGammaPlainly(ConvertPlainly(*ramp, 85))));
}

// Buffers are reused between records. Nothing that the host does to a record's data may disturb that.
TEST(VideoDecoderTest, LetsTheHostTakeAndReplaceTheData)
{
    RawVideo video(320, 240);
    auto const noise = NoisePicture(320, 240, AV_PIX_FMT_RGB24, 9);
    std::vector<uint8_t> const expected = ConvertPlainly(*noise, 320);
    auto decoder = std::make_unique<VideoDecoder>();
    decoder->Initialize(video.context.get(), microseconds, 320, 240, 1.0f, 0, 25.0, 0, false, false);
    auto const next = [&] {
        Pictures pictures;
        decoder->DecodePacket(video.Packet(*noise, 0).get(), pictures, -1);
        return pictures.at(0);
    };
    for (int round = 0; round < 12; ++round) {
        auto kept = next();
        auto emptied = next();
        auto replaced = next();
        auto resized = next();
        for (auto const& picture : {kept, emptied, replaced, resized})
            ASSERT_TRUE(HasBytes(*picture, expected));
        uint8_t* const taken = emptied->data;
        emptied->data = nullptr;
        emptied->size = 0;
        emptied.reset();
        uint8_t* const old = replaced->data;
        replaced->data = new uint8_t[7]();
        replaced->size = 7;
        replaced->width = 1;
        replaced.reset();
        resized->size = 12;
        resized->width = 2;
        resized->height = 2;
        resized.reset();
        EXPECT_TRUE(HasBytes(*next(), expected));
        EXPECT_EQ(std::memcmp(taken, expected.data(), expected.size()), 0);
        EXPECT_EQ(std::memcmp(old, expected.data(), expected.size()), 0);
        delete[] taken;
        delete[] old;
        EXPECT_TRUE(HasBytes(*kept, expected));
    }
    auto const survivor = next();
    decoder.reset();
    EXPECT_TRUE(HasBytes(*survivor, expected));
}

TEST(VideoDecoderTest, SwapsBuffersBetweenRecords)
{
    RawVideo video(320, 240);
    RawVideo small(300, 240);
    VideoDecoder decoder;
    VideoDecoder smallDecoder;
    decoder.Initialize(video.context.get(), microseconds, 320, 240, 1.0f, 0, 25.0, 0, false, false);
    smallDecoder.Initialize(small.context.get(), microseconds, 300, 240, 1.0f, 0, 25.0, 0, false, false);
    for (int round = 0; round < 6; ++round) {
        Pictures pictures;
        decoder.DecodePacket(video.Packet(0).get(), pictures, -1);
        smallDecoder.DecodePacket(small.Packet(0).get(), pictures, -1);
        ASSERT_EQ(pictures.size(), 2);
        std::swap(pictures[0]->data, pictures[1]->data);
        std::swap(pictures[0]->size, pictures[1]->size);
    }
}

// Times

TEST(VideoDecoderTest, CutsTimesTowardZeroInDouble)
{
    EXPECT_EQ(Scene({1, 90000}, 1400000).TimeOf(90000), -399999);
    EXPECT_EQ(Scene({1, 30}).TimeOf(1), 33333);
    EXPECT_EQ(Scene({1, 30}).TimeOf(-1), -33333);
    EXPECT_EQ(Scene({1, 1000}, 23000).TimeOf(23), 0);
    EXPECT_EQ(Scene({1001, 30000}, 0).TimeOf(2), 66733);
    EXPECT_EQ(Scene({1, 25}, 10000000).TimeOf(250), 0);
}

TEST(VideoDecoderTest, StepsByTheFrameDurationWithoutATime)
{
    EXPECT_EQ(StartsOf(Scene().Decode({1000000, noTime, noTime})), (std::vector<long long>{1000000, 1040000, 1080000}));
    EXPECT_EQ(StartsOf(Scene().Decode({noTime, noTime})), (std::vector<long long>{40000, 80000}));
}

// 33366.7 microseconds per picture: the fractions add up, and a time from the file starts again without one.
TEST(VideoDecoderTest, GathersFractionsBetweenTimes)
{
    EXPECT_EQ(StartsOf(Scene({1, 30}, 0, 29.97).Decode({30, noTime, noTime, noTime, 1, noTime})),
              (std::vector<long long>{1000000, 1033366, 1066733, 1100100, 33333, 66699}));
}

TEST(VideoDecoderTest, GoesOnFromTheLastTimeWhenInitialisedAgain)
{
    Scene scene;
    scene.Decode({1000000});
    scene.decoder.Shutdown();
    scene.decoder.Initialize(scene.video.context.get(), microseconds, 16, 8, 1.0f, 0, 25.0, 0, false, false);
    EXPECT_EQ(scene.TimeOf(noTime), 1040000);
}

// Rates

TEST(VideoDecoderTest, ReplacesARateOutOfRangeByTheDefault)
{
    auto const rateOf = [](double rate) {
        Scene scene(microseconds, 0, rate);
        return scene.Decode({0}).at(0)->frameRate;
    };
    EXPECT_EQ(rateOf(1000.0), 1000.0);
    EXPECT_EQ(rateOf(1000.001), 24.0);
    EXPECT_EQ(rateOf(90000.0), 24.0);
    EXPECT_EQ(rateOf(0.1), 0.1);
    EXPECT_EQ(rateOf(0.099), 24.0);
    EXPECT_EQ(rateOf(-1.0), 24.0);
    EXPECT_EQ(rateOf(59.94), 59.94);
}

TEST(VideoDecoderTest, KeepsARateOfZeroThatItWasGivenFirst)
{
    Scene scene(microseconds, 0, 0.0);
    Pictures const pictures = scene.Decode({500, noTime});
    EXPECT_EQ(pictures[0]->frameRate, 0.0);
    EXPECT_EQ(StartsOf(pictures), (std::vector<long long>{500, 500}));
    scene.decoder.SetFrameRate(50.0);
    EXPECT_EQ(scene.TimeOf(noTime), 20500);
    scene.decoder.SetFrameRate(0.0); // differs from the current rate
    EXPECT_EQ(scene.Decode({0}).at(0)->frameRate, 24.0);
}

// NaN is neither above nor below the range. Pictures without a time then have the time 0.
TEST(VideoDecoderTest, StoresARateThatIsNotANumber)
{
    Scene scene;
    scene.decoder.SetFrameRate(NAN);
    Pictures const pictures = scene.Decode({500, noTime, 700}, 600);
    ASSERT_EQ(StartsOf(pictures), (std::vector<long long>{500, 0, 700}));
    EXPECT_TRUE(std::isnan(pictures[0]->frameRate));
    scene.decoder.SetFrameRate(50.0);
    EXPECT_EQ(scene.Decode({0}).at(0)->frameRate, 50.0);
}

TEST(VideoDecoderTest, AppliesANewRateToTheNextPictures)
{
    Scene scene;
    scene.decoder.SetFrameRate(25.0);
    scene.decoder.SetFrameRate(10.0);
    Pictures pictures = scene.Decode({0, noTime});
    EXPECT_EQ(pictures[1]->frameRate, 10.0);
    EXPECT_EQ(pictures[1]->startTime, 100000);
    scene.decoder.SetFrameRate(Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE * 2);
    pictures = scene.Decode({0, noTime});
    EXPECT_EQ(pictures[1]->frameRate, 24.0);
    EXPECT_EQ(pictures[1]->startTime, 41666);
}

// The seek filter

TEST(VideoDecoderTest, KeepsTwoPicturesBeforeASeekTarget)
{
    EXPECT_EQ(StartsOf(Scene().Decode({9919999, 9920000, 9960000, 10000000}, 10000000)),
              (std::vector<long long>{9920000, 9960000, 10000000}));
}

TEST(VideoDecoderTest, TakesAnyTargetButANegativeOne)
{
    EXPECT_EQ(StartsOf(Scene().Decode({-80001, -80000, -1, 0}, 0)), (std::vector<long long>{-80000, -1, 0}));
    EXPECT_EQ(Scene().Decode({-9000000}, -1).size(), 1);
}

TEST(VideoDecoderTest, CountsADroppedPictureForTheTimesThatFollow)
{
    EXPECT_EQ(StartsOf(Scene().Decode({1000000, noTime, noTime}, 1150000)), (std::vector<long long>{1080000}));
}

// The coded size

TEST(VideoDecoderTest, MarksEveryPictureOfAnotherCodedSize)
{
    Scene scene;
    AVCodecContext* const context = scene.video.context.get();
    EXPECT_EQ(scene.Decode({0}).at(0)->status, 0);
    context->width = 20;
    context->height = 10;
    Pictures const marks = scene.Decode({40000, 80000});
    ASSERT_EQ(marks.size(), 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(marks[i]->status, 1);
        ASSERT_NE(marks[i]->data, nullptr);
        EXPECT_EQ(marks[i]->data[0], 0);
        EXPECT_EQ(marks[i]->size, 1);
        EXPECT_EQ(marks[i]->width, 20);
        EXPECT_EQ(marks[i]->height, 10);
        EXPECT_EQ(marks[i]->startTime, 40000 * (i + 1));
        EXPECT_EQ(marks[i]->endTime, 0);
        EXPECT_EQ(marks[i]->frameRate, 25.0);
    }
    context->width = 16;
    EXPECT_EQ(scene.Decode({120000}).at(0)->status, 1); // only the height differs
    context->height = 8;
    EXPECT_EQ(scene.Decode({160000}).at(0)->status, 0);
}

TEST(VideoDecoderTest, MarksTheCodedSizeWithoutTheAspectRatio)
{
    RawVideo video(16, 8);
    VideoDecoder decoder;
    decoder.Initialize(video.context.get(), microseconds, 16, 8, 2.0f, 0, 30.0, 90, false, true);
    video.context->width = 18;
    Pictures pictures;
    decoder.DecodePacket(video.Packet(0).get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 1);
    EXPECT_EQ(pictures[0]->width, 18);
    EXPECT_EQ(pictures[0]->height, 8);
    EXPECT_EQ(pictures[0]->frameRate, 30.0);
    EXPECT_EQ(pictures[0]->rotation, 90);
    EXPECT_TRUE(pictures[0]->isLinear);
}

TEST(VideoDecoderTest, DropsAPictureBeforeTheTargetBeforeItLooksAtItsSize)
{
    Scene scene;
    scene.video.context->width = 20;
    EXPECT_TRUE(scene.Decode({0}, 1000000).isEmpty());
    EXPECT_EQ(scene.Decode({1000000}, 1000000).size(), 1);
}

// Draining

TEST(VideoDecoderTest, EndsAnEmptyInputWithTheMark)
{
    LogCapture log;
    Scene scene;
    Pictures pictures;
    scene.decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 1);
    EXPECT_TRUE(IsEndMark(*pictures[0]));
    EXPECT_EQ(pictures[0]->frameRate, 0.0);
    EXPECT_EQ(pictures[0]->width, 0);
    EXPECT_EQ(pictures[0]->startTime, 0);
    EXPECT_EQ(pictures[0]->status, 0);
    scene.decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    EXPECT_EQ(pictures.size(), 2); // each further request adds one
    scene.decoder.DecodePacket(scene.video.Packet(0).get(), pictures, -1);
    EXPECT_EQ(pictures.size(), 2); // a packet after the end is ignored
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VideoDecoderTest, DeliversWhatTheDecoderHeldBackAndThenTheMark)
{
    ReferenceInput input(DelayedMovie(), AVMEDIA_TYPE_VIDEO);
    VideoDecoder decoder;
    decoder.Initialize(input.Codec(), AVRational{1, 1000}, 64, 48, 1.0f, 0, 25.0, 0, false, false);
    Pictures pictures;
    while (auto const packet = input.NextPacket()) {
        auto const before = pictures.size();
        decoder.DecodePacket(packet.get(), pictures, -1);
        EXPECT_LE(pictures.size(), before + 1);
    }
    EXPECT_LT(pictures.size(), 10);
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 11);
    EXPECT_TRUE(IsEndMark(*pictures.takeLast()));
    auto const starts = StartsOf(pictures);
    for (size_t i = 1; i < starts.size(); ++i)
        EXPECT_EQ(starts[i] - starts[i - 1], 40000);
}

// The second picture of a pair stays in the codec, which refuses the next pair until that picture is received.
TEST(VideoDecoderTest, LeavesTheSecondPictureOfAPacketInTheCodecUntilItRefusesTheNextPacket)
{
    LogCapture log;
    ReferenceInput input(Vp9Movie(), AVMEDIA_TYPE_VIDEO);
    VideoDecoder decoder;
    decoder.Initialize(input.Codec(), AVRational{1, 1000}, 64, 48, 1.0f, 0, 25.0, 0, false, false);
    Pictures pictures;
    for (int call = 1; call <= 5; ++call) {
        auto const first = input.NextPacket();
        auto const second = input.NextPacket();
        decoder.DecodePacket(PairOf(*first, *second).get(), pictures, -1);
        EXPECT_EQ(pictures.size(), std::max(2 * call - 2, 1)); // FFmpeg splits the first pair with a delay of one
    }
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 11);
    EXPECT_TRUE(IsEndMark(*pictures[10]));
    int number = 0;
    ReferenceInput(Vp9Movie(), AVMEDIA_TYPE_VIDEO).DecodeAll([&](AVFrame& frame) {
        EXPECT_TRUE(HasBytes(*pictures[number], ConvertPlainly(frame, 64))) << number;
        ++number;
    });
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VideoDecoderTest, DeliversNothingStaleAfterTheHostHasFlushedItsContext)
{
    ReferenceInput input(Vp9Movie(), AVMEDIA_TYPE_VIDEO);
    VideoDecoder decoder;
    decoder.Initialize(input.Codec(), AVRational{1, 1000}, 64, 48, 1.0f, 0, 25.0, 0, false, false);
    Pictures pictures;
    auto const first = input.NextPacket();
    auto const second = input.NextPacket();
    decoder.DecodePacket(PairOf(*first, *second).get(), pictures, -1);
    avcodec_flush_buffers(input.Codec());
    auto const keyFrame = input.NextPacket();
    ASSERT_NE(keyFrame->flags & AV_PKT_FLAG_KEY, 0);
    decoder.DecodePacket(keyFrame.get(), pictures, -1);
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 3);
    EXPECT_EQ(pictures[1]->startTime, keyFrame->pts * 1000);
    EXPECT_TRUE(IsEndMark(*pictures[2]));
}

// A picture dropped while draining ends the call; the others stay in the codec, and each further empty packet
// continues.
TEST(VideoDecoderTest, EndsADrainAtADroppedPicture)
{
    ReferenceInput input(DelayedMovie(), AVMEDIA_TYPE_VIDEO);
    VideoDecoder decoder;
    decoder.Initialize(input.Codec(), AVRational{1, 1000}, 64, 48, 1.0f, 0, 25.0, 0, false, false);
    Pictures pictures;
    long long packets = 0;
    for (; auto const packet = input.NextPacket(); ++packets)
        decoder.DecodePacket(packet.get(), pictures, -1);
    auto const heldBack = packets - pictures.size();
    ASSERT_GE(heldBack, 2);
    long long const lastTime = pictures.last()->startTime + heldBack * 40000;
    pictures.clear();
    long long const target = lastTime + 80000; // keeps only the last
    for (int call = 1; call < heldBack; ++call) {
        decoder.DecodePacket(EmptyPacket().get(), pictures, target);
        EXPECT_TRUE(pictures.isEmpty()) << call;
    }
    decoder.DecodePacket(EmptyPacket().get(), pictures, target);
    ASSERT_EQ(pictures.size(), 2);
    EXPECT_EQ(pictures[0]->startTime, lastTime);
    EXPECT_TRUE(IsEndMark(*pictures[1]));
}

TEST(VideoDecoderTest, DrainsOnePictureAtATimeWhenAskedTo)
{
    ReferenceInput input(DelayedMovie(), AVMEDIA_TYPE_VIDEO);
    VideoDecoder decoder;
    decoder.Initialize(input.Codec(), AVRational{1, 1000}, 64, 48, 1.0f, 0, 25.0, 0, false, false);
    decoder.SetStepwiseDrain(true);
    Pictures pictures;
    while (auto const packet = input.NextPacket())
        decoder.DecodePacket(packet.get(), pictures, -1);
    ASSERT_LE(pictures.size(), 8);
    for (int expected = static_cast<int>(pictures.size()) + 1; expected <= 10; ++expected) {
        decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
        ASSERT_EQ(pictures.size(), expected);
        EXPECT_EQ(pictures.last()->startTime - pictures[expected - 2]->startTime, 40000);
    }
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    ASSERT_EQ(pictures.size(), 11);
    EXPECT_TRUE(IsEndMark(*pictures.last()));
}

TEST(VideoDecoderTest, EndsADrainAtAMarkOfTheSize)
{
    ReferenceInput input(DelayedMovie(), AVMEDIA_TYPE_VIDEO);
    VideoDecoder decoder;
    decoder.Initialize(input.Codec(), AVRational{1, 1000}, 32, 48, 1.0f, 0, 25.0, 0, false, false);
    Pictures pictures;
    while (auto const packet = input.NextPacket())
        decoder.DecodePacket(packet.get(), pictures, -1);
    auto const before = pictures.size();
    ASSERT_LE(before, 8);
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    EXPECT_EQ(pictures.size(), before + 1);
    EXPECT_EQ(pictures.last()->status, 1);
    EXPECT_EQ(pictures.last()->width, 64);
}

// A context that was never opened returns errors forever.
TEST(VideoDecoderTest, DoesNotHangInADrainThatNeverEnds)
{
    LogCapture log;
    FfmpegPtr<AVCodecContext> const context(avcodec_alloc_context3(nullptr));
    VideoDecoder decoder;
    decoder.Initialize(context.get(), microseconds, 16, 8, 1.0f, 0, 25.0, 0, false, false);
    Pictures pictures;
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    EXPECT_TRUE(pictures.isEmpty());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{decodingError}));
}

// Images

TEST(VideoDecoderTest, DecodesAnImageInOneCallAndWithoutTheMark)
{
    for (int const threads : {1, 0, 4}) {
        auto const context = OpenedCodec(OddStillImage(), threads);
        VideoDecoder decoder;
        decoder.Initialize(context.get(), AVRational{1, 25}, 65, 48, 3.0f, 0, -1.0, 0, true, false);
        Pictures pictures;
        decoder.DecodePacket(FirstPacket(OddStillImage()).get(), pictures, -1);
        ASSERT_EQ(pictures.size(), 1) << threads;
        EXPECT_EQ(pictures[0]->width, 65);
        EXPECT_EQ(pictures[0]->frameRate, 24.0);
        ReferenceInput(OddStillImage(), AVMEDIA_TYPE_VIDEO).DecodeAll([&](AVFrame& frame) {
            EXPECT_TRUE(HasBytes(*pictures[0], ConvertPlainly(frame, 65)));
        });
    }
}

TEST(VideoDecoderTest, HasNothingMoreOfADrainedImage)
{
    LogCapture log;
    auto const context = OpenedCodec(OddStillImage(), 1);
    VideoDecoder decoder;
    decoder.Initialize(context.get(), AVRational{1, 25}, 65, 48, 1.0f, 0, 25.0, 0, true, false);
    Pictures pictures;
    decoder.DecodePacket(FirstPacket(OddStillImage()).get(), pictures, -1);
    decoder.DecodePacket(FirstPacket(OddStillImage()).get(), pictures, -1);
    decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    EXPECT_EQ(pictures.size(), 1);
    EXPECT_TRUE(log.Lines().empty());
    avcodec_flush_buffers(context.get());
    decoder.DecodePacket(FirstPacket(OddStillImage()).get(), pictures, -1);
    EXPECT_EQ(pictures.size(), 2);
}

TEST(VideoDecoderTest, ReportsADamagedImageOnce)
{
    LogCapture log;
    auto const context = OpenedCodec(OddStillImage(), 1);
    VideoDecoder decoder;
    decoder.Initialize(context.get(), AVRational{1, 25}, 65, 48, 1.0f, 0, 25.0, 0, true, false);
    auto const packet = FirstPacket(OddStillImage());
    std::memset(packet->data, 0x55, 60);
    Pictures pictures;
    decoder.DecodePacket(packet.get(), pictures, -1);
    EXPECT_TRUE(pictures.isEmpty());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{decodingError}));
}

// Failures

TEST(VideoDecoderTest, PassesOverNoPacket)
{
    LogCapture log;
    Scene scene;
    Pictures pictures;
    scene.decoder.DecodePacket(nullptr, pictures, -1);
    EXPECT_TRUE(pictures.isEmpty());
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VideoDecoderTest, ReportsAPacketThatIsRefusedAndGoesOn)
{
    LogCapture log;
    Scene scene;
    Pictures pictures;
    scene.decoder.DecodePacket(WrongVideoPacket().get(), pictures, -1);
    EXPECT_TRUE(pictures.isEmpty());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{decodingError}));
    EXPECT_EQ(scene.Decode({0}).size(), 1);
    EXPECT_TRUE(log.Lines().empty());
}

// A full codec answers EAGAIN: the decoder receives the waiting pictures, then sends the packet again.
TEST(VideoDecoderTest, DeliversWhatAFullCodecHoldsBeforeThePacketThatItRefusedAtFirst)
{
    LogCapture log;
    Scene scene;
    int const sent = Fill(scene);
    ASSERT_GE(sent, 2);
    ASSERT_LT(sent, 100);
    std::vector<long long> expected;
    for (int i = 0; i < sent; ++i)
        expected.push_back(i * 1000);
    expected.push_back(777000);
    EXPECT_EQ(StartsOf(scene.Decode({777000})), expected);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(scene.TimeOf(900000), 900000);
}

TEST(VideoDecoderTest, DrainsWhatAFullCodecHolds)
{
    Scene scene;
    int const sent = Fill(scene);
    Pictures pictures;
    scene.decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
    ASSERT_EQ(pictures.size(), sent + 1);
    EXPECT_EQ(pictures[sent - 1]->startTime, (sent - 1) * 1000);
    EXPECT_TRUE(IsEndMark(*pictures[sent]));
}

TEST(VideoDecoderTest, DropsPicturesBeforeASeekTargetOutOfAFullCodec)
{
    Scene scene;
    int const sent = Fill(scene);
    Pictures pictures;
    scene.decoder.DecodePacket(scene.video.Packet(777000).get(), pictures, 777000); // keeps pictures from 697000 on
    EXPECT_GE(sent, 2);
    EXPECT_EQ(StartsOf(pictures), (std::vector<long long>{777000}));
}

TEST(VideoDecoderTest, ReportsAPictureThatCannotBeDecodedAndGoesOn)
{
    QString const movie =
        MakeMedia("intra.mkv", Picture("64x48", 25, 0.4) + QStringList{"-c:v", "png", "-threads", "1"});
    for (int const threads : {1, 3}) {
        LogCapture log;
        ReferenceInput input(movie, AVMEDIA_TYPE_VIDEO);
        auto const context = OpenedCodec(movie, threads);
        VideoDecoder decoder;
        decoder.Initialize(context.get(), AVRational{1, 1000}, 64, 48, 1.0f, 0, 25.0, 0, false, false);
        Pictures pictures;
        for (int i = 0; auto const packet = input.NextPacket(); ++i) {
            if (i == 4)
                std::memset(packet->data, 0x55, 60);
            decoder.DecodePacket(packet.get(), pictures, -1);
        }
        decoder.DecodePacket(EmptyPacket().get(), pictures, -1);
        EXPECT_EQ(log.Lines(), (std::vector<LogLine>{decodingError}));
        ASSERT_EQ(pictures.size(), 10) << threads; // nine pictures and the end-of-stream record
        EXPECT_TRUE(IsEndMark(*pictures.takeLast()));
        EXPECT_EQ(StartsOf(pictures),
                  (std::vector<long long>{0, 40000, 80000, 120000, 200000, 240000, 280000, 320000, 360000}));
    }
}

// DecodeInternal

TEST(VideoDecoderTest, TellsAboutEachStep)
{
    Scene scene;
    bool gotFrame = true;
    bool endOfStream = false;
    EXPECT_EQ(scene.decoder.DecodeInternal(nullptr, gotFrame, endOfStream), 0); // no picture yet
    EXPECT_FALSE(gotFrame);
    EXPECT_EQ(scene.decoder.DecodeInternal(scene.video.Packet(0).get(), gotFrame, endOfStream), 0);
    EXPECT_TRUE(gotFrame);
    EXPECT_FALSE(endOfStream);
    EXPECT_EQ(scene.decoder.DecodeInternal(WrongVideoPacket().get(), gotFrame, endOfStream), AVERROR(EINVAL));
    EXPECT_FALSE(gotFrame);
    EXPECT_EQ(scene.decoder.DecodeInternal(EmptyPacket().get(), gotFrame, endOfStream), 0);
    EXPECT_FALSE(gotFrame);
    EXPECT_TRUE(endOfStream);
    EXPECT_EQ(scene.decoder.DecodeInternal(scene.video.Packet(0).get(), gotFrame, endOfStream), 0); // after the end
    EXPECT_FALSE(gotFrame);
    avcodec_flush_buffers(scene.video.context.get());
    EXPECT_EQ(scene.decoder.DecodeInternal(scene.video.Packet(0).get(), gotFrame, endOfStream), 0);
    EXPECT_TRUE(gotFrame);
    EXPECT_TRUE(endOfStream); // never cleared
}

TEST(VideoDecoderTest, ReceivesNothingWhereASingleStepFindsTheEnd)
{
    Scene scene;
    bool gotFrame = true;
    bool endOfStream = false;
    scene.decoder.DecodeInternal(EmptyPacket().get(), gotFrame, endOfStream);
    endOfStream = false;
    EXPECT_EQ(scene.decoder.DecodeInternal(EmptyPacket().get(), gotFrame, endOfStream), 0);
    EXPECT_FALSE(gotFrame);
    EXPECT_FALSE(endOfStream); // a send after the end returns before receiving
}
