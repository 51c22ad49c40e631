#pragma once

#include "XY.h"
#include "iRemovableDevice.h"

// A camera or deck on a FireWire bus. No such device is ever found on this
// host: the operations exist for the application's sake.
class KV_API iFirewireDevice : public iRemovableDevice
{
public:
    // The application's header names the modes.
    enum eMode : int
    {
    };

    struct Format
    {
        XY<int> frameSize;
        XY<int> aspectRatio;
        bool interlaced = false;
    };

    virtual Format getFormat() const = 0;
    virtual bool isMediaPresent() const = 0;
    virtual bool setMode(eMode mode) = 0;
    virtual eMode getMode() const = 0;
    virtual bool sendRawCommand(void* command, unsigned long length) = 0;
};
