#include "GL1Renderer.h"

#include "GPUImage.h"
#include "OS.h"
#include "OpenGLUtils.h"
#include "iMediaServices.h"

#include <epoxy/gl.h>

namespace
{
    // Every attribute group OpenGL 1 knows.
    constexpr GLbitfield kAllAttributes = 0xFFFFF;

    void pushState()
    {
        glPushAttrib(kAllAttributes);
        glMatrixMode(GL_PROJECTION);
        glPushMatrix();
    }
}

GL1Renderer::GL1Renderer(GPUImage* image, eCoordinateSystem coordinateSystem)
    : OpenGLGraphicPrimitivesRendererBase(image, coordinateSystem)
{
    size_ = image->getSize();
    if (!available_)
        return;
    protector_.emplace(*OpenGLUtils::instance().getRenderContext(), true);
    pushState();
    OpenGLUtils::instance().pushRenderTarget(Kv::Ptr<iOpenGLImage>(image));
}

GL1Renderer::GL1Renderer(EGLContext, const XY<int>& size) : OpenGLGraphicPrimitivesRendererBase(nullptr, eOriginTopLeft)
{
    size_ = size;
    if (!available_)
        return;
    protector_.emplace();
    pushState();
    glViewport(0, 0, size.x, size.y);
    glLoadIdentity();
    glOrtho(0, size.x, 0, size.y, -1, 1);
}

GL1Renderer::~GL1Renderer()
{
    if (!protector_)
        return;
    glFlush();
    if (image_ != nullptr)
        OpenGLUtils::instance().popRenderTarget();
    glPopAttrib();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
}

Kv::Ptr<iShaderEffect> GL1Renderer::getTextEffectsShader() const
{
    // Under the GPU lock, which the renderer holds. Never destroyed: its
    // programs would go after OpenGL has at the end of the process.
    static Kv::Ptr<iShaderEffect>& blender = *new Kv::Ptr<iShaderEffect>();
    if (!blender)
        blender = OS()->mediaServices()
                      ->compileFXFileFromBuffer(
                          "texture Input;sampler LinearSampler = sampler_state { Texture = <Input>; };float4 "
                          "FaceColour1;float4 clearTypeBlend( float2 xy1 : TEXCOORD1 ) : COLOR{   float4 src = "
                          "tex2D( LinearSampler, xy1 );   float4 output = FaceColour1;   output.a = ( ( src.r + "
                          "src.g + src.b ) / 3.0 ) * FaceColour1.a;   return output;}technique t1 { pass p1 { "
                          "PixelShader = compile PROFILE clearTypeBlend(); } }",
                          {})
                      .effect;
    return blender;
}
