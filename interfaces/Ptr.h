#pragma once

#include "iObject.h"
#include "iOperatingSystem.h"
#include "iThreadAtomics.h"

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace Kv
{
    // Destroys a counted thing with its (virtual) deleting destructor. For plain
    // buffers the thing is released with operator delete, so such a buffer has to
    // come from operator new.
    struct DtorTraits
    {
        template <class T>
        static void destroy(T* object)
        {
            delete object;
        }
    };

    // The count lives in the thing itself: the count member of its
    // Kv::InternalRefCount base, or a plain count field of a record.
    struct InternalRefCountTraits
    {
        template <class T>
        static int* countOf(T* raw)
        {
            if constexpr (std::is_base_of_v<InternalRefCount, T>)
                return &static_cast<InternalRefCount*>(raw)->count;
            else
                return &raw->count;
        }

        template <class Dtor, class T>
        static void release(int*, T* object)
        {
            Dtor::destroy(object);
        }
    };

    // The count is a separate integer from operator new, for plain buffers.
    struct ExternalRefCountTraits
    {
        template <class T>
        static int* countOf(T*)
        {
            int* count = static_cast<int*>(::operator new(sizeof(int)));
            *count = 0;
            return count;
        }

        // The count goes before the buffer.
        template <class Dtor, class T>
        static void release(int* count, T* object)
        {
            ::operator delete(count);
            Dtor::destroy(object);
        }
    };

    // The facade's atomics, looked up once: they live as long as the process.
    inline iThreadAtomics* atomics()
    {
        static iThreadAtomics* const threadAtomics = OS()->threadAtomics();
        return threadAtomics;
    }

    // The one smart pointer: two words, the address of the count and the thing.
    // Every count change goes through OS()->threadAtomics(), so no pointer may be
    // counted before the facade exists. One Ptr object must not be assigned from
    // two threads at once; separate Ptrs to one thing may be used anywhere.
    template <class T, class Dtor = DtorTraits, class RefCountTraits = InternalRefCountTraits>
    class Ptr
    {
    public:
        using DtorTraitsT = Dtor;
        using RefCountTraitsT = RefCountTraits;

        Ptr() noexcept = default;
        Ptr(std::nullptr_t) noexcept {}

        // Wraps a new thing: its count goes from 0 to 1.
        explicit Ptr(T* raw) : object(raw)
        {
            if (!raw)
                return;
            count = RefCountTraits::countOf(raw);
            incRef();
        }

        Ptr(const Ptr& other) : count(other.count), object(other.object) { incRef(); }

        template <class U>
        Ptr(const Ptr<U, Dtor, RefCountTraits>& other) : count(other.count), object(other.object)
        {
            incRef();
        }

        Ptr(Ptr&& other) noexcept : count(other.count), object(other.object) { other.object = nullptr; }

        ~Ptr() { decRef(); }

        // The old thing is held until the new one is safely counted, so assigning
        // a pointer to something that the old thing owns is safe.
        Ptr& operator=(const Ptr& other)
        {
            if (this != &other)
                replaceWith(other.count, other.object);
            return *this;
        }

        // Takes over the other's reference; the old thing is let go after.
        Ptr& operator=(Ptr&& other) noexcept
        {
            if (this == &other)
                return *this;
            Ptr old(std::move(*this));
            count = other.count;
            object = other.object;
            other.object = nullptr;
            return *this;
        }

        template <class U>
        Ptr& operator=(const Ptr<U, Dtor, RefCountTraits>& other)
        {
            if (object != other.object)
                replaceWith(other.count, other.object);
            return *this;
        }

        void incRef() const
        {
            if (object)
                atomics()->safeInc(count);
        }

        // At zero the thing is destroyed and both words become zero; otherwise
        // the words stay as they are.
        void decRef()
        {
            if (!object)
                return;
            if (atomics()->safeDec(count) != 0)
                return;
            int* const deadCount = count;
            T* const deadObject = object;
            count = nullptr;
            object = nullptr;
            RefCountTraits::template release<Dtor>(deadCount, deadObject);
        }

        T* get() const noexcept { return object; }
        T* operator->() const noexcept { return object; }
        T& operator*() const noexcept { return *object; }
        explicit operator bool() const noexcept { return object != nullptr; }

        template <class U>
        bool operator==(const Ptr<U, Dtor, RefCountTraits>& other) const noexcept
        {
            return object == other.object;
        }
        bool operator==(std::nullptr_t) const noexcept { return object == nullptr; }

    private:
        template <class, class, class>
        friend class Ptr;
        template <class Target, class Source, class D, class R>
        friend Ptr<Target, D, R> dynamicCast(Ptr<Source, D, R> source);

        // Takes another reference to a thing already counted elsewhere.
        Ptr(int* sharedCount, T* sharedObject) : count(sharedCount), object(sharedObject) { incRef(); }

        template <class U>
        void replaceWith(int* newCount, U* newObject)
        {
            Ptr old(count, object);
            count = newCount;
            object = newObject;
            incRef();
            // Once for the temporary's own reference, once for the one given up here.
            old.decRef();
            old.decRef();
            old.object = nullptr;
        }

        // Has no meaning, and is never read, while object is null.
        int* count = nullptr;
        T* object = nullptr;
    };

    // A failed cast, or a null source, gives a null pointer and touches no count.
    template <class Target, class Source, class D, class R>
    Ptr<Target, D, R> dynamicCast(Ptr<Source, D, R> source)
    {
        Target* target = dynamic_cast<Target*>(source.object);
        if (!target)
            return Ptr<Target, D, R>();
        return Ptr<Target, D, R>(source.count, target);
    }
}
