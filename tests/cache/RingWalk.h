#pragma once

#include <memory>
#include <utility>
#include <vector>

// A ring of records and its model: the operations that a walk does in the same way on either cache, and what it has
// covered.
template <typename Cache, typename Model, typename Record, typename RecordModel, typename Choices>
class RingWalk
{
public:
    bool IsOver() const { return random.IsOver(); }
    int MostFrames() const { return mostFrames; }
    bool HasWrapped() const { return hasWrapped; }

protected:
    // A record of the cache and its model's, as long as the two caches hold them.
    struct Lives
    {
        std::weak_ptr<Record> real;
        std::weak_ptr<RecordModel> model;
    };

    explicit RingWalk(Choices newChoices) : random(newChoices) {}

    // The same record for the cache and the model.
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

    // Passes each live record to `compare`, with its model, and removes the others.
    template <typename Compare>
    void CompareLives(Compare const& compare)
    {
        for (size_t i = 0; i < lives.size();) {
            auto const real = lives[i].real.lock();
            compare(real, lives[i].model.lock());
            if (real) {
                ++i;
            } else {
                lives[i] = lives.back();
                lives.pop_back();
            }
        }
    }

    Choices random;
    Cache cache;
    Model model;
    std::vector<Lives> lives;
    int lastId = 0;
    int mostFrames = 0;
    bool hasWrapped = false;
};
