#include "decode/AudioDecoder.h"

#include "media/FfmpegBridge.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr long long noLayout = 0; // leaves the resampler unusable, so that samples are converted one by one
constexpr long long monoLayout = 0x4;
constexpr long long stereoLayout = 0x3;

using Samples = std::vector<short>;

Samples SamplesOf(DecodedAudioFrame const& record)
{
    return Samples(record.samples, record.samples + record.sampleCapacity);
}

template <typename Value>
QByteArray BytesOf(std::vector<Value> const& values)
{
    return QByteArray(reinterpret_cast<char const*>(values.data()), static_cast<int>(values.size() * sizeof(Value)));
}

// A sound file, its codec, and the tested decoder that uses the codec.
class Sound
{
public:
    explicit Sound(QString const& path) : input(path, AVMEDIA_TYPE_AUDIO) {}

    Sound(int formatTag, int channels, int sampleRate, int bits, QByteArray const& data)
        : Sound(WriteMedia("samples.wav", WavBytes(formatTag, channels, sampleRate, bits, data)))
    {}

    // With the channel layout given.
    bool Initialize(long long channelLayout, int sampleFormat)
    {
        return decoder.Initialize(Codec(), TimeBase(), FfmpegBridge::ChannelCount(Codec()), channelLayout,
                                  Codec()->sample_rate, sampleFormat);
    }

    bool Initialize(long long channelLayout) { return Initialize(channelLayout, Codec()->sample_fmt); }

    Sounds Decode(AVPacket* packet)
    {
        Sounds sounds;
        decoder.DecodePacket(packet, sounds);
        return sounds;
    }

    Sounds DecodeNext() { return Decode(input.NextPacket().get()); }

    AVCodecContext* Codec() const { return input.Codec(); }
    AVRational TimeBase() const { return input.Format()->streams[input.StreamIndex()]->time_base; }

    ReferenceInput input;
    AudioDecoder decoder;
};

Samples ConvertOneByOne(int formatTag, int channels, int bits, QByteArray const& data)
{
    Sound sound(formatTag, channels, 8000, bits, data);
    sound.Initialize(noLayout);
    return SamplesOf(*sound.DecodeNext().at(0));
}

Samples ConvertFloats(std::vector<float> const& values)
{
    return ConvertOneByOne(3, 1, 32, BytesOf(values));
}

// A whole file converted by FFmpeg's resampler with these channel layouts.
Samples Resampled(QString const& path, uint64_t inputLayout, uint64_t outputLayout, int outputChannels)
{
    ReferenceInput input(path, AVMEDIA_TYPE_AUDIO);
    FfmpegPtr<SwrContext> const resampler(swr_alloc());
    FfmpegBridge::SetResamplerInputLayout(resampler.get(), inputLayout);
    FfmpegBridge::SetResamplerOutputLayout(resampler.get(), outputLayout);
    av_opt_set_int(resampler.get(), "in_sample_rate", input.Codec()->sample_rate, 0);
    av_opt_set_int(resampler.get(), "out_sample_rate", input.Codec()->sample_rate, 0);
    av_opt_set_sample_fmt(resampler.get(), "in_sample_fmt", input.Codec()->sample_fmt, 0);
    av_opt_set_sample_fmt(resampler.get(), "out_sample_fmt", AV_SAMPLE_FMT_S16, 0);
    EXPECT_GE(swr_init(resampler.get()), 0);
    Samples all;
    input.DecodeAll([&](AVFrame& frame) {
        Samples samples(static_cast<size_t>(frame.nb_samples * outputChannels));
        auto* target = reinterpret_cast<uint8_t*>(samples.data());
        swr_convert(resampler.get(), &target, frame.nb_samples, const_cast<uint8_t const**>(frame.extended_data),
                    frame.nb_samples);
        all.insert(all.end(), samples.begin(), samples.end());
    });
    return all;
}

Samples DecodedWhole(Sound& sound)
{
    Samples all;
    bool more = true;
    while (more) {
        auto const packet = sound.input.NextPacket();
        more = packet != nullptr;
        for (auto const& record : sound.Decode(more ? packet.get() : EmptyPacket().get())) {
            Samples const samples = SamplesOf(*record);
            all.insert(all.end(), samples.begin(), samples.end());
        }
    }
    return all;
}

// `packets` packets of a file joined to one.
FfmpegPtr<AVPacket> JoinedPackets(ReferenceInput& input, int packets)
{
    auto first = input.NextPacket();
    for (int i = 1; i < packets; ++i) {
        auto const next = input.NextPacket();
        int const size = first->size;
        av_grow_packet(first.get(), next->size);
        std::memcpy(first->data + size, next->data, static_cast<size_t>(next->size));
    }
    return first;
}

FfmpegPtr<AVPacket> WrongPacket()
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    av_new_packet(packet.get(), 16);
    packet->size = 0;
    return packet;
}

// Planar float, one frame of 1152 samples per packet.
QString Layer3(int rate, int channels)
{
    return MakeMedia("layer3.mka", Tone(rate, channels, 0.5) + QStringList{"-c:a", "libmp3lame", "-b:a", "64k"});
}

// Checks that the decoder logs nothing.
class AudioDecoderTest : public testing::Test
{
protected:
    ~AudioDecoderTest() override { EXPECT_TRUE(log.Lines().empty()); }

    LogCapture log;
    OutputChannels channels{8};
};

} // namespace

// Initialisation

TEST_F(AudioDecoderTest, DoesNothingBeforeItIsInitialised)
{
    AudioDecoder decoder;
    Sounds sounds;
    decoder.DecodePacket(EmptyPacket().get(), sounds);
    bool gotFrame = true;
    bool endOfStream = false;
    EXPECT_LT(decoder.DecodeInternal(nullptr, gotFrame, endOfStream), 0);
    EXPECT_FALSE(gotFrame);
    decoder.Shutdown();
    decoder.Shutdown();
    EXPECT_TRUE(sounds.isEmpty());
}

TEST_F(AudioDecoderTest, RefusesNoContextAndStaysAsItWas)
{
    Sound sound(1, 1, 8000, 16, BytesOf(Samples{1, 2, 3}));
    ASSERT_TRUE(sound.Initialize(monoLayout));
    EXPECT_FALSE(sound.decoder.Initialize(nullptr, AVRational{1, 1}, 2, stereoLayout, 44100, AV_SAMPLE_FMT_FLT));
    Sounds const sounds = sound.DecodeNext();
    ASSERT_EQ(sounds.size(), 1);
    EXPECT_EQ(SamplesOf(*sounds[0]), (Samples{1, 2, 3}));
    EXPECT_EQ(sounds[0]->sampleRate, 8000);
}

TEST_F(AudioDecoderTest, IsInitialisedEvenWithoutAResampler)
{
    Sound sound(1, 1, 8000, 16, BytesOf(Samples{1, 2, 3}));
    EXPECT_TRUE(sound.Initialize(noLayout));
    EXPECT_EQ(SamplesOf(*sound.DecodeNext().at(0)), (Samples{1, 2, 3}));
}

TEST_F(AudioDecoderTest, CanBeInitialisedAgainAfterShutdown)
{
    Sound sound(1, 1, 8000, 16, BytesOf(Samples{1, 2, 3}));
    sound.Initialize(monoLayout);
    sound.decoder.Shutdown();
    auto const packet = sound.input.NextPacket();
    EXPECT_TRUE(sound.Decode(packet.get()).isEmpty());
    ASSERT_TRUE(sound.Initialize(monoLayout));
    EXPECT_EQ(SamplesOf(*sound.Decode(packet.get()).at(0)), (Samples{1, 2, 3}));
}

// Records and times

TEST_F(AudioDecoderTest, FillsTheRecord)
{
    Sound sound(1, 2, 48000, 16, QByteArray(1024 * 4, 3));
    sound.Initialize(stereoLayout);
    Sounds const sounds = sound.DecodeNext();
    ASSERT_EQ(sounds.size(), 1);
    DecodedAudioFrame const& record = *sounds[0];
    EXPECT_EQ(record.frameCount, 1024);
    EXPECT_EQ(record.sampleCount, 2048);
    EXPECT_EQ(record.sampleCapacity, 2048);
    EXPECT_EQ(record.sampleRate, 48000);
    EXPECT_EQ(record.startTime, 0);
    EXPECT_EQ(record.endTime, 21332); // 21333.33 - 1, truncated
    EXPECT_EQ(record.tag, -1);
}

TEST_F(AudioDecoderTest, StartsAtThePacketsTimeInTheContainer)
{
    Sound sound(1, 1, 44100, 16, QByteArray(441 * 2, 0));
    sound.Initialize(monoLayout);
    auto const packet = sound.input.NextPacket();
    ASSERT_EQ(av_cmp_q(sound.TimeBase(), {1, 44100}), 0);
    packet->pts = 1024;
    auto record = sound.Decode(packet.get()).at(0);
    EXPECT_EQ(record->startTime, 23219); // 23219.95
    EXPECT_EQ(record->endTime, 33218);   // 23219 + 10000 - 1
    packet->pts = -1024;
    EXPECT_EQ(sound.Decode(packet.get()).at(0)->startTime, -23219);
}

TEST_F(AudioDecoderTest, StartsAtZeroWithoutATime)
{
    Sound sound(1, 1, 8000, 16, QByteArray(1600, 0));
    sound.Initialize(monoLayout);
    auto const packet = sound.input.NextPacket();
    packet->pts = AV_NOPTS_VALUE;
    packet->dts = 8000;
    EXPECT_EQ(sound.Decode(packet.get()).at(0)->startTime, 0);
}

// The step between the frames of one packet is the first plane's bytes divided by the bytes of one second of 16-bit
// sound, for mono float twice the frame's duration.
TEST_F(AudioDecoderTest, StepsFramesOfOnePacketByTheirBytes)
{
    Sound sound(Layer3(48000, 1));
    ASSERT_EQ(sound.Codec()->sample_fmt, AV_SAMPLE_FMT_FLTP);
    sound.Initialize(monoLayout);
    sound.DecodeNext(); // the first packets are trimmed
    sound.DecodeNext();
    auto const packet = JoinedPackets(sound.input, 3);
    packet->pts = av_rescale_q(1, {1, 1}, sound.TimeBase());
    Sounds const sounds = sound.Decode(packet.get());
    ASSERT_EQ(sounds.size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(sounds[i]->frameCount, 1152);
        EXPECT_EQ(sounds[i]->startTime, 1000000 + i * 48000);
        EXPECT_EQ(sounds[i]->endTime, 1000000 + i * 48000 + 24000 - 1);
    }
}

// A step of 21333.33 microseconds: fractions add up.
TEST_F(AudioDecoderTest, GathersFractionsBetweenFramesOfOnePacket)
{
    Sound sound(Layer3(44100, 2));
    sound.Initialize(stereoLayout);
    sound.DecodeNext(); // the first packets are trimmed
    sound.DecodeNext();
    auto const packet = JoinedPackets(sound.input, 4);
    packet->pts = 0;
    Sounds const sounds = sound.Decode(packet.get());
    ASSERT_EQ(sounds.size(), 4);
    EXPECT_EQ(sounds[1]->startTime, 26122); // 4608 / (2 x 44100 x 2) s = 26122.449 us
    EXPECT_EQ(sounds[2]->startTime, 52244);
    EXPECT_EQ(sounds[3]->startTime, 78367);
    EXPECT_EQ(sounds[3]->endTime, 78367 + 26121);
}

// The draining packet has no time.
TEST_F(AudioDecoderTest, StampsDrainedFramesFromZero)
{
    Sound sound(Layer3(48000, 1));
    sound.Initialize(monoLayout);
    sound.DecodeNext();
    sound.DecodeNext();
    avcodec_send_packet(sound.Codec(), sound.input.NextPacket().get()); // stays in the codec
    Sounds const sounds = sound.Decode(EmptyPacket().get());
    ASSERT_EQ(sounds.size(), 1);
    EXPECT_EQ(sounds[0]->startTime, 0);
    EXPECT_EQ(sounds[0]->endTime, 23999);
    EXPECT_TRUE(sound.Decode(EmptyPacket().get()).isEmpty());
    EXPECT_TRUE(sound.DecodeNext().isEmpty()); // after the end
}

TEST_F(AudioDecoderTest, DrainsAFullCodec)
{
    Sound sound(Layer3(48000, 1));
    sound.Initialize(monoLayout);
    int sent = 0;
    while (sent < 20 && avcodec_send_packet(sound.Codec(), sound.input.NextPacket().get()) >= 0)
        ++sent;
    ASSERT_LT(sent, 20);
    EXPECT_GE(sound.Decode(EmptyPacket().get()).size(), 1);
}

TEST_F(AudioDecoderTest, DoesNotHangInADrainThatNeverEnds)
{
    FfmpegPtr<AVCodecContext> const context(avcodec_alloc_context3(nullptr));
    AudioDecoder decoder;
    decoder.Initialize(context.get(), AVRational{1, 8000}, 1, monoLayout, 8000, AV_SAMPLE_FMT_S16);
    Sounds sounds;
    decoder.DecodePacket(EmptyPacket().get(), sounds);
    EXPECT_TRUE(sounds.isEmpty());
}

// Failures

TEST_F(AudioDecoderTest, PassesOverPacketsThatAreRefused)
{
    Sound sound(1, 1, 8000, 16, BytesOf(Samples{1, 2, 3}));
    sound.Initialize(monoLayout);
    EXPECT_TRUE(sound.Decode(nullptr).isEmpty());
    EXPECT_TRUE(sound.Decode(WrongPacket().get()).isEmpty());
    EXPECT_EQ(sound.DecodeNext().size(), 1);
}

TEST_F(AudioDecoderTest, LosesAPacketThatAFullDecoderDoesNotTake)
{
    Sound sound(Layer3(48000, 1));
    sound.Initialize(monoLayout);
    int sent = 0;
    while (sent < 20 && avcodec_send_packet(sound.Codec(), sound.input.NextPacket().get()) >= 0)
        ++sent;
    ASSERT_GE(sent, 1);
    ASSERT_LT(sent, 20);
    EXPECT_TRUE(sound.DecodeNext().isEmpty());
}

// The resampler

TEST_F(AudioDecoderTest, KeepsSixteenBitSamplesAsTheyAre)
{
    Samples const samples = {0, 1, -1, 32767, -32768, 256, 12345, -12345};
    Sound sound(1, 2, 8000, 16, BytesOf(samples));
    sound.Initialize(stereoLayout);
    EXPECT_EQ(SamplesOf(*sound.DecodeNext().at(0)), samples);
}

TEST_F(AudioDecoderTest, ConvertsFormatsAsTheResamplerDoes)
{
    for (QStringList const& codec : {QStringList{"-c:a", "pcm_u8"}, QStringList{"-c:a", "pcm_s32le"},
                                     QStringList{"-c:a", "pcm_f32le"}, QStringList{"-c:a", "pcm_f64le"}}) {
        QString const path = MakeMedia("stereo.wav", Tone(8000, 2, 0.3) + codec);
        Sound sound(path);
        sound.Initialize(stereoLayout);
        EXPECT_EQ(DecodedWhole(sound), Resampled(path, stereoLayout, stereoLayout, 2)) << codec[1].toStdString();
    }
}

TEST_F(AudioDecoderTest, MixesDownToTheDefaultLayoutOfTheBound)
{
    OutputChannels const two(2);
    QString const path = MakeMedia("six.wav", Tone(8000, 6, 0.3) + QStringList{"-c:a", "pcm_s16le"});
    Sound sound(path);
    sound.Initialize(0x3f);
    Sounds const sounds = sound.DecodeNext();
    ASSERT_EQ(sounds.size(), 1);
    EXPECT_EQ(sounds[0]->sampleCount, 2 * sounds[0]->frameCount);
    EXPECT_EQ(sounds[0]->sampleCapacity, 2 * sounds[0]->frameCount);
    Samples const expected = Resampled(path, 0x3f, stereoLayout, 2);
    Samples const samples = SamplesOf(*sounds[0]);
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), expected.begin()));
    EXPECT_NE(samples, Samples(samples.size(), 0));
}

TEST_F(AudioDecoderTest, KeepsTheLayoutWhereTheBoundAllowsIt)
{
    OutputChannels const six(6);
    QString const path = MakeMedia("six.wav", Tone(8000, 6, 0.3) + QStringList{"-c:a", "pcm_s16le"});
    Sound sound(path);
    sound.Initialize(0x3f);
    EXPECT_EQ(DecodedWhole(sound), Resampled(path, 0x3f, 0x3f, 6));
}

TEST_F(AudioDecoderTest, HasNoSampleWhereNoChannelIsAllowed)
{
    OutputChannels const none(0);
    Sound sound(1, 2, 48000, 16, QByteArray(1024 * 4, 3));
    sound.Initialize(stereoLayout);
    Sounds const sounds = sound.DecodeNext();
    ASSERT_EQ(sounds.size(), 1);
    EXPECT_NE(sounds[0]->samples, nullptr);
    EXPECT_EQ(sounds[0]->sampleCount, 0);
    EXPECT_EQ(sounds[0]->sampleCapacity, 0);
    EXPECT_EQ(sounds[0]->frameCount, 1024);
    EXPECT_EQ(sounds[0]->endTime, 21332);
}

TEST_F(AudioDecoderTest, FollowsAFormatThatIsNotTheOneAnnounced)
{
    Samples const samples = {0, 1, -1, 32767, -32768, 256};
    for (AVSampleFormat const announced : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_NONE}) {
        Sound sound(1, 2, 8000, 16, BytesOf(samples));
        sound.Initialize(stereoLayout, announced);
        EXPECT_EQ(SamplesOf(*sound.DecodeNext().at(0)), samples) << announced;
    }
}

// A layout with more channels than the records keeps the resampler unusable, whatever the frames hold later.
TEST_F(AudioDecoderTest, WritesNoMoreChannelsThanTheRecordHoldsWhenTheFormatChanges)
{
    std::vector<float> stereo;
    Samples left;
    for (int i = 0; i < 2000; ++i) {
        stereo.insert(stereo.end(), {static_cast<float>(i) / 32767.0f + 0.00001f, -0.5f});
        left.push_back(static_cast<short>(i));
    }
    for (AVSampleFormat const announced : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLT}) {
        Sound sound(3, 2, 8000, 32, BytesOf(stereo));
        ASSERT_EQ(sound.Codec()->sample_fmt, AV_SAMPLE_FMT_FLT);
        sound.decoder.Initialize(sound.Codec(), sound.TimeBase(), 1, stereoLayout, 8000, announced);
        EXPECT_EQ(DecodedWhole(sound), left) << announced;
    }
}

TEST_F(AudioDecoderTest, ReadsNoMoreChannelsThanTheFrameHasWhenTheFormatChanges)
{
    QString const packed = MakeMedia("mono.wav", Tone(8000, 1, 0.3) + QStringList{"-c:a", "pcm_f32le"});
    for (QString const& path : {packed, Layer3(48000, 1)}) {
        for (AVSampleFormat const announced : {AV_SAMPLE_FMT_NONE, AV_SAMPLE_FMT_S16}) {
            Sound sound(path);
            sound.decoder.Initialize(sound.Codec(), sound.TimeBase(), 2, stereoLayout, sound.Codec()->sample_rate,
                                     announced);
            EXPECT_EQ(DecodedWhole(sound), Resampled(path, monoLayout, stereoLayout, 2)) << announced;
            Sound oneByOne(path);
            oneByOne.Initialize(noLayout);
            Sound narrow(path);
            narrow.decoder.Initialize(narrow.Codec(), narrow.TimeBase(), 1, stereoLayout, narrow.Codec()->sample_rate,
                                      announced);
            EXPECT_EQ(DecodedWhole(narrow), DecodedWhole(oneByOne)) << announced;
        }
    }
}

// Conversion without a resampler

TEST_F(AudioDecoderTest, ConvertsUnsignedBytes)
{
    EXPECT_EQ(ConvertOneByOne(1, 1, 8, QByteArray("\x80\x00\xff\x81\x7f\x01", 6)),
              (Samples{0, -32768, 32512, 256, -256, -32512}));
}

TEST_F(AudioDecoderTest, CopiesSixteenBitSamples)
{
    EXPECT_EQ(ConvertOneByOne(1, 1, 16, BytesOf(Samples{0, -1, 32767, -32768})), (Samples{0, -1, 32767, -32768}));
}

TEST_F(AudioDecoderTest, ScalesFloatsAndCutsTowardZero)
{
    EXPECT_EQ(ConvertFloats({1.0f, -1.0f, 0.5f, -0.5f, 0.0f, 0.00003f, -0.00003f, 0.25f}),
              (Samples{32767, -32767, 16383, -16383, 0, 0, 0, 8191}));
}

TEST_F(AudioDecoderTest, WrapsFloatsBeyondTheRange)
{
    EXPECT_EQ(ConvertFloats({1.5f, -1.5f, 2.0f, -2.0f, 3.0f, 4.0f}), (Samples{-16386, 16386, -2, 2, 32765, -4}));
}

TEST_F(AudioDecoderTest, SilencesWhatIsNoNumber)
{
    float const infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(ConvertFloats({std::numeric_limits<float>::quiet_NaN(), infinity, -infinity, 1e38f, 1.0f}),
              (Samples{0, 0, 0, 0, 32767}));
}

// Every four-byte format is read as float.
TEST_F(AudioDecoderTest, ReadsIntegersOfFourBytesAsFloats)
{
    EXPECT_EQ(ConvertOneByOne(1, 1, 32, BytesOf(std::vector<int32_t>{0x3f800000, 0x3f000000, 1000})),
              (Samples{32767, 16383, 0}));
}

TEST_F(AudioDecoderTest, IsSilentForOtherSampleSizes)
{
    EXPECT_EQ(ConvertOneByOne(3, 1, 64, BytesOf(std::vector<double>{1.0, 0.5})), (Samples{0, 0}));
}

TEST_F(AudioDecoderTest, DropsPackedChannelsBeyondTheBound)
{
    OutputChannels const two(2);
    EXPECT_EQ(ConvertOneByOne(1, 3, 16, BytesOf(Samples{1, 2, 3, 4, 5, 6})), (Samples{1, 2, 4, 5}));
}

// Eleven planes, three more than AVFrame::data holds.
TEST_F(AudioDecoderTest, InterleavesMorePlanesThanEight)
{
    Samples values;
    for (int i = 0; i < 11 * 800; ++i)
        values.push_back(static_cast<short>(i % 11 * 1000 + i / 11));
    QString const packed = WriteMedia("eleven.wav", WavBytes(1, 11, 8000, 16, BytesOf(values)));
    QString const planar = MakeMedia("eleven.mka", {"-i", packed, "-c:a", "wavpack", "-sample_fmt", "s16p"});
    {
        OutputChannels const eleven(11);
        Sound sound(planar);
        ASSERT_EQ(sound.Codec()->sample_fmt, AV_SAMPLE_FMT_S16P);
        ASSERT_EQ(FfmpegBridge::ChannelCount(sound.Codec()), 11);
        sound.Initialize(noLayout);
        EXPECT_EQ(DecodedWhole(sound), values);
    }
    {
        OutputChannels const ten(10);
        Samples ofTen;
        for (size_t i = 0; i < values.size(); ++i) {
            if (i % 11 < 10)
                ofTen.push_back(values[i]);
        }
        Sound sound(planar);
        sound.Initialize(noLayout);
        EXPECT_EQ(DecodedWhole(sound), ofTen);
    }
}

TEST_F(AudioDecoderTest, ConvertsOneByOneWhereTheBoundHasNoLayout)
{
    OutputChannels const nine(9);
    Samples values;
    for (int i = 0; i < 16 * 100; ++i)
        values.push_back(static_cast<short>(i));
    Sound sound(1, 16, 8000, 16, BytesOf(values));
    sound.Initialize(static_cast<long long>(FfmpegBridge::DefaultChannelLayout(16)));
    Samples expected;
    for (short const value : values) {
        if (value % 16 < 9)
            expected.push_back(value);
    }
    EXPECT_EQ(SamplesOf(*sound.DecodeNext().at(0)), expected);
}

// DecodeInternal

TEST_F(AudioDecoderTest, TellsAboutEachStep)
{
    Sound sound(1, 1, 8000, 16, QByteArray(1600, 0));
    sound.Initialize(monoLayout);
    bool gotFrame = true;
    bool endOfStream = false;
    EXPECT_EQ(sound.decoder.DecodeInternal(nullptr, gotFrame, endOfStream), 0); // no frame yet
    EXPECT_FALSE(gotFrame);
    EXPECT_EQ(sound.decoder.DecodeInternal(sound.input.NextPacket().get(), gotFrame, endOfStream), 0);
    EXPECT_TRUE(gotFrame);
    EXPECT_FALSE(endOfStream);
    EXPECT_EQ(sound.decoder.DecodeInternal(WrongPacket().get(), gotFrame, endOfStream), AVERROR(EINVAL));
    EXPECT_FALSE(gotFrame);
    EXPECT_EQ(sound.decoder.DecodeInternal(EmptyPacket().get(), gotFrame, endOfStream), 0);
    EXPECT_TRUE(endOfStream);
    avcodec_flush_buffers(sound.Codec());
    EXPECT_EQ(sound.decoder.DecodeInternal(nullptr, gotFrame, endOfStream), 0);
    EXPECT_TRUE(endOfStream); // never cleared
}
