#include "Timer.h"

#include "X11Application.h"

Timer::Timer(unsigned int periodMs, const Kv::Ptr<iEventHandler>& handler)
    : redirector(periodMs, handler, X11Application::instance())
{
}

Timer::~Timer() { redirector.stop(); }
