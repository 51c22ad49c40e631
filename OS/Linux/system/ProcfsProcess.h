#pragma once

#include <functional>
#include <sys/types.h>

// One process as /proc describes it, read in one go. The process may end at
// any moment: a read that finds it gone simply fails, and a listing skips it.
class ProcfsProcess
{
public:
    // False when the process is gone or /proc cannot tell.
    bool read(pid_t id);

    // The processes that the process manager shows, in /proc's order, until
    // visit answers false.
    static void forEachListed(const std::function<bool(const ProcfsProcess&)>& visit);

    // The current user's, still running, and not a kernel thread.
    bool listed() const;
    pid_t id() const { return processId; }
    // The executable's file name, or the kernel's short name of the process
    // when the executable cannot be read.
    const char* name() const;
    // Empty when the executable cannot be read.
    const char* executablePath() const { return executable; }

private:
    // folder is the process's folder in /proc, relative to procFolder or absolute.
    bool readAt(int procFolder, const char* folder, pid_t id);
    bool readStat(int procFolder, const char* folder);
    void readExecutable(int procFolder, const char* folder);

    pid_t processId = -1;
    uid_t owner = 0;
    char state = 0;
    unsigned long flags = 0;
    // The kernel's names are at most 64 bytes.
    char shortName[65] = {};
    char executable[4096] = {};
};
