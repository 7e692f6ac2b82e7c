#pragma once

#include <atomic>
#include <utility>

// The newest of the values that one thread writes, for one other thread to read. Neither ever waits for the other, and
// the reader always sees a whole value. Values are freed by the writer, or with this. One writer and one reader at a
// time; each side may be any thread that holds that side's lock.
//
//     back    the writer's, written next
//     middle  the newest value, or an old one once that has been read; either side exchanges its own for it
//     front   the reader's
template <typename Value>
class Latest
{
public:
    // Writer.
    void Write(Value value)
    {
        places[back] = std::move(value);
        back = middle.exchange(back | isNew, std::memory_order_acq_rel) & ~isNew;
    }

    // Reader. Takes the newest value; false when there is none since the last one. The first of all is Value().
    bool Update()
    {
        if ((middle.load(std::memory_order_relaxed) & isNew) == 0)
            return false;
        front = middle.exchange(front, std::memory_order_acq_rel) & ~isNew;
        return true;
    }

    Value const& Get() const { return places[front]; } // reader; stays as it is until the next Update

private:
    static constexpr unsigned isNew = 4;

    Value places[3] = {};
    unsigned back = 0;
    std::atomic<unsigned> middle = 1;
    unsigned front = 2;
};
