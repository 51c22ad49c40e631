#include "RtMidiOutputPort.h"

#include "RtMidiClient.h"

namespace
{
    // The bytes of a message with this status, as a MIDI parser counts them.
    unsigned int messageLength(unsigned char status)
    {
        if (status == 0xF2)
            return 3;
        if (status == 0xF1 || status == 0xF3)
            return 2;
        if (status >= 0xF0)
            return 1;
        return (status & 0xE0) == 0xC0 ? 2 : 3;
    }
}

std::unique_ptr<RtMidiOutputPort> RtMidiOutputPort::open(const RtMidiClient& client, unsigned int destination,
                                                         const char* portName)
{
    RtMidiLibrary::Output output = client.library().createOutput(client.api(), client.name());
    if (!output)
        return nullptr;
    auto port = std::make_unique<RtMidiOutputPort>(client.library(), client.api(), std::move(output));
    RtMidiLibrary::outputObject(*port->output).openPort(destination, portName);
    return port->errors.succeeded() ? std::move(port) : nullptr;
}

RtMidiOutputPort::RtMidiOutputPort(const RtMidiLibrary& library, RtMidi::Api api, RtMidiLibrary::Output output)
    : library(library), api(api), output(std::move(output))
{
    errors.attach(RtMidiLibrary::outputObject(*this->output));
}

bool RtMidiOutputPort::send(const unsigned char* bytes, unsigned int size)
{
    library.send(*output, bytes, size);
    return errors.succeeded();
}

// JACK carries the four bytes as one event, untouched. ALSA's sequencer takes
// events, not bytes: its encoder would read a fourth byte after a three-byte
// message as the start of another one, and report it incomplete, or after a
// two-byte one send a second message. So ALSA gets the message's own bytes.
bool RtMidiOutputPort::sendShort(const unsigned char (&bytes)[4])
{
    return send(bytes, api == RtMidi::LINUX_ALSA ? messageLength(bytes[0]) : sizeof bytes);
}
