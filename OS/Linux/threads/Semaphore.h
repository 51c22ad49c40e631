#pragma once

#include "Ptr.h"
#include "iCriticalSection.h"
#include "iSemaphore.h"
#include "iThreadEvent.h"

// A counter polled under a critical section, with no kernel object: a waiter
// looks every 5 ms and waiters are not queued, so it is not fair.
class Semaphore : public iSemaphore
{
public:
    // The first argument is accepted and ignored; the count has no maximum.
    Semaphore(unsigned int first, unsigned int initialCount);

    eWaitResult wait(unsigned int timeoutMs) const override;
    void release() const override;

private:
    // Takes one from the count if there is one.
    bool tryTake() const;

    Kv::Ptr<iCriticalSection> lock; // guards count
    Kv::Ptr<iThreadEvent> wakeUp;   // stays null: waiters poll
    mutable unsigned int count;
};
