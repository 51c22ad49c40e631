#pragma once

#include "EGLPlatform.h"
#include "OpenGLContextProtector.h"
#include "OpenGLGraphicPrimitivesRendererBase.h"

#include <optional>

class GPUImage;

// The OpenGL renderer of one drawing operation: into a GPU image through the
// framebuffer object, or into a window whose context the caller has made
// current. It holds the GPU lock from construction to destruction, so it
// must be short-lived, and used and destroyed on the thread that made it.
// OpenGL's state is pushed at construction and popped at destruction.
class GL1Renderer : public OpenGLGraphicPrimitivesRendererBase
{
public:
    // Draws into the image, which must be held by a Kv::Ptr.
    GL1Renderer(GPUImage* image, eCoordinateSystem coordinateSystem);
    // Draws into the current context's drawable of that size, origin at the
    // top left. The context is not used: the caller has made it current.
    GL1Renderer(EGLContext context, const XY<int>& size);
    ~GL1Renderer() override;

    // Compiled on first use; a failed compile is tried again on the next call.
    Kv::Ptr<iShaderEffect> getTextEffectsShader() const override;

private:
    // Opened whenever OpenGL is available.
    std::optional<OpenGLContextProtector> protector_;
};
