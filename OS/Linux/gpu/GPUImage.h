#pragma once

#include "Ptr.h"
#include "XY.h"
#include "iGPUBuffer.h"
#include "iGPUImage.h"
#include "iHostImage.h"

#include <epoxy/gl.h>

#include <cstdint>

// The exact OpenGL storage of a texture: the key of the texture cache.
struct TextureDetails
{
    GLint internalFormat = GL_RGBA;
    GLenum pixelFormat = GL_BGRA;
    GLenum type = GL_UNSIGNED_BYTE;
    XY<int> size;

    bool operator<(const TextureDetails& other) const;
    bool operator==(const TextureDetails& other) const = default;
};

// An image in one OpenGL 2D texture of the share group. Textures are not
// deleted with their image: they go back to the texture cache, and the next
// image of the same storage takes one without any OpenGL call, with the old
// pixels still in it. A refused size leaves an image without a texture.
//
// The image carries no lock; OpenGL work is done under protectors. It may be
// destroyed on any thread.
class GPUImage : public iOpenGLImage
{
public:
    explicit GPUImage(const iGPUImage::StorageT& storage);
    // Uploads the host image's pixels as they lie in memory: its storage
    // format must describe them.
    explicit GPUImage(Kv::Ptr<iHostImage> host);
    ~GPUImage() override;

    GPUImage(const GPUImage&) = delete;
    GPUImage& operator=(const GPUImage&) = delete;

    // Null when the size is refused; the only maker that asks first.
    static Kv::Ptr<GPUImage> create(const iGPUImage::StorageT& storage);
    static TextureDetails getStorageDetails(const iGPUImage::StorageT& storage);

    // The physical size, deliberately: the logical size is only in the base.
    XY<int> getSize() const override { return physicalSize_; }
    unsigned int getBitsPerPixel() const override;
    unsigned int getBitsPerComponent() const override;
    // A new renderer on this image, origin at the bottom left.
    Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool forceSoftware) override;
    Kv::Ptr<iImage> createCompatibleImage(const XY<int>& size) override;
    eFormat getFormat() const override { return format_; }
    // Always null: OpenGLUtils::copyToHost reads the pixels.
    Kv::Ptr<iPixelGuard> lock() override { return nullptr; }
    std::uint32_t getTextureID() const override { return texture_; }

    XY<int> getPhysicalSize() const { return physicalSize_; }
    // The logical size as the base holds it: (0, 0) when not set.
    XY<int> getLogicalSize() const { return size_; }
    Kv::Ptr<iGPUBuffer> getInteropBuffer() const { return interopBuffer_; }
    void setInteropBuffer(const Kv::Ptr<iGPUBuffer>& buffer) { interopBuffer_ = buffer; }

private:
    void allocTexture(const XY<int>& size, const void* data);

    GLuint texture_ = 0;
    XY<int> physicalSize_;
    eFormat format_ = eBGRA8;
    bool allocated_ = false;
    Kv::Ptr<iGPUBuffer> interopBuffer_;
};
