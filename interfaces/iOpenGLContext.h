#pragma once

#include "iObject.h"

// An OpenGL context of the library's share group.
class KV_API iOpenGLContext : public virtual iObject
{
public:
    // Makes this context current on the calling thread.
    virtual bool makeCurrent() = 0;
    // Leaves no context current on the calling thread.
    virtual bool unMakeCurrent() = 0;
    // Presents the back buffer, where the context has one.
    virtual void swapBuffers() = 0;
};
