#include "BackBufferGuard.h"

#include "GL1Renderer.h"

BackBufferGuard::BackBufferGuard(Kv::Ptr<iOpenGLContext> context, const XY<int>& size)
    : context_(std::move(context)), protector_(*context_, false), size_(size)
{
}

BackBufferGuard::~BackBufferGuard()
{
    if (overlay_.image)
        renderer()->renderMulti(&overlay_, 1);
    context_->swapBuffers();
}

Kv::Ptr<iGraphicPrimitivesRenderer> BackBufferGuard::renderer()
{
    if (!renderer_)
        renderer_ = Kv::Ptr<iGraphicPrimitivesRenderer>(new GL1Renderer(eglGetCurrentContext(), size_));
    return renderer_;
}

Kv::Ptr<iGraphicPrimitivesRenderer> BackBufferGuard::getPrimitivesRenderer(bool)
{
    return Kv::Ptr<iGraphicPrimitivesRenderer>(
        new iVideoWindowBackBuffer::Renderer(Kv::Ptr<iVideoWindowBackBuffer>(this), renderer()));
}
