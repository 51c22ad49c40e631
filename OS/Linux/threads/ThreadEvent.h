#pragma once

#include "FixedSizeVector.h"
#include "Ptr.h"
#include "iThreadEvent.h"
#include "iThreadManager.h"

#include <pthread.h>
#include <vector>

// An event built from pthread mutexes and conditions. Each waiter brings a
// Subscriber of its own, and set() signals every subscriber: that is what
// lets a thread wait on many events at once.
//
// Locks: stateMutex guards signalled; subscribersMutex guards subscribers;
// each Subscriber's mutex guards its condition. set() holds stateMutex alone,
// then subscribersMutex with one subscriber's mutex at a time. A wait hands
// over from stateMutex to its subscriber's mutex. A wait-all holds the
// stateMutexes of its events in list order.
class ThreadEvent : public iThreadEvent
{
public:
    static constexpr unsigned kMaxSubscribers = 64;

    // The waiter's side; it lives on the waiting thread's stack.
    class Subscriber
    {
    public:
        Subscriber();
        ~Subscriber();

        Subscriber(const Subscriber&) = delete;
        Subscriber& operator=(const Subscriber&) = delete;

        pthread_mutex_t mutex;
        pthread_cond_t condition;
    };

    // Remembers the events a subscriber was added to, and removes it from
    // them all on every way out. Callers add the subscriber first.
    class SafeSubscriber
    {
    public:
        SafeSubscriber(Subscriber* subscriber, const ThreadEvent* event);
        ~SafeSubscriber();

        SafeSubscriber(const SafeSubscriber&) = delete;
        SafeSubscriber& operator=(const SafeSubscriber&) = delete;

        // A null event is ignored; the 65th throws Kv::Exception::RuntimeError.
        void addSubscription(const ThreadEvent* event);

    private:
        Subscriber* subscriber;
        const ThreadEvent* events[kMaxSubscribers];
        unsigned count;
    };

    // The name is not kept: sharing by name is the thread manager's work.
    ThreadEvent(bool manualReset, bool initiallySignalled, const char* name);
    ~ThreadEvent() override;

    eWaitResult wait(unsigned int timeoutMs) const override;
    bool set() override;
    bool reset() override;

    // The 65th subscriber throws Kv::Exception::RuntimeError and, deliberately,
    // leaves the event's subscriber list locked.
    void addSubscriber(Subscriber* subscriber) const;
    void removeSubscriber(Subscriber* subscriber) const;

    static WaitForEventsResult waitForEvents(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll,
                                             unsigned int timeoutMs);

private:
    // One pass that never blocks.
    static WaitForEventsResult waitForEvents0(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll);
    static WaitForEventsResult waitForEventsNonZero(const std::vector<Kv::Ptr<iThreadEvent>>& events,
                                                    unsigned int timeoutMs, bool waitAll);

    eWaitResult waitBlocking(unsigned int timeoutMs) const;

    // Read without a lock only as a hint; every decision is taken under stateMutex.
    bool isSignalled() const { return __atomic_load_n(&signalled, __ATOMIC_RELAXED); }
    void setSignalled(bool value) const { __atomic_store_n(&signalled, value, __ATOMIC_RELAXED); }
    // Under stateMutex: an auto-reset event is consumed by the waiter it releases.
    void consume() const;

    bool destroying;
    bool destroyed;
    bool manualReset;
    mutable pthread_mutex_t subscribersMutex;
    mutable FixedSizeVector<Subscriber*, kMaxSubscribers> subscribers;
    mutable pthread_mutex_t stateMutex;
    mutable bool signalled;
};
