#pragma once

#include "Ptr.h"
#include "iObject.h"
#include "iWatchable.h"

// Implemented by the application to hear from an iWatchable. Calls come on the
// watcher's own thread, one at a time for each watcher; two watchers may call
// at once.
class KV_API iWatchHandler : public virtual iObject
{
public:
    virtual void handleWatchResult(const Kv::Ptr<iWatchable::Result>& result) = 0;
};
