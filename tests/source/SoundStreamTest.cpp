#include "source/SoundStream.h"

#include "decode/DecodedAudioFrame.h"
#include "source/Source.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

// The drain has lost its time.
TEST(SoundStreamTest, SoundDrainedAtTheEndContinuesFromTheLastEnd)
{
    OutputChannels const channels(2);
    for (char const* name : {"tone.wma", "tone.mp3", "tone.m4a", "tone.ogg", "gop12.mp4"}) {
        auto const sound = Source::OpenFile(Clips::Made(name)).OpenSound();
        ASSERT_TRUE(sound) << name;
        std::shared_ptr<DecodedAudioFrame> frame;
        long long first = -1;
        long long last = -1;
        long long end = 0;
        while (sound->Read(frame) == ReadResult::Got) {
            EXPECT_GT(frame->startTime, last) << name;
            first = first < 0 ? frame->startTime : first;
            last = frame->startTime;
            end = frame->endTime;
        }
        QString const path = Clips::Made(name);
        Reference::Sound const& plain = Reference::DecodeSound(path);
        double const frames = static_cast<double>(plain.samples.size()) / plain.channels;
        constexpr double rounding = 1000.0; // the container's times are milliseconds at worst
        EXPECT_GE(static_cast<double>(end + 1 - first), frames / plain.sampleRate * 1e6 - rounding) << name;
        EXPECT_EQ(sound->GetEnd(), end + 1) << name;
    }
}

TEST(SoundStreamTest, FindsTheSoundOfATime)
{
    OutputChannels const channels(8);
    QString const path = MakeMedia("sound.ogg", Tone(44100, 2, 10.0) + QStringList{"-c:a", "libvorbis"});
    auto const sound = Source::OpenFile(path).OpenSound();
    ASSERT_TRUE(sound);
    for (long long const time : {7000000LL, 1000000LL, 1100000LL, 9900000LL}) {
        SoundStream::Frame frame;
        ASSERT_EQ(sound->ReadAt(time, frame), ReadResult::Got);
        EXPECT_LE(frame->startTime, time);
        EXPECT_GE(frame->endTime, time);
    }
}

// Of the first packet, 1105 samples of 1152 are the encoder's lead-in, and 312 of 960.
TEST(SoundStreamTest, ALeadInThatIsCutOffTheFirstPacketLeavesNoHole)
{
    OutputChannels const channels(2);
    struct Case
    {
        char const* name;
        char const* encoder;
        long long start;
        int frames;
    };
    for (Case const& expected : {Case{"lead-in.mp3", "libmp3lame", 23020, 47}, Case{"lead-in.opus", "libopus", 0, 648},
                                 Case{"lead-in.webm", "libopus", 0, 648}}) {
        SCOPED_TRACE(expected.name);
        QString const path = MakeMedia(expected.name, Tone(48000, 1, 2.0) + QStringList{"-c:a", expected.encoder});
        auto const sound = Source::OpenFile(path).OpenSound();
        ASSERT_TRUE(sound);
        SoundStream::Frame frame;
        std::vector<short> samples;
        while (sound->Read(frame) == ReadResult::Got) {
            if (samples.empty()) {
                EXPECT_NEAR(static_cast<double>(frame->startTime), static_cast<double>(expected.start), 1000.0);
                EXPECT_EQ(frame->frameCount, expected.frames);
            }
            samples.insert(samples.end(), frame->samples, frame->samples + frame->sampleCount);
        }
        EXPECT_EQ(samples.size(), 96000u);
        EXPECT_EQ(samples, Reference::DecodeSound(path).samples);
    }
}

// The packets of pictures are left out, and the sound is the same.
TEST(SoundStreamTest, ReadsThroughWithoutThePictures)
{
    OutputChannels const channels(8);
    Source const source = Source::OpenFile(MakeMedia(
        "sounding.mp4", Picture("64x48", 25, 5) + Tone(8000, 1, 5) + QStringList{"-c:v", "libx264", "-c:a", "aac"}));
    auto const whole = source.OpenSound();
    auto const through = source.OpenSound();
    through->ReadThrough();
    SoundStream::Frame expected;
    SoundStream::Frame frame;
    int count = 0;
    for (; whole->Read(expected) == ReadResult::Got; ++count) {
        ASSERT_EQ(through->Read(frame), ReadResult::Got);
        ASSERT_EQ(frame->startTime, expected->startTime);
        ASSERT_TRUE(std::equal(frame->samples, frame->samples + frame->sampleCount, expected->samples));
    }
    EXPECT_EQ(through->Read(frame), ReadResult::End);
    EXPECT_GE(count, 5 * 8000 / 1024); // AAC has 1024 samples a packet
}

TEST(SoundStreamTest, IsNullWithoutChannelsToPutOut)
{
    OutputChannels const channels(0);
    EXPECT_FALSE(Source::OpenFile(MakeMedia("silent.wav", Tone(8000, 1, 0.5))).OpenSound());
}
