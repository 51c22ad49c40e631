#pragma once

// epoxy first: it defines the Khronos types itself and guards EGL's copy out.
#include <epoxy/gl.h>

#include <EGL/egl.h>

#include <string>

// The one EGL display of the process and the one way to make an OpenGL
// context in it: desktop OpenGL, compatibility profile, no surface, 8-bit
// colour and alpha, no depth or stencil buffer. The display is Mesa's
// surfaceless platform, so no window system is needed.
//
// When EGL or its driver cannot start, available() is false, the reason is
// logged once, and contexts come back as EGL_NO_CONTEXT. The display is never
// terminated: terminating unloads the driver, and what the driver keeps for
// the process would then show as leaks of unknown code.
class EGLPlatform
{
public:
    static EGLPlatform& instance();

    bool available() const { return config_ != nullptr; }
    const std::string& unavailableReason() const { return unavailableReason_; }
    EGLDisplay display() const { return display_; }

    // The config attributes every context of the share group is made with,
    // ending in EGL_NONE.
    static const EGLint* configAttributes();

    // A context sharing objects with share (EGL_NO_CONTEXT: the root of a new
    // group); EGL_NO_CONTEXT when none can be made. Binds the OpenGL API on
    // the calling thread first, as EGL keeps that per thread.
    EGLContext createContext(EGLContext share) const;
    // Whether the calling thread has any context current.
    static bool anyContextCurrent();

private:
    EGLPlatform();
    void fail(const char* reason);

    EGLDisplay display_ = EGL_NO_DISPLAY;
    EGLConfig config_ = nullptr;
    std::string unavailableReason_;
};
