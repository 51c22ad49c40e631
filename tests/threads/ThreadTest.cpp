#include "OS.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <future>
#include <pthread.h>
#include <sys/resource.h>
#include <string>
#include <thread>
#include <unistd.h>

using namespace ThreadTestSupport;

namespace
{
    constexpr std::size_t kMebibyte = 1048576;

    // What a thread saw of itself, filled in by its entry.
    struct Sighting
    {
        void* arg = nullptr;
        pid_t threadID = 0;
        std::string name;
        std::size_t stackSize = 0;
    };

    std::string currentThreadName()
    {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        return name;
    }

    std::size_t currentStackSize()
    {
        pthread_attr_t attributes;
        if (pthread_getattr_np(pthread_self(), &attributes) != 0)
            return 0;
        std::size_t size = 0;
        pthread_attr_getstacksize(&attributes, &size);
        pthread_attr_destroy(&attributes);
        return size;
    }

    void recordSighting(void* arg)
    {
        auto* sighting = static_cast<Sighting*>(arg);
        sighting->arg = arg;
        sighting->threadID = gettid();
        sighting->name = currentThreadName();
        sighting->stackSize = currentStackSize();
    }

    // Runs a thread to its end and tells what it saw.
    Sighting sightingOf(const char* name, unsigned stackSize)
    {
        Sighting sighting;
        iThread::InitArgs args;
        args.entry = recordSighting;
        args.arg = &sighting;
        args.stackSize = stackSize;
        args.name = name;
        const Kv::Ptr<iThread> thread = OS()->threadMgr()->createThread(args);
        EXPECT_TRUE(thread->waitForCompletion(iWaitable::kInfinite));
        EXPECT_EQ(sighting.arg, &sighting);
        return sighting;
    }

    // Sleeps, then says it is done.
    void sleepThenFinish(void* arg)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        static_cast<std::atomic<bool>*>(arg)->store(true);
    }

    Kv::Ptr<iThread> startThread(void (*entry)(void*), void* arg)
    {
        iThread::InitArgs args;
        args.entry = entry;
        args.arg = arg;
        return OS()->threadMgr()->createThread(args);
    }
}

TEST(Thread, EntryRunsWithItsArgumentUnderTheGivenNameOnAStackOfAtLeastOneMebibyte)
{
    const Sighting sighting = sightingOf("kv-decoder", 0);
    EXPECT_NE(sighting.threadID, gettid());
    EXPECT_EQ(sighting.name, "kv-decoder");
    EXPECT_EQ(sightingOf("abcdefghijklmnopqrstuvwxyz", 0).name, "abcdefghijklmno") << "the system keeps 15";
    std::string creatorsName;
    std::size_t defaultSize = 0;
    std::thread([&] {
        pthread_setname_np(pthread_self(), "kv-creator");
        creatorsName = sightingOf("", 0).name;
        defaultSize = currentStackSize();
    }).join();
    EXPECT_EQ(creatorsName, "kv-creator") << "an empty name keeps the creator's";

    EXPECT_EQ(sighting.stackSize, defaultSize);
    const std::size_t small = sightingOf("kv-small-stack", 4096).stackSize;
    EXPECT_GE(small, kMebibyte);
    EXPECT_LT(small, 2 * kMebibyte);
    EXPECT_GE(sightingOf("kv-large-stack", 3 * kMebibyte).stackSize, 3 * kMebibyte);
}

TEST(Thread, CompletionIsAJoinWhateverTheTimeAndSoIsTheLastReference)
{
    std::atomic<bool> finished{false};
    const Kv::Ptr<iThread> thread = startThread(sleepThenFinish, &finished);
    EXPECT_TRUE(thread->waitForCompletion(0)) << "the time given is not used";
    EXPECT_TRUE(finished);
    const Stopwatch watch;
    EXPECT_TRUE(thread->waitForCompletion(iWaitable::kInfinite)) << "and may be repeated";
    EXPECT_LT(watch.elapsedMs(), 50);

    finished = false;
    Kv::Ptr<iThread> dropped = startThread(sleepThenFinish, &finished);
    dropped = nullptr;
    EXPECT_TRUE(finished);
    EXPECT_GE(watch.elapsedMs(), 100) << "the thread was still running when it was dropped";
}

// Ids increase in order of creation; the priority is the thread's nice
// value, read back from the kernel.
TEST(Thread, IdsIncreaseAndPrioritiesSetTheThreadsNiceValue)
{
    struct Shared
    {
        std::atomic<pid_t> systemId{0};
        std::promise<void> letGo;
        std::future<void> released = letGo.get_future();
    } shared;
    const Kv::Ptr<iThread> thread = startThread(
        [](void* arg) {
            auto* shared = static_cast<Shared*>(arg);
            shared->systemId = gettid();
            shared->released.wait();
        },
        &shared);
    const Kv::Ptr<iThread> second = startThread([](void*) {}, nullptr);
    EXPECT_GT(thread->getID(), 0u);
    EXPECT_LT(thread->getID(), second->getID());
    while (shared.systemId == 0)
        std::this_thread::yield();
    const int expectedNice[] = {19, 10, 0, -5, -10, -20};
    for (int priority = iThread::ePriorityIdle; priority <= iThread::ePriorityTimeCritical; ++priority) {
        SCOPED_TRACE(testing::Message() << "priority " << priority);
        // Raising it needs the right to, which the tests have as root.
        ASSERT_TRUE(thread->setPriority(iThread::ePriority(priority)));
        EXPECT_EQ(getpriority(PRIO_PROCESS, id_t(shared.systemId.load())), expectedNice[priority]);
    }
    EXPECT_FALSE(thread->setPriority(iThread::ePriority(6)));
    EXPECT_EQ(thread->getPriority(), 2) << "the answer is fixed";
    shared.letGo.set_value();
}
