#pragma once

#include "Ptr.h"
#include "iFirewireDevice.h"

// A FireWire device with no hardware behind it: every operation gives its
// fixed answer, and none is ever found.
class FirewireDevice : public iFirewireDevice
{
public:
    // Always null.
    static Kv::Ptr<iFirewireDevice> findDevice(const LightweightString<wchar_t>& name);

    explicit FirewireDevice(const LightweightString<wchar_t>& name);

    eType getType() const override;
    LightweightString<wchar_t> getName() const override;
    Format getFormat() const override;
    bool isMediaPresent() const override;
    bool setMode(eMode mode) override;
    eMode getMode() const override;
    bool sendRawCommand(void* command, unsigned long length) override;

private:
    LightweightString<wchar_t> name;
};
