#pragma once

#include "LightweightString.h"
#include "iObject.h"

// A thread of the library. The last reference joins the thread, so a thread
// must never drop the last reference to itself.
class KV_API iThread : public virtual iObject
{
public:
    enum ePriority
    {
        ePriorityIdle = 0,
        ePriorityLowest = 1,
        ePriorityNormal = 2,
        ePriorityAboveNormal = 3,
        ePriorityHighest = 4,
        ePriorityTimeCritical = 5,
    };

    enum eExecRC
    {
        eExecOk = 0,
        eExecFailed = 1,
    };

    // Declared for the application's handlers; the library never looks inside.
    struct Exception
    {
        int code;
        void* address;
    };

    struct InitArgs
    {
        void (*entry)(void* arg) = nullptr;
        void* arg = nullptr;
        unsigned int stackSize = 0; // bytes; 0 is the system default, anything else at least 1 MiB
        LightweightString<char> name; // at most 15 characters reach the system
        void* handler = nullptr;      // carried, not used
        bool unused = false;
    };

    virtual unsigned int getID() const = 0;
    virtual int getPriority() const = 0;
    virtual bool setPriority(ePriority priority) = 0;
    virtual int setAffinity(unsigned int mask) = 0;
    virtual void resume() = 0;
    virtual void suspend() = 0;
    // Blocks until the thread has ended, whatever the time given.
    virtual bool waitForCompletion(unsigned int timeoutMs) const = 0;
};
