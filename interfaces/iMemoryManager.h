#pragma once

#include "KvExport.h"

class iReclaimable;

// The registry of memory-pressure handlers. It has no lock: register and walk
// from one thread, or serialise the calls yourself. Entries are not owned.
class KV_API iMemoryManager
{
public:
    virtual ~iMemoryManager() = default;

    // The same handler may be registered twice; it is then called twice.
    virtual void registerReclaimable(iReclaimable* reclaimable) = 0;
    // Removes the first entry equal to the handler; an unknown handler is ignored.
    virtual void deRegisterReclaimable(iReclaimable* reclaimable) = 0;
    // Each walk calls every handler in registration order; a handler may
    // deregister itself during the walk.
    virtual void report() = 0;
    virtual void reclaim() = 0;
    virtual void limitUsage() = 0;
};
