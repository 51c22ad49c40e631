#pragma once

#include "iFile.h"

// The file subsystem's time value: whole seconds of the Unix epoch times
// 10,000,000. Shared by the file classes, which read and set times the same
// way on a descriptor.
namespace FileTimes
{
    constexpr unsigned long long kTicksPerSecond = 10000000;

    // The time the type asks for, from fstat; 0 on failure.
    unsigned long long get(int fd, iFile::eTimeType type);
    // Access and modification together, whole seconds; the change time cannot be set.
    bool set(int fd, iFile::eTimeType type, unsigned long long time);
}
