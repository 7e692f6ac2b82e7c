#include "cache/SampleScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace {

using Samples = std::vector<short>;

Samples EverySample()
{
    Samples samples(65536);
    std::iota(samples.begin(), samples.end(), std::numeric_limits<short>::min());
    return samples;
}

// A model of the rule for one value.
short Scaled(short sample, double volume)
{
    double const value = static_cast<double>(sample) * volume;
    if (value > 32767.0)
        return 32767;
    if (value < -32768.0)
        return -32768;
    return static_cast<short>(value);
}

// Volumes at which truncation or clipping changes the result: products next to whole numbers, and very large ones.
std::vector<double> Volumes()
{
    std::vector<double> volumes = {0.0,       -0.0,    1.0,     -1.0,    0.5,     2.0,
                                   1e-320,    1e308,   32767.0, 32768.0, 39999.0, 40000,
                                   40000.5,   65536.0, -4e4,    -1e308,  1e-9,    0.999969482421875,
                                   1.0 / 3.0, 32767.5, -32768.5};
    for (int n = 1; n <= 60; ++n) {
        volumes.push_back(1.0 / n);
        volumes.push_back(std::nextafter(1.0 / n, 0.0));
        volumes.push_back(std::nextafter(1.0 / n, 2.0));
        volumes.push_back(n / 7.0);
        volumes.push_back(-n * 0.037);
        volumes.push_back(std::nextafter(32768.0 / n, 0.0));
    }
    return volumes;
}

} // namespace

TEST(SampleScaleTest, ScalesEverySampleAtEveryKindOfVolumeByTheRule)
{
    Samples const every = EverySample();
    for (double const volume : Volumes()) {
        Samples chosen = every;
        Samples portable = every;
        ScaleSamples(chosen.data(), static_cast<long long>(chosen.size()), volume);
        ScaleSamplesPortably(portable.data(), static_cast<long long>(portable.size()), volume);
        ASSERT_EQ(chosen, portable) << "volume " << volume;
        Samples expected(every.size());
        std::transform(every.begin(), every.end(), expected.begin(),
                       [volume](short sample) { return Scaled(sample, volume); });
        auto const [different, wanted] = std::mismatch(chosen.begin(), chosen.end(), expected.begin());
        ASSERT_TRUE(different == chosen.end())
            << every[static_cast<size_t>(different - chosen.begin())] << " at volume " << volume << " becomes "
            << *different << " instead of " << *wanted;
    }
}

TEST(SampleScaleTest, TruncatesTowardZeroAndClips)
{
    Samples samples = {-3, 3, 20000, -20000, 0};
    ScaleSamples(samples.data(), 5, 0.5);
    EXPECT_EQ(samples, (Samples{-1, 1, 10000, -10000, 0}));
    ScaleSamples(samples.data(), 5, 4.0);
    EXPECT_EQ(samples, (Samples{-4, 4, 32767, -32768, 0}));
}

TEST(SampleScaleTest, TakesVolumesThatAreNotFinite)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (auto const scale : {ScaleSamples, ScaleSamplesPortably}) {
        Samples samples = {-3, 0, 3};
        scale(samples.data(), 3, infinity);
        EXPECT_EQ(samples, (Samples{-32768, 0, 32767}));
        scale(samples.data(), 3, -infinity);
        EXPECT_EQ(samples, (Samples{32767, 0, -32768}));
        scale(samples.data(), 3, std::nan(""));
        EXPECT_EQ(samples, (Samples{0, 0, 0}));
    }
}

// Any number of samples at any alignment; nothing beside them is written.
TEST(SampleScaleTest, TouchesOnlyWhatItIsGiven)
{
    for (int offset = 0; offset < 17; ++offset) {
        for (int count = 0; count < 70; ++count) {
            Samples samples(100, 10);
            ScaleSamples(samples.data() + offset, count, 3.0);
            Samples expected(100, 10);
            std::fill_n(expected.begin() + offset, count, short{30});
            ASSERT_EQ(samples, expected) << count << " from " << offset;
        }
    }
}
