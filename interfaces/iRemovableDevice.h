#pragma once

#include "LightweightString.h"
#include "iObject.h"

// A device that comes and goes: what iDeviceEventHandler is told about.
class KV_API iRemovableDevice : public virtual iObject
{
public:
    // The application's header holds further kinds; this library makes only these.
    enum eType
    {
        eFirewireDevice = 1,
        eRemovableDrive = 3, // a volume: its name is its mount path
    };

    virtual eType getType() const = 0;
    virtual LightweightString<wchar_t> getName() const = 0;
    virtual LightweightString<wchar_t> getDeviceID() const { return getName(); }
};
