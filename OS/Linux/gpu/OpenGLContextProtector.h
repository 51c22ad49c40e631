#pragma once

#include "iOpenGLContext.h"

// No OpenGL call is made outside one of these. It holds the GPU lock for its
// whole life, so OpenGL work is serialised across threads and protectors nest
// freely on one thread, and it puts a context in place until it goes.
class OpenGLContextProtector
{
public:
    // On that context. The flag has no effect: renderers pass true, others false.
    OpenGLContextProtector(iOpenGLContext& context, bool);
    // On whichever context the thread has current, or on the thread's render
    // context when it has none. Starts the library's OpenGL on first use.
    OpenGLContextProtector();
    virtual ~OpenGLContextProtector();

    OpenGLContextProtector(const OpenGLContextProtector&) = delete;
    OpenGLContextProtector& operator=(const OpenGLContextProtector&) = delete;
};
