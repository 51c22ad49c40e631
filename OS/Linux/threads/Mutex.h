#pragma once

#include "iMutex.h"

#include <pthread.h>

// A recursive pthread mutex with timed waits. Construction and release throw
// std::runtime_error on a failed pthread call; waits report and fail.
class Mutex : public iMutex
{
public:
    // Names are ignored: there are no named mutexes.
    explicit Mutex(const char* name);
    ~Mutex() override;

    eWaitResult wait(unsigned int timeoutMs) const override;
    void release() const override;

private:
    mutable pthread_mutex_t mutex;
};
