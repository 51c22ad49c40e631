#pragma once

#include <pthread.h>
#include <sched.h>

// Keeps the calling thread on one CPU for its scope, then gives back the CPUs
// it had: the benchmark's main thread must leave a benchmark as it came in.
// Threads started meanwhile inherit the pin. A refused pin leaves the thread
// where it was, and the numbers merely noisier.
class CpuPin
{
public:
    // The position among the CPUs the process may use, modulo their number.
    explicit CpuPin(unsigned position)
    {
        pinned = pthread_getaffinity_np(pthread_self(), sizeof previous, &previous) == 0;
        if (!pinned)
            return;
        const int allowed = CPU_COUNT(&previous);
        const int wanted = allowed ? int(position % unsigned(allowed)) : 0;
        cpu_set_t only;
        CPU_ZERO(&only);
        int seen = 0;
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (!CPU_ISSET(cpu, &previous))
                continue;
            if (seen++ == wanted) {
                CPU_SET(cpu, &only);
                break;
            }
        }
        pinned = pthread_setaffinity_np(pthread_self(), sizeof only, &only) == 0;
    }

    ~CpuPin()
    {
        if (pinned)
            pthread_setaffinity_np(pthread_self(), sizeof previous, &previous);
    }

    CpuPin(const CpuPin&) = delete;
    CpuPin& operator=(const CpuPin&) = delete;

private:
    cpu_set_t previous;
    bool pinned;
};
