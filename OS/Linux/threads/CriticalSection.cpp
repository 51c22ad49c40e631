#include "CriticalSection.h"

#include <cerrno>
#include <cstdio>

namespace OSInternal
{
    CriticalSection::CriticalSection(unsigned int)
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }

    CriticalSection::~CriticalSection() { pthread_mutex_destroy(&mutex); }

    void CriticalSection::lock()
    {
        if (int result = pthread_mutex_lock(&mutex))
            std::printf("CriticalSection::lock() : pthread_mutex_lock failed (%d)\n", result);
    }

    // The message of a failed try names unlock: callers' logs are matched on it.
    bool CriticalSection::lockIfNotLocked()
    {
        const int result = pthread_mutex_trylock(&mutex);
        if (result == 0)
            return true;
        if (result != EBUSY)
            std::printf("CriticalSection::unlock() : pthread_mutex_trylock failed (%d)\n", result);
        return false;
    }

    void CriticalSection::unlock()
    {
        if (int result = pthread_mutex_unlock(&mutex))
            std::printf("CriticalSection::unlock() : pthread_mutex_unlock failed (%d)\n", result);
    }
}
