#pragma once

#include "RtMidiErrorLog.h"
#include "RtMidiLibrary.h"

#include <memory>
#include <mutex>
#include <string>

// The MIDI system through RtMidi: the ALSA sequencer where /dev/snd/seq
// exists, otherwise a JACK server. RtMidi has no client object: this one
// holds a connection of each kind, named after the client, to list the
// system's ports, and tells devices how to make connections of their own.
// With JACK, a server that is not running lists nothing, and one that starts
// later is found by the next listing.
//
// lock guards both connections, which RtMidi does not make safe across
// threads: any thread may list.
class RtMidiClient
{
public:
    // Null when RtMidi cannot be loaded or cannot reach the chosen system,
    // after the report.
    static std::unique_ptr<RtMidiClient> create(const char* name);

    RtMidiClient(const RtMidiLibrary& library, RtMidi::Api api, const char* name, RtMidiLibrary::Input sources);

    const RtMidiLibrary& library() const;
    RtMidi::Api api() const;
    const std::string& name() const;
    // Ports that send MIDI, for input devices to connect to.
    unsigned int sourceCount();
    // Ports that take MIDI, for output devices to connect to.
    unsigned int destinationCount();
    // The port's full name, empty when the index is past the count.
    std::string sourceName(unsigned int index);
    std::string destinationName(unsigned int index);

private:
    static std::string nameOf(RtMidi& ports, unsigned int index);
    // Null while the system cannot be reached.
    RtMidi* destinationListing();

    const RtMidiLibrary& rtMidi;
    const RtMidi::Api api_;
    const std::string clientName;
    std::mutex lock;
    RtMidiLibrary::Input sources;
    RtMidiLibrary::Output destinations;
    // A listing that fails lists nothing, and reports nothing.
    RtMidiErrorLog ignored;
};
