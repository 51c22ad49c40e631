#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iGPUProgram.h"
#include "iGPUProgramKernel.h"
#include "iOpenCLContext.h"

#include <CL/cl.h>

#include <vector>

// A built cl_program, owned, and a kernel object for each of its kernels. The
// kernels hold the context without counting it.
class OpenCLProgramBase : public iGPUProgram
{
public:
    // Builds the lines, one a line, with -cl-fast-relaxed-math, printing a
    // banner that says how the build went and the build log between lines of
    // dashes. Null when the source is refused or the build fails.
    static cl_program createImpl(cl_context context, cl_device_id device,
                                 const std::vector<LightweightString<char>>& lines);

    ~OpenCLProgramBase() override;

    OpenCLProgramBase(const OpenCLProgramBase&) = delete;
    OpenCLProgramBase& operator=(const OpenCLProgramBase&) = delete;

    unsigned short getNumKernels() const override;
    Kv::Ptr<iGPUProgramKernel> getKernel(unsigned short index) const override;
    Kv::Ptr<iGPUProgramKernel> getKernel(const LightweightString<char>& name) const override;

protected:
    OpenCLProgramBase(const iOpenCLContext& context, cl_program program);

    // The makers of the derived programs: null when the program does not build.
    template <class Program>
    static Kv::Ptr<iGPUProgram> makeOf(const iOpenCLContext& context, const std::vector<LightweightString<char>>& lines)
    {
        const cl_program program = createImpl(context.getImpl(), context.getDevice(), lines);
        return program ? Kv::Ptr<iGPUProgram>(new Program(context, program)) : nullptr;
    }

private:
    std::vector<Kv::Ptr<iGPUProgramKernel>> kernels_;
    cl_program program_;
};
