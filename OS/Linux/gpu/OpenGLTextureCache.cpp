#include "OpenGLTextureCache.h"

#include "CriticalSectionLock.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <cstdio>

OpenGLTextureCache& OpenGLTextureCache::instance()
{
    static OpenGLTextureCache* const cache = new OpenGLTextureCache;
    return *cache;
}

OpenGLTextureCache::OpenGLTextureCache() : lock_(OS()->threadMgr()->createCriticalSection(0))
{
    OS()->memMgr()->registerReclaimable(this);
}

OpenGLTextureCache::~OpenGLTextureCache()
{
    OS()->memMgr()->deRegisterReclaimable(this);
}

OpenGLTextureCache::CacheValue OpenGLTextureCache::extract(const TextureDetails& details)
{
    const CriticalSectionLock guard(lock_);
    const auto found = textures_.find(details);
    if (found == textures_.end())
        return {};
    CacheValue value = std::move(found->second);
    textures_.erase(found);
    return value;
}

void OpenGLTextureCache::insert(const GPUImage& image, const TextureDetails& details)
{
    limitUsage();
    const CriticalSectionLock guard(lock_);
    textures_.emplace(details, CacheValue{image.getTextureID(), image.getInteropBuffer()});
}

std::size_t OpenGLTextureCache::size() const
{
    const CriticalSectionLock guard(lock_);
    return textures_.size();
}

void OpenGLTextureCache::limitUsage()
{
    CacheValue evicted;
    {
        const CriticalSectionLock guard(lock_);
        if (textures_.size() < kLimit)
            return;
        evicted = std::move(textures_.begin()->second);
        textures_.erase(textures_.begin());
    }
    if (evicted.texture != 0) {
        const OpenGLContextProtector protector;
        glDeleteTextures(1, &evicted.texture);
    }
}

void OpenGLTextureCache::clear()
{
    std::multimap<TextureDetails, CacheValue> cleared;
    {
        const CriticalSectionLock guard(lock_);
        cleared.swap(textures_);
    }
    if (cleared.empty())
        return;
    const OpenGLContextProtector protector;
    for (const auto& [details, value] : cleared)
        glDeleteTextures(1, &value.texture);
}

void OpenGLTextureCache::reportUsage()
{
    const CriticalSectionLock guard(lock_);
    std::puts("OpenGLTextureCache\n");
    std::printf("   %d textures cached\n", static_cast<int>(textures_.size()));
    for (const auto& [details, value] : textures_) {
        const XY<int> size = OpenGLUtils::instance().getTextureDimensions(value.texture);
        std::printf("      %dx%d\n", size.x, size.y);
    }
}
