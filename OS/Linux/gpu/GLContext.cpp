#include "GLContext.h"

GLContext::GLContext(EGLContext context) : context_(context) {}

const EGLint* GLContext::getContextAttribs()
{
    return EGLPlatform::configAttributes();
}

bool GLContext::makeCurrent()
{
    if (context_ != EGL_NO_CONTEXT)
        eglMakeCurrent(EGLPlatform::instance().display(), EGL_NO_SURFACE, EGL_NO_SURFACE, context_);
    return true;
}

bool GLContext::unMakeCurrent()
{
    const EGLDisplay display = EGLPlatform::instance().display();
    if (display != EGL_NO_DISPLAY)
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    return true;
}
