#include "OpenGLContextStack.h"

OpenGLContextStack& OpenGLContextStack::instance()
{
    // Lives to the end of the process: statics may open protectors at exit.
    static OpenGLContextStack* const stack = new OpenGLContextStack;
    return *stack;
}

void OpenGLContextStack::push(iOpenGLContext* context)
{
    if (context == nullptr) {
        contexts_.push_back({nullptr, eglGetCurrentContext(), eglGetCurrentSurface(EGL_DRAW),
                             eglGetCurrentSurface(EGL_READ)});
        return;
    }
    if (contexts_.empty() || contexts_.back().context != context)
        context->makeCurrent();
    contexts_.push_back({context, EGL_NO_CONTEXT, EGL_NO_SURFACE, EGL_NO_SURFACE});
}

void OpenGLContextStack::pop()
{
    if (contexts_.empty())
        return;
    iOpenGLContext* const removed = contexts_.back().context;
    contexts_.pop_back();
    if (contexts_.empty()) {
        if (removed != nullptr)
            removed->unMakeCurrent();
        return;
    }
    const Entry& top = contexts_.back();
    if (top.context == nullptr) {
        if (removed != nullptr && top.foreign != EGL_NO_CONTEXT && eglGetCurrentContext() != top.foreign)
            eglMakeCurrent(EGLPlatform::instance().display(), top.draw, top.read, top.foreign);
        return;
    }
    if (top.context != removed)
        top.context->makeCurrent();
}
