#pragma once

#include "RtMidiErrorLog.h"
#include "RtMidiLibrary.h"

#include <cstddef>
#include <memory>

class RtMidiClient;

// A device's own RtMidi connection, with one port that takes what one source
// sends. RtMidi hands every message to the delivery function on its own
// thread (JACK's process thread, or the ALSA sequencer's reader), a SysEx as
// one message however long. Deliveries end when the port dies.
class RtMidiInputPort
{
public:
    using Delivery = void (*)(const unsigned char* bytes, std::size_t size, void* context);

    // A port named portName on a connection of its own, named after the
    // client, connected to the source; null after the report when RtMidi
    // cannot make it.
    static std::unique_ptr<RtMidiInputPort> open(const RtMidiClient& client, unsigned int source,
                                                 const char* portName, Delivery delivery, void* context);

    RtMidiInputPort(Delivery delivery, void* context);

private:
    static void receive(double timeStamp, const unsigned char* bytes, std::size_t size, void* self);

    // Set before the connection exists: making it starts the thread that
    // reads them.
    const Delivery delivery;
    void* const context;
    RtMidiErrorLog errors;
    RtMidiLibrary::Input input;
};
