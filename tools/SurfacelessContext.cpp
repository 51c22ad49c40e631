#include "SurfacelessContext.h"

#include <EGL/eglext.h>

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

SurfacelessContext::SurfacelessContext()
{
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        unavailableReason_ = "EGL offers no surfaceless platform (EGL_MESA_platform_surfaceless)";
        return;
    }
    const auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        unavailableReason_ = "EGL has no eglGetPlatformDisplayEXT";
        return;
    }
    display_ = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display_ == EGL_NO_DISPLAY || !eglInitialize(display_, nullptr, nullptr)) {
        display_ = EGL_NO_DISPLAY;
        unavailableReason_ = "no surfaceless EGL display (no GPU driver or Mesa)";
        return;
    }
    const char* displayExtensions = eglQueryString(display_, EGL_EXTENSIONS);
    if (!hasExtension(displayExtensions, "EGL_KHR_create_context") ||
        !hasExtension(displayExtensions, "EGL_KHR_surfaceless_context")) {
        unavailableReason_ = "EGL lacks EGL_KHR_create_context or EGL_KHR_surfaceless_context";
        return;
    }
    if (!eglBindAPI(EGL_OPENGL_API)) {
        unavailableReason_ = "EGL does not offer desktop OpenGL";
        return;
    }
    const EGLint configAttributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                                       EGL_NONE};
    EGLConfig config = nullptr;
    EGLint configCount = 0;
    if (!eglChooseConfig(display_, configAttributes, &config, 1, &configCount) || configCount < 1) {
        unavailableReason_ = "EGL has no configuration for desktop OpenGL";
        return;
    }
    // The compatibility profile needs 3.2 to be asked for by name; the driver
    // gives its highest compatible version.
    const EGLint contextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION_KHR,
                                        3,
                                        EGL_CONTEXT_MINOR_VERSION_KHR,
                                        2,
                                        EGL_CONTEXT_OPENGL_PROFILE_MASK_KHR,
                                        EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT_KHR,
                                        EGL_NONE};
    const EGLContext context = eglCreateContext(display_, config, EGL_NO_CONTEXT, contextAttributes);
    if (context == EGL_NO_CONTEXT) {
        unavailableReason_ = "EGL could not make a compatibility-profile OpenGL context";
        return;
    }
    if (!eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) {
        eglDestroyContext(display_, context);
        unavailableReason_ = "EGL could not make the context current without a surface";
        return;
    }
    context_ = context;
}

SurfacelessContext::~SurfacelessContext()
{
    if (context_ == EGL_NO_CONTEXT)
        return;
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(display_, context_);
}
