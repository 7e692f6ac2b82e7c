#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

// A movie with three streams of sound, of which one is played and another chosen.

namespace {

constexpr int soundRate = 48000;

using Samples = std::vector<short>;

QStringList Sine(int frequency, int channels)
{
    return {"-f", "lavfi", "-i",
            QString("sine=frequency=%1:duration=6:sample_rate=48000,aformat=channel_layouts=%2")
                .arg(frequency)
                .arg(channels == 1 ? "mono" : "stereo")};
}

// Times are exact in one container, tags in the other.
QString Movie(QString const& suffix = "mov")
{
    return MakeMedia("three-sounds." + suffix,
                     Picture("64x48", 25, 6) + Sine(300, 2) + Sine(700, 2) + Sine(1100, 1) +
                         QString("-map 0:v -map 1:a -map 2:a -map 3:a -c:v mpeg4 -c:a pcm_s16le "
                                 "-metadata:s:a:0 language=eng -metadata:s:a:1 language=ger "
                                 "-metadata:s:a:1 title=Kommentar")
                             .split(' '));
}

// All samples of one of its streams, as ffmpeg decodes it.
Samples DecodedSound(int stream)
{
    QString const name = QString("three-sounds-%1.wav").arg(stream);
    return Reference::DecodeSound(
               MakeMedia(name, {"-i", Movie(), "-map", QString("0:a:%1").arg(stream), "-c:a", "pcm_s16le"}))
        .samples;
}

class EngineSoundStreamTest : public testing::Test
{
protected:
    void SetUp() override { AvGlobals::maxAudioOutputChannels = 2; }

    void Open(int soundStream = -1)
    {
        PlaybackOptions options = Reference::PlainOptions();
        options.soundStream = soundStream;
        engine = std::make_unique<PlaybackEngine>(options, time);
        engine->Open(Movie());
        Wait();
    }

    void Wait() { ASSERT_TRUE(engine->WaitUntilReady(patience)); }

    PlaybackStatus Status() { return engine->GetStatus(); }

    Samples Block(int frames)
    {
        Samples block(static_cast<size_t>(frames * Status().channels), 7);
        EXPECT_EQ(engine->FillAudio(block.data(), frames), frames);
        time->Advance(frames * 1000000LL / soundRate);
        return block;
    }

    // Whether the block is what sounds from `position` on, apart from the frames that may be faded.
    static bool Sounds(Samples const& block, Samples const& stream, int channels, long long position, int faded)
    {
        auto const first = static_cast<long>(position * soundRate / 1000000 * channels);
        long const skipped = static_cast<long>(faded) * channels;
        return std::equal(block.begin() + skipped, block.end(), stream.begin() + first + skipped);
    }

    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    std::unique_ptr<PlaybackEngine> engine;
};

TEST_F(EngineSoundStreamTest, TellsTheStreams)
{
    Open();
    engine->Open(Movie("mkv"));
    Wait();
    PlaybackStatus const status = Status();
    ASSERT_EQ(status.soundStreams.size(), 3);
    EXPECT_EQ(status.soundStream, 0);
    EXPECT_EQ(status.soundStreams[1].index, 2);
    EXPECT_EQ(status.soundStreams[1].language, "ger");
    EXPECT_EQ(status.soundStreams[1].title, "Kommentar");
    EXPECT_EQ(status.soundStreams[1].codec, "pcm_s16le");
    EXPECT_EQ(status.soundStreams[1].channels, 2);
    EXPECT_EQ(status.soundStreams[2].channels, 1);
    EXPECT_EQ(status.soundStreams[2].sampleRate, soundRate);
    EXPECT_TRUE(status.soundStreams[2].isDecodable);
    EXPECT_FALSE(status.isSoundChanging);
}

TEST_F(EngineSoundStreamTest, PlaysTheStreamThatIsChosenAtThePositionOfTheFormer)
{
    Open();
    engine->Seek(1000000);
    engine->SetSpeed(1.0);
    Wait();
    EXPECT_TRUE(Sounds(Block(4800), DecodedSound(0), 2, 1000000, 240));
    engine->SetSoundStream(1);
    while (Status().isSoundChanging) // and not for what is decoded later
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(Status().soundStream, 1);
    EXPECT_EQ(Status().speed, 1.0);
    EXPECT_EQ(Status().position, 1100000);
    EXPECT_EQ(engine->GetPicture()->startTime, 1080000);
    Samples const block = Block(4800);
    EXPECT_TRUE(Sounds(block, DecodedSound(1), 2, 1100000, 480)); // the former fades out, this one in
    EXPECT_TRUE(Sounds(Block(4800), DecodedSound(1), 2, 1200000, 0));
}

// No sample differs from its neighbour by more than in the steeper tone, and what two fades of 240 frames add.
TEST_F(EngineSoundStreamTest, TheChangeDoesNotClick)
{
    Open();
    engine->Seek(1000000);
    engine->SetSpeed(1.0);
    Wait();
    Samples played = Block(4813);
    engine->SetSoundStream(1);
    Wait();
    Samples const after = Block(4800);
    played.insert(played.end(), after.begin(), after.end());
    int steepest = 0;
    for (size_t i = 482; i < played.size(); i += 2)
        steepest = std::max(steepest, std::abs(played[i] - played[i - 2]));
    int steepestOfTone = 0;
    int loudest = 0;
    Samples const tone = DecodedSound(1);
    for (size_t i = 2; i < tone.size(); i += 2) {
        steepestOfTone = std::max(steepestOfTone, std::abs(tone[i] - tone[i - 2]));
        loudest = std::max(loudest, std::abs(static_cast<int>(tone[i])));
    }
    EXPECT_LE(steepest, steepestOfTone + 2 * loudest / 240);
}

TEST_F(EngineSoundStreamTest, AnotherFormatIsTold)
{
    Open();
    EXPECT_EQ(Status().channels, 2);
    engine->SetSoundStream(2);
    Wait();
    EXPECT_EQ(Status().channels, 1);
    engine->SetSpeed(1.0);
    Wait();
    EXPECT_TRUE(Sounds(Block(4800), DecodedSound(2), 1, 0, 240));
}

TEST_F(EngineSoundStreamTest, IsChosenBeforeOpeningToo)
{
    Open(/*soundStream=*/2);
    EXPECT_EQ(Status().soundStream, 2);
    engine->SetSoundStream(0);
    engine->Open(Movie());
    Wait();
    EXPECT_EQ(Status().soundStream, 2); // of the options again
    engine->Open(Movie());
    engine->SetSoundStream(1); // while it is opened
    Wait();
    EXPECT_EQ(Status().soundStream, 1);
}

TEST_F(EngineSoundStreamTest, ANumberWithoutAStreamStandsForTheBest)
{
    Open(/*soundStream=*/7);
    EXPECT_EQ(Status().soundStream, 0);
    engine->SetSoundStream(1);
    Wait();
    engine->SetSoundStream(3);
    Wait();
    EXPECT_EQ(Status().soundStream, 0);
    engine->SetSoundStream(1);
    engine->SetSoundStream(2);
    engine->SetSoundStream(1);
    Wait();
    EXPECT_EQ(Status().soundStream, 1);
}

TEST_F(EngineSoundStreamTest, WithoutSoundThereIsNothingToChoose)
{
    Open();
    engine->SetSoundStream(1);
    engine->Open(Clips::MadeSequence());
    engine->SetSoundStream(1);
    Wait();
    EXPECT_EQ(Status().soundStream, -1);
    EXPECT_TRUE(Status().soundStreams.isEmpty());
    EXPECT_FALSE(Status().isSoundChanging);
    engine->Close();
    engine->SetSoundStream(1);
    Wait();
    EXPECT_FALSE(Status().isSoundChanging);
}

} // namespace
