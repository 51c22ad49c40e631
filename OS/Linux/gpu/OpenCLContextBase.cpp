#include "OpenCLContextBase.h"

#include "OS.h"
#include "OpenCLBuffer.h"

OpenCLContextBase::OpenCLContextBase(cl_context context, cl_device_id device, const Kv::Ptr<OpenGLInterop>& interop)
    : context_(context), device_(device), interop_(interop)
{
    char name[256] = {};
    clGetDeviceInfo(device, CL_DEVICE_NAME, sizeof name - 1, name, nullptr);
    OS()->utils()->vlog("%s\n", name);

    queue_ = clCreateCommandQueue(context, device, CL_QUEUE_PROFILING_ENABLE, nullptr);
    interop->setCommandQueue(queue_);

    const Kv::Ptr<iGPUImage> probe = OS()->mediaServices()->createGPUSurface({1, 1}, iGPUImage::eBGRA8);
    if (probe)
        shareBuffers_ = static_cast<bool>(createBuffer(probe));
}

OpenCLContextBase::~OpenCLContextBase()
{
    interop_ = nullptr;
    if (queue_ != nullptr)
        clReleaseCommandQueue(queue_);
    clReleaseContext(context_);
}

Kv::Ptr<iGPUBuffer> OpenCLContextBase::createBuffer(unsigned int size) const
{
    return OpenCLBuffer::make(*this, size);
}

Kv::Ptr<iGPUBuffer> OpenCLContextBase::createBuffer(const Kv::Ptr<iGPUImage>& image) const
{
    return interop_->createBuffer(*this, image);
}

void OpenCLContextBase::prepareBuffers(const cl_mem (&buffers)[kMaxSharedBuffers], unsigned char count) const
{
    interop_->prepareBuffers(buffers, count);
}

void OpenCLContextBase::unPrepareBuffers(const cl_mem (&buffers)[kMaxSharedBuffers], unsigned char count) const
{
    interop_->unPrepareBuffers(buffers, count);
}
