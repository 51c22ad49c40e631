#pragma once

#include "LightweightString.h"
#include "OpenCLContextBase.h"
#include "Ptr.h"
#include "iGPUProgram.h"

#include <CL/cl.h>

#include <vector>

// The compute context that the media services hand out. It is made on the
// first GPU device that takes one: with the OpenGL share group where the
// device offers cl_khr_gl_sharing, without it on Intel GPUs, which are refused
// unless the setting allowIntelOpenCL is not "0". Where no GPU gives one, a
// CPU device does, sharing nothing, so that compute runs on any machine.
class OpenCLContext : public OpenCLContextBase
{
public:
    // Null, with a log line, when no platform or device gives a context.
    // Runs under the GPU lock.
    static Kv::Ptr<iOpenCLContext> make();

    OpenCLContext(cl_context context, cl_device_id device);

    // The pixel macros come first, then the lines.
    Kv::Ptr<iGPUProgram> compileProgram(std::vector<LightweightString<char>> lines) override;

private:
    static Kv::Ptr<iOpenCLContext> makeOn(cl_platform_id platform, cl_device_id device, cl_device_type type);
};
