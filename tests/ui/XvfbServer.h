#pragma once

#include "../HostRequired.h"

#include <string>
#include <sys/types.h>

// A private X server for one test or for the whole program: Xvfb on the first
// free display, stopped by its process id.
class XvfbServer
{
public:
    // The screen as Xvfb's -screen takes it.
    explicit XvfbServer(const char* screen = "1280x1024x24");
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

#define REQUIRE_XVFB(server) REQUIRE_HOST(!(server).displayName().empty(), "Xvfb")
