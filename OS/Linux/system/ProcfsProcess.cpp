#include "ProcfsProcess.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
    // The kernel's mark on its own threads (include/linux/sched.h).
    constexpr unsigned long kKernelThread = 0x00200000;

    struct FolderCloser
    {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    using Folder = std::unique_ptr<DIR, FolderCloser>;

    // Skips count fields separated by single spaces; null when the text ends first.
    const char* skipFields(const char* text, int count)
    {
        for (; text && count > 0; --count) {
            text = std::strchr(text, ' ');
            if (text)
                ++text;
        }
        return text;
    }
}

bool ProcfsProcess::read(pid_t id)
{
    char folder[32];
    std::snprintf(folder, sizeof folder, "/proc/%d", int(id));
    return readAt(AT_FDCWD, folder, id);
}

void ProcfsProcess::forEachListed(const std::function<bool(const ProcfsProcess&)>& visit)
{
    const Folder proc(opendir("/proc"));
    if (!proc)
        return;
    ProcfsProcess entry;
    while (const dirent* item = readdir(proc.get())) {
        char* end = nullptr;
        const long id = std::strtol(item->d_name, &end, 10);
        if (*end || id <= 0)
            continue;
        if (entry.readAt(dirfd(proc.get()), item->d_name, pid_t(id)) && entry.listed() && !visit(entry))
            return;
    }
}

bool ProcfsProcess::listed() const
{
    // A zombie has ended; only its exit status waits to be collected.
    return owner == getuid() && !(flags & kKernelThread) && state != 'Z' && state != 'X';
}

const char* ProcfsProcess::name() const
{
    if (!*executable)
        return shortName;
    const char* slash = std::strrchr(executable, '/');
    return slash ? slash + 1 : executable;
}

bool ProcfsProcess::readAt(int procFolder, const char* folder, pid_t id)
{
    processId = id;
    if (!readStat(procFolder, folder))
        return false;
    readExecutable(procFolder, folder);
    return true;
}

// "pid (name) state ppid pgrp session tty tpgid flags ...": the name may hold
// spaces and parentheses, so it ends at the last ')'.
bool ProcfsProcess::readStat(int procFolder, const char* folder)
{
    char path[48];
    std::snprintf(path, sizeof path, "%s/stat", folder);
    const int file = openat(procFolder, path, O_RDONLY | O_CLOEXEC);
    if (file == -1)
        return false;
    struct stat status;
    char text[512];
    const ssize_t got = fstat(file, &status) == 0 ? ::read(file, text, sizeof text - 1) : -1;
    close(file);
    if (got <= 0)
        return false;
    text[got] = 0;
    const char* open = std::strchr(text, '(');
    const char* close = std::strrchr(text, ')');
    if (!open || !close || close < open || close[1] != ' ')
        return false;
    const size_t nameLength = std::min(size_t(close - open - 1), sizeof shortName - 1);
    std::memcpy(shortName, open + 1, nameLength);
    shortName[nameLength] = 0;
    state = close[2];
    const char* flagsField = skipFields(close + 2, 6);
    if (!flagsField)
        return false;
    flags = std::strtoul(flagsField, nullptr, 10);
    // /proc gives each process's folder to the user it runs as.
    owner = status.st_uid;
    return true;
}

void ProcfsProcess::readExecutable(int procFolder, const char* folder)
{
    executable[0] = 0;
    if (!listed())
        return;
    char path[48];
    std::snprintf(path, sizeof path, "%s/exe", folder);
    const ssize_t length = readlinkat(procFolder, path, executable, sizeof executable - 1);
    if (length <= 0)
        return;
    executable[length] = 0;
    // A program whose file was replaced while it runs keeps its name.
    static constexpr char kDeleted[] = " (deleted)";
    constexpr size_t kDeletedLength = sizeof kDeleted - 1;
    if (size_t(length) > kDeletedLength && std::strcmp(executable + length - kDeletedLength, kDeleted) == 0)
        executable[length - kDeletedLength] = 0;
}
