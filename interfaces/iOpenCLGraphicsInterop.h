#pragma once

#include "Ptr.h"
#include "iGPUBuffer.h"
#include "iGPUImage.h"
#include "iObject.h"
#include "iOpenCLContext.h"

#include <CL/cl.h>

// How an OpenCL context reaches the renderer's textures.
class KV_API iOpenCLGraphicsInterop : public virtual iObject
{
public:
    // The image's texture as a buffer of the context, kept with the texture;
    // null when that cannot be.
    virtual Kv::Ptr<iGPUBuffer> createBuffer(const iOpenCLContext& context, const Kv::Ptr<iGPUImage>& image) const = 0;
    virtual void prepareBuffers(const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers],
                                unsigned char count) const = 0;
    virtual void unPrepareBuffers(const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers],
                                  unsigned char count) const = 0;
};
