#include "MidiOutputDevice.h"

#include "MIDI.h"
#include "MIDIHdr.h"
#include "RtMidiClient.h"

#include <algorithm>

MidiOutputDevice::MidiOutputDevice(OutputCallbackReceiver& receiver, unsigned int index)
    : receiver(&receiver), index(index)
{
}

MidiOutputDevice::~MidiOutputDevice() { quit(); }

KvResult MidiOutputDevice::close() { return executeCommand(CloseOutput, true); }

KvResult MidiOutputDevice::unprepareHeader(iMIDIHdr* header)
{
    static_cast<MIDIHdr*>(header)->length = MIDIPacket::kDataSize;
    return 1;
}

KvResult MidiOutputDevice::shortMsg(unsigned int message)
{
    const unsigned char bytes[4] = {static_cast<unsigned char>(message), static_cast<unsigned char>(message >> 8),
                                    static_cast<unsigned char>(message >> 16),
                                    static_cast<unsigned char>(message >> 24)};
    return port ? port->sendShort(bytes) : RtMidiErrorLog::fail(RtMidiError::INVALID_USE);
}

// RtMidi sends at once, so the request completes here, and the header comes
// back to the library whether it went out or not.
KvResult MidiOutputDevice::longMsg(iMIDIHdr* header, unsigned int size)
{
    auto* packet = static_cast<MIDIHdr*>(header);
    packet->length = std::uint16_t(std::min<unsigned int>(size, MIDIPacket::kDataSize));
    const bool sent = port ? port->send(packet->getData(), size) : RtMidiErrorLog::fail(RtMidiError::INVALID_USE);
    OS()->midi()->freeHeader(header);
    return sent;
}

KvResult MidiOutputDevice::reset() { return 1; }

KvResult MidiOutputDevice::getID(unsigned int&) { return 1; }

bool MidiOutputDevice::open()
{
    RtMidiClient* client = MIDI::instance ? MIDI::instance->hostClient() : nullptr;
    endpoint = client ? client->destinationName(index) : std::string();
    if (endpoint.empty())
        return false;
    port = RtMidiOutputPort::open(*client, index, "Output");
    return port != nullptr;
}

// A device whose open failed has no port to dispose of.
void MidiOutputDevice::close_internal()
{
    if (!port)
        RtMidiErrorLog::fail(RtMidiError::INVALID_USE);
    port.reset();
}
