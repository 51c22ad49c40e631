#include "OpenCLProgramBase.h"

#include "OpenCLProgramKernel.h"

#include <cstdio>
#include <string>

namespace
{
    const char* const kDashes = "-------------------------------------------------------------------------------------";
}

cl_program OpenCLProgramBase::createImpl(cl_context context, cl_device_id device,
                                         const std::vector<LightweightString<char>>& lines)
{
    std::string text;
    for (const LightweightString<char>& line : lines)
        text.append(line.c_str(), line.size()).push_back('\n');
    const char* source = text.c_str();
    const cl_program program = clCreateProgramWithSource(context, 1, &source, nullptr, nullptr);
    if (program == nullptr)
        return nullptr;

    std::puts(kDashes);
    const cl_int built = clBuildProgram(program, 1, &device, "-cl-fast-relaxed-math", nullptr, nullptr);
    std::puts(built == CL_SUCCESS
                  ? "---------------- OpenCLProgramBase::make() : clBuildProgram() success ---------------"
                  : "---------------- OpenCLProgramBase::make() : clBuildProgram() failed ----------------");
    std::size_t size = 0;
    clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &size);
    if (size != 0) {
        std::string log(size, '\0');
        if (clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, size, log.data(), nullptr) == CL_SUCCESS)
            std::printf("%s", log.c_str());
    }
    std::puts(kDashes);

    if (built == CL_SUCCESS)
        return program;
    clReleaseProgram(program);
    return nullptr;
}

OpenCLProgramBase::OpenCLProgramBase(const iOpenCLContext& context, cl_program program) : program_(program)
{
    cl_uint count = 0;
    if (clCreateKernelsInProgram(program, 0, nullptr, &count) != CL_SUCCESS || count == 0)
        return;
    std::vector<cl_kernel> kernels(count);
    if (clCreateKernelsInProgram(program, count, kernels.data(), nullptr) != CL_SUCCESS)
        return;
    for (const cl_kernel kernel : kernels)
        kernels_.emplace_back(new OpenCLProgramKernel(context, kernel));
}

OpenCLProgramBase::~OpenCLProgramBase()
{
    clReleaseProgram(program_);
}

unsigned short OpenCLProgramBase::getNumKernels() const
{
    return static_cast<unsigned short>(kernels_.size());
}

Kv::Ptr<iGPUProgramKernel> OpenCLProgramBase::getKernel(unsigned short index) const
{
    return index < kernels_.size() ? kernels_[index] : nullptr;
}

Kv::Ptr<iGPUProgramKernel> OpenCLProgramBase::getKernel(const LightweightString<char>& name) const
{
    for (const Kv::Ptr<iGPUProgramKernel>& kernel : kernels_) {
        if (kernel->getName() == name)
            return kernel;
    }
    return nullptr;
}
