#include "Mutex.h"

#include "MutexAttributes.h"
#include "PthreadFailure.h"
#include "ThreadManager.h"

#include <cerrno>

Mutex::Mutex(const char*)
{
    MutexAttributes attributes(PTHREAD_MUTEX_RECURSIVE);
    attributes.initMutex(mutex);
    attributes.destroy("pthread_mutexattr_destroy failed.");
}

Mutex::~Mutex()
{
    if (int result = pthread_mutex_destroy(&mutex); result > 0)
        reportPthreadFailure(result);
}

eWaitResult Mutex::wait(unsigned int timeoutMs) const
{
    if (timeoutMs == kInfinite) {
        const int result = pthread_mutex_lock(&mutex);
        if (result <= 0)
            return WaitSignalled;
        reportPthreadFailure(result);
        return WaitFailed;
    }
    timespec deadline;
    ThreadManager::MsecToTimespecAbs(deadline, timeoutMs);
    const int result = pthread_mutex_timedlock(&mutex, &deadline);
    if (result == 0)
        return WaitSignalled;
    if (result == ETIMEDOUT)
        return WaitTimedOut;
    if (result > 0)
        reportPthreadFailure(result);
    return WaitFailed;
}

void Mutex::release() const
{
    if (int result = pthread_mutex_unlock(&mutex); result > 0)
        throwPthreadFailure(result, "pthread_mutex_unlock failed.");
}
