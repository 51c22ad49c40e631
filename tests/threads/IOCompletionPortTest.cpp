#include "IOCompletionPort.h"
#include "OS.h"
#include "ThreadTestSupport.h"

#include <gtest/gtest.h>

#include <future>

using namespace ThreadTestSupport;

TEST(IOCompletionPort, GetStatusHoldsItsThreadUntilTerminated)
{
    const Kv::Ptr<iIOCompletionPort> port(new IOCompletionPort);
    std::future<int> status = std::async(std::launch::async, [&] { return port->getStatus(); });
    settle();
    EXPECT_EQ(status.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    port->terminate();
    // It looks once a second.
    ASSERT_EQ(status.wait_for(std::chrono::milliseconds(2500)), std::future_status::ready);
    EXPECT_EQ(status.get(), 2);
    EXPECT_FALSE(port->attach(Kv::Ptr<iFile>())) << "nothing is ever attached";
}
