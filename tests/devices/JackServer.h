#pragma once

#include "../HostRequired.h"

#include <jack/jack.h>

#include <string>
#include <sys/types.h>
#include <vector>

// A private JACK server: jackd in synchronous mode with the dummy driver
// (48 kHz, periods of 128 frames) under a name of its own, which becomes this process's default
// server through JACK_DEFAULT_SERVER. Stopped by its process id.
class JackServer
{
public:
    // Waits up to 10 s for the server to serve.
    JackServer();
    ~JackServer();

    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    bool running() const { return serving; }

private:
    pid_t pid = -1;
    bool serving = false;
};

// A MIDI cable in the server: the client "cable" passes every event from its
// port "in" to its port "out", unchanged and in the same cycle. Its ports
// come first, so before the library opens anything source 0 is cable:out and
// destination 0 is cable:in.
class JackMidiCable
{
public:
    JackMidiCable();
    ~JackMidiCable();

    JackMidiCable(const JackMidiCable&) = delete;
    JackMidiCable& operator=(const JackMidiCable&) = delete;

    bool ready() const { return client != nullptr; }
    // The full names of the ports connected to "in" or "out".
    std::vector<std::string> connections(const char* port) const;
    // The full names of the server's MIDI ports that send (JackPortIsOutput)
    // or take (JackPortIsInput).
    std::vector<std::string> midiPorts(unsigned long direction) const;

private:
    static int process(jack_nframes_t frames, void* self);

    jack_client_t* client = nullptr;
    jack_port_t* in = nullptr;
    jack_port_t* out = nullptr;
};

// The devices under test, wired through the cable, see the same ports as any
// other JACK program.
#define REQUIRE_JACK(server, cable) REQUIRE_HOST((server).running() && (cable).ready(), "jackd")
