#pragma once

#include <spawn.h>

// Attributes for posix_spawn under which a program starts with every signal
// unblocked and at its default action, whatever the spawning thread blocks
// or ignores.
class SpawnAttributes
{
public:
    SpawnAttributes();
    ~SpawnAttributes();

    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes; }

private:
    posix_spawnattr_t attributes;
};
