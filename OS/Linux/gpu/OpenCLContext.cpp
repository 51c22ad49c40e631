#include "OpenCLContext.h"

#include "EGLPlatform.h"
#include "GLCLProgram.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLSharedContext.h"
#include "OpenGLUtils.h"

#include <CL/cl_gl.h>

#include <cstring>
#include <strings.h>

namespace
{
    std::vector<cl_platform_id> platforms()
    {
        cl_uint count = 0;
        if (clGetPlatformIDs(0, nullptr, &count) != CL_SUCCESS || count == 0)
            return {};
        std::vector<cl_platform_id> found(count);
        if (clGetPlatformIDs(count, found.data(), nullptr) != CL_SUCCESS)
            return {};
        return found;
    }

    std::vector<cl_device_id> devicesOf(cl_platform_id platform, cl_device_type type)
    {
        cl_uint count = 0;
        if (clGetDeviceIDs(platform, type, 0, nullptr, &count) != CL_SUCCESS || count == 0)
            return {};
        std::vector<cl_device_id> found(count);
        if (clGetDeviceIDs(platform, type, count, found.data(), nullptr) != CL_SUCCESS)
            return {};
        return found;
    }

    bool isIntel(cl_device_id device)
    {
        char vendor[64] = {};
        clGetDeviceInfo(device, CL_DEVICE_VENDOR, sizeof vendor - 1, vendor, nullptr);
        return ::strncasecmp(vendor, "intel", 5) == 0;
    }

    // Read once, from the store of kind 1, the global one.
    bool intelAllowed()
    {
        static const bool allowed =
            OS()->shell()->getSettings(iSettings::eGlobalSettings)->getValue("allowIntelOpenCL", "0", nullptr) != "0";
        return allowed;
    }

    bool offersGLSharing(cl_device_id device)
    {
        std::size_t size = 0;
        if (clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, 0, nullptr, &size) != CL_SUCCESS)
            return false;
        std::vector<char> extensions(size + 1, '\0');
        if (clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, size, extensions.data(), nullptr) != CL_SUCCESS)
            return false;
        return std::strstr(extensions.data(), "cl_khr_gl_sharing") != nullptr;
    }

    const char* const kPixelMacros[] = {
        "#define RED( PIXEL )         PIXEL.x",
        "#define GREEN( PIXEL )       PIXEL.y",
        "#define BLUE( PIXEL )        PIXEL.z",
        "#define ALPHA( PIXEL )       PIXEL.w",
        "#define MAKEPIXEL( R,G,B,A ) ( float4 )( B,G,R,A )",
    };
}

OpenCLContext::OpenCLContext(cl_context context, cl_device_id device)
    : OpenCLContextBase(context, device, Kv::Ptr<OpenGLInterop>(new OpenGLInterop))
{
}

Kv::Ptr<iOpenCLContext> OpenCLContext::make()
{
    const std::vector<cl_platform_id> found = platforms();
    if (found.empty()) {
        OS()->utils()->log("OpenCLContext::make() : Failed to find any CL platforms\n", nullptr);
        return nullptr;
    }
    const OpenGLContextProtector protector;
    for (const cl_device_type type : {CL_DEVICE_TYPE_GPU, CL_DEVICE_TYPE_CPU}) {
        for (const cl_platform_id platform : found) {
            for (const cl_device_id device : devicesOf(platform, type)) {
                if (Kv::Ptr<iOpenCLContext> context = makeOn(platform, device, type))
                    return context;
            }
        }
    }
    OS()->utils()->log("OpenCLContext::make() : Failed to create a cl_context\n", nullptr);
    return nullptr;
}

Kv::Ptr<iOpenCLContext> OpenCLContext::makeOn(cl_platform_id platform, cl_device_id device, cl_device_type type)
{
    // Intel GPUs are refused by default, deliberately, and allowed only without
    // sharing; CPU devices share nothing either.
    const bool gpu = type == CL_DEVICE_TYPE_GPU;
    const bool intel = gpu && isIntel(device);
    if (intel && !intelAllowed())
        return nullptr;
    const bool share = gpu && !intel && offersGLSharing(device) && OpenGLUtils::isAvailable();
    std::vector<cl_context_properties> properties;
    if (share) {
        properties = {CL_GL_CONTEXT_KHR,
                      reinterpret_cast<cl_context_properties>(OpenGLUtils::getSharedContext().context()),
                      CL_EGL_DISPLAY_KHR,
                      reinterpret_cast<cl_context_properties>(EGLPlatform::instance().display())};
    }
    if (gpu && !intel) {
        properties.insert(properties.end(),
                          {CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(platform), 0});
    }
    cl_int error = CL_SUCCESS;
    const cl_context made =
        clCreateContext(properties.empty() ? nullptr : properties.data(), 1, &device, nullptr, nullptr, &error);
    if (error != CL_SUCCESS || made == nullptr)
        return nullptr;
    const Kv::Ptr<OpenCLContext> context(new OpenCLContext(made, device));
    context->onShareGroup_ = share;
    return context;
}

Kv::Ptr<iGPUProgram> OpenCLContext::compileProgram(std::vector<LightweightString<char>> lines)
{
    std::vector<LightweightString<char>> program(std::begin(kPixelMacros), std::end(kPixelMacros));
    program.insert(program.end(), lines.begin(), lines.end());
    return GLCLProgram::make(*this, program);
}
