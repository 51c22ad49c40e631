#include "DynDLL.h"

#include "iUtils.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    constexpr unsigned char kStoreMagic[4] = {'K', 'V', 'R', 'S'};
    constexpr uint32_t kStoreVersion = 1;
    constexpr uint64_t kHeaderSize = 12;
    constexpr uint64_t kEntrySize = 16;

    uint32_t littleEndian32(const unsigned char* bytes)
    {
        return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
    }

    int16_t littleEndian16(const unsigned char* bytes) { return int16_t(uint16_t(bytes[0] | bytes[1] << 8)); }

    LightweightString<char> hostPath(const LightweightString<wchar_t>& name) { return OS()->utils()->toUTF8(name); }

    // A plug-in folder's name may end in "/", which is no part of its stem.
    LightweightString<wchar_t> withoutTrailingSlashes(const LightweightString<wchar_t>& name)
    {
        unsigned length = name.size();
        while (length > 1 && name[length - 1] == L'/')
            --length;
        return name.substr(0, length);
    }

    LightweightString<wchar_t> stemOf(const LightweightString<wchar_t>& name)
    {
        return stripPathAndExt(withoutTrailingSlashes(name));
    }

    void* openPluginFolder(const LightweightString<wchar_t>& name)
    {
        const LightweightString<wchar_t> stem = stemOf(name);
        if (stem.empty())
            return nullptr;
        const LightweightString<char> library = hostPath(withoutTrailingSlashes(name) + L"/" + stem + L".so");
        return library.empty() ? nullptr : dlopen(library.c_str(), RTLD_LAZY);
    }

    // The one owner of a store's descriptor.
    class StoreFile
    {
    public:
        // Non-blocking, so that a FIFO in the store's place cannot hang the
        // caller; size() then refuses it.
        explicit StoreFile(const char* path) : descriptor(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
        ~StoreFile()
        {
            if (descriptor >= 0)
                close(descriptor);
        }
        StoreFile(const StoreFile&) = delete;
        StoreFile& operator=(const StoreFile&) = delete;

        // 0 for anything that is not a regular file.
        uint64_t size() const
        {
            struct stat status;
            if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
                return 0;
            return uint64_t(status.st_size);
        }

        bool readAt(uint64_t position, void* destination, uint64_t bytes) const
        {
            auto* cursor = static_cast<unsigned char*>(destination);
            while (bytes > 0) {
                const ssize_t got = pread(descriptor, cursor, size_t(bytes), off_t(position));
                if (got < 0 && errno == EINTR)
                    continue;
                if (got <= 0)
                    return false;
                cursor += got;
                position += uint64_t(got);
                bytes -= uint64_t(got);
            }
            return true;
        }

    private:
        int descriptor;
    };

    // Every size and offset is checked against the file's real size before
    // anything is allocated, so a damaged store costs no more than its length.
    iDLL::Resource readResource(const char* path, uint32_t typeCode, int16_t id)
    {
        const StoreFile store(path);
        const uint64_t storeSize = store.size();
        unsigned char header[kHeaderSize];
        if (storeSize < kHeaderSize || !store.readAt(0, header, kHeaderSize))
            return {};
        if (std::memcmp(header, kStoreMagic, sizeof kStoreMagic) != 0 || littleEndian32(header + 4) != kStoreVersion)
            return {};
        const uint64_t count = littleEndian32(header + 8);
        const uint64_t dataStart = kHeaderSize + count * kEntrySize;
        if (dataStart > storeSize)
            return {};
        for (uint64_t index = 0; index < count; ++index) {
            unsigned char entry[kEntrySize];
            if (!store.readAt(kHeaderSize + index * kEntrySize, entry, kEntrySize))
                return {};
            if (littleEndian32(entry) != typeCode || littleEndian16(entry + 4) != id)
                continue;
            const uint32_t size = littleEndian32(entry + 8);
            const uint64_t offset = littleEndian32(entry + 12);
            if (offset < dataStart || offset + size > storeSize)
                return {};
            iDLL::Resource resource;
            // The pointer releases its bytes with plain operator delete.
            resource.data = Kv::Ptr<unsigned char, Kv::DtorTraits, Kv::ExternalRefCountTraits>(
                static_cast<unsigned char*>(::operator new(size)));
            if (!store.readAt(offset, resource.data.get(), size))
                return {};
            resource.size = size;
            return resource;
        }
        return {};
    }
}

DynDLL::DynDLL(const LightweightString<wchar_t>& name) : filename(name)
{
    const LightweightString<char> host = hostPath(name);
    // dlopen("") gives the program itself, which is not what anybody named.
    if (!host.empty())
        handle = dlopen(host.c_str(), RTLD_LAZY);
    if (handle)
        return;
    // Kept, as the plug-in folder's attempt overwrites it and the name's own
    // failure is the one worth reporting.
    const char* error = host.empty() ? nullptr : dlerror();
    const LightweightString<char> reason(error ? error : "");
    bundle = openPluginFolder(name);
    if (!bundle)
        std::printf("DynDLL::DynDLL() : dlopen failed (%s)\n", reason.c_str());
}

DynDLL::~DynDLL()
{
    if (!valid())
        return;
    if (handle)
        dlclose(handle);
    if (bundle)
        dlclose(bundle);
}

const LightweightString<wchar_t>& DynDLL::getFilename() const { return filename; }

bool DynDLL::valid() const { return handle || bundle; }

bool DynDLL::containsFunction(const LightweightString<char>& name) const { return getFunction(name) != nullptr; }

void* DynDLL::getFunction(const LightweightString<char>& name) const
{
    if (handle)
        return dlsym(handle, name.c_str());
    if (bundle)
        return dlsym(bundle, name.c_str());
    return nullptr;
}

bool DynDLL::containsResource(const LightweightString<wchar_t>&, const LightweightString<wchar_t>&) const { return false; }

iDLL::Resource DynDLL::getResource(const LightweightString<wchar_t>& type, const LightweightString<wchar_t>& name) const
{
    const LightweightString<char> storePath = resourceStorePath();
    const uint32_t typeCode = StringAsFourCC(OS()->utils()->narrow(type.c_str()));
    int number = 0;
    if (std::swscanf(name.c_str(), L"#%d", &number) != 1)
        return {};
    if (storePath.empty())
        return {};
    return readResource(storePath.c_str(), typeCode, int16_t(number));
}

// Beside the file that the loader really opened: a bare name may have been
// found anywhere on the library path.
LightweightString<char> DynDLL::resourceStorePath() const
{
    void* loaded = handle ? handle : bundle;
    struct link_map* library = nullptr;
    if (!loaded || dlinfo(loaded, RTLD_DI_LINKMAP, &library) != 0 || !library || !library->l_name)
        return {};
    const LightweightString<char> stem = hostPath(stemOf(filename));
    if (stem.empty())
        return {};
    const char* lastSlash = std::strrchr(library->l_name, '/');
    const LightweightString<char> folder =
        lastSlash ? LightweightString<char>(library->l_name, unsigned(lastSlash - library->l_name + 1)) : LightweightString<char>();
    return folder + stem.c_str() + ".rsrc";
}
