#include "tests/faults/FaultyMemory.h"
#include "tests/faults/EngineRun.h"
#include "tests/faults/ForkedRun.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"

#include "cache/DecodedAudio.h"
#include "cache/DecodedVideo.h"
#include "common/Logger.h"
#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

extern "C" {
#include <libavutil/log.h>
}

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <new>

// Each allocation of a probe, a decode, a seek and a growing cache fails once, and every second, third... of them. The
// call then throws std::bad_alloc or reports the failure by its result or the log: nothing crashes, hangs or leaks, and
// afterwards everything works as before.

namespace {

using FaultyMemory::Of;

constexpr int mostCalls = 2000;

// Counts logged lines without allocating.
class LineCount
{
public:
    LineCount()
    {
        av_log_set_level(AV_LOG_QUIET);
        Logger::GetInstance().SetSink([this](Logger::Level, QString const&, int) { ++lines; });
    }
    ~LineCount() { Logger::GetInstance().SetSink(nullptr); }
    LineCount(LineCount const&) = delete;
    LineCount& operator=(LineCount const&) = delete;

    int lines = 0;
};

struct Outcome
{
    bool probed = false;
    long long pictures = 0;
    long long sampleFrames = 0;
    bool endless = false;
    bool broken = false; // a record lacks the data that its size promises

    bool operator==(Outcome const& other) const
    {
        return probed == other.probed && pictures == other.pictures && sampleFrames == other.sampleFrames &&
               endless == other.endless && broken == other.broken;
    }
};

void Decode(MediaInstance& instance, long long seekTime, Outcome& outcome)
{
    for (int calls = 0; instance.HasPacket(); ++calls) {
        if (calls > mostCalls) {
            outcome.endless = true;
            return;
        }
        Sounds sounds;
        Pictures pictures;
        instance.DecodeOnePacket(sounds, pictures, seekTime);
        for (auto const& sound : sounds) {
            outcome.sampleFrames += sound->frameCount;
            outcome.broken = outcome.broken || !sound->samples;
        }
        for (auto const& picture : pictures)
            outcome.broken = outcome.broken || (picture->size > 0 && !picture->data);
        outcome.pictures +=
            std::count_if(pictures.begin(), pictures.end(), [](auto const& one) { return IsPicture(*one); });
    }
}

void ProbeAndPlay(QString const& path, bool isImage, MediaInstance& instance, Outcome& outcome)
{
    OutputChannels const channels(2);
    auto info = std::make_shared<MediaInfo>(path);
    info->isImage = isImage;
    outcome.probed = MediaReader::ParseMedia(info);
    if (!outcome.probed)
        return;
    instance.Initialize(info, 0);
    Decode(instance, -1, outcome);
    instance.Seek(300000);
    Decode(instance, 300000, outcome);
    instance.Seek(0);
    Decode(instance, 0, outcome);
}

QString Movie()
{
    return MakeMedia("faulty.mp4", Picture("64x48", 25, 0.6) + Tone(22050, 2, 0.6) +
                                       QStringList{"-c:v", "mpeg4", "-bf", "2", "-g", "6", "-c:a", "aac"});
}

QString Still()
{
    return MakeMedia("faulty.png", Picture("66x48", 1, 1) + QStringList{"-frames:v", "1"});
}

// The results of a series of runs, each in a process of its own.
struct Tally
{
    int runs = 0;
    int insideOthers = 0;
};

// Fails each allocation, or one in `stride`, and every second, third... of them. TAVOLIN_FAULT_STRIDE in the
// environment sets another stride; TAVOLIN_FAULT selects one allocation and runs in this process, for a debugger.
//
// FFmpeg and Qt crash on some of their own allocation failures. When only our allocations fail, a crash inside them
// counts as ours.
void FailEach(int allocations, int stride, bool mayCrashInside, std::function<int(int nth, bool every)> const& run)
{
    if (char const* only = std::getenv("TAVOLIN_FAULT")) { // for a debugger
        EXPECT_EQ(run(std::atoi(only), false), 0);
        return;
    }
    if (char const* other = std::getenv("TAVOLIN_FAULT_STRIDE"))
        stride = std::max(std::atoi(other), 1);
    Tally tally;
    auto const add = [&](int nth, bool every) {
        RunEnd const end = RunForked([&] { return run(nth, every); });
        ++tally.runs;
        tally.insideOthers += end == RunEnd::CrashedInside ? 1 : 0;
        EXPECT_TRUE(end == RunEnd::Done || (mayCrashInside && end == RunEnd::CrashedInside))
            << (every ? "every " : "number ") << nth << (end == RunEnd::Failed ? " failed" : " crashed");
    };
    for (int nth = 1; nth <= allocations; nth += stride)
        add(nth, false);
    for (int const every : {1, 2, 3, 7, 50})
        add(every, true);
    std::cout << allocations << " allocations, " << tally.runs << " runs with failures, " << tally.insideOthers
              << " of them crashed in FFmpeg or Qt\n";
}

// Does `work` while the allocation fails.
void DoWithFault(std::function<void()> const& work, Of of, int nth, bool every)
{
    FaultyMemory::Fail(of, nth, every);
    try {
        work();
    } catch (std::bad_alloc const&) {
        // expected
    }
    FaultyMemory::Stop();
}

int CountAllocations(std::function<void()> const& work, Of of)
{
    FaultyMemory::Fail(of, 1000000000, false);
    work();
    FaultyMemory::Stop();
    return FaultyMemory::AllocationCount();
}

// Returns 0 if `isTrue`; otherwise 1, with the reason on standard error.
int Check(bool isTrue, char const* what)
{
    if (!isTrue)
        std::fprintf(stderr, "%s\n", what);
    return isTrue ? 0 : 1;
}

Outcome Play(QString const& path, bool isImage)
{
    Outcome outcome;
    MediaInstance instance;
    ProbeAndPlay(path, isImage, instance, outcome);
    return outcome;
}

int PlayWithFault(QString const& path, bool isImage, Outcome const& sound, Of of, int nth, bool every)
{
    long long const cppBefore = FaultyMemory::LiveCppBlocks();
    long long const before = FaultyMemory::LiveBlocks();
    int failures = 0;
    {
        MediaInstance instance;
        Outcome disturbed;
        DoWithFault([&] { ProbeAndPlay(path, isImage, instance, disturbed); }, of, nth, every);
        failures += Check(!disturbed.endless, "the input does not end");
        failures += Check(!disturbed.broken, "a record lacks its memory");
        instance.CloseInput();
        Outcome outcome;
        ProbeAndPlay(path, isImage, instance, outcome);
        failures += Check(outcome == sound, "it does not play as before");
    }
    failures += Check(FaultyMemory::LiveCppBlocks() == cppBefore, "objects are left");
    if (of == Of::Cpp) // FFmpeg leaks some of its own memory when out of memory
        failures += Check(FaultyMemory::LiveBlocks() == before, "blocks are left");
    return failures;
}

void FailEachWhilePlaying(QString const& path, bool isImage, Of of, int stride)
{
    LineCount const log;
    Play(path, isImage); // makes the objects that live until the process ends
    Outcome const sound = Play(path, isImage);
    EXPECT_TRUE(sound.probed);
    EXPECT_GT(sound.pictures, 0);
    int const allocations = CountAllocations([&] { Play(path, isImage); }, of);
    FailEach(allocations, stride, of != Of::Cpp,
             [&](int nth, bool every) { return PlayWithFault(path, isImage, sound, of, nth, every); });
}

// Appends pictures and sounds until both rings have grown twice.
void GrowCaches(DecodedVideo& pictures, DecodedAudio& sounds)
{
    for (int i = 0; i < 60; ++i) {
        auto picture = std::make_shared<DecodedVideoFrame>();
        picture->data = new uint8_t[1]();
        picture->size = 1;
        picture->startTime = i * 40000LL;
        picture->endTime = picture->startTime + 39999;
        pictures.AppendFrame(picture);
        auto sound = std::make_shared<DecodedAudioFrame>();
        sound->samples = new short[2]();
        sound->sampleCount = sound->sampleCapacity = sound->frameCount = 2;
        sound->sampleRate = 1000;
        sound->startTime = i * 2000LL;
        sound->endTime = sound->startTime + 1999;
        sounds.AppendFrame(sound);
    }
}

int GrowWithFault(Of of, int nth, bool every)
{
    long long const before = FaultyMemory::LiveBlocks();
    int failures = 0;
    {
        DecodedVideo pictures;
        DecodedAudio sounds;
        sounds.SetMaxFrameCount(10);
        DoWithFault([&] { GrowCaches(pictures, sounds); }, of, nth, every);
        // The caches hold whole frames in order, and take more.
        for (int i = 1; i < pictures.GetFrameCount(); ++i)
            failures += Check(pictures.GetFrameAtIndex(i)->startTime == pictures.GetFrameAtIndex(i - 1)->endTime + 1,
                              "pictures are not in order");
        GrowCaches(pictures, sounds);
        failures += Check(pictures.GetFrameCount() == 60 && sounds.GetFrameCount() == 60, "not all were taken");
        failures += Check(pictures.GetFrame(1000000, 0) && pictures.GetFrame(1000000, 0)->startTime == 1000000,
                          "a picture is not found");
        failures += Check(sounds.GetFrameIndex(100000) == 50, "a sound is not found");
    }
    return failures + Check(FaultyMemory::LiveBlocks() == before, "blocks are left");
}

// The allocations of the engine's own threads fail, those of the calling thread do not.
int PlayEngineWithFault(QString const& path, int nth, bool every)
{
    auto const time = std::make_shared<VirtualTime>();
    PlaybackEngine engine(PlaybackOptions(), time);
    FaultyMemory::Fail(Of::Cpp, nth, every, FaultyMemory::On::OtherThreads);
    bool const isReady = PlayAround(engine, *time, path);
    FaultyMemory::Stop();
    return Check(isReady, "it does not become ready") +
           Check(StartShownAt(engine, path, 410000) == 400000, "it does not show the picture");
}

} // namespace

TEST(FaultyMemoryTest, AMovieSurvivesEachOfOurAllocationsThatFails)
{
    FailEachWhilePlaying(Movie(), false, Of::Cpp, 1);
}

TEST(FaultyMemoryTest, AMovieSurvivesEachOfFFmpegsAllocationsThatFails)
{
    FailEachWhilePlaying(Movie(), false, Of::Ffmpeg, 25);
}

TEST(FaultyMemoryTest, AMovieSurvivesAnyAllocationThatFails)
{
    FailEachWhilePlaying(Movie(), false, Of::Everybody, 40);
}

TEST(FaultyMemoryTest, AStillSurvivesAnyAllocationThatFails)
{
    FailEachWhilePlaying(Still(), true, Of::Everybody, 4);
}

TEST(FaultyMemoryTest, GrowingCachesSurviveEachAllocationThatFails)
{
    int const allocations = CountAllocations(
        [] {
            DecodedVideo pictures;
            DecodedAudio sounds;
            sounds.SetMaxFrameCount(10);
            GrowCaches(pictures, sounds);
        },
        Of::Everybody);
    FailEach(allocations, 1, false, [](int nth, bool every) { return GrowWithFault(Of::Everybody, nth, every); });
}

TEST(FaultyMemoryTest, AnEngineSurvivesEachOfItsAllocationsThatFails)
{
    LineCount const log;
    OutputChannels const channels(2);
    QString const path = Movie();
    EXPECT_EQ(PlayEngineWithFault(path, 1000000000, false), 0);
    FailEach(FaultyMemory::AllocationCount(), 8, true,
             [&](int nth, bool every) { return PlayEngineWithFault(path, nth, every); });
}
