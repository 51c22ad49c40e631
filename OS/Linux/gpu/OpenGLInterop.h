#pragma once

#include "iOpenCLGraphicsInterop.h"

#include <CL/cl.h>

// Lends the share group's textures to an OpenCL context made with it
// (cl_khr_gl_sharing), through the context's queue.
class OpenGLInterop : public iOpenCLGraphicsInterop
{
public:
    // Set once, by the context, before any other call.
    void setCommandQueue(cl_command_queue queue) { queue_ = queue; }

    // The image's own buffer when it has one; otherwise one made now and given
    // to the image, so that it goes with the texture into the cache.
    Kv::Ptr<iGPUBuffer> createBuffer(const iOpenCLContext& context, const Kv::Ptr<iGPUImage>& image) const override;
    // Nothing for a count of 0; failures print a line.
    void prepareBuffers(const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers],
                        unsigned char count) const override;
    void unPrepareBuffers(const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers],
                          unsigned char count) const override;

private:
    cl_command_queue queue_ = nullptr;
};
