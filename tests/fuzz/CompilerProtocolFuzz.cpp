// The effect compiler's protocol: the bytes as a request that kvfxc --serve
// reads and as a reply that the library reads back. What decodes must encode
// to bytes that decode to the same thing.

#include "FuzzSupport.h"

#include "SameReply.h"

namespace
{
    using Process = EffectCompilerProcess;

    bool sameRequest(const Process::Request& a, const Process::Request& b)
    {
        return a.name == b.name && a.folder == b.folder && a.source == b.source && a.definitions == b.definitions &&
               a.technique == b.technique && a.glslVersion == b.glslVersion && a.includeFolders == b.includeFolders;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);

    Process::Request request;
    if (Process::decodeRequest(bytes, request)) {
        Process::Request again;
        expect(Process::decodeRequest(Process::encodeRequest(request), again) && sameRequest(again, request),
               "a request reads back as it was written");
    }

    Process::Result result;
    if (Process::decodeReply(bytes, result)) {
        Process::Result again;
        expect(Process::decodeReply(Process::encodeReply(result), again) && sameReply(again, result),
               "a reply reads back as it was written");
    }
    return 0;
}
