#include "OS.h"

#include <benchmark/benchmark.h>

#include <mutex>

namespace
{
    // Uncontended, as almost every lock in an editor is: the cost is the
    // library's own overhead around the system lock.
    void BM_CriticalSectionLockUnlock(benchmark::State& state)
    {
        const Kv::Ptr<iCriticalSection> section = OS()->threadMgr()->createCriticalSection(0);
        for (auto _ : state) {
            section->lock();
            section->unlock();
            benchmark::ClobberMemory();
        }
    }

    void BM_RecursiveMutexLockUnlock(benchmark::State& state)
    {
        std::recursive_mutex mutex;
        for (auto _ : state) {
            mutex.lock();
            mutex.unlock();
            benchmark::ClobberMemory();
        }
    }
}

BENCHMARK(BM_CriticalSectionLockUnlock);
BENCHMARK(BM_RecursiveMutexLockUnlock);
