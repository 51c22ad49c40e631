#pragma once

#include "iObject.h"

// The result of every wait in the library.
enum eWaitResult
{
    WaitTimedOut = 1,  // the time ran out, or with a time of 0, the thing was not available
    WaitFailed = 2,    // a system call failed; a semaphore's timeout too
    WaitSignalled = 3, // the lock or event was obtained
};

// Something a thread can wait for. Times are milliseconds: 0xFFFFFFFF waits
// for ever, 0 does not block.
class KV_API iWaitable : public virtual iObject
{
public:
    static constexpr unsigned int kInfinite = 0xFFFFFFFF;

    virtual eWaitResult wait(unsigned int timeoutMs) const = 0;
};
