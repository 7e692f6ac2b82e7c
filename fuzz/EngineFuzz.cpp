#include "fuzz/CpuLimit.h"
#include "fuzz/FuzzBytes.h"
#include "tests/playback/VirtualTime.h"

#include "common/Logger.h"
#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

// Drives the engine with any sequence of commands; time advances only by command. After any sequence, the next seek
// must show exactly the picture asked for.

namespace {

// Movies of twenty pictures of 40 ms with sound; sound alone; a still; an image sequence with a gap.
char const* const names[] = {"h264.mp4",  "mpeg1.mpg", "vorbis.mkv", "mpeg4.avi",   "sound.wav",
                             "cover.mp3", "still.png", "raw.264",    "missing.mp4", "../row"};
constexpr size_t exactNames = 3; // names of files that store the pictures' times
constexpr long long step = 40000;
constexpr long long lastPicture = 19 * step;
constexpr long long largestBudget = 1 << 20;
constexpr int patience = 120000; // milliseconds of real time, for a busy machine
constexpr int mostSeconds = 20;  // of processor time
constexpr int mostOrders = 60;
constexpr double speeds[] = {0.0, 1.0, -1.0, 2.0, -2.0, 0.5, -0.5, 16.0, -16.0, 3.7, -0.01, NAN, 1e300};

QString Clip(size_t index)
{
    return QString::fromLatin1(TAVOLIN_FUZZ_CLIPS) + QString::fromLatin1(names[index]);
}

void Require(bool condition, char const* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

class Session
{
public:
    explicit Session(FuzzBytes newBytes) : bytes(newBytes)
    {
        PlaybackOptions options;
        options.cacheBudget = largestBudget;
        options.sequenceThreads = 1;
        engine = std::make_unique<PlaybackEngine>(options, time);
        Open();
    }

    void Play()
    {
        for (int i = 0; i < mostOrders && !bytes.IsOver(); ++i) {
            Order();
            Look();
        }
        ShowExactly();
    }

private:
    void Order()
    {
        switch (bytes.Byte() % 20) {
        case 0:
            return Open();
        case 1:
        case 2:
            return engine->Seek(SomeTime());
        case 3:
            return engine->SeekPreview(SomeTime());
        case 4:
            return engine->Step(static_cast<int>(bytes.Between(-25, 25)));
        case 5:
        case 6:
            return engine->SetSpeed(bytes.AnyOf(speeds));
        case 7:
            return engine->Pause();
        case 8: {
            long long const start = SomeTime();
            return engine->SetLoop(start, start + bytes.Between(-10, 100) * 10000);
        }
        case 9:
            return engine->ClearLoop();
        case 10:
            return engine->SetCacheBudget(bytes.Between(0, 4) * largestBudget / 4);
        case 11:
            return engine->SetMuted(bytes.OneIn(2));
        case 12:
            return engine->SetVolume(static_cast<double>(bytes.Between(0, 20)) / 10.0);
        case 13:
            return engine->SetMuteAboveSpeed(static_cast<double>(bytes.Between(0, 8)));
        case 14:
            return bytes.OneIn(8) ? engine->Close() : engine->Pause();
        case 15:
        case 16:
            return time->Advance(bytes.Between(0, 200) * 1000);
        case 17:
            return TakeSound();
        default:
            return Wait();
        }
    }

    void Open()
    {
        clip = static_cast<size_t>(bytes.Between(0, std::size(names) - 1));
        engine->Open(Clip(clip));
    }

    long long SomeTime()
    {
        return bytes.OneIn(16) ? bytes.Between(-4000000000000000000, 4000000000000000000)
                               : bytes.Between(-10, 100) * 10000 + bytes.Between(-1, 1);
    }

    void TakeSound()
    {
        int const frames = static_cast<int>(bytes.Between(0, 2048));
        std::vector<short> block(static_cast<size_t>(frames) * 8 + 1, 0x5a5a);
        int const channels = engine->GetStatus().channels;
        int const written = engine->FillAudio(block.data(), frames, bytes.Between(0, 100) * 1000);
        Require(written == 0 || written == frames, "a block is filled or left alone");
        size_t const end = static_cast<size_t>(written) * static_cast<size_t>(channels > 0 ? channels : 8);
        Require(block[std::min(end, block.size() - 1)] == 0x5a5a || channels == 0, "nothing is written behind a block");
    }

    void Wait() { Require(engine->WaitUntilReady(patience), "it becomes ready"); }

    void Look()
    {
        PlaybackStatus const status = engine->GetStatus();
        Require(!status.durationKnown || status.position <= status.start + status.duration, "it stays before the end");
        Require(status.cachedBytes <= largestBudget * 2, "the cache keeps to its budget");
        auto const picture = engine->GetPicture();
        if (!picture)
            return;
        Require(picture->status == 0 && picture->data, "what is shown is a picture");
        Require(picture->size == (3 * picture->width + 3) / 4 * 4 * picture->height, "a picture is whole");
        volatile uint8_t last = picture->data[picture->size - 1];
        (void)last;
    }

    void ShowExactly()
    {
        engine->ClearLoop();
        engine->Seek(SomeTime());
        Wait();
        PlaybackStatus const status = engine->GetStatus();
        bool const isExact = clip < exactNames && status.state != PlaybackState::Closed;
        if (!isExact)
            return;
        auto const picture = engine->GetPicture();
        Require(picture != nullptr, "there is a picture");
        long long const expected = std::clamp(status.position, 0LL, lastPicture) / step * step;
        if (picture->startTime != expected)
            std::fprintf(stderr, "%s at %lld: %lld\n", names[clip], status.position, picture->startTime);
        Require(picture->startTime == expected, "it is the very picture");
    }

    FuzzBytes bytes;
    std::shared_ptr<VirtualTime> const time = std::make_shared<VirtualTime>();
    std::unique_ptr<PlaybackEngine> engine;
    size_t clip = 0;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    av_log_set_level(AV_LOG_QUIET);
    AvGlobals::maxAudioOutputChannels = 2;
    Logger::GetInstance().SetSink([](Logger::Level, QString const&, int) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    CpuLimit const limit(mostSeconds);
    Session(FuzzBytes(data, size)).Play();
    return 0;
}
