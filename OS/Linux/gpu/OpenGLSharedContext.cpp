#include "OpenGLSharedContext.h"

OpenGLSharedContext::OpenGLSharedContext() : GLContext(EGLPlatform::instance().createContext(EGL_NO_CONTEXT)) {}

OpenGLSharedContext& OpenGLSharedContext::instance()
{
    static OpenGLSharedContext* const shared = new OpenGLSharedContext;
    return *shared;
}

void OpenGLSharedContext::shutdown()
{
    OpenGLSharedContext& shared = instance();
    if (shared.context_ == EGL_NO_CONTEXT)
        return;
    eglDestroyContext(EGLPlatform::instance().display(), shared.context_);
    shared.context_ = EGL_NO_CONTEXT;
}
