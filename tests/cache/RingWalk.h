#pragma once

// A ring of records and its model: what a walk does to either of the two caches alike, and what it sees on the way.
template <typename Cache, typename Model, typename Choices>
class RingWalk
{
public:
    bool IsOver() const { return random.IsOver(); }
    int MostFrames() const { return mostFrames; }
    bool HasWrapped() const { return hasWrapped; }

protected:
    explicit RingWalk(Choices newChoices) : random(newChoices) {}

    // The same record for both sides, as a pair.
    template <typename Records>
    void Append(Records const& records)
    {
        cache.AppendFrame(records.first);
        model.Append(records.second);
    }

    void AppendNothing()
    {
        cache.AppendFrame(nullptr);
        model.Append(nullptr);
    }

    template <typename Records>
    void PushAtEitherEnd(Records const& records)
    {
        if (random.OneIn(2)) {
            cache.PushBack(records.first);
            model.PushBack(records.second);
        } else {
            cache.PushFront(records.first);
            model.PushFront(records.second);
        }
    }

    void PopAtEitherEnd(long long count)
    {
        bool const front = random.OneIn(2);
        for (; count > 0; --count) {
            front ? cache.PopFront() : cache.PopBack();
            front ? model.PopFront() : model.PopBack();
        }
    }

    Choices random;
    Cache cache;
    Model model;
    int lastId = 0;
    int mostFrames = 0;
    bool hasWrapped = false;
};
