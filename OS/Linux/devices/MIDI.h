#pragma once

#include "iMIDI.h"

#include <memory>

class RtMidiClient;

// The MIDI service, reached through OS()->midi(). It is built with the facade
// and connects to the MIDI system on initialise(), which the counts call. The
// devices' threads find the client through instance.
class MIDI : public iMIDI
{
public:
    MIDI();
    ~MIDI() override;

    bool initialise() override;
    void deinitialise() override;
    bool open(iMidiInputDevice*& device, unsigned int index, InputCallbackReceiver& receiver) override;
    bool open(iMidiOutputDevice*& device, unsigned int index, OutputCallbackReceiver& receiver) override;
    unsigned int getNumInputDevs() override;
    unsigned int getNumOutputDevs() override;
    KvResult getInputDevCaps(unsigned int index, MIDIInCaps& caps) override;
    KvResult getOutputDevCaps(unsigned int index, MIDIOutCaps& caps) override;
    iMIDIHdr* allocHeader(unsigned short size) override;
    void freeHeader(iMIDIHdr* header) override;
    const char* getResultText(KvResult result) override;

    // Null before initialise(), and after one that could not reach the system.
    RtMidiClient* hostClient() const;

    static inline bool initialised = false;
    static inline MIDI* instance = nullptr;

private:
    std::unique_ptr<RtMidiClient> client;
};
