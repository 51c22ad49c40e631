#pragma once

#include "iObject.h"

// Implemented by the application to hear from an iComPort. Both calls come on
// the port's reader thread: getBuffer before each read, dataReceived after a
// read that brought count bytes into that buffer.
class KV_API iComPortReceiver : public virtual iObject
{
public:
    virtual void dataReceived(unsigned int count) = 0;
    // Room for at least 8 bytes: no read asks for more.
    virtual void* getBuffer() = 0;
};

// A serial line, opened for this process alone by iHardwareManager. Nothing is
// read until setConfig has been called; then a thread of the port's own hands
// every byte that arrives to the receiver, at most 8 at a time. The last
// reference must not be dropped before setConfig: the destructor would wait for
// a reader that was never started, for ever.
class KV_API iComPort : public virtual iObject
{
public:
    struct Config
    {
        unsigned int parity;   // 0 none, 1 even, 2 odd
        unsigned int stopBits; // 1 selects two stop bits; anything else one
        unsigned int baud;     // only 9600, 19200 and 38400 change the speed
        unsigned int dataBits; // 7 selects seven bits; anything else eight
    };

    // The modem lines. Setting one line clears the other.
    enum eCommand
    {
        SetDTR = 0,
        ClearDTR = 1,
        SetRTS = 2,
        ClearRTS = 3,
    };

    // True when all size bytes were written.
    virtual bool sendData(void* data, unsigned int size) = 0;
    // False for a command not listed, and when the line refuses it.
    virtual bool sendCommand(eCommand command) = 0;
    // Drops what waits in both directions; the system's result as it is.
    virtual int purge() = 0;
    // Raw 8-bit line with blocking reads. Each call starts the reader anew.
    virtual bool setConfig(const Config& config) = 0;
};
