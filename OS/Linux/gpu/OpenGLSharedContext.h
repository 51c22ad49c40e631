#pragma once

#include "GLContext.h"

// The root of the share group: one in the process, never drawn to. Every
// other context shares with it, so textures cross freely between threads.
class OpenGLSharedContext : public GLContext
{
public:
    // Made on first use; lives to the end of the process.
    static OpenGLSharedContext& instance();
    // Releases the EGL context; the group lives on in the render contexts.
    static void shutdown();

    void swapBuffers() override {}

private:
    OpenGLSharedContext();
};
