#include "tests/faults/FaultyMemory.h"
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
#include <functional>
#include <iostream>
#include <new>
#include <set>

// Each allocation of a probe, a decode, a seek and a growing cache fails once, and every second, third... of them. What
// fails either throws std::bad_alloc out of the call or is told by what the call returns or logs: nothing crashes,
// hangs or leaks, and afterwards everything works as if nothing had happened.

namespace {

using FaultyMemory::Of;

constexpr int mostCalls = 2000;

// Counts lines without an allocation of its own.
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

    bool operator==(Outcome const& other) const
    {
        return probed == other.probed && pictures == other.pictures && sampleFrames == other.sampleFrames &&
               endless == other.endless;
    }
};

std::ostream& operator<<(std::ostream& stream, Outcome const& outcome)
{
    return stream << (outcome.probed ? "probed, " : "not probed, ") << outcome.pictures << " pictures, "
                  << outcome.sampleFrames << " samples" << (outcome.endless ? ", endless" : "");
}

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
        for (auto const& sound : sounds)
            outcome.sampleFrames += sound->frameCount;
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
                                       QStringList{"-c:v", "libx264", "-preset", "ultrafast", "-bf", "2", "-g", "6",
                                                   "-threads", "1", "-c:a", "aac"});
}

QString Still()
{
    return MakeMedia("faulty.png", Picture("66x48", 1, 1) + QStringList{"-frames:v", "1"});
}

// What is left allocated by `work`, which has been done before.
template <typename Work>
long long LeftBy(Work const& work, long long (*live)())
{
    long long const before = live();
    work();
    return live() - before;
}

struct Tally
{
    int runs = 0;
    int thrown = 0;
    int failed = 0;
};

// Does `work` with the allocation failing, and says whether that threw.
void DoWithFault(std::function<void()> const& work, Of of, int nth, bool every, Tally& tally)
{
    ++tally.runs;
    FaultyMemory::Fail(of, nth, every);
    try {
        work();
    } catch (std::bad_alloc const&) {
        ++tally.thrown;
    }
    FaultyMemory::Stop();
    tally.failed += FaultyMemory::FailedCount();
}

int CountAllocations(std::function<void()> const& work, Of of)
{
    FaultyMemory::Fail(of, 1000000000, false);
    work();
    FaultyMemory::Stop();
    return FaultyMemory::AllocationCount();
}

class Playing
{
public:
    Playing(QString newPath, bool newIsImage) : path(std::move(newPath)), isImage(newIsImage)
    {
        Run();
        sound = Run();
    }

    void FailEach(Of of, int stride)
    {
        Tally tally;
        int const allocations = CountAllocations([this] { Run(); }, of);
        for (int nth = 1; nth <= allocations; nth += stride)
            Fail(of, nth, false, tally);
        for (int const every : {1, 2, 3, 7, 50})
            Fail(of, every, true, tally);
        std::cout << allocations << " allocations, " << tally.runs << " runs, " << tally.failed << " failures, "
                  << tally.thrown << " thrown\n";
    }

private:
    Outcome Run()
    {
        Outcome outcome;
        MediaInstance instance;
        ProbeAndPlay(path, isImage, instance, outcome);
        return outcome;
    }

    void Fail(Of of, int nth, bool every, Tally& tally)
    {
        SCOPED_TRACE((every ? "every " : "number ") + std::to_string(nth));
        long long const cppBefore = FaultyMemory::LiveCppBlocks();
        long long const before = FaultyMemory::LiveBlocks();
        {
            MediaInstance instance;
            Outcome disturbed;
            DoWithFault([&] { ProbeAndPlay(path, isImage, instance, disturbed); }, of, nth, every, tally);
            EXPECT_FALSE(disturbed.endless);
            instance.CloseInput();
            Outcome outcome;
            ProbeAndPlay(path, isImage, instance, outcome);
            EXPECT_EQ(outcome, sound);
        }
        EXPECT_EQ(FaultyMemory::LiveCppBlocks(), cppBefore);
        EXPECT_EQ(FaultyMemory::LiveBlocks(), before);
    }

    QString path;
    bool isImage;
    Outcome sound;
};

} // namespace

TEST(FaultyMemoryTest, AMovieSurvivesEachOfOurAllocationsThatFails)
{
    LineCount const log;
    Playing(Movie(), false).FailEach(Of::Cpp, 1);
}

TEST(FaultyMemoryTest, AMovieSurvivesEachOfFFmpegsAllocationsThatFails)
{
    LineCount const log;
    Playing(Movie(), false).FailEach(Of::Ffmpeg, 1);
}

TEST(FaultyMemoryTest, AMovieSurvivesAnyAllocationThatFails)
{
    LineCount const log;
    Playing(Movie(), false).FailEach(Of::Everybody, 1);
}

TEST(FaultyMemoryTest, AStillSurvivesAnyAllocationThatFails)
{
    LineCount const log;
    Playing(Still(), true).FailEach(Of::Everybody, 1);
}
