#include "OS.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    // The process manager's listing against the same facts read from /proc by
    // hand: each process's owner, state, kernel-thread mark and executable.
    void BM_ProcessList(benchmark::State& state)
    {
        iProcessManager* processes = OS()->processMgr();
        for (auto _ : state) {
            auto running = processes->getRunningProcesses();
            benchmark::DoNotOptimize(running.data());
            state.counters["processes"] = double(running.size());
        }
    }

    struct ProcEntry
    {
        std::string name;
        int id;
        std::string executablePath;
    };

    // The anchor: what a program that needs the list would write, in narrow
    // strings and with no error reporting.
    bool readEntry(int proc, const char* id, ProcEntry& entry)
    {
        char path[64];
        std::snprintf(path, sizeof path, "%s/stat", id);
        const int file = openat(proc, path, O_RDONLY | O_CLOEXEC);
        if (file == -1)
            return false;
        struct stat status;
        char text[512];
        const bool owned = fstat(file, &status) == 0 && status.st_uid == getuid();
        const ssize_t got = owned ? read(file, text, sizeof text - 1) : -1;
        close(file);
        if (got <= 0)
            return false;
        text[got] = 0;
        const char* close = std::strrchr(text, ')');
        const char* open = std::strchr(text, '(');
        if (!close || !open || close[1] != ' ' || close[2] == 'Z' || close[2] == 'X')
            return false;
        unsigned long flags = 0;
        if (std::sscanf(close + 2, "%*c %*d %*d %*d %*d %*d %lu", &flags) != 1 || (flags & 0x00200000))
            return false;
        std::snprintf(path, sizeof path, "%s/exe", id);
        char executable[4096];
        const ssize_t length = readlinkat(proc, path, executable, sizeof executable - 1);
        entry.executablePath.assign(executable, length > 0 ? size_t(length) : 0);
        const size_t slash = entry.executablePath.rfind('/');
        entry.name = length > 0 ? entry.executablePath.substr(slash + 1) : std::string(open + 1, close);
        entry.id = std::atoi(id);
        return true;
    }

    void BM_ProcessListByHand(benchmark::State& state)
    {
        for (auto _ : state) {
            std::vector<ProcEntry> running;
            DIR* proc = opendir("/proc");
            ProcEntry entry;
            while (const dirent* item = readdir(proc))
                if (item->d_name[0] >= '1' && item->d_name[0] <= '9' && readEntry(dirfd(proc), item->d_name, entry))
                    running.push_back(entry);
            closedir(proc);
            benchmark::DoNotOptimize(running.data());
            state.counters["processes"] = double(running.size());
        }
    }
}

BENCHMARK(BM_ProcessList)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ProcessListByHand)->Unit(benchmark::kMicrosecond);
