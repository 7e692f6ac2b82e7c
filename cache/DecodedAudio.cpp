#include "cache/DecodedAudio.h"

#include "cache/CacheLock.h"
#include "cache/OutputBlock.h"
#include "cache/PlayedFrames.h"
#include "cache/SharedField.h"
#include "cache/WrappingTime.h"
#include "common/Microseconds.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr long long driftToleranceUs = 9999;
constexpr int driftMeasurements = 5;
constexpr long long uncorrectedSumUs = 50004; // sum of five measurements: their average is then within 10000
constexpr int framesBeyondATurn = 1000;       // short frames at a high speed may give no output for a while

bool FitsInt(long long value)
{
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

int HeldToInt(long long value)
{
    return static_cast<int>(
        std::clamp<long long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// Lengthens or shortens `frame` from `start` to `end`, so that it meets its neighbour. Changes only its counts, as
// there are no samples for the difference. Leaves a frame without samples unchanged, because its channels are unknown,
// and one whose count would exceed 32 bits, because its times are certainly wrong.
void Stretch(DecodedAudioFrame& frame, long long start, long long end)
{
    double const roughGap = static_cast<double>(end) - static_cast<double>(start);
    if (frame.frameCount == 0 || std::abs(roughGap * frame.sampleRate) > 1e16)
        return;
    long long const channels = static_cast<long long>(frame.sampleCount) / frame.frameCount;
    long long const gap = WrappedDifference(end, start);
    long long const frameCount = frame.frameCount + WrappedProduct(frame.sampleRate, gap) / secondUs;
    if (channels == 0 || !FitsInt(frameCount) || !FitsInt(frameCount * channels))
        return;
    StoreShared(frame.frameCount, static_cast<int>(frameCount));
    StoreShared(frame.sampleCount, static_cast<int>(frameCount * channels));
}

// The number of readable values: limited by the count and by the capacity.
int CountReadable(DecodedAudioFrame const& frame)
{
    return frame.samples ? std::min(LoadShared(frame.sampleCount), frame.sampleCapacity) : 0;
}

// The slot after `index` in ring order, or -1; `ring` gives the indices.
template <typename Ring>
int SlotAfter(Ring const& ring, int capacity, int index)
{
    if (index < 0)
        return -1;
    long long const next = index + 1LL;
    if (next >= capacity)
        return ring.lastIndex >= 0 ? 0 : -1;
    return ring.lastIndex > index || ring.firstIndex <= next ? static_cast<int>(next) : -1;
}

} // namespace

DecodedAudio::DecodedAudio() = default;

DecodedAudio::~DecodedAudio()
{
    ForceClear();
}

void DecodedAudio::SetMaxFrameCount(int count)
{
    int const length = std::max(count, 0);
    if (!ring.FitsInto(length))
        ForceClear();
    FrameRing<DecodedAudioFrame>::Slots resized[2] = {ring.MakeResized(0, length), ring.MakeResized(1, length)};
    CacheLock const lock(mutex);
    ring.Resize(resized);
}

int DecodedAudio::GetMaxFrameCount() const
{
    return ring.GetCapacity();
}

int DecodedAudio::GetFrameCount() const
{
    return ring.GetFrameCount();
}

bool DecodedAudio::IsEmpty() const
{
    return ring.firstIndex < 0 || GetFrameCount() < 1;
}

std::shared_ptr<DecodedAudioFrame> DecodedAudio::FirstFrame() const
{
    return ring.GetFirst();
}

std::shared_ptr<DecodedAudioFrame> DecodedAudio::LastFrame() const
{
    return ring.GetLast();
}

// --- Frames come and go (decoding thread) ---

// PushBack changes the end of the old last frame, PushFront that of the new frame: the later frame keeps its start, and
// the earlier one's end is moved to meet it. The slot is filled before the index is changed, for the output thread.
void DecodedAudio::PushBack(std::shared_ptr<DecodedAudioFrame> frame)
{
    if (!frame || ring.GetCapacity() < 1)
        return;
    int slot = 0;
    if (ring.lastIndex >= 0) {
        if (auto const& last = ring.GetLast()) {
            long long const end = WrappedDifference(frame->startTime, 1);
            if (frame->tag != last->tag)
                Stretch(*last, last->endTime, end);
            StoreShared(last->endTime, end);
        }
        slot = ring.GetSlotAfter(ring.lastIndex);
    }
    cacheSize += frame->sampleCount;
    ring.SetFrame(slot, std::move(frame));
    if (ring.firstIndex < 0)
        ring.SetFirstIndex(slot);
    ring.SetLastIndex(slot);
}

void DecodedAudio::PushFront(std::shared_ptr<DecodedAudioFrame> frame)
{
    if (!frame || ring.GetCapacity() < 1)
        return;
    int slot = 0;
    if (ring.firstIndex >= 0) {
        auto const& first = ring.GetFirst();
        long long const end = WrappedDifference(cacheStartTime, 1);
        if (first && frame->tag != first->tag)
            Stretch(*frame, frame->endTime, end);
        StoreShared(frame->endTime, end);
        slot = ring.GetSlotBefore(ring.firstIndex);
    }
    cacheSize += frame->sampleCount;
    ring.SetFrame(slot, std::move(frame));
    if (ring.lastIndex < 0)
        ring.SetLastIndex(slot);
    ring.SetFirstIndex(slot);
}

void DecodedAudio::PopFront()
{
    if (IsEmpty())
        return;
    bool const isOnly = GetFrameCount() == 1;
    int const slot = ring.firstIndex;
    if (auto const& first = ring.GetFirst())
        cacheSize -= first->sampleCount;
    ring.SetFirstIndex(isOnly ? -1 : ring.GetSlotAfter(slot));
    if (isOnly)
        ring.SetLastIndex(-1);
    ring.SetFrame(slot, nullptr);
}

void DecodedAudio::PopBack()
{
    if (IsEmpty())
        return;
    bool const isOnly = GetFrameCount() == 1;
    int const slot = ring.lastIndex;
    if (auto const& last = ring.GetLast())
        cacheSize -= last->sampleCount;
    ring.SetLastIndex(isOnly ? -1 : ring.GetSlotBefore(slot));
    if (isOnly)
        ring.SetFirstIndex(-1);
    ring.SetFrame(slot, nullptr);
}

void DecodedAudio::AppendFrame(std::shared_ptr<DecodedAudioFrame> frame)
{
    ring.ReleaseRetired();
    if (ring.GetCapacity() < 1)
        return;
    if (!frame) {
        Clear();
        return;
    }
    if (StoreFrame(std::move(frame)))
        UpdateStartEndTimes();
}

// False when the frame is dropped before the span can have changed.
bool DecodedAudio::StoreFrame(FramePointer frame)
{
    if (frame->startTime < 0) {
        if (frame->endTime < 0)
            return false;
        StoreShared(frame->startTime, 0);
    }
    if (IsEmpty()) {
        PushBack(std::move(frame));
        return true;
    }
    for (auto const* end : {&ring.GetFirst(), &ring.GetLast()})
        if (*end && frame->startTime == (*end)->startTime)
            return false;
    if (GetFrameCount() == ring.GetCapacity() - 1)
        Grow();
    PlaceFrame(std::move(frame));
    return true;
}

void DecodedAudio::PlaceFrame(FramePointer frame)
{
    auto const& last = ring.GetLast();
    if (!last || frame->startTime > last->startTime)
        PushBack(std::move(frame));
    else if (frame->startTime < cacheStartTime)
        PushFront(std::move(frame));
}

void DecodedAudio::Grow()
{
    auto grown = ring.MakeGrown(); // holds the old array after Adopt; released after the mutex is unlocked
    CacheLock const lock(mutex);
    ring.Adopt(grown);
    IncrementShared(flushCounter);
}

void DecodedAudio::UpdateStartEndTimes()
{
    auto const& first = ring.GetFirst();
    auto const& last = ring.GetLast();
    cacheStartTime = first ? first->startTime : 0;
    cacheEndTime = last ? last->endTime : 0;
}

void DecodedAudio::UpdateCache(long long startTime, long long endTime)
{
    while (ring.GetFirst() && ring.GetFirst()->endTime < startTime)
        PopFront();
    while (ring.GetLast() && ring.GetLast()->startTime > endTime)
        PopBack();
}

void DecodedAudio::Clear()
{
    ring.Retire();
    cacheSize = 0;
    IncrementShared(flushCounter);
    UpdateStartEndTimes();
}

void DecodedAudio::ForceClear()
{
    ring.ReleaseAll();
    cacheSize = 0;
    IncrementShared(flushCounter);
    UpdateStartEndTimes();
}

int DecodedAudio::GetFrameIndex(long long time) const
{
    return IsEmpty() ? -1 : ring.Find(time);
}

int DecodedAudio::GetFrameIndexBinarySearch(long long time, int low, int high) const
{
    return ring.Find(time, low, high);
}

int DecodedAudio::GetNextFrameIndex(int index) const
{
    return SlotAfter(ring, ring.GetCapacity(), index);
}

int DecodedAudio::GetPreviousFrameIndex(int index) const
{
    if (index < 1)
        return ring.lastIndex >= ring.firstIndex ? -1 : ring.GetCapacity() - 1;
    int const previous = index - 1;
    return ring.firstIndex >= index && previous > ring.lastIndex ? -1 : previous;
}

// --- The fill (output thread) ---

int DecodedAudio::PaFillBuffer(short* buffer, int framesPerBuffer, int channels, int sampleRate, long long time,
                               double volume, bool reset, double speed)
{
    if (!buffer || framesPerBuffer <= 0 || channels <= 0)
        return 0;
    PlayedFrames played; // destroyed after the mutex is unlocked
    CacheLock const lock(mutex);
    if (reset || LoadShared(flushCounter) != flushCounterSeen)
        ResetOutput(played);
    OutputBlock block(buffer, framesPerBuffer, channels, volume, speed, speedPhase);
    if (sampleRate > 0 && speed > 0.0 && std::isfinite(speed))
        PlayFrames(block, time, sampleRate, /*followsDrift=*/speed == 1.0, played);
    if (!block.IsFull())
        block.FillWithSilence();
    speedPhase = block.GetPhase();
    return block.written;
}

// Plays until the block is full or no frame is left. The loop is bounded, because a full ring of frames without
// samples, or too short for the speed, gives no output.
void DecodedAudio::PlayFrames(OutputBlock& block, long long time, int sampleRate, bool followsDrift,
                              PlayedFrames& played)
{
    int const mostInVain = ring.GetView().capacity + framesBeyondATurn;
    for (int inVain = 0; !block.IsFull();) {
        if (remainingSamples > 0) {
            inVain = PlayOutputFrame(block) ? 0 : inVain;
            continue;
        }
        TakeOutputFrame(time, sampleRate, played);
        if (!outputFrame || ++inVain > mostInVain) {
            outputSlot = -1;
            return;
        }
        if (followsDrift) {
            double const played = block.written / static_cast<double>(sampleRate) * secondUs;
            PaSyncAudio(block.position, block.GetFrames(), TruncatedTime(played + static_cast<double>(time)),
                        block.GetChannels(), sampleRate, block.written);
        }
    }
}

// Keeps the drift measurements.
void DecodedAudio::ResetOutput(PlayedFrames& played)
{
    flushCounterSeen = LoadShared(flushCounter);
    played.Take(outputFrame);
    outputSlot = -1;
    outputSamples = nullptr;
    outputFrameStart = 0;
    remainingSamples = 0;
    speedPhase = 0.0;
}

// Takes the next frame, or the one at `time` if the slot is unknown. Takes none if there is none or if the slot numbers
// have changed meanwhile.
void DecodedAudio::TakeOutputFrame(long long time, int sampleRate, PlayedFrames& played)
{
    played.Take(outputFrame);
    bool const isLookup = outputSlot < 0;
    if (isLookup)
        outputGeneration = ring.GetGeneration();
    auto const view = ring.GetView();
    outputSlot = isLookup ? ring.Find(view, time) : SlotAfter(view, view.capacity, outputSlot);
    outputFrame = ring.CopyFrame(view, outputSlot);
    if (ring.GetGeneration() != outputGeneration)
        played.Take(outputFrame);
    if (!outputFrame)
        return;
    outputSamples = outputFrame->samples;
    outputFrameStart = LoadShared(outputFrame->startTime);
    long long remaining = LoadShared(outputFrame->frameCount);
    if (isLookup)
        remaining -= WrappedProduct(WrappedDifference(time, outputFrameStart), sampleRate) / secondUs;
    remainingSamples = HeldToInt(remaining);
}

// Counts from the frame's end, which may have moved: the cache stretches the latest frame when its neighbour arrives.
// True when at least one output frame was written.
bool DecodedAudio::PlayOutputFrame(OutputBlock& block)
{
    int const written = block.written;
    long long const sampleCount = LoadShared(outputFrame->sampleCount);
    long long const index = sampleCount - static_cast<long long>(remainingSamples) * block.GetChannels();
    remainingSamples -= block.Play({outputSamples, CountReadable(*outputFrame)}, index, remainingSamples);
    return block.written > written;
}

void DecodedAudio::PaSyncAudio(short* buffer, int framesPerBuffer, long long time, int channels, int sampleRate,
                               int& written)
{
    long long const diff = WrappedDifference(time, outputFrameStart);
    if (diff >= -driftToleranceUs && diff <= driftToleranceUs) {
        PaResetDiffCounter();
        return;
    }
    int const count = LoadShared(diffCount);
    bool const isNewRow = count >= driftMeasurements;
    long long const sum = isNewRow ? diff : WrappedSum(LoadShared(diffSum), diff);
    if (count != driftMeasurements - 1) {
        StoreShared(diffSum, sum);
        StoreShared(diffCount, isNewRow ? 1 : count + 1);
        return;
    }
    PaResetDiffCounter();
    if (sum >= -uncorrectedSumUs && sum <= uncorrectedSumUs)
        return;
    long long const average = sum / driftMeasurements;
    double const frames = static_cast<double>(WrappedProduct(sampleRate, average)) / secondUs;
    int const correction = HeldToInt(static_cast<long long>(frames));
    if (correction >= 0)
        remainingSamples = HeldToInt(static_cast<long long>(remainingSamples) - correction);
    else
        RepeatFirstSamples(buffer, framesPerBuffer, channels, correction, written);
}

// Every pass writes the same place and counts values instead of frames. Both are intended: the following frames
// overwrite that place, and the block ends earlier by that count.
void DecodedAudio::RepeatFirstSamples(short* buffer, int framesPerBuffer, int channels, int correction,
                                      int& written) const
{
    if (!buffer || channels <= 0)
        return;
    int const readable = outputFrame ? CountReadable(*outputFrame) : 0;
    for (; correction < 0; correction += channels) {
        long long const room = std::max(static_cast<long long>(framesPerBuffer) - written, 1LL);
        int const values = static_cast<int>(std::min<long long>(channels, room));
        for (int i = 0; i < values; ++i)
            buffer[i] = i < readable ? outputSamples[i] : short{0};
        written = HeldToInt(static_cast<long long>(written) + values);
        if (written >= framesPerBuffer)
            return;
    }
}

void DecodedAudio::FlushPaBuffer()
{
    IncrementShared(flushCounter);
}

void DecodedAudio::PaResetDiffCounter()
{
    StoreShared(diffCount, 0);
    StoreShared(diffSum, 0);
}
