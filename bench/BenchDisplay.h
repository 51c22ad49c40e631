#pragma once

#include "EGLPlatform.h"
#include "X11Application.h"
#include "XvfbServer.h"

#include <cstdlib>

// The benchmarks' own X server, with room for a full-HD window, opened before
// anything starts OpenGL: OpenGL then runs on the display's EGL for every
// benchmark, as it does in the application once windows are open. False when
// Xvfb cannot start.
inline bool benchDisplayOpen()
{
    static XvfbServer server("2560x1440x24");
    static const bool open = [] {
        if (server.displayName().empty() || setenv("DISPLAY", server.displayName().c_str(), 1) != 0 ||
            !X11Application::instance().display())
            return false;
        EGLPlatform::useXDisplay(server.displayName().c_str());
        return true;
    }();
    return open;
}
