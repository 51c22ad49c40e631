#include "OsHeap.h"

#include "iOperatingSystem.h"

#include <cstdlib>
#include <new>

namespace Kv
{
    namespace
    {
        constexpr unsigned long kLargeBlock = 131072;
    }

    // Large blocks are a multiple of 16 bytes with at least one spare byte: a
    // decision of the heap, not of its callers.
    unsigned long OsHeap::requestSize(unsigned long size)
    {
        if (size == 0)
            return 1;
        if (size <= kLargeBlock)
            return size;
        const unsigned long odd = size & 15;
        return odd ? size + 32 - odd : size + 16;
    }

    void* OsHeap::alloc(unsigned long size) { return std::malloc(requestSize(size)); }

    void* OsHeap::reAlloc(void* block, unsigned long size) { return std::realloc(block, size); }

    void OsHeap::deAlloc(void* block) { std::free(block); }

    bool OsHeap::isPointerValid(void*) const { return true; }

    bool OsHeap::isMemoryValid(void*, unsigned long) { return true; }
}

void* Custom_malloc_fn(size_t size, const char*, int) { return OS()->heap()->alloc(size); }

void* Custom_realloc_fn(void* block, size_t size, const char*, int) { return OS()->heap()->reAlloc(block, size); }

void Custom_free_fn(void* block, const char*, int) { OS()->heap()->deAlloc(block); }

// The process's allocation operators: everything goes to the facade's heap.
// There is no retry and no std::bad_alloc; a failed allocation is null.
void* operator new(std::size_t size) { return OS()->heap()->alloc(size); }

void* operator new[](std::size_t size) { return OS()->heap()->alloc(size); }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return OS()->heap()->alloc(size); }

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return OS()->heap()->alloc(size); }

void operator delete(void* block) noexcept { OS()->heap()->deAlloc(block); }

void operator delete[](void* block) noexcept { OS()->heap()->deAlloc(block); }

void operator delete(void* block, std::size_t) noexcept { OS()->heap()->deAlloc(block); }

void operator delete[](void* block, std::size_t) noexcept { OS()->heap()->deAlloc(block); }

void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }

void operator delete[](void* block, const std::nothrow_t&) noexcept { operator delete[](block); }
