#include "playback/SoundOutput.h"

#include "common/Microseconds.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int fadesPerSecond = 200; // 5 ms each
constexpr int firstSlots = 1024;

// Times are reflected about this moment: later than any sound (31 years), so that reflected times are not negative.
constexpr long long mirror = 1000000000 * secondUs;

std::shared_ptr<DecodedAudioFrame> Mirrored(DecodedAudioFrame const& frame, int channels)
{
    auto mirrored = std::make_shared<DecodedAudioFrame>();
    int const values = std::min(frame.sampleCount, frame.sampleCapacity) / channels * channels;
    mirrored->samples = new short[static_cast<size_t>(values)];
    for (int i = 0; i < values; i += channels)
        std::copy_n(frame.samples + values - channels - i, channels, mirrored->samples + i);
    mirrored->sampleCount = values;
    mirrored->sampleCapacity = values;
    mirrored->sampleRate = frame.sampleRate;
    mirrored->frameCount = values / channels;
    mirrored->startTime = mirror - frame.endTime;
    mirrored->endTime = mirror - frame.startTime;
    return mirrored;
}

short Scaled(short sample, int numerator, int denominator)
{
    return static_cast<short>(sample * numerator / denominator);
}

} // namespace

SoundOutput::SoundOutput(int newChannels, int newSampleRate)
    : channels(newChannels),
      sampleRate(newSampleRate),
      fadeFrames(std::max(newSampleRate / fadesPerSecond, 1)),
      prepared(static_cast<size_t>(fadeFrames) * static_cast<size_t>(newChannels)),
      piece(static_cast<size_t>(newSampleRate * SoundPiece::duration / secondUs) * static_cast<size_t>(newChannels))
{
    forwardCache.SetMaxFrameCount(firstSlots);
    backwardCache.SetMaxFrameCount(firstSlots);
}

void SoundOutput::Append(std::shared_ptr<DecodedAudioFrame> const& frame, bool forwards)
{
    if (forwards)
        forwardCache.AppendFrame(frame);
    else
        backwardCache.AppendFrame(Mirrored(*frame, channels));
}

void SoundOutput::Clear(bool forwards)
{
    (forwards ? forwardCache : backwardCache).Clear();
}

void SoundOutput::Clear()
{
    forwardCache.ForceClear();
    backwardCache.ForceClear();
}

void SoundOutput::Trim(long long from, long long to, bool forwards)
{
    if (forwards)
        forwardCache.UpdateCache(from, to);
    else
        backwardCache.UpdateCache(mirror - to, mirror - from);
}

void SoundOutput::Fill(short* buffer, int frames, SoundRun const& run)
{
    if (!Follows(run))
        Begin(run);
    current.speed = run.speed;
    current.volume = run.volume;
    int const written = WriteTail(buffer, frames);
    short* const rest = buffer + static_cast<size_t>(written) * static_cast<size_t>(channels);
    if (!current.sounding) {
        std::fill_n(rest, static_cast<size_t>(frames - written) * static_cast<size_t>(channels), short{0});
        readPosition += Duration(frames - written) * current.speed;
    } else if (written < frames) {
        WriteRun(rest, frames - written);
    }
}

void SoundOutput::TakeTail(SoundOutput const& former)
{
    if (former.channels != channels || former.sampleRate != sampleRate || !former.current.sounding)
        return;
    std::copy(former.prepared.begin(), former.prepared.end(), prepared.begin());
    preparedFrames = former.preparedFrames;
    tailFrames = former.tailFrames;
    tailLength = former.tailLength;
    current.sounding = true;
    current.seekSerial = -1; // of no run that can go on
}

bool SoundOutput::Follows(SoundRun const& run) const
{
    return run.piece.serial == current.piece.serial && run.seekSerial == current.seekSerial &&
           run.restarts == current.restarts && run.sounding == current.sounding &&
           std::signbit(run.speed) == std::signbit(current.speed);
}

double SoundOutput::GetPosition() const
{
    return readPosition - Duration(preparedFrames - tailFrames) * preparedSpeed;
}

// What has been made ahead of the former run becomes the tail that goes out fading.
void SoundOutput::Begin(SoundRun const& run)
{
    if (current.sounding && tailFrames == 0 && !IsPieceOver()) {
        tailFrames = preparedFrames;
        tailLength = preparedFrames;
    }
    preparedFrames = tailFrames;
    current = run;
    readPosition = static_cast<double>(run.position);
    begun = false;
    fadedIn = 0;
    if (run.piece.serial != 0)
        MakePiece();
}

void SoundOutput::MakePiece()
{
    int const frames = static_cast<int>(piece.size()) / channels;
    forwardCache.PaFillBuffer(piece.data(), frames, channels, sampleRate, current.piece.position, current.volume,
                              /*reset=*/true, /*speed=*/1.0);
    for (int first = 0, last = frames - 1; !current.piece.forwards && first < last; ++first, --last)
        std::swap_ranges(piece.data() + first * channels, piece.data() + (first + 1) * channels,
                         piece.data() + last * channels);
    for (int i = 0; i < std::min(fadeFrames, frames) * channels; ++i) {
        short& sample = piece[piece.size() - 1 - static_cast<size_t>(i)];
        sample = Scaled(sample, i / channels, fadeFrames);
    }
    pieceTaken = 0;
}

// Behind the piece it is silent.
void SoundOutput::TakePiece(short* buffer, int frames)
{
    int const length = static_cast<int>(piece.size()) / channels;
    int const count = std::clamp(length - pieceTaken, 0, frames);
    std::copy_n(piece.data() + pieceTaken * channels, count * channels, buffer);
    std::fill_n(buffer + count * channels, (frames - count) * channels, short{0});
    pieceTaken = std::min(pieceTaken + frames, length + fadeFrames);
}

// All of it has gone out, and what is made ahead is silence.
bool SoundOutput::IsPieceOver() const
{
    int const length = static_cast<int>(piece.size()) / channels;
    return current.piece.serial != 0 && pieceTaken - preparedFrames >= length;
}

// The time goes on for the new run meanwhile.
int SoundOutput::WriteTail(short* buffer, int frames)
{
    int const count = std::min(frames, tailFrames);
    for (int i = 0; i < count * channels; ++i)
        buffer[i] = Scaled(prepared[static_cast<size_t>(i)], tailFrames - i / channels - 1, tailLength);
    tailFrames -= count;
    preparedFrames -= count;
    std::memmove(prepared.data(), PreparedAt(count), static_cast<size_t>(tailFrames * channels) * sizeof(short));
    readPosition += Duration(count) * current.speed;
    return count;
}

void SoundOutput::WriteRun(short* buffer, int frames)
{
    int const ready = std::min(frames, preparedFrames);
    std::copy_n(prepared.data(), ready * channels, buffer);
    preparedFrames -= ready;
    std::memmove(prepared.data(), PreparedAt(ready), static_cast<size_t>(preparedFrames * channels) * sizeof(short));
    if (frames > ready)
        Render(buffer + ready * channels, frames - ready);
    if (preparedFrames < fadeFrames)
        Render(PreparedAt(preparedFrames), fadeFrames - preparedFrames);
    preparedFrames = fadeFrames;
    preparedSpeed = current.speed;
}

void SoundOutput::Render(short* buffer, int frames)
{
    bool const forwards = current.speed > 0.0;
    DecodedAudio& cache = forwards ? forwardCache : backwardCache;
    // Backwards, what sounds first is the frame that ends before the position: at the end of the sound, the last one.
    double const time = forwards ? readPosition : static_cast<double>(mirror + 1) - readPosition;
    if (current.piece.serial != 0)
        TakePiece(buffer, frames);
    else
        cache.PaFillBuffer(buffer, frames, channels, sampleRate, static_cast<long long>(time), current.volume, !begun,
                           std::fabs(current.speed));
    begun = true;
    readPosition += Duration(frames) * current.speed;
    for (int i = 0; fadedIn < fadeFrames && i < frames; ++i, ++fadedIn) {
        for (int channel = 0; channel < channels; ++channel) {
            short& sample = buffer[i * channels + channel];
            sample = Scaled(sample, fadedIn, fadeFrames);
        }
    }
}

double SoundOutput::Duration(int frames) const
{
    return static_cast<double>(frames) * secondUs / sampleRate;
}

short* SoundOutput::PreparedAt(int frame)
{
    return prepared.data() + static_cast<size_t>(frame) * static_cast<size_t>(channels);
}
