#include "playback/Latest.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

TEST(LatestTest, IsEmptyBeforeTheFirstValue)
{
    Latest<int> latest;
    EXPECT_FALSE(latest.Update());
    EXPECT_EQ(latest.Get(), 0);
}

TEST(LatestTest, GivesTheNewestValueOnce)
{
    Latest<int> latest;
    latest.Write(1);
    latest.Write(2);
    latest.Write(3);
    EXPECT_EQ(latest.Get(), 0); // until it is updated
    EXPECT_TRUE(latest.Update());
    EXPECT_EQ(latest.Get(), 3);
    EXPECT_FALSE(latest.Update());
    EXPECT_EQ(latest.Get(), 3);
    latest.Write(4);
    EXPECT_TRUE(latest.Update());
    EXPECT_EQ(latest.Get(), 4);
}

// However often the reader reads, the writer frees the value that the reader holds, at most two writes later.
TEST(LatestTest, ValuesAreFreedByTheWriter)
{
    Latest<std::shared_ptr<int>> latest;
    auto const first = std::make_shared<int>(1);
    latest.Write(first);
    latest.Update();
    latest.Write(nullptr);
    latest.Update();
    latest.Update();
    EXPECT_EQ(first.use_count(), 2);
    latest.Write(nullptr);
    latest.Write(nullptr);
    EXPECT_EQ(first.use_count(), 1);
}

// A value is consistent when all its numbers are equal.
TEST(LatestTest, AReaderOnAnotherThreadSeesWholeValuesInOrderAndTheLastOne)
{
    constexpr int last = 200000;
    using Value = std::vector<int>;
    Latest<Value> latest;
    std::thread writer([&] {
        for (int i = 1; i <= last; ++i)
            latest.Write(Value(5, i));
    });
    int seen = 0;
    bool isWhole = true;
    bool isInOrder = true;
    while (seen < last && isWhole && isInOrder) {
        if (!latest.Update())
            continue;
        Value const& value = latest.Get();
        isWhole = value.size() == 5 && value == Value(5, value.front());
        isInOrder = !isWhole || value.front() > seen;
        seen = isWhole ? value.front() : seen;
    }
    writer.join();
    EXPECT_TRUE(isWhole);
    EXPECT_TRUE(isInOrder);
    EXPECT_EQ(seen, last);
}

} // namespace
