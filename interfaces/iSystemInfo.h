#pragma once

#include "LightweightString.h"
#include "iObject.h"

// What the application asks about the machine. Each query asks the system
// afresh; nothing is kept.
class KV_API iSystemInfo : public virtual iObject
{
public:
    // The short host name, without its domain; empty when there is none.
    virtual LightweightString<wchar_t> getComputerName() const = 0;
};
