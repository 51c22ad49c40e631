#include "Semaphore.h"

#include "CriticalSectionLock.h"
#include "iThreadManager.h"
#include "iUtils.h"

namespace
{
    constexpr unsigned int kPollMs = 5;
}

Semaphore::Semaphore(unsigned int, unsigned int initialCount)
    : lock(OS()->threadMgr()->createCriticalSection(0)), count(initialCount)
{
}

bool Semaphore::tryTake() const
{
    CriticalSectionLock guard(lock);
    if (count == 0)
        return false;
    --count;
    return true;
}

// A wait that gets nothing is WaitFailed, a poll and a timeout alike.
eWaitResult Semaphore::wait(unsigned int timeoutMs) const
{
    if (timeoutMs == 0)
        return tryTake() ? WaitSignalled : WaitFailed;
    const double start = OS()->utils()->timeNow();
    for (;;) {
        if (tryTake())
            return WaitSignalled;
        OS()->threadMgr()->sleep(kPollMs);
        if (timeoutMs != kInfinite && !(timeoutMs > OS()->utils()->timeNow() - start))
            return WaitFailed;
    }
}

void Semaphore::release() const
{
    CriticalSectionLock guard(lock);
    ++count;
}
