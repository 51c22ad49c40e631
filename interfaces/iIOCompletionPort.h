#pragma once

#include "Ptr.h"
#include "iFile.h"
#include "iObject.h"

// Holds a thread in getStatus until another calls terminate. Nothing is ever
// completed on this port.
class KV_API iIOCompletionPort : public virtual iObject
{
public:
    // Returns 2 once terminated, looking once a second.
    virtual int getStatus() const = 0;
    virtual void terminate() const = 0;
    // Nothing is completed here: a file is never attached.
    virtual bool attach(Kv::Ptr<iFile> file) = 0;
};
