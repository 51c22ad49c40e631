#pragma once

#include "iHeap.h"

namespace Kv
{
    // The process heap on the C library's allocator. It keeps no bookkeeping.
    class OsHeap : public iHeap
    {
    public:
        void* alloc(unsigned long size) override;
        void* reAlloc(void* block, unsigned long size) override;
        void deAlloc(void* block) override;
        bool isPointerValid(void* block) const override;
        bool isMemoryValid(void* block, unsigned long size) override;

        // What alloc asks of the system for a request of size bytes.
        static unsigned long requestSize(unsigned long size);
    };
}
