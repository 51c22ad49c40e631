// kvrsrc: writes the resource store that DynDLL reads beside a library.
//
//   kvrsrc out.rsrc TYPE#ID=file ...
//
// TYPE is one to four bytes ("STR" stands for "STR" and a zero byte), ID a
// number from -32768 to 32767. The layout is the one described in DynDLL.h:
// "KVRS", version 1, the entry count, 16-byte entries, then the data, all
// numbers little-endian.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{
    struct Entry
    {
        uint32_t type = 0;
        int16_t id = 0;
        std::vector<unsigned char> data;
    };

    void usage()
    {
        std::fprintf(stderr, "usage: kvrsrc out.rsrc TYPE#ID=file ...\n"
                             "  TYPE: 1 to 4 bytes; ID: -32768 to 32767\n");
    }

    [[noreturn]] void fail(const std::string& message)
    {
        std::fprintf(stderr, "kvrsrc: %s\n", message.c_str());
        std::exit(1);
    }

    void putLittleEndian(std::vector<unsigned char>& out, uint32_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            out.push_back(static_cast<unsigned char>(value >> (8 * i)));
    }

    // The first byte is the most significant; a short type is padded at the low end.
    uint32_t fourCharCode(const std::string& type)
    {
        uint32_t code = 0;
        for (size_t i = 0; i < 4; ++i)
            code |= uint32_t(i < type.size() ? static_cast<unsigned char>(type[i]) : 0) << (24 - 8 * i);
        return code;
    }

    Entry parseArgument(const std::string& argument)
    {
        // The last "#" before the "=": a type may hold "#" itself.
        const size_t equals = argument.find('=');
        const size_t hash = equals == std::string::npos ? std::string::npos : argument.rfind('#', equals);
        if (hash == std::string::npos || hash == 0 || hash > 4)
            fail("bad resource \"" + argument + "\": expected TYPE#ID=file with a type of 1 to 4 bytes");
        const std::string number = argument.substr(hash + 1, equals - hash - 1);
        char* end = nullptr;
        errno = 0;
        const long id = number.empty() ? 0 : std::strtol(number.c_str(), &end, 10);
        if (number.empty() || *end != 0 || errno != 0 || id < INT16_MIN || id > INT16_MAX)
            fail("bad id in \"" + argument + "\": expected a number from -32768 to 32767");
        const std::string path = argument.substr(equals + 1);
        std::ifstream file(path, std::ios::binary);
        if (!file)
            fail("cannot read " + path + ": " + std::strerror(errno));
        Entry entry;
        entry.type = fourCharCode(argument.substr(0, hash));
        entry.id = static_cast<int16_t>(id);
        entry.data.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        if (file.bad())
            fail("cannot read " + path);
        return entry;
    }

    std::vector<unsigned char> storeOf(const std::vector<Entry>& entries)
    {
        std::vector<unsigned char> store = {'K', 'V', 'R', 'S'};
        putLittleEndian(store, 1, 4);
        putLittleEndian(store, uint32_t(entries.size()), 4);
        uint64_t offset = 12 + 16 * uint64_t(entries.size());
        for (const Entry& entry : entries) {
            if (offset + entry.data.size() > UINT32_MAX)
                fail("the resources do not fit in 4 GiB");
            putLittleEndian(store, entry.type, 4);
            putLittleEndian(store, uint16_t(entry.id), 2);
            putLittleEndian(store, 0, 2);
            putLittleEndian(store, uint32_t(entry.data.size()), 4);
            putLittleEndian(store, uint32_t(offset), 4);
            offset += entry.data.size();
        }
        for (const Entry& entry : entries)
            store.insert(store.end(), entry.data.begin(), entry.data.end());
        return store;
    }
}

int main(int argc, char** argv)
{
    if (argc < 2) {
        usage();
        return 2;
    }
    std::vector<Entry> entries;
    for (int i = 2; i < argc; ++i) {
        Entry entry = parseArgument(argv[i]);
        // The reader takes the first of two equal addresses; a second one is a mistake.
        for (const Entry& earlier : entries)
            if (earlier.type == entry.type && earlier.id == entry.id)
                fail(std::string("resource given twice: ") + argv[i]);
        entries.push_back(std::move(entry));
    }
    const std::vector<unsigned char> store = storeOf(entries);
    // Written beside the target and renamed, so that a failed run leaves no half store.
    const std::string target = argv[1];
    const std::string partial = target + ".partial";
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(store.data()), std::streamsize(store.size()));
    out.close();
    if (!out || std::rename(partial.c_str(), target.c_str()) != 0) {
        std::remove(partial.c_str());
        fail("cannot write " + target);
    }
    return 0;
}
