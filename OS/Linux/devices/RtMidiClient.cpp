#include "RtMidiClient.h"

#include <unistd.h>

namespace
{
    // RtMidi's own choice would try ALSA first and throw where it is absent.
    RtMidi::Api systemApi() { return access("/dev/snd/seq", F_OK) == 0 ? RtMidi::LINUX_ALSA : RtMidi::UNIX_JACK; }
}

std::unique_ptr<RtMidiClient> RtMidiClient::create(const char* name)
{
    const RtMidiLibrary* library = RtMidiLibrary::get();
    if (!library)
        return nullptr;
    const RtMidi::Api api = systemApi();
    RtMidiLibrary::Input sources = library->createInput(api, name);
    return sources ? std::make_unique<RtMidiClient>(*library, api, name, std::move(sources)) : nullptr;
}

RtMidiClient::RtMidiClient(const RtMidiLibrary& library, RtMidi::Api api, const char* name,
                           RtMidiLibrary::Input sources)
    : rtMidi(library), api_(api), clientName(name), sources(std::move(sources))
{
    ignored.attach(RtMidiLibrary::inputObject(*this->sources));
}

const RtMidiLibrary& RtMidiClient::library() const { return rtMidi; }

RtMidi::Api RtMidiClient::api() const { return api_; }

const std::string& RtMidiClient::name() const { return clientName; }

unsigned int RtMidiClient::sourceCount()
{
    std::lock_guard<std::mutex> guard(lock);
    return RtMidiLibrary::inputObject(*sources).getPortCount();
}

unsigned int RtMidiClient::destinationCount()
{
    std::lock_guard<std::mutex> guard(lock);
    RtMidi* listing = destinationListing();
    return listing ? listing->getPortCount() : 0;
}

std::string RtMidiClient::sourceName(unsigned int index)
{
    std::lock_guard<std::mutex> guard(lock);
    return nameOf(RtMidiLibrary::inputObject(*sources), index);
}

std::string RtMidiClient::destinationName(unsigned int index)
{
    std::lock_guard<std::mutex> guard(lock);
    RtMidi* listing = destinationListing();
    return listing ? nameOf(*listing, index) : std::string();
}

std::string RtMidiClient::nameOf(RtMidi& ports, unsigned int index)
{
    return index < ports.getPortCount() ? ports.getPortName(index) : std::string();
}

// RtMidi's JACK output leaks a ring buffer at every try of a server that is
// not there, and its listing tries at every call; the input side does not.
// So the output listing is made once the input one has reached the system,
// and kept.
RtMidi* RtMidiClient::destinationListing()
{
    if (destinations)
        return &RtMidiLibrary::outputObject(*destinations);
    ignored.clean();
    RtMidiLibrary::inputObject(*sources).getPortCount();
    if (!ignored.clean())
        return nullptr;
    destinations = rtMidi.createOutput(api_, clientName);
    if (!destinations)
        return nullptr;
    RtMidiOut& listing = RtMidiLibrary::outputObject(*destinations);
    ignored.attach(listing);
    return &listing;
}
