#pragma once

#include "OpenGLInterop.h"
#include "Ptr.h"
#include "iOpenCLContext.h"
#include "iOpenCLGraphicsInterop.h"

#include <CL/cl.h>

// What every OpenCL compute context shares: the context, its device and its
// in-order queue, which is profiled, and the way to the renderer's textures.
// It owns the context and queue. Whether textures can be shared is probed
// once, on a 1 by 1 image, when the context is made.
class OpenCLContextBase : public iOpenCLContext
{
public:
    // Logs the device's name and makes the queue.
    OpenCLContextBase(cl_context context, cl_device_id device, const Kv::Ptr<OpenGLInterop>& interop);
    ~OpenCLContextBase() override;

    OpenCLContextBase(const OpenCLContextBase&) = delete;
    OpenCLContextBase& operator=(const OpenCLContextBase&) = delete;

    Kv::Ptr<iGPUBuffer> createBuffer(unsigned int size) const override;
    Kv::Ptr<iGPUBuffer> createBuffer(const Kv::Ptr<iGPUImage>& image) const override;
    bool canShareBuffers(eType) const override { return shareBuffers_; }
    cl_context getImpl() const override { return context_; }
    cl_device_id getDevice() const override { return device_; }
    cl_command_queue getCommandQueue() const override { return queue_; }
    void prepareBuffers(const cl_mem (&buffers)[kMaxSharedBuffers], unsigned char count) const override;
    void unPrepareBuffers(const cl_mem (&buffers)[kMaxSharedBuffers], unsigned char count) const override;

    // Whether the context was made with the OpenGL share group.
    bool isOnShareGroup() const { return onShareGroup_; }

private:
    cl_context context_;
    cl_command_queue queue_ = nullptr;
    cl_device_id device_;
    Kv::Ptr<iOpenCLGraphicsInterop> interop_;
    bool shareBuffers_ = false;

protected:
    // Written by the maker, once the context is made.
    bool onShareGroup_ = false;
};
