#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iObject.h"
#include "iProcess.h"

#include <vector>

// The programs that the current user runs, kernel threads and ended processes
// left out, and a guard against a second instance of the application. It
// keeps no state: every call may run on any thread.
class KV_API iProcessManager : public virtual iObject
{
public:
    struct RunningProcess
    {
        LightweightString<wchar_t> name;
        int id = -1;
        LightweightString<wchar_t> executablePath;
        // Empty: programs on this host come without bundles.
        LightweightString<wchar_t> bundlePath;
    };

    // Null when no listed process has the id.
    virtual Kv::Ptr<iProcess> getProcess(unsigned int id) = 0;
    // The first listed process whose name matches exactly, case included;
    // null when none does.
    virtual Kv::Ptr<iProcess> getProcess(const LightweightString<wchar_t>& name) = 0;
    virtual std::vector<RunningProcess> getRunningProcesses() { return {}; }
    virtual Kv::Ptr<iProcess> getCurrentProcess() = 0;
    virtual int getCurrentProcessID() = 0;
    // Null when another process holds the guard of that name, or when its file
    // cannot be opened. The guard is a lock on a hidden file in the user's
    // Documents folder; the lock goes when the guard dies or the process ends,
    // the file stays. Guards of one name within one process do not exclude
    // each other.
    virtual Kv::Ptr<iObject> createMultiInstanceProcessGuard(const char* name) = 0;
};
