#pragma once

#include "MidiCommandHandler.h"
#include "RtMidiOutputPort.h"
#include "iMIDI.h"

#include <cstdint>
#include <memory>
#include <string>

// An output device: a port of its own connected to one destination. It is
// opened and closed on the device's thread; messages go out on the caller's.
class MidiOutputDevice : public iMidiOutputDevice, public MidiCommandHandler
{
public:
    MidiOutputDevice(OutputCallbackReceiver& receiver, unsigned int index);
    ~MidiOutputDevice() override;

    KvResult close() override;
    KvResult unprepareHeader(iMIDIHdr* header) override;
    KvResult shortMsg(unsigned int message) override;
    KvResult longMsg(iMIDIHdr* header, unsigned int size) override;
    KvResult reset() override;
    KvResult getID(unsigned int& id) override;

protected:
    bool open() override;
    void close_internal() override;

private:
    OutputCallbackReceiver* receiver;
    std::uint32_t index;
    std::unique_ptr<RtMidiOutputPort> port;
    std::string endpoint; // the destination's name, empty when there is none
};
