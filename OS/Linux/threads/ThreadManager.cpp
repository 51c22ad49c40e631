#include "ThreadManager.h"

#include "CriticalSection.h"
#include "CriticalSectionLock.h"
#include "Mutex.h"
#include "Semaphore.h"
#include "Thread.h"
#include "ThreadEvent.h"

#include <unistd.h>

namespace
{
    // The calling thread's table, made on first use. Not freed when the thread
    // ends: what a thread stored outlives it.
    thread_local std::map<LightweightString<char>, Kv::Ptr<iObject>>* storage_ = nullptr;

    constexpr long kNanosecondsPerSecond = 1000000000;
}

Kv::Ptr<iCriticalSection> ThreadManager::createCriticalSection(unsigned int spinCount) const
{
    return Kv::Ptr<iCriticalSection>(new OSInternal::CriticalSection(spinCount));
}

Kv::Ptr<iSemaphore> ThreadManager::createSemaphore(unsigned int first, unsigned int initialCount) const
{
    return Kv::Ptr<iSemaphore>(new Semaphore(first, initialCount));
}

// A named event is shared: the flags of later calls are ignored.
Kv::Ptr<iThreadEvent> ThreadManager::createEvent(bool manualReset, bool initiallySignalled, const char* name) const
{
    if (!name)
        return Kv::Ptr<iThreadEvent>(new ThreadEvent(manualReset, initiallySignalled, name));
    CriticalSectionLock guard(getLock());
    const LightweightString<char> key(name);
    auto found = events.find(key);
    if (found != events.end())
        return found->second;
    Kv::Ptr<iThreadEvent> event(new ThreadEvent(manualReset, initiallySignalled, name));
    events.emplace(key, event);
    return event;
}

Kv::Ptr<iMutex> ThreadManager::createMutex(const char* name) const { return Kv::Ptr<iMutex>(new Mutex(name)); }

Kv::Ptr<iThread> ThreadManager::createThread(const iThread::InitArgs& args) const
{
    return Kv::Ptr<iThread>(new Thread(args));
}

WaitForEventsResult ThreadManager::waitForEvents(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll,
                                                 unsigned int timeoutMs) const
{
    return ThreadEvent::waitForEvents(events, waitAll, timeoutMs);
}

int ThreadManager::protectedExecute(iThread::eExecRC (*fn)(void*), void* arg,
                                    void (*handler)(const iThread::Exception&)) const
{
    return Thread::protectedExecute(fn, arg, handler);
}

Kv::Ptr<iMutex> ThreadManager::openMutex(const char*) const { return Kv::Ptr<iMutex>(); }

unsigned int ThreadManager::getCurrentThreadID() const { return unsigned(gettid()); }

void ThreadManager::exitCurrentThread() const { pthread_exit(nullptr); }

ThreadManager::ObjectTable& ThreadManager::threadObjects()
{
    if (!storage_)
        storage_ = new ObjectTable;
    return *storage_;
}

Kv::Ptr<iObject> ThreadManager::getObject(const LightweightString<char>& name)
{
    ObjectTable& table = threadObjects();
    auto found = table.find(name);
    return found == table.end() ? Kv::Ptr<iObject>() : found->second;
}

void ThreadManager::setObject(const LightweightString<char>& name, Kv::Ptr<iObject> object)
{
    threadObjects()[name] = object;
}

void ThreadManager::sleep(unsigned int ms) const
{
    timespec time;
    MsecToTimespec(time, ms);
    nanosleep(&time, nullptr);
}

Kv::Ptr<iCriticalSection> ThreadManager::getLock()
{
    static const Kv::Ptr<iCriticalSection> lock = OS()->threadMgr()->createCriticalSection(0);
    return lock;
}

void ThreadManager::MsecToTimespec(timespec& time, unsigned int ms)
{
    time.tv_sec = ms / 1000;
    time.tv_nsec = long(ms % 1000) * 1000000;
}

void ThreadManager::MsecToTimespecAbs(timespec& time, unsigned int ms)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    time.tv_sec = now.tv_sec + ms / 1000;
    time.tv_nsec = now.tv_nsec + long(ms % 1000) * 1000000;
    if (time.tv_nsec >= kNanosecondsPerSecond) {
        time.tv_sec += 1;
        time.tv_nsec -= kNanosecondsPerSecond;
    }
}
