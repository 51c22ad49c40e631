#include "OpenGLInterop.h"

#include "GPUImage.h"
#include "OpenCLBuffer.h"
#include "OpenGLContextProtector.h"

#include <CL/cl_gl.h>

#include <cstdio>
#include <vector>

namespace
{
    // Whether the context was made with an OpenGL context among its properties.
    bool sharesWithOpenGL(cl_context context)
    {
        std::size_t size = 0;
        if (clGetContextInfo(context, CL_CONTEXT_PROPERTIES, 0, nullptr, &size) != CL_SUCCESS || size == 0)
            return false;
        std::vector<cl_context_properties> properties(size / sizeof(cl_context_properties));
        if (clGetContextInfo(context, CL_CONTEXT_PROPERTIES, size, properties.data(), nullptr) != CL_SUCCESS)
            return false;
        for (std::size_t i = 0; i + 1 < properties.size() && properties[i] != 0; i += 2) {
            if (properties[i] == CL_GL_CONTEXT_KHR)
                return true;
        }
        return false;
    }

    using GLObjectsCall = decltype(&clEnqueueAcquireGLObjects);

    void enqueueGLObjects(GLObjectsCall call, const char* failure, cl_command_queue queue,
                          const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers], unsigned char count)
    {
        if (count == 0)
            return;
        const cl_int error = call(queue, count, buffers, 0, nullptr, nullptr);
        if (error != CL_SUCCESS)
            std::printf(failure, error);
    }
}

Kv::Ptr<iGPUBuffer> OpenGLInterop::createBuffer(const iOpenCLContext& context, const Kv::Ptr<iGPUImage>& image) const
{
    const Kv::Ptr<GPUImage> gpuImage = Kv::dynamicCast<GPUImage>(image);
    if (!gpuImage)
        return nullptr;
    if (Kv::Ptr<iGPUBuffer> held = gpuImage->getInteropBuffer())
        return held;
    // A context made without the share group cannot see textures, so an image
    // gets no buffer there and canShareBuffers is false: kernels reach its
    // pixels through host memory instead (copyToHost, then kernel_host2gpu
    // into a buffer of createBuffer(size)).
    if (!sharesWithOpenGL(context.getImpl()))
        return nullptr;
    cl_int error = CL_SUCCESS;
    cl_mem texture = nullptr;
    {
        // Under the GPU lock: the texture is OpenGL's.
        const OpenGLContextProtector protector;
        texture = clCreateFromGLTexture(context.getImpl(), CL_MEM_READ_WRITE, GL_TEXTURE_2D, 0,
                                        gpuImage->getTextureID(), &error);
    }
    if (error != CL_SUCCESS)
        return nullptr;
    const Kv::Ptr<iGPUBuffer> buffer(new OpenCLBuffer(texture));
    gpuImage->setInteropBuffer(buffer);
    return buffer;
}

void OpenGLInterop::prepareBuffers(const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers],
                                   unsigned char count) const
{
    enqueueGLObjects(clEnqueueAcquireGLObjects, "OpenGLInterop::prepareBuffers() : acquire failed (%d)\n", queue_,
                     buffers, count);
}

void OpenGLInterop::unPrepareBuffers(const cl_mem (&buffers)[iOpenCLContext::kMaxSharedBuffers],
                                     unsigned char count) const
{
    enqueueGLObjects(clEnqueueReleaseGLObjects, "OpenGLInterop::unPrepareBuffers() : release failed (%d)\n", queue_,
                     buffers, count);
}
