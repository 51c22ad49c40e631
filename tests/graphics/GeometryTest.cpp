#include "OS.h"

#include <gtest/gtest.h>

using IntRect = Kv::Rectangle<int>;

TEST(Geometry, IntersectionOfTouchingRectanglesIsASeam)
{
    const IntRect a{0, 0, 10, 10};
    EXPECT_EQ(a.intersection({10, 2, 20, 8}), (IntRect{10, 2, 10, 8}));
    EXPECT_EQ(a.intersection({10, 2, 20, 8}).width(), 0);
    EXPECT_EQ(a.intersection({2, 10, 8, 20}).height(), 0);
    EXPECT_EQ(a.intersection({11, 0, 20, 10}), IntRect()) << "apart: the all-zero rectangle";
    EXPECT_EQ(a.intersection({-5, 3, 4, 30}), (IntRect{0, 3, 4, 10}));
}

TEST(Geometry, SwappedCornersStillHaveAPositiveSize)
{
    const IntRect swapped{10, 20, 4, 5};
    EXPECT_EQ(swapped.width(), 6);
    EXPECT_EQ(swapped.height(), 15);
    EXPECT_FLOAT_EQ((Kv::Rectangle<float>{1.5f, 0, 0, 2}.width()), 1.5f);
}

TEST(Geometry, ColoursDefaultToOpaqueBlackAndPointsAreNotPlainPairs)
{
    EXPECT_EQ(NormalisedRGB(), NormalisedRGB(0, 0, 0, 1));
    static_assert(sizeof(XY<int>) > 2 * sizeof(int), "the virtual destructor is part of the type");
    EXPECT_EQ(XY<int>(3, 4), XY<int>(3, 4));
    EXPECT_EQ((XYZ<unsigned char>{1, 2, 3}).z, 3);
}
