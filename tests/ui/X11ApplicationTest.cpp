#include "X11Application.h"

#include "XvfbServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <numeric>
#include <string>
#include <thread>
#include <vector>
// Last: Xlib's macros would clash with gtest's names.
#include <X11/Xlib.h>

TEST(X11Application, RunsWorkPostedFromAnotherThreadInOrderAndTasksMayRunANestedLoop)
{
    XvfbServer& server = XvfbServer::shared();
    REQUIRE_XVFB(server);
    X11Application application(server.displayName().c_str());
    ASSERT_NE(application.display(), nullptr);

    const std::thread::id loopThread = std::this_thread::get_id();
    std::vector<int> order;
    bool everyTaskOnTheLoop = true;
    std::thread poster([&] {
        for (int i = 0; i < 200; ++i)
            application.post([&, i] {
                order.push_back(i);
                everyTaskOnTheLoop = everyTaskOnTheLoop && std::this_thread::get_id() == loopThread;
            });
        application.post([&] { application.stop(); });
    });
    application.run();
    poster.join();
    std::vector<int> expected(200);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_TRUE(everyTaskOnTheLoop);

    // A modal box runs a loop of its own inside a task; the batch of the
    // outer loop goes on afterwards.
    std::vector<std::string> steps;
    application.post([&] {
        steps.push_back("outer task begins");
        application.post([&] {
            steps.push_back("nested task");
            application.stop();
        });
        application.run();
        steps.push_back("outer task ends");
    });
    application.post([&] {
        steps.push_back("next outer task");
        application.stop();
    });
    application.run();
    EXPECT_EQ(steps, (std::vector<std::string>{"outer task begins", "nested task", "outer task ends", "next outer task"}));
}

TEST(X11Application, WithoutADisplayFailsWithOneLogLine)
{
    const char* display = std::getenv("DISPLAY");
    const std::string saved = display ? display : "";
    unsetenv("DISPLAY");
    for (const char* name : {static_cast<const char*>(nullptr), ":4093"}) {
        testing::internal::CaptureStdout();
        X11Application application(name);
        const std::string output = testing::internal::GetCapturedStdout();
        SCOPED_TRACE(name ? name : "no DISPLAY");
        EXPECT_EQ(application.display(), nullptr);
        EXPECT_NE(output.find("Cannot open the X display \"" + std::string(name ? name : "") +
                              "\": windows are unavailable\n"),
                  std::string::npos)
            << output;
        EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
        bool ran = false;
        application.post([&] { ran = true; });
        application.run();
        EXPECT_FALSE(ran) << "run returns at once";
    }
    if (display)
        setenv("DISPLAY", saved.c_str(), 1);
}

TEST(X11Application, ServerGoingAwayEndsTheLoop)
{
    XvfbServer server;
    REQUIRE_XVFB(server);
    X11Application application(server.displayName().c_str());
    ASSERT_NE(application.display(), nullptr);
    // Something for the server to answer while it dies.
    application.post([&] { XSync(application.display(), False); });
    std::thread killer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        server.kill();
    });
    application.run();
    killer.join();
    EXPECT_EQ(application.display(), nullptr);
}
