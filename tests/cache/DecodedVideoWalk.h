#pragma once

#include "tests/cache/DecodedVideoModel.h"
#include "tests/cache/RingWalk.h"

#include "cache/DecodedVideo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

// A cache and its model, driven by `Choices` (see WalkRandom). The number in a picture's `rotation`, which the cache
// ignores, identifies it.
template <typename Choices>
class DecodedVideoWalk : public RingWalk<DecodedVideo, DecodedVideoModel, DecodedVideoFrame, PictureModel, Choices>
{
public:
    explicit DecodedVideoWalk(Choices newChoices) : Ring(newChoices) {}

    void Step()
    {
        long long const kind = random.Between(1, 1000);
        if (kind <= 500)
            AppendSome();
        else if (kind <= 850)
            Update();
        else if (kind <= 870)
            Both([](auto& cache) { cache.OverrideLastFrameEndTime(1000000); },
                 [](auto& model) { model.OverrideEnd(1000000); });
        else if (kind <= 920)
            this->PushAtEitherEnd(NewRecord(SomeStart()));
        else if (kind <= 960)
            this->PopAtEitherEnd(random.OneIn(40) ? model.Count() : random.Between(1, 3));
        else if (kind <= 964)
            Both([](auto& cache) { cache.Clear(); }, [](auto& model) { model.Clear(); });
        else if (kind <= 967)
            Both([](auto& cache) { cache.ForceClear(); }, [](auto& model) { model.ForceClear(); });
        else if (kind <= 970)
            Resize();
        else if (kind <= 990)
            ChangeSize();
        else
            Both([](auto& cache) { cache.UpdateStartEndTimes(); }, [](auto& model) { model.UpdateTimes(); });
        Compare();
    }

    bool HasDrained() const { return hasDrained; }

private:
    using Ring = RingWalk<DecodedVideo, DecodedVideoModel, DecodedVideoFrame, PictureModel, Choices>;
    using Ring::cache;
    using Ring::hasWrapped;
    using Ring::lastId;
    using Ring::lives;
    using Ring::model;
    using Ring::mostFrames;
    using Ring::random;

    template <typename OnCache, typename OnModel>
    void Both(OnCache onCache, OnModel onModel)
    {
        onCache(cache);
        onModel(model);
    }

    // The same record for the cache and the model; now and then null or without data.
    std::pair<std::shared_ptr<DecodedVideoFrame>, std::shared_ptr<PictureModel>> NewRecord(long long start)
    {
        auto real = std::make_shared<DecodedVideoFrame>();
        auto planned = std::make_shared<PictureModel>();
        planned->id = real->rotation = ++lastId;
        planned->hasData = !random.OneIn(30);
        if (planned->hasData)
            real->data = new uint8_t[1]();
        planned->size = real->size = static_cast<int>(random.Between(0, 300));
        planned->startTime = real->startTime = start;
        static constexpr long long spans[] = {-1, 0, 39, 40, 41, 100};
        planned->endTime = real->endTime = random.OneIn(4) ? 0 : start + random.AnyOf(spans);
        lives.push_back({real, planned});
        return {real, planned};
    }

    long long SomeStart()
    {
        switch (random.Between(0, 9)) {
        case 0:
            return random.Between(model.start - 100, model.end + 100);
        case 1:
            return model.start;
        case 2:
            return model.Last() ? model.Last()->startTime : 0;
        case 3:
            return random.Between(-60, 1500);
        case 4:
        case 5:
            return model.start - random.Between(1, 50);
        default:
            return (model.Last() ? model.Last()->startTime : random.Between(0, 3000)) + random.Between(1, 50);
        }
    }

    void AppendSome()
    {
        if (random.OneIn(400))
            this->AppendNothing();
        else
            this->Append(NewRecord(SomeStart()));
    }

    void Update()
    {
        if (random.OneIn(3))
            position += random.Between(-200, 200);
        else if (random.OneIn(10))
            position = random.Between(model.start - 50, model.end + 50);
        else
            position += 40;
        long long const mediaEnd = random.OneIn(3) ? model.end + random.Between(-1, 1) : random.Between(0, 100000);
        bool const playing = random.OneIn(2);
        bool const forwards = random.OneIn(2);
        cache.UpdateCache(position, mediaEnd, playing, forwards);
        model.Update(position, mediaEnd, playing, forwards);
    }

    void Resize()
    {
        static constexpr long long budgets[] = {-1, 0, 1, 2000, 5000, 8000};
        static constexpr int sides[] = {-1, 0, 5, 6, 10};
        long long const budget = random.AnyOf(budgets);
        int const width = random.AnyOf(sides);
        int const height = random.AnyOf(sides);
        cache.SetMaxCacheSize(budget, width, height, 3);
        model.SetMax(budget, width, height, 3);
    }

    // The host changes a record that it shares with the cache.
    void ChangeSize()
    {
        int const slot = static_cast<int>(random.Between(0, model.Capacity() - 1));
        if (!model.At(slot))
            return;
        model.At(slot)->size = cache.GetFrameAtIndex(slot)->size = static_cast<int>(random.Between(0, 300));
    }

    static int IdOf(std::shared_ptr<DecodedVideoFrame> const& frame) { return frame ? frame->rotation : 0; }
    static int IdOf(std::shared_ptr<PictureModel> const& picture) { return picture ? picture->id : 0; }

    void Compare()
    {
        mostFrames = std::max(mostFrames, model.Count());
        hasWrapped = hasWrapped || (model.last < model.first && model.First());
        hasDrained = hasDrained || (model.first >= 0 && !model.First());
        ASSERT_EQ(cache.GetFrameCount(), model.Count());
        ASSERT_EQ(cache.GetMaxFrameCount(), model.Capacity());
        ASSERT_EQ(cache.GetSize(), model.bytes);
        ASSERT_EQ(cache.GetMaxCacheSize(), model.budget);
        ASSERT_EQ(cache.GetStartTime(), model.start);
        ASSERT_EQ(cache.GetEndTime(), model.end);
        ASSERT_EQ(cache.IsCacheFull(), model.Full());
        ASSERT_EQ(cache.CanCacheForwards(), model.wantForwards);
        ASSERT_EQ(cache.CanCacheBackwards(), model.wantBackwards);
        ASSERT_EQ(IdOf(cache.FirstFrame()), IdOf(model.First()));
        ASSERT_EQ(IdOf(cache.LastFrame()), IdOf(model.Last()));
        CompareSlots();
        CompareLookups();
        this->CompareLives(
            [](auto const& real, auto const& planned) { ASSERT_EQ(real != nullptr, planned != nullptr); });
    }

    void CompareSlots()
    {
        for (int slot = 0; slot < model.Capacity(); ++slot) {
            auto const real = cache.GetFrameAtIndex(slot);
            auto const planned = model.At(slot);
            ASSERT_EQ(IdOf(real), IdOf(planned)) << "slot " << slot;
            if (!real)
                continue;
            ASSERT_EQ(real->startTime, planned->startTime) << "slot " << slot;
            ASSERT_EQ(real->endTime, planned->endTime) << "slot " << slot;
        }
    }

    void CompareLookups()
    {
        for (int i = 0; i < 2; ++i) {
            long long const time = random.Between(model.start - 50, std::max(model.end, model.start) + 50);
            ASSERT_EQ(cache.GetFrameIndex(time), model.Index(time)) << "at " << time;
            int const offset = static_cast<int>(random.OneIn(3) ? 0 : random.Between(-5, 5) * random.Between(1, 60));
            ASSERT_EQ(IdOf(cache.GetFrame(time, offset)), IdOf(model.Get(time, offset))) << time << " + " << offset;
            int const index = static_cast<int>(random.Between(-2, model.Capacity() + 1));
            ASSERT_EQ(cache.GetNextFrameIndex(index), model.Next(index)) << "after " << index;
            ASSERT_EQ(cache.GetPreviousFrameIndex(index), model.Previous(index)) << "before " << index;
            int const other = static_cast<int>(random.Between(-2, model.Capacity() + 1));
            ASSERT_EQ(cache.GetFrameIndexBinarySearch(time, index, other), model.Search(time, index, other));
            long long ahead = 0;
            long long behind = 0;
            long long expectedAhead = 0;
            long long expectedBehind = 0;
            cache.GetDirectionalCacheSizes(time, ahead, behind);
            model.Directions(time, expectedAhead, expectedBehind);
            ASSERT_EQ(ahead, expectedAhead) << "at " << time;
            ASSERT_EQ(behind, expectedBehind) << "at " << time;
        }
    }

    long long position = 0;
    bool hasDrained = false;
};
