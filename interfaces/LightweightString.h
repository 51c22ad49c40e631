#pragma once

#include "Ptr.h"
#include "iHeap.h"

#include <cstring>
#include <cwchar>
#include <type_traits>
#include <strings.h>

namespace Kv::TextOps
{
    // The C library's routines for each element type: str... for char, wcs... for wchar_t.
    inline unsigned length(const char* text) { return unsigned(std::strlen(text)); }
    inline unsigned length(const wchar_t* text) { return unsigned(std::wcslen(text)); }
    inline void copy(char* to, const char* from) { std::strcpy(to, from); }
    inline void copy(wchar_t* to, const wchar_t* from) { std::wcscpy(to, from); }
    inline size_t lengthUpTo(const char* text, unsigned n) { return ::strnlen(text, n); }
    inline size_t lengthUpTo(const wchar_t* text, unsigned n) { return ::wcsnlen(text, n); }

    // Exactly strncpy and wcsncpy: up to the first zero element, then zeros to
    // fill n. Done by length and block copy, which the C library does fastest.
    template <class E>
    void copyN(E* to, const E* from, unsigned n)
    {
        const size_t copied = lengthUpTo(from, n);
        std::memcpy(to, from, copied * sizeof(E));
        std::memset(to + copied, 0, (n - copied) * sizeof(E));
    }
    inline int compare(const char* a, const char* b) { return std::strcmp(a, b); }
    inline int compare(const wchar_t* a, const wchar_t* b) { return std::wcscmp(a, b); }
    inline int compareNoCase(const char* a, const char* b) { return ::strcasecmp(a, b); }
    inline int compareNoCase(const wchar_t* a, const wchar_t* b) { return ::wcscasecmp(a, b); }
    inline int compareN(const char* a, const char* b, unsigned n) { return std::strncmp(a, b, n); }
    inline int compareN(const wchar_t* a, const wchar_t* b, unsigned n) { return std::wcsncmp(a, b, n); }
    inline int compareNNoCase(const char* a, const char* b, unsigned n) { return ::strncasecmp(a, b, n); }
    inline int compareNNoCase(const wchar_t* a, const wchar_t* b, unsigned n) { return ::wcsncasecmp(a, b, n); }
    inline const wchar_t* find(const wchar_t* haystack, const wchar_t* needle) { return std::wcsstr(haystack, needle); }
}

// A counted, shared text: one pointer to one heap block, header then text.
// Copying costs two words and one atomic increment. A change works in place
// when this string is the only holder and the text fits, and builds a new
// record otherwise. A null string is the empty string.
//
// Threads: copies of one string may live in any threads; one string object
// must not be read and written at once.
template <class E>
class LightweightString
{
public:
    static constexpr unsigned npos = 0xFFFFFFFF;

    // The block: this header, then capacity elements of text.
    struct Impl
    {
        E* text;
        unsigned length;
        unsigned capacity; // terminator counted: length < capacity
        int count;

        // The whole block goes back to the heap; there is nothing to destruct.
        struct DtorTraits
        {
            static void destroy(Impl* impl) { OS()->heap()->deAlloc(impl); }
        };
    };
    using ImplPtr = Kv::Ptr<Impl, typename Impl::DtorTraits, Kv::InternalRefCountTraits>;

    LightweightString() noexcept = default;
    LightweightString(const E* text) { assign(text); }
    LightweightString(const E* text, unsigned length) { assign(text, length); }
    LightweightString(unsigned length, E fill)
    {
        resizeFor(length);
        for (unsigned i = 0; i < size(); ++i)
            impl->text[i] = fill;
    }

    // Accessors: a null record reads as the empty text.
    const E* c_str() const noexcept { return impl ? impl->text : emptyText; }
    // For writing: null for a null string; call unshare() first.
    E* data() noexcept { return impl ? impl->text : nullptr; }
    unsigned size() const noexcept { return impl ? impl->length : 0; }
    unsigned length() const noexcept { return size(); }
    unsigned capacity() const noexcept { return impl ? impl->capacity : 0; }
    bool empty() const noexcept { return size() == 0; }
    E operator[](unsigned index) const noexcept { return c_str()[index]; }
    E& operator[](unsigned index) noexcept
    {
        if (impl)
            return impl->text[index];
        // A null string reads as empty text, and what is written to it goes nowhere.
        static thread_local E terminator;
        terminator = E();
        return terminator;
    }
    bool operator==(const LightweightString& other) const { return compare(c_str(), other.c_str()) == 0; }
    bool operator==(const E* other) const { return compare(c_str(), other) == 0; }
    bool operator<(const LightweightString& other) const { return compare(c_str(), other.c_str()) < 0; }

    // Length 0 gives a null string and allocates nothing. Rounded up, the
    // capacity is the smallest power of two above the length; otherwise it is
    // exactly length + 1. Only the terminator of the new text is written.
    static LightweightString createImpl(unsigned length, bool roundUp)
    {
        LightweightString result;
        if (length == 0)
            return result;
        unsigned capacity = length + 1;
        if (roundUp)
            for (capacity = 1; capacity <= length; capacity *= 2) {
            }
        auto* block = static_cast<Impl*>(OS()->heap()->alloc(sizeof(Impl) + capacity * sizeof(E)));
        block->text = reinterpret_cast<E*>(block + 1);
        block->text[length] = 0;
        block->length = length;
        block->capacity = capacity;
        block->count = 0;
        result.impl = ImplPtr(block);
        return result;
    }

    // Makes room for length elements to be overwritten: the text is not kept.
    void resizeFor(unsigned length)
    {
        if (length == 0) {
            impl = ImplPtr();
            return;
        }
        if (impl && soleHolder() && impl->capacity > length) {
            impl->text[length] = 0;
            impl->length = length;
            return;
        }
        *this = createImpl(length, true);
    }

    // The length stays as stated even if the text ends early: the rest is zeros.
    void assign(const E* text, unsigned length)
    {
        resizeFor(length);
        if (!empty())
            Kv::TextOps::copyN(impl->text, text, impl->length);
    }

    void assign(const E* text)
    {
        if (!text) {
            resizeFor(0);
            return;
        }
        resizeFor(Kv::TextOps::length(text));
        if (!empty())
            Kv::TextOps::copy(impl->text, text);
    }

    // A new string of the two texts, with a rounded-up capacity. A null b with a
    // non-zero bLen leaves that room unfilled for the caller.
    static LightweightString join(const E* a, unsigned aLen, const E* b, unsigned bLen)
    {
        LightweightString result;
        result.resizeFor(aLen + bLen);
        if (result.empty())
            return result;
        if (a && aLen)
            Kv::TextOps::copyN(result.impl->text, a, aLen);
        if (b && bLen)
            Kv::TextOps::copyN(result.impl->text + aLen, b, bLen);
        return result;
    }

    void append(const E* text, unsigned length)
    {
        if (length == 0)
            return;
        if (!impl) {
            assign(text, length);
            return;
        }
        if (soleHolder() && impl->length + length < impl->capacity) {
            Kv::TextOps::copyN(impl->text + impl->length, text, length);
            impl->length += length;
            impl->text[impl->length] = 0;
            return;
        }
        *this = join(impl->text, impl->length, text, length);
    }

    // A zero element is ignored: a string cannot hold one this way.
    void push_back(E element)
    {
        if (element == 0)
            return;
        Impl* record = impl.get();
        if (record && soleHolder() && record->length + 1 < record->capacity) [[likely]] {
            const unsigned length = ++record->length;
            record->text[length - 1] = element;
            record->text[length] = 0;
            return;
        }
        growByOne(element);
    }

    LightweightString operator+(const E* text) const
    {
        return join(c_str(), size(), text, text ? Kv::TextOps::length(text) : 0);
    }

    LightweightString operator+(const LightweightString& other) const
        requires std::is_same_v<E, wchar_t>
    {
        return join(c_str(), size(), other.c_str(), other.size());
    }

    // Unlike push_back, this takes a zero element too.
    LightweightString operator+(E element) const
        requires std::is_same_v<E, wchar_t>
    {
        LightweightString result = join(c_str(), size(), nullptr, 1);
        result.impl->text[result.impl->length - 1] = element;
        return result;
    }

    LightweightString& operator+=(const E* text)
    {
        append(text, text ? Kv::TextOps::length(text) : 0);
        return *this;
    }

    // Always a copy: a string and its substring never share a record.
    LightweightString substr(unsigned pos, unsigned count) const
    {
        if (pos >= size())
            return LightweightString();
        const unsigned available = impl->length - pos;
        const unsigned taken = (count == npos || pos + count > impl->length) ? available : count;
        return LightweightString(impl->text + pos, taken);
    }

    unsigned find(const E* needle, unsigned start) const
        requires std::is_same_v<E, wchar_t>
    {
        if (start >= size())
            return npos;
        const E* found = Kv::TextOps::find(impl->text + start, needle);
        return found ? unsigned(found - impl->text) : npos;
    }

    // Every non-empty string starts with the empty text; an empty string
    // starts with nothing.
    bool startsWith(const E* prefix, bool caseSensitive) const
    {
        if (!prefix || empty())
            return false;
        const unsigned n = Kv::TextOps::length(prefix);
        return (caseSensitive ? Kv::TextOps::compareN(impl->text, prefix, n)
                              : Kv::TextOps::compareNNoCase(impl->text, prefix, n)) == 0;
    }

    bool endsWith(const E* suffix, bool caseSensitive) const
        requires std::is_same_v<E, wchar_t>
    {
        if (!suffix || empty())
            return false;
        const unsigned n = Kv::TextOps::length(suffix);
        if (impl->length < n)
            return false;
        const E* tail = impl->text + impl->length - n;
        return (caseSensitive ? Kv::TextOps::compare(tail, suffix) : Kv::TextOps::compareNoCase(tail, suffix)) == 0;
    }

    // Keeps the text. Growing in place leaves whatever the block held between
    // the old and the new length.
    void resize(unsigned length)
        requires std::is_same_v<E, wchar_t>
    {
        if (length == size())
            return;
        if (length == 0) {
            impl = ImplPtr();
            return;
        }
        if (impl && impl->capacity > length && soleHolder()) {
            impl->text[length] = 0;
            impl->length = length;
            return;
        }
        if (empty()) {
            resizeFor(length);
            return;
        }
        LightweightString grown = createImpl(length, true);
        Kv::TextOps::copyN(grown.impl->text, impl->text, impl->length < length ? impl->length : length);
        *this = grown;
    }

    // Exact sizing: the capacity becomes length + 1. The one operation that can
    // leave a non-null record of length 0.
    void reserve(unsigned length)
        requires std::is_same_v<E, wchar_t>
    {
        if (length == 0 || length + 1 <= capacity())
            return;
        LightweightString reserved = createImpl(length, false);
        const unsigned kept = size();
        if (kept)
            std::wmemcpy(reserved.impl->text, impl->text, kept);
        reserved.impl->length = kept;
        reserved.impl->text[kept] = 0;
        *this = reserved;
    }

    // Call before writing through a text pointer: afterwards this string is
    // the only holder of its record.
    void unshare()
    {
        if (!impl || soleHolder())
            return;
        *this = LightweightString(impl->text, impl->length);
    }

    // Null and empty compare equal and sort before all other text.
    static int compare(const E* a, const E* b) { return compareWith(a, b, Kv::TextOps::compare); }

    static int icompare(const E* a, const E* b)
        requires std::is_same_v<E, wchar_t>
    {
        return compareWith(a, b, Kv::TextOps::compareNoCase);
    }

private:
    static constexpr E emptyText[1] = {0};

    // Whether a change may happen in place. A plain load on this machine; the
    // acquire orders it after another holder's release of the record.
    bool soleHolder() const noexcept { return __atomic_load_n(&impl->count, __ATOMIC_ACQUIRE) == 1; }

    // The slow path of push_back, kept apart so that the fast one stays small.
    __attribute__((noinline)) void growByOne(E element)
    {
        *this = join(impl ? impl->text : emptyText, size(), nullptr, 1);
        impl->text[impl->length - 1] = element;
        impl->text[impl->length] = 0;
    }

    static int compareWith(const E* a, const E* b, int (*order)(const E*, const E*))
    {
        if (a == b)
            return 0;
        if (a && *a)
            return b ? order(a, b) : 1;
        return (!b || !*b) ? 0 : -1;
    }

    ImplPtr impl;
};

// The path without its extension: everything before the last '.', wherever it
// stands. A name that is only an extension, such as ".hidden", becomes empty.
KV_API LightweightString<wchar_t> stripExtension(const LightweightString<wchar_t>& path);

// The last component of the path without its extension; empty for a path
// that ends in the separator.
KV_API LightweightString<wchar_t> stripPathAndExt(const LightweightString<wchar_t>& path);

// The first four bytes, big-endian: "ab" is 0x61620000. 0 for an empty string.
KV_API unsigned StringAsFourCC(const LightweightString<char>& text);
