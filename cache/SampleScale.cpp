#include "cache/SampleScale.h"

#include <algorithm>
#include <cmath>

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3") // the loop is written for the vectoriser
#endif

#if defined(__GNUC__) && defined(__x86_64__)
#define TAVOLIN_HAS_AVX2 1
#else
#define TAVOLIN_HAS_AVX2 0
#endif

namespace {

// From this volume on every sample but 0 is clipped; the product still fits 32 bits.
constexpr double loudest = 40000.0;

double UsableVolume(double volume)
{
    return std::isnan(volume) ? 0.0 : std::clamp(volume, -loudest, loudest);
}

#if defined(__GNUC__)
[[gnu::always_inline]]
#endif
inline void
ScaleAll(short* samples, long long count, double volume)
{
    for (long long i = 0; i < count; ++i) {
        int const scaled = static_cast<int>(samples[i] * volume);
        samples[i] = static_cast<short>(std::clamp(scaled, -32768, 32767));
    }
}

#if TAVOLIN_HAS_AVX2
__attribute__((target("avx2"))) void ScaleWithAvx2(short* samples, long long count, double volume)
{
    ScaleAll(samples, count, volume);
}
#endif

} // namespace

void ScaleSamplesPortably(short* samples, long long count, double volume)
{
    ScaleAll(samples, count, UsableVolume(volume));
}

void ScaleSamples(short* samples, long long count, double volume)
{
#if TAVOLIN_HAS_AVX2
    static bool const hasAvx2 = __builtin_cpu_supports("avx2");
    if (hasAvx2)
        return ScaleWithAvx2(samples, count, UsableVolume(volume));
#endif
    ScaleSamplesPortably(samples, count, volume);
}
