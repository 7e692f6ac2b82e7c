#include "cache/OutputBlock.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace {

using Values = std::vector<short>;

Values Counting(int count)
{
    Values values(static_cast<size_t>(count));
    std::iota(values.begin(), values.end(), short{1});
    return values;
}

// A simple model of the speed rule, one frame at a time: the output for `frames` input frames at `speed`, from phase 0.
struct PlainFollower
{
    Values output;
    double phase = 0.0;

    void Play(Values const& input, int channels, double speed)
    {
        double const step = speed > 1.0 ? 1.0 - speed : 1.0 / speed - 1.0;
        for (size_t frame = 0; frame + channels <= input.size(); frame += channels) {
            if (phase > -1.0) {
                output.insert(output.end(), input.begin() + frame, input.begin() + frame + channels);
                phase += step;
            } else {
                phase += 1.0;
            }
            for (; phase > 1.0; phase -= 1.0)
                output.insert(output.end(), input.begin() + frame, input.begin() + frame + channels);
        }
    }
};

} // namespace

TEST(OutputBlockTest, StopsWhenTheBlockIsFullAndTellsHowMuchItUsed)
{
    Values const input = Counting(10);
    Values output(4, -7);
    OutputBlock block(output.data(), 4, 1, 1.0, 1.0, 0.0);
    EXPECT_EQ(block.Play({input.data(), 10}, 7, 3), 3);
    EXPECT_FALSE(block.IsFull());
    EXPECT_EQ(block.Play({input.data(), 10}, 0, 10), 1);
    EXPECT_TRUE(block.IsFull());
    EXPECT_EQ(output, (Values{8, 9, 10, 1}));
    EXPECT_EQ(block.Play({input.data(), 10}, 0, 10), 0);
}

TEST(OutputBlockTest, IsSilentBeforeAndAfterItsInput)
{
    Values const input = Counting(4);
    Values output(10, -7);
    OutputBlock block(output.data(), 5, 2, 1.0, 1.0, 0.0);
    EXPECT_EQ(block.Play({input.data(), 4}, -4, 5), 5);
    EXPECT_EQ(output, (Values{0, 0, 0, 0, 1, 2, 3, 4, 0, 0}));
    OutputBlock odd(output.data(), 5, 2, 1.0, 1.0, 0.0);
    EXPECT_EQ(odd.Play({input.data(), 4}, -3, 5), 5); // a frame is silent when it starts before the input
    EXPECT_EQ(output, (Values{0, 0, 0, 0, 2, 3, 4, 0, 0, 0}));
    OutputBlock none(output.data(), 5, 2, 1.0, 0.5, 0.0);
    EXPECT_EQ(none.Play({nullptr, 0}, 0, 2), 2);
    EXPECT_EQ(output, (Values{0, 0, 0, 0, 0, 0, 4, 0, 0, 0}));
}

TEST(OutputBlockTest, FillsTheRestWithSilenceFromItsPosition)
{
    Values const input = Counting(4);
    Values output(6, -7);
    OutputBlock block(output.data(), 6, 1, 1.0, 1.0, 0.0);
    block.Play({input.data(), 4}, 0, 2);
    block.written += 3; // counted, without moving the position
    block.FillWithSilence();
    EXPECT_TRUE(block.IsFull());
    EXPECT_EQ(output, (Values{1, 2, 0, -7, -7, -7}));
}

TEST(OutputBlockTest, FollowsAnySpeedFrameByFrame)
{
    for (int const channels : {1, 2, 3, 6, 8}) {
        Values const input = Counting(channels * 97);
        for (double const speed :
             {0.25, 0.3, 0.5, 0.7, 0.99, 1.0, 1.01, 1.25, 1.5, 1.9, 2.0, 2.1, 3.0, 4.0, 17.3, 1e9}) {
            PlainFollower plain;
            Values output(static_cast<size_t>(channels) * 1000, -7);
            double phase = 0.0;
            size_t values = 0;
            for (int round = 0; round < 2; ++round) {
                plain.Play(input, channels, speed);
                OutputBlock block(output.data() + values, 500, channels, 1.0, speed, phase);
                ASSERT_EQ(block.Play({input.data(), static_cast<long long>(input.size())}, 0, 97), 97);
                values += static_cast<size_t>(block.written * channels);
                phase = block.GetPhase();
                ASSERT_EQ(phase, plain.phase) << channels << " channels at " << speed;
            }
            ASSERT_TRUE(std::equal(plain.output.begin(), plain.output.end(), output.begin(), output.begin() + values))
                << channels << " channels at " << speed;
        }
    }
}

TEST(OutputBlockTest, EndsABlockBetweenAFrameAndItsRepetition)
{
    Values const input = Counting(4);
    Values output(8, -7);
    OutputBlock first(output.data(), 2, 1, 1.0, 0.5, 0.0);
    EXPECT_EQ(first.Play({input.data(), 4}, 0, 4), 2);
    EXPECT_EQ(first.GetPhase(), 2.0);
    OutputBlock second(output.data() + 2, 6, 1, 1.0, 0.5, first.GetPhase());
    EXPECT_EQ(second.Play({input.data(), 4}, 2, 2), 2);
    EXPECT_EQ(output, (Values{1, 2, 3, 3, 3, 4, 4, -7}));
}

TEST(OutputBlockTest, ScalesExactlyWhatItWrites)
{
    Values const input = {100, 200, 300, 400};
    Values output(8, -7);
    OutputBlock block(output.data() + 1, 6, 1, 0.5, 1.0, 0.0);
    block.Play({input.data(), 4}, 0, 2);
    block.Play({input.data(), 4}, 2, 2);
    EXPECT_EQ(output, (Values{-7, 50, 100, 150, 200, -7, -7, -7}));
}
