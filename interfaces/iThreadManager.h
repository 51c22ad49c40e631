#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iMutex.h"
#include "iSemaphore.h"
#include "iThread.h"
#include "iThreadEvent.h"

#include <vector>

// The outcome of a wait on several events: the result, and the position in
// the caller's list of the event concerned, or 0xFFFFFFFF.
struct WaitForEventsResult
{
    eWaitResult result;
    unsigned int index;
};
static_assert(sizeof(WaitForEventsResult) == 8);

// The factory of locks, events and threads, with the process-wide table of
// named events and each thread's own table of named objects.
class KV_API iThreadManager
{
public:
    virtual ~iThreadManager() = default;

    virtual Kv::Ptr<iCriticalSection> createCriticalSection(unsigned int spinCount) const = 0;
    virtual Kv::Ptr<iSemaphore> createSemaphore(unsigned int first, unsigned int initialCount) const = 0;
    // A named event is made once and then shared: later calls with the same
    // name get it as it is, whatever flags they pass. It lives for ever.
    virtual Kv::Ptr<iThreadEvent> createEvent(bool manualReset, bool initiallySignalled, const char* name) const = 0;
    virtual Kv::Ptr<iMutex> createMutex(const char* name) const = 0;
    virtual Kv::Ptr<iThread> createThread(const iThread::InitArgs& args) const = 0;
    // Every element must be an event of this library, and not null. A wait
    // that blocks subscribes to each event, so at most 64 events, and a
    // wait-all locks them in list order: list shared events in one order.
    virtual WaitForEventsResult waitForEvents(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll,
                                              unsigned int timeoutMs) const = 0;
    // Calls fn and returns 0: it is no exception barrier.
    virtual int protectedExecute(iThread::eExecRC (*fn)(void*), void* arg,
                                 void (*handler)(const iThread::Exception&)) const = 0;
    virtual Kv::Ptr<iMutex> openMutex(const char* name) const = 0;
    virtual unsigned int getCurrentThreadID() const = 0;
    [[noreturn]] virtual void exitCurrentThread() const = 0;
    // The calling thread's own table.
    virtual Kv::Ptr<iObject> getObject(const LightweightString<char>& name) = 0;
    virtual void setObject(const LightweightString<char>& name, Kv::Ptr<iObject> object) = 0;
    virtual void sleep(unsigned int ms) const = 0;
};
