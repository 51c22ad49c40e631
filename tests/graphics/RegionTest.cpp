#include "OS.h"
#include "Region.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <random>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

using IntRect = Kv::Rectangle<int>;
using Rectangles = iRegion::Rectangles;

namespace
{
    using PixelSet = std::set<std::pair<int, int>>;

    Kv::Ptr<iRegion> makeRegion(const Rectangles& rectangles) { return Kv::Ptr<iRegion>(new Region(rectangles)); }

    // Each rectangle from its top-left corner by its absolute width and height.
    PixelSet pixelsOf(const Rectangles& rectangles)
    {
        PixelSet pixels;
        for (const IntRect& rectangle : rectangles)
            for (int y = rectangle.top; y < rectangle.top + rectangle.height(); ++y)
                for (int x = rectangle.left; x < rectangle.left + rectangle.width(); ++x)
                    pixels.insert({x, y});
        return pixels;
    }

    PixelSet unite(PixelSet a, const PixelSet& b)
    {
        a.insert(b.begin(), b.end());
        return a;
    }

    // The pixels of a that b holds, or those it does not.
    PixelSet filter(const PixelSet& a, const PixelSet& b, bool inB)
    {
        PixelSet result;
        std::copy_if(a.begin(), a.end(), std::inserter(result, result.end()),
                     [&](const auto& pixel) { return (b.count(pixel) == 1) == inB; });
        return result;
    }

    // The smallest rectangle around the pixels; all zero for none.
    IntRect boundingBox(const PixelSet& pixels)
    {
        if (pixels.empty())
            return IntRect();
        IntRect box{pixels.begin()->first, pixels.begin()->second, pixels.begin()->first, pixels.begin()->second};
        for (const auto& [x, y] : pixels)
            box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
        return box;
    }

    // The region covers exactly the pixels, within exactly their bounds, as
    // a list of disjoint rectangles that each hold pixels.
    testing::AssertionResult holdsExactly(const Kv::Ptr<iRegion>& region, const PixelSet& expected)
    {
        Rectangles rectangles;
        region->getData(rectangles);
        size_t area = 0;
        for (const IntRect& rectangle : rectangles) {
            if (rectangle.right <= rectangle.left || rectangle.bottom <= rectangle.top)
                return testing::AssertionFailure() << "an empty or inverted rectangle in the list";
            area += size_t(rectangle.width()) * rectangle.height();
        }
        if (pixelsOf(rectangles) != expected)
            return testing::AssertionFailure() << "other pixels";
        if (area != expected.size())
            return testing::AssertionFailure() << "rectangles of the list overlap";
        if (!(region->getBounds() == boundingBox(expected)))
            return testing::AssertionFailure() << "other bounds";
        return testing::AssertionSuccess();
    }

    // A few rectangles on a small canvas, some with swapped corners and some
    // empty, so that every band shape turns up.
    Rectangles randomRectangles(std::mt19937& random)
    {
        Rectangles rectangles(std::uniform_int_distribution<size_t>(0, 5)(random));
        std::uniform_int_distribution<int> coordinate(0, 16);
        for (IntRect& rectangle : rectangles)
            rectangle = {coordinate(random), coordinate(random), coordinate(random), coordinate(random)};
        return rectangles;
    }
}

TEST(Region, RandomRegionsAgreeWithTheirPixelSets)
{
    std::mt19937 random{20240611};
    for (int test = 0; test < 300; ++test) {
        SCOPED_TRACE(test);
        const Rectangles left = randomRectangles(random);
        const Rectangles right = randomRectangles(random);
        const Kv::Ptr<iRegion> a = makeRegion(left);
        const Kv::Ptr<iRegion> b = makeRegion(right);
        const PixelSet pixelsA = pixelsOf(left);
        const PixelSet pixelsB = pixelsOf(right);
        const unsigned int idA = a->getUniqueID();

        ASSERT_TRUE(holdsExactly(a, pixelsA));
        const IntRect box = boundingBox(pixelsA);
        EXPECT_EQ(a->isRectangular(), pixelsA.size() == size_t(box.width()) * box.height());
        for (int y = -1; y < 34; ++y)
            for (int x = -1; x < 34; ++x)
                ASSERT_EQ(a->contains(XY<int>(x, y)), pixelsA.count({x, y}) == 1) << x << "," << y;

        const Kv::Ptr<iRegion> both = a->getUnion(b);
        ASSERT_TRUE(both) << "a union is never null";
        EXPECT_TRUE(holdsExactly(both, unite(pixelsA, pixelsB)));
        const PixelSet common = filter(pixelsA, pixelsB, true);
        const Kv::Ptr<iRegion> overlap = a->getIntersection(b);
        EXPECT_EQ(overlap == nullptr, common.empty()) << "null exactly when nothing is shared";
        if (overlap) {
            EXPECT_TRUE(holdsExactly(overlap, common));
        }
        const PixelSet rest = filter(pixelsA, pixelsB, false);
        const Kv::Ptr<iRegion> remainder = a->subtract(b);
        // An empty region has bounds that overlap nothing, so it comes back as a copy.
        EXPECT_EQ(remainder == nullptr, rest.empty() && !pixelsA.empty());
        if (remainder) {
            EXPECT_TRUE(holdsExactly(remainder, rest));
        }
        EXPECT_TRUE(holdsExactly(b, pixelsB)) << "the operands stay as they were";

        // The same pixels from another list are equal, whatever the order.
        Kv::Ptr<iRegion> built = makeRegion(Rectangles());
        for (auto rectangle = left.rbegin(); rectangle != left.rend(); ++rectangle)
            built = built->getUnion(Kv::Ptr<iRegion>(new Region(*rectangle)));
        EXPECT_TRUE(a->equals(built) && built->equals(a));
        // Often equal by chance: the list less its last rectangle.
        Rectangles fewer = left;
        if (!fewer.empty())
            fewer.pop_back();
        EXPECT_EQ(a->equals(makeRegion(fewer)), pixelsA == pixelsOf(fewer));
        EXPECT_EQ(a->equals(b), pixelsA == pixelsB);

        const int dx = std::uniform_int_distribution<int>(-20, 20)(random);
        const int dy = std::uniform_int_distribution<int>(-20, 20)(random);
        b->translate(dx, dy);
        PixelSet moved;
        for (const auto& [x, y] : pixelsB)
            moved.insert({x + dx, y + dy});
        if (!moved.empty()) {
            EXPECT_TRUE(holdsExactly(b, moved));
        }
        EXPECT_EQ(a->getUniqueID(), idA);
    }
}

TEST(Region, WithItselfTheIntersectionIsItselfTheDifferenceNullAndTheUnionNew)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 10, 10}, {20, 0, 30, 10}});
    Rectangles rectangles{{100, 100, 101, 101}};
    region->getData(rectangles);
    EXPECT_EQ(rectangles, (Rectangles{{100, 100, 101, 101}, {0, 0, 10, 10}, {20, 0, 30, 10}})) << "appended";
    EXPECT_EQ(region->getIntersection(region).get(), region.get());
    EXPECT_EQ(region->subtract(region), nullptr);
    const Kv::Ptr<iRegion> doubled = region->getUnion(region);
    EXPECT_NE(doubled.get(), region.get());
    EXPECT_NE(doubled->getUniqueID(), region->getUniqueID());
    EXPECT_TRUE(doubled->equals(region));
}

TEST(Region, NullAndFarAwayOperandsGiveACopyWithANewIDOrNull)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 10, 10}, {0, 10, 5, 15}});
    EXPECT_FALSE(region->equals(nullptr));
    EXPECT_EQ(region->getIntersection(nullptr), nullptr);
    const Kv::Ptr<iRegion> copies[] = {region->clone(), region->subtract(nullptr), region->getUnion(nullptr),
                                       region->subtract(makeRegion({{20, 20, 30, 30}})),
                                       region->subtract(makeRegion({{10, 0, 20, 10}}))};
    for (const Kv::Ptr<iRegion>& copy : copies) {
        ASSERT_TRUE(copy);
        EXPECT_NE(copy->getUniqueID(), region->getUniqueID());
        EXPECT_TRUE(copy->equals(region));
    }
}

TEST(Region, TranslateMovesTheCachedBoundsEvenOfAnEmptyRegion)
{
    const Kv::Ptr<iRegion> region = makeRegion(Rectangles());
    region->translate(3, 4);
    EXPECT_EQ(region->getBounds(), (IntRect{3, 4, 3, 4}));
    EXPECT_FALSE(region->equals(makeRegion(Rectangles()))) << "the bounds differ";
    EXPECT_EQ(region->clone()->getBounds(), IntRect()) << "a copy reads its bounds afresh";
}

TEST(Region, UniqueIDsDifferAcrossThreads)
{
    constexpr int kPerThread = 2000;
    const auto makeIDs = [] {
        std::vector<unsigned int> ids;
        const Kv::Ptr<iRegion> seed = makeRegion({{0, 0, 3, 3}});
        for (int index = 0; index < kPerThread; ++index)
            ids.push_back((index % 2 ? seed->clone() : makeRegion({{index, 0, index + 1, 1}}))->getUniqueID());
        return ids;
    };
    std::future<std::vector<unsigned int>> other = std::async(std::launch::async, makeIDs);
    std::vector<unsigned int> ids = makeIDs();
    const std::vector<unsigned int> otherIDs = other.get();
    ids.insert(ids.end(), otherIDs.begin(), otherIDs.end());
    EXPECT_EQ(std::set<unsigned int>(ids.begin(), ids.end()).size(), ids.size());
}
