#include "OpenGLImage3D.h"

#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <vector>

namespace
{
    // NaN and anything not below 1 give 255.
    std::uint32_t toByte(float value)
    {
        const float clamped = !(value < 1.0f) ? 1.0f : value <= 0.0f ? 0.0f : value;
        return static_cast<std::uint32_t>(static_cast<std::uint8_t>(static_cast<double>(clamped) * 255.0 + 0.5));
    }
}

OpenGLImage3D::OpenGLImage3D(unsigned int texture, const XYZ<unsigned char>&) : texture_(texture)
{
    GLint width = 0;
    GLint height = 0;
    GLint depth = 0;
    {
        const OpenGLContextProtector protector;
        glActiveTextureARB(GL_TEXTURE0_ARB);
        glBindTexture(GL_TEXTURE_3D, texture_);
        glGetTexLevelParameteriv(GL_TEXTURE_3D, 0, GL_TEXTURE_WIDTH, &width);
        glGetTexLevelParameteriv(GL_TEXTURE_3D, 0, GL_TEXTURE_HEIGHT, &height);
        glGetTexLevelParameteriv(GL_TEXTURE_3D, 0, GL_TEXTURE_DEPTH, &depth);
        glBindTexture(GL_TEXTURE_3D, 0);
    }
    physicalSize_ = {static_cast<unsigned char>(width), static_cast<unsigned char>(height),
                     static_cast<unsigned char>(depth)};
    logicalSize_ = physicalSize_;
}

OpenGLImage3D::~OpenGLImage3D()
{
    const OpenGLContextProtector protector;
    glDeleteTextures(1, &texture_);
}

Kv::Ptr<iGPUImage3D> OpenGLImage3D::create(Kv::Ptr<iHostImage3D> source)
{
    if (!source || !OpenGLUtils::isAvailable())
        return nullptr;
    const XYZ<unsigned char> size = source->getLogicalSize();
    std::vector<std::uint32_t> words;
    words.reserve(std::size_t(size.x) * size.y * size.z);
    // The first coordinate is the slowest in memory, while OpenGL takes the
    // first size as the fastest axis: the texture's s runs along the third.
    for (unsigned i = 0; i < size.x; ++i)
        for (unsigned j = 0; j < size.y; ++j)
            for (unsigned k = 0; k < size.z; ++k) {
                const NormalisedRGB colour = source->lookup(
                    {static_cast<unsigned char>(i), static_cast<unsigned char>(j), static_cast<unsigned char>(k)});
                words.push_back(0xFF000000u | toByte(colour.r) << 16 | toByte(colour.g) << 8 | toByte(colour.b));
            }
    GLuint texture = 0;
    {
        const OpenGLContextProtector protector;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_3D, texture);
        glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexImage3D(GL_TEXTURE_3D, 0, GL_RGBA, size.x, size.y, size.z, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     words.empty() ? nullptr : words.data());
        glBindTexture(GL_TEXTURE_3D, 0);
    }
    return Kv::Ptr<iGPUImage3D>(new OpenGLImage3D(texture, size));
}
