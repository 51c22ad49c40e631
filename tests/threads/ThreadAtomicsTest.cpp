#include "OS.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace
{
    iThreadAtomics* atomics() { return OS()->threadAtomics(); }
}

TEST(ThreadAtomics, CompareExchangeReturnsTheOldValueEitherWay)
{
    volatile int value = 5;
    EXPECT_EQ(atomics()->safeCompareExchange(&value, 9, 5), 5);
    EXPECT_EQ(value, 9);
    EXPECT_EQ(atomics()->safeCompareExchange(&value, 1, 5), 9);
    EXPECT_EQ(value, 9) << "a mismatch exchanges nothing";

    const long long big = 0x123456789LL;
    volatile long long wide = big;
    EXPECT_EQ(atomics()->safeCompareExchange(&wide, big + 1, big), big);
    EXPECT_EQ(wide, big + 1);
    EXPECT_EQ(atomics()->safeCompareExchange(&wide, 0, big), big + 1);
    EXPECT_EQ(wide, big + 1);
}

// Each increment returns its own new value: every value from 1 to the total
// comes back exactly once.
TEST(ThreadAtomics, IncrementsFromManyThreadsAreExact)
{
    constexpr int kThreads = 4;
    constexpr int kIncrements = 50000;
    volatile int counter = 0;
    volatile long long wideCounter = 0;
    std::vector<std::vector<int>> returned(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            returned[t].reserve(kIncrements);
            for (int i = 0; i < kIncrements; ++i) {
                returned[t].push_back(atomics()->safeInc(&counter));
                atomics()->safeDec(&wideCounter);
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(counter, kThreads * kIncrements);
    EXPECT_EQ(wideCounter, -kThreads * kIncrements);
    std::vector<int> all;
    for (const std::vector<int>& values : returned)
        all.insert(all.end(), values.begin(), values.end());
    std::sort(all.begin(), all.end());
    for (int i = 0; i < int(all.size()); ++i)
        ASSERT_EQ(all[i], i + 1);
}
