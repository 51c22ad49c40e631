#include "OpenCLBuffer.h"

#include <cstdio>
#include <new>

OpenCLBuffer::OpenCLBuffer(const iOpenCLContext& context, cl_mem buffer, unsigned int size)
    : context_(&context), buffer_(buffer), size_(size)
{
}

OpenCLBuffer::OpenCLBuffer(cl_mem texture) : buffer_(texture) {}

Kv::Ptr<iGPUBuffer> OpenCLBuffer::make(const iOpenCLContext& context, unsigned int size)
{
    cl_int error = CL_SUCCESS;
    const cl_mem buffer = clCreateBuffer(context.getImpl(), CL_MEM_READ_WRITE, size, nullptr, &error);
    if (error != CL_SUCCESS)
        std::printf("OpenCLBuffer::make() : clCreateBuffer() failed (%d)\n", error);
    return Kv::Ptr<iGPUBuffer>(new OpenCLBuffer(context, buffer, size));
}

OpenCLBuffer::~OpenCLBuffer()
{
    const cl_int error = clReleaseMemObject(buffer_);
    if (error != CL_SUCCESS)
        std::printf("OpenCLBuffer::~OpenCLBuffer() : clReleaseMemObject() failed (%d)\n", error);
}

iGPUBuffer::HostBytes OpenCLBuffer::copyToHost() const
{
    HostBytes bytes(static_cast<unsigned char*>(::operator new(size_)));
    // A texture's buffer has no queue: the loader refuses the null one.
    const cl_command_queue queue = context_ ? context_->getCommandQueue() : nullptr;
    const cl_int error = clEnqueueReadBuffer(queue, buffer_, CL_TRUE, 0, size_, bytes.get(), 0, nullptr, nullptr);
    if (error != CL_SUCCESS)
        std::printf("OpenCLBuffer::copyToHost() : clEnqueueReadBuffer() failed (%d)\n", error);
    return bytes;
}
