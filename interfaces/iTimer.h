#pragma once

#include "iObject.h"

// A period. A timer that delivers events does not wait, so wait does nothing
// unless the timer is one that only waits.
class KV_API iTimer : public virtual iObject
{
public:
    virtual void wait(unsigned int) {}
};
