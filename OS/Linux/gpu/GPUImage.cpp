#include "GPUImage.h"

#include "GL1Renderer.h"
#include "OpenGLContextProtector.h"
#include "OpenGLTextureCache.h"
#include "OpenGLUtils.h"

#include <tuple>

namespace
{
    struct Storage
    {
        GLint internalFormat;
        GLenum pixelFormat;
        GLenum type;
        unsigned int bitsPerPixel;
        unsigned int bitsPerComponent;
    };

    // By eFormat. The 10-bit formats are stored as plain RGBA: only their
    // upload is 10-bit. Alpha reports 32 bits a pixel while it holds 8, as it
    // always has.
    constexpr Storage kStorage[] = {
        {GL_RGBA, GL_BGRA, GL_UNSIGNED_BYTE, 32, 8},
        {GL_RGBA16, GL_RGBA, GL_UNSIGNED_SHORT, 64, 16},
        {GL_RGBA16F_ARB, GL_RGBA, GL_HALF_FLOAT_ARB, 64, 16},
        {GL_RGBA32F_ARB, GL_RGBA, GL_FLOAT, 128, 32},
        {GL_RGBA, GL_BGRA, GL_UNSIGNED_INT_2_10_10_10_REV, 32, 10},
        {GL_RGBA, GL_BGRA, GL_UNSIGNED_INT_2_10_10_10_REV, 32, 10},
        {GL_ALPHA, GL_ALPHA, GL_UNSIGNED_BYTE, 32, 8},
    };

    const Storage& storageOf(iGPUImage::eFormat format)
    {
        const auto index = static_cast<std::size_t>(format);
        return index < std::size(kStorage) ? kStorage[index] : kStorage[0];
    }
}

bool TextureDetails::operator<(const TextureDetails& other) const
{
    return std::tie(internalFormat, pixelFormat, type, size.x, size.y)
         < std::tie(other.internalFormat, other.pixelFormat, other.type, other.size.x, other.size.y);
}

GPUImage::GPUImage(const iGPUImage::StorageT& storage) : physicalSize_(storage.size), format_(storage.format)
{
    size_ = storage.size;
    allocTexture(storage.size, nullptr);
}

GPUImage::GPUImage(Kv::Ptr<iHostImage> host)
{
    const iGPUImage::StorageT storage = host->getStorage();
    physicalSize_ = storage.size;
    format_ = storage.format;
    const Kv::Ptr<iPixelGuard> pixels = host->lock();
    if (physicalSize_.x == 0 || physicalSize_.y == 0)
        physicalSize_ = host->getSize();
    if (pixels)
        allocTexture(physicalSize_, pixels->getPixels());
    // A host image's getSize is its logical size.
    size_ = host->getSize();
    if (size_.x == 0 || size_.y == 0)
        size_ = physicalSize_;
}

GPUImage::~GPUImage()
{
    if (allocated_) {
        OpenGLTextureCache::instance().insert(*this, getStorageDetails({physicalSize_, format_}));
    } else if (texture_ != 0) {
        const OpenGLContextProtector protector;
        glDeleteTextures(1, &texture_);
    }
}

Kv::Ptr<GPUImage> GPUImage::create(const iGPUImage::StorageT& storage)
{
    if (!OpenGLUtils::isTextureSizePossible(storage.size))
        return nullptr;
    return Kv::Ptr<GPUImage>(new GPUImage(storage));
}

TextureDetails GPUImage::getStorageDetails(const iGPUImage::StorageT& storage)
{
    const Storage& gl = storageOf(storage.format);
    return {gl.internalFormat, gl.pixelFormat, gl.type, storage.size};
}

unsigned int GPUImage::getBitsPerPixel() const
{
    return storageOf(format_).bitsPerPixel;
}

unsigned int GPUImage::getBitsPerComponent() const
{
    return storageOf(format_).bitsPerComponent;
}

Kv::Ptr<iGraphicPrimitivesRenderer> GPUImage::getPrimitivesRenderer(bool)
{
    return Kv::Ptr<iGraphicPrimitivesRenderer>(new GL1Renderer(this, GL1Renderer::eOriginBottomLeft));
}

Kv::Ptr<iImage> GPUImage::createCompatibleImage(const XY<int>& size)
{
    return Kv::Ptr<iImage>(new GPUImage(iGPUImage::StorageT{size, format_}));
}

void GPUImage::allocTexture(const XY<int>& size, const void* data)
{
    if (!OpenGLUtils::isTextureSizePossible(size))
        return;
    physicalSize_ = size;
    const TextureDetails details = getStorageDetails({size, format_});
    OpenGLTextureCache::CacheValue recycled = OpenGLTextureCache::instance().extract(details);
    texture_ = recycled.texture;
    interopBuffer_ = recycled.buffer;
    // The fast path of the whole design: a recycled texture needs no OpenGL
    // call unless there are pixels to put in it.
    if (data != nullptr || texture_ == 0) {
        const OpenGLContextProtector protector;
        if (texture_ != 0) {
            glEnable(GL_TEXTURE_2D);
            glBindTexture(GL_TEXTURE_2D, texture_);
            glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, size.x, size.y, details.pixelFormat, details.type, data);
        } else {
            glGenTextures(1, &texture_);
            glBindTexture(GL_TEXTURE_2D, texture_);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            glTexImage2D(GL_TEXTURE_2D, 0, details.internalFormat, size.x, size.y, 0, details.pixelFormat,
                         details.type, data);
        }
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    allocated_ = true;
}
