#include "CairoImage.h"

#include "CairoImageLock.h"
#include "CriticalSectionLock.h"
#include "DataGuard.h"
#include "GraphicPrimitivesRenderer.h"
#include "JpegCodec.h"
#include "PngCodec.h"
#include "iOperatingSystem.h"
#include "iThreadManager.h"
#include "../files/FileManager.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

namespace
{
    // A surface over pixels that someone else owns; the keeper lives as long
    // as the surface. Null when Cairo refuses the layout.
    cairo_surface_t* borrowPixels(unsigned char* pixels, const XY<int>& size, unsigned int stride,
                                  Kv::Ptr<iObject> keeper)
    {
        cairo_surface_t* surface =
            cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_ARGB32, size.x, size.y, int(stride));
        if (DataGuard::attach(surface, keeper))
            return surface;
        cairo_surface_destroy(surface);
        return nullptr;
    }

    // Cairo has no straight-alpha format, so such pixels go into a copy.
    cairo_surface_t* premultipliedCopy(const unsigned char* pixels, const XY<int>& size, unsigned int stride)
    {
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size.x, size.y);
        if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(surface);
            return nullptr;
        }
        cairo_surface_flush(surface);
        unsigned char* copy = cairo_image_surface_get_data(surface);
        const int copyStride = cairo_image_surface_get_stride(surface);
        for (int row = 0; row < size.y; ++row) {
            unsigned char* target = copy + std::size_t(row) * copyStride;
            std::memcpy(target, pixels + std::size_t(row) * stride, std::size_t(size.x) * 4);
            PixelData::premultiply(target, unsigned(size.x));
        }
        cairo_surface_mark_dirty(surface);
        return surface;
    }
}

CairoImage::CairoImage(const LightweightString<wchar_t>& path, const LightweightString<char>& format)
    : format_(format)
{
    const LightweightString<char> hostPath = FileManager::KvtoOS(path);
    // The file must open; otherwise the image stays empty, without a word.
    FILE* file = std::fopen(hostPath.c_str(), "rb");
    if (file) {
        std::fclose(file);
        Kv::Ptr<PixelData> decodedPixels;
        XY<int> decodedSize;
        const char* name = format.c_str();
        if (name && strcasecmp(name, "png") == 0)
            decodedPixels = PngCodec::read(hostPath.c_str(), decodedSize);
        else if (name && (strcasecmp(name, "jpeg") == 0 || strcasecmp(name, "jpg") == 0))
            decodedPixels = JpegCodec::read(hostPath.c_str(), decodedSize);
        if (decodedPixels)
            decoded_ = borrowPixels(decodedPixels->getData(), decodedSize, unsigned(decodedSize.x) * 4, decodedPixels);
        if (decoded_) {
            size_ = decodedSize;
            stride_ = std::uint32_t(cairo_image_surface_get_stride(decoded_));
            bitsPerComponent_ = 8;
            bitsPerPixel_ = 32;
            physicalSize_ = XY<int>(int(stride_ * 8 / bitsPerPixel_), decodedSize.y);
        }
        alphaPreMultiplied_ = 1;
        lock_ = OS()->threadMgr()->createCriticalSection(0);
    }
    storage_.size = physicalSize_;
}

CairoImage::CairoImage(const XY<int>& size, unsigned short bitsPerPixel, unsigned char ratio)
    : bitsPerPixel_(bitsPerPixel)
{
    size_ = size;
    create(size.x * ratio, size.y * ratio);
}

CairoImage::~CairoImage()
{
    if (context_)
        cairo_destroy(context_);
    if (decoded_)
        cairo_surface_destroy(decoded_);
}

Kv::Ptr<CairoImage> CairoImage::create(const XY<int>& size)
{
    return Kv::Ptr<CairoImage>(new CairoImage(size, 32, 1));
}

void CairoImage::create(int width, int height)
{
    const unsigned int bytesPerPixel = bitsPerPixel_ >> 3;
    pixels_ = Kv::Ptr<PixelData>(new PixelData(unsigned(width), unsigned(height), bytesPerPixel));
    physicalSize_ = XY<int>(width, height);
    storage_.size = XY<int>(width, height);
    stride_ = bytesPerPixel * unsigned(width);
    bitsPerComponent_ = bitsPerPixel_ >> 2;
}

void CairoImage::createContext()
{
    CriticalSectionLock guard(lock_);
    // Cairo draws only into its own layout, and needs the pixels to exist.
    if (context_ || !pixels_ || bitsPerPixel_ != 32)
        return;
    cairo_surface_t* surface = borrowPixels(pixels_->getData(), physicalSize_, stride_, pixels_);
    if (!surface)
        return;
    context_ = cairo_create(surface);
    cairo_surface_destroy(surface);
    cairo_set_operator(context_, CAIRO_OPERATOR_SOURCE);
}

Kv::Ptr<iGraphicPrimitivesRenderer> CairoImage::getPrimitivesRenderer(bool)
{
    // A decoded image is drawn on in the pixel layout, as after its first lock.
    if (!context_) {
        lock();
        createContext();
    }
    if (!context_)
        return nullptr;
    return Kv::Ptr<iGraphicPrimitivesRenderer>(new GraphicPrimitivesRenderer(context_, physicalSize_, 1.0f));
}

Kv::Ptr<iImage> CairoImage::createCompatibleImage(const XY<int>& size)
{
    return Kv::Ptr<iImage>(new CairoImage(size, 32, 1));
}

Kv::Ptr<iPixelGuard> CairoImage::lock()
{
    CriticalSectionLock guard(lock_);
    if (!pixels_ && decoded_) {
        // The decoders already give this layout, so when no one else holds the
        // decoded surface its pixels are taken over rather than drawn.
        Kv::Ptr<PixelData> adopted = Kv::dynamicCast<PixelData>(DataGuard::keeperOf(decoded_));
        if (adopted && cairo_surface_get_reference_count(decoded_) == 1
            && cairo_image_surface_get_format(decoded_) == CAIRO_FORMAT_ARGB32
            && std::uint32_t(cairo_image_surface_get_stride(decoded_)) == std::uint32_t(physicalSize_.x) * 4) {
            pixels_ = adopted;
            physicalSize_ = XY<int>(cairo_image_surface_get_width(decoded_), cairo_image_surface_get_height(decoded_));
            storage_.size = physicalSize_;
            stride_ = std::uint32_t(physicalSize_.x) * 4;
            bitsPerComponent_ = 8;
        } else {
            create(physicalSize_.x, physicalSize_.y);
            createContext();
            if (context_) {
                cairo_set_source_surface(context_, decoded_, 0, 0);
                cairo_paint(context_);
                cairo_surface_flush(cairo_get_target(context_));
            }
        }
        cairo_surface_destroy(decoded_);
        decoded_ = nullptr;
    }
    return Kv::Ptr<iPixelGuard>(new CairoImageLock(pixels_, physicalSize_, stride_));
}

std::uint8_t CairoImage::getDevicePixelRatio() const
{
    if (size_.x == 0)
        return 1;
    return std::uint8_t(physicalSize_.x / size_.x);
}

std::uint8_t CairoImage::getDevicePixelRatio(Kv::Ptr<iImageBase> image)
{
    Kv::Ptr<CairoImage> cairoImage = Kv::dynamicCast<CairoImage>(image);
    return cairoImage ? cairoImage->getDevicePixelRatio() : 1;
}

cairo_surface_t* CairoImage::makeSurface(Kv::Ptr<iImageBase> image)
{
    Kv::Ptr<iHostImage> hostImage = Kv::dynamicCast<iHostImage>(image);
    if (!hostImage)
        return nullptr;

    XY<int> size;
    unsigned int stride = 0;
    unsigned char* pixels = nullptr;
    Kv::Ptr<iObject> keeper;
    Kv::Ptr<CairoImage> cairoImage = Kv::dynamicCast<CairoImage>(hostImage);
    if (cairoImage) {
        CriticalSectionLock guard(cairoImage->lock_);
        if (cairoImage->decoded_)
            return cairo_surface_reference(cairoImage->decoded_);
        size = cairoImage->physicalSize_;
        stride = unsigned(size.x) * 4;
        // Rows of four bytes a pixel: an image of fewer bits has no surface.
        if (cairoImage->pixels_ && cairoImage->bitsPerPixel_ == 32) {
            keeper = cairoImage->pixels_;
            pixels = cairoImage->pixels_->getData();
        }
    } else {
        size = hostImage->getSize();
        stride = hostImage->getStride();
        Kv::Ptr<iPixelGuard> pixelGuard = hostImage->lock();
        if (pixelGuard) {
            pixels = pixelGuard->getPixels();
            keeper = pixelGuard;
        }
    }
    if (!pixels || stride < unsigned(size.x) * 4)
        return nullptr;
    if (!hostImage->isAlphaPreMultiplied())
        return premultipliedCopy(pixels, size, stride);
    return borrowPixels(pixels, size, stride, keeper);
}
