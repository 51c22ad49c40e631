#pragma once

#include "iTimer.h"

// A timer that only waits: each wait sleeps the calling thread.
class MMTimer : public iTimer
{
public:
    void wait(unsigned int milliseconds) override;
};
