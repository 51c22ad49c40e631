#include "JackServer.h"

#include <jack/midiport.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace
{
    // A program with its output to /dev/null and nothing else of ours open;
    // -1 when it cannot start.
    pid_t spawnQuietly(const std::vector<std::string>& arguments)
    {
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions, 3);
        pid_t pid = -1;
        if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0)
            pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        return pid;
    }

    std::vector<std::string> namesOf(const char** names)
    {
        std::vector<std::string> list;
        for (const char** name = names; name && *name; ++name)
            list.emplace_back(*name);
        jack_free(names);
        return list;
    }
}

JackServer::JackServer()
{
    const std::string name = "kvos-midi-" + std::to_string(getpid());
    // Synchronous: each cycle waits for every client, so one that runs late
    // on a loaded machine delays the cycle rather than losing its events.
    // The server ends with this process, even when a test crashes.
    pid = spawnQuietly({"setpriv", "--pdeathsig", "TERM", "jackd", "-n", name, "-S", "--no-realtime", "-d", "dummy",
                        "-r", "48000", "-p", "128"});
    if (pid <= 0)
        return;
    setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
    const pid_t waiter = spawnQuietly({"jack_wait", "-s", name, "-w", "-t", "10"});
    int status = 0;
    serving = waiter > 0 && waitpid(waiter, &status, 0) == waiter && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

JackServer::~JackServer()
{
    if (pid <= 0)
        return;
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
}

JackMidiCable::JackMidiCable()
{
    client = jack_client_open("cable", JackNoStartServer, nullptr);
    if (!client)
        return;
    in = jack_port_register(client, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    out = jack_port_register(client, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    if (in && out && jack_set_process_callback(client, process, this) == 0 && jack_activate(client) == 0)
        return;
    jack_client_close(client);
    client = nullptr;
}

JackMidiCable::~JackMidiCable()
{
    if (client)
        jack_client_close(client);
}

std::vector<std::string> JackMidiCable::connections(const char* port) const
{
    const std::string name = std::string("cable:").append(port);
    return namesOf(jack_port_get_all_connections(client, jack_port_by_name(client, name.c_str())));
}

std::vector<std::string> JackMidiCable::midiPorts(unsigned long direction) const
{
    return namesOf(jack_get_ports(client, nullptr, JACK_DEFAULT_MIDI_TYPE, direction));
}

int JackMidiCable::process(jack_nframes_t frames, void* self)
{
    auto* cable = static_cast<JackMidiCable*>(self);
    void* source = jack_port_get_buffer(cable->in, frames);
    void* target = jack_port_get_buffer(cable->out, frames);
    jack_midi_clear_buffer(target);
    const jack_nframes_t count = jack_midi_get_event_count(source);
    for (jack_nframes_t i = 0; i < count; ++i) {
        jack_midi_event_t event;
        if (jack_midi_event_get(&event, source, i) == 0)
            jack_midi_event_write(target, event.time, event.buffer, event.size);
    }
    return 0;
}
