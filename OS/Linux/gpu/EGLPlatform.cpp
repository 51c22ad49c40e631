#include "EGLPlatform.h"

#include "OS.h"

#include <EGL/eglext.h>

#include <cstdlib>
#include <cstring>
#include <vector>

// Last: Xlib's macros would clash with the names above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace
{
    // A surface type of 0 asks for no surface at all.
    constexpr EGLint surfacelessAttributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0,
                                                EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8,
                                                EGL_ALPHA_SIZE, 8, EGL_DEPTH_SIZE, 0, EGL_STENCIL_SIZE, 0,
                                                EGL_NONE};
    // One config serves windows and surfaceless contexts alike, so that
    // every context of the group can be current on any window.
    constexpr EGLint windowAttributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_WINDOW_BIT,
                                           EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8,
                                           EGL_ALPHA_SIZE, 8, EGL_DEPTH_SIZE, 0, EGL_STENCIL_SIZE, 0,
                                           EGL_NONE};

    bool hasExtension(const char* extensions, const char* name)
    {
        if (extensions == nullptr)
            return false;
        const std::size_t length = std::strlen(name);
        for (const char* found = std::strstr(extensions, name); found != nullptr; found = std::strstr(found + 1, name)) {
            const bool startsWord = found == extensions || found[-1] == ' ';
            if (startsWord && (found[length] == ' ' || found[length] == '\0'))
                return true;
        }
        return false;
    }

    std::string& requestedXDisplay()
    {
        static std::string name;
        return name;
    }

    PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay()
    {
        return reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    }

    // Null when the display serves contexts as the share group needs them,
    // else why not.
    const char* checkDisplay(EGLDisplay display)
    {
        const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
        if (!hasExtension(extensions, "EGL_KHR_create_context")
            || !hasExtension(extensions, "EGL_KHR_surfaceless_context"))
            return "EGL lacks EGL_KHR_create_context or EGL_KHR_surfaceless_context";
        if (!eglBindAPI(EGL_OPENGL_API))
            return "EGL does not offer desktop OpenGL";
        return nullptr;
    }
}

EGLPlatform& EGLPlatform::instance()
{
    static EGLPlatform platform;
    return platform;
}

void EGLPlatform::useXDisplay(const char* displayName)
{
    requestedXDisplay() = displayName != nullptr ? displayName : "";
}

const EGLint* EGLPlatform::configAttributes()
{
    return instance().nativeDisplay_ != nullptr ? windowAttributes : surfacelessAttributes;
}

void EGLPlatform::fail(const char* reason)
{
    config_ = nullptr;
    unavailableReason_ = reason;
    OS()->utils()->vlog("OpenGL cannot start: %s\n", reason);
}

EGLPlatform::EGLPlatform()
{
    // Mesa's software rasteriser takes a fast path for quads with simple
    // shaders that mixes up colour components (a single texture fetch with a
    // swizzle draws black). The driver reads this when the display starts; a
    // value the user set stays.
    setenv("LP_PERF", "no_rast_linear", 0);
    const std::string& xDisplay = requestedXDisplay();
    if (!xDisplay.empty() && startOnX(xDisplay))
        return;
    startSurfaceless();
}

// A failure here leaves OpenGL to the surfaceless platform, without windows.
// What was opened stays open: the display may hold the connection.
bool EGLPlatform::startOnX(const std::string& displayName)
{
    const char* reason = nullptr;
    if (!hasExtension(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS), "EGL_KHR_platform_x11")
        || getPlatformDisplay() == nullptr)
        reason = "EGL offers no X11 platform (EGL_KHR_platform_x11)";
    else if ((nativeDisplay_ = XOpenDisplay(displayName.c_str())) == nullptr)
        reason = "the X display does not open";
    else if ((display_ = getPlatformDisplay()(EGL_PLATFORM_X11_KHR, nativeDisplay_, nullptr)) == EGL_NO_DISPLAY
             || !eglInitialize(display_, nullptr, nullptr))
        reason = "no EGL display on the X server";
    else if ((reason = checkDisplay(display_)) == nullptr && !chooseWindowConfig())
        reason = "EGL has no 8-bit RGBA window configuration on the X screen's depth";
    if (reason == nullptr)
        return true;
    OS()->utils()->vlog("OpenGL draws into no window: %s\n", reason);
    display_ = EGL_NO_DISPLAY;
    nativeDisplay_ = nullptr;
    config_ = nullptr;
    return false;
}

bool EGLPlatform::startSurfaceless()
{
    if (!hasExtension(eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS), "EGL_MESA_platform_surfaceless")) {
        fail("EGL offers no surfaceless platform (EGL_MESA_platform_surfaceless)");
        return false;
    }
    if (getPlatformDisplay() == nullptr) {
        fail("EGL has no eglGetPlatformDisplayEXT");
        return false;
    }
    display_ = getPlatformDisplay()(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display_ == EGL_NO_DISPLAY || !eglInitialize(display_, nullptr, nullptr)) {
        display_ = EGL_NO_DISPLAY;
        fail("no surfaceless EGL display (no GPU driver or Mesa)");
        return false;
    }
    if (const char* reason = checkDisplay(display_)) {
        fail(reason);
        return false;
    }
    if (!chooseConfig(surfacelessAttributes)) {
        fail("EGL has no 8-bit RGBA configuration for desktop OpenGL");
        return false;
    }
    return true;
}

bool EGLPlatform::chooseConfig(const EGLint* attributes)
{
    EGLint count = 0;
    return eglChooseConfig(display_, attributes, &config_, 1, &count) && count >= 1;
}

// The first config, in EGL's order of preference, whose visual has the
// screen's own depth: a deeper visual would let a compositor show through
// wherever a frame leaves alpha below one.
bool EGLPlatform::chooseWindowConfig()
{
    EGLint count = 0;
    if (!eglChooseConfig(display_, windowAttributes, nullptr, 0, &count) || count < 1)
        return false;
    std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
    eglChooseConfig(display_, windowAttributes, configs.data(), count, &count);
    const int screenDepth = DefaultDepth(nativeDisplay_, DefaultScreen(nativeDisplay_));
    for (EGLConfig config : configs) {
        EGLint visualId = 0;
        if (!eglGetConfigAttrib(display_, config, EGL_NATIVE_VISUAL_ID, &visualId) || visualId == 0)
            continue;
        XVisualInfo wanted = {};
        wanted.visualid = static_cast<VisualID>(visualId);
        int matches = 0;
        XVisualInfo* visual = XGetVisualInfo(nativeDisplay_, VisualIDMask, &wanted, &matches);
        const int depth = visual != nullptr ? visual->depth : 0;
        XFree(visual);
        if (depth == screenDepth) {
            config_ = config;
            windowVisual_ = wanted.visualid;
            windowDepth_ = depth;
            return true;
        }
    }
    return false;
}

EGLContext EGLPlatform::createContext(EGLContext share) const
{
    if (!available() || !eglBindAPI(EGL_OPENGL_API))
        return EGL_NO_CONTEXT;
    // The compatibility profile needs 3.2 to be asked for by name; the driver
    // gives its highest compatible version.
    static const EGLint contextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION_KHR,
                                               3,
                                               EGL_CONTEXT_MINOR_VERSION_KHR,
                                               2,
                                               EGL_CONTEXT_OPENGL_PROFILE_MASK_KHR,
                                               EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT_KHR,
                                               EGL_NONE};
    return eglCreateContext(display_, config_, share, contextAttributes);
}

EGLSurface EGLPlatform::createWindowSurface(unsigned long window) const
{
    if (!hasWindows())
        return EGL_NO_SURFACE;
    Window native = window;
    return eglCreatePlatformWindowSurface(display_, config_, &native, nullptr);
}

bool EGLPlatform::anyContextCurrent()
{
    return eglGetCurrentContext() != EGL_NO_CONTEXT;
}
