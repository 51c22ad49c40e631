#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iObject.h"

// A shared library loaded at run time: its functions, and the resources of
// the store "<stem>.rsrc" beside it. An object that failed to load stays
// usable, with valid() false and nothing found.
//
// Functions taken from the library die with the object, which may unload it
// as soon as its last pointer goes: keep the pointer while any is in use.
class KV_API iDLL : public virtual iObject
{
public:
    // A copy of one resource's bytes. Empty is data null and size 0.
    struct Resource
    {
        Kv::Ptr<unsigned char, Kv::DtorTraits, Kv::ExternalRefCountTraits> data;
        unsigned int size = 0;
    };

    // The name exactly as given.
    virtual const LightweightString<wchar_t>& getFilename() const = 0;
    virtual bool valid() const = 0;
    virtual bool containsFunction(const LightweightString<char>& name) const = 0;
    // Null for an unknown name and for a library that did not load.
    virtual void* getFunction(const LightweightString<char>& name) const = 0;
    // Always false, even for a resource that getResource finds.
    virtual bool containsResource(const LightweightString<wchar_t>& type,
                                  const LightweightString<wchar_t>& name) const = 0;
    // The type counts by its first four bytes, narrowed; a shorter one is
    // padded with zero bytes. The name is "#" and a number, cut to 16 bits;
    // any other name finds nothing.
    virtual Resource getResource(const LightweightString<wchar_t>& type,
                                 const LightweightString<wchar_t>& name) const = 0;
};
