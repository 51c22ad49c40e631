#include "Process.h"

#include "ProcfsProcess.h"
#include "SpawnAttributes.h"
#include "iUtils.h"

#include <cerrno>
#include <cstdint>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace
{
    void* collectExit(void* child)
    {
        const pid_t id = pid_t(reinterpret_cast<intptr_t>(child));
        while (waitpid(id, nullptr, 0) == -1 && errno == EINTR) {
        }
        return nullptr;
    }

    // Without a waiter the ended program would stay a zombie for as long as
    // the editor runs. If no thread can be had, that is what happens.
    void collectExitLater(pid_t child)
    {
        pthread_attr_t attributes;
        if (pthread_attr_init(&attributes) != 0)
            return;
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        // It only waits.
        pthread_attr_setstacksize(&attributes, 64 * 1024);
        pthread_t waiter;
        pthread_create(&waiter, &attributes, collectExit, reinterpret_cast<void*>(intptr_t(child)));
        pthread_attr_destroy(&attributes);
    }
}

Process::Process(pid_t id) : id(id) {}

Kv::Ptr<iProcess> Process::create(const LightweightString<wchar_t>& application,
                                  const LightweightString<wchar_t>& document)
{
    LightweightString<char> program = OS()->utils()->toUTF8(application);
    LightweightString<char> argument = OS()->utils()->toUTF8(document);
    char* arguments[] = {const_cast<char*>(program.c_str()), const_cast<char*>(argument.c_str()), nullptr};
    const SpawnAttributes spawn;
    pid_t child = -1;
    // glibc reports a failed exec here, so there is nothing to wait for.
    if (posix_spawn(&child, program.c_str(), nullptr, spawn.get(), arguments, environ) != 0)
        return Kv::Ptr<iProcess>();
    collectExitLater(child);
    return Kv::Ptr<iProcess>(new Process(child));
}

int Process::getID() const { return id; }

LightweightString<wchar_t> Process::getName() const
{
    ProcfsProcess entry;
    if (!entry.read(id))
        return LightweightString<wchar_t>();
    return OS()->utils()->fromUTF8(entry.name(), -1);
}

void Process::writeDumpFile(const LightweightString<wchar_t>&, const DumpFileContext&) {}

void Process::createMiniDump(const DumpFileContext*) {}

void Process::handleEvent(const InterProcessEvent&) {}
