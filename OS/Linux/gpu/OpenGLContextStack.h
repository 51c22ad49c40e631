#pragma once

#include "iOpenGLContext.h"

#include <deque>

// The contexts the open protectors have put in place, innermost last. A null
// entry stands for whichever context was current when its protector began.
// One stack serves the whole process: only protectors touch it, and every
// protector holds the GPU lock, so its entries belong to one thread at a time.
class OpenGLContextStack
{
public:
    static OpenGLContextStack& instance();

    // Makes the context current unless it is already the top.
    void push(iOpenGLContext* context);
    // Puts back the context below, or leaves none current when the stack
    // empties; a null entry leaves the thread's foreign context as it is.
    void pop();

private:
    std::deque<iOpenGLContext*> contexts_;
};
