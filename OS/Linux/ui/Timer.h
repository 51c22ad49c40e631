#pragma once

#include "TimerRedirector.h"
#include "iTimer.h"

// A TimerEvent to the handler every periodMs milliseconds, on the main loop of
// the process, until destruction. Make and destroy it on the loop's thread.
// wait does nothing.
class Timer : public iTimer
{
public:
    Timer(unsigned int periodMs, const Kv::Ptr<iEventHandler>& handler);
    ~Timer() override;

private:
    TimerRedirector redirector;
};
