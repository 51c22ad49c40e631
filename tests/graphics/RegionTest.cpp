#include "OS.h"
#include "Region.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <random>
#include <set>
#include <utility>
#include <vector>

using IntRect = Kv::Rectangle<int>;
using Rectangles = iRegion::Rectangles;

namespace
{
    using Pixel = std::pair<int, int>;
    using PixelSet = std::set<Pixel>;

    Kv::Ptr<iRegion> makeRegion(const Rectangles& rectangles) { return Kv::Ptr<iRegion>(new Region(rectangles)); }

    // What a rectangle list covers, pixel by pixel: each rectangle from its
    // top-left corner by its absolute width and height.
    PixelSet pixelsOf(const Rectangles& rectangles)
    {
        PixelSet pixels;
        for (const IntRect& rectangle : rectangles)
            for (int y = rectangle.top; y < rectangle.top + rectangle.height(); ++y)
                for (int x = rectangle.left; x < rectangle.left + rectangle.width(); ++x)
                    pixels.insert({x, y});
        return pixels;
    }

    // A null region is the empty set.
    PixelSet pixelsOf(const Kv::Ptr<iRegion>& region)
    {
        if (!region)
            return {};
        Rectangles rectangles;
        region->getData(rectangles);
        return pixelsOf(rectangles);
    }

    PixelSet unite(const PixelSet& a, const PixelSet& b)
    {
        PixelSet result;
        std::set_union(a.begin(), a.end(), b.begin(), b.end(), std::inserter(result, result.end()));
        return result;
    }

    PixelSet intersect(const PixelSet& a, const PixelSet& b)
    {
        PixelSet result;
        std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(result, result.end()));
        return result;
    }

    PixelSet difference(const PixelSet& a, const PixelSet& b)
    {
        PixelSet result;
        std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(result, result.end()));
        return result;
    }

    // The smallest rectangle around the pixels; all zero for none.
    IntRect boundingBox(const PixelSet& pixels)
    {
        if (pixels.empty())
            return IntRect();
        IntRect box{pixels.begin()->first, pixels.begin()->second, pixels.begin()->first, pixels.begin()->second};
        for (const Pixel& pixel : pixels) {
            box.left = std::min(box.left, pixel.first);
            box.right = std::max(box.right, pixel.first + 1);
            box.top = std::min(box.top, pixel.second);
            box.bottom = std::max(box.bottom, pixel.second + 1);
        }
        return box;
    }

    // Every listed rectangle holds pixels and none shares one with another.
    testing::AssertionResult listsDisjointRectangles(const Kv::Ptr<iRegion>& region)
    {
        Rectangles rectangles;
        region->getData(rectangles);
        size_t area = 0;
        for (const IntRect& rectangle : rectangles) {
            if (rectangle.right <= rectangle.left || rectangle.bottom <= rectangle.top)
                return testing::AssertionFailure() << "an empty or inverted rectangle in the list";
            area += static_cast<size_t>(rectangle.width()) * rectangle.height();
        }
        if (area != pixelsOf(rectangles).size())
            return testing::AssertionFailure() << "rectangles of the list overlap";
        return testing::AssertionSuccess();
    }

    // A region made of a few rectangles on a small canvas, some with swapped
    // corners and some empty, so that every band shape turns up.
    class RegionAlgebra : public testing::Test
    {
    protected:
        static constexpr int kCases = 300;
        static constexpr int kCanvas = 16;

        Rectangles randomRectangles()
        {
            Rectangles rectangles;
            const int count = std::uniform_int_distribution<int>(0, 5)(random);
            std::uniform_int_distribution<int> coordinate(0, kCanvas);
            for (int index = 0; index < count; ++index)
                rectangles.push_back({coordinate(random), coordinate(random), coordinate(random), coordinate(random)});
            return rectangles;
        }

        std::mt19937 random{20240611};
    };

    // Answers like a region but is not one.
    class ForeignRegion : public iRegion
    {
    public:
        explicit ForeignRegion(const IntRect& bounds) : bounds(bounds) {}
        IntRect getBounds() const override { return bounds; }
        bool isRectangular() const override { return true; }
        bool equals(Kv::Ptr<iRegion>) const override { return true; }
        bool contains(const XY<int>&) const override { return true; }
        unsigned int getUniqueID() const override { return 0; }
        void getData(Rectangles& rectangles) const override { rectangles.push_back(bounds); }
        void translate(int, int) override {}
        Kv::Ptr<iRegion> clone() const override { return nullptr; }
        Kv::Ptr<iRegion> getIntersection(Kv::Ptr<iRegion>) const override { return nullptr; }
        Kv::Ptr<iRegion> getUnion(Kv::Ptr<iRegion>) const override { return nullptr; }
        Kv::Ptr<iRegion> subtract(Kv::Ptr<iRegion>) const override { return nullptr; }

    private:
        IntRect bounds;
    };
}

TEST_F(RegionAlgebra, BuiltRegionCoversExactlyItsRectangles)
{
    for (int test = 0; test < kCases; ++test) {
        const Rectangles rectangles = randomRectangles();
        const Kv::Ptr<iRegion> region = makeRegion(rectangles);
        const PixelSet expected = pixelsOf(rectangles);
        ASSERT_EQ(pixelsOf(region), expected) << "case " << test;
        ASSERT_TRUE(listsDisjointRectangles(region)) << "case " << test;
        const IntRect box = boundingBox(expected);
        ASSERT_EQ(region->getBounds(), box) << "case " << test;
        ASSERT_EQ(region->isRectangular(), expected.size() == size_t(box.width()) * box.height()) << "case " << test;
        for (int y = -2; y < 2 * kCanvas + 2; ++y)
            for (int x = -2; x < 2 * kCanvas + 2; ++x)
                ASSERT_EQ(region->contains(XY<int>(x, y)), expected.count({x, y}) == 1)
                    << "case " << test << " at " << x << "," << y;
    }
}

TEST_F(RegionAlgebra, UnionIntersectionAndDifferenceMatchPixelSets)
{
    for (int test = 0; test < kCases; ++test) {
        const Rectangles left = randomRectangles();
        const Rectangles right = randomRectangles();
        const Kv::Ptr<iRegion> a = makeRegion(left);
        const Kv::Ptr<iRegion> b = makeRegion(right);
        const PixelSet pixelsA = pixelsOf(left);
        const PixelSet pixelsB = pixelsOf(right);
        const unsigned int idA = a->getUniqueID();

        const Kv::Ptr<iRegion> both = a->getUnion(b);
        ASSERT_TRUE(both) << "a union is never null, case " << test;
        EXPECT_EQ(pixelsOf(both), unite(pixelsA, pixelsB)) << "case " << test;
        EXPECT_TRUE(listsDisjointRectangles(both)) << "case " << test;
        EXPECT_EQ(both->getBounds(), boundingBox(unite(pixelsA, pixelsB))) << "case " << test;

        const PixelSet common = intersect(pixelsA, pixelsB);
        const Kv::Ptr<iRegion> overlap = a->getIntersection(b);
        EXPECT_EQ(overlap == nullptr, common.empty()) << "null exactly when nothing is shared, case " << test;
        EXPECT_EQ(pixelsOf(overlap), common) << "case " << test;
        if (overlap) {
            EXPECT_TRUE(listsDisjointRectangles(overlap)) << "case " << test;
        }

        const PixelSet rest = difference(pixelsA, pixelsB);
        const Kv::Ptr<iRegion> remainder = a->subtract(b);
        // An empty region has bounds that overlap nothing, so it comes back as a copy.
        EXPECT_EQ(remainder == nullptr, rest.empty() && !pixelsA.empty()) << "case " << test;
        EXPECT_EQ(pixelsOf(remainder), rest) << "case " << test;
        if (remainder) {
            EXPECT_TRUE(listsDisjointRectangles(remainder)) << "case " << test;
        }

        EXPECT_EQ(pixelsOf(a), pixelsA) << "the operands stay as they were, case " << test;
        EXPECT_EQ(pixelsOf(b), pixelsB) << "case " << test;
        EXPECT_EQ(a->getUniqueID(), idA);
    }
}

TEST_F(RegionAlgebra, EqualsExactlyWhenThePixelsAreTheSame)
{
    for (int test = 0; test < kCases; ++test) {
        const Rectangles left = randomRectangles();
        const Kv::Ptr<iRegion> a = makeRegion(left);

        // The same pixels reached one rectangle at a time, in reverse order.
        Kv::Ptr<iRegion> built = makeRegion(Rectangles());
        for (auto rectangle = left.rbegin(); rectangle != left.rend(); ++rectangle)
            built = built->getUnion(Kv::Ptr<iRegion>(new Region(*rectangle)));
        EXPECT_TRUE(a->equals(built)) << "case " << test;
        EXPECT_TRUE(built->equals(a)) << "case " << test;

        // Sometimes equal by chance: a copy with one rectangle dropped.
        Rectangles fewer = left;
        if (!fewer.empty())
            fewer.erase(fewer.begin() + std::uniform_int_distribution<size_t>(0, fewer.size() - 1)(random));
        const Kv::Ptr<iRegion> b = makeRegion(fewer);
        EXPECT_EQ(a->equals(b), pixelsOf(left) == pixelsOf(fewer)) << "case " << test;

        const Rectangles other = randomRectangles();
        EXPECT_EQ(a->equals(makeRegion(other)), pixelsOf(left) == pixelsOf(other)) << "case " << test;
    }
}

TEST_F(RegionAlgebra, TranslateMovesPixelsAndBoundsAndKeepsTheID)
{
    std::uniform_int_distribution<int> offset(-20, 20);
    for (int test = 0; test < kCases; ++test) {
        Rectangles rectangles = randomRectangles();
        rectangles.push_back({1, 1, 3, 2}); // never empty
        const Kv::Ptr<iRegion> region = makeRegion(rectangles);
        const unsigned int id = region->getUniqueID();
        const int dx = offset(random);
        const int dy = offset(random);
        region->translate(dx, dy);

        PixelSet moved;
        for (const Pixel& pixel : pixelsOf(rectangles))
            moved.insert({pixel.first + dx, pixel.second + dy});
        EXPECT_EQ(pixelsOf(region), moved) << "case " << test;
        EXPECT_EQ(region->getBounds(), boundingBox(moved)) << "case " << test;
        EXPECT_EQ(region->getUniqueID(), id);
        EXPECT_EQ(region->contains(XY<int>(1 + dx, 1 + dy)), true);
    }
}

TEST(Region, GetDataAppendsToWhatTheVectorHolds)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 4, 4}, {10, 0, 12, 4}});
    Rectangles rectangles{{100, 100, 101, 101}};
    region->getData(rectangles);
    EXPECT_EQ(rectangles, (Rectangles{{100, 100, 101, 101}, {0, 0, 4, 4}, {10, 0, 12, 4}}));
}

TEST(Region, SwappedCornersCoverTheAreaRightOfAndBelowTheFirstCorner)
{
    const Region region(IntRect{10, 20, 4, 5});
    EXPECT_EQ(region.getBounds(), (IntRect{10, 20, 16, 35}));
    EXPECT_TRUE(region.contains(XY<int>(10, 20)));
    EXPECT_TRUE(region.contains(XY<int>(15, 34)));
    EXPECT_FALSE(region.contains(XY<int>(4, 5)));
    EXPECT_FALSE(region.contains(XY<int>(16, 34)));
}

TEST(Region, SameAreaFromDifferentListsIsEqual)
{
    const Kv::Ptr<iRegion> whole = makeRegion({{0, 0, 10, 10}});
    const Kv::Ptr<iRegion> halves = makeRegion({{0, 0, 5, 10}, {5, 0, 10, 10}});
    const Kv::Ptr<iRegion> overlapping = makeRegion({{0, 0, 8, 8}, {2, 2, 10, 10}, {0, 5, 10, 10}, {5, 0, 10, 5}});
    EXPECT_TRUE(whole->isRectangular());
    EXPECT_TRUE(halves->isRectangular());
    EXPECT_TRUE(whole->equals(halves));
    EXPECT_TRUE(overlapping->equals(whole));

    const Kv::Ptr<iRegion> notched = makeRegion({{0, 0, 10, 9}, {0, 9, 9, 10}});
    EXPECT_FALSE(notched->isRectangular());
    EXPECT_FALSE(notched->equals(whole)) << "same bounds, one side rectangular";
    EXPECT_FALSE(whole->equals(notched));
}

TEST(Region, EqualsIsFalseForNullAndForeignRegions)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 10, 10}});
    EXPECT_FALSE(region->equals(nullptr));
    EXPECT_FALSE(region->equals(Kv::Ptr<iRegion>(new ForeignRegion({0, 0, 10, 10}))));
    EXPECT_TRUE(region->equals(region));
}

TEST(Region, TouchingRegionsHaveANullIntersection)
{
    const Kv::Ptr<iRegion> square = makeRegion({{0, 0, 10, 10}});
    EXPECT_EQ(square->getIntersection(makeRegion({{10, 0, 20, 10}})), nullptr) << "side by side";
    EXPECT_EQ(square->getIntersection(makeRegion({{0, 10, 10, 20}})), nullptr) << "one above the other";
    EXPECT_EQ(square->getIntersection(makeRegion({{10, 10, 20, 20}})), nullptr) << "corner to corner";
    EXPECT_EQ(square->getIntersection(makeRegion({{30, 30, 40, 40}})), nullptr) << "apart";
    // Bounds that overlap, pixels that do not.
    const Kv::Ptr<iRegion> corners = makeRegion({{0, 0, 2, 2}, {8, 8, 10, 10}});
    EXPECT_EQ(corners->getIntersection(makeRegion({{3, 3, 7, 7}})), nullptr);
}

TEST(Region, ARegionWithItselfIsTheSameObjectOrNull)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 10, 10}, {20, 0, 30, 10}});
    EXPECT_EQ(region->getIntersection(region).get(), region.get());
    EXPECT_EQ(region->subtract(region), nullptr);

    const Kv::Ptr<iRegion> doubled = region->getUnion(region);
    EXPECT_NE(doubled.get(), region.get()) << "a union is always a new object";
    EXPECT_NE(doubled->getUniqueID(), region->getUniqueID());
    EXPECT_TRUE(doubled->equals(region));
}

TEST(Region, SubtractingACoveringRegionGivesNull)
{
    const Kv::Ptr<iRegion> inner = makeRegion({{2, 2, 6, 6}, {6, 4, 8, 5}});
    const Kv::Ptr<iRegion> cover = makeRegion({{0, 0, 5, 10}, {5, 0, 10, 10}});
    EXPECT_EQ(inner->subtract(cover), nullptr);
    EXPECT_EQ(pixelsOf(cover->subtract(inner)), difference(pixelsOf(cover), pixelsOf(inner)));
}

TEST(Region, SubtractingWhatLiesOutsideTheBoundsGivesACopyWithANewID)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 10, 10}});
    for (const IntRect& outside : {IntRect{20, 20, 30, 30}, IntRect{10, 0, 20, 10}}) {
        const Kv::Ptr<iRegion> result = region->subtract(makeRegion({outside}));
        ASSERT_TRUE(result);
        EXPECT_NE(result.get(), region.get());
        EXPECT_NE(result->getUniqueID(), region->getUniqueID());
        EXPECT_TRUE(result->equals(region));
    }
}

TEST(Region, NullOrForeignArgumentsGiveACopyOrNull)
{
    const Kv::Ptr<iRegion> region = makeRegion({{0, 0, 10, 10}, {0, 10, 5, 15}});
    const Kv::Ptr<iRegion> foreign(new ForeignRegion({0, 0, 10, 10}));
    for (const Kv::Ptr<iRegion>& argument : {Kv::Ptr<iRegion>(), foreign}) {
        for (const Kv::Ptr<iRegion>& copy : {region->subtract(argument), region->getUnion(argument)}) {
            ASSERT_TRUE(copy);
            EXPECT_NE(copy->getUniqueID(), region->getUniqueID());
            EXPECT_TRUE(copy->equals(region));
        }
        EXPECT_EQ(region->getIntersection(argument), nullptr);
    }
    const Kv::Ptr<iRegion> copy = region->clone();
    EXPECT_NE(copy->getUniqueID(), region->getUniqueID());
    EXPECT_TRUE(copy->equals(region));
}

TEST(Region, EmptyRegionHasZeroBoundsAndEqualsAnotherEmptyRegion)
{
    const Kv::Ptr<iRegion> empty = makeRegion(Rectangles());
    const Kv::Ptr<iRegion> alsoEmpty = makeRegion({{5, 5, 5, 9}, {3, 3, 8, 3}});
    EXPECT_EQ(empty->getBounds(), IntRect());
    EXPECT_EQ(alsoEmpty->getBounds(), IntRect()) << "zero-size rectangles add nothing";
    EXPECT_TRUE(empty->isRectangular());
    EXPECT_TRUE(empty->equals(alsoEmpty));
    EXPECT_FALSE(empty->contains(XY<int>(0, 0)));
    Rectangles rectangles;
    empty->getData(rectangles);
    EXPECT_TRUE(rectangles.empty());

    const Kv::Ptr<iRegion> square = makeRegion({{0, 0, 10, 10}});
    EXPECT_EQ(empty->getIntersection(square), nullptr);
    EXPECT_EQ(square->getIntersection(empty), nullptr);
    EXPECT_TRUE(square->subtract(empty)->equals(square));
    const Kv::Ptr<iRegion> emptyCopy = empty->subtract(square);
    ASSERT_TRUE(emptyCopy) << "nothing to take from: a copy, not null";
    EXPECT_TRUE(emptyCopy->equals(empty));
    const Kv::Ptr<iRegion> emptyUnion = empty->getUnion(alsoEmpty);
    ASSERT_TRUE(emptyUnion);
    EXPECT_TRUE(emptyUnion->equals(empty));
}

TEST(Region, TranslateMovesTheCachedBoundsEvenOfAnEmptyRegion)
{
    const Kv::Ptr<iRegion> region = makeRegion(Rectangles());
    region->translate(0, 0);
    EXPECT_EQ(region->getBounds(), IntRect());
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
