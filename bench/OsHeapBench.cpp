#include "OS.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>

namespace
{
    // Blocks stay alive a while, as they do in an editor, rather than going
    // straight back: a batch is allocated, then freed in the order it came.
    constexpr unsigned kBatch = 64;

    // 16 to 4096 bytes, small sizes the most common, in an order that keeps
    // neighbouring requests in different size classes.
    constexpr std::array<unsigned long, 16> kSizes = {16, 48, 24, 160, 32, 512, 64, 1024, 40, 96, 2048, 128, 4096, 80, 256, 16};

    unsigned long sizeAt(unsigned index) { return kSizes[index % kSizes.size()]; }

    void BM_OsHeapAllocFree(benchmark::State& state)
    {
        void* blocks[kBatch];
        for (auto _ : state) {
            for (unsigned i = 0; i < kBatch; ++i) {
                blocks[i] = OS()->heap()->alloc(sizeAt(i));
                benchmark::DoNotOptimize(blocks[i]);
            }
            for (unsigned i = 0; i < kBatch; ++i)
                OS()->heap()->deAlloc(blocks[i]);
        }
        state.SetItemsProcessed(std::int64_t(state.iterations()) * kBatch);
    }

    void BM_MallocFree(benchmark::State& state)
    {
        void* blocks[kBatch];
        for (auto _ : state) {
            for (unsigned i = 0; i < kBatch; ++i) {
                blocks[i] = std::malloc(sizeAt(i));
                benchmark::DoNotOptimize(blocks[i]);
            }
            for (unsigned i = 0; i < kBatch; ++i)
                std::free(blocks[i]);
        }
        state.SetItemsProcessed(std::int64_t(state.iterations()) * kBatch);
    }
}

BENCHMARK(BM_OsHeapAllocFree);
BENCHMARK(BM_MallocFree);
