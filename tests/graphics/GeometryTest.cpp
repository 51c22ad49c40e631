#include "OS.h"

#include <gtest/gtest.h>

using IntRect = Kv::Rectangle<int>;

TEST(Geometry, IntersectionsAndSizes)
{
    const IntRect square{0, 0, 10, 10};
    const struct
    {
        IntRect other;
        IntRect expected;
    } cases[] = {
        {{10, 2, 20, 8}, {10, 2, 10, 8}},   // touching: a zero-width seam
        {{2, 10, 8, 20}, {2, 10, 8, 10}},   // a zero-height seam
        {{11, 0, 20, 10}, {}},              // apart: the all-zero rectangle
        {{-5, 3, 4, 30}, {0, 3, 4, 10}},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(testing::Message() << expected.other.left << "," << expected.other.top);
        EXPECT_EQ(square.intersection(expected.other), expected.expected);
    }
    // Swapped corners still have a positive size.
    EXPECT_EQ((IntRect{10, 20, 4, 5}.width()), 6);
    EXPECT_EQ((IntRect{10, 20, 4, 5}.height()), 15);
    EXPECT_FLOAT_EQ((Kv::Rectangle<float>{1.5f, 0, 0, 2}.width()), 1.5f);
}
