#pragma once

#include "GPUImage.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iGPUBuffer.h"
#include "iReclaimable.h"

#include <epoxy/gl.h>

#include <map>

// The textures of dead GPU images, by exact storage, for the next image of
// that storage. At most 11 are kept: each return first evicts the entry with
// the smallest key (smallest internal format, then the narrowest), not the
// oldest. Memory pressure empties it. A texture's compute buffer rides along
// with it.
//
// lock_ guards the map and is never held across an OpenGL call, save in
// reportUsage; it may be taken with the GPU lock held.
class OpenGLTextureCache : public iReclaimable
{
public:
    struct CacheValue
    {
        GLuint texture = 0;
        Kv::Ptr<iGPUBuffer> buffer;
    };

    static constexpr std::size_t kLimit = 11;

    // Made on first use; lives to the end of the process, as images may die
    // in other statics' destructors.
    static OpenGLTextureCache& instance();

    // Takes a texture of that storage out, or gives name 0 and no buffer.
    CacheValue extract(const TextureDetails& details);
    void insert(const GPUImage& image, const TextureDetails& details);
    // Deletes every texture held.
    void clear();
    std::size_t size() const;

    virtual void purge() { clear(); }
    // Evicts one entry when the cache is full.
    void limitUsage() override;
    // Prints the count and each texture's size to standard output.
    virtual void reportUsage();

    void reclaim() override { purge(); }
    void report() override { reportUsage(); }

private:
    OpenGLTextureCache();
    ~OpenGLTextureCache() override;

    Kv::Ptr<iCriticalSection> lock_;
    std::multimap<TextureDetails, CacheValue> textures_;
};
