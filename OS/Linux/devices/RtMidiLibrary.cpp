#include "RtMidiLibrary.h"

#include "RtMidiErrorLog.h"

#include <dlfcn.h>

namespace
{
    // The library that librtmidi-dev 5 builds against.
    constexpr const char* kRtMidiLibrary = "librtmidi.so.6";

    template <class Function>
    bool resolve(void* library, const char* name, Function& function)
    {
        function = reinterpret_cast<Function>(dlsym(library, name));
        return function != nullptr;
    }

    // The wrapper stays, marked not ok, when the constructor throws.
    template <class Connection, class Free>
    Connection checked(RtMidiWrapper* connection, Free free)
    {
        if (connection && connection->ok)
            return Connection(connection);
        if (connection)
            free(connection);
        RtMidiErrorLog::fail(RtMidiError::DRIVER_ERROR);
        return Connection();
    }
}

const RtMidiLibrary* RtMidiLibrary::get()
{
    static RtMidiLibrary library;
    static const bool loaded = library.load() || RtMidiErrorLog::fail(RtMidiError::SYSTEM_ERROR);
    return loaded ? &library : nullptr;
}

// Kept loaded for the life of the process, as a linked library would be.
bool RtMidiLibrary::load()
{
    void* library = dlopen(kRtMidiLibrary, RTLD_NOW | RTLD_LOCAL);
    return library && resolve(library, "rtmidi_in_create", inCreate) && resolve(library, "rtmidi_in_free", inFree) &&
           resolve(library, "rtmidi_in_set_callback", inSetCallback) &&
           resolve(library, "rtmidi_in_ignore_types", inIgnoreTypes) &&
           resolve(library, "rtmidi_out_create", outCreate) && resolve(library, "rtmidi_out_free", outFree) &&
           resolve(library, "rtmidi_out_send_message", outSendMessage);
}

void RtMidiLibrary::FreeInput::operator()(RtMidiWrapper* input) const { get()->inFree(input); }

void RtMidiLibrary::FreeOutput::operator()(RtMidiWrapper* output) const { get()->outFree(output); }

RtMidiLibrary::Input RtMidiLibrary::createInput(RtMidi::Api api, const std::string& clientName) const
{
    return checked<Input>(inCreate(RtMidiApi(api), clientName.c_str(), 100), FreeInput());
}

RtMidiLibrary::Output RtMidiLibrary::createOutput(RtMidi::Api api, const std::string& clientName) const
{
    return checked<Output>(outCreate(RtMidiApi(api), clientName.c_str()), FreeOutput());
}

void RtMidiLibrary::setCallback(RtMidiWrapper& input, RtMidiCCallback callback, void* context) const
{
    inSetCallback(&input, callback, context);
}

void RtMidiLibrary::ignoreNothing(RtMidiWrapper& input) const { inIgnoreTypes(&input, false, false, false); }

void RtMidiLibrary::send(RtMidiWrapper& output, const unsigned char* bytes, unsigned int size) const
{
    outSendMessage(&output, bytes, int(size));
}

RtMidiIn& RtMidiLibrary::inputObject(RtMidiWrapper& input) { return *static_cast<RtMidiIn*>(input.ptr); }

RtMidiOut& RtMidiLibrary::outputObject(RtMidiWrapper& output) { return *static_cast<RtMidiOut*>(output.ptr); }
