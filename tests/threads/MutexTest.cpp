#include "OS.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <future>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>

using namespace ThreadTestSupport;

namespace
{
    Kv::Ptr<iMutex> newMutex() { return OS()->threadMgr()->createMutex("ignored"); }

    // A wait on a thread of its own, which lets go of what it got.
    std::future<eWaitResult> waitElsewhere(const Kv::Ptr<iMutex>& mutex, unsigned timeoutMs)
    {
        return std::async(std::launch::async, [mutex, timeoutMs] {
            const eWaitResult result = mutex->wait(timeoutMs);
            if (result == WaitSignalled)
                mutex->release();
            return result;
        });
    }

    class Holder : public HeldElsewhere
    {
    public:
        explicit Holder(const Kv::Ptr<iMutex>& mutex)
            : HeldElsewhere([mutex] { EXPECT_EQ(mutex->wait(iWaitable::kInfinite), WaitSignalled); },
                            [mutex] { mutex->release(); })
        {
        }
    };
}

TEST(Mutex, OwnerRewaitsAtOnceAndNeedsAsManyReleases)
{
    const Kv::Ptr<iMutex> mutex = newMutex();
    const Stopwatch watch;
    for (const unsigned timeoutMs : {100u, iWaitable::kInfinite, 100u, 0u})
        EXPECT_EQ(mutex->wait(timeoutMs), WaitSignalled) << timeoutMs;
    EXPECT_LT(watch.elapsedMs(), 50);
    for (int i = 0; i < 3; ++i)
        mutex->release();
    EXPECT_EQ(waitElsewhere(mutex, 0).get(), WaitTimedOut);
    mutex->release();
    EXPECT_EQ(waitElsewhere(mutex, 0).get(), WaitSignalled);
}

TEST(Mutex, WaitForMutexHeldElsewhereTimesOutAtItsDeadline)
{
    const Kv::Ptr<iMutex> mutex = newMutex();
    const Holder holder(mutex);
    const Stopwatch watch;
    EXPECT_EQ(mutex->wait(0), WaitTimedOut);
    EXPECT_LT(watch.elapsedMs(), 50);
    EXPECT_EQ(mutex->wait(100), WaitTimedOut);
    EXPECT_GE(watch.elapsedMs(), 90);
    EXPECT_LT(watch.elapsedMs(), 1000);
}

TEST(Mutex, WaiterGetsTheMutexWhenItIsReleased)
{
    const Kv::Ptr<iMutex> mutex = newMutex();
    std::future<eWaitResult> infinite;
    std::future<eWaitResult> finite;
    {
        const Holder holder(mutex);
        infinite = waitElsewhere(mutex, iWaitable::kInfinite);
        finite = waitElsewhere(mutex, 5000);
        settle();
        EXPECT_FALSE(isFinished(infinite) || isFinished(finite));
    }
    EXPECT_EQ(infinite.get(), WaitSignalled);
    EXPECT_EQ(finite.get(), WaitSignalled);
}

TEST(Mutex, ReleaseByNonOwnerThrowsAndReports)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer rightly reports the misuse this test makes on purpose";
#endif
    const Kv::Ptr<iMutex> mutex = newMutex();
    const Holder holder(mutex);
    std::string message;
    const std::string output = capturedStdout([&] {
        try {
            mutex->release();
            ADD_FAILURE() << "a release by a non-owner went through";
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
    });
    EXPECT_EQ(message, "pthread_mutex_unlock failed.");
    EXPECT_TRUE(std::regex_match(output, std::regex(R"(OS/Linux/threads/Mutex\.cpp\(\d+\) : a pthread call failed \(1\)\n)")))
        << output;
}
