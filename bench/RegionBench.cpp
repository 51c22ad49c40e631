#include "OS.h"

// No public factory hands out regions yet, so the class is built into this
// program from its own source.
#include "../OS/Linux/graphics/Region.h"

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <random>
#include <vector>

namespace
{
    constexpr int kRectangles = 1000;

    // Scattered, overlapping rectangles as dirty areas gather them: the bands
    // of the two sides cross each other everywhere.
    iRegion::Rectangles randomRectangles(unsigned int seed)
    {
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> corner(0, 4000);
        std::uniform_int_distribution<int> size(8, 160);
        iRegion::Rectangles rectangles;
        for (int index = 0; index < kRectangles; ++index) {
            const int left = corner(random);
            const int top = corner(random);
            rectangles.push_back({left, top, left + size(random), top + size(random)});
        }
        return rectangles;
    }

    const iRegion::Rectangles& first()
    {
        static const iRegion::Rectangles rectangles = randomRectangles(1);
        return rectangles;
    }

    const iRegion::Rectangles& second()
    {
        static const iRegion::Rectangles rectangles = randomRectangles(2);
        return rectangles;
    }

    // The anchor's regions, from the same rectangles.
    class PixmanRegion
    {
    public:
        explicit PixmanRegion(const iRegion::Rectangles& rectangles)
        {
            std::vector<pixman_box32_t> boxes;
            for (const Kv::Rectangle<int>& rectangle : rectangles)
                boxes.push_back({rectangle.left, rectangle.top, rectangle.right, rectangle.bottom});
            pixman_region32_init_rects(&region, boxes.data(), static_cast<int>(boxes.size()));
        }
        PixmanRegion() { pixman_region32_init(&region); }
        ~PixmanRegion() { pixman_region32_fini(&region); }
        PixmanRegion(const PixmanRegion&) = delete;
        PixmanRegion& operator=(const PixmanRegion&) = delete;

        pixman_region32_t region;
    };

    using Operation = Kv::Ptr<iRegion> (iRegion::*)(Kv::Ptr<iRegion>) const;
    using PixmanOperation = pixman_bool_t (*)(pixman_region32_t*, const pixman_region32_t*, const pixman_region32_t*);

    // Each result is made and dropped inside the loop, on both sides.
    void runOurs(benchmark::State& state, Operation operation)
    {
        const Kv::Ptr<iRegion> a(new Region(first()));
        const Kv::Ptr<iRegion> b(new Region(second()));
        for (auto _ : state) {
            const Kv::Ptr<iRegion> result = (a.get()->*operation)(b);
            benchmark::DoNotOptimize(result.get());
        }
    }

    void runPixman(benchmark::State& state, PixmanOperation operation)
    {
        PixmanRegion a(first());
        PixmanRegion b(second());
        for (auto _ : state) {
            PixmanRegion result;
            operation(&result.region, &a.region, &b.region);
            benchmark::DoNotOptimize(result.region.data);
        }
    }

    void BM_RegionUnion(benchmark::State& state) { runOurs(state, &iRegion::getUnion); }
    void BM_PixmanRegionUnion(benchmark::State& state) { runPixman(state, pixman_region32_union); }
    void BM_RegionIntersection(benchmark::State& state) { runOurs(state, &iRegion::getIntersection); }
    void BM_PixmanRegionIntersect(benchmark::State& state) { runPixman(state, pixman_region32_intersect); }
    void BM_RegionSubtract(benchmark::State& state) { runOurs(state, &iRegion::subtract); }
    void BM_PixmanRegionSubtract(benchmark::State& state) { runPixman(state, pixman_region32_subtract); }
}

BENCHMARK(BM_RegionUnion);
BENCHMARK(BM_PixmanRegionUnion);
BENCHMARK(BM_RegionIntersection);
BENCHMARK(BM_PixmanRegionIntersect);
BENCHMARK(BM_RegionSubtract);
BENCHMARK(BM_PixmanRegionSubtract);
