#pragma once

#include "iIOCompletionPort.h"

#include <atomic>

// Holds a thread in getStatus until terminate is called; completes nothing.
class IOCompletionPort : public iIOCompletionPort
{
public:
    int getStatus() const override;
    void terminate() const override;
    bool attach(Kv::Ptr<iFile> file) override;

private:
    mutable std::atomic<bool> running{true};
};
