#pragma once

#include "KvExport.h"

#include <cstdint>

// Something an OpenGL texture of the library's share group holds.
class KV_API iOpenGLTexture
{
public:
    virtual ~iOpenGLTexture() = default;

    // The texture name; 0 when there is none.
    virtual std::uint32_t getTextureID() const = 0;
};
