#pragma once

#include "iWaitable.h"

// A manual-reset or auto-reset event. Any number of threads may wait on it,
// at most 64 at once, alone or together with other events through
// iThreadManager::waitForEvents.
class KV_API iThreadEvent : public virtual iWaitable
{
public:
    virtual bool set() = 0;
    virtual bool reset() = 0;
};
