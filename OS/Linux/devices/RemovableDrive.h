#pragma once

#include "iRemovableDevice.h"

// A volume as the device events give it: its mount path is its name.
class RemovableDrive : public iRemovableDevice
{
public:
    explicit RemovableDrive(const LightweightString<wchar_t>& name);

    eType getType() const override;
    LightweightString<wchar_t> getName() const override;

private:
    LightweightString<wchar_t> name;
};
