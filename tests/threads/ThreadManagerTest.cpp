#include "OS.h"
#include "ThreadManager.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <future>
#include <unistd.h>

using namespace ThreadTestSupport;

namespace
{
    iThreadManager* threadMgr() { return OS()->threadMgr(); }

    // Tells when the last reference to it has gone.
    class Probe : public iObject
    {
    public:
        explicit Probe(std::atomic<bool>& destroyed) : destroyed(destroyed) {}
        ~Probe() override { destroyed = true; }

    private:
        std::atomic<bool>& destroyed;
    };

    long long nanoseconds(const timespec& time) { return time.tv_sec * 1000000000LL + time.tv_nsec; }
}

TEST(ThreadManager, NamedEventIsSharedWithItsFirstFlags)
{
    const Kv::Ptr<iThreadEvent> first = threadMgr()->createEvent(false, true, "kv.shared-event");
    const Kv::Ptr<iThreadEvent> again = threadMgr()->createEvent(true, false, "kv.shared-event");
    const Kv::Ptr<iThreadEvent> elsewhere =
        std::async(std::launch::async, [] { return threadMgr()->createEvent(true, true, "kv.shared-event"); }).get();
    EXPECT_EQ(again.get(), first.get());
    EXPECT_EQ(elsewhere.get(), first.get());
    EXPECT_EQ(again->wait(0), WaitSignalled) << "still signalled";
    EXPECT_EQ(again->wait(0), WaitTimedOut) << "still auto-reset";
    EXPECT_EQ(threadMgr()->createEvent(false, false, "").get(), threadMgr()->createEvent(true, true, "").get());
}

TEST(ThreadManager, UnnamedEventsAreDistinct)
{
    const Kv::Ptr<iThreadEvent> first = threadMgr()->createEvent(false, false, nullptr);
    const Kv::Ptr<iThreadEvent> second = threadMgr()->createEvent(false, false, nullptr);
    EXPECT_NE(first.get(), second.get());
    first->set();
    EXPECT_EQ(second->wait(0), WaitTimedOut);
    EXPECT_EQ(first->wait(0), WaitSignalled);
}

TEST(ThreadManager, ObjectTableBelongsToItsThread)
{
    const LightweightString<char> key("kv.table-entry");
    std::atomic<bool> firstGone{false};
    std::atomic<bool> secondGone{false};
    Kv::Ptr<iObject> first(new Probe(firstGone));
    threadMgr()->setObject(key, first);
    EXPECT_EQ(threadMgr()->getObject(key).get(), first.get());

    std::async(std::launch::async, [&] {
        EXPECT_FALSE(threadMgr()->getObject(key)) << "another thread's entry was visible";
        std::atomic<bool> ownGone{false};
        Kv::Ptr<iObject> own(new Probe(ownGone));
        threadMgr()->setObject(key, own);
        EXPECT_EQ(threadMgr()->getObject(key).get(), own.get());
        // Its table outlives the thread: leave nothing there that points here.
        threadMgr()->setObject(key, nullptr);
    }).get();
    EXPECT_EQ(threadMgr()->getObject(key).get(), first.get());

    Kv::Ptr<iObject> second(new Probe(secondGone));
    threadMgr()->setObject(key, second);
    EXPECT_EQ(threadMgr()->getObject(key).get(), second.get());
    first = nullptr;
    EXPECT_TRUE(firstGone) << "the replaced entry was not let go";

    threadMgr()->setObject(key, nullptr);
    second = nullptr;
    EXPECT_TRUE(secondGone);
    EXPECT_FALSE(threadMgr()->getObject("kv.never-set"));
}

TEST(ThreadManager, NamedMutexesDoNotExist)
{
    EXPECT_FALSE(threadMgr()->openMutex("kv.mutex"));
    EXPECT_FALSE(threadMgr()->openMutex(nullptr));
}

TEST(ThreadManager, ProtectedExecuteCallsFnAndReturnsZero)
{
    static std::atomic<int> handled{0};
    int calls = 0;
    const int result = threadMgr()->protectedExecute(
        [](void* arg) {
            ++*static_cast<int*>(arg);
            return iThread::eExecFailed;
        },
        &calls, [](const iThread::Exception&) { ++handled; });
    EXPECT_EQ(result, 0) << "the result of fn is ignored";
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(handled, 0);
}

TEST(ThreadManager, SleepLastsAsLongAsAsked)
{
    const Stopwatch watch;
    threadMgr()->sleep(120);
    EXPECT_GE(watch.elapsedMs(), 119);
    EXPECT_LT(watch.elapsedMs(), 1000);
}

TEST(ThreadManager, AbsoluteDeadlineIsNormalisedAndMsFromNow)
{
    for (unsigned ms = 0; ms < 2000; ++ms) {
        timespec before;
        timespec deadline;
        timespec after;
        clock_gettime(CLOCK_REALTIME, &before);
        ThreadManager::MsecToTimespecAbs(deadline, ms);
        clock_gettime(CLOCK_REALTIME, &after);
        ASSERT_GE(deadline.tv_nsec, 0) << ms;
        ASSERT_LT(deadline.tv_nsec, 1000000000) << ms;
        const long long offset = ms * 1000000LL;
        ASSERT_GE(nanoseconds(deadline), nanoseconds(before) + offset) << ms;
        ASSERT_LE(nanoseconds(deadline), nanoseconds(after) + offset) << ms;
    }
}

TEST(ThreadManager, CurrentThreadIdIsTheKernelId)
{
    EXPECT_EQ(threadMgr()->getCurrentThreadID(), unsigned(gettid()));

    struct Seen
    {
        unsigned reported = 0;
        pid_t kernel = 0;
    } seen;
    iThread::InitArgs args;
    args.entry = [](void* arg) {
        auto* seen = static_cast<Seen*>(arg);
        seen->reported = threadMgr()->getCurrentThreadID();
        seen->kernel = gettid();
    };
    args.arg = &seen;
    threadMgr()->createThread(args)->waitForCompletion(iWaitable::kInfinite);
    EXPECT_EQ(seen.reported, unsigned(seen.kernel));
    EXPECT_NE(seen.reported, threadMgr()->getCurrentThreadID());
}
