#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iRemovableDevice.h"

// Implemented by the application and registered with iHardwareManager for one
// device type. Volume events come on the hardware manager's listener thread;
// paths are the volumes' mount paths.
class KV_API iDeviceEventHandler : public virtual iVirtual
{
public:
    virtual void deviceMounted(Kv::Ptr<iRemovableDevice> device) = 0;
    virtual void deviceUnmounted(const LightweightString<wchar_t>& path) = 0;
    // Only where the unmount goes through UDisks2, which says so beforehand.
    virtual void deviceUnmounting(const LightweightString<wchar_t>& path) = 0;
};
