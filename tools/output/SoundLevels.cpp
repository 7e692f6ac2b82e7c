#include "tools/output/SoundLevels.h"

#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "decode/DecodedAudioFrame.h"
#include "media/MediaInfo.h"
#include "source/SoundStream.h"
#include "source/Source.h"
#include "tools/report/Console.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

// What containers say of their length is not always true to the second.
constexpr long long beyondTheEnd = secondUs;

// No sound is expected to last longer (three years).
constexpr long long farthest = 100000000 * secondUs;

// By the container's time. False when there is no sound at all.
bool FindSpan(SoundStream& sound, long long duration, long long& begin, long long& end)
{
    SoundStream::Frame frame;
    if (sound.Read(frame) != ReadResult::Got)
        return false;
    begin = frame->startTime;
    auto result = duration > 0 ? sound.ReadAt(duration + beyondTheEnd, frame) : ReadResult::Got;
    while (result == ReadResult::Got)
        result = sound.Read(frame);
    end = sound.GetEnd();
    return end > begin;
}

} // namespace

double SoundLevels::Level::GetRms() const
{
    return count > 0 ? std::sqrt(squares / static_cast<double>(count)) : 0.0;
}

SoundLevels::SoundLevels(Source const& newSource) : source(newSource) {}

SoundLevels::Result SoundLevels::Read(TimeRange const& range, int newColumns)
{
    auto const sound = source.OpenSound();
    long long begin = 0, end = 0;
    if (!sound || !FindSpan(*sound, source.GetInfo()->GetDuration(), begin, end))
        return Result::CannotOpen;
    long long const first = std::min(source.ToMediaTime(begin), 0LL);
    from = range.HasBegin() ? std::max(range.from, first) : first;
    to = std::min({range.to, source.ToMediaTime(end), farthest});
    if (from >= to)
        return Result::NothingInRange;
    channels = sound->GetChannelCount();
    columns = newColumns;
    levels.assign(static_cast<size_t>(channels) * static_cast<size_t>(columns), {});
    ReadRange(*sound);
    return Result::Done;
}

void SoundLevels::ReadRange(SoundStream& sound)
{
    SoundStream::Frame frame;
    auto result = sound.ReadAt(from + source.GetOrigin(), frame);
    for (; result == ReadResult::Got && source.ToMediaTime(frame->startTime) < to; result = sound.Read(frame)) {
        Take(*frame);
        Console::ShowProgress(
            QStringLiteral("%1 of %2").arg(TimeText::Clock(source.ToMediaTime(frame->startTime)), TimeText::Clock(to)));
    }
}

void SoundLevels::Take(DecodedAudioFrame const& frame)
{
    if (frame.sampleRate <= 0 || frame.sampleCount / channels < frame.frameCount)
        return;
    auto const start = static_cast<double>(source.ToMediaTime(frame.startTime) - from);
    double const columnsPerUs = columns / static_cast<double>(to - from);
    constexpr auto second = static_cast<double>(secondUs);
    // Where columns are narrower than samples, a sample fills all up to the next one.
    int const width = std::max(1, static_cast<int>(std::ceil(second / frame.sampleRate * columnsPerUs)));
    for (int i = 0; i < frame.frameCount; ++i) {
        double const place = std::floor((start + i * second / frame.sampleRate) * columnsPerUs);
        if (place < -width || place >= columns)
            continue;
        short const* samples = frame.samples + static_cast<size_t>(i) * static_cast<size_t>(channels);
        int const first = static_cast<int>(place);
        for (int column = std::max(first, 0); column < std::min(first + width, columns); ++column)
            TakeSamples(samples, column);
    }
}

void SoundLevels::TakeSamples(short const* samples, int column)
{
    for (int channel = 0; channel < channels; ++channel) {
        short const sample = samples[channel];
        Level& level = LevelAt(channel, column);
        level.lowest = level.count > 0 ? std::min(level.lowest, sample) : sample;
        level.highest = level.count > 0 ? std::max(level.highest, sample) : sample;
        level.squares += static_cast<double>(sample) * sample;
        ++level.count;
    }
}

SoundLevels::Level& SoundLevels::LevelAt(int channel, int column)
{
    return levels[static_cast<size_t>(channel) * static_cast<size_t>(columns) + static_cast<size_t>(column)];
}

SoundLevels::Level const& SoundLevels::GetLevel(int channel, int column) const
{
    return levels[static_cast<size_t>(channel) * static_cast<size_t>(columns) + static_cast<size_t>(column)];
}

int SoundLevels::GetPeak() const
{
    int peak = 0;
    for (Level const& level : levels)
        peak = std::max({peak, std::abs(level.lowest), std::abs(level.highest)});
    return peak;
}
