#pragma once

#include "EGLPlatform.h"
#include "iOpenGLContext.h"

#include <deque>

// The contexts the open protectors have put in place, innermost last. A null
// entry stands for whichever context was current when its protector began,
// as a view's own context is while it draws. One stack serves the whole
// process: only protectors touch it, and every protector holds the GPU lock,
// so its entries belong to one thread at a time.
class OpenGLContextStack
{
public:
    static OpenGLContextStack& instance();

    // Makes the context current unless it is already the top.
    void push(iOpenGLContext* context);
    // Puts back the context below, or leaves none current when the stack
    // empties. Below a null entry the foreign context comes back, when a
    // protector inside made another one current: a window's frame goes on
    // in the window after a text was drawn into a texture.
    void pop();

private:
    struct Entry
    {
        iOpenGLContext* context;
        // What was current at a null entry's push.
        EGLContext foreign;
        EGLSurface draw;
        EGLSurface read;
    };
    std::deque<Entry> contexts_;
};
