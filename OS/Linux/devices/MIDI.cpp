#include "MIDI.h"

#include "MIDIHdr.h"
#include "MidiInputDevice.h"
#include "MidiOutputDevice.h"
#include "RtMidiClient.h"

MIDI::MIDI() = default;

MIDI::~MIDI() = default;

// A client that could not be made is not tried again: later calls are true
// until deinitialise().
bool MIDI::initialise()
{
    if (initialised)
        return true;
    client = RtMidiClient::create("MIDI client");
    initialised = true;
    instance = this;
    return client != nullptr;
}

void MIDI::deinitialise()
{
    if (!initialised)
        return;
    initialised = false;
    if (!client)
        RtMidiErrorLog::fail(RtMidiError::INVALID_USE);
    client.reset();
}

bool MIDI::open(iMidiInputDevice*& device, unsigned int index, InputCallbackReceiver& receiver)
{
    auto* input = new MidiInputDevice(receiver, index);
    device = input;
    return input->executeCommand(MidiCommandHandler::OpenInput, true) == 1;
}

bool MIDI::open(iMidiOutputDevice*& device, unsigned int index, OutputCallbackReceiver& receiver)
{
    auto* output = new MidiOutputDevice(receiver, index);
    device = output;
    return output->executeCommand(MidiCommandHandler::OpenOutput, true) == 1;
}

unsigned int MIDI::getNumInputDevs()
{
    initialise();
    return client ? client->sourceCount() : 0;
}

unsigned int MIDI::getNumOutputDevs()
{
    initialise();
    return client ? client->destinationCount() : 0;
}

// RtMidi tells nothing of a port but its name: there is nothing to walk.
KvResult MIDI::getInputDevCaps(unsigned int, MIDIInCaps&) { return 1; }

KvResult MIDI::getOutputDevCaps(unsigned int, MIDIOutCaps&) { return 1; }

iMIDIHdr* MIDI::allocHeader(unsigned short size) { return MIDIHdr::make(size); }

void MIDI::freeHeader(iMIDIHdr* header) { delete header; }

const char* MIDI::getResultText(KvResult) { return nullptr; }

RtMidiClient* MIDI::hostClient() const { return client.get(); }
