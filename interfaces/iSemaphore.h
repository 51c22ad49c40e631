#pragma once

#include "iWaitable.h"

// A polled counter: a waiter looks every 5 ms, and waiters are not queued. A
// wait that gets nothing, a timeout included, is WaitFailed.
class KV_API iSemaphore : public virtual iWaitable
{
public:
    virtual void release() const = 0;
};
