#pragma once

#include <pthread.h>

// The attributes that the library's pthread mutexes are made with. Every
// failing call is reported and throws std::runtime_error, as a constructor's must.
class MutexAttributes
{
public:
    explicit MutexAttributes(int type);

    void initMutex(pthread_mutex_t& mutex);
    // Destroys the attributes; the message is the caller's own.
    void destroy(const char* failureMessage);

private:
    pthread_mutexattr_t attributes;
};
