#include "GLCLProgram.h"

Kv::Ptr<iGPUProgram> GLCLProgram::make(const iOpenCLContext& context,
                                       const std::vector<LightweightString<char>>& lines)
{
    return makeOf<GLCLProgram>(context, lines);
}

GLCLProgram::GLCLProgram(const iOpenCLContext& context, cl_program program) : OpenCLProgramBase(context, program) {}
