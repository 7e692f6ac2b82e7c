#pragma once

#include <QVector>

#include <algorithm>

// Times at which a stream is damaged, in rising order and each once, however often a place is read. Bounded: what is
// found when it is full is left out. A value.
class DamageTimes
{
public:
    static constexpr int most = 1000;

    void Add(long long time)
    {
        auto const place = std::lower_bound(times.cbegin(), times.cend(), time);
        bool const isKnown = place != times.cend() && *place == time;
        if (!isKnown && times.size() < most)
            times.insert(static_cast<int>(place - times.cbegin()), time);
    }

    QVector<long long> const& Get() const { return times; } // shares its array until the next Add

private:
    QVector<long long> times;
};
