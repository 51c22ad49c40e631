#include "OS.h"
#include "ThreadManager.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <future>
#include <thread>
#include <unistd.h>
#include <utility>

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

TEST(ThreadManager, NamedEventIsSharedWithItsFirstFlagsAndUnnamedOnesAreDistinct)
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

    const Kv::Ptr<iThreadEvent> unnamed = threadMgr()->createEvent(false, true, nullptr);
    EXPECT_NE(threadMgr()->createEvent(false, true, nullptr).get(), unnamed.get());
    EXPECT_EQ(unnamed->wait(0), WaitSignalled);
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

TEST(ThreadManager, ProtectedExecuteCallsFnAndReturnsZeroAndNamedMutexesDoNotExist)
{
    int calls = 0;
    const auto fn = [](void* arg) {
        ++*static_cast<int*>(arg);
        return iThread::eExecFailed;
    };
    EXPECT_EQ(threadMgr()->protectedExecute(fn, &calls, [](const iThread::Exception&) { ADD_FAILURE(); }), 0)
        << "the result of fn is ignored";
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(threadMgr()->openMutex("kv.mutex"));
    EXPECT_FALSE(threadMgr()->openMutex(nullptr));
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
        timespec before, deadline, after;
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

    std::pair<unsigned, pid_t> seen;
    std::thread([&] { seen = {threadMgr()->getCurrentThreadID(), gettid()}; }).join();
    EXPECT_EQ(seen.first, unsigned(seen.second));
    EXPECT_NE(seen.first, threadMgr()->getCurrentThreadID());
}
