#pragma once

#include "tests/cache/DecodedAudioModel.h"
#include "tests/cache/RingWalk.h"

#include "cache/DecodedAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>
#include <vector>

// A cache and its model, driven by `Choices` (see WalkRandom). At 1000 Hz an audio frame lasts a millisecond.
template <typename Choices>
class DecodedAudioWalk : public RingWalk<DecodedAudio, DecodedAudioModel, DecodedAudioFrame, SoundModel, Choices>
{
public:
    explicit DecodedAudioWalk(Choices newChoices) : Ring(newChoices) { SetMax(8); }

    void Step()
    {
        long long const kind = random.Between(1, 1000);
        if (kind <= 380)
            AppendSome();
        else if (kind <= 720)
            Fill();
        else if (kind <= 880)
            Trim();
        else if (kind <= 900)
            this->PushAtEitherEnd(NewRecord(SomeStart()));
        else if (kind <= 930)
            this->PopAtEitherEnd(random.OneIn(30) ? model.Count() : 1);
        else if (kind <= 934)
            Clear();
        else if (kind <= 938)
            SetMax(static_cast<int>(random.OneIn(8) ? random.Between(-1, 2) : random.Between(3, 12)));
        else if (kind <= 950)
            Flush();
        else if (kind <= 960)
            ChangeChannels();
        else if (kind <= 970)
            Refill();
        else
            UpdateTimes();
        Compare();
    }

    int CorrectionsAhead() const { return model.corrections[0]; }
    int CorrectionsBack() const { return model.corrections[1]; }

private:
    using Ring = RingWalk<DecodedAudio, DecodedAudioModel, DecodedAudioFrame, SoundModel, Choices>;
    using Ring::cache;
    using Ring::hasWrapped;
    using Ring::lastId;
    using Ring::lives;
    using Ring::model;
    using Ring::mostFrames;
    using Ring::random;

    std::pair<std::shared_ptr<DecodedAudioFrame>, std::shared_ptr<SoundModel>> NewRecord(long long start)
    {
        auto real = std::make_shared<DecodedAudioFrame>();
        auto planned = std::make_shared<SoundModel>();
        int const frames = static_cast<int>(random.OneIn(12) ? 0 : random.Between(1, 40));
        int const ownChannels = random.OneIn(30) ? static_cast<int>(random.Between(1, 6)) : channels;
        planned->samples.resize(static_cast<size_t>(frames * ownChannels));
        std::minstd_rand values(static_cast<unsigned>(lastId + 1));
        for (short& sample : planned->samples)
            sample = static_cast<short>(static_cast<int>(values() >> 8 & 0xffff) - 32768);
        real->samples = new short[planned->samples.size()];
        std::copy(planned->samples.begin(), planned->samples.end(), real->samples);
        planned->sampleCount = real->sampleCount = real->sampleCapacity = frames * ownChannels;
        planned->frameCount = real->frameCount = frames;
        planned->sampleRate = real->sampleRate = 1000;
        planned->startTime = real->startTime = start;
        planned->endTime = real->endTime = start + frames * 1000 - 1;
        if (random.OneIn(10))
            tag = static_cast<int>(random.Between(-1, 2));
        planned->tag = real->tag = tag;
        planned->id = ++lastId;
        lives.push_back({real, planned});
        return {real, planned};
    }

    long long SomeStart()
    {
        switch (random.Between(0, 12)) {
        case 0:
            return random.Between(model.start - 3000, model.end + 3000);
        case 1:
            return model.start;
        case 2:
            return model.Last() ? model.Last()->startTime : 0;
        case 3:
            return random.Between(-40000, 40000);
        case 4:
            return model.start - random.Between(1, 30000);
        case 5:
            return model.end + random.Between(-10000, 10000);
        default:
            return model.end + 1;
        }
    }

    void AppendSome()
    {
        if (random.OneIn(300))
            this->AppendNothing();
        else
            this->Append(NewRecord(SomeStart()));
    }

    void Trim()
    {
        long long const from = position - random.Between(0, 60000);
        long long const to = random.OneIn(20) ? position + random.Between(-20000, 80000) : position + 1000000;
        cache.UpdateCache(from, to);
        model.Update(from, to);
    }

    void Clear()
    {
        bool const force = random.OneIn(3);
        force ? cache.ForceClear() : cache.Clear();
        force ? model.ForceClear() : model.Clear();
    }

    void SetMax(int count)
    {
        cache.SetMaxFrameCount(count);
        model.SetMax(count);
    }

    void Flush()
    {
        if (random.OneIn(3)) {
            cache.PaResetDiffCounter();
            model.diffCount = 0;
            model.diffSum = 0;
        } else {
            cache.FlushPaBuffer();
            ++model.flushes;
        }
    }

    void ChangeChannels()
    {
        static constexpr int counts[] = {1, 2, 2, 3, 6};
        channels = random.AnyOf(counts);
    }

    // So that the ring does not stay empty for long after its length changes.
    void Refill()
    {
        for (int i = 0; i < 5; ++i)
            AppendSome();
        position = model.start;
    }

    void UpdateTimes()
    {
        cache.UpdateStartEndTimes();
        model.UpdateTimes();
    }

    void Fill()
    {
        static constexpr double speeds[] = {0.25, 0.5, 0.75, 0.9, 1.1, 1.5, 2.0, 3.0, 4.0};
        static constexpr double volumes[] = {0.0, 0.3, 0.5, 0.999, 1.5, 2.0, 7.0, -1.0, 1e9};
        if (random.OneIn(15))
            speed = random.OneIn(2) ? 1.0 : random.AnyOf(speeds);
        if (random.OneIn(10))
            volume = random.OneIn(2) ? 1.0 : random.AnyOf(volumes);
        if (random.OneIn(25))
            position = random.Between(model.start - 5000, std::max(model.start, model.end) + 5000);
        if (random.OneIn(15)) // the clock drifts
            position += random.Between(-60000, 60000);
        bool const reset = random.OneIn(20);
        int const frames = static_cast<int>(random.Between(1, random.OneIn(5) ? 150 : 40));
        std::vector<short> real(static_cast<size_t>(frames * channels), 0x5a5a);
        std::vector<short> planned = real;
        int const written = cache.PaFillBuffer(real.data(), frames, channels, 1000, position, volume, reset, speed);
        ASSERT_EQ(written, model.Fill(planned.data(), frames, channels, 1000, position, volume, reset, speed));
        ASSERT_EQ(real, planned) << frames << " frames of " << channels << " at " << position << ", speed " << speed
                                 << ", volume " << volume << (reset ? ", reset" : "");
        position += static_cast<long long>(frames * 1000 * speed);
    }

    void Compare()
    {
        mostFrames = std::max(mostFrames, model.Count());
        hasWrapped = hasWrapped || model.last < model.first;
        ASSERT_EQ(cache.GetFrameCount(), model.Count());
        ASSERT_EQ(cache.GetMaxFrameCount(), model.Capacity());
        ASSERT_EQ(cache.GetSize(), model.size);
        ASSERT_EQ(cache.GetStartTime(), model.start);
        ASSERT_EQ(cache.GetEndTime(), model.end);
        CompareRecord(cache.FirstFrame(), model.First());
        CompareRecord(cache.LastFrame(), model.Last());
        CompareLookups();
        this->CompareLives([](auto const& real, auto const& planned) { CompareRecord(real, planned); });
    }

    static void CompareRecord(std::shared_ptr<DecodedAudioFrame> const& real,
                              std::shared_ptr<SoundModel> const& planned)
    {
        ASSERT_EQ(real != nullptr, planned != nullptr);
        if (!real)
            return;
        ASSERT_EQ(real->startTime, planned->startTime);
        ASSERT_EQ(real->endTime, planned->endTime);
        ASSERT_EQ(real->sampleCount, planned->sampleCount);
        ASSERT_EQ(real->frameCount, planned->frameCount);
        ASSERT_TRUE(std::equal(planned->samples.begin(), planned->samples.end(), real->samples));
    }

    void CompareLookups()
    {
        for (int index = -1; index <= model.Capacity(); ++index) {
            ASSERT_EQ(cache.GetNextFrameIndex(index), model.Next(index)) << "after " << index;
            ASSERT_EQ(cache.GetPreviousFrameIndex(index), model.Previous(index)) << "before " << index;
            // Looks up every slot by its time, so that no frame is missed.
            if (auto const planned = model.At(index)) {
                ASSERT_EQ(cache.GetFrameIndex(planned->startTime), model.Index(planned->startTime)) << index;
                ASSERT_EQ(cache.GetFrameIndexBinarySearch(planned->endTime, index, index),
                          model.Search(planned->endTime, index, index));
            }
        }
        for (int i = 0; i < 2; ++i) {
            long long const time = random.Between(model.start - 2000, std::max(model.start, model.end) + 2000);
            ASSERT_EQ(cache.GetFrameIndex(time), model.Index(time)) << "at " << time;
            int const low = static_cast<int>(random.Between(-2, model.Capacity() + 1));
            int const high = static_cast<int>(random.Between(-2, model.Capacity() + 1));
            ASSERT_EQ(cache.GetFrameIndexBinarySearch(time, low, high), model.Search(time, low, high));
        }
    }

    long long position = 0;
    int channels = 2;
    int tag = -1;
    double speed = 1.0;
    double volume = 1.0;
};
