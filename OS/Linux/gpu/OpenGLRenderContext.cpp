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
    for (GLenum unit = 0; unit < OpenGLUtils::getNumTextureUnits(); ++unit) {
        glActiveTextureARB(GL_TEXTURE0_ARB + unit);
        glEnable(GL_TEXTURE_2D);
        glDisable(GL_LIGHTING);
        glDisable(GL_COLOR_MATERIAL);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    }
    glActiveTextureARB(GL_TEXTURE0_ARB);
    glDisable(GL_STENCIL_TEST);
    glDisable(GL_DEPTH_TEST);
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
