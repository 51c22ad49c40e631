#pragma once

#include "EGLPlatform.h"
#include "iOpenGLContext.h"

// An EGL context of the share group, made current without a surface. It
// does not own the context: the derived class that made it releases it. A
// null context is legal, and then makeCurrent does nothing.
class GLContext : public iOpenGLContext
{
public:
    explicit GLContext(EGLContext context);

    // The config attributes of every context in the share group.
    static const EGLint* getContextAttribs();

    bool makeCurrent() override;
    bool unMakeCurrent() override;
    // These contexts have no drawable: a window presents through its own view.
    void swapBuffers() override {}

    EGLContext context() const { return context_; }

protected:
    EGLContext context_;
};
