#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iGPUBuffer.h"
#include "iGPUProgramKernel.h"
#include "iOpenCLContext.h"

#include <CL/cl.h>

#include <cstddef>
#include <cstdint>

// One cl_kernel, owned, with the texture buffers set on it since its last
// run. The maximum work group is the kernel's own where OpenCL tells it, else
// the device's, else 256, kept in 16 bits.
class OpenCLProgramKernel : public iGPUProgramKernel
{
public:
    OpenCLProgramKernel(const iOpenCLContext& context, cl_kernel kernel);
    ~OpenCLProgramKernel() override;

    OpenCLProgramKernel(const OpenCLProgramKernel&) = delete;
    OpenCLProgramKernel& operator=(const OpenCLProgramKernel&) = delete;

    LightweightString<char> getName() const override { return name_; }
    bool setArg(unsigned char index, short value) override;
    bool setArg(unsigned char index, float value) override;
    bool setArg(unsigned char index, const Kv::Ptr<iGPUBuffer>& buffer) override;
    bool execute1D(unsigned int size) override;
    bool execute2D(unsigned int width, unsigned int height) override;
    cl_context getKernelCtx() const override { return context_->getImpl(); }
    cl_device_id getKernelDevice() const override { return context_->getDevice(); }
    cl_command_queue getKernelCommandQueue() const override { return context_->getCommandQueue(); }
    bool setArgs(unsigned char index, void* value, int size) override;
    bool execute_kernel(unsigned char dimensions, unsigned char prepare, unsigned int globalX, unsigned int globalY,
                        unsigned int localX, unsigned int localY) override;
    bool kernel_gpu2host(void* buffer, void* host, unsigned int size) override;
    bool kernel_host2gpu(void* buffer, void* host, unsigned int size) override;
    unsigned short getMaxWorkgroupSize() override { return maxWorkgroup_; }

    // The side of a square work group: the square root of the maximum, truncated.
    static std::uint16_t groupSide(std::uint16_t maxWorkgroup);
    // The smallest multiple of the group not below the size.
    static std::size_t roundUp(unsigned int size, std::size_t group);

private:
    // Prints the failure of a clSetKernelArg.
    bool reportSetArg(cl_int error) const;
    // Lends the texture buffers when asked, queues the kernel and queues their
    // return; the list is empty afterwards, whatever came of it.
    cl_int enqueue(cl_uint dimensions, const std::size_t* global, const std::size_t* local, bool prepare);
    // Waits for the queue after a transfer, printing the failure.
    bool finishTransfer(cl_int error, const char* failure) const;

    const iOpenCLContext* context_;
    cl_kernel kernel_;
    LightweightString<char> name_;
    std::uint16_t maxWorkgroup_ = 256;
    cl_mem buffers_[iOpenCLContext::kMaxSharedBuffers] = {};
    unsigned char bufferCount_ = 0;
};
