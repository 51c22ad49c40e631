#pragma once

#include "KvExport.h"

// The process heap. All memory of the library and of its application comes
// from here, through the global operator new and delete. Not counted.
class KV_API iHeap
{
public:
    virtual ~iHeap() = default;

    // Null when the system has no memory left: there is no retry and nothing is thrown.
    virtual void* alloc(unsigned long size) = 0;
    virtual void* reAlloc(void* block, unsigned long size) = 0;
    virtual void deAlloc(void* block) = 0;
    virtual bool isPointerValid(void* block) const = 0;
    virtual bool isMemoryValid(void* block, unsigned long size) = 0;
};
