#include "MainLoop.h"

#include "Timer.h"
#include "X11Application.h"

#include <chrono>

namespace
{
    // Checks the condition at each tick and stops the loop when it holds or
    // the time is up.
    class Watch : public iEventHandler
    {
    public:
        Watch(const std::function<bool()>& done, int timeoutMs)
            : done_(done), deadline_(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs))
        {
        }
        int handleTimerEvent(const TimerEvent&) override
        {
            met = done_();
            if (met || std::chrono::steady_clock::now() >= deadline_)
                X11Application::instance().stop();
            return 0;
        }
        bool met = false;

    private:
        std::function<bool()> done_;
        std::chrono::steady_clock::time_point deadline_;
    };
}

bool runLoopUntil(const std::function<bool()>& done, int timeoutMs)
{
    Kv::Ptr<Watch> watch(new Watch(done, timeoutMs));
    {
        Timer timer(5, Kv::Ptr<iEventHandler>(watch));
        X11Application::instance().run();
    }
    return watch->met;
}

void runLoopFor(int ms)
{
    runLoopUntil([] { return false; }, ms);
}
