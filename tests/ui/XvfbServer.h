#pragma once

#include <gtest/gtest.h>

#include <string>
#include <sys/types.h>

// A private X server for one test or for the whole program: Xvfb on the first
// free display, stopped by its process id.
class XvfbServer
{
public:
    XvfbServer();
    ~XvfbServer();

    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    // ":N", or empty when Xvfb could not start.
    const std::string& displayName() const { return name; }
    // Ends the server at once, as a crash would.
    void kill();
    // Starts openbox on the server and waits until it manages windows;
    // false when it does not come up. It ends with the server.
    bool startWindowManager();

    // The program's shared server, made the $DISPLAY of the process on first use.
    static XvfbServer& shared();

private:
    pid_t pid = -1;
    pid_t windowManagerPid = -1;
    std::string name;
};

// On CI (CI=true) Xvfb is part of the machine, so a test that cannot start it
// fails there; elsewhere it skips.
#define REQUIRE_XVFB(server)                                                       \
    do {                                                                           \
        if ((server).displayName().empty()) {                                      \
            const char* ci = std::getenv("CI");                                    \
            if (ci && std::string(ci) == "true")                                   \
                FAIL() << "Xvfb cannot start on CI";                               \
            GTEST_SKIP() << "Xvfb cannot start";                                   \
        }                                                                          \
    } while (false)
