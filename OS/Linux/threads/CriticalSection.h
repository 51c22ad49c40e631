#pragma once

#include "iCriticalSection.h"

#include <pthread.h>

namespace OSInternal
{
    // A recursive pthread mutex. Failures are printed and otherwise ignored.
    class CriticalSection : public iCriticalSection
    {
    public:
        // The spin count is accepted and ignored.
        explicit CriticalSection(unsigned int spinCount);
        ~CriticalSection() override;

        void lock() override;
        bool lockIfNotLocked() override;
        void unlock() override;

    private:
        pthread_mutex_t mutex;
    };
}
