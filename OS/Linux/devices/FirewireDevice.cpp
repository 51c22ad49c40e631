#include "FirewireDevice.h"

Kv::Ptr<iFirewireDevice> FirewireDevice::findDevice(const LightweightString<wchar_t>&) { return nullptr; }

FirewireDevice::FirewireDevice(const LightweightString<wchar_t>& name) : name(name) {}

iRemovableDevice::eType FirewireDevice::getType() const { return eFirewireDevice; }

LightweightString<wchar_t> FirewireDevice::getName() const { return name; }

iFirewireDevice::Format FirewireDevice::getFormat() const { return Format(); }

bool FirewireDevice::isMediaPresent() const { return false; }

bool FirewireDevice::setMode(eMode) { return false; }

iFirewireDevice::eMode FirewireDevice::getMode() const { return eMode(3); }

bool FirewireDevice::sendRawCommand(void*, unsigned long) { return false; }
