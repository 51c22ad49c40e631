#pragma once

#include "Ptr.h"
#include "iObject.h"

// A lock on the file ".<name>.thereCanBeOnlyOne" in the user's Documents
// folder, held while the guard lives. Locks belong to the process, so only
// another process is kept out; the kernel drops the lock when the process
// ends, and the file stays behind.
class MultiInstanceProcessGuard : public iObject
{
public:
    // Null when the file cannot be opened or another process holds the lock.
    static Kv::Ptr<iObject> make(const char* name);
    // Unlocks; the descriptor stays open.
    ~MultiInstanceProcessGuard() override;

    MultiInstanceProcessGuard(const MultiInstanceProcessGuard&) = delete;
    MultiInstanceProcessGuard& operator=(const MultiInstanceProcessGuard&) = delete;

private:
    explicit MultiInstanceProcessGuard(int descriptor);

    const int descriptor;
};
