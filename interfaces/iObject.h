#pragma once

#include "KvExport.h"

// The roots of the interface tree. Every counted interface derives from iObject
// with virtual inheritance, so an object always holds exactly one count.
class KV_API iVirtual
{
public:
    virtual ~iVirtual() = default;
};

namespace Kv
{
    // The count that lives inside counted objects. It is 0 until the first
    // Kv::Ptr wraps the object; nothing destroys an object that was never wrapped.
    class KV_API InternalRefCount
    {
    public:
        virtual ~InternalRefCount() = default;

        int count = 0;
    };
}

class KV_API iObject : public virtual Kv::InternalRefCount, public virtual iVirtual
{
};
