#pragma once

#include "KvExport.h"

// Implemented by the application: something that can give memory back when
// the memory manager asks. Results are not used.
class KV_API iReclaimable
{
public:
    virtual ~iReclaimable() = default;

    virtual void reclaim() = 0;
    virtual void limitUsage() = 0;
    virtual void report() = 0;
};
