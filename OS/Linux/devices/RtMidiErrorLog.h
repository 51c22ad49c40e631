#pragma once

#include <RtMidi.h>

#include <atomic>
#include <string>

// Where one RtMidi object reports its failures. Once attached, RtMidi calls
// it instead of printing or throwing, so an RtMidi call ends in a result:
// success when nothing was reported, else "result %d\n" on standard output
// with RtMidi's error type as the number. Reports may come from RtMidi's own
// threads.
class RtMidiErrorLog
{
public:
    void attach(RtMidi& midi);
    // Prints the last report, if any, and clears it.
    bool succeeded();
    // Whether nothing was reported, for calls that fail quietly; clears.
    bool clean();

    // A failure of the library's own, in the same form.
    static bool fail(RtMidiError::Type type);

private:
    static void record(RtMidiError::Type type, const std::string& text, void* self);

    static constexpr int kNothing = -1;
    std::atomic<int> last{kNothing};
};
