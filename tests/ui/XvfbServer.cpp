#include "XvfbServer.h"

#include <chrono>
#include <thread>

#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>

extern char** environ;

XvfbServer::XvfbServer(const char* screen)
{
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        return;
    // Xvfb writes the display number it took to descriptor 3 once it serves.
    // -noreset: the server keeps its state, the pointer's place among it,
    // when its last client leaves, as a tool run by a test may be.
    const char* const argv[] = {"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-nolisten", "tcp", "-noreset",
                                nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 3);
    // Nothing else of ours: a server left behind by a crash must hold no
    // lock or pipe of the program that started it.
    posix_spawn_file_actions_addclosefrom_np(&actions, 4);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    const bool spawned =
        posix_spawnp(&pid, "Xvfb", &actions, nullptr, const_cast<char* const*>(argv), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    if (!spawned)
        pid = -1;
    std::string number;
    pollfd readable = {pipeFds[0], POLLIN, 0};
    char c = 0;
    while (spawned && poll(&readable, 1, 10000) == 1 && read(pipeFds[0], &c, 1) == 1 && c != '\n')
        number += c;
    close(pipeFds[0]);
    if (!number.empty())
        name = ":" + number;
}

XvfbServer::~XvfbServer()
{
    if (windowManagerPid > 0) {
        ::kill(windowManagerPid, SIGTERM);
        waitpid(windowManagerPid, nullptr, 0);
    }
    if (pid <= 0)
        return;
    ::kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
}

void XvfbServer::kill()
{
    ::kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    pid = -1;
}

XvfbServer& XvfbServer::shared()
{
    static XvfbServer server;
    static const bool exported = !server.displayName().empty() && setenv("DISPLAY", server.displayName().c_str(), 1) == 0;
    (void)exported;
    return server;
}

bool XvfbServer::startWindowManager()
{
    if (name.empty())
        return false;
    if (windowManagerPid > 0)
        return true;
    std::string display = "DISPLAY=" + name;
    char* const envp[] = {display.data(), nullptr};
    const char* const argv[] = {"openbox", "--sm-disable", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    const bool spawned = posix_spawnp(&windowManagerPid, "openbox", &actions, nullptr,
                                      const_cast<char* const*>(argv), envp) == 0;
    posix_spawn_file_actions_destroy(&actions);
    if (!spawned) {
        windowManagerPid = -1;
        return false;
    }
    // It manages windows once it has announced itself on the root window.
    Display* probe = XOpenDisplay(name.c_str());
    if (!probe)
        return false;
    const Atom check = XInternAtom(probe, "_NET_SUPPORTING_WM_CHECK", False);
    bool running = false;
    for (int waited = 0; waited < 10000 && !running; waited += 20) {
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long remaining = 0;
        unsigned char* data = nullptr;
        XGetWindowProperty(probe, DefaultRootWindow(probe), check, 0, 1, False, AnyPropertyType, &type, &format,
                           &count, &remaining, &data);
        running = count == 1;
        if (data)
            XFree(data);
        if (!running)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    XCloseDisplay(probe);
    return running;
}
