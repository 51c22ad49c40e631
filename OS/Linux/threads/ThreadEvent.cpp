#include "ThreadEvent.h"

#include "KvException.h"
#include "MutexAttributes.h"
#include "PthreadFailure.h"
#include "ThreadManager.h"

#include <cerrno>

namespace
{
    constexpr unsigned kNoIndex = 0xFFFFFFFF;
    constexpr const char* kAttributesDestroyFailed = "pthread_mutexattr_destroy mtxAttr failed.";

    const ThreadEvent* eventAt(const std::vector<Kv::Ptr<iThreadEvent>>& events, unsigned index)
    {
        return dynamic_cast<const ThreadEvent*>(events[index].get());
    }

    // For the finite waits: an absolute deadline, computed once.
    timespec deadlineAfter(unsigned int timeoutMs)
    {
        timespec deadline = {};
        if (timeoutMs != iWaitable::kInfinite)
            ThreadManager::MsecToTimespecAbs(deadline, timeoutMs);
        return deadline;
    }

    int waitOn(ThreadEvent::Subscriber& subscriber, unsigned int timeoutMs, const timespec& deadline)
    {
        if (timeoutMs == iWaitable::kInfinite)
            return pthread_cond_wait(&subscriber.condition, &subscriber.mutex);
        return pthread_cond_timedwait(&subscriber.condition, &subscriber.mutex, &deadline);
    }
}

ThreadEvent::Subscriber::Subscriber()
{
    MutexAttributes attributes(PTHREAD_MUTEX_ERRORCHECK);
    attributes.initMutex(mutex);
    if (int result = pthread_cond_init(&condition, nullptr); result > 0)
        throwPthreadFailure(result, "pthread_cond_int failed.");
    attributes.destroy(kAttributesDestroyFailed);
}

ThreadEvent::Subscriber::~Subscriber()
{
    pthreadFailed(pthread_cond_destroy(&condition));
    pthreadFailed(pthread_mutex_destroy(&mutex));
}

ThreadEvent::SafeSubscriber::SafeSubscriber(Subscriber* subscriber, const ThreadEvent* event)
    : subscriber(subscriber), count(0)
{
    addSubscription(event);
}

ThreadEvent::SafeSubscriber::~SafeSubscriber()
{
    for (unsigned i = 0; i < count; ++i)
        events[i]->removeSubscriber(subscriber);
}

void ThreadEvent::SafeSubscriber::addSubscription(const ThreadEvent* event)
{
    if (!event)
        return;
    if (count == kMaxSubscribers) {
        // The caller has already added the subscriber to this event: left there,
        // it would outlive the wait and the event's next set() would touch it.
        event->removeSubscriber(subscriber);
        throw Kv::Exception::RuntimeError("addSubscription failed", __FILE__, __LINE__);
    }
    events[count++] = event;
}

ThreadEvent::ThreadEvent(bool manualReset, bool initiallySignalled, const char*)
    : destroying(false), destroyed(false), manualReset(manualReset), signalled(initiallySignalled)
{
    MutexAttributes attributes(PTHREAD_MUTEX_ERRORCHECK);
    attributes.initMutex(stateMutex);
    attributes.initMutex(subscribersMutex);
    attributes.destroy(kAttributesDestroyFailed);
}

// Waits for a set() in progress to finish before the mutexes go.
ThreadEvent::~ThreadEvent()
{
    destroying = true;
    if (!pthreadFailed(pthread_mutex_lock(&subscribersMutex)))
        pthreadFailed(pthread_mutex_unlock(&subscribersMutex));
    pthreadFailed(pthread_mutex_destroy(&subscribersMutex));
    pthreadFailed(pthread_mutex_destroy(&stateMutex));
    destroyed = true;
}

void ThreadEvent::consume() const
{
    if (!manualReset)
        setSignalled(false);
}

// The state is published first, and stateMutex is not kept while the
// subscribers are visited. Every subscriber is woken, for an auto-reset event
// too: the waiters then compete for the one signal. Taking a subscriber's
// mutex is what guarantees that its waiter has either seen the state or is
// inside its wait, so the wake-up itself comes after the unlock: a waiter then
// does not wake only to block on the mutex still held here. subscribersMutex
// stays held, so no subscriber can leave before it has been woken.
bool ThreadEvent::set()
{
    if (pthreadFailed(pthread_mutex_lock(&stateMutex)))
        return false;
    setSignalled(true);
    if (pthreadFailed(pthread_mutex_unlock(&stateMutex)))
        return false;
    if (pthreadFailed(pthread_mutex_lock(&subscribersMutex)))
        return false;
    bool delivered = true;
    for (Subscriber* subscriber : subscribers) {
        if (pthreadFailed(pthread_mutex_lock(&subscriber->mutex)) ||
            pthreadFailed(pthread_mutex_unlock(&subscriber->mutex)) ||
            pthreadFailed(manualReset ? pthread_cond_broadcast(&subscriber->condition)
                                      : pthread_cond_signal(&subscriber->condition))) {
            delivered = false;
            break;
        }
    }
    if (pthreadFailed(pthread_mutex_unlock(&subscribersMutex)))
        return false;
    return delivered;
}

bool ThreadEvent::reset()
{
    if (pthreadFailed(pthread_mutex_lock(&stateMutex)))
        return false;
    setSignalled(false);
    return !pthreadFailed(pthread_mutex_unlock(&stateMutex));
}

void ThreadEvent::addSubscriber(Subscriber* subscriber) const
{
    pthreadFailed(pthread_mutex_lock(&subscribersMutex));
    if (subscribers.full())
        throw Kv::Exception::RuntimeError("addSubscriber failed", __FILE__, __LINE__);
    subscribers.push_back(subscriber);
    pthreadFailed(pthread_mutex_unlock(&subscribersMutex));
}

void ThreadEvent::removeSubscriber(Subscriber* subscriber) const
{
    pthreadFailed(pthread_mutex_lock(&subscribersMutex));
    subscribers.remove(subscriber);
    pthreadFailed(pthread_mutex_unlock(&subscribersMutex));
}

eWaitResult ThreadEvent::wait(unsigned int timeoutMs) const
{
    if (timeoutMs != 0)
        return waitBlocking(timeoutMs);
    if (pthreadFailed(pthread_mutex_lock(&stateMutex)))
        return WaitFailed;
    const bool wasSignalled = signalled;
    if (wasSignalled)
        consume();
    if (pthreadFailed(pthread_mutex_unlock(&stateMutex)))
        return WaitFailed;
    return wasSignalled ? WaitSignalled : WaitTimedOut;
}

eWaitResult ThreadEvent::waitBlocking(unsigned int timeoutMs) const
{
    Subscriber subscriber;
    addSubscriber(&subscriber);
    SafeSubscriber subscription(&subscriber, this);
    const timespec deadline = deadlineAfter(timeoutMs);

    bool subscriberHeld = false;
    // Releases whatever is held; for every failure on the finite path.
    auto fail = [&](bool stateHeld) {
        if (subscriberHeld)
            pthread_mutex_unlock(&subscriber.mutex);
        if (stateHeld)
            pthread_mutex_unlock(&stateMutex);
        return WaitFailed;
    };

    if (pthreadFailed(pthread_mutex_lock(&stateMutex)))
        return WaitFailed;
    if (!signalled && timeoutMs == kInfinite) {
        // Holding the subscriber's mutex while stateMutex is given up keeps a
        // set() from falling between the test and the wait: set() needs that
        // mutex to signal. Failures here only lead to the test of signalled.
        do {
            pthread_mutex_lock(&subscriber.mutex);
            pthread_mutex_unlock(&stateMutex);
            pthread_cond_wait(&subscriber.condition, &subscriber.mutex);
            pthread_mutex_lock(&stateMutex);
            pthread_mutex_unlock(&subscriber.mutex);
        } while (!signalled);
    } else if (!signalled) {
        // A finite wait that is woken and finds the event gone to another
        // waiter tries to lock the subscriber's mutex again while holding it:
        // the error-checking mutex refuses, and the wait fails rather than
        // waiting again. Callers rely on it.
        for (;;) {
            if (pthreadFailed(pthread_mutex_lock(&subscriber.mutex)))
                return fail(true);
            subscriberHeld = true;
            if (pthreadFailed(pthread_mutex_unlock(&stateMutex)))
                return fail(false);
            const int waited = pthread_cond_timedwait(&subscriber.condition, &subscriber.mutex, &deadline);
            if (waited == ETIMEDOUT) {
                pthread_mutex_unlock(&subscriber.mutex);
                return WaitTimedOut;
            }
            if (pthreadFailed(waited) || pthreadFailed(pthread_mutex_lock(&stateMutex)))
                return fail(false);
            if (signalled)
                break;
        }
    }
    consume();
    pthreadFailed(pthread_mutex_unlock(&stateMutex));
    if (subscriberHeld)
        pthreadFailed(pthread_mutex_unlock(&subscriber.mutex));
    return WaitSignalled;
}

WaitForEventsResult ThreadEvent::waitForEvents(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll,
                                               unsigned int timeoutMs)
{
    if (timeoutMs == 0)
        return waitForEvents0(events, waitAll);
    return waitForEventsNonZero(events, timeoutMs, waitAll);
}

WaitForEventsResult ThreadEvent::waitForEvents0(const std::vector<Kv::Ptr<iThreadEvent>>& events, bool waitAll)
{
    const unsigned n = unsigned(events.size());
    if (!waitAll) {
        for (unsigned i = 0; i < n; ++i) {
            const ThreadEvent* event = eventAt(events, i);
            if (pthreadFailed(pthread_mutex_lock(&event->stateMutex)))
                return {WaitFailed, i};
            if (event->signalled) {
                event->consume();
                if (pthreadFailed(pthread_mutex_unlock(&event->stateMutex)))
                    return {WaitFailed, i};
                return {WaitSignalled, i};
            }
            pthreadFailed(pthread_mutex_unlock(&event->stateMutex));
        }
        return {WaitTimedOut, kNoIndex};
    }

    // All the stateMutexes are held at once, so the decision is atomic: all
    // are consumed, or none.
    auto unlockDownFrom = [&](unsigned last) {
        for (unsigned i = last + 1; i-- > 0;)
            pthreadFailed(pthread_mutex_unlock(&eventAt(events, i)->stateMutex));
    };
    for (unsigned i = 0; i < n; ++i) {
        const ThreadEvent* event = eventAt(events, i);
        if (pthreadFailed(pthread_mutex_lock(&event->stateMutex))) {
            if (i > 0)
                unlockDownFrom(i - 1);
            return {WaitFailed, i};
        }
        if (!event->signalled) {
            unlockDownFrom(i);
            return {WaitTimedOut, kNoIndex};
        }
    }
    WaitForEventsResult result = {WaitSignalled, kNoIndex};
    for (unsigned i = n; i-- > 0;) {
        const ThreadEvent* event = eventAt(events, i);
        event->consume();
        if (pthreadFailed(pthread_mutex_unlock(&event->stateMutex)))
            result = {WaitFailed, i};
    }
    return result;
}

WaitForEventsResult ThreadEvent::waitForEventsNonZero(const std::vector<Kv::Ptr<iThreadEvent>>& events,
                                                      unsigned int timeoutMs, bool waitAll)
{
    const timespec deadline = deadlineAfter(timeoutMs);
    Subscriber subscriber;
    SafeSubscriber subscription(&subscriber, nullptr);
    const unsigned n = unsigned(events.size());
    for (unsigned i = 0; i < n; ++i) {
        const ThreadEvent* event = eventAt(events, i);
        event->addSubscriber(&subscriber);
        subscription.addSubscription(event);
    }

    for (;;) {
        if (pthreadFailed(pthread_mutex_lock(&subscriber.mutex)))
            return {WaitFailed, kNoIndex};
        unsigned setCount = 0;
        for (unsigned i = 0; i < n; ++i) {
            const ThreadEvent* event = eventAt(events, i);
            if (!event->isSignalled())
                continue;
            if (waitAll) {
                ++setCount;
                continue;
            }
            // The hint is confirmed under the event's own lock.
            if (pthreadFailed(pthread_mutex_lock(&event->stateMutex))) {
                pthread_mutex_unlock(&subscriber.mutex);
                return {WaitFailed, i};
            }
            const bool taken = event->signalled;
            if (taken)
                event->consume();
            if (pthreadFailed(pthread_mutex_unlock(&event->stateMutex))) {
                pthread_mutex_unlock(&subscriber.mutex);
                return {WaitFailed, i};
            }
            if (taken) {
                pthreadFailed(pthread_mutex_unlock(&subscriber.mutex));
                return {WaitSignalled, i};
            }
        }
        if (!(waitAll && setCount == n)) {
            const int waited = waitOn(subscriber, timeoutMs, deadline);
            if (waited == ETIMEDOUT) {
                pthread_mutex_unlock(&subscriber.mutex);
                return {WaitTimedOut, kNoIndex};
            }
            if (pthreadFailed(waited)) {
                pthread_mutex_unlock(&subscriber.mutex);
                return {WaitFailed, kNoIndex};
            }
        }
        if (pthreadFailed(pthread_mutex_unlock(&subscriber.mutex)))
            return {WaitFailed, kNoIndex};
        // The deadline stays where it was.
        const WaitForEventsResult result = waitForEvents0(events, waitAll);
        if (result.result != WaitTimedOut)
            return result;
    }
}
