#include "IOCompletionPort.h"

#include "iThreadManager.h"

namespace
{
    constexpr int kTerminated = 2;
}

int IOCompletionPort::getStatus() const
{
    while (running)
        OS()->threadMgr()->sleep(1000);
    return kTerminated;
}

void IOCompletionPort::terminate() const { running = false; }

bool IOCompletionPort::attach(Kv::Ptr<iFile>) { return false; }
