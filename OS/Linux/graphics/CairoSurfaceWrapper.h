#pragma once

#include "iHostImage.h"
#include "iPixelGuard.h"

#include <cairo.h>
#include <memory>

// A read-only host image on a Cairo image surface. It holds its own
// reference on the surface.
class CairoSurfaceWrapper : public iHostImage
{
public:
    // A copy of the surface's bytes, taken at construction. getSize gives the
    // height as x and the width as y: callers rely on that swap.
    class SurfaceGuard : public iPixelGuard
    {
    public:
        explicit SurfaceGuard(cairo_surface_t* surface);
        ~SurfaceGuard() override;

        SurfaceGuard(const SurfaceGuard&) = delete;
        SurfaceGuard& operator=(const SurfaceGuard&) = delete;

        unsigned char* getPixels() override { return pixels_.get(); }
        XY<int> getSize() const override;
        unsigned int getStride() const override;

    private:
        cairo_surface_t* surface_;
        std::unique_ptr<unsigned char[]> pixels_;
    };

    explicit CairoSurfaceWrapper(cairo_surface_t* surface);
    ~CairoSurfaceWrapper() override;

    CairoSurfaceWrapper(const CairoSurfaceWrapper&) = delete;
    CairoSurfaceWrapper& operator=(const CairoSurfaceWrapper&) = delete;

    XY<int> getSize() const override;
    unsigned int getBitsPerPixel() const override;
    unsigned int getBitsPerComponent() const override { return 8; }
    Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool) override { return nullptr; }
    Kv::Ptr<iImage> createCompatibleImage(const XY<int>&) override { return nullptr; }
    Kv::Ptr<iPixelGuard> lock() override;
    // Cairo's image surfaces hold premultiplied colour.
    bool isAlphaPreMultiplied() const override { return true; }
    void setAlphaIsPreMultiplied(bool) override {}

private:
    cairo_surface_t* surface_;
};
