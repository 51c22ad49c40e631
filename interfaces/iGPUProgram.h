#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iGPUProgramKernel.h"
#include "iObject.h"

// A built program: its kernels, in the order the compiler gives them.
class KV_API iGPUProgram : public virtual iObject
{
public:
    virtual unsigned short getNumKernels() const = 0;
    // Null out of range.
    virtual Kv::Ptr<iGPUProgramKernel> getKernel(unsigned short index) const = 0;
    // The first of that name, or null.
    virtual Kv::Ptr<iGPUProgramKernel> getKernel(const LightweightString<char>& name) const = 0;
};
