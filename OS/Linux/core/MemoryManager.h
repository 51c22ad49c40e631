#pragma once

#include "ProcessHeapAllocator.h"
#include "iMemoryManager.h"
#include "iReclaimable.h"

#include <vector>

// The registry of the application's memory-pressure handlers. No lock: see
// iMemoryManager.
class MemoryManager : public iMemoryManager
{
public:
    void registerReclaimable(iReclaimable* reclaimable) override;
    void deRegisterReclaimable(iReclaimable* reclaimable) override;
    void report() override;
    void reclaim() override;
    void limitUsage() override;

private:
    // Calls one operation on every entry; the size is read again after each
    // call, so that an entry may deregister itself.
    void walk(void (iReclaimable::*operation)(), bool logAfterEach);

    std::vector<iReclaimable*, Kv::ProcessHeapAllocator<iReclaimable*>> reclaimables;
};
