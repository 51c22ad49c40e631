#pragma once

#include "LightweightString.h"
#include "iThreadManager.h"

#include <ctime>
#include <map>

// The factory of this subsystem, reached through OS()->threadMgr(). It owns
// the process-wide table of named events, guarded by getLock(); each thread
// has its own table of named objects, which needs no lock.
class ThreadManager : public iThreadManager
{
public:
    Kv::Ptr<iCriticalSection> createCriticalSection(unsigned int spinCount) const override;
    Kv::Ptr<iSemaphore> createSemaphore(unsigned int first, unsigned int initialCount) const override;
    Kv::Ptr<iThreadEvent> createEvent(bool manualReset, bool initiallySignalled, const char* name) const override;
    Kv::Ptr<iMutex> createMutex(const char* name) const override;
    Kv::Ptr<iThread> createThread(const iThread::InitArgs& args) const override;
    WaitForEventsResult waitForEvents(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll,
                                      unsigned int timeoutMs) const override;
    int protectedExecute(iThread::eExecRC (*fn)(void*), void* arg,
                         void (*handler)(const iThread::Exception&)) const override;
    Kv::Ptr<iMutex> openMutex(const char* name) const override;
    unsigned int getCurrentThreadID() const override;
    [[noreturn]] void exitCurrentThread() const override;
    Kv::Ptr<iObject> getObject(const LightweightString<char>& name) override;
    void setObject(const LightweightString<char>& name, Kv::Ptr<iObject> object) override;
    // An interrupted sleep is not resumed.
    void sleep(unsigned int ms) const override;

    // Guards the table of named events. Made on first use.
    static Kv::Ptr<iCriticalSection> getLock();
    // A relative time.
    static void MsecToTimespec(timespec& time, unsigned int ms);
    // An absolute deadline ms from now on the calendar clock.
    static void MsecToTimespecAbs(timespec& time, unsigned int ms);

private:
    using ObjectTable = std::map<LightweightString<char>, Kv::Ptr<iObject>>;

    static ObjectTable& threadObjects();

    // Named events live as long as the facade.
    mutable std::map<LightweightString<char>, Kv::Ptr<iThreadEvent>> events;
};
