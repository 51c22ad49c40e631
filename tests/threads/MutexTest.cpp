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

    // Holds the mutex on a thread of its own until the end of the scope.
    class Holder
    {
    public:
        explicit Holder(const Kv::Ptr<iMutex>& mutex)
            : thread([this, mutex] {
                  EXPECT_EQ(mutex->wait(iWaitable::kInfinite), WaitSignalled);
                  held.set_value();
                  letGo.get_future().wait();
                  mutex->release();
              })
        {
            held.get_future().wait();
        }

        ~Holder()
        {
            letGo.set_value();
            thread.join();
        }

    private:
        std::promise<void> held;
        std::promise<void> letGo;
        std::thread thread;
    };
}

TEST(Mutex, OwnerRewaitsAndNeedsAsManyReleases)
{
    const Kv::Ptr<iMutex> mutex = newMutex();
    EXPECT_EQ(mutex->wait(iWaitable::kInfinite), WaitSignalled);
    EXPECT_EQ(mutex->wait(iWaitable::kInfinite), WaitSignalled);
    EXPECT_EQ(mutex->wait(100), WaitSignalled);
    EXPECT_EQ(mutex->wait(0), WaitSignalled);
    for (int i = 0; i < 3; ++i)
        mutex->release();
    EXPECT_EQ(waitElsewhere(mutex, 0).get(), WaitTimedOut);
    mutex->release();
    EXPECT_EQ(waitElsewhere(mutex, 0).get(), WaitSignalled);
}

TEST(Mutex, UncontendedTimedWaitSucceedsAtOnce)
{
    const Kv::Ptr<iMutex> mutex = newMutex();
    const Stopwatch watch;
    EXPECT_EQ(mutex->wait(100), WaitSignalled);
    EXPECT_LT(watch.elapsedMs(), 50);
    mutex->release();
}

TEST(Mutex, WaitForMutexHeldElsewhereTimesOut)
{
    const Kv::Ptr<iMutex> mutex = newMutex();
    const Holder holder(mutex);
    Stopwatch watch;
    EXPECT_EQ(mutex->wait(0), WaitTimedOut);
    EXPECT_LT(watch.elapsedMs(), 50);

    watch = Stopwatch();
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
        EXPECT_EQ(infinite.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
        EXPECT_EQ(finite.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
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
