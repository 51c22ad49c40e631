#pragma once

#include "Ptr.h"
#include "iGPUBuffer.h"
#include "iOpenCLContext.h"

#include <CL/cl.h>

#include <cstdint>

// One cl_mem, released with the object. A buffer made by a context reads back
// through that context's queue, so the context must outlive it. A texture's
// buffer belongs to no context: it rides in the texture cache with its
// texture, beyond the context that made it, and has no bytes to read back.
class OpenCLBuffer : public iGPUBuffer
{
public:
    // Wraps whatever clCreateBuffer gives, even on failure.
    static Kv::Ptr<iGPUBuffer> make(const iOpenCLContext& context, unsigned int size);
    // The buffer of an OpenGL texture.
    explicit OpenCLBuffer(cl_mem texture);
    ~OpenCLBuffer() override;

    OpenCLBuffer(const OpenCLBuffer&) = delete;
    OpenCLBuffer& operator=(const OpenCLBuffer&) = delete;

    void map() override {}
    void unmap() override {}
    HostBytes copyToHost() const override;

    cl_mem getImpl() const { return buffer_; }
    // Texture buffers are lent to OpenCL round each kernel run.
    bool isTexture() const { return context_ == nullptr; }

private:
    OpenCLBuffer(const iOpenCLContext& context, cl_mem buffer, unsigned int size);

    const iOpenCLContext* context_ = nullptr;
    cl_mem buffer_ = nullptr;
    std::uint32_t size_ = 0;
};
