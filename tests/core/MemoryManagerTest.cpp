#include "OS.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
    class Recorder : public iReclaimable
    {
    public:
        Recorder(std::vector<std::string>& calls, std::string name) : calls(calls), name(std::move(name)) {}

        void reclaim() override
        {
            calls.push_back(name + ".reclaim");
            if (leaveOnReclaim)
                OS()->memMgr()->deRegisterReclaimable(this);
        }
        void limitUsage() override { calls.push_back(name + ".limit"); }
        void report() override { calls.push_back(name + ".report"); }

        std::vector<std::string>& calls;
        std::string name;
        bool leaveOnReclaim = false;
    };
}

TEST(MemoryManager, WalksInOrderAndLetsAnEntryLeave)
{
    std::vector<std::string> calls;
    Recorder first(calls, "a"), second(calls, "b"), third(calls, "c");
    iMemoryManager* manager = OS()->memMgr();
    manager->registerReclaimable(&first);
    manager->registerReclaimable(&second);
    manager->registerReclaimable(&third);
    second.leaveOnReclaim = true;

    // The walk goes on at the next index, so the entry that moved into the
    // leaver's place waits for the next walk.
    manager->reclaim();
    EXPECT_EQ(calls, (std::vector<std::string>{"a.reclaim", "b.reclaim"}));

    calls.clear();
    manager->limitUsage();
    EXPECT_EQ(calls, (std::vector<std::string>{"a.limit", "c.limit"}));

    calls.clear();
    testing::internal::CaptureStdout();
    manager->report();
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(calls, (std::vector<std::string>{"a.report", "c.report"}));
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 4) << "two blank lines after each entry";

    // Twice registered is called twice; an unknown entry leaves nothing.
    manager->registerReclaimable(&first);
    manager->deRegisterReclaimable(&second);
    calls.clear();
    manager->limitUsage();
    EXPECT_EQ(calls, (std::vector<std::string>{"a.limit", "c.limit", "a.limit"}));
    for (Recorder* entry : {&first, &third, &first})
        manager->deRegisterReclaimable(entry);
    calls.clear();
    manager->reclaim();
    EXPECT_TRUE(calls.empty());
}
