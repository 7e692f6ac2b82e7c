#include "tools/report/PictureGaps.h"

#include <algorithm>
#include <cstdlib>

namespace {

// With fewer steps, the usual step is a guess.
constexpr size_t fewestSteps = 8;

// With a constant rate, at most one step in this many may be uneven.
constexpr size_t stepsForOneUneven = 20;

// Containers round both ends of a step to milliseconds.
constexpr long long roundingUs = 2000;

long long UsualOf(std::vector<long long> steps)
{
    auto const middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return *middle;
}

bool IsConstant(std::vector<long long> const& steps, long long usual)
{
    long long const tolerance = std::max(roundingUs, usual / 10);
    auto const uneven = static_cast<size_t>(std::count_if(
        steps.begin(), steps.end(), [&](long long step) { return std::llabs(step - usual) > tolerance; }));
    return steps.size() >= fewestSteps && uneven <= std::max<size_t>(1, steps.size() / stepsForOneUneven);
}

} // namespace

std::vector<PictureGaps::Gap> PictureGaps::Find(std::vector<long long> const& times)
{
    std::vector<long long> steps;
    for (size_t i = 1; i < times.size(); ++i)
        steps.push_back(times[i] - times[i - 1]);
    if (steps.empty())
        return {};
    long long const usual = UsualOf(steps);
    if (!IsConstant(steps, usual))
        return {};
    std::vector<Gap> gaps;
    for (size_t i = 1; i < steps.size(); ++i) {
        if (steps[i] > usual + usual / 2)
            gaps.push_back({times[i] + usual, steps[i] - usual});
    }
    return gaps;
}
