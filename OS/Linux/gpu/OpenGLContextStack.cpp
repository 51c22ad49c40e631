#include "OpenGLContextStack.h"

OpenGLContextStack& OpenGLContextStack::instance()
{
    // Lives to the end of the process: statics may open protectors at exit.
    static OpenGLContextStack* const stack = new OpenGLContextStack;
    return *stack;
}

void OpenGLContextStack::push(iOpenGLContext* context)
{
    if (context != nullptr && (contexts_.empty() || contexts_.back() != context))
        context->makeCurrent();
    contexts_.push_back(context);
}

void OpenGLContextStack::pop()
{
    if (contexts_.empty())
        return;
    iOpenGLContext* const removed = contexts_.back();
    contexts_.pop_back();
    if (contexts_.empty()) {
        if (removed != nullptr)
            removed->unMakeCurrent();
        return;
    }
    iOpenGLContext* const top = contexts_.back();
    if (top != removed && top != nullptr)
        top->makeCurrent();
}
