#pragma once

// epoxy first: it defines the Khronos types itself and guards EGL's copy out.
#include <epoxy/gl.h>

#include <EGL/egl.h>

#include <string>

// A compatibility-profile OpenGL context on Mesa's surfaceless EGL platform,
// with no surface, current on the constructing thread. When no display or
// context can be made, available() is false and unavailableReason() says why.
// The display stays initialised when this goes: terminating it unloads the
// driver, and what the driver keeps for the process would then show as leaks
// of unknown code to a leak checker.
class SurfacelessContext
{
public:
    SurfacelessContext();
    ~SurfacelessContext();
    SurfacelessContext(const SurfacelessContext&) = delete;
    SurfacelessContext& operator=(const SurfacelessContext&) = delete;

    bool available() const { return context_ != EGL_NO_CONTEXT; }
    const std::string& unavailableReason() const { return unavailableReason_; }

private:
    EGLDisplay display_ = EGL_NO_DISPLAY;
    EGLContext context_ = EGL_NO_CONTEXT;
    std::string unavailableReason_;
};
