#pragma once

#include "MidiRunLoop.h"
#include "Ptr.h"
#include "iThread.h"
#include "iThreadEvent.h"

#include <atomic>
#include <cstdint>

// The base of both MIDI devices: a thread of the device's own, "CFRUNMIDI",
// on which its port is opened, run and closed. A caller hands the thread one
// command at a time: it stores the command, sets commandEvent, and waits on
// doneEvent for the result. There is no queue, so a device takes one caller
// at a time.
//
// command, awaited and result pass between the caller and the thread through
// the two events: each is written only on one side of a set and read on the
// other side of the matching wait.
class MidiCommandHandler
{
public:
    enum eCommand
    {
        OpenInput = 0,   // open(), whose value is the result
        OpenOutput = 1,  // open(), whose value is the result
        Run = 2,         // runLoop.run(), until runLoop.stop()
        CloseInput = 3,  // close_internal(), result 1
        CloseOutput = 4, // close_internal(), result 1
        Quit = 5,        // nothing: it wakes the thread to see running false
    };

    MidiCommandHandler();
    virtual ~MidiCommandHandler() = default;

    MidiCommandHandler(const MidiCommandHandler&) = delete;
    MidiCommandHandler& operator=(const MidiCommandHandler&) = delete;

    // Clears result; waits for the thread's result, or reports 1 without
    // waiting.
    std::int32_t executeCommand(eCommand work, bool wait);

protected:
    // Ends and joins the thread. Each device calls it first in its
    // destructor, because the thread may still be delivering or closing, and
    // both reach the device's members. A thread still inside Run never ends.
    void quit();

    // The device's side of the commands, on its thread.
    virtual bool open() = 0;
    virtual void close_internal() = 0;

    MidiRunLoop runLoop;

private:
    static void midiCommandLoop(void* self);
    void perform(eCommand work);

    // Read by the thread between commands, where no event orders it with
    // quit().
    std::atomic<bool> running;
    Kv::Ptr<iThread> thread;
    Kv::Ptr<iThreadEvent> commandEvent; // auto-reset
    Kv::Ptr<iThreadEvent> doneEvent;    // auto-reset
    eCommand command;
    // Whether the caller waits on doneEvent. A command nobody waits for, Run
    // above all, must not set it: the stale signal would answer the next
    // command before the thread had done it.
    bool awaited;
    std::int32_t result;
};
