#pragma once

#include "LightweightString.h"
#include "PixelData.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iHostImage.h"

#include <cairo.h>
#include <cstdint>

// The writable host image: pixels in the layout of a Cairo ARGB32 surface,
// bytes B, G, R, A in memory, 8 bits a component, rows without a gap.
//
// An image read from a file starts as the decoder's surface and becomes
// pixels at its first lock, for good. Sizes: getSize is logical, the pixels
// are in device pixels (physical = logical * ratio).
//
// lock_ (from the file constructor only) guards decoded_, pixels_ and
// context_ across createContext, lock and makeSurface. A lock keeps the bytes
// alive, not exclusive: two holders write the same bytes.
class CairoImage : public iHostImage
{
public:
    CairoImage(const LightweightString<wchar_t>& path, const LightweightString<char>& format);
    CairoImage(const XY<int>& size, unsigned short bitsPerPixel, unsigned char ratio);
    ~CairoImage() override;

    CairoImage(const CairoImage&) = delete;
    CairoImage& operator=(const CairoImage&) = delete;

    // 32 bits a pixel, ratio 1.
    static Kv::Ptr<CairoImage> create(const XY<int>& size);

    XY<int> getSize() const override { return size_; }
    unsigned int getBitsPerPixel() const override { return bitsPerPixel_; }
    unsigned int getBitsPerComponent() const override { return bitsPerComponent_; }
    // A new renderer on the image's one context, in device pixels. Null while
    // there are no pixels to draw into: a decoded image not yet locked, or
    // pixels that are not 32 bits. Renderers on one image share its context,
    // so they must be let go in the reverse order of their making.
    Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool forceSoftware) override;
    Kv::Ptr<iImage> createCompatibleImage(const XY<int>& size) override;
    Kv::Ptr<iPixelGuard> lock() override;
    bool isAlphaPreMultiplied() const override { return alphaPreMultiplied_ != 0; }
    void setAlphaIsPreMultiplied(bool preMultiplied) override { alphaPreMultiplied_ = preMultiplied; }

    // Physical width over logical width; 1 while the logical width is 0.
    std::uint8_t getDevicePixelRatio() const;
    // 1 for anything that is not a CairoImage.
    static std::uint8_t getDevicePixelRatio(Kv::Ptr<iImageBase> image);

    // A surface on the image's pixels, shared without a copy, that the caller
    // must release with cairo_surface_destroy; null when there are no pixels.
    // A decoded image not yet locked gives its decoded surface itself. Pixels
    // that are not premultiplied are premultiplied into a copy, as Cairo has
    // no such format.
    static cairo_surface_t* makeSurface(Kv::Ptr<iImageBase> image);

private:
    void create(int width, int height);
    void createContext();

    cairo_surface_t* decoded_ = nullptr;
    XY<int> physicalSize_;
    LightweightString<char> format_;
    cairo_t* context_ = nullptr;
    std::uint8_t alphaPreMultiplied_ = 0;
    std::uint16_t bitsPerPixel_ = 32;
    std::uint16_t bitsPerComponent_ = 8;
    std::uint32_t stride_ = 0;
    Kv::Ptr<PixelData> pixels_;
    Kv::Ptr<iCriticalSection> lock_;
};
