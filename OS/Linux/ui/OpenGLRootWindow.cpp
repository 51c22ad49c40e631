#include "OpenGLRootWindow.h"

#include "BackBufferGuard.h"
#include "GPUImage.h"
#include "iMediaServices.h"
#include "iOperatingSystem.h"

Kv::Ptr<iGraphicPrimitivesRenderer> OpenGLRootWindow::getPrimitivesRenderer(bool forceSoftware)
{
    // The back buffer's renderer holds the back buffer.
    const Kv::Ptr<iVideoWindowBackBuffer> backBuffer = lock(false);
    return backBuffer ? backBuffer->getPrimitivesRenderer(forceSoftware) : Kv::Ptr<iGraphicPrimitivesRenderer>();
}

Kv::Ptr<iImage> OpenGLRootWindow::createCompatibleImage(const XY<int>& size)
{
    return GPUImage::create({size, iGPUImage::eBGRA8});
}

void OpenGLRootWindow::requestRepaint(const Kv::Ptr<iRegion>& region) const
{
    if (!region || !view())
        return;
    if (region->isRectangular()) {
        openGLView()->setNeedsDisplayInRect(region->getBounds());
        return;
    }
    iRegion::Rectangles rectangles;
    region->getData(rectangles);
    for (const Kv::Rectangle<int>& rect : rectangles)
        openGLView()->setNeedsDisplayInRect(rect);
}

Kv::Ptr<iVideoWindowBackBuffer> OpenGLRootWindow::lock(bool)
{
    if (!view())
        return {};
    return Kv::Ptr<iVideoWindowBackBuffer>(new BackBufferGuard(openGLView()->openGLContext(), getSize()));
}

Kv::Ptr<iFont> OpenGLRootWindow::createFont(const LightweightString<wchar_t>& family, unsigned int size,
                                            unsigned int style)
{
    return OS()->mediaServices()->createGPUSurfaceFont(family, size, style);
}

std::unique_ptr<XView> OpenGLRootWindow::createView(const Kv::Rectangle<int>& frame)
{
    return std::make_unique<OpenGLWindowView>(window()->window(), frame);
}
