#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <random>
#include <thread>

// Random commands from three threads, with a fixed seed. Meanwhile each status stays within its bounds, and each
// picture shown is the one that a plain decode of the whole file has at its time. After each round, without other
// commands, seeks, steps and playback in both directions show exactly the right pictures. The environment selects
// longer walks: TAVOLIN_WALK_ROUNDS, TAVOLIN_WALK_SEED.

namespace {

constexpr int orderingThreads = 3;
constexpr int ordersOfARound = 60;

int FromEnvironment(char const* name, int otherwise)
{
    char const* const value = std::getenv(name);
    return value ? std::atoi(value) : otherwise;
}

struct Clip
{
    std::string name;
    int largestPixels; // of one picture
};

// Of the real clips, those whose pictures do not depend on where decoding starts.
std::vector<Clip> AllClips()
{
    constexpr int small = 192 * 108;
    return {{"gop12.mp4", small},
            {"gop250.mp4", small},
            {"open-gop.mp4", small},
            {"open-gop-short-end.mp4", 98 * 64},
            {"stream.ts", small},
            {"program.mpg", small},
            {"matroska.mkv", small},
            {"vfr.mp4", small},
            {"long-stills.mp4", small},
            {"edit-list.mp4", small},
            {"ntsc.mp4", small},
            {"xvid.avi", small},
            {"raw.264", small},
            {"short-video.mp4", small},
            {"late-video.mp4", small},
            {"sequence", small},
            {"theora.mkv", small},
            {"theora.ogv", small},
            {"raw.mjpeg", small},
            {"all-key-hevc.mp4", small},
            {"all-key-mpeg4.mp4", small},
            {"sub-layers-hevc.mp4", small},
            {"mbaff.ts", small},
            {"real/ts-mpeg2-first-picture-negative.ts", 0},
            {"real/asf-two-video-streams-rate-0.asf", 0},
            {"real/camera-avchd-1080i-ac3-pgs.mts", 0},
            {"real/h264-raw-size-change-352x288-640x480.264", 640 * 480},
            {"real/ts-h264-first-picture-negative.ts", 0},
            {"real/phone-portrait-rot90-h264.mov", 0},
            {"real/mkv-two-audio-subtitles-between.mkv", 0}};
}

// One thread's commands.
class Walker
{
public:
    Walker(PlaybackEngine& newEngine, VirtualTime& newTime, long long newEnd, long long newPictureBytes, unsigned seed)
        : engine(newEngine), time(newTime), end(newEnd), pictureBytes(newPictureBytes), random(seed)
    {}

    void Order(bool takesSound)
    {
        switch (Pick(0, 15)) {
        case 0:
        case 1:
            engine.Seek(Pick(-200000, end + 200000));
            break;
        case 2:
            engine.SeekPreview(Pick(0, end));
            break;
        case 3:
            engine.Seek(Pick(0, 1) == 0 ? std::numeric_limits<long long>::min()
                                        : std::numeric_limits<long long>::max());
            break;
        case 4:
        case 5:
            engine.Step(static_cast<int>(Pick(-5, 5)));
            break;
        case 6:
            engine.SetSpeed(static_cast<double>(Pick(-32, 32)) / 2.0);
            break;
        case 7:
            engine.SetSpeed(Pick(0, 1) == 0 ? 1.0 : -1.0);
            break;
        case 8:
            engine.Pause();
            break;
        case 9:
            engine.SetLoop(Pick(0, end), Pick(0, end));
            break;
        case 10:
            engine.SetCacheBudget(Pick(0, 40) * pictureBytes + Pick(0, pictureBytes));
            break;
        case 11:
            engine.WaitUntilReady(static_cast<int>(Pick(0, 10)));
            break;
        default:
            time.Advance(Pick(0, 80000));
            std::this_thread::sleep_for(std::chrono::microseconds(Pick(0, 2000)));
        }
        if (takesSound)
            engine.FillAudio(block, 200, Pick(0, 20000));
    }

    long long Pick(long long least, long long most)
    {
        return std::uniform_int_distribution<long long>(least, most)(random);
    }

private:
    PlaybackEngine& engine;
    VirtualTime& time;
    long long const end;
    long long const pictureBytes;
    std::mt19937 random;
    short block[200 * 8] = {};
};

class RandomWalkTest : public testing::TestWithParam<Clip>
{
protected:
    void SetUp() override
    {
        AvGlobals::maxAudioOutputChannels = 2;
        QString const name = QString::fromStdString(GetParam().name);
        bool const isReal = name.startsWith("real/");
        if (isReal && !Clips::HasReal())
            GTEST_SKIP() << "there is no ../shared/media beside the checkout";
        QString const path = isReal               ? Clips::Real(name.mid(5))
                             : name == "sequence" ? Clips::MadeSequence()
                                                  : Clips::Made(name);
        pictures = Reference::DecodePictures(path);
        ASSERT_FALSE(pictures.empty());
        for (Reference::Picture const& picture : pictures)
            hashes[picture.time] = picture.hash;
        PlaybackOptions options = Reference::PlainOptions();
        options.sequenceRate = 25.0;
        engine = std::make_unique<PlaybackEngine>(options, time);
        engine->Open(path);
        ASSERT_TRUE(engine->WaitUntilReady(patience));
        auto const first = engine->GetPicture();
        ASSERT_TRUE(first);
        pictureBytes = std::max<long long>(first->size, 3LL * GetParam().largestPixels);
    }

    void LookAround()
    {
        PlaybackStatus const status = engine->GetStatus();
        EXPECT_GE(status.position, status.start);
        if (status.durationKnown) {
            EXPECT_LE(status.position, status.start + status.duration);
        }
        EXPECT_LE(status.cachedBytes, std::max(status.cacheBudget, 4 * pictureBytes));
        auto const picture = engine->GetPicture();
        ASSERT_TRUE(picture);
        auto const expected = hashes.find(picture->startTime);
        ASSERT_TRUE(expected != hashes.end()) << "no picture begins at " << picture->startTime;
        EXPECT_EQ(HashOf(*picture), expected->second) << "at " << picture->startTime;
    }

    void Walk(unsigned seed)
    {
        std::atomic<int> walking = orderingThreads;
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < orderingThreads; ++i) {
            threads.emplace_back([&, i] {
                Walker walker(*engine, *time, pictures.back().time, pictureBytes, seed * orderingThreads + i);
                for (int order = 0; order < ordersOfARound; ++order)
                    walker.Order(/*takesSound=*/i == 0);
                --walking;
            });
        }
        while (walking > 0 && !HasFatalFailure()) {
            LookAround();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    void ExpectShown(size_t index, char const* when)
    {
        ASSERT_TRUE(engine->WaitUntilReady(patience)) << when;
        auto const picture = engine->GetPicture();
        ASSERT_TRUE(picture);
        PlaybackStatus const status = engine->GetStatus();
        EXPECT_EQ(picture->startTime, pictures[index].time)
            << when << ", position " << status.position << ", drift " << status.drift;
        EXPECT_EQ(HashOf(*picture), pictures[index].hash) << when << " at " << pictures[index].time;
    }

    // From a random position: steps in both directions, and some pictures of playback in both directions.
    void ExpectTheVeryPictures(std::mt19937& random)
    {
        auto const last = static_cast<long long>(pictures.size()) - 1;
        auto const anyIndex = [&](long long least, long long most) {
            return std::clamp(std::uniform_int_distribution<long long>(least, most)(random), 0LL, last);
        };
        long long index = anyIndex(0, last);
        engine->Pause();
        engine->ClearLoop();
        engine->Seek(pictures[static_cast<size_t>(index)].time);
        ExpectShown(static_cast<size_t>(index), "after a seek");
        for (int i = 0; i < 2 && !HasFatalFailure(); ++i) {
            long long const next = anyIndex(index - 6, index + 6);
            engine->Step(static_cast<int>(next - index));
            index = next;
            ExpectShown(static_cast<size_t>(index), "after steps");
        }
        long long const goal = anyIndex(index - 8, index + 8);
        engine->SetSpeed(goal < index ? -1.0 : 1.0);
        while (index != goal && !HasFatalFailure()) {
            ASSERT_TRUE(engine->WaitUntilReady(patience));
            long long const next = goal < index ? index - 1 : index + 1;
            time->Advance(
                std::llabs(pictures[static_cast<size_t>(next)].time - pictures[static_cast<size_t>(index)].time));
            index = next;
            ExpectShown(static_cast<size_t>(index), "while playing");
        }
        engine->Pause();
    }

    static QByteArray HashOf(DecodedVideoFrame const& picture)
    {
        return Reference::HashOf(picture.data, picture.width, picture.height, (3 * picture.width + 3) / 4 * 4);
    }

    std::vector<Reference::Picture> pictures;
    std::map<long long, QByteArray> hashes; // by time
    long long pictureBytes = 0;
    std::shared_ptr<VirtualTime> time = std::make_shared<VirtualTime>();
    std::unique_ptr<PlaybackEngine> engine;
};

TEST_P(RandomWalkTest, ShowsTheRightPicturesAndKeepsItsBounds)
{
    int const rounds = FromEnvironment("TAVOLIN_WALK_ROUNDS", 3);
    auto const seed = static_cast<unsigned>(FromEnvironment("TAVOLIN_WALK_SEED", 1));
    std::mt19937 random(seed);
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        Walk(static_cast<unsigned>(random()));
        for (int i = 0; i < 3 && !HasFailure(); ++i)
            ExpectTheVeryPictures(random);
    }
}

std::string TestName(testing::TestParamInfo<Clip> const& info)
{
    return Clips::TestName(info.param.name);
}

INSTANTIATE_TEST_SUITE_P(Clips, RandomWalkTest, testing::ValuesIn(AllClips()), TestName);

} // namespace
