#include "OpenGLUtils.h"

#include "CairoImage.h"
#include "CriticalSectionLock.h"
#include "GPUImage.h"
#include "GraphicPrimitives.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLFontBase.h"
#include "OpenGLRenderContext.h"
#include "OpenGLSharedContext.h"
#include "OpenGLTextureCache.h"

#include <cstdio>
#include <unistd.h>

bool OpenGLUtils::initialised_ = false;
std::int32_t OpenGLUtils::numTextureUnits_ = 0;
std::set<iGPUImage::eFormat> OpenGLUtils::textureFormats_;
XY<int> OpenGLUtils::maxTextureSize_;

namespace
{
    bool testCreateTexture(iGPUImage::eFormat format)
    {
        const TextureDetails details = GPUImage::getStorageDetails({XY<int>(2, 2), format});
        const OpenGLContextProtector protector;
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexImage2D(GL_TEXTURE_2D, 0, details.internalFormat, details.size.x, details.size.y, 0,
                     details.pixelFormat, details.type, nullptr);
        // Not drained first: a stale error fails the test.
        const GLenum error = glGetError();
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &texture);
        return error == GL_NO_ERROR;
    }

    struct Capability
    {
        GLenum capability;
        const char* name;
    };

#define KV_CAPABILITY(name) {name, #name}
    constexpr Capability kCapabilities[] = {
        KV_CAPABILITY(GL_BLEND), KV_CAPABILITY(GL_COLOR_LOGIC_OP), KV_CAPABILITY(GL_CULL_FACE),
        KV_CAPABILITY(GL_DEPTH_TEST), KV_CAPABILITY(GL_DITHER), KV_CAPABILITY(GL_LINE_SMOOTH),
        KV_CAPABILITY(GL_MULTISAMPLE), KV_CAPABILITY(GL_POLYGON_OFFSET_FILL), KV_CAPABILITY(GL_POLYGON_OFFSET_LINE),
        KV_CAPABILITY(GL_POLYGON_OFFSET_POINT), KV_CAPABILITY(GL_POLYGON_SMOOTH),
        KV_CAPABILITY(GL_SAMPLE_ALPHA_TO_COVERAGE), KV_CAPABILITY(GL_SAMPLE_ALPHA_TO_ONE),
        KV_CAPABILITY(GL_SAMPLE_COVERAGE), KV_CAPABILITY(GL_SCISSOR_TEST), KV_CAPABILITY(GL_STENCIL_TEST),
        KV_CAPABILITY(GL_TEXTURE_1D), KV_CAPABILITY(GL_TEXTURE_2D), KV_CAPABILITY(GL_TEXTURE_3D),
        KV_CAPABILITY(GL_TEXTURE_CUBE_MAP), KV_CAPABILITY(GL_VERTEX_PROGRAM_POINT_SIZE),
        KV_CAPABILITY(GL_VERTEX_PROGRAM_TWO_SIDE), KV_CAPABILITY(GL_SEPARABLE_2D), KV_CAPABILITY(GL_TEXTURE_GEN_Q),
        KV_CAPABILITY(GL_TEXTURE_GEN_R), KV_CAPABILITY(GL_TEXTURE_GEN_S), KV_CAPABILITY(GL_TEXTURE_GEN_T),
        KV_CAPABILITY(GL_NORMALIZE), KV_CAPABILITY(GL_POINT_SMOOTH), KV_CAPABILITY(GL_POINT_SPRITE),
        KV_CAPABILITY(GL_POLYGON_STIPPLE), KV_CAPABILITY(GL_POST_COLOR_MATRIX_COLOR_TABLE),
        KV_CAPABILITY(GL_POST_CONVOLUTION_COLOR_TABLE), KV_CAPABILITY(GL_RESCALE_NORMAL),
        KV_CAPABILITY(GL_MAP1_TEXTURE_COORD_3), KV_CAPABILITY(GL_MAP1_TEXTURE_COORD_4),
        KV_CAPABILITY(GL_MAP1_VERTEX_3), KV_CAPABILITY(GL_MAP1_VERTEX_4), KV_CAPABILITY(GL_MAP2_COLOR_4),
        KV_CAPABILITY(GL_MAP2_INDEX), KV_CAPABILITY(GL_MAP2_NORMAL), KV_CAPABILITY(GL_MAP2_TEXTURE_COORD_1),
        KV_CAPABILITY(GL_MAP2_TEXTURE_COORD_2), KV_CAPABILITY(GL_MAP2_TEXTURE_COORD_3),
        KV_CAPABILITY(GL_MAP2_TEXTURE_COORD_4), KV_CAPABILITY(GL_MAP2_VERTEX_3), KV_CAPABILITY(GL_MAP2_VERTEX_4),
        KV_CAPABILITY(GL_MINMAX), KV_CAPABILITY(GL_ALPHA_TEST), KV_CAPABILITY(GL_AUTO_NORMAL),
        KV_CAPABILITY(GL_CLIP_PLANE0), KV_CAPABILITY(GL_HISTOGRAM), KV_CAPABILITY(GL_LINE_STIPPLE),
        KV_CAPABILITY(GL_COLOR_MATERIAL), KV_CAPABILITY(GL_COLOR_SUM), KV_CAPABILITY(GL_COLOR_TABLE),
        KV_CAPABILITY(GL_CONVOLUTION_1D), KV_CAPABILITY(GL_INDEX_LOGIC_OP), KV_CAPABILITY(GL_MAP1_COLOR_4),
        KV_CAPABILITY(GL_CONVOLUTION_2D), KV_CAPABILITY(GL_LIGHT0), KV_CAPABILITY(GL_MAP1_INDEX),
        KV_CAPABILITY(GL_LIGHTING), KV_CAPABILITY(GL_MAP1_NORMAL), KV_CAPABILITY(GL_MAP1_TEXTURE_COORD_1),
        KV_CAPABILITY(GL_MAP1_TEXTURE_COORD_2), {0, nullptr},
    };
#undef KV_CAPABILITY

    // The thread's context, released when the thread ends. The main thread's
    // stays: the process's statics may still draw or free textures at exit.
    thread_local OpenGLRenderContext* renderContext = nullptr;

    struct RenderContextRelease
    {
        ~RenderContextRelease()
        {
            if (gettid() == getpid())
                return;
            delete renderContext;
            renderContext = nullptr;
        }
    };
    thread_local RenderContextRelease renderContextRelease;

    LightweightString<char> glString(GLenum name)
    {
        if (!OpenGLUtils::isAvailable())
            return {};
        const OpenGLContextProtector protector(*OpenGLUtils::instance().getRenderContext(), false);
        const auto* text = reinterpret_cast<const char*>(glGetString(name));
        return text != nullptr ? LightweightString<char>(text) : LightweightString<char>();
    }
}

OpenGLUtils& OpenGLUtils::instance()
{
    static OpenGLUtils* const utils = new OpenGLUtils;
    return *utils;
}

bool OpenGLUtils::start()
{
    instance();
    return initialised_;
}

bool OpenGLUtils::isAvailable()
{
    return start() && getSharedContext().context() != EGL_NO_CONTEXT;
}

void OpenGLUtils::prepareDrawingState()
{
    for (GLenum unit = 0; unit < getNumTextureUnits(); ++unit) {
        glActiveTextureARB(GL_TEXTURE0_ARB + unit);
        glEnable(GL_TEXTURE_2D);
        glDisable(GL_LIGHTING);
        glDisable(GL_COLOR_MATERIAL);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    }
    glActiveTextureARB(GL_TEXTURE0_ARB);
    glDisable(GL_STENCIL_TEST);
    glDisable(GL_DEPTH_TEST);
}

OpenGLSharedContext& OpenGLUtils::getSharedContext()
{
    return OpenGLSharedContext::instance();
}

OpenGLUtils::OpenGLUtils()
    : lock_(OS()->threadMgr()->createCriticalSection(0)), cacheLock_(OS()->threadMgr()->createCriticalSection(0))
{
    OpenGLSharedContext& shared = getSharedContext();
    if (shared.context() != EGL_NO_CONTEXT) {
        shared.makeCurrent();
        GLint maxSize = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
        glGetIntegerv(GL_MAX_TEXTURE_UNITS_ARB, &numTextureUnits_);
        glGenFramebuffersEXT(1, &framebuffer_);
        maxTextureSize_ = XY<int>(maxSize, maxSize);
        shared.unMakeCurrent();
    }
    initialised_ = true;
}

iOpenGLContext* OpenGLUtils::getRenderContext()
{
    if (!renderContext) {
        renderContext = new OpenGLRenderContext;
        static_cast<void>(&renderContextRelease); // made on this first use, so it runs at the thread's end
    }
    return renderContext;
}

LightweightString<char> OpenGLUtils::getGraphicsDriverVendor()
{
    return glString(GL_VENDOR);
}

LightweightString<char> OpenGLUtils::getOpenGLVersion()
{
    return glString(GL_VERSION);
}

bool OpenGLUtils::isSupported(iGPUImage::eFormat format)
{
    if (textureFormats_.empty() && isAvailable()) {
        textureFormats_ = {iGPUImage::eBGRA8, iGPUImage::eRGBA16, iGPUImage::eRGB10A2, iGPUImage::eRGB10A2Video};
        for (const iGPUImage::eFormat tested : {iGPUImage::eRGBA16F, iGPUImage::eRGBA32F})
            if (testCreateTexture(tested))
                textureFormats_.insert(tested);
    }
    return textureFormats_.count(format) != 0;
}

bool OpenGLUtils::isTextureSizePossible(const XY<int>& size)
{
    return isAvailable() && size.x <= maxTextureSize_.x && size.y <= maxTextureSize_.y && size.x != 0 && size.y != 0;
}

XY<int> OpenGLUtils::getTextureDimensions(unsigned int texture)
{
    if (!isAvailable())
        return {};
    GLint width = 0;
    GLint height = 0;
    const OpenGLContextProtector protector;
    glActiveTextureARB(GL_TEXTURE0_ARB);
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
    glBindTexture(GL_TEXTURE_2D, 0);
    return XY<int>(width, height);
}

Kv::Ptr<iGPUImage> OpenGLUtils::getBlackTexture()
{
    const CriticalSectionLock guard(lock_);
    if (!blackTexture_)
        createBlackTexture();
    return blackTexture_;
}

void OpenGLUtils::createBlackTexture()
{
    const Kv::Ptr<GPUImage> image = GPUImage::create({XY<int>(256, 256), iGPUImage::eBGRA8});
    if (!image) {
        OS()->utils()->log("OpenGLUtils::createBlackTexture() failed\n", nullptr);
        return;
    }
    if (const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = image->getPrimitivesRenderer(true)) {
        RectDescription black;
        black.rect = {0, 0, 256, 256};
        black.colour = black.gradientEnd = black.effectColour = NormalisedRGB(0.0f, 0.0f, 0.0f, 1.0f);
        renderer->renderMulti(&black, 1);
    }
    blackTexture_ = image;
}

Kv::Ptr<iHostImage> OpenGLUtils::copyToHost(Kv::Ptr<GPUImage> image)
{
    if (!image)
        return nullptr;
    const TextureDetails details = GPUImage::getStorageDetails({image->getSize(), image->getFormat()});
    return copyToHost(image->getTextureID(), details.size, details.type);
}

Kv::Ptr<iHostImage> OpenGLUtils::copyToHost(unsigned int texture, const XY<int>& size, unsigned int glType)
{
    unsigned short bitsPerPixel = 32;
    GLenum format = GL_BGRA;
    if (glType == GL_UNSIGNED_SHORT || glType == GL_HALF_FLOAT) {
        bitsPerPixel = 64;
        format = GL_RGBA;
    } else if (glType == GL_FLOAT) {
        bitsPerPixel = 128;
        format = GL_RGBA;
    }
    const Kv::Ptr<iHostImage> host(new CairoImage(size, bitsPerPixel, 1));
    const Kv::Ptr<iPixelGuard> pixels = host->lock();
    if (!pixels || !isAvailable())
        return host;
    // The host image's rows are tight, as OpenGL packs them.
    const OpenGLContextProtector protector;
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexImage(GL_TEXTURE_2D, 0, format, glType, pixels->getPixels());
    glBindTexture(GL_TEXTURE_2D, 0);
    return host;
}

void OpenGLUtils::pushRenderTarget(const Kv::Ptr<iOpenGLImage>& target)
{
    const bool sameAsTop = !renderTargets_.empty() && renderTargets_.back().get() == target.get();
    renderTargets_.push_back(target);
    if (!sameAsTop)
        setRenderTarget(target);
}

void OpenGLUtils::setRenderTarget(const Kv::Ptr<iOpenGLImage>& target)
{
    if (!target)
        return;
    const XY<int> size = target->getSize();
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer_);
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, target->getTextureID(), 0);
    glViewport(0, 0, size.x, size.y);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, size.x, 0, size.y, -1, 1);
}

// Nothing ever binds framebuffer 0: the one framebuffer stays bound, with no
// texture once the last target goes.
void OpenGLUtils::popRenderTarget()
{
    const Kv::Ptr<iOpenGLImage> popped = renderTargets_.back();
    renderTargets_.pop_back();
    if (renderTargets_.empty())
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, 0, 0);
    else if (renderTargets_.back().get() != popped.get())
        setRenderTarget(renderTargets_.back());
}

void OpenGLUtils::dumpState()
{
    OS()->utils()->log("GL State ---------------------------------\n", nullptr);
    if (!isAvailable())
        return;
    const OpenGLContextProtector protector;
    char line[256];
    for (const Capability* entry = kCapabilities; entry->capability != 0; ++entry) {
        if (!glIsEnabled(entry->capability))
            continue;
        std::snprintf(line, sizeof line, "%s\n", entry->name);
        OS()->utils()->log(line, nullptr);
    }
    for (GLint unit = 0; unit < 8; ++unit) {
        glActiveTextureARB(GL_TEXTURE0_ARB + GLenum(unit));
        GLint bound = 0;
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
        if (bound != 0)
            OS()->utils()->vlog("Texture %d bound to unit GL_TEXTURE%d_ARB\n", bound, unit);
    }
    glActiveTextureARB(GL_TEXTURE0_ARB);
    // Capabilities the driver does not know queue errors that must not fail
    // whatever asks next.
    while (glGetError() != GL_NO_ERROR) {
    }
}

void OpenGLUtils::reset()
{
    blackTexture_ = nullptr;
    secondImage_ = nullptr;
    OpenGLTextureCache::instance().clear();
    OpenGLFontBase::shutdown();
    OpenGLSharedContext::shutdown();
}

void OpenGLUtils::shutdown()
{
    if (initialised_)
        instance().reset();
}

namespace OpenGL
{
    void checkForErrors()
    {
        const GLenum first = glGetError();
        if (first == GL_NO_ERROR)
            return;
        OS()->utils()->vlog("GL Error: %d\n", static_cast<int>(first));
        while (glGetError() != GL_NO_ERROR) {
        }
    }
}
