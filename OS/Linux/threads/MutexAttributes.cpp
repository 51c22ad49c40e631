#include "MutexAttributes.h"

#include "PthreadFailure.h"

MutexAttributes::MutexAttributes(int type)
{
    if (int result = pthread_mutexattr_init(&attributes); result > 0)
        throwPthreadFailure(result, "pthread_mutexattr_init failed");
    if (int result = pthread_mutexattr_settype(&attributes, type); result > 0)
        throwPthreadFailure(result, "pthread_mutexattr_settype failed");
}

void MutexAttributes::initMutex(pthread_mutex_t& mutex)
{
    if (int result = pthread_mutex_init(&mutex, &attributes); result > 0)
        throwPthreadFailure(result, "pthread_mutex_init failed.");
}

void MutexAttributes::destroy(const char* failureMessage)
{
    if (int result = pthread_mutexattr_destroy(&attributes); result > 0)
        throwPthreadFailure(result, failureMessage);
}
