#pragma once

#include "iSystemInfo.h"

// The machine's description, reached through OS()->systemInfo(). It is built
// with the facade, so its constructor does nothing.
class SystemInfo : public iSystemInfo
{
public:
    LightweightString<wchar_t> getComputerName() const override;
};
