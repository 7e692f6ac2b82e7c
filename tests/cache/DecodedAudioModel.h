#pragma once

#include <cmath>
#include <memory>
#include <vector>

// A simple model of the audio cache and its fill, value by value, for comparison after each step.
struct SoundModel
{
    int id = 0;
    std::vector<short> samples; // as many as allocated
    int sampleCount = 0;
    int sampleRate = 0;
    int frameCount = 0;
    long long startTime = 0;
    long long endTime = 0;
    int tag = -1;
};

struct DecodedAudioModel
{
    using Sound = std::shared_ptr<SoundModel>;

    std::vector<Sound> arrays[2];
    int live = 0;
    int retired = 1;
    int cursor = -1;
    int first = -1;
    int last = -1;
    long long start = 0;
    long long end = 0;
    long long size = 0;
    int flushes = 0;

    Sound playing;
    int slot = -1;
    long long playingStart = 0;
    int remaining = 0;
    int diffCount = 0;
    long long diffSum = 0;
    int flushesSeen = 0;
    double phase = 0.0;
    int corrections[2] = {0, 0}; // ahead, back: shows that the walk covered both

    std::vector<Sound>& Ring() { return arrays[live]; }
    int Capacity() { return static_cast<int>(Ring().size()); }
    int Count()
    {
        if (first < 0)
            return 0;
        return last >= first ? last - first + 1 : last - first + 1 + Capacity();
    }
    bool Empty() { return Count() == 0; }
    Sound At(int index) { return index < 0 || index >= Capacity() ? nullptr : Ring()[index]; }
    Sound First() { return At(first); }
    Sound Last() { return At(last); }

    void SetMax(int count)
    {
        count = count < 0 ? 0 : count;
        bool const wrapped = last < first;
        if (wrapped ? count != Capacity() : last >= count)
            ForceClear();
        arrays[0].resize(count);
        arrays[1].resize(count);
        if (cursor > count - 1)
            cursor = count - 1;
    }

    void UpdateTimes()
    {
        start = Empty() ? 0 : First()->startTime;
        end = Empty() ? 0 : Last()->endTime;
    }

    void Forget()
    {
        size = 0;
        first = last = -1;
        ++flushes;
        UpdateTimes();
    }

    void Clear()
    {
        retired = live;
        cursor = Capacity() - 1;
        live = 1 - live;
        Ring().assign(Ring().size(), nullptr);
        Forget();
    }

    void ForceClear()
    {
        arrays[0].assign(arrays[0].size(), nullptr);
        arrays[1].assign(arrays[1].size(), nullptr);
        Forget();
    }

    static void Stretch(SoundModel& sound, long long gap)
    {
        if (sound.frameCount == 0 || sound.sampleCount / sound.frameCount == 0)
            return;
        int const channels = sound.sampleCount / sound.frameCount;
        sound.frameCount += static_cast<int>(sound.sampleRate * gap / 1000000);
        sound.sampleCount = sound.frameCount * channels;
    }

    void PushBack(Sound const& sound)
    {
        if (Capacity() == 0)
            return;
        if (last < 0) {
            first = last = 0;
        } else {
            if (sound->tag != Last()->tag)
                Stretch(*Last(), sound->startTime - 1 - Last()->endTime);
            Last()->endTime = sound->startTime - 1;
            last = last + 1 == Capacity() ? 0 : last + 1;
        }
        size += sound->sampleCount;
        Ring()[last] = sound;
    }

    void PushFront(Sound const& sound)
    {
        if (Capacity() == 0)
            return;
        if (first < 0) {
            first = last = 0;
        } else {
            if (sound->tag != First()->tag)
                Stretch(*sound, start - 1 - sound->endTime);
            sound->endTime = start - 1;
            first = first == 0 ? Capacity() - 1 : first - 1;
        }
        size += sound->sampleCount;
        Ring()[first] = sound;
    }

    void PopFront()
    {
        if (Empty())
            return;
        int const count = Count();
        size -= First()->sampleCount;
        Ring()[first] = nullptr;
        first = first + 1 == Capacity() ? 0 : first + 1;
        if (count == 1)
            first = last = -1;
    }

    void PopBack()
    {
        if (Empty())
            return;
        int const count = Count();
        size -= Last()->sampleCount;
        Ring()[last] = nullptr;
        last = last == 0 ? Capacity() - 1 : last - 1;
        if (count == 1)
            first = last = -1;
    }

    void Append(Sound const& sound)
    {
        for (int i = 0; i < 2; ++i)
            if (cursor >= 0)
                arrays[retired][cursor--] = nullptr;
        if (Capacity() < 1)
            return;
        if (!sound)
            return Clear();
        if (sound->startTime < 0) {
            if (sound->endTime < 0)
                return;
            sound->startTime = 0;
        }
        if (Empty()) {
            PushBack(sound);
            return UpdateTimes();
        }
        if (sound->startTime == First()->startTime || sound->startTime == Last()->startTime)
            return;
        if (Count() == Capacity() - 1) {
            std::vector<Sound> grown;
            for (int i = 0, from = first; i < Count(); ++i, from = (from + 1) % Capacity())
                grown.push_back(Ring()[from]);
            first = 0;
            last = static_cast<int>(grown.size()) - 1;
            grown.resize(static_cast<size_t>(static_cast<float>(Capacity()) * 1.5));
            Ring() = grown;
            ++flushes;
        }
        if (sound->startTime > Last()->startTime)
            PushBack(sound);
        else if (sound->startTime < start)
            PushFront(sound);
        UpdateTimes();
    }

    void Update(long long from, long long to)
    {
        while (First() && First()->endTime < from)
            PopFront();
        while (Last() && Last()->startTime > to)
            PopBack();
    }

    int Search(long long time, int low, int high)
    {
        if (low > high)
            return -1;
        int const middle = (low + high) / 2;
        if (!At(middle))
            return -1;
        if (At(middle)->startTime > time)
            return Search(time, low, middle - 1);
        if (At(middle)->endTime < time)
            return Search(time, middle + 1, high);
        return middle;
    }

    int Index(long long time)
    {
        if (Empty() || !First() || !Last())
            return -1;
        if (last >= first)
            return Search(time, first, last);
        Sound const upper = At(Capacity() - 1);
        if (!upper)
            return -1;
        return First()->startTime > time || upper->endTime < time ? Search(time, 0, last)
                                                                  : Search(time, first, Capacity() - 1);
    }

    int Next(int index)
    {
        if (index < 0)
            return -1;
        if (index + 1 >= Capacity())
            return last >= 0 ? 0 : -1;
        return last > index || first <= index + 1 ? index + 1 : -1;
    }

    int Previous(int index)
    {
        if (index < 1)
            return last >= first ? -1 : Capacity() - 1;
        return first >= index && index - 1 > last ? -1 : index - 1;
    }

    // --- The fill ---

    // The value that a frame plays; silent beyond its samples.
    static short Value(SoundModel const& sound, long long index, int channel, double volume)
    {
        long long const at = index + channel;
        if (index < 0 || at >= sound.sampleCount || at >= static_cast<long long>(sound.samples.size()))
            return 0;
        double value = static_cast<double>(sound.samples[static_cast<size_t>(at)]) * volume;
        if (value > 32767.0)
            value = 32767.0;
        if (value < -32768.0)
            value = -32768.0;
        return static_cast<short>(value);
    }

    int Fill(short* out, int frames, int channels, int rate, long long time, double volume, bool reset, double speed)
    {
        double step = 0.0;
        if (speed > 1.0)
            step = 1.0 - speed;
        if (speed < 1.0)
            step = 1.0 / speed - 1.0;
        if (reset || flushes != flushesSeen) {
            flushesSeen = flushes;
            playing = nullptr;
            slot = -1;
            phase = 0.0;
            playingStart = 0;
            remaining = 0;
        }
        int written = 0;
        int moves = 0;
        while (written < frames) {
            if (remaining > 0) {
                int const before = written;
                if (CopyFrame(out, frames, channels, volume, step, written))
                    return written;
                moves = written > before ? 0 : moves;
                continue;
            }
            if (!TakeFrame(time, rate) || ++moves > Capacity() + 1000) {
                slot = -1;
                break;
            }
            if (speed == 1.0) {
                auto const reached =
                    static_cast<long long>(written / static_cast<double>(rate) * 1000000.0 + static_cast<double>(time));
                Sync(out, frames, reached, channels, rate, written);
            }
        }
        for (; written < frames; ++written)
            for (int c = 0; c < channels; ++c)
                *out++ = 0;
        return written;
    }

    bool TakeFrame(long long time, int rate)
    {
        bool const lookUp = slot < 0;
        slot = lookUp ? Index(time) : Next(slot);
        playing = At(slot);
        if (!playing)
            return false;
        playingStart = playing->startTime;
        remaining = playing->frameCount;
        if (lookUp)
            remaining -= static_cast<int>((time - playingStart) * rate / 1000000);
        return true;
    }

    // True when the block is full.
    bool CopyFrame(short*& out, int frames, int channels, double volume, double step, int& written)
    {
        long long index = playing->sampleCount - static_cast<long long>(remaining) * channels;
        while (index < playing->sampleCount) {
            int const before = remaining;
            if (phase > -1.0) {
                for (int c = 0; c < channels; ++c)
                    *out++ = Value(*playing, index, c, volume);
                phase += step;
                ++written;
            } else {
                phase += 1.0;
            }
            --remaining;
            if (written >= frames)
                return true;
            while (phase > 1.0) {
                for (int c = 0; c < channels; ++c, ++out)
                    *out = *(out - channels);
                ++written;
                phase -= 1.0;
                if (written >= frames)
                    return true;
            }
            if (before < 2)
                return false;
            index += channels;
        }
        return false;
    }

    void Sync(short* out, int frames, long long time, int channels, int rate, int& written)
    {
        long long const diff = time - playingStart;
        if (std::llabs(diff) < 10000) {
            diffCount = 0;
            diffSum = 0;
            return;
        }
        if (diffCount >= 5) {
            diffSum = diff;
            diffCount = 1;
            return;
        }
        diffSum += diff;
        ++diffCount;
        if (diffCount < 5)
            return;
        long long const average = diffSum / 5;
        diffCount = 0;
        diffSum = 0;
        if (std::llabs(average) <= 10000)
            return;
        auto correction = static_cast<int>(std::trunc(static_cast<double>(rate * average) / 1000000.0));
        ++corrections[correction < 0];
        if (correction >= 0) {
            remaining -= correction;
            return;
        }
        for (; correction < 0; correction += channels) {
            for (int c = 0; c < channels; ++c) {
                out[c] = Value(*playing, 0, c, 1.0);
                if (written + c + 1 >= frames) {
                    written += c + 1;
                    return;
                }
            }
            written += channels;
        }
    }
};
