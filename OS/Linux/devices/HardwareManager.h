#pragma once

#include "MountListener.h"
#include "iHardwareManager.h"

#include <functional>
#include <mutex>
#include <set>

// Serial ports and volume events, reached through OS()->hardwareMgr(). It is
// built with the facade: its constructor does nothing, and the listener starts
// in initialise.
class HardwareManager : public iHardwareManager
{
public:
    bool initialise() override;
    void deinitialise() override;
    void getComPorts(std::map<LightweightString<wchar_t>, LightweightString<wchar_t>>& ports) override;
    Kv::Ptr<iComPort> openComPort(const LightweightString<wchar_t>& name,
                                  Kv::Ptr<iComPortReceiver> receiver) const override;
    std::vector<Kv::Ptr<iRemovableDevice>> getRemovableDevices(iRemovableDevice::eType type) const override;
    Kv::Ptr<iRemovableDevice> getRemovableDevice(const LightweightString<wchar_t>& name) const override;
    void registerForDeviceEvents(iDeviceEventHandler* handler, iRemovableDevice::eType type, int value) override;
    void deregisterForDeviceEvents(iDeviceEventHandler* handler, iRemovableDevice::eType type) override;

    // From the listener, on its thread.
    void handleVolumeMounted(const LightweightString<wchar_t>& path);
    void handleVolumeUnmounted(const LightweightString<wchar_t>& path);
    void handleVolumeUnmounting(const LightweightString<wchar_t>& path);

private:
    struct HandlerItemT
    {
        iDeviceEventHandler* handler;
        iRemovableDevice::eType type;
        int value;

        auto operator<=>(const HandlerItemT&) const = default;
    };

    void notifyDriveHandlers(const std::function<void(iDeviceEventHandler*)>& notify);

    MountListener listener;
    // Guards eventHandlers_, and is held through each walk of them, so that a
    // handler deregistered from another thread is called no more once that
    // returns. Recursive: handlers may register and deregister in a walk.
    std::recursive_mutex handlersLock;
    std::set<HandlerItemT> eventHandlers_;
};
