#include "MidiInputDevice.h"

#include "MIDI.h"
#include "RtMidiClient.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{
    constexpr std::uint8_t kSysexStart = 0xF0;
    constexpr std::uint8_t kSysexEnd = 0xF7;

    // There is no running status: a data byte where a status belongs counts
    // as a three-byte message.
    unsigned int messageSize(std::uint8_t status)
    {
        if (status < 0xC0)
            return 3;
        if (status < 0xE0)
            return 2;
        if (status < 0xF0 || status == 0xF1 || status == 0xF2)
            return 3;
        return status == 0xF3 ? 2 : 1;
    }

    bool endsSysex(const MIDIPacket& packet)
    {
        return packet.length > 0 && packet.data[packet.length - 1] == kSysexEnd;
    }

    // The system's packets hold at most 256 bytes, so a long SysEx comes in
    // many.
    MIDIPacketList packetsOf(const unsigned char* bytes, std::size_t size)
    {
        MIDIPacketList packets((size + MIDIPacket::kDataSize - 1) / MIDIPacket::kDataSize);
        for (std::size_t i = 0; i < packets.size(); ++i) {
            const std::size_t offset = i * MIDIPacket::kDataSize;
            packets[i].length = std::uint16_t(std::min<std::size_t>(size - offset, MIDIPacket::kDataSize));
            std::memcpy(packets[i].data, bytes + offset, packets[i].length);
        }
        return packets;
    }
}

MidiInputDevice::MidiInputDevice(InputCallbackReceiver& receiver, unsigned int index)
    : receiver(&receiver), index(index), sysexActive(false), sysexBuffer(), sysexLength(0)
{
}

MidiInputDevice::~MidiInputDevice() { quit(); }

KvResult MidiInputDevice::close() { return executeCommand(CloseInput, true); }

KvResult MidiInputDevice::start()
{
    runLoop.prepare();
    return executeCommand(Run, false);
}

KvResult MidiInputDevice::stop()
{
    runLoop.stop();
    return 1;
}

KvResult MidiInputDevice::reset() { return 1; }

KvResult MidiInputDevice::getID(unsigned int&) { return 1; }

bool MidiInputDevice::open()
{
    sysexActive = false;
    sysexLength = 0;
    RtMidiClient* client = MIDI::instance ? MIDI::instance->hostClient() : nullptr;
    endpoint = client ? client->sourceName(index) : std::string();
    if (endpoint.empty())
        return false;
    port = RtMidiInputPort::open(*client, index, "Input", receive, this);
    return port != nullptr;
}

// Disconnecting and disposing are one step for RtMidi: the port goes with
// its connection. A device whose open failed has no port to close.
void MidiInputDevice::close_internal()
{
    if (!port)
        RtMidiErrorLog::fail(RtMidiError::INVALID_USE);
    port.reset();
}

void MidiInputDevice::receive(const unsigned char* bytes, std::size_t size, void* self)
{
    auto* device = static_cast<MidiInputDevice*>(self);
    device->runLoop.post([device, packets = packetsOf(bytes, size)] { device->inputCallback(packets); });
}

void MidiInputDevice::inputCallback(const MIDIPacketList& packets)
{
    for (const MIDIPacket& packet : packets) {
        if (sysexActive)
            continueSysex(packet);
        else if (packet.length != 0)
            walk(packet);
    }
}

// A long SysEx reaches the receiver in pieces of 1024 bytes; only the last
// ends with 0xF7.
void MidiInputDevice::continueSysex(const MIDIPacket& packet)
{
    const unsigned int taken = std::min<unsigned int>(kSysexBufferSize - sysexLength, packet.length);
    std::memcpy(sysexBuffer + sysexLength, packet.data, taken);
    sysexLength += taken;
    sysexActive = !endsSysex(packet);
    if (!sysexActive || sysexLength == kSysexBufferSize) {
        receiver->longData(index, this, sysexBuffer, sysexLength);
        sysexLength = 0;
    }
}

// Every message reports the packet's first four bytes, wherever it starts in
// the packet, and a SysEx that starts and ends in one packet goes out as one
// of them: receivers rely on both. Such a SysEx also stays in the buffer, so
// the next one lands after it.
void MidiInputDevice::walk(const MIDIPacket& packet)
{
    const std::uint32_t message = packet.data[0] | packet.data[1] << 8 | packet.data[2] << 16 |
                                  std::uint32_t(packet.data[3]) << 24;
    for (unsigned int i = 0; i < packet.length;) {
        const std::uint8_t status = packet.data[i];
        if (status == kSysexStart) {
            // Copied from the packet's start, and never past the buffer,
            // however much earlier SysEx messages left in it.
            const unsigned int taken = std::min<unsigned int>(packet.length - i, kSysexBufferSize - sysexLength);
            std::memcpy(sysexBuffer + sysexLength, packet.data, taken);
            sysexLength += taken;
            sysexActive = !endsSysex(packet);
            if (!sysexActive)
                receiver->shortData(index, this, message);
            return;
        }
        receiver->shortData(index, this, message);
        i += messageSize(status);
    }
}
