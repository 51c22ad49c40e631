#include "EGLPlatform.h"

#include "OS.h"

#include <EGL/eglext.h>

#include <cstdlib>
#include <cstring>

namespace
{
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
}

EGLPlatform& EGLPlatform::instance()
{
    static EGLPlatform platform;
    return platform;
}

const EGLint* EGLPlatform::configAttributes()
{
    // A surface type of 0 asks for no surface at all.
    static const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0,
                                        EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_ALPHA_SIZE, 8,
                                        EGL_DEPTH_SIZE, 0, EGL_STENCIL_SIZE, 0, EGL_NONE};
    return attributes;
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
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        fail("EGL offers no surfaceless platform (EGL_MESA_platform_surfaceless)");
        return;
    }
    const auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        fail("EGL has no eglGetPlatformDisplayEXT");
        return;
    }
    display_ = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display_ == EGL_NO_DISPLAY || !eglInitialize(display_, nullptr, nullptr)) {
        display_ = EGL_NO_DISPLAY;
        fail("no surfaceless EGL display (no GPU driver or Mesa)");
        return;
    }
    const char* displayExtensions = eglQueryString(display_, EGL_EXTENSIONS);
    if (!hasExtension(displayExtensions, "EGL_KHR_create_context")
        || !hasExtension(displayExtensions, "EGL_KHR_surfaceless_context")) {
        fail("EGL lacks EGL_KHR_create_context or EGL_KHR_surfaceless_context");
        return;
    }
    if (!eglBindAPI(EGL_OPENGL_API)) {
        fail("EGL does not offer desktop OpenGL");
        return;
    }
    EGLint configCount = 0;
    if (!eglChooseConfig(display_, configAttributes(), &config_, 1, &configCount) || configCount < 1)
        fail("EGL has no 8-bit RGBA configuration for desktop OpenGL");
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

bool EGLPlatform::anyContextCurrent()
{
    return eglGetCurrentContext() != EGL_NO_CONTEXT;
}
