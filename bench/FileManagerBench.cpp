#include "BenchScratch.h"
#include "OS.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    constexpr unsigned kChunkBytes = 1u << 20;
    constexpr unsigned long long kFileBytes = 256ull << 20;
    constexpr unsigned kListedFiles = 10000;

    const std::string& scratch() { return benchScratch(); }

    // Closes on every way out of a set-up that fails half-way.
    class Descriptor
    {
    public:
        explicit Descriptor(int fd) : fd(fd) {}
        ~Descriptor()
        {
            if (fd != -1)
                close(fd);
        }
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;

        const int fd;
    };

    // Bytes that vary, so that no layer can pass the file off as holes or
    // zero pages. It is flushed to the disk at once: writeback left pending
    // would land in the middle of whichever benchmark runs next.
    bool writeBigFile(const std::string& path)
    {
        const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644));
        if (file.fd == -1)
            return false;
        std::vector<unsigned char> chunk(kChunkBytes);
        for (unsigned long long done = 0; done < kFileBytes; done += kChunkBytes) {
            for (unsigned i = 0; i < kChunkBytes; ++i)
                chunk[i] = static_cast<unsigned char>((done / kChunkBytes) * 131 + i * 7);
            if (write(file.fd, chunk.data(), kChunkBytes) != ssize_t(kChunkBytes))
                return false;
        }
        return fsync(file.fd) == 0;
    }

    // Empty files: the listing's cost is per entry, not per byte.
    bool fillListingFolder(const std::string& folder)
    {
        if (mkdir(folder.c_str(), 0755) != 0)
            return false;
        char name[32];
        for (unsigned i = 0; i < kListedFiles; ++i) {
            std::snprintf(name, sizeof name, "/clip_%05u.mov", i);
            const Descriptor file(open((folder + name).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644));
            if (file.fd == -1)
                return false;
        }
        const Descriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY));
        return directory.fd != -1 && syncfs(directory.fd) == 0;
    }

    // Empty when the file could not be made.
    const std::string& bigFile()
    {
        static const std::string path = [] {
            const std::string name = scratch() + "/source.bin";
            return !scratch().empty() && writeBigFile(name) ? name : std::string();
        }();
        return path;
    }

    const std::string& listingFolder()
    {
        static const std::string path = [] {
            const std::string name = scratch() + "/listing";
            return !scratch().empty() && fillListingFolder(name) ? name : std::string();
        }();
        return path;
    }

    LightweightString<wchar_t> wide(const std::string& path) { return OS()->utils()->fromUTF8(path.c_str(), -1); }

    // Both sides of a comparison read from memory, never from the disk.
    bool warmPageCache(const std::string& path)
    {
        const Descriptor file(open(path.c_str(), O_RDONLY));
        if (file.fd == -1)
            return false;
        std::vector<unsigned char> chunk(kChunkBytes);
        for (unsigned long long done = 0; done < kFileBytes; done += kChunkBytes)
            if (pread(file.fd, chunk.data(), kChunkBytes, off_t(done)) != ssize_t(kChunkBytes))
                return false;
        return true;
    }

    bool bigFileReady(benchmark::State& state)
    {
        const bool ready = !bigFile().empty() && warmPageCache(bigFile());
        if (!ready)
            state.SkipWithError("the 256 MiB file could not be made and read");
        return ready;
    }

    // One buffer for both sides of the read comparison: the same addresses,
    // alignment and mapped pages.
    unsigned char* readBuffer()
    {
        static std::vector<unsigned char> buffer(kChunkBytes);
        return buffer.data();
    }

    void BM_FileReadAt(benchmark::State& state)
    {
        if (!bigFileReady(state))
            return;
        Kv::Ptr<iFile> file =
            OS()->fileMgr()->openFile(wide(bigFile()), iFile::eAccessRead, iFile::eOpenExisting, iFile::eShareRead, 0);
        if (!file) {
            state.SkipWithError("openFile failed");
            return;
        }
        unsigned char* buffer = readBuffer();
        for (auto _ : state) {
            for (unsigned long long position = 0; position < kFileBytes; position += kChunkBytes) {
                if (file->readAt(position, buffer, kChunkBytes) != kChunkBytes) {
                    state.SkipWithError("short read");
                    return;
                }
            }
            benchmark::DoNotOptimize(buffer);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kFileBytes));
    }

    void BM_Pread(benchmark::State& state)
    {
        if (!bigFileReady(state))
            return;
        const Descriptor file(open(bigFile().c_str(), O_RDONLY));
        if (file.fd == -1) {
            state.SkipWithError("open failed");
            return;
        }
        unsigned char* buffer = readBuffer();
        for (auto _ : state) {
            for (unsigned long long position = 0; position < kFileBytes; position += kChunkBytes) {
                if (pread(file.fd, buffer, kChunkBytes, off_t(position)) != ssize_t(kChunkBytes)) {
                    state.SkipWithError("short read");
                    return;
                }
            }
            benchmark::DoNotOptimize(buffer);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kFileBytes));
    }

    // Outside the timing, the copy is checked and removed. Unlinked at once,
    // its dirty pages are dropped rather than written back later, under some
    // other benchmark.
    bool copiedAndRemoved(benchmark::State& state, const std::string& destination)
    {
        state.PauseTiming();
        struct stat status;
        const bool whole =
            stat(destination.c_str(), &status) == 0 && static_cast<unsigned long long>(status.st_size) == kFileBytes;
        unlink(destination.c_str());
        state.ResumeTiming();
        if (!whole)
            state.SkipWithError("the copy is not the whole file");
        return whole;
    }

    void BM_CopyFile(benchmark::State& state)
    {
        if (!bigFileReady(state))
            return;
        const std::string destination = scratch() + "/copy.bin";
        const LightweightString<wchar_t> source = wide(bigFile());
        const LightweightString<wchar_t> target = wide(destination);
        for (auto _ : state) {
            if (OS()->fileMgr()->copyFile(source, target, false, iFileManager::ProgressCallback{}) !=
                iFileManager::eCopyOk) {
                state.SkipWithError("copyFile failed");
                unlink(destination.c_str());
                return;
            }
            if (!copiedAndRemoved(state, destination))
                return;
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kFileBytes));
    }

    void BM_StdCopyFile(benchmark::State& state)
    {
        if (!bigFileReady(state))
            return;
        const std::string destination = scratch() + "/copy.bin";
        for (auto _ : state) {
            std::error_code error;
            if (!std::filesystem::copy_file(bigFile(), destination, std::filesystem::copy_options::overwrite_existing,
                                            error)) {
                state.SkipWithError("copy_file failed");
                unlink(destination.c_str());
                return;
            }
            if (!copiedAndRemoved(state, destination))
                return;
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kFileBytes));
    }

    bool listingReady(benchmark::State& state)
    {
        const bool ready = !listingFolder().empty();
        if (!ready)
            state.SkipWithError("the folder of 10,000 files could not be made");
        return ready;
    }

    void BM_GetDirectoryContents(benchmark::State& state)
    {
        if (!listingReady(state))
            return;
        const LightweightString<wchar_t> pattern = wide(listingFolder() + "/*.*");
        for (auto _ : state) {
            std::vector<iFileManager::DirectoryItem> items;
            OS()->fileMgr()->getDirectoryContents(pattern, items, true, false);
            if (items.size() != kListedFiles) {
                state.SkipWithError("the listing missed files");
                return;
            }
            benchmark::DoNotOptimize(items.data());
        }
        state.SetItemsProcessed(std::int64_t(state.iterations()) * kListedFiles);
    }

    // What a listing gives in the standard library: each name with its status.
    struct StdItem
    {
        std::filesystem::path name;
        std::filesystem::file_status status;
    };

    void BM_StdDirectoryIterator(benchmark::State& state)
    {
        if (!listingReady(state))
            return;
        const std::filesystem::path folder = listingFolder();
        for (auto _ : state) {
            std::vector<StdItem> items;
            std::error_code error;
            for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(folder, error))
                items.push_back(StdItem{entry.path().filename(), entry.status(error)});
            if (error || items.size() != kListedFiles) {
                state.SkipWithError("the listing missed files");
                return;
            }
            benchmark::DoNotOptimize(items.data());
        }
        state.SetItemsProcessed(std::int64_t(state.iterations()) * kListedFiles);
    }
}

BENCHMARK(BM_FileReadAt)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pread)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyFile)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StdCopyFile)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetDirectoryContents)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StdDirectoryIterator)->UseRealTime()->Unit(benchmark::kMillisecond);
