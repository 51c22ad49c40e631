#include "RtMidiErrorLog.h"

#include <cstdio>

void RtMidiErrorLog::attach(RtMidi& midi) { midi.setErrorCallback(record, this); }

bool RtMidiErrorLog::succeeded()
{
    const int type = last.exchange(kNothing);
    return type == kNothing || fail(RtMidiError::Type(type));
}

bool RtMidiErrorLog::clean() { return last.exchange(kNothing) == kNothing; }

// RtMidi numbers its warnings 0, so the number alone does not tell failure
// from success: the caller's result does.
bool RtMidiErrorLog::fail(RtMidiError::Type type)
{
    std::printf("result %d\n", int(type));
    return false;
}

// Debug warnings are notes, not failures: RtMidi itself prints them only in
// its debug builds.
void RtMidiErrorLog::record(RtMidiError::Type type, const std::string&, void* self)
{
    if (type != RtMidiError::DEBUG_WARNING)
        static_cast<RtMidiErrorLog*>(self)->last = int(type);
}
