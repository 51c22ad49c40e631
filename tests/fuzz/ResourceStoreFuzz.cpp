// The resource store of a dynamic library: the bytes as the "<stem>.rsrc" file
// beside a library that loads, asked for the resources its own entries name
// and for two that the tests' plug-in carries. Each answer is checked against
// the store's layout, read here a second time.

#include "FuzzSupport.h"

#include "OS.h"

#include <cstring>
#include <optional>

namespace
{
    constexpr size_t kHeaderSize = 12;
    constexpr size_t kEntrySize = 16;
    // Enough to reach the entries that a later one with the same address hides.
    constexpr size_t kEntriesAsked = 16;

    struct Address
    {
        std::uint32_t type;
        std::int16_t id;
    };

    std::uint32_t littleEndian32(const uint8_t* bytes)
    {
        return std::uint32_t(bytes[0]) | std::uint32_t(bytes[1]) << 8 | std::uint32_t(bytes[2]) << 16 |
               std::uint32_t(bytes[3]) << 24;
    }

    // The bytes of the first entry with the address, or nothing for a store
    // that breaks the layout, an entry missing, or data outside the file.
    std::optional<std::string> expected(const std::string& store, Address address)
    {
        const auto* bytes = reinterpret_cast<const uint8_t*>(store.data());
        if (store.size() < kHeaderSize || store.compare(0, 4, "KVRS") != 0 || littleEndian32(bytes + 4) != 1)
            return std::nullopt;
        const std::uint64_t count = littleEndian32(bytes + 8);
        const std::uint64_t dataStart = kHeaderSize + count * kEntrySize;
        if (dataStart > store.size())
            return std::nullopt;
        for (std::uint64_t index = 0; index < count; ++index) {
            const uint8_t* entry = bytes + kHeaderSize + index * kEntrySize;
            if (littleEndian32(entry) != address.type || std::int16_t(entry[4] | entry[5] << 8) != address.id)
                continue;
            const std::uint64_t size = littleEndian32(entry + 8);
            const std::uint64_t offset = littleEndian32(entry + 12);
            if (offset < dataStart || offset + size > store.size())
                return std::nullopt;
            return store.substr(offset, size);
        }
        return std::nullopt;
    }

    // The type as a caller names it: its bytes up to the first zero, as
    // wide characters, which the library narrows and pads with zeros again.
    LightweightString<wchar_t> typeName(std::uint32_t type)
    {
        LightweightString<wchar_t> name;
        for (int shift = 24; shift >= 0 && (type >> shift & 0xFF) != 0; shift -= 8)
            name.push_back(wchar_t(type >> shift & 0xFF));
        return name;
    }

    // Only the bytes up to the first zero of a type can be asked for.
    std::uint32_t askable(std::uint32_t type)
    {
        for (std::uint32_t mask = 0xFF000000; mask != 0; mask >>= 8)
            if ((type & mask) == 0)
                return type & ~(mask | (mask - 1));
        return type;
    }

    void ask(const iDLL& library, const std::string& store, Address address)
    {
        const std::wstring number = L"#" + std::to_wstring(address.id);
        const iDLL::Resource resource = library.getResource(typeName(address.type), number.c_str());
        const std::optional<std::string> bytes = expected(store, address);
        if (!bytes) {
            expect(!resource.data && resource.size == 0, "a resource the store does not hold is empty");
            return;
        }
        expect(resource.data && resource.size == bytes->size(), "a resource has the size of its entry");
        expect(std::memcmp(resource.data.get(), bytes->data(), bytes->size()) == 0, "a resource has its entry's bytes");
    }

    // The library, copied where the store is written, loaded once.
    struct Library
    {
        Library() : dll(OS()->fileMgr()->openDLL(OS()->utils()->fromUTF8(copy().c_str(), -1)))
        {
            expect(dll && dll->valid(), "the store's library loads");
        }

        std::string copy()
        {
            const std::string path = folder.path() + "Store.so";
            std::filesystem::copy_file(KVOS_FUZZ_STORE_PLUGIN, path);
            return path;
        }

        ScratchFolder folder;
        Kv::Ptr<iDLL> dll;
    };
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const Library library;
    library.folder.write("Store.rsrc", data, size);
    const std::string store(reinterpret_cast<const char*>(data), size);
    ask(*library.dll, store, {0x54455854, 128}); // TEXT#128
    ask(*library.dll, store, {0x53545200, -2});  // STR#-2
    for (size_t index = 0; index < kEntriesAsked && kHeaderSize + (index + 1) * kEntrySize <= size; ++index) {
        const uint8_t* entry = data + kHeaderSize + index * kEntrySize;
        ask(*library.dll, store, {askable(littleEndian32(entry)), std::int16_t(entry[4] | entry[5] << 8)});
    }
    return 0;
}
