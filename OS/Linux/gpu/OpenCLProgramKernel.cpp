#include "OpenCLProgramKernel.h"

#include "OpenCLBuffer.h"

#include <cmath>
#include <cstdio>

OpenCLProgramKernel::OpenCLProgramKernel(const iOpenCLContext& context, cl_kernel kernel)
    : context_(&context), kernel_(kernel)
{
    char name[256] = {};
    if (clGetKernelInfo(kernel, CL_KERNEL_FUNCTION_NAME, sizeof name - 1, name, nullptr) == CL_SUCCESS)
        name_ = name;
    // One place for both answers, so a kernel's own maximum overrides the device's.
    std::uint64_t maximum = 0;
    if (clGetDeviceInfo(context.getDevice(), CL_DEVICE_MAX_WORK_GROUP_SIZE, sizeof maximum, &maximum, nullptr)
        == CL_SUCCESS)
        maxWorkgroup_ = static_cast<std::uint16_t>(maximum);
    if (clGetKernelWorkGroupInfo(kernel, context.getDevice(), CL_KERNEL_WORK_GROUP_SIZE, sizeof maximum, &maximum,
                                 nullptr)
        == CL_SUCCESS)
        maxWorkgroup_ = static_cast<std::uint16_t>(maximum);
}

OpenCLProgramKernel::~OpenCLProgramKernel()
{
    clReleaseKernel(kernel_);
}

std::uint16_t OpenCLProgramKernel::groupSide(std::uint16_t maxWorkgroup)
{
    return static_cast<std::uint16_t>(std::sqrt(static_cast<double>(maxWorkgroup)));
}

std::size_t OpenCLProgramKernel::roundUp(unsigned int size, std::size_t group)
{
    // A group of 0 is OpenCL's to refuse, not a division here.
    return group == 0 ? size : (size + group - 1) / group * group;
}

bool OpenCLProgramKernel::reportSetArg(cl_int error) const
{
    if (error != CL_SUCCESS)
        std::printf("OpenCLProgramKernel::setArg(%s) : clSetKernelArg() failed (%d)\n", name_.c_str(), error);
    return error == CL_SUCCESS;
}

bool OpenCLProgramKernel::setArg(unsigned char index, short value)
{
    return setArgs(index, &value, sizeof value);
}

bool OpenCLProgramKernel::setArg(unsigned char index, float value)
{
    const cl_int error = clSetKernelArg(kernel_, index, sizeof value, &value);
    if (error != CL_INVALID_ARG_INDEX)
        return reportSetArg(error);
    cl_uint count = 0;
    clGetKernelInfo(kernel_, CL_KERNEL_NUM_ARGS, sizeof count, &count, nullptr);
    std::printf("OpenCLProgramKernel::setArg(%s) : invalid argumment(%d supplied, %d max)\n", name_.c_str(), index,
                count);
    return false;
}

bool OpenCLProgramKernel::setArg(unsigned char index, const Kv::Ptr<iGPUBuffer>& buffer)
{
    const Kv::Ptr<OpenCLBuffer> openCLBuffer = Kv::dynamicCast<OpenCLBuffer>(buffer);
    if (!openCLBuffer)
        return false;
    const cl_mem memory = openCLBuffer->getImpl();
    const cl_int error = clSetKernelArg(kernel_, index, sizeof memory, &memory);
    if (error != CL_SUCCESS) {
        std::printf("OpenCLProgramKernel::setArg() : clSetKernelArg(%s) failed (%d)\n", name_.c_str(), error);
        return false;
    }
    // Only textures are lent to OpenCL, which refuses to lend anything else.
    // Past the list's end a texture is bound but not lent.
    if (openCLBuffer->isTexture() && bufferCount_ < iOpenCLContext::kMaxSharedBuffers)
        buffers_[bufferCount_++] = memory;
    return true;
}

bool OpenCLProgramKernel::setArgs(unsigned char index, void* value, int size)
{
    if (value == nullptr)
        return false;
    return reportSetArg(clSetKernelArg(kernel_, index, static_cast<std::size_t>(size), value));
}

cl_int OpenCLProgramKernel::enqueue(cl_uint dimensions, const std::size_t* global, const std::size_t* local,
                                    bool prepare)
{
    if (prepare)
        context_->prepareBuffers(buffers_, bufferCount_);
    const cl_int error = clEnqueueNDRangeKernel(context_->getCommandQueue(), kernel_, dimensions, nullptr, global,
                                                local, 0, nullptr, nullptr);
    // Queued behind the kernel, whatever became of it.
    if (prepare)
        context_->unPrepareBuffers(buffers_, bufferCount_);
    bufferCount_ = 0;
    return error;
}

bool OpenCLProgramKernel::execute1D(unsigned int size)
{
    const std::size_t local = maxWorkgroup_;
    const std::size_t global = roundUp(size, local);
    const cl_int error = enqueue(1, &global, &local, true);
    if (error != CL_SUCCESS) {
        std::printf("OpenCLProgramKernel::execute1D() : clEnqueueNDRangeKernel() failed (%d)\n", error);
        return false;
    }
    clFlush(context_->getCommandQueue());
    return true;
}

bool OpenCLProgramKernel::execute2D(unsigned int width, unsigned int height)
{
    const std::size_t side = groupSide(maxWorkgroup_);
    const std::size_t local[2] = {side, side};
    const std::size_t global[2] = {roundUp(width, side), roundUp(height, side)};
    const cl_int error = enqueue(2, global, local, true);
    if (error != CL_SUCCESS) {
        std::printf("OpenCLProgramKernel::execute2D(%s) : clEnqueueNDRangeKernel() failed (%d)\n", name_.c_str(),
                    error);
        return false;
    }
    clFlush(context_->getCommandQueue());
    return true;
}

bool OpenCLProgramKernel::execute_kernel(unsigned char dimensions, unsigned char prepare, unsigned int globalX,
                                         unsigned int globalY, unsigned int localX, unsigned int localY)
{
    // Three sizes each, so that no count of dimensions reads beyond them.
    const std::size_t global[3] = {globalX, globalY, 1};
    const std::size_t local[3] = {localX, localY, 1};
    const bool chooseLocal = localX == 0 && localY == 0;
    cl_int error = enqueue(dimensions, global, chooseLocal ? nullptr : local, prepare != 0);
    // The words of the two messages do not match their causes; they stay as
    // they have always read.
    if (error != CL_SUCCESS) {
        std::printf("OpenCLProgramKernel::execute_kernel(%s) : clFinish() failed (%d)\n", name_.c_str(), error);
    } else {
        error = clFinish(context_->getCommandQueue());
    }
    if (error != CL_SUCCESS) {
        std::printf("OpenCLProgramKernel::execute_kernel(%s) : clEnqueueNDRangeKernel() failed (%d)\n",
                    name_.c_str(), error);
        return false;
    }
    clFlush(context_->getCommandQueue());
    return true;
}

bool OpenCLProgramKernel::finishTransfer(cl_int error, const char* failure) const
{
    if (error == CL_SUCCESS)
        error = clFinish(context_->getCommandQueue());
    if (error != CL_SUCCESS) {
        std::printf(failure, error);
        return false;
    }
    clFlush(context_->getCommandQueue());
    return true;
}

bool OpenCLProgramKernel::kernel_gpu2host(void* buffer, void* host, unsigned int size)
{
    return finishTransfer(clEnqueueReadBuffer(context_->getCommandQueue(), static_cast<cl_mem>(buffer), CL_FALSE, 0,
                                              size, host, 0, nullptr, nullptr),
                          "OpenCLProgramKernel::kernel_gpu2host() : clEnqueueNDRangeKernel() failed (%d)\n");
}

bool OpenCLProgramKernel::kernel_host2gpu(void* buffer, void* host, unsigned int size)
{
    return finishTransfer(clEnqueueWriteBuffer(context_->getCommandQueue(), static_cast<cl_mem>(buffer), CL_FALSE, 0,
                                               size, host, 0, nullptr, nullptr),
                          "OpenCLProgramKernel::kernel_host2gpu() : clEnqueueNDRangeKernel() failed (%d)\n");
}
