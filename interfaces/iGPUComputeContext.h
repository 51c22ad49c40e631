#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iGPUBuffer.h"
#include "iGPUImage.h"
#include "iGPUProgram.h"
#include "iObject.h"

#include <cstdint>
#include <vector>

// GPU compute beside the OpenGL renderer: buffers, the buffers of GPU images'
// textures, and programs built from lines of source.
//
// Every program starts with the pixel macros RED, GREEN, BLUE and ALPHA, which
// read a float4's x, y, z and w, and MAKEPIXEL(R, G, B, A), which makes
// (float4)(B, G, R, A): it swaps the first and third channels, as kernels
// written for it expect.
class KV_API iGPUComputeContext : public virtual iObject
{
public:
    // The application's own kinds of context; every kind gets the same one here.
    enum eType : std::int32_t
    {
        eOpenCL = 0,
    };

    // Read and write; a size OpenCL refuses prints a line and gives a buffer
    // that holds nothing.
    virtual Kv::Ptr<iGPUBuffer> createBuffer(unsigned int size) const = 0;
    // The texture's buffer, made once and kept with the texture for as long as
    // it lives; null when this context cannot share textures.
    virtual Kv::Ptr<iGPUBuffer> createBuffer(const Kv::Ptr<iGPUImage>& image) const = 0;
    // Null when the program does not build; the build log is printed either way.
    virtual Kv::Ptr<iGPUProgram> compileProgram(std::vector<LightweightString<char>> lines) = 0;
    // Whether images' textures can be lent to kernels. The kind is not read.
    virtual bool canShareBuffers(eType type) const = 0;
};
