#include "Thread.h"

#include <atomic>
#include <cstdio>
#include <iterator>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
    constexpr unsigned int kMinimumStack = 1048576;
    // The system keeps at most 15 characters of a thread's name.
    constexpr unsigned kMaxNameLength = 15;
}

Thread::Thread(const InitArgs& args)
    : handle(0), entry(args.entry), handler(args.handler), arg(args.arg), id(allocThreadID()), name(args.name)
{
    int result;
    if (args.stackSize == 0) {
        result = pthread_create(&handle, nullptr, execute, this);
    } else {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, args.stackSize <= kMinimumStack ? kMinimumStack : args.stackSize);
        result = pthread_create(&handle, &attributes, execute, this);
        pthread_attr_destroy(&attributes);
    }
    if (result != 0)
        handle = 0;
}

Thread::~Thread()
{
    if (handle)
        pthread_join(handle, nullptr);
}

unsigned int Thread::getID() const { return id; }

int Thread::getPriority() const { return 2; }

// Under SCHED_OTHER the scheduler's priority range is 0 to 0, so the
// priority goes to the thread's nice value: lower always, higher only where
// the process may raise it.
bool Thread::setPriority(ePriority priority)
{
    static constexpr int kNiceOf[] = {19, 10, 0, -5, -10, -20};
    if (!handle || unsigned(priority) >= std::size(kNiceOf))
        return false;
    pid_t thread;
    while ((thread = systemId.load(std::memory_order_acquire)) == 0)
        sched_yield();
    return setpriority(PRIO_PROCESS, id_t(thread), kNiceOf[priority]) == 0;
}

int Thread::setAffinity(unsigned int) { return 0; }

void Thread::resume() {}

void Thread::suspend() {}

// Joins whatever the time given. A thread already joined is not joined again.
bool Thread::waitForCompletion(unsigned int) const
{
    if (handle)
        pthread_join(handle, nullptr);
    handle = 0;
    return true;
}

int Thread::protectedExecute(eExecRC (*fn)(void*), void* arg, void (*)(const Exception&))
{
    fn(arg);
    return 0;
}

// No exception barrier: an exception that leaves entry ends the process.
void* Thread::execute(void* self)
{
    auto* thread = static_cast<Thread*>(self);
    thread->systemId.store(gettid(), std::memory_order_release);
    if (!thread->name.empty()) {
        char shortName[kMaxNameLength + 1];
        std::snprintf(shortName, sizeof shortName, "%s", thread->name.c_str());
        pthread_setname_np(pthread_self(), shortName);
    }
    thread->entry(thread->arg);
    pthread_exit(nullptr);
}

unsigned int Thread::allocThreadID()
{
    static std::atomic<unsigned int> lastID{0};
    return lastID.fetch_add(1, std::memory_order_relaxed) + 1;
}
