#include "TimerRedirector.h"

#include "ChildVideoWindow.h"
#include "X11Application.h"
#include "iOperatingSystem.h"
#include "iUtils.h"

#include <cstdint>

TimerRedirector::TimerRedirector(unsigned int periodMs, const Kv::Ptr<iEventHandler>& handler,
                                 X11Application& application)
    : handler(handler), period(std::chrono::milliseconds(periodMs)), next(Clock::now() + period),
      application(&application)
{
    application.addTimer(this);
}

TimerRedirector::~TimerRedirector() { stop(); }

TimerRedirector::Clock::time_point TimerRedirector::nextFiring() const { return next; }

void TimerRedirector::onTimer()
{
    // Every tick is also the sweep of the views of destroyed video windows.
    ChildVideoWindow::removeExtinctViews();
    next += period;
    const Clock::time_point now = Clock::now();
    if (next <= now)
        next = now + period;
    TimerEvent event;
    event.timeStamp = uint32_t(uint64_t(OS()->utils()->timeNow()));
    // The handler may stop this timer: nothing of it is touched after the call.
    Kv::Ptr<iEventHandler> receiver = handler;
    if (receiver)
        receiver->handleTimerEvent(event);
}

void TimerRedirector::stop()
{
    if (!application)
        return;
    application->removeTimer(this);
    application = nullptr;
}
