#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "XY.h"
#include "iCriticalSection.h"
#include "iGPUImage.h"
#include "iHostImage.h"
#include "iOpenGLContext.h"

#include <epoxy/gl.h>

#include <cstdint>
#include <deque>
#include <set>

class GPUImage;
class OpenGLSharedContext;

// The process's OpenGL: the GPU lock, the one framebuffer object, the texture
// limits and the render target stack. It is made on first need (by the
// window manager at start, or by the first protector) and lives to the end of
// the process.
//
// When OpenGL cannot start, or after shutdown, isAvailable() is false: no
// size of texture is possible and nothing reaches OpenGL.
//
// The render target stack has no lock of its own: only renderers touch it,
// and they hold the GPU lock for their whole life.
class OpenGLUtils
{
public:
    static OpenGLUtils& instance();
    // Makes the instance if need be; whether it is initialised.
    static bool start();
    static bool isInitialised() { return initialised_; }
    static bool isAvailable();
    static OpenGLSharedContext& getSharedContext();

    // The calling thread's context, made on its first use there and released
    // when the thread ends.
    iOpenGLContext* getRenderContext();
    // Null strings when OpenGL gives none.
    LightweightString<char> getGraphicsDriverVendor();
    LightweightString<char> getOpenGLVersion();
    // The GPU lock: recursive, held by every protector.
    Kv::Ptr<iCriticalSection> getLock() const { return lock_; }
    // For the application; nothing here takes it.
    Kv::Ptr<iCriticalSection> getCacheLock() const { return cacheLock_; }
    void resetContext() {}

    static std::uint16_t getNumTextureUnits() { return static_cast<std::uint16_t>(numTextureUnits_); }
    // The state every drawing context starts from, on the current context:
    // 2D textures on every unit, filtered linearly, no depth, stencil or
    // lighting; unit 0 active.
    static void prepareDrawingState();
    // Whether textures of the format can be made; tested once.
    static bool isSupported(iGPUImage::eFormat format);
    static XY<int> getMaxTextureSize() { return maxTextureSize_; }
    // Neither side zero nor above the limit. A negative side is not refused here.
    static bool isTextureSizePossible(const XY<int>& size);
    XY<int> getTextureDimensions(unsigned int texture);

    // The all-black 256 by 256 image, made on the first call.
    Kv::Ptr<iGPUImage> getBlackTexture();
    Kv::Ptr<iHostImage> copyToHost(Kv::Ptr<GPUImage> image);
    // Level 0 of the texture into a new host image whose depth follows the type.
    Kv::Ptr<iHostImage> copyToHost(unsigned int texture, const XY<int>& size, unsigned int glType);

    // The framebuffer draws into the top image. Nesting on one image does not
    // rebind; pushes and pops must balance.
    void pushRenderTarget(const Kv::Ptr<iOpenGLImage>& target);
    void setRenderTarget(const Kv::Ptr<iOpenGLImage>& target);
    void popRenderTarget();

    void dumpState();
    // Lets go of the textures, the caches and the shared context. Nothing may
    // render after it.
    void reset();
    static void shutdown();

private:
    OpenGLUtils();
    void createBlackTexture();

    Kv::Ptr<iGPUImage> blackTexture_;
    Kv::Ptr<iGPUImage> secondImage_; // nothing here fills it
    Kv::Ptr<iCriticalSection> lock_;
    Kv::Ptr<iCriticalSection> cacheLock_;
    GLuint framebuffer_ = 0;
    std::deque<Kv::Ptr<iOpenGLImage>> renderTargets_;

    // Written once while the instance is made, then read without a lock.
    static bool initialised_;
    static std::int32_t numTextureUnits_;
    static std::set<iGPUImage::eFormat> textureFormats_;
    static XY<int> maxTextureSize_;
};

namespace OpenGL
{
    // Logs the first queued error, once, and drains the rest unlogged.
    void checkForErrors();
}
