#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iGPUBuffer.h"
#include "iObject.h"

#include <CL/cl.h>

// One kernel of a compiled program. Arguments are set by position and stay
// set between runs. Buffers over OpenGL textures set since the last run are
// lent to OpenCL for the next run alone, so set them again before each run.
//
// execute1D and execute2D round each size up to whole work groups, so a
// kernel must test its id against the true size; they return before the
// kernel ends. The kernel holds its context without counting it: the context
// must outlive it. Kernels carry no lock.
class KV_API iGPUProgramKernel : public virtual iObject
{
public:
    virtual LightweightString<char> getName() const = 0;
    // A failure prints a line and gives false. Only the float form names the
    // number of arguments when the index is beyond them.
    virtual bool setArg(unsigned char index, short value) = 0;
    virtual bool setArg(unsigned char index, float value) = 0;
    // At most 16 texture buffers are lent to a run; later ones are bound but
    // not lent.
    virtual bool setArg(unsigned char index, const Kv::Ptr<iGPUBuffer>& buffer) = 0;
    // Work groups of the maximum size.
    virtual bool execute1D(unsigned int size) = 0;
    // Square work groups whose side is the square root of the maximum.
    virtual bool execute2D(unsigned int width, unsigned int height) = 0;
    virtual cl_context getKernelCtx() const = 0;
    virtual cl_device_id getKernelDevice() const = 0;
    virtual cl_command_queue getKernelCommandQueue() const = 0;
    // The value's bytes as they lie, such as a cl_mem of the caller's own.
    virtual bool setArgs(unsigned char index, void* value, int size) = 0;
    // Sizes exactly as given, local ones left to OpenCL when both are 0;
    // lends the texture buffers only when prepare is not 0. Waits for the end.
    virtual bool execute_kernel(unsigned char dimensions, unsigned char prepare, unsigned int globalX,
                                unsigned int globalY, unsigned int localX, unsigned int localY) = 0;
    // Between a cl_mem and host memory, waiting for the end.
    virtual bool kernel_gpu2host(void* buffer, void* host, unsigned int size) = 0;
    virtual bool kernel_host2gpu(void* buffer, void* host, unsigned int size) = 0;
    virtual unsigned short getMaxWorkgroupSize() = 0;
};
