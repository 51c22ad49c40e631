#pragma once

// epoxy first: it defines the Khronos types itself and guards EGL's copy out.
#include <epoxy/gl.h>

#include <EGL/egl.h>

#include <string>

typedef struct _XDisplay Display;

// The one EGL display of the process and the one way to make an OpenGL
// context in it: desktop OpenGL, compatibility profile, 8-bit colour and
// alpha, no depth or stencil buffer, made current without a surface.
//
// The display is the X server's when the window system named one before
// OpenGL started (useXDisplay), so that windows get EGL surfaces and share
// textures with every other context; otherwise it is Mesa's surfaceless
// platform, and no window system is needed. On X, EGL talks to the server on
// a connection of its own, never on the main loop's.
//
// When EGL or its driver cannot start, available() is false, the reason is
// logged once, and contexts come back as EGL_NO_CONTEXT. The display is never
// terminated: terminating unloads the driver, and what the driver keeps for
// the process would then show as leaks of unknown code.
class EGLPlatform
{
public:
    static EGLPlatform& instance();

    // The X display (by its name, as XOpenDisplay takes it) that OpenGL
    // starts on. Called by the window system once its connection is open;
    // once OpenGL has started it changes nothing.
    static void useXDisplay(const char* displayName);

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

    // Whether contexts can draw into X windows.
    bool hasWindows() const { return available() && nativeDisplay_ != nullptr; }
    // The visual and depth an X window needs for a window surface; 0 without
    // windows.
    unsigned long windowVisual() const { return windowVisual_; }
    int windowDepth() const { return windowDepth_; }
    // A surface on an X window made with that visual; EGL_NO_SURFACE when
    // none can be made. The window must be known to the server already.
    EGLSurface createWindowSurface(unsigned long window) const;
    // EGL's own connection to the X server; null on the surfaceless platform.
    Display* nativeDisplay() const { return nativeDisplay_; }

private:
    EGLPlatform();
    bool startOnX(const std::string& displayName);
    bool startSurfaceless();
    bool chooseConfig(const EGLint* attributes);
    bool chooseWindowConfig();
    void fail(const char* reason);

    EGLDisplay display_ = EGL_NO_DISPLAY;
    EGLConfig config_ = nullptr;
    Display* nativeDisplay_ = nullptr;
    unsigned long windowVisual_ = 0;
    int windowDepth_ = 0;
    std::string unavailableReason_;
};
