#pragma once

#include <RtMidi.h>
#include <rtmidi_c.h>

#include <memory>
#include <string>

// RtMidi, loaded on first use. Linked, it would bring libjack in as the
// program loads, and libjack's static constructors allocate through the
// process's operator new, which is this library's: the system object would
// be built before main, ahead of this library's own static constructors.
//
// So nothing here refers to librtmidi's symbols: connections are made and
// freed, callbacks set and messages sent through RtMidi's C entry points,
// found at load; everything else goes through the virtual operations of the
// RtMidi object behind each connection.
class RtMidiLibrary
{
public:
    struct FreeInput
    {
        void operator()(RtMidiWrapper* input) const;
    };
    struct FreeOutput
    {
        void operator()(RtMidiWrapper* output) const;
    };
    using Input = std::unique_ptr<RtMidiWrapper, FreeInput>;
    using Output = std::unique_ptr<RtMidiWrapper, FreeOutput>;

    // Null, after the report, when librtmidi cannot be loaded. Loads once.
    static const RtMidiLibrary* get();

    // Null, after the report, when RtMidi cannot reach the system: its
    // constructors fail where the ALSA sequencer cannot be opened.
    Input createInput(RtMidi::Api api, const std::string& clientName) const;
    Output createOutput(RtMidi::Api api, const std::string& clientName) const;
    // The callback's bytes are RtMidi's until it returns.
    void setCallback(RtMidiWrapper& input, RtMidiCCallback callback, void* context) const;
    // SysEx, timing and active sensing included.
    void ignoreNothing(RtMidiWrapper& input) const;
    // Failures go to the object's error callback.
    void send(RtMidiWrapper& output, const unsigned char* bytes, unsigned int size) const;

    // The objects behind connections.
    static RtMidiIn& inputObject(RtMidiWrapper& input);
    static RtMidiOut& outputObject(RtMidiWrapper& output);

private:
    RtMidiLibrary() = default;
    bool load();

    decltype(&rtmidi_in_create) inCreate = nullptr;
    decltype(&rtmidi_in_free) inFree = nullptr;
    decltype(&rtmidi_in_set_callback) inSetCallback = nullptr;
    decltype(&rtmidi_in_ignore_types) inIgnoreTypes = nullptr;
    decltype(&rtmidi_out_create) outCreate = nullptr;
    decltype(&rtmidi_out_free) outFree = nullptr;
    decltype(&rtmidi_out_send_message) outSendMessage = nullptr;
};
