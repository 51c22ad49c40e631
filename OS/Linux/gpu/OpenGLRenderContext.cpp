#include "OpenGLRenderContext.h"

#include "CriticalSectionLock.h"
#include "OpenGLContextProtector.h"
#include "OpenGLSharedContext.h"
#include "OpenGLUtils.h"

OpenGLRenderContext::OpenGLRenderContext() : GLContext(EGL_NO_CONTEXT)
{
    const CriticalSectionLock guard(OpenGLUtils::instance().getLock());
    context_ = EGLPlatform::instance().createContext(OpenGLUtils::getSharedContext().context());
    if (context_ == EGL_NO_CONTEXT)
        return;
    const OpenGLContextProtector protector(*this, false);
    OpenGLUtils::prepareDrawingState();
}

// At the end of its thread; EGL frees a context that is still current once
// the thread lets go of it.
OpenGLRenderContext::~OpenGLRenderContext()
{
    if (context_ == EGL_NO_CONTEXT)
        return;
    const EGLDisplay display = EGLPlatform::instance().display();
    if (eglGetCurrentContext() == context_)
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(display, context_);
}
