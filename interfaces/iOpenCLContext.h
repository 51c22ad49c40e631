#pragma once

#include "iGPUComputeContext.h"

#include <CL/cl.h>

// The OpenCL context of a compute context, for callers that use OpenCL
// directly beside it. Its queue is in order.
class KV_API iOpenCLContext : public iGPUComputeContext
{
public:
    // The most texture buffers one kernel run can use.
    static constexpr unsigned char kMaxSharedBuffers = 16;

    virtual cl_context getImpl() const = 0;
    virtual cl_device_id getDevice() const = 0;
    virtual cl_command_queue getCommandQueue() const = 0;
    // Queue the lending of the first count textures' buffers to OpenCL, and
    // their return to OpenGL. OpenGL must not use those textures in between.
    virtual void prepareBuffers(const cl_mem (&buffers)[kMaxSharedBuffers], unsigned char count) const = 0;
    virtual void unPrepareBuffers(const cl_mem (&buffers)[kMaxSharedBuffers], unsigned char count) const = 0;
};
