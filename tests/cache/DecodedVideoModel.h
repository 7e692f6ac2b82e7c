#pragma once

#include "common/Settings.h"

#include <memory>
#include <vector>

// A simple model of the picture cache, for comparison after each step.
struct PictureModel
{
    int id = 0;
    bool hasData = true;
    int size = 0;
    long long startTime = 0;
    long long endTime = 0;
};

struct DecodedVideoModel
{
    using Picture = std::shared_ptr<PictureModel>;

    std::vector<Picture> arrays[2] = {std::vector<Picture>(25), std::vector<Picture>(25)};
    int live = 0;
    int retired = 1;
    int cursor = -1;
    int first = -1;
    int last = -1;
    long long start = 0;
    long long end = 0;
    long long bytes = 0;
    long long seenTime = 0;
    bool forwardsLast = true;
    long long budget = 0;
    bool wantForwards = false;
    bool wantBackwards = false;

    std::vector<Picture>& Ring() { return arrays[live]; }
    int Capacity() { return static_cast<int>(Ring().size()); }
    int Count()
    {
        if (first < 0)
            return 0;
        return last >= first ? last - first + 1 : last - first + 1 + Capacity();
    }
    bool Empty() { return first < 0 || Count() < 1; }
    Picture First() { return first < 0 ? nullptr : Ring()[first]; }
    Picture Last() { return last < 0 ? nullptr : Ring()[last]; }

    void UpdateTimes()
    {
        start = First() ? First()->startTime : 0;
        end = Last() ? Last()->endTime : 0;
    }

    void Clear()
    {
        retired = live;
        cursor = Capacity() - 1;
        live = 1 - live;
        for (Picture& slot : Ring())
            slot = nullptr;
        bytes = 0;
        first = last = -1;
        UpdateTimes();
    }

    void ForceClear()
    {
        for (auto& array : arrays)
            for (Picture& slot : array)
                slot = nullptr;
        bytes = 0;
        first = last = -1;
        UpdateTimes();
    }

    void PopFront()
    {
        if (Empty())
            return;
        bytes -= First() ? First()->size : 0;
        Ring()[first] = nullptr;
        first = (first + 1) % Capacity();
    }

    void PopBack()
    {
        if (Empty())
            return;
        bytes -= Last() ? Last()->size : 0;
        Ring()[last] = nullptr;
        last = last == 0 ? Capacity() - 1 : last - 1;
    }

    void PushBack(Picture const& picture)
    {
        if (last < 0) {
            first = last = 0;
        } else {
            if (Last())
                Last()->endTime = picture->startTime - 1;
            last = (last + 1) % Capacity();
        }
        if (Ring()[last])
            PopFront();
        bytes += picture->size;
        Ring()[last] = picture;
    }

    void PushFront(Picture const& picture)
    {
        if (first < 0) {
            first = last = 0;
        } else {
            picture->endTime = start - 1;
            first = first == 0 ? Capacity() - 1 : first - 1;
        }
        if (Ring()[first])
            PopBack();
        bytes += picture->size;
        Ring()[first] = picture;
    }

    void Append(Picture const& picture)
    {
        for (int i = 0; i < 2 && cursor >= 0; ++i)
            arrays[retired][cursor--] = nullptr;
        if (!picture)
            return Clear();
        if (!picture->hasData) {
            if (!Empty() && Last() && picture->endTime > Last()->startTime)
                Last()->endTime = picture->endTime;
            return UpdateTimes();
        }
        if (picture->startTime < 0 && picture->endTime < 0)
            return;
        if (picture->startTime < 0)
            picture->startTime = 0;
        if (Empty()) {
            if (picture->startTime <= Settings::ROUNDING_ERROR_EXTRA_TIME)
                picture->startTime = 0;
            PushBack(picture);
            return UpdateTimes();
        }
        if (First() && picture->startTime == First()->startTime)
            return;
        if (Last() && picture->startTime == Last()->startTime)
            return;
        if (Count() == Capacity() - 1) {
            std::vector<Picture> grown(static_cast<size_t>(static_cast<float>(Capacity()) * 1.5f));
            int const count = Count();
            for (int i = 0; i < count; ++i)
                grown[i] = Ring()[(first + i) % Capacity()];
            Ring() = grown;
            first = 0;
            last = count - 1;
        }
        if (Last() && picture->startTime > Last()->startTime)
            PushBack(picture);
        else if (picture->startTime < start)
            PushFront(picture);
        else
            return;
        UpdateTimes();
    }

    void OverrideEnd(long long time)
    {
        if (Last())
            Last()->endTime = end = time;
    }

    void SetMax(long long newBudget, int width, int height, int bytesPerPixel)
    {
        if (newBudget < 0 || width < 0 || height < 0 || bytesPerPixel < 0)
            return;
        budget = newBudget;
        long long const product = static_cast<long long>(width) * height * bytesPerPixel; // in the walk: no overflow
        int capacity = 25;
        if (product > 0) {
            float const frames = static_cast<float>(newBudget / product) * 1.2f;
            if (frames < 2147483648.0f && static_cast<int>(frames) > 24)
                capacity = static_cast<int>(frames);
        }
        Clear();
        Ring().resize(capacity);
    }

    bool Full() { return bytes >= budget || Count() >= Capacity(); }

    void Directions(long long time, long long& ahead, long long& behind)
    {
        ahead = behind = 0;
        auto const add = [&](int slot, int side) { // side: 0 by time, 1 ahead, -1 behind
            if (!Ring()[slot])
                return;
            if (side == 0)
                side = Ring()[slot]->startTime < time ? -1 : 1;
            (side > 0 ? ahead : behind) += Ring()[slot]->size;
        };
        if (first <= last) {
            for (int i = first; i < last; ++i)
                add(i, 0);
            return;
        }
        bool const lowestBefore = (Ring()[0] ? Ring()[0]->startTime : 0) <= time;
        for (int i = first; i < Capacity(); ++i)
            add(i, lowestBefore ? -1 : 0);
        for (int i = 0; i <= last; ++i)
            add(i, lowestBefore ? 0 : 1);
    }

    void Update(long long time, long long mediaEnd, bool playing, bool playingForwards)
    {
        bool const full = Full();
        long long ahead = 0;
        long long behind = 0;
        Directions(time, ahead, behind);
        wantForwards = wantBackwards = false;
        if (time > seenTime)
            forwardsLast = true;
        if (time < seenTime)
            forwardsLast = false;
        float const floatBudget = static_cast<float>(budget);
        float const trailing = floatBudget * Settings::maxTrailingCacheWhilePlaying;
        auto const aheadShare = static_cast<long long>((forwardsLast ? 0.4f : 0.1f) * floatBudget);
        auto const behindShare = static_cast<long long>((forwardsLast ? 0.1f : 0.4f) * floatBudget);
        bool const more = end < mediaEnd;
        char outcome = '-';
        if (more && ((playing && playingForwards) || first < 0 || Count() < 30 || end < time))
            outcome = 'f';
        else if (playing && !playingForwards && start > 0)
            outcome = 'b';
        else if (more && ahead < aheadShare)
            outcome = 'f';
        else if (!(playing && playingForwards) && start > 0 && behind < behindShare)
            outcome = 'b';
        if (outcome == '-') {
            if (full)
                return;
            wantForwards = more;
        } else if (outcome == 'f') {
            if (full && !(static_cast<float>(behind) >= trailing))
                return;
            if (full)
                PopFront();
            wantForwards = true;
        } else {
            if (full && !(static_cast<float>(ahead) >= trailing))
                return;
            if (full)
                PopBack();
            wantBackwards = true;
        }
        seenTime = time;
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
        Picture const upper = Ring()[Capacity() - 1];
        if (!upper)
            return -1;
        if (First()->startTime > time || upper->endTime < time)
            return Search(time, 0, last);
        return Search(time, first, Capacity() - 1);
    }

    int Next(int index)
    {
        int const next = index + 1;
        if (next == first)
            return -1;
        if (next >= Capacity())
            return last >= 0 ? 0 : -1;
        if (next >= first || last > index)
            return next;
        return -1;
    }

    int Previous(int index)
    {
        int const previous = index - 1;
        if (previous == last)
            return -1;
        if (index <= 0)
            return last >= first ? -1 : Capacity() - 1;
        if (index <= first && previous > last)
            return -1;
        return previous;
    }

    Picture At(int slot) { return slot < 0 || slot >= Capacity() ? nullptr : Ring()[slot]; }

    Picture Get(long long time, int offset)
    {
        if (Empty() || time < start || time > end)
            return nullptr;
        int index = Index(time);
        for (int i = 0; i < offset; ++i) {
            int const next = index + 1;
            if (next == first)
                return nullptr;
            if (next < Capacity()) {
                if (index < -1 || (next < first && last <= index))
                    return nullptr;
                index = next;
            } else {
                index = 0;
                if (last < 0)
                    return nullptr;
            }
        }
        for (int i = 0; i < -offset; ++i) {
            int const previous = index - 1;
            if (previous == last)
                return nullptr;
            if (index < 1) {
                if (last >= first)
                    return nullptr;
                index = Capacity() - 1;
            } else if (first >= index) {
                index = previous;
                if (index > last)
                    return nullptr;
            } else {
                index = previous;
            }
            if (index < 0)
                return nullptr;
        }
        return At(index);
    }
};
