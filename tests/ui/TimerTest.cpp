#include "Timer.h"

#include "OS.h"
#include "X11Application.h"
#include "XvfbServer.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
    // Counts ticks and checks each one's time stamp against the library's clock.
    class TickCounter : public iEventHandler
    {
    public:
        explicit TickCounter(std::function<void(int)> onTick = {}) : onTick(std::move(onTick)) {}

        int handleTimerEvent(const TimerEvent& event) override
        {
            ++ticks;
            const uint32_t now = uint32_t(uint64_t(OS()->utils()->timeNow()));
            stampsFollowTheClock = stampsFollowTheClock && now - event.timeStamp <= 1;
            if (onTick)
                onTick(ticks);
            return 0;
        }

        int ticks = 0;
        bool stampsFollowTheClock = true;

    private:
        std::function<void(int)> onTick;
    };

    // A timer whose one tick ends the loop.
    Kv::Ptr<iTimer> stopAfter(unsigned int periodMs)
    {
        const Kv::Ptr<iEventHandler> stopper(new TickCounter([](int) { X11Application::instance().stop(); }));
        return Kv::Ptr<iTimer>(new Timer(periodMs, stopper));
    }
}

TEST(Timer, TicksAtItsPeriodOnTheLoop)
{
    REQUIRE_XVFB(XvfbServer::shared());
    const Kv::Ptr<TickCounter> counter(new TickCounter);
    Timer timer(50, Kv::Ptr<iEventHandler>(counter));
    timer.wait(1000);
    const Kv::Ptr<iTimer> stopper = stopAfter(1025);
    OS()->windowMgr()->startEventLoop();
    // 20 periods in the window; a loaded machine drops late ticks rather than
    // catching up.
    EXPECT_GE(counter->ticks, 16);
    EXPECT_LE(counter->ticks, 20);
    EXPECT_TRUE(counter->stampsFollowTheClock);
}

TEST(Timer, NoTickArrivesAfterDestruction)
{
    REQUIRE_XVFB(XvfbServer::shared());
    Kv::Ptr<iTimer> timer;
    // The third tick destroys its own timer.
    const Kv::Ptr<TickCounter> counter(new TickCounter([&](int ticks) {
        if (ticks == 3)
            timer = Kv::Ptr<iTimer>();
    }));
    timer = Kv::Ptr<iTimer>(new Timer(20, Kv::Ptr<iEventHandler>(counter)));
    Kv::Ptr<iTimer> other(new Timer(20, Kv::Ptr<iEventHandler>(new TickCounter)));
    const Kv::Ptr<iTimer> stopper = stopAfter(300);
    OS()->windowMgr()->startEventLoop();
    EXPECT_EQ(counter->ticks, 3);
}
