#pragma once

// What every fuzzing harness shares: the entry point libFuzzer and the corpus
// replay call, a private scratch folder for inputs that the library reads from
// files, and the check that turns a broken promise into a crash with its input.

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Aborts, so that libFuzzer keeps the input and the replay fails on it.
inline void expect(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

// A folder of the process's own, in memory where /dev/shm exists: every
// input is written to a file, and a disk would be the bottleneck.
class ScratchFolder
{
public:
    ScratchFolder()
    {
        const std::string base = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : g_get_tmp_dir();
        std::string pattern = base + "/kvos-fuzz-XXXXXX";
        expect(g_mkdtemp(pattern.data()) != nullptr, "a scratch folder can be made");
        path_ = pattern + "/";
    }
    ~ScratchFolder() { std::filesystem::remove_all(path_); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    // With its trailing "/".
    const std::string& path() const { return path_; }

    // The file's full path.
    std::string write(const std::string& name, const void* bytes, size_t size) const
    {
        const std::string file = path_ + name;
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(static_cast<const char*>(bytes), std::streamsize(size));
        out.close();
        expect(out.good(), "an input can be written to the scratch folder");
        return file;
    }

private:
    std::string path_;
};

inline std::string readWhole(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
