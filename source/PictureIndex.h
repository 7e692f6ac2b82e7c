#pragma once

#include "common/Microseconds.h"

#include <algorithm>
#include <cstddef>
#include <vector>

// The true numbers and times of a source's pictures, known without decoding them. Numbers count from 0. Times are
// microseconds of media time: those at which PictureStream lets the pictures begin and end. Numbers and times outside
// of the pictures stand for the first or the last one. Immutable; any thread. Takes 8 bytes a picture.
class PictureIndex
{
public:
    struct Entry
    {
        long long start = 0;
        bool isKey = false; // decoding can begin with it
    };

    // Of a movie. `newEntries`: at least one; starts rise, from 0 or later. `newEnd`: when the last picture shows last.
    PictureIndex(std::vector<Entry> const& newEntries, long long newEnd)
        : count(static_cast<long long>(newEntries.size())), end(newEnd)
    {
        entries.reserve(newEntries.size());
        for (Entry const& entry : newEntries)
            entries.push_back(2 * entry.start + (entry.isKey ? 1 : 0));
    }

    // Of pictures at a constant rate, all of them keys: picture n begins at n / rate, truncated. Takes no memory.
    PictureIndex(long long newCount, double newRate) : count(newCount), rate(newRate)
    {
        end = StartAtRate(count, rate) - 1;
    }

    // When picture `number` begins at `rate` pictures per second; any number from 0.
    static long long StartAtRate(long long number, double rate)
    {
        return static_cast<long long>(static_cast<double>(number) * secondUs / rate);
    }

    long long GetCount() const { return count; } // at least 1

    // Of the picture showing at `time`.
    long long NumberAt(long long time) const
    {
        if (entries.empty())
            return NumberAtRate(std::clamp(time, 0LL, end));
        auto const later = std::upper_bound(entries.begin(), entries.end(), time,
                                            [](long long at, long long entry) { return at < StartIn(entry); });
        return std::max<long long>(later - entries.begin() - 1, 0);
    }

    // Of the picture that begins exactly at `start`; -1 when none does.
    long long NumberFrom(long long start) const
    {
        long long const number = NumberAt(start);
        return TimeOf(number) == start ? number : -1;
    }

    // When the picture begins to show, and when it shows last: a microsecond before the next one.
    long long TimeOf(long long number) const
    {
        long long const held = std::clamp(number, 0LL, count - 1);
        return entries.empty() ? StartAtRate(held, rate) : StartIn(entries[static_cast<size_t>(held)]);
    }
    long long EndOf(long long number) const
    {
        return number >= count - 1 ? end : TimeOf(std::max(number, 0LL) + 1) - 1;
    }

    // Whether a picture shows exactly from `first` to `last`.
    bool Has(long long first, long long last) const
    {
        long long const number = NumberFrom(first);
        return number >= 0 && EndOf(number) == last;
    }

    bool IsKey(long long number) const
    {
        return entries.empty() || (entries[static_cast<size_t>(std::clamp(number, 0LL, count - 1))] & 1) != 0;
    }

private:
    static long long StartIn(long long entry) { return entry >> 1; } // times are never below 0

    long long NumberAtRate(long long time) const
    {
        long long number = static_cast<long long>(static_cast<double>(time) * rate / secondUs);
        while (number > 0 && StartAtRate(number, rate) > time)
            --number;
        while (number < count - 1 && StartAtRate(number + 1, rate) <= time)
            ++number;
        return std::clamp(number, 0LL, count - 1);
    }

    std::vector<long long> entries; // twice the start, plus 1 at a key; empty: constant rate
    long long count = 0;
    long long end = 0;
    double rate = 0.0; // pictures per second
};
