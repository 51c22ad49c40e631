#pragma once

#include "Ptr.h"
#include "iObject.h"

// A block of GPU compute memory; an image's buffer is the compute view of its
// texture, made once and kept with the texture.
class KV_API iGPUBuffer : public virtual iObject
{
public:
    // Bytes from operator new, counted apart.
    using HostBytes = Kv::Ptr<unsigned char, Kv::DtorTraits, Kv::ExternalRefCountTraits>;

    // No buffer is mapped into host memory on this host: both do nothing.
    virtual void map() = 0;
    virtual void unmap() = 0;
    // Every byte, read once the work queued before has ended. A texture's
    // buffer has no bytes to give.
    virtual HostBytes copyToHost() const = 0;
};
