#include "tools/output/NamePattern.h"

#include <gtest/gtest.h>

TEST(NamePatternTest, PutsTheNumberInItsPlace)
{
    EXPECT_EQ(NamePattern("shot-%d.png").NameFor(7, 0), "shot-7.png");
    EXPECT_EQ(NamePattern("shot-%04d.png").NameFor(7, 0), "shot-0007.png");
    EXPECT_EQ(NamePattern("shot-%04d.png").NameFor(123456, 0), "shot-123456.png");
    EXPECT_EQ(NamePattern("shot.####.png").NameFor(7, 0), "shot.0007.png");
    EXPECT_EQ(NamePattern("#-%d.png").NameFor(12, 0), "12-12.png");
}

TEST(NamePatternTest, PutsTheTimeInItsPlace)
{
    EXPECT_EQ(NamePattern("a-%t.png").NameFor(0, 0), "a-00-00-00.000000.png");
    EXPECT_EQ(NamePattern("a-%t.png").NameFor(0, 12500000), "a-00-00-12.500000.png");
    EXPECT_EQ(NamePattern("%t").NameFor(0, 3723000007), "01-02-03.000007");
}

TEST(NamePatternTest, LeavesTheRestAlone)
{
    EXPECT_EQ(NamePattern("%d/#/50%%-%d.png").NameFor(3, 0), "%d/#/50%-3.png");
    EXPECT_EQ(NamePattern("100%.png").NameFor(3, 0), "100%.png");
}

TEST(NamePatternTest, KnowsWhetherItHasAPlace)
{
    EXPECT_TRUE(NamePattern("a-%03d.png").HasPlace());
    EXPECT_TRUE(NamePattern("a-##.png").HasPlace());
    EXPECT_TRUE(NamePattern("a-%t.png").HasPlace());
    EXPECT_FALSE(NamePattern("a-%t.png").HasNumber());
    EXPECT_FALSE(NamePattern("a.png").HasPlace());
    EXPECT_FALSE(NamePattern("a-%%d.png").HasPlace());
    EXPECT_FALSE(NamePattern("%d/a.png").HasPlace());
}
