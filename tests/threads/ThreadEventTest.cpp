#include "OS.h"
#include "ThreadEvent.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace ThreadTestSupport;

namespace
{
    constexpr unsigned kNoIndex = 0xFFFFFFFF;

    Kv::Ptr<iThreadEvent> newEvent(bool manualReset, bool signalled)
    {
        return OS()->threadMgr()->createEvent(manualReset, signalled, nullptr);
    }

    using Waiters = std::vector<std::future<eWaitResult>>;

    // Each waiter makes one wait on a thread of its own; the settle time lets
    // them all reach it.
    Waiters startWaiters(int count, const std::function<eWaitResult(int)>& wait)
    {
        Waiters waiters;
        for (int i = 0; i < count; ++i)
            waiters.push_back(std::async(std::launch::async, wait, i));
        settle();
        return waiters;
    }

    int finishedCount(const Waiters& waiters)
    {
        return int(std::count_if(waiters.begin(), waiters.end(), isFinished<eWaitResult>));
    }

    std::multiset<eWaitResult> outcomes(Waiters& waiters)
    {
        std::multiset<eWaitResult> results;
        for (std::future<eWaitResult>& waiter : waiters)
            results.insert(waiter.get());
        return results;
    }
}

TEST(ThreadEvent, AutoResetSignalIsKeptUntilAWaitConsumesIt)
{
    const Kv::Ptr<iThreadEvent> event = newEvent(false, true);
    EXPECT_EQ(event->wait(0), WaitSignalled);
    EXPECT_EQ(event->wait(0), WaitTimedOut);
    const Stopwatch watch;
    for (const unsigned timeoutMs : {5000u, iWaitable::kInfinite}) {
        ASSERT_TRUE(event->set());
        EXPECT_EQ(event->wait(timeoutMs), WaitSignalled);
    }
    EXPECT_LT(watch.elapsedMs(), 1000);
    EXPECT_EQ(event->wait(150), WaitTimedOut);
    EXPECT_GE(watch.elapsedMs(), 145) << "a finite wait lasts until its deadline";
    EXPECT_LT(watch.elapsedMs(), 1500);
}

// A timed-out wait must give its slot back, or the 65th would be refused.
TEST(ThreadEvent, TimedOutWaitsLeaveNoSubscription)
{
    const Kv::Ptr<iThreadEvent> event = newEvent(false, false);
    for (int i = 0; i < 70; ++i)
        ASSERT_EQ(event->wait(1), WaitTimedOut) << "wait " << i;
    Waiters waiter = startWaiters(1, [&](int) { return event->wait(iWaitable::kInfinite); });
    EXPECT_TRUE(event->set());
    EXPECT_EQ(waiter[0].get(), WaitSignalled);
}

TEST(ThreadEvent, ManualResetReleasesEveryWaiterAndStaysSet)
{
    const Kv::Ptr<iThreadEvent> event = newEvent(true, false);
    Waiters waiters = startWaiters(4, [&](int i) { return event->wait(i % 2 ? iWaitable::kInfinite : 5000); });
    EXPECT_EQ(finishedCount(waiters), 0);
    EXPECT_TRUE(event->set());
    EXPECT_EQ(outcomes(waiters).count(WaitSignalled), 4u);

    EXPECT_EQ(event->wait(0), WaitSignalled);
    EXPECT_EQ(event->wait(1000), WaitSignalled);
    EXPECT_TRUE(event->reset());
    EXPECT_EQ(event->wait(0), WaitTimedOut);
}

TEST(ThreadEvent, AutoResetReleasesOneWaiterPerSet)
{
    const Kv::Ptr<iThreadEvent> event = newEvent(false, false);
    Waiters waiters = startWaiters(4, [&](int) { return event->wait(iWaitable::kInfinite); });
    for (int released = 1; released <= 4; ++released) {
        EXPECT_TRUE(event->set());
        EXPECT_TRUE(eventually([&] { return finishedCount(waiters) >= released; }));
        // Time for a second waiter to slip through, if one could.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(finishedCount(waiters), released);
    }
    EXPECT_EQ(outcomes(waiters).count(WaitSignalled), 4u);
    EXPECT_EQ(event->wait(0), WaitTimedOut);
}

// Both finite waiters are woken; the loser retries its own error-checking
// mutex, which refuses with EDEADLK, and the wait fails instead of going on.
TEST(ThreadEvent, FiniteWaiterThatLosesTheEventFails)
{
    const Kv::Ptr<iThreadEvent> event = newEvent(false, false);
    const Stopwatch watch;
    const std::string output = capturedStdout([&] {
        Waiters waiters = startWaiters(2, [&](int) { return event->wait(4000); });
        EXPECT_TRUE(event->set());
        const std::multiset<eWaitResult> results = outcomes(waiters);
        EXPECT_EQ(results.count(WaitSignalled), 1u);
        EXPECT_EQ(results.count(WaitFailed), 1u);
    });
    EXPECT_LT(watch.elapsedMs(), 3000) << "neither waiter may sit out its time";
    const std::regex report(R"(OS/Linux/threads/ThreadEvent\.cpp\(\d+\) : a pthread call failed \()" +
                            std::to_string(EDEADLK) + "\\)\n");
    EXPECT_TRUE(std::regex_match(output, report)) << output;
    EXPECT_EQ(event->wait(0), WaitTimedOut);
}

// The refusal leaves the event's subscriber list locked for good, so the event
// is abandoned, never set nor destroyed. The first 64 are added by hand: real
// waiters could never leave the locked list.
TEST(ThreadEvent, SixtyFifthWaiterIsRefused)
{
    // Kept reachable, so that leak checkers know it is abandoned on purpose.
    static auto* abandoned = new std::vector<ThreadEvent*>;
    auto* event = new ThreadEvent(false, false, nullptr);
    abandoned->push_back(event);
    std::vector<std::unique_ptr<ThreadEvent::Subscriber>> subscribers;
    for (unsigned i = 0; i < ThreadEvent::kMaxSubscribers; ++i) {
        subscribers.push_back(std::make_unique<ThreadEvent::Subscriber>());
        event->addSubscriber(subscribers.back().get());
    }
    try {
        event->wait(iWaitable::kInfinite);
        ADD_FAILURE() << "the 65th waiter was accepted";
    } catch (const Kv::Exception::RuntimeError& error) {
        EXPECT_STREQ(error.message, "addSubscriber failed");
        EXPECT_STREQ(error.kind, "RuntimeError");
        EXPECT_STREQ(error.file, "OS/Linux/threads/ThreadEvent.cpp");
        EXPECT_GT(error.line, 0);
    }
}

// Static, so that the assertions find them beside the type, and only here.
static bool operator==(const WaitForEventsResult& a, const WaitForEventsResult& b)
{
    return a.result == b.result && a.index == b.index;
}

static void PrintTo(const WaitForEventsResult& outcome, std::ostream* out)
{
    *out << "{result " << outcome.result << ", index " << outcome.index << "}";
}

class WaitForEvents : public testing::Test
{
protected:
    using Events = std::vector<Kv::Ptr<iThreadEvent>>;

    static constexpr WaitForEventsResult kAllTaken = {WaitSignalled, kNoIndex};
    static constexpr WaitForEventsResult kNothing = {WaitTimedOut, kNoIndex};
    static constexpr WaitForEventsResult takenAt(unsigned index) { return {WaitSignalled, index}; }

    static Events newEvents(unsigned count)
    {
        Events events;
        for (unsigned i = 0; i < count; ++i)
            events.push_back(newEvent(false, false));
        return events;
    }

    static WaitForEventsResult wait(const Events& events, bool waitAll, unsigned timeoutMs)
    {
        return OS()->threadMgr()->waitForEvents(events, waitAll, timeoutMs);
    }

    static std::future<WaitForEventsResult> waitElsewhere(const Events& events, bool waitAll)
    {
        return std::async(std::launch::async, [&events, waitAll] { return wait(events, waitAll, iWaitable::kInfinite); });
    }
};

TEST_F(WaitForEvents, MoreThanSixtyFourNeedTimeZero)
{
    const Events events = newEvents(100);
    try {
        wait(events, false, 100);
        ADD_FAILURE() << "100 events were subscribed to";
    } catch (const Kv::Exception::RuntimeError& error) {
        EXPECT_STREQ(error.message, "addSubscription failed");
        EXPECT_STREQ(error.kind, "RuntimeError");
    }

    // The refused wait left nothing behind on any event.
    const std::string output = capturedStdout([&] {
        for (const Kv::Ptr<iThreadEvent>& event : events)
            EXPECT_TRUE(event->set());
    });
    EXPECT_EQ(output, "");

    EXPECT_EQ(wait(events, true, 0), kAllTaken);
    events[90]->set();
    events[70]->set();
    EXPECT_EQ(wait(events, false, 0), takenAt(70));
}

TEST_F(WaitForEvents, EmptyListIsAllTakenAtOnceButNeverAny)
{
    const Events none;
    const Stopwatch watch;
    for (const unsigned timeoutMs : {0u, 100u, iWaitable::kInfinite})
        EXPECT_EQ(wait(none, true, timeoutMs), kAllTaken) << timeoutMs;
    EXPECT_EQ(wait(none, false, 0), kNothing);
    EXPECT_LT(watch.elapsedMs(), 100) << "none of these may block";
    EXPECT_EQ(wait(none, false, 150), kNothing);
    EXPECT_GE(watch.elapsedMs(), 145);
}

TEST_F(WaitForEvents, WaitAllTakesEveryEventAtOnceOrNone)
{
    const Kv::Ptr<iThreadEvent> manual = newEvent(true, false);
    const Events events = {newEvent(false, false), manual, newEvent(false, false)};
    for (unsigned timeoutMs : {0u, 1000u}) {
        SCOPED_TRACE(timeoutMs);
        for (const Kv::Ptr<iThreadEvent>& event : events)
            event->set();
        const Stopwatch watch;
        EXPECT_EQ(wait(events, true, timeoutMs), kAllTaken);
        EXPECT_LT(watch.elapsedMs(), 500);
        EXPECT_EQ(events[0]->wait(0), WaitTimedOut);
        EXPECT_EQ(events[2]->wait(0), WaitTimedOut);
        EXPECT_EQ(manual->wait(0), WaitSignalled);
    }

    // With one not set, nothing is consumed.
    manual->reset();
    events[0]->set();
    events[2]->set();
    const Stopwatch watch;
    EXPECT_EQ(wait(events, true, 0), kNothing);
    EXPECT_EQ(wait(events, true, 150), kNothing);
    EXPECT_GE(watch.elapsedMs(), 145);
    EXPECT_EQ(events[0]->wait(0), WaitSignalled);
    EXPECT_EQ(events[2]->wait(0), WaitSignalled);
}

TEST_F(WaitForEvents, WaitAnyTakesTheLowestSetIndex)
{
    const Events events = newEvents(5);
    events[3]->set();
    events[1]->set();
    EXPECT_EQ(wait(events, false, 0), takenAt(1));
    EXPECT_EQ(wait(events, false, 1000), takenAt(3));
    EXPECT_EQ(wait(events, false, 0), kNothing);
}

TEST_F(WaitForEvents, BlockedWaitsAreWokenByTheSetThatCompletesThem)
{
    const Events events = newEvents(3);
    const Events others = newEvents(3);
    std::future<WaitForEventsResult> any = waitElsewhere(events, false);
    std::future<WaitForEventsResult> all = waitElsewhere(others, true);
    settle();
    EXPECT_FALSE(isFinished(any));
    events[2]->set();
    EXPECT_EQ(any.get(), takenAt(2));
    EXPECT_EQ(events[2]->wait(0), WaitTimedOut) << "the waiter consumed it";

    for (unsigned index : {0u, 2u}) {
        others[index]->set();
        settle();
        EXPECT_FALSE(isFinished(all)) << "after event " << index;
    }
    others[1]->set();
    EXPECT_EQ(all.get(), kAllTaken);
    for (const Kv::Ptr<iThreadEvent>& event : others)
        EXPECT_EQ(event->wait(0), WaitTimedOut);
}
