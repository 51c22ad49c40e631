#pragma once

#include <cstddef>
#include <cstdlib>

namespace Kv
{
    // Memory straight from malloc, for containers that must work however far
    // the facade has come.
    template <class T>
    class ProcessHeapAllocator
    {
    public:
        using value_type = T;

        ProcessHeapAllocator() noexcept = default;
        template <class U>
        ProcessHeapAllocator(const ProcessHeapAllocator<U>&) noexcept
        {
        }

        T* allocate(std::size_t n) { return static_cast<T*>(std::malloc(n * sizeof(T))); }
        void deallocate(T* p, std::size_t) noexcept { std::free(p); }

        template <class U>
        bool operator==(const ProcessHeapAllocator<U>&) const noexcept
        {
            return true;
        }
    };
}
