#pragma once

#include "MIDIPacket.h"
#include "MidiCommandHandler.h"
#include "RtMidiInputPort.h"
#include "iMIDI.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// An input device: a port of its own connected to one source. The system's
// messages are cut into packets and handed to the device's thread, which
// delivers them to the receiver while it runs (between start and stop).
class MidiInputDevice : public iMidiInputDevice, public MidiCommandHandler
{
public:
    static constexpr unsigned kSysexBufferSize = 1024;

    MidiInputDevice(InputCallbackReceiver& receiver, unsigned int index);
    ~MidiInputDevice() override;

    KvResult close() override;
    KvResult start() override;
    KvResult stop() override;
    KvResult reset() override;
    KvResult getID(unsigned int& id) override;

    // Delivers one packet list to the receiver, on the calling thread: the
    // device's own, inside Run, for what the system sends.
    void inputCallback(const MIDIPacketList& packets);

protected:
    bool open() override;
    void close_internal() override;

private:
    // On the system's thread.
    static void receive(const unsigned char* bytes, std::size_t size, void* self);
    void continueSysex(const MIDIPacket& packet);
    void walk(const MIDIPacket& packet);

    InputCallbackReceiver* receiver;
    std::uint32_t index;
    std::unique_ptr<RtMidiInputPort> port;
    std::string endpoint; // the source's name, empty when there is none
    bool sysexActive;
    std::uint8_t sysexBuffer[kSysexBufferSize];
    std::uint16_t sysexLength;
};
