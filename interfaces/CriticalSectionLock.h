#pragma once

#include "Ptr.h"
#include "iCriticalSection.h"

// Holds a critical section for its scope. A null section is legal and makes
// the guard do nothing.
class CriticalSectionLock
{
public:
    explicit CriticalSectionLock(const Kv::Ptr<iCriticalSection>& section) : section(section)
    {
        if (this->section)
            this->section->lock();
    }

    ~CriticalSectionLock()
    {
        if (section)
            section->unlock();
    }

    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    Kv::Ptr<iCriticalSection> section;
};
