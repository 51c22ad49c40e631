#include "CairoSurfaceWrapper.h"

#include <cstring>

CairoSurfaceWrapper::SurfaceGuard::SurfaceGuard(cairo_surface_t* surface) : surface_(cairo_surface_reference(surface))
{
    cairo_surface_flush(surface_);
    const unsigned char* source = cairo_image_surface_get_data(surface_);
    if (!source)
        return;
    const std::size_t bytes = std::size_t(cairo_image_surface_get_stride(surface_)) * cairo_image_surface_get_height(surface_);
    pixels_.reset(new unsigned char[bytes]);
    std::memcpy(pixels_.get(), source, bytes);
}

CairoSurfaceWrapper::SurfaceGuard::~SurfaceGuard()
{
    cairo_surface_destroy(surface_);
}

XY<int> CairoSurfaceWrapper::SurfaceGuard::getSize() const
{
    return XY<int>(cairo_image_surface_get_height(surface_), cairo_image_surface_get_width(surface_));
}

unsigned int CairoSurfaceWrapper::SurfaceGuard::getStride() const
{
    return static_cast<unsigned int>(cairo_image_surface_get_stride(surface_));
}

CairoSurfaceWrapper::CairoSurfaceWrapper(cairo_surface_t* surface) : surface_(cairo_surface_reference(surface)) {}

CairoSurfaceWrapper::~CairoSurfaceWrapper()
{
    cairo_surface_destroy(surface_);
}

XY<int> CairoSurfaceWrapper::getSize() const
{
    return XY<int>(cairo_image_surface_get_width(surface_), cairo_image_surface_get_height(surface_));
}

unsigned int CairoSurfaceWrapper::getBitsPerPixel() const
{
    switch (cairo_image_surface_get_format(surface_)) {
    case CAIRO_FORMAT_A1:
        return 1;
    case CAIRO_FORMAT_A8:
        return 8;
    case CAIRO_FORMAT_RGB16_565:
        return 16;
    default:
        return 32;
    }
}

Kv::Ptr<iPixelGuard> CairoSurfaceWrapper::lock()
{
    return Kv::Ptr<iPixelGuard>(new SurfaceGuard(surface_));
}
