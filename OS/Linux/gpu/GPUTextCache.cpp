#include "GPUTextCache.h"

#include "OS.h"

#include <cstdint>
#include <iterator>

bool GPUTextCache::TextDescCompare::operator()(const TextDescription& a, const TextDescription& b) const
{
    const auto fontA = reinterpret_cast<std::uintptr_t>(a.font.get());
    const auto fontB = reinterpret_cast<std::uintptr_t>(b.font.get());
    if (fontA != fontB)
        return fontA < fontB;
    return a.text < b.text;
}

GPUTextCache& GPUTextCache::instance()
{
    static GPUTextCache* const cache = new GPUTextCache;
    return *cache;
}

GPUTextCache::GPUTextCache()
{
    OS()->memMgr()->registerReclaimable(this);
}

GPUTextCache::~GPUTextCache()
{
    OS()->memMgr()->deRegisterReclaimable(this);
}

Kv::Ptr<iGPUImage> GPUTextCache::copyToGPU(const TextDescription& key, Kv::Ptr<iHostImage> hostImage)
{
    const Kv::Ptr<iGPUImage> image = OS()->mediaServices()->copyToGPU(hostImage);
    images.emplace(key, CachedGPUImage{image, OS()->utils()->timeNow()});
    if (images.size() > kLimit)
        evictOldest();
    return image;
}

Kv::Ptr<iGPUImage> GPUTextCache::find(const TextDescription& key) const
{
    const auto found = images.find(key);
    return found == images.end() ? nullptr : found->second.image;
}

void GPUTextCache::clear(const Kv::Ptr<iFont>& font)
{
    std::erase_if(images, [&font](const auto& entry) { return entry.first.font.get() == font.get(); });
}

void GPUTextCache::purge()
{
    images.clear();
}

// Of equal times the first in key order goes.
void GPUTextCache::evictOldest()
{
    auto oldest = images.begin();
    for (auto entry = std::next(oldest); entry != images.end(); ++entry) {
        if (entry->second.time < oldest->second.time)
            oldest = entry;
    }
    images.erase(oldest);
}
