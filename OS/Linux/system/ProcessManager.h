#pragma once

#include "iProcessManager.h"

// The current user's processes from /proc, reached through
// OS()->processMgr(). It is built with the facade and has no state.
class ProcessManager : public iProcessManager
{
public:
    Kv::Ptr<iProcess> getProcess(unsigned int id) override;
    Kv::Ptr<iProcess> getProcess(const LightweightString<wchar_t>& name) override;
    std::vector<RunningProcess> getRunningProcesses() override;
    Kv::Ptr<iProcess> getCurrentProcess() override;
    int getCurrentProcessID() override;
    Kv::Ptr<iObject> createMultiInstanceProcessGuard(const char* name) override;
};
