#include "CpuPin.h"
#include "OS.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace
{
    constexpr unsigned kWaitedEvents = 64;

    // An auto-reset event of the library, behind the two calls the partner makes.
    class KvEvent
    {
    public:
        KvEvent() : event(OS()->threadMgr()->createEvent(false, false, nullptr)) {}
        explicit KvEvent(Kv::Ptr<iThreadEvent> event) : event(event) {}

        void set() { event->set(); }
        bool wait() { return event->wait(iWaitable::kInfinite) == WaitSignalled; }

    private:
        Kv::Ptr<iThreadEvent> event;
    };

    // The anchor: an auto-reset event as one builds it from the standard
    // library. The waiter is notified after the unlock, so that it does not
    // wake only to block on the mutex.
    class StdEvent
    {
    public:
        void set()
        {
            {
                std::lock_guard<std::mutex> guard(mutex);
                signalled = true;
            }
            condition.notify_one();
        }

        bool wait()
        {
            std::unique_lock<std::mutex> guard(mutex);
            condition.wait(guard, [this] { return signalled; });
            signalled = false;
            return true;
        }

    private:
        std::mutex mutex;
        std::condition_variable condition;
        bool signalled = false;
    };

    // Answers every ping with a pong on a thread of its own. The destructor
    // raises the flag before the last ping, so the partner sees it on waking
    // and leaves without a pong nobody would take.
    template <class Event>
    class Partner
    {
    public:
        Partner(Event& ping, Event& pong) : ping(ping), pong(pong), thread([this] { answer(); }) {}

        ~Partner()
        {
            stopping.store(true);
            ping.set();
            thread.join();
        }

        Partner(const Partner&) = delete;
        Partner& operator=(const Partner&) = delete;

    private:
        void answer()
        {
            for (;;) {
                ping.wait();
                if (stopping.load())
                    return;
                pong.set();
            }
        }

        Event& ping;
        Event& pong;
        std::atomic<bool> stopping{false};
        // Last: the thread starts once everything it reads is built.
        std::thread thread;
    };

    // Every ping-pong keeps both its threads on one CPU (the partner inherits
    // the pin). Across the CPUs of a small VM a wake-up costs tens of
    // microseconds in the hypervisor, varying with the host's load, and drowns
    // what the events themselves cost; on one CPU a round trip is two context
    // switches plus the events' own work.
    void BM_ThreadEventPingPong(benchmark::State& state)
    {
        const CpuPin sharedCpu(0);
        KvEvent ping;
        KvEvent pong;
        Partner<KvEvent> partner(ping, pong);
        for (auto _ : state) {
            ping.set();
            if (!pong.wait()) {
                state.SkipWithError("wait failed");
                break;
            }
        }
    }

    void BM_StdConditionPingPong(benchmark::State& state)
    {
        const CpuPin sharedCpu(0);
        StdEvent ping;
        StdEvent pong;
        Partner<StdEvent> partner(ping, pong);
        for (auto _ : state) {
            ping.set();
            pong.wait();
        }
    }

    void BM_WaitForEventsPingPong(benchmark::State& state)
    {
        const CpuPin sharedCpu(0);
        std::vector<Kv::Ptr<iThreadEvent>> waited;
        for (unsigned i = 0; i < kWaitedEvents; ++i)
            waited.push_back(OS()->threadMgr()->createEvent(false, false, nullptr));
        KvEvent ping;
        KvEvent pong(waited.back());
        Partner<KvEvent> partner(ping, pong);
        for (auto _ : state) {
            ping.set();
            const WaitForEventsResult woken = OS()->threadMgr()->waitForEvents(waited, false, iWaitable::kInfinite);
            if (woken.result != WaitSignalled || woken.index != kWaitedEvents - 1) {
                state.SkipWithError("the wait woke for the wrong event");
                break;
            }
        }
    }
}

BENCHMARK(BM_ThreadEventPingPong)->UseRealTime();
BENCHMARK(BM_StdConditionPingPong)->UseRealTime();
BENCHMARK(BM_WaitForEventsPingPong)->UseRealTime();
