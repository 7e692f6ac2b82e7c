#include "tools/output/SoundRender.h"

#include "common/Microseconds.h"
#include "media/MediaInfo.h"
#include "playback/TimeSource.h"
#include "source/Source.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace {

constexpr int blockFrames = 4096;

// A block, or a place, of even the largest file is found by then.
constexpr int patienceMs = 600000;

// No sound is expected to last longer (three years).
constexpr long long farthestUs = 100000000 * secondUs;

// At every speed there is sound.
constexpr double fastestHeard = 16.0;

PlaybackOptions SoundOnly(int soundStream)
{
    PlaybackOptions options;
    options.soundStream = soundStream;
    options.withPictures = false;
    options.muteAboveSpeed = fastestHeard;
    return options;
}

} // namespace

class SoundRender::BlockTime : public TimeSource
{
public:
    long long GetTime() const override { return now; }
    void Advance(long long duration) { now += duration; }

private:
    std::atomic<long long> now = 0;
};

SoundRender::SoundRender(Source const& newSource)
    : source(newSource), time(std::make_shared<BlockTime>()), engine(SoundOnly(newSource.GetSoundStream()), time)
{}

SoundRender::~SoundRender() = default;

bool SoundRender::Open()
{
    engine.Open(source.GetPath());
    if (!Wait())
        return false;
    PlaybackStatus const status = engine.GetStatus();
    channels = status.channels;
    sampleRate = status.sampleRate;
    soundStart = status.soundStart;
    if (channels <= 0 || sampleRate <= 0)
        error = status.error.isEmpty() ? QStringLiteral("The sound cannot be decoded.") : status.error;
    return error.isEmpty();
}

bool SoundRender::Wait()
{
    if (engine.WaitUntilReady(patienceMs))
        return true;
    error = QStringLiteral("Decoding the sound takes too long.");
    return false;
}

// The end is known once something beyond it has been looked for.
bool SoundRender::FindEnd(long long& end)
{
    PlaybackStatus status = engine.GetStatus();
    for (long long beyond = secondUs; !status.durationKnown && beyond < farthestUs; beyond *= 2) {
        engine.Seek(status.start + status.duration + beyond);
        if (!Wait())
            return false;
        status = engine.GetStatus();
    }
    end = status.start + status.duration;
    return true;
}

bool SoundRender::Start(TimeRange const& range, double speed, double volume)
{
    long long end = 0;
    if (!FindEnd(end))
        return false;
    long long const origin = source.GetOrigin();
    long long const first = std::min(soundStart, origin);
    long long const begin = source.HasPictures() ? first : soundStart;
    long long const from = range.HasBegin() ? std::max(std::min(range.from, farthestUs) + origin, first) : begin;
    long long const to = range.HasEnd() ? std::min(std::min(range.to, farthestUs) + origin, end) : end;
    double const seconds = static_cast<double>(to - from) / static_cast<double>(secondUs) / std::fabs(speed);
    frameCount = std::max(std::llround(seconds * sampleRate), 0LL);
    readCount = 0;
    if (frameCount == 0) {
        error = QStringLiteral("there is no sound in the time asked for");
        return false;
    }
    engine.SetVolume(volume);
    engine.Seek(speed > 0.0 ? from : to - 1); // the last sample is the one that sounds just before the end
    engine.SetSpeed(speed);
    return true;
}

bool SoundRender::Read(std::vector<short>& block)
{
    auto const frames = static_cast<int>(std::min<long long>(blockFrames, frameCount - readCount));
    block.resize(static_cast<size_t>(frames) * static_cast<size_t>(channels));
    if (frames == 0 || !Wait())
        return false;
    engine.FillAudio(block.data(), frames);
    time->Advance(frames * secondUs / sampleRate);
    readCount += frames;
    return true;
}
