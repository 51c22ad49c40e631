#pragma once

#include "GraphicPrimitives.h"
#include "Ptr.h"
#include "iGPUImage.h"
#include "iHostImage.h"
#include "iReclaimable.h"

#include <map>

// The GPU images of whole texts, by font object and text: colour, position
// and selection are no part of the key. At most 25 are kept; the 26th goes
// out oldest first by the time it was cached, as finding an image does not
// refresh it.
//
// No lock, deliberately: texts reach it only from renderers, which hold the
// GPU lock. The memory manager's purge takes none either.
class GPUTextCache : public iReclaimable
{
public:
    struct CachedGPUImage
    {
        Kv::Ptr<iGPUImage> image;
        double time = 0.0; // iUtils::timeNow when cached
    };

    struct TextDescCompare
    {
        bool operator()(const TextDescription& a, const TextDescription& b) const;
    };

    static constexpr std::size_t kLimit = 25;

    // Made on first use; lives to the end of the process.
    static GPUTextCache& instance();

    // Uploads the host image and caches it under the key, unless an equal key
    // is already cached: that entry stays, and the new image is returned
    // uncached.
    Kv::Ptr<iGPUImage> copyToGPU(const TextDescription& key, Kv::Ptr<iHostImage> hostImage);
    // Null when the key is not cached.
    Kv::Ptr<iGPUImage> find(const TextDescription& key) const;
    // Every text of that font object.
    void clear(const Kv::Ptr<iFont>& font);

    virtual void purge();
    void limitUsage() override {}
    virtual void reportUsage() {}

    void reclaim() override { purge(); }
    void report() override { reportUsage(); }

private:
    GPUTextCache();
    ~GPUTextCache() override;

    void evictOldest();

    std::map<TextDescription, CachedGPUImage, TextDescCompare> images;
};
