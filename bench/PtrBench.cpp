#include "CpuPin.h"
#include "OS.h"

#include <benchmark/benchmark.h>

#include <memory>

// The anchor's atomics depend on the idle thread that main starts.

namespace
{
    class Clip : public iObject
    {
    public:
        int frames = 0;
    };

    // One object per kind, shared by every thread of a run, so that two
    // threads copy pointers to the very same count.
    const Kv::Ptr<Clip>& sharedClip()
    {
        static const Kv::Ptr<Clip> clip(new Clip);
        return clip;
    }

    const std::shared_ptr<Clip>& sharedStdClip()
    {
        static const std::shared_ptr<Clip> clip = std::make_shared<Clip>();
        return clip;
    }

    // Each thread is pinned to a CPU of its own, so that two threads really
    // contend for the count instead of taking turns on one CPU.
    void BM_PtrCopyRelease(benchmark::State& state)
    {
        const CpuPin ownCpu(unsigned(state.thread_index()));
        const Kv::Ptr<Clip>& clip = sharedClip();
        for (auto _ : state) {
            Kv::Ptr<Clip> copy(clip);
            benchmark::DoNotOptimize(copy);
        }
    }

    void BM_SharedPtrCopyRelease(benchmark::State& state)
    {
        const CpuPin ownCpu(unsigned(state.thread_index()));
        const std::shared_ptr<Clip>& clip = sharedStdClip();
        for (auto _ : state) {
            std::shared_ptr<Clip> copy(clip);
            benchmark::DoNotOptimize(copy);
        }
    }
}

BENCHMARK(BM_PtrCopyRelease)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_SharedPtrCopyRelease)->Threads(1)->Threads(2)->UseRealTime();
