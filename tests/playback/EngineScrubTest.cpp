#include "VirtualTime.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <algorithm>

// The pieces of sound that an engine gives for steps and drags, against a plain decode of the whole file.

namespace {

constexpr int rate = 48000;
constexpr int pieceFrames = 60 * rate / 1000;
constexpr int fadeFrames = 5 * rate / 1000;
constexpr long long step = 40000;

using Samples = std::vector<short>;

class EngineScrubTest : public testing::Test
{
protected:
    void SetUp() override
    {
        AvGlobals::maxAudioOutputChannels = 2;
        QString const path = MakeMedia("scrub.mov", Picture("64x48", 25, 6) + Tone(rate, 2, 6) +
                                                        QStringList{"-c:v", "mpeg4", "-g", "12", "-c:a", "pcm_s16le"});
        sound = Reference::DecodeSound(path);
        PlaybackOptions options = Reference::PlainOptions();
        options.scrubSound = true;
        engine = std::make_unique<PlaybackEngine>(options, time);
        engine->Open(path);
        Wait();
        ASSERT_EQ(engine->GetStatus().sampleRate, rate);
        ASSERT_EQ(engine->GetStatus().channels, 2);
    }

    void Wait() { ASSERT_TRUE(engine->WaitUntilReady(patience)); }

    void Step(int pictures)
    {
        engine->Step(pictures);
        Wait();
    }

    Samples Block(int frames)
    {
        Samples block(static_cast<size_t>(frames) * 2, 7);
        EXPECT_EQ(engine->FillAudio(block.data(), frames), frames);
        return block;
    }

    // What sounds in the 60 ms from `time` on, or back to it, faded.
    Samples Piece(long long time, bool forwards) const
    {
        Samples piece;
        for (int i = 0; i < pieceFrames; ++i) {
            int const fade = std::min({i, pieceFrames - 1 - i, fadeFrames});
            auto const frame = static_cast<size_t>(time * rate / 1000000 + (forwards ? i : pieceFrames - 1 - i));
            for (size_t channel = 0; channel < 2; ++channel)
                piece.push_back(static_cast<short>(sound.samples[2 * frame + channel] * fade / fadeFrames));
        }
        return piece;
    }

    static bool IsSilent(Samples const& samples)
    {
        return std::all_of(samples.begin(), samples.end(), [](short sample) { return sample == 0; });
    }

    Reference::Sound sound;
    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    std::unique_ptr<PlaybackEngine> engine;
};

TEST_F(EngineScrubTest, AStepOnSoundsFromItsPictureOn)
{
    Step(1);
    EXPECT_EQ(Block(pieceFrames), Piece(step, /*forwards=*/true));
    EXPECT_TRUE(IsSilent(Block(rate)));
    Step(1);
    EXPECT_EQ(Block(pieceFrames), Piece(2 * step, /*forwards=*/true));
    EXPECT_EQ(engine->GetStatus().position, 2 * step);
}

TEST_F(EngineScrubTest, AStepBackSoundsBackwardsToItsPicture)
{
    engine->Seek(5000000);
    Wait();
    for (long long number = 124; number > 40; --number) { // over several stretches of decoding
        Step(-1);
        ASSERT_EQ(Block(pieceFrames), Piece(number * step, /*forwards=*/false)) << number;
        ASSERT_TRUE(IsSilent(Block(fadeFrames)));
    }
}

TEST_F(EngineScrubTest, ADragSoundsWhereItGoesInItsDirection)
{
    for (long long const target : {3000000, 4210000, 1730000}) {
        bool const forwards = target > engine->GetStatus().position;
        engine->SeekPreview(target);
        Wait();
        ASSERT_EQ(Block(pieceFrames), Piece(target, forwards)) << target;
        ASSERT_TRUE(IsSilent(Block(fadeFrames)));
    }
    time->Advance(1000000); // the drag rests, and the exact picture is decoded
    Wait();
    EXPECT_TRUE(IsSilent(Block(rate)));
}

// Neither two pieces at the same time nor a jump of the samples.
TEST_F(EngineScrubTest, StepsFasterThanPiecesFadeOverIntoOneAnother)
{
    short last = 0;
    int steepest = 0;
    for (int i = 0; i < 20; ++i) {
        Step(i % 3 == 2 ? -1 : 1);
        for (short const sample : Block(20 * rate / 1000)) {
            steepest = std::max(steepest, std::abs(sample - last));
            last = sample;
        }
    }
    int steepestOfAll = 0;
    int loudest = 0;
    for (size_t i = 1; i < sound.samples.size(); ++i) {
        steepestOfAll = std::max(steepestOfAll, std::abs(sound.samples[i] - sound.samples[i - 1]));
        loudest = std::max(loudest, std::abs(static_cast<int>(sound.samples[i])));
    }
    EXPECT_LE(steepest, steepestOfAll + 2 * loudest / fadeFrames); // one fades out while another fades in
    EXPECT_GT(steepest, steepestOfAll / 4);                        // something was heard
}

TEST_F(EngineScrubTest, StaysSilentWhereNothingIsToBeHeard)
{
    engine->SetMuted(true);
    Step(1);
    EXPECT_TRUE(IsSilent(Block(rate)));
    engine->SetMuted(false);
    EXPECT_TRUE(IsSilent(Block(rate))); // the step is long ago
    engine->Step(-100);                 // beyond the first picture, which is the one before
    Wait();
    EXPECT_EQ(Block(pieceFrames), Piece(0, /*forwards=*/false));
    Step(-1); // nowhere
    EXPECT_TRUE(IsSilent(Block(rate)));
    engine->Seek(2000000); // neither a step nor a drag
    Wait();
    EXPECT_TRUE(IsSilent(Block(rate)));
    engine->SetScrubSound(false);
    Step(1);
    EXPECT_TRUE(IsSilent(Block(rate)));
}

TEST_F(EngineScrubTest, PlayAfterAPieceIsPlayAsEver)
{
    Step(1);
    Block(10 * rate / 1000);
    engine->SetSpeed(1.0);
    Wait();
    Samples const block = Block(rate / 10);
    auto const from = static_cast<size_t>(2 * (step * rate / 1000000));
    Samples const expected(sound.samples.begin() + static_cast<long>(from),
                           sound.samples.begin() + static_cast<long>(from + block.size()));
    size_t const faded = 2 * 2 * fadeFrames; // the piece out, play in
    EXPECT_TRUE(std::equal(block.begin() + faded, block.end(), expected.begin() + faded));
}

TEST(EngineScrubOffTest, IsOffUnlessAskedFor)
{
    EXPECT_FALSE(PlaybackOptions().scrubSound);
}

} // namespace
