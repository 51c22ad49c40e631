#include "ProcessManager.h"

#include "MultiInstanceProcessGuard.h"
#include "Process.h"
#include "ProcfsProcess.h"
#include "iUtils.h"

#include <climits>
#include <cstring>
#include <unistd.h>

Kv::Ptr<iProcess> ProcessManager::getProcess(unsigned int id)
{
    ProcfsProcess entry;
    if (id > unsigned(INT_MAX) || !entry.read(pid_t(id)) || !entry.listed())
        return Kv::Ptr<iProcess>();
    return Kv::Ptr<iProcess>(new Process(pid_t(id)));
}

// Names are compared as UTF-8, so that only the match is converted.
Kv::Ptr<iProcess> ProcessManager::getProcess(const LightweightString<wchar_t>& name)
{
    const LightweightString<char> wanted = OS()->utils()->toUTF8(name);
    pid_t found = -1;
    ProcfsProcess::forEachListed([&](const ProcfsProcess& entry) {
        if (std::strcmp(entry.name(), wanted.c_str()) != 0)
            return true;
        found = entry.id();
        return false;
    });
    return found == -1 ? Kv::Ptr<iProcess>() : Kv::Ptr<iProcess>(new Process(found));
}

std::vector<iProcessManager::RunningProcess> ProcessManager::getRunningProcesses()
{
    const iUtils* utils = OS()->utils();
    std::vector<RunningProcess> running;
    ProcfsProcess::forEachListed([&](const ProcfsProcess& entry) {
        RunningProcess& process = running.emplace_back();
        process.name = utils->fromUTF8(entry.name(), -1);
        process.id = entry.id();
        process.executablePath = utils->fromUTF8(entry.executablePath(), -1);
        return true;
    });
    return running;
}

Kv::Ptr<iProcess> ProcessManager::getCurrentProcess() { return getProcess(unsigned(getpid())); }

int ProcessManager::getCurrentProcessID() { return getpid(); }

Kv::Ptr<iObject> ProcessManager::createMultiInstanceProcessGuard(const char* name)
{
    return MultiInstanceProcessGuard::make(name);
}
