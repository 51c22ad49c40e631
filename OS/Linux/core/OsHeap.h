#pragma once

#include "iHeap.h"

#include <cstddef>

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

// OpenSSL's memory hooks, so that its allocations come from the heap too. The
// source position OpenSSL passes is ignored.
void* Custom_malloc_fn(size_t size, const char* file, int line);
void* Custom_realloc_fn(void* block, size_t size, const char* file, int line);
void Custom_free_fn(void* block, const char* file, int line);
