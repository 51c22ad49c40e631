#include "EGLPlatform.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenCLBuffer.h"
#include "OpenCLContext.h"
#include "OpenCLProgramKernel.h"
#include "OpenCLRequired.h"
#include "OpenGLRequired.h"
#include "OpenGLTextureCache.h"
#include "OpenGLUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
    const std::string kDashes = std::string(85, '-') + "\n";

    // Every kernel of these tests, in one program, so that pocl builds once.
    const std::vector<LightweightString<char>> kSource = {
        "__kernel void scale(__global float* values, float factor, short count)",
        "{",
        "    const int i = get_global_id(0);",
        "    if (i < count)",
        "        values[i] *= factor;",
        "}",
        "__kernel void mark(__global int* cells, __global int* sizes, short width, short height)",
        "{",
        "    const int x = get_global_id(0), y = get_global_id(1);",
        "    if (x == 0 && y == 0) {",
        "        sizes[0] = get_global_size(0); sizes[1] = get_global_size(1);",
        "        sizes[2] = get_local_size(0); sizes[3] = get_local_size(1);",
        "    }",
        "    if (x < width && y < height)",
        "        cells[y * width + x] = 1 + x + 1000 * y;",
        "}",
        "__kernel void pixel(__global float4* out)",
        "{",
        "    const float4 made = MAKEPIXEL(1.0f, 2.0f, 3.0f, 4.0f);",
        "    out[0] = made;",
        "    out[1] = (float4)(RED(made), GREEN(made), BLUE(made), ALPHA(made));",
        "}",
    };

    std::string printed(const std::function<void()>& action)
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    cl_mem memoryOf(const Kv::Ptr<iGPUBuffer>& buffer)
    {
        return dynamic_cast<OpenCLBuffer&>(*buffer).getImpl();
    }

    template <class T>
    std::vector<T> contentsOf(const Kv::Ptr<iGPUBuffer>& buffer, std::size_t count)
    {
        const iGPUBuffer::HostBytes bytes = buffer->copyToHost();
        std::vector<T> values(count);
        std::memcpy(values.data(), bytes.get(), count * sizeof(T));
        return values;
    }

    // One context and one build for the suite.
    class OpenCLTest : public testing::Test
    {
    protected:
        static void SetUpTestSuite()
        {
            context_ = OpenCLContext::make();
            if (context_)
                buildOutput_ = printed([] { program_ = context_->compileProgram(kSource); });
        }

        static void TearDownTestSuite()
        {
            OpenGLTextureCache::instance().clear();
            program_ = nullptr;
            context_ = nullptr;
        }

        void SetUp() override
        {
            REQUIRE_OPENCL(context_);
            ASSERT_TRUE(program_) << buildOutput_;
        }

        static Kv::Ptr<iGPUProgramKernel> kernel(const char* name) { return program_->getKernel(name); }

        // A buffer of the suite's context holding the values.
        template <class T>
        static Kv::Ptr<iGPUBuffer> bufferOf(std::vector<T> values)
        {
            const auto size = static_cast<unsigned int>(values.size() * sizeof(T));
            Kv::Ptr<iGPUBuffer> buffer = context_->createBuffer(size);
            EXPECT_TRUE(kernel("scale")->kernel_host2gpu(memoryOf(buffer), values.data(), size));
            return buffer;
        }

        static Kv::Ptr<iOpenCLContext> context_;
        static Kv::Ptr<iGPUProgram> program_;
        static std::string buildOutput_;
    };

    Kv::Ptr<iOpenCLContext> OpenCLTest::context_;
    Kv::Ptr<iGPUProgram> OpenCLTest::program_;
    std::string OpenCLTest::buildOutput_;
}

TEST_F(OpenCLTest, BuildsBetweenDashesAndFindsEachKernelByIndexAndName)
{
    EXPECT_EQ(buildOutput_.rfind(kDashes
                                     + "---------------- OpenCLProgramBase::make() : clBuildProgram() success "
                                       "---------------\n",
                                 0),
              0u)
        << buildOutput_;
    EXPECT_TRUE(buildOutput_.ends_with(kDashes)) << buildOutput_;

    ASSERT_EQ(program_->getNumKernels(), 3);
    std::vector<std::string> names;
    for (unsigned short index = 0; index < 3; ++index) {
        const Kv::Ptr<iGPUProgramKernel> found = program_->getKernel(index);
        names.emplace_back(found->getName().c_str());
        EXPECT_TRUE(program_->getKernel(found->getName()) == found) << names.back();
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"mark", "pixel", "scale"}));
    EXPECT_FALSE(program_->getKernel(3));
    EXPECT_FALSE(program_->getKernel("missing"));
}

TEST(OpenCLWorkSizes, SquareGroupsOfTheMaximumAndWholeGroupsOverTheSize)
{
    struct Side
    {
        std::uint16_t maxWorkgroup;
        std::uint16_t side;
    };
    for (const Side& rule : {Side{256, 16}, Side{200, 14}, Side{4096, 64}, Side{1, 1}})
        EXPECT_EQ(OpenCLProgramKernel::groupSide(rule.maxWorkgroup), rule.side) << rule.maxWorkgroup;

    struct Rounding
    {
        unsigned int size;
        std::size_t group;
        std::size_t global;
    };
    for (const Rounding& rule : {Rounding{1000, 16, 1008}, Rounding{1000, 14, 1008}, Rounding{1000, 256, 1024},
                                 Rounding{1008, 16, 1008}, Rounding{0, 16, 0}, Rounding{7, 0, 7}})
        EXPECT_EQ(OpenCLProgramKernel::roundUp(rule.size, rule.group), rule.global) << rule.size << " " << rule.group;
}

TEST_F(OpenCLTest, RunsOverWholeWorkGroupsWhileTheKernelKeepsToTheTrueSize)
{
    const Kv::Ptr<iGPUProgramKernel> mark = kernel("mark");
    const int maximum = mark->getMaxWorkgroupSize();
    const int side = OpenCLProgramKernel::groupSide(mark->getMaxWorkgroupSize());
    auto whole = [](int size, int group) { return static_cast<int>(OpenCLProgramKernel::roundUp(size, group)); };
    constexpr int kChosen = -1; // OpenCL's choice

    struct Run
    {
        const char* name;
        int width;
        int height;
        std::function<bool(iGPUProgramKernel&)> execute;
        std::array<int, 4> sizes; // global x, y, then local x, y
    };
    const Run runs[] = {
        {"1D", 1000, 1, [](iGPUProgramKernel& k) { return k.execute1D(1000); },
         {whole(1000, maximum), 1, maximum, 1}},
        {"2D", 1000, 3, [](iGPUProgramKernel& k) { return k.execute2D(1000, 3); },
         {whole(1000, side), whole(3, side), side, side}},
        {"exact sizes", 1000, 3, [](iGPUProgramKernel& k) { return k.execute_kernel(2, 0, 1000, 3, 0, 0); },
         {1000, 3, kChosen, kChosen}},
        {"exact groups", 1008, 16, [](iGPUProgramKernel& k) { return k.execute_kernel(2, 1, 1008, 16, 16, 16); },
         {1008, 16, 16, 16}},
    };
    for (const Run& run : runs) {
        SCOPED_TRACE(run.name);
        const Kv::Ptr<iGPUBuffer> cells = bufferOf(std::vector<int>(run.width * run.height, 0));
        const Kv::Ptr<iGPUBuffer> sizes = bufferOf(std::vector<int>(4, 0));
        ASSERT_TRUE(mark->setArg(0, cells));
        ASSERT_TRUE(mark->setArg(1, sizes));
        ASSERT_TRUE(mark->setArg(2, static_cast<short>(run.width)));
        ASSERT_TRUE(mark->setArg(3, static_cast<short>(run.height)));
        EXPECT_EQ(printed([&] { EXPECT_TRUE(run.execute(*mark)); }), "");

        const std::vector<int> seen = contentsOf<int>(sizes, 4);
        for (std::size_t i = 0; i < 4; ++i) {
            if (run.sizes[i] != kChosen) {
                EXPECT_EQ(seen[i], run.sizes[i]) << "size " << i;
            }
        }
        const std::vector<int> marked = contentsOf<int>(cells, run.width * run.height);
        for (int y = 0; y < run.height; ++y) {
            for (int x = 0; x < run.width; ++x)
                ASSERT_EQ(marked[y * run.width + x], 1 + x + 1000 * y) << x << ", " << y;
        }
    }
}

TEST_F(OpenCLTest, HostValuesGoInAndComeOutThroughBothReads)
{
    const Kv::Ptr<iGPUProgramKernel> scale = kernel("scale");
    const Kv::Ptr<iGPUBuffer> values = bufferOf(std::vector<float>{1, 2, 3, 4, 5, 6});
    ASSERT_TRUE(scale->setArg(0, values));
    ASSERT_TRUE(scale->setArg(1, 2.5f));
    ASSERT_TRUE(scale->setArg(2, static_cast<short>(5)));
    ASSERT_TRUE(scale->execute1D(5));

    const std::vector<float> expected{2.5f, 5, 7.5f, 10, 12.5f, 6};
    EXPECT_EQ(contentsOf<float>(values, 6), expected);
    std::vector<float> read(6);
    ASSERT_TRUE(scale->kernel_gpu2host(memoryOf(values), read.data(), 24));
    EXPECT_EQ(read, expected);
}

TEST_F(OpenCLTest, MakePixelSwapsRedAndBlueWhileRedReadsTheFirstChannel)
{
    const Kv::Ptr<iGPUProgramKernel> pixel = kernel("pixel");
    const Kv::Ptr<iGPUBuffer> out = context_->createBuffer(2 * 4 * sizeof(float));
    ASSERT_TRUE(pixel->setArg(0, out));
    ASSERT_TRUE(pixel->execute_kernel(1, 0, 1, 1, 0, 0));
    // MAKEPIXEL(1, 2, 3, 4), then RED, GREEN, BLUE and ALPHA of it.
    EXPECT_EQ(contentsOf<float>(out, 8), (std::vector<float>{3, 2, 1, 4, 3, 2, 1, 4}));
}

TEST_F(OpenCLTest, AFailedBuildPrintsItsBannerAndLogAndGivesNull)
{
    Kv::Ptr<iGPUProgram> broken;
    const std::string output = printed(
        [&] { broken = context_->compileProgram({"__kernel void broken(__global float* v) { v[0] = nowhere; }"}); });
    EXPECT_FALSE(broken);
    EXPECT_EQ(output.rfind(kDashes
                               + "---------------- OpenCLProgramBase::make() : clBuildProgram() failed "
                                 "----------------\n",
                           0),
              0u)
        << output;
    EXPECT_NE(output.find("nowhere"), std::string::npos) << output;
    EXPECT_NE(output.find(":6:"), std::string::npos) << "the line after the five pixel macros\n" << output;
    EXPECT_TRUE(output.ends_with(kDashes)) << output;
}

TEST_F(OpenCLTest, BadCallsPrintTheirFailureAndNeverCrash)
{
    const Kv::Ptr<iGPUProgramKernel> scale = kernel("scale");
    const Kv::Ptr<iGPUBuffer> buffer = context_->createBuffer(16);
    ASSERT_TRUE(scale->setArg(0, buffer));
    float host[4] = {};
    struct BadCall
    {
        const char* name;
        std::function<bool()> call;
        bool result;
        const char* output;
    };
    const BadCall calls[] = {
        {"a float beyond the arguments", [&] { return scale->setArg(7, 1.0f); }, false,
         "OpenCLProgramKernel::setArg(scale) : invalid argumment(7 supplied, 3 max)\n"},
        {"a short beyond the arguments", [&] { return scale->setArg(7, static_cast<short>(1)); }, false,
         "OpenCLProgramKernel::setArg(scale) : clSetKernelArg() failed (-49)\n"},
        {"a float for a short", [&] { return scale->setArg(2, 1.0f); }, false,
         "OpenCLProgramKernel::setArg(scale) : clSetKernelArg() failed (-51)\n"},
        {"a buffer beyond the arguments", [&] { return scale->setArg(7, buffer); }, false,
         "OpenCLProgramKernel::setArg() : clSetKernelArg(scale) failed (-49)\n"},
        {"no value", [&] { return scale->setArgs(2, nullptr, 2); }, false, ""},
        {"no buffer", [&] { return scale->setArg(0, Kv::Ptr<iGPUBuffer>()); }, false, ""},
        {"groups that do not divide", [&] { return scale->execute_kernel(1, 0, 10, 1, 3, 1); }, false,
         "OpenCLProgramKernel::execute_kernel(scale) : clFinish() failed (-54)\n"
         "OpenCLProgramKernel::execute_kernel(scale) : clEnqueueNDRangeKernel() failed (-54)\n"},
        {"four dimensions", [&] { return scale->execute_kernel(4, 0, 1, 1, 0, 0); }, false,
         "OpenCLProgramKernel::execute_kernel(scale) : clFinish() failed (-53)\n"
         "OpenCLProgramKernel::execute_kernel(scale) : clEnqueueNDRangeKernel() failed (-53)\n"},
        {"a read from no buffer", [&] { return scale->kernel_gpu2host(nullptr, host, 16); }, false,
         "OpenCLProgramKernel::kernel_gpu2host() : clEnqueueNDRangeKernel() failed (-38)\n"},
        {"a write to no buffer", [&] { return scale->kernel_host2gpu(nullptr, host, 16); }, false,
         "OpenCLProgramKernel::kernel_host2gpu() : clEnqueueNDRangeKernel() failed (-38)\n"},
        {"a buffer of no bytes", [&] { return static_cast<bool>(context_->createBuffer(0)); }, true,
         "OpenCLBuffer::make() : clCreateBuffer() failed (-61)\n"
         "OpenCLBuffer::~OpenCLBuffer() : clReleaseMemObject() failed (-38)\n"},
        {"a texture's buffer read back",
         [&] {
             const cl_mem memory = clCreateBuffer(context_->getImpl(), CL_MEM_READ_WRITE, 16, nullptr, nullptr);
             return static_cast<bool>(OpenCLBuffer(memory).copyToHost());
         },
         true, "OpenCLBuffer::copyToHost() : clEnqueueReadBuffer() failed (-36)\n"},
    };
    for (const BadCall& bad : calls) {
        bool result = !bad.result;
        EXPECT_EQ(printed([&] { result = bad.call(); }), bad.output) << bad.name;
        EXPECT_EQ(result, bad.result) << bad.name;
    }
}

TEST_F(OpenCLTest, TextureBuffersSetSinceTheLastRunAreLentToThatRunAlone)
{
    const Kv::Ptr<iGPUProgramKernel> scale = kernel("scale");
    ASSERT_TRUE(scale->setArg(1, 1.0f));
    ASSERT_TRUE(scale->setArg(2, static_cast<short>(1)));
    // Plain buffers, so that this device, which shares nothing with OpenGL,
    // refuses to lend them: its refusal shows which runs try.
    std::vector<Kv::Ptr<iGPUBuffer>> textures;
    for (int i = 0; i < 17; ++i) {
        const cl_mem memory = clCreateBuffer(context_->getImpl(), CL_MEM_READ_WRITE, 16, nullptr, nullptr);
        textures.emplace_back(new OpenCLBuffer(memory));
        ASSERT_TRUE(scale->setArg(0, textures.back())) << "texture " << i;
    }
    const std::string lent = printed([&] { EXPECT_TRUE(scale->execute1D(1)); });
    EXPECT_NE(lent.find("OpenGLInterop::prepareBuffers() : acquire failed ("), std::string::npos) << lent;
    EXPECT_NE(lent.find("OpenGLInterop::unPrepareBuffers() : release failed ("), std::string::npos) << lent;

    EXPECT_EQ(printed([&] { EXPECT_TRUE(scale->execute1D(1)); }), "") << "the texture stays bound, but is not lent";
    const Kv::Ptr<iGPUBuffer> plain = bufferOf(std::vector<float>(4, 1));
    ASSERT_TRUE(scale->setArg(0, plain));
    EXPECT_EQ(printed([&] { EXPECT_TRUE(scale->execute1D(1)); }), "") << "buffers of the context are never lent";
    clFinish(context_->getCommandQueue());
}

TEST_F(OpenCLTest, AnImagesBufferRidesWithItsTextureThroughTheCache)
{
    REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason());
    OpenGLTextureCache::instance().clear();
    const iGPUImage::StorageT storage{{8, 8}, iGPUImage::eRGBA32F};
    Kv::Ptr<GPUImage> image = GPUImage::create(storage);
    Kv::Ptr<iGPUBuffer> buffer = context_->createBuffer(image);
    EXPECT_EQ(static_cast<bool>(buffer), context_->canShareBuffers(iGPUComputeContext::eOpenCL));
    if (!buffer) {
        // No sharing here: the image is given a buffer as sharing would give it.
        buffer = context_->createBuffer(8 * 8 * 16);
        image->setInteropBuffer(buffer);
    }
    EXPECT_TRUE(context_->createBuffer(image) == buffer);
    EXPECT_TRUE(context_->createBuffer(image) == buffer) << "asked twice, one buffer";

    const std::uint32_t texture = image->getTextureID();
    image = nullptr;
    const Kv::Ptr<GPUImage> recycled = GPUImage::create(storage);
    EXPECT_EQ(recycled->getTextureID(), texture);
    EXPECT_TRUE(recycled->getInteropBuffer() == buffer);
    EXPECT_TRUE(context_->createBuffer(Kv::Ptr<iGPUImage>(recycled)) == buffer);
    EXPECT_FALSE(context_->createBuffer(Kv::Ptr<iGPUImage>())) << "not an image of the renderer";
}

TEST_F(OpenCLTest, MediaServicesGiveANewContextOnEachCallAndLogItsDevice)
{
    char device[256] = {};
    clGetDeviceInfo(context_->getDevice(), CL_DEVICE_NAME, sizeof device - 1, device, nullptr);
    Kv::Ptr<iGPUComputeContext> first;
    Kv::Ptr<iGPUComputeContext> second;
    const std::string output = printed([&] {
        first = OS()->mediaServices()->createGPUComputeContext(iGPUComputeContext::eOpenCL);
        second = OS()->mediaServices()->createGPUComputeContext(iGPUComputeContext::eOpenCL);
    });
    ASSERT_TRUE(first && second);
    EXPECT_FALSE(first == second);
    EXPECT_NE(output.find(std::string(device) + "\n"), std::string::npos) << output;
}

TEST(OpenCLWithoutPlatform, LogsThatNoneWasFoundAndGivesNoContext)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ::setenv("OCL_ICD_VENDORS", "/nonexistent", 1);
            ::dup2(STDERR_FILENO, STDOUT_FILENO);
            const Kv::Ptr<iGPUComputeContext> context =
                OS()->mediaServices()->createGPUComputeContext(iGPUComputeContext::eOpenCL);
            std::fflush(stdout);
            std::exit(context ? 1 : 0);
        },
        testing::ExitedWithCode(0), "OpenCLContext::make\\(\\) : Failed to find any CL platforms");
}
