#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

// Times two ways to do the same work in alternation, so that other load on the machine affects both equally.
struct PairedTimes
{
    double first = 0.0; // median nanoseconds per round
    double second = 0.0;
    double ratio = 0.0; // median of first / second of neighbouring rounds
};

inline double Median(std::vector<double> values)
{
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <typename Work>
double NanosecondsOf(Work const& work)
{
    auto const start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

template <typename First, typename Second>
PairedTimes TimeInTurns(First const& first, Second const& second, int rounds)
{
    std::vector<double> firsts;
    std::vector<double> seconds;
    std::vector<double> ratios;
    for (int i = 0; i < rounds; ++i) {
        firsts.push_back(NanosecondsOf(first));
        seconds.push_back(NanosecondsOf(second));
        ratios.push_back(firsts.back() / seconds.back());
    }
    return {Median(firsts), Median(seconds), Median(ratios)};
}
