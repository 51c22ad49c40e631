#include "OS.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

using namespace ThreadTestSupport;

namespace
{
    Kv::Ptr<iSemaphore> newSemaphore(unsigned initialCount)
    {
        return OS()->threadMgr()->createSemaphore(7, initialCount);
    }
}

TEST(Semaphore, WaitsTakeFromTheCountReleasesAddWithoutLimitAndGettingNothingFails)
{
    const Kv::Ptr<iSemaphore> semaphore = newSemaphore(1);
    EXPECT_EQ(semaphore->wait(0), WaitSignalled);
    EXPECT_EQ(semaphore->wait(0), WaitFailed) << "a failed poll is not WaitTimedOut";
    semaphore->release();
    semaphore->release();
    EXPECT_EQ(semaphore->wait(0), WaitSignalled);
    EXPECT_EQ(semaphore->wait(100), WaitSignalled);
    const Stopwatch watch;
    EXPECT_EQ(semaphore->wait(100), WaitFailed);
    EXPECT_GE(watch.elapsedMs(), 90) << "at its deadline";
    EXPECT_LT(watch.elapsedMs(), 1000);
}

TEST(Semaphore, ReleaseWakesAWaitingThread)
{
    const Kv::Ptr<iSemaphore> semaphore = newSemaphore(0);
    std::future<eWaitResult> infinite =
        std::async(std::launch::async, [&] { return semaphore->wait(iWaitable::kInfinite); });
    std::future<eWaitResult> finite = std::async(std::launch::async, [&] { return semaphore->wait(5000); });
    settle();
    EXPECT_FALSE(isFinished(infinite) || isFinished(finite));
    semaphore->release();
    semaphore->release();
    EXPECT_EQ(infinite.get(), WaitSignalled);
    EXPECT_EQ(finite.get(), WaitSignalled);
    EXPECT_EQ(semaphore->wait(0), WaitFailed);
}

// Every release is taken exactly once, however the waiters race for them.
TEST(Semaphore, ConcurrentWaitersTakeEveryReleaseOnce)
{
    constexpr int kWaiters = 4;
    constexpr int kTakesEach = 50;
    const Kv::Ptr<iSemaphore> semaphore = newSemaphore(0);
    std::atomic<int> taken{0};
    std::vector<std::thread> waiters;
    for (int w = 0; w < kWaiters; ++w)
        waiters.emplace_back([&] {
            for (int i = 0; i < kTakesEach; ++i)
                if (semaphore->wait(iWaitable::kInfinite) == WaitSignalled)
                    ++taken;
        });
    for (int i = 0; i < kWaiters * kTakesEach; ++i)
        semaphore->release();
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_EQ(taken, kWaiters * kTakesEach);
    EXPECT_EQ(semaphore->wait(0), WaitFailed);
}
