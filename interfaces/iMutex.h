#pragma once

#include "iWaitable.h"

// A recursive lock with a timed wait. A release by a thread that does not own
// it throws std::runtime_error.
class KV_API iMutex : public virtual iWaitable
{
public:
    virtual void release() const = 0;
};
