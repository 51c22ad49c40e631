#pragma once

#include "GLContext.h"

// A thread's own context for drawing off screen, sharing with the shared
// context. It owns its EGL context, and is made under the GPU lock with every
// texture unit set up for the renderers: 2D texturing on, linear filters, no
// lighting, no depth or stencil test.
class OpenGLRenderContext : public GLContext
{
public:
    OpenGLRenderContext();
    ~OpenGLRenderContext() override;

    OpenGLRenderContext(const OpenGLRenderContext&) = delete;
    OpenGLRenderContext& operator=(const OpenGLRenderContext&) = delete;

    void swapBuffers() override {}
};
