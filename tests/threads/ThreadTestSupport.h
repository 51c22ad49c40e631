#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <string>
#include <thread>

// Timing helpers for tests that run real threads. The machines that run them
// are small and loaded, so bounds are generous and the settle time is long.
namespace ThreadTestSupport
{
    // Long enough for a started thread to reach the wait it was heading for.
    constexpr int kSettleMs = 150;
    // How long a test waits for something that should happen at once.
    constexpr int kPatienceMs = 5000;

    class Stopwatch
    {
    public:
        double elapsedMs() const
        {
            return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        }

    private:
        std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    };

    inline void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(kSettleMs)); }

    // Polls until the condition holds or the patience runs out; says which.
    template <class Condition>
    bool eventually(Condition condition, int patienceMs = kPatienceMs)
    {
        const Stopwatch watch;
        while (!condition()) {
            if (watch.elapsedMs() > patienceMs)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    template <class T>
    bool isFinished(const std::future<T>& result)
    {
        return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

    // Takes a lock on a thread of its own and holds it until the end of the scope.
    class HeldElsewhere
    {
    public:
        HeldElsewhere(const std::function<void()>& take, const std::function<void()>& give)
            : thread([this, take, give] {
                  take();
                  held.set_value();
                  letGo.get_future().wait();
                  give();
              })
        {
            held.get_future().wait();
        }
        ~HeldElsewhere()
        {
            letGo.set_value();
            thread.join();
        }

    private:
        std::promise<void> held;
        std::promise<void> letGo;
        std::thread thread;
    };

    // Everything written to standard output while body runs, from any thread.
    template <class Body>
    std::string capturedStdout(Body body)
    {
        testing::internal::CaptureStdout();
        body();
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }
}
