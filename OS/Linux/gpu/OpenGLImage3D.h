#pragma once

#include "Ptr.h"
#include "XYZ.h"
#include "iImage3D.h"
#include "iOpenGLTexture.h"

#include <epoxy/gl.h>

#include <cstdint>

// A colour lookup cube in an OpenGL 3D texture. Its sizes are read back from
// the texture, one byte each, so a side of 256 reads as 0. 3D textures are not
// cached: the texture goes with the image.
class OpenGLImage3D : public iGPUImage3D, public iOpenGLTexture
{
public:
    // Takes the texture over; the size argument is not used, the texture's own is.
    OpenGLImage3D(unsigned int texture, const XYZ<unsigned char>& size);
    ~OpenGLImage3D() override;

    OpenGLImage3D(const OpenGLImage3D&) = delete;
    OpenGLImage3D& operator=(const OpenGLImage3D&) = delete;

    // The source's colours as opaque 8-bit BGRA; null for a null source or
    // when OpenGL is not available.
    static Kv::Ptr<iGPUImage3D> create(Kv::Ptr<iHostImage3D> source);

    XYZ<unsigned char> getLogicalSize() const override { return logicalSize_; }
    XYZ<unsigned char> getPhysicalSize() const override { return physicalSize_; }
    std::uint32_t getTextureID() const override { return texture_; }

private:
    XYZ<unsigned char> physicalSize_;
    XYZ<unsigned char> logicalSize_;
    GLuint texture_;
};
