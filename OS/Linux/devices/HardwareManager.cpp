#include "HardwareManager.h"

#include "ComPort.h"
#include "FirewireDevice.h"
#include "RemovableDrive.h"
#include "SerialPortList.h"
#include "iUtils.h"

bool HardwareManager::initialise()
{
    listener.initialise(this);
    return true;
}

void HardwareManager::deinitialise()
{
    listener.deinitialise();
    std::lock_guard lock(handlersLock);
    eventHandlers_.clear();
}

void HardwareManager::getComPorts(std::map<LightweightString<wchar_t>, LightweightString<wchar_t>>& ports)
{
    const iUtils* utils = OS()->utils();
    for (const std::string& path : SerialPortList::calloutDevices())
        ports[utils->fromUTF8(path.c_str(), -1)] = utils->fromUTF8(path.c_str(), -1);
}

Kv::Ptr<iComPort> HardwareManager::openComPort(const LightweightString<wchar_t>& name,
                                               Kv::Ptr<iComPortReceiver> receiver) const
{
    return ComPort::open(OS()->utils()->toUTF8(name).c_str(), std::move(receiver));
}

std::vector<Kv::Ptr<iRemovableDevice>> HardwareManager::getRemovableDevices(iRemovableDevice::eType) const
{
    return {};
}

Kv::Ptr<iRemovableDevice> HardwareManager::getRemovableDevice(const LightweightString<wchar_t>& name) const
{
    return FirewireDevice::findDevice(name);
}

// An equal item already there stays as it is.
void HardwareManager::registerForDeviceEvents(iDeviceEventHandler* handler, iRemovableDevice::eType type, int value)
{
    if (!handler)
        return;
    std::lock_guard lock(handlersLock);
    eventHandlers_.insert({handler, type, value});
}

void HardwareManager::deregisterForDeviceEvents(iDeviceEventHandler* handler, iRemovableDevice::eType type)
{
    std::lock_guard lock(handlersLock);
    std::erase_if(eventHandlers_,
                  [&](const HandlerItemT& item) { return item.handler == handler && item.type == type; });
}

void HardwareManager::handleVolumeMounted(const LightweightString<wchar_t>& path)
{
    const Kv::Ptr<iRemovableDevice> drive(new RemovableDrive(path));
    notifyDriveHandlers([&](iDeviceEventHandler* handler) { handler->deviceMounted(drive); });
}

void HardwareManager::handleVolumeUnmounted(const LightweightString<wchar_t>& path)
{
    notifyDriveHandlers([&](iDeviceEventHandler* handler) { handler->deviceUnmounted(path); });
}

void HardwareManager::handleVolumeUnmounting(const LightweightString<wchar_t>& path)
{
    notifyDriveHandlers([&](iDeviceEventHandler* handler) { handler->deviceUnmounting(path); });
}

// The walk goes over a copy, so that a handler may deregister during it; one
// deregistered by an earlier handler of the same walk is still called.
void HardwareManager::notifyDriveHandlers(const std::function<void(iDeviceEventHandler*)>& notify)
{
    std::lock_guard lock(handlersLock);
    const std::set<HandlerItemT> handlers = eventHandlers_;
    for (const HandlerItemT& item : handlers)
        if (item.type == iRemovableDevice::eRemovableDrive)
            notify(item.handler);
}
