#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iComPort.h"
#include "iDeviceEventHandler.h"
#include "iObject.h"
#include "iRemovableDevice.h"

#include <map>
#include <vector>

// Serial ports and volume events, reached through OS()->hardwareMgr().
// Volume events start with initialise and stop with deinitialise; they come on
// a thread of the manager's own. A handler may register and deregister from
// any thread, itself included inside an event; once deregistration has
// returned on another thread, the handler is called no more.
class KV_API iHardwareManager : public virtual iObject
{
public:
    virtual bool initialise() = 0;
    // Stops the events and forgets every handler.
    virtual void deinitialise() = 0;
    // Each serial device's path, as both key and value.
    virtual void getComPorts(std::map<LightweightString<wchar_t>, LightweightString<wchar_t>>& ports) = 0;
    // Null when the port cannot be had, or without a receiver.
    virtual Kv::Ptr<iComPort> openComPort(const LightweightString<wchar_t>& name,
                                          Kv::Ptr<iComPortReceiver> receiver) const = 0;
    // Always empty.
    virtual std::vector<Kv::Ptr<iRemovableDevice>> getRemovableDevices(iRemovableDevice::eType type) const = 0;
    // Always null: no FireWire device is ever found.
    virtual Kv::Ptr<iRemovableDevice> getRemovableDevice(const LightweightString<wchar_t>& name) const = 0;
    // Volume events go to handlers of eRemovableDrive only. The same handler,
    // type and value twice make one registration; a null handler is ignored.
    virtual void registerForDeviceEvents(iDeviceEventHandler* handler, iRemovableDevice::eType type, int value) = 0;
    // Every registration of that handler and type, whatever its value.
    virtual void deregisterForDeviceEvents(iDeviceEventHandler* handler, iRemovableDevice::eType type) = 0;
};
