#include "MemoryManager.h"

#include "iOperatingSystem.h"
#include "iUtils.h"

#include <algorithm>

void MemoryManager::registerReclaimable(iReclaimable* reclaimable) { reclaimables.push_back(reclaimable); }

void MemoryManager::deRegisterReclaimable(iReclaimable* reclaimable)
{
    auto found = std::find(reclaimables.begin(), reclaimables.end(), reclaimable);
    if (found != reclaimables.end())
        reclaimables.erase(found);
}

void MemoryManager::report() { walk(&iReclaimable::report, true); }

void MemoryManager::reclaim() { walk(&iReclaimable::reclaim, false); }

void MemoryManager::limitUsage() { walk(&iReclaimable::limitUsage, false); }

void MemoryManager::walk(void (iReclaimable::*operation)(), bool logAfterEach)
{
    for (std::size_t i = 0; i < reclaimables.size(); ++i) {
        (reclaimables[i]->*operation)();
        if (logAfterEach)
            OS()->utils()->log("\n\n", nullptr);
    }
}
