#include "RtMidiInputPort.h"

#include "RtMidiClient.h"

// Everything is let through, SysEx and timing included, and the callback is in
// place before the port exists, so that nothing waits in RtMidi's own queue.
std::unique_ptr<RtMidiInputPort> RtMidiInputPort::open(const RtMidiClient& client, unsigned int source,
                                                       const char* portName, Delivery delivery, void* context)
{
    const RtMidiLibrary& library = client.library();
    auto port = std::make_unique<RtMidiInputPort>(delivery, context);
    port->input = library.createInput(client.api(), client.name());
    if (!port->input)
        return nullptr;
    RtMidiIn& input = RtMidiLibrary::inputObject(*port->input);
    port->errors.attach(input);
    library.ignoreNothing(*port->input);
    library.setCallback(*port->input, receive, port.get());
    input.openPort(source, portName);
    return port->errors.succeeded() ? std::move(port) : nullptr;
}

RtMidiInputPort::RtMidiInputPort(Delivery delivery, void* context) : delivery(delivery), context(context) {}

void RtMidiInputPort::receive(double, const unsigned char* bytes, std::size_t size, void* self)
{
    auto* port = static_cast<RtMidiInputPort*>(self);
    port->delivery(bytes, size, port->context);
}
