#include "OS.h"
#include "OpenCLBuffer.h"
#include "OpenCLContext.h"
#include "OpenCLProgramKernel.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace
{
    constexpr unsigned int kWidth = 1920;
    constexpr unsigned int kHeight = 1080;

    const char* const kInvert = "__kernel void invert(__global float4* pixels, short width, short height)\n"
                                "{\n"
                                "    const int x = get_global_id(0), y = get_global_id(1);\n"
                                "    if (x < width && y < height) {\n"
                                "        const float4 pixel = pixels[y * width + x];\n"
                                "        pixels[y * width + x] = (float4)(1.0f - pixel.xyz, pixel.w);\n"
                                "    }\n"
                                "}\n";

    // One context, the kernel built both ways, and an HD frame of RGBA floats
    // that both sides invert in place.
    struct Invert
    {
        Kv::Ptr<iOpenCLContext> context;
        Kv::Ptr<iGPUProgram> program;
        Kv::Ptr<iGPUProgramKernel> kernel;
        Kv::Ptr<iGPUBuffer> pixels;
        cl_program handProgram = nullptr;
        cl_kernel handKernel = nullptr;
    };

    const Invert& invert()
    {
        static const Invert made = [] {
            Invert invert;
            invert.context = OpenCLContext::make();
            if (!invert.context)
                return invert;
            invert.program = invert.context->compileProgram({kInvert});
            invert.kernel = invert.program ? invert.program->getKernel("invert") : nullptr;
            const unsigned int bytes = kWidth * kHeight * 4 * sizeof(float);
            invert.pixels = invert.context->createBuffer(bytes);
            std::vector<float> frame(kWidth * kHeight * 4);
            for (std::size_t index = 0; index < frame.size(); ++index)
                frame[index] = static_cast<float>(index % 251) / 250.0f;
            cl_mem memory = dynamic_cast<OpenCLBuffer&>(*invert.pixels).getImpl();
            clEnqueueWriteBuffer(invert.context->getCommandQueue(), memory, CL_TRUE, 0, bytes, frame.data(), 0,
                                 nullptr, nullptr);

            const cl_device_id device = invert.context->getDevice();
            const char* source = kInvert;
            invert.handProgram = clCreateProgramWithSource(invert.context->getImpl(), 1, &source, nullptr, nullptr);
            clBuildProgram(invert.handProgram, 1, &device, "-cl-fast-relaxed-math", nullptr, nullptr);
            invert.handKernel = clCreateKernel(invert.handProgram, "invert", nullptr);
            const short width = kWidth;
            const short height = kHeight;
            clSetKernelArg(invert.handKernel, 0, sizeof memory, &memory);
            clSetKernelArg(invert.handKernel, 1, sizeof width, &width);
            clSetKernelArg(invert.handKernel, 2, sizeof height, &height);
            if (invert.kernel) {
                invert.kernel->setArg(0, invert.pixels);
                invert.kernel->setArg(1, width);
                invert.kernel->setArg(2, height);
            }
            return invert;
        }();
        return made;
    }

    bool openCL(benchmark::State& state)
    {
        if (invert().kernel && invert().handKernel)
            return true;
        state.SkipWithError("no OpenCL context, or the kernel did not build");
        return false;
    }

    void BM_KernelInvertExecute2D(benchmark::State& state)
    {
        if (!openCL(state))
            return;
        iGPUProgramKernel& kernel = *invert().kernel;
        const cl_command_queue queue = invert().context->getCommandQueue();
        for (auto _ : state) {
            kernel.execute2D(kWidth, kHeight);
            clFinish(queue);
        }
    }
    BENCHMARK(BM_KernelInvertExecute2D)->Unit(benchmark::kMillisecond);

    // The NDRange that execute2D runs, so that what differs is the library's
    // own work. Square groups are the rule, and they cost on a CPU device:
    // pocl runs its own choice, rows of 120, about 2.5 times as fast as the
    // 64 by 64 groups of its maximum of 4096, as each row of a group is a
    // stream of its own through memory.
    void BM_KernelInvertByHand(benchmark::State& state)
    {
        if (!openCL(state))
            return;
        const cl_kernel kernel = invert().handKernel;
        const cl_command_queue queue = invert().context->getCommandQueue();
        const std::size_t side = OpenCLProgramKernel::groupSide(invert().kernel->getMaxWorkgroupSize());
        const std::size_t global[2] = {OpenCLProgramKernel::roundUp(kWidth, side),
                                       OpenCLProgramKernel::roundUp(kHeight, side)};
        const std::size_t local[2] = {side, side};
        for (auto _ : state) {
            clEnqueueNDRangeKernel(queue, kernel, 2, nullptr, global, local, 0, nullptr, nullptr);
            clFinish(queue);
        }
    }
    BENCHMARK(BM_KernelInvertByHand)->Unit(benchmark::kMillisecond);
}
