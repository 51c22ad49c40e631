#include "ScreenGrabber.h"

#include "ShmImage.h"

#include <X11/Xlib.h>

#include <cstdint>

namespace
{
    // The server leaves the byte above a 24-bit pixel undefined; a host image
    // is premultiplied ARGB, so the screen is made opaque on the way.
    void copyOpaque(cairo_surface_t* from, cairo_surface_t* to, int width, int height)
    {
        const unsigned char* source = cairo_image_surface_get_data(from);
        unsigned char* target = cairo_image_surface_get_data(to);
        const int sourceStride = cairo_image_surface_get_stride(from);
        const int targetStride = cairo_image_surface_get_stride(to);
        for (int y = 0; y < height; ++y) {
            const auto* in = reinterpret_cast<const std::uint32_t*>(source + std::ptrdiff_t(y) * sourceStride);
            auto* out = reinterpret_cast<std::uint32_t*>(target + std::ptrdiff_t(y) * targetStride);
            for (int x = 0; x < width; ++x)
                out[x] = in[x] | 0xFF000000u;
        }
    }
}

ScreenGrabber::ScreenGrabber() = default;

ScreenGrabber::~ScreenGrabber() = default;

cairo_surface_t* ScreenGrabber::grab(Display* display)
{
    if (!display)
        return nullptr;
    const int screen = DefaultScreen(display);
    const int width = DisplayWidth(display, screen);
    const int height = DisplayHeight(display, screen);
    std::lock_guard<std::mutex> guard(lock_);
    if (!image_ || image_->display() != display || image_->size() != XY<int>(width, height))
        image_ = std::make_unique<ShmImage>(display, XY<int>(width, height));
    if (!image_->get(RootWindow(display, screen)))
        return nullptr;
    cairo_surface_t* still = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(still) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(still);
        return nullptr;
    }
    cairo_surface_flush(still);
    copyOpaque(image_->surface(), still, width, height);
    cairo_surface_mark_dirty(still);
    return still;
}
