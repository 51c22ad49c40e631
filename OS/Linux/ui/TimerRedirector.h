#pragma once

#include "Ptr.h"
#include "iEventHandler.h"

#include <chrono>

class X11Application;

// Sends a TimerEvent to its handler at its period, on the main loop, from
// construction until stop. Made, fired and stopped on the loop's thread.
class TimerRedirector
{
public:
    using Clock = std::chrono::steady_clock;

    TimerRedirector(unsigned int periodMs, const Kv::Ptr<iEventHandler>& handler, X11Application& application);
    ~TimerRedirector();

    TimerRedirector(const TimerRedirector&) = delete;
    TimerRedirector& operator=(const TimerRedirector&) = delete;

    Clock::time_point nextFiring() const;
    // Sends one event and schedules the next firing. Firings missed while the
    // loop was busy are dropped, not caught up.
    void onTimer();
    void stop();

private:
    Kv::Ptr<iEventHandler> handler;
    Clock::duration period;
    Clock::time_point next;
    X11Application* application;
};
