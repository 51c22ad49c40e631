#pragma once

#include "iHeap.h"
#include "iOperatingSystem.h"

#include <cstddef>
#include <new>
#include <utility>

// The allocator of the standard containers that cross the library's
// interfaces: their memory comes from, and goes back to, the process heap.
template <class T>
class StdAllocator
{
public:
    using value_type = T;

    StdAllocator() noexcept = default;
    template <class U>
    StdAllocator(const StdAllocator<U>&) noexcept
    {
    }

    T* allocate(std::size_t n) { return static_cast<T*>(OS()->heap()->alloc(n * sizeof(T))); }

    // A heap that throws here terminates the process.
    void deallocate(T* p, std::size_t) noexcept { OS()->heap()->deAlloc(p); }

    template <class U, class... Args>
    void construct(U* p, Args&&... args)
    {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }

    template <class U>
    void destroy(U* p)
    {
        p->~U();
    }

    template <class U>
    bool operator==(const StdAllocator<U>&) const noexcept
    {
        return true;
    }
};
