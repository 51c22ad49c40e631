#pragma once

#include "LightweightString.h"
#include "iThread.h"

#include <atomic>
#include <pthread.h>
#include <sys/types.h>

// A POSIX thread that runs entry(arg) once. The destructor joins: the last
// reference must not be dropped on the thread itself.
class Thread : public iThread
{
public:
    // A failed start is silent: the object then has no thread behind it.
    explicit Thread(const InitArgs& args);
    ~Thread() override;

    unsigned int getID() const override;
    int getPriority() const override;
    bool setPriority(ePriority priority) override;
    int setAffinity(unsigned int mask) override;
    void resume() override;
    void suspend() override;
    bool waitForCompletion(unsigned int timeoutMs) const override;

    // Calls fn and returns 0; no exception barrier.
    static int protectedExecute(eExecRC (*fn)(void*), void* arg, void (*handler)(const Exception&));

private:
    static void* execute(void* self);
    // A label, not the system's thread id: 1, 2, 3... in order of creation.
    static unsigned int allocThreadID();

    mutable pthread_t handle; // 0 when there is no thread to join
    void (*entry)(void*);
    [[maybe_unused]] void* handler;
    void* arg;
    unsigned int id;
    LightweightString<char> name;
    // The kernel's id of the thread, published by the thread as it starts.
    std::atomic<pid_t> systemId{0};
};
