#include "OS.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace ThreadTestSupport;

class CriticalSection : public testing::Test
{
protected:
    // Whether another thread could take the section now; it lets go at once.
    bool freeForOthers()
    {
        return std::async(std::launch::async, [this] {
                   const bool taken = section->lockIfNotLocked();
                   if (taken)
                       section->unlock();
                   return taken;
               })
            .get();
    }

    const Kv::Ptr<iCriticalSection> section = OS()->threadMgr()->createCriticalSection(4000);
};

TEST_F(CriticalSection, OwnerRelocksAndNeedsAsManyUnlocks)
{
    section->lock();
    section->lock();
    EXPECT_TRUE(section->lockIfNotLocked()) << "the owner's try succeeds too";
    section->unlock();
    section->unlock();
    EXPECT_FALSE(freeForOthers());
    section->unlock();
    EXPECT_TRUE(freeForOthers());
}

TEST_F(CriticalSection, TryOnSectionHeldElsewhereFailsSilently)
{
    {
        const HeldElsewhere holder([&] { section->lock(); }, [&] { section->unlock(); });
        bool taken = true;
        EXPECT_EQ(capturedStdout([&] { taken = section->lockIfNotLocked(); }), "");
        EXPECT_FALSE(taken);
    }
    EXPECT_TRUE(freeForOthers());
}

TEST_F(CriticalSection, GuardHoldsTheSectionForItsScope)
{
    {
        CriticalSectionLock guard(section);
        EXPECT_FALSE(freeForOthers());
    }
    EXPECT_TRUE(freeForOthers());
    const CriticalSectionLock nothing{Kv::Ptr<iCriticalSection>()};
}

TEST_F(CriticalSection, GuardedCounterIsExact)
{
    constexpr int kThreads = 4;
    constexpr int kIncrements = 20000;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kIncrements; ++i) {
                CriticalSectionLock guard(section);
                // Read and write apart, so that an unguarded update would lose counts.
                const int seen = counter;
                counter = seen + 1;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, kThreads * kIncrements);
}
