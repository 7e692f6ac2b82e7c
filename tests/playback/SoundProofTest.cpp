#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

// The engine's sound output, at any speed and in both directions, consists of the samples of a plain decode of the
// whole file by the rules of the fill, recomputed here.

namespace {

constexpr int blockFrames = 700;
constexpr int fadesPerSecond = 200;

// The fill's speed rule, frame by frame: the source frame of each output frame.
class Follower
{
public:
    explicit Follower(double speed) : step(speed > 1.0 ? 1.0 - speed : speed < 1.0 ? 1.0 / speed - 1.0 : 0.0) {}

    // One call of the fill for `count` frames. Repeats cut off by a full block come in the next one.
    void Fill(std::vector<long long>& out, int count)
    {
        size_t const full = out.size() + static_cast<size_t>(count);
        while (out.size() < full) {
            long long const frame = next++;
            if (phase <= -1.0) {
                phase += 1.0;
                continue;
            }
            out.push_back(frame);
            phase += step;
            while (phase > 1.0 && out.size() < full) {
                out.push_back(frame);
                phase -= 1.0;
            }
        }
    }

private:
    double step;
    double phase = 0.0;
    long long next = 0;
};

// All but two: one phone's sound is a few packets seconds apart, another one's ends after a tenth of a second.
std::vector<std::string> AllSounds()
{
    std::vector<std::string> names = {"tone.wav",        "tone.flac",      "tone.mp3",      "tone.m4a",
                                      "tone.ogg",        "gop12.mp4",      "stream.ts",     "program.mpg",
                                      "matroska.mkv",    "cover.mp3",      "edit-list.mp4", "negative-start.ts",
                                      "short-video.mp4", "long-video.mp4", "late-video.mp4"};
    for (char const* name : {"wav-s24-mono.wav",
                             "wav-f32-5.1.wav",
                             "mka-dts-hd-7.1.mkv",
                             "mxf-pcm24-5.1.mxf",
                             "wav-s32-stereo.wav",
                             "wav-u8-mono.wav",
                             "mp3-cover-art-jpeg.mp3",
                             "asf-msmpeg4-avg-rate-0.wmv",
                             "camera-avchd-1080i-ac3-pgs.mts",
                             "flv-h264-avg-rate-1000.flv",
                             "h264-editlist-video-starts-at-1s.mp4",
                             "mkv-two-audio-subtitles-between.mkv",
                             "phone-portrait-rot90-h264.mov",
                             "phone-sideways-vfr-rot90.mov",
                             "phone-vfr10fps-rot180-h264.mp4",
                             "webm-vp9-opus-no-duration.webm",
                             "cut-in-packet.ts",
                             "ps-mpeg1-sar64x45-cut.mpg",
                             "ogg-theora-400x300-vorbis.ogv",
                             "ts-mpeg2-1080p-start1.5s.ts",
                             "camera-mjpeg-pcm16.avi",
                             "mp4-two-audio-ac3-5.1-aac-stereo.mp4"})
        names.push_back(std::string("real/") + name);
    return names;
}

class SoundProofTest : public testing::TestWithParam<std::string>
{
protected:
    void SetUp() override
    {
        AvGlobals::maxAudioOutputChannels = 8;
        QString const name = QString::fromStdString(GetParam());
        isReal = name.startsWith("real/");
        if (isReal && !Clips::HasReal())
            GTEST_SKIP() << "there is no ../shared/media beside the checkout";
        path = isReal ? Clips::Real(name.mid(5)) : Clips::Made(name);
        reference = Reference::DecodeSound(path);
        options.cacheBudget = 32 * 1024 * 1024; // of pictures, which are not the subject
    }

    void Open()
    {
        engine = std::make_unique<PlaybackEngine>(options, time);
        engine->Open(path);
        ASSERT_TRUE(engine->WaitUntilReady(patience));
        ASSERT_EQ(engine->GetStatus().sampleRate, reference.sampleRate);
        ASSERT_EQ(engine->GetStatus().channels, reference.channels);
    }

    void OpenAndGoInside()
    {
        Open();
        position = std::min(engine->GetStatus().soundEnd / 2, 700000LL);
        ASSERT_GT(position, 0);
    }

    // Without the pictures of real movies: decoding all of them takes far longer than the sound.
    void OpenToPlayAll()
    {
        options.withPictures = !isReal;
        Open();
    }

    // The first `blocks` blocks played from `position` on.
    std::vector<short> Play(double speed, int blocks)
    {
        engine->Seek(position);
        EXPECT_TRUE(engine->WaitUntilReady(patience));
        engine->SetSpeed(speed);
        std::vector<short> out;
        std::vector<short> block(static_cast<size_t>(blockFrames * reference.channels));
        for (int i = 0; i < blocks; ++i) {
            EXPECT_TRUE(engine->WaitUntilReady(patience));
            EXPECT_EQ(engine->FillAudio(block.data(), blockFrames), blockFrames);
            out.insert(out.end(), block.begin(), block.end());
            time->Advance(blockFrames * 1000000LL / reference.sampleRate);
        }
        return out;
    }

    // Each block consists of a few milliseconds prepared ahead, the rest, and the next few milliseconds.
    std::vector<long long> Frames(double speed, int blocks) const
    {
        int const ahead = reference.sampleRate / fadesPerSecond;
        Follower follower(std::fabs(speed));
        std::vector<long long> frames;
        follower.Fill(frames, blockFrames);
        follower.Fill(frames, ahead);
        for (int i = 1; i < blocks; ++i) {
            follower.Fill(frames, blockFrames - ahead);
            follower.Fill(frames, ahead);
        }
        frames.resize(static_cast<size_t>(blocks * blockFrames));
        return frames;
    }

    bool IsEqual(std::vector<short> const& out, size_t frame, long long referenceFrame) const
    {
        for (int channel = 0; channel < reference.channels; ++channel) {
            auto const index = static_cast<size_t>(referenceFrame * reference.channels + channel);
            size_t const at = frame * static_cast<size_t>(reference.channels) + static_cast<size_t>(channel);
            if (index >= reference.samples.size() || std::abs(out[at] - reference.samples[index]) > dither)
                return false;
        }
        return true;
    }

    // Whether all frames after the fade equal those of the decode.
    bool IsCopy(std::vector<short> const& out, long long first) const
    {
        auto const channels = static_cast<size_t>(reference.channels);
        size_t const fade = static_cast<size_t>(reference.sampleRate / fadesPerSecond) * channels;
        size_t const begin = static_cast<size_t>(first) * channels + fade;
        size_t const count = out.size() - fade;
        auto const& samples = reference.samples;
        return begin + count <= samples.size() && std::memcmp(&out[fade], &samples[begin], count * sizeof(short)) == 0;
    }

    // The number of frames after the fade that differ from the decode; stops counting above `most`.
    size_t CountOthers(std::vector<short> const& out, std::vector<long long> const& frames, long long first,
                       int direction, size_t most) const
    {
        size_t others = 0;
        for (auto i = static_cast<size_t>(reference.sampleRate / fadesPerSecond); i < frames.size(); ++i) {
            others += IsEqual(out, i, first + direction * frames[i]) ? 0 : 1;
            if (others > most)
                return others + frames.size() - i;
        }
        return others;
    }

    // Whether the output can begin at this frame: a sample of frames rules out most places quickly.
    bool IsLikely(std::vector<short> const& out, std::vector<long long> const& frames, long long first,
                  int direction) const
    {
        constexpr size_t looks = 64;
        size_t const step = frames.size() / looks + 1;
        size_t others = 0;
        for (auto i = static_cast<size_t>(reference.sampleRate / fadesPerSecond); i < frames.size(); i += step)
            others += IsEqual(out, i, first + direction * frames[i]) ? 0 : 1;
        return others <= (noise > 0.0 ? looks / 2 : 0);
    }

    // Searches the output's first frame in the decode near the expected time: times are rounded, and the reference does
    // not know the container time of its first sample.
    void ExpectRender(double speed, int blocks = 6)
    {
        auto const out = Play(speed, blocks);
        auto const frames = Frames(speed, blocks);
        auto const most = static_cast<size_t>(static_cast<double>(frames.size()) * noise);
        long long const about = position * reference.sampleRate / 1000000;
        long long const reach = 2 * reference.sampleRate;
        int const direction = speed > 0.0 ? 1 : -1;
        bool const isCopy = speed == 1.0 && most == 0 && dither == 0;
        size_t fewest = frames.size();
        for (long long distance = 0; distance < reach && fewest > most; ++distance) {
            for (long long first : {about + distance, about - distance}) {
                if (first < 0 || !(isCopy ? IsCopy(out, first) : IsLikely(out, frames, first, direction)))
                    continue;
                size_t const others = CountOthers(out, frames, first, direction, most);
                foundAt = others < fewest ? first : foundAt;
                fewest = std::min(fewest, others);
            }
        }
        EXPECT_LE(fewest, most) << "of " << frames.size() << " from frame " << foundAt << " on";
    }

    // Distance from both ends when playing the whole: two clips have gaps there, which the reference does not know.
    long long Margin() const { return std::min(engine->GetStatus().duration / 4, 200000LL); }

    // Some decoders give other samples for a packet after a seek: MP2 dithers, and AAC fills in noise.
    void ExpectNoMoreThanItsCodec()
    {
        QString const codec = Reference::SoundCodec(path);
        dither = codec == "mp2" ? 1 : 0;
        noise = codec == "aac" ? 0.1 : 0.0;
    }

    bool isReal = false;
    QString path;
    Reference::Sound reference;
    long long position = 0;
    long long foundAt = -1;
    int dither = 0;     // by which a sample may differ
    double noise = 0.0; // share of the frames that may differ
    PlaybackOptions options = Reference::PlainOptions();
    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    std::unique_ptr<PlaybackEngine> engine;
};

TEST_P(SoundProofTest, AtNormalSpeedEverySampleIsThatOfTheDecode)
{
    OpenAndGoInside();
    ExpectRender(1.0);
}

TEST_P(SoundProofTest, AtDoubleSpeedEverySecondFrameIsLeftOut)
{
    OpenAndGoInside();
    ExpectRender(2.0);
}

TEST_P(SoundProofTest, AtHalfSpeedEveryFrameComesTwice)
{
    OpenAndGoInside();
    ExpectRender(0.5);
}

TEST_P(SoundProofTest, BackwardsTheSamplesComeInReverse)
{
    OpenAndGoInside();
    ExpectRender(-1.0);
    long long const backwards = foundAt;
    Open();
    ExpectRender(1.0);
    auto const first = reference.samples.begin() + foundAt * reference.channels;
    bool const isSilent = std::all_of(first, first + 1000, [](short sample) { return sample == 0; });
    EXPECT_TRUE(isSilent || std::abs(backwards - (foundAt - 1)) <= 2) << backwards << ' ' << foundAt;
}

// Covers all borders of the decoded pieces.
TEST_P(SoundProofTest, BackwardsFromTheEndToTheBeginningNoSampleIsMissingOrRepeated)
{
    ExpectNoMoreThanItsCodec();
    OpenToPlayAll();
    long long const begin = engine->GetStatus().soundStart;
    long long const margin = Margin();
    engine->Seek(1000000000);
    ASSERT_TRUE(engine->WaitUntilReady(patience));
    position = engine->GetStatus().soundEnd + 1;
    long long const frames = (position - begin - 2 * margin) * reference.sampleRate / 1000000;
    ExpectRender(-1.0, static_cast<int>(frames / blockFrames));
}

TEST_P(SoundProofTest, FromTheBeginningToTheEndNoSampleIsMissingOrRepeated)
{
    OpenToPlayAll();
    long long const margin = Margin();
    position = std::max(engine->GetStatus().soundStart, 0LL) + margin;
    engine->Seek(1000000000);
    ASSERT_TRUE(engine->WaitUntilReady(patience));
    long long const end = engine->GetStatus().soundEnd;
    Open(); // reopens, so that nothing is decoded after a seek
    ExpectRender(1.0, static_cast<int>((end - position - margin) * reference.sampleRate / 1000000 / blockFrames));
}

std::string TestName(testing::TestParamInfo<std::string> const& info)
{
    return Clips::TestName(info.param);
}

INSTANTIATE_TEST_SUITE_P(Clips, SoundProofTest, testing::ValuesIn(AllSounds()), TestName);

} // namespace
