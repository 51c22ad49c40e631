#pragma once

#include "LightweightString.h"
#include "OpenCLProgramBase.h"
#include "Ptr.h"
#include "iOpenCLContext.h"

#include <CL/cl.h>

#include <vector>

// A program for compute alone.
class OpenCLProgram : public OpenCLProgramBase
{
public:
    // Null when the program does not build.
    static Kv::Ptr<iGPUProgram> make(const iOpenCLContext& context, const std::vector<LightweightString<char>>& lines);

    OpenCLProgram(const iOpenCLContext& context, cl_program program);
};
