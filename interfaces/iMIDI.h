#pragma once

#include "iObject.h"
#include "iUtils.h"

class iMidiInputDevice;
class iMidiOutputDevice;

// The classic capability records. The library leaves them as the caller gave
// them.
struct MIDIInCaps
{
    unsigned short manufacturerID = 0;
    unsigned short productID = 0;
    unsigned int driverVersion = 0;
    wchar_t name[32] = {};
    unsigned int support = 0;
};

struct MIDIOutCaps
{
    unsigned short manufacturerID = 0;
    unsigned short productID = 0;
    unsigned int driverVersion = 0;
    wchar_t name[32] = {};
    unsigned short technology = 0;
    unsigned short voices = 0;
    unsigned short notes = 0;
    unsigned short channelMask = 0;
    unsigned int support = 0;
};

// What an input device delivers, implemented by the application. Both calls
// come on the device's own thread, "CFRUNMIDI", while it runs (between start
// and stop).
class KV_API InputCallbackReceiver
{
public:
    virtual ~InputCallbackReceiver() = default;

    // Kept in their slots for the application: the library never calls them.
    virtual void opened(unsigned int, iMidiInputDevice*) {}
    virtual void closed(unsigned int, iMidiInputDevice*) {}

    // One call for every message of a packet, each with the packet's first
    // four bytes as one little-endian value, whatever the message is. A SysEx
    // that fits in one packet arrives here too.
    virtual void shortData(unsigned int index, iMidiInputDevice* device, unsigned int message) = 0;
    // A SysEx that spans packets, in pieces of at most 1024 bytes: only the
    // last piece ends with 0xF7. The bytes are the device's until the call
    // returns.
    virtual void longData(unsigned int index, iMidiInputDevice* device, const unsigned char* bytes,
                          unsigned int length) = 0;
};

// Kept with an output device for the application; the library calls nothing
// on it.
class KV_API OutputCallbackReceiver
{
public:
    virtual ~OutputCallbackReceiver() = default;
};

// A buffer for long messages, from iMIDI::allocHeader.
class KV_API iMIDIHdr : public iVirtual
{
public:
    virtual unsigned int getFlags() const = 0; // always 0
    // At least 256 bytes, and at least the size the header was made with.
    virtual unsigned char* getData() = 0;
    virtual unsigned int getBytesRecorded() const = 0;
};

// A device is the caller's from open on, even when open fails: close it, then
// wrap it in a Kv::Ptr or delete it. Releasing a started device that was not
// stopped never returns. One caller at a time: the device takes one command
// at a time and has no lock of its own.
class KV_API iMidiInputDevice : public virtual iObject
{
public:
    virtual KvResult close() = 0;
    // Delivery to the receiver begins; messages that came in before wait for
    // it. Does not wait for the device's thread.
    virtual KvResult start() = 0;
    // Delivery ends; later messages wait for the next start. Does not wait
    // for a delivery under way.
    virtual KvResult stop() = 0;
    virtual KvResult reset() = 0;                  // always 1
    virtual KvResult getID(unsigned int& id) = 0;  // always 1, id untouched
};

class KV_API iMidiOutputDevice : public virtual iObject
{
public:
    virtual KvResult close() = 0;
    // The header's recorded length goes back to 256.
    virtual KvResult unprepareHeader(iMIDIHdr* header) = 0;
    // Sends the message's four bytes, lowest first, whatever its status.
    virtual KvResult shortMsg(unsigned int message) = 0;
    // Sends size bytes of the header's data, which must hold them. The header
    // belongs to the library from this call on, sent or not: do not free it.
    virtual KvResult longMsg(iMIDIHdr* header, unsigned int size) = 0;
    virtual KvResult reset() = 0;                  // always 1
    virtual KvResult getID(unsigned int& id) = 0;  // always 1, id untouched
};

// MIDI devices in the shape of the classic multimedia calls. Each device owns
// a thread on which its port is opened, run and closed. Counts connect to the
// MIDI system on first use; open does not.
class KV_API iMIDI : public iVirtual
{
public:
    // True once done, even when the system could not be reached then.
    virtual bool initialise() = 0;
    virtual void deinitialise() = 0;
    // The device comes back through device whatever the result: see
    // iMidiInputDevice. An index past the count gives false.
    virtual bool open(iMidiInputDevice*& device, unsigned int index, InputCallbackReceiver& receiver) = 0;
    virtual bool open(iMidiOutputDevice*& device, unsigned int index, OutputCallbackReceiver& receiver) = 0;
    virtual unsigned int getNumInputDevs() = 0;
    virtual unsigned int getNumOutputDevs() = 0;
    // Both return 1 and leave caps as they are.
    virtual KvResult getInputDevCaps(unsigned int index, MIDIInCaps& caps) = 0;
    virtual KvResult getOutputDevCaps(unsigned int index, MIDIOutCaps& caps) = 0;
    // Its recorded length is size; its data holds at least size bytes.
    virtual iMIDIHdr* allocHeader(unsigned short size) = 0;
    // Null is ignored.
    virtual void freeHeader(iMIDIHdr* header) = 0;
    virtual const char* getResultText(KvResult result) = 0; // always null
};
