#pragma once

#include "RtMidiErrorLog.h"
#include "RtMidiLibrary.h"

#include <memory>

class RtMidiClient;

// A device's own RtMidi connection, with one port that sends to one
// destination. Sending is synchronous: the bytes are RtMidi's once send
// returns. One thread at a time.
class RtMidiOutputPort
{
public:
    // A port named portName on a connection of its own, named after the
    // client, connected to the destination; null after the report when
    // RtMidi cannot make it.
    static std::unique_ptr<RtMidiOutputPort> open(const RtMidiClient& client, unsigned int destination,
                                                  const char* portName);

    RtMidiOutputPort(const RtMidiLibrary& library, RtMidi::Api api, RtMidiLibrary::Output output);

    // The bytes as they are; false after the report.
    bool send(const unsigned char* bytes, unsigned int size);
    // Four bytes from a short message, whatever its status.
    bool sendShort(const unsigned char (&bytes)[4]);

private:
    const RtMidiLibrary& library;
    const RtMidi::Api api;
    RtMidiLibrary::Output output;
    RtMidiErrorLog errors;
};
