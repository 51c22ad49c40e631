#include "OpenCLProgram.h"

Kv::Ptr<iGPUProgram> OpenCLProgram::make(const iOpenCLContext& context,
                                         const std::vector<LightweightString<char>>& lines)
{
    return makeOf<OpenCLProgram>(context, lines);
}

OpenCLProgram::OpenCLProgram(const iOpenCLContext& context, cl_program program) : OpenCLProgramBase(context, program) {}
