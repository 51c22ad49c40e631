#pragma once

#include "LightweightString.h"
#include "OpenCLProgramBase.h"
#include "Ptr.h"
#include "iOpenCLContext.h"

#include <CL/cl.h>

#include <vector>

// The program that compute contexts build: its kernels may take the buffers of the
// renderer's textures.
class GLCLProgram : public OpenCLProgramBase
{
public:
    // Null when the program does not build.
    static Kv::Ptr<iGPUProgram> make(const iOpenCLContext& context, const std::vector<LightweightString<char>>& lines);

    GLCLProgram(const iOpenCLContext& context, cl_program program);
};
