#pragma once

#include "iObject.h"

// The cheap recursive lock. It reports failures only as a message on standard
// output: a lock that failed looks to its caller like one that succeeded.
class KV_API iCriticalSection : public virtual iObject
{
public:
    virtual void lock() = 0;
    // False, silently, when another thread holds the section.
    virtual bool lockIfNotLocked() = 0;
    virtual void unlock() = 0;
};
