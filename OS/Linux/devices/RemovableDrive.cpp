#include "RemovableDrive.h"

RemovableDrive::RemovableDrive(const LightweightString<wchar_t>& name) : name(name) {}

iRemovableDevice::eType RemovableDrive::getType() const { return eRemovableDrive; }

LightweightString<wchar_t> RemovableDrive::getName() const { return name; }
