#include "MidiCommandHandler.h"

#include "OS.h"

MidiCommandHandler::MidiCommandHandler() : running(true), command(Quit), awaited(false), result(0)
{
    const iThreadManager* threads = OS()->threadMgr();
    commandEvent = threads->createEvent(false, false, nullptr);
    doneEvent = threads->createEvent(false, false, nullptr);
    iThread::InitArgs args;
    args.entry = midiCommandLoop;
    args.arg = this;
    args.stackSize = 0;
    args.name = "CFRUNMIDI";
    thread = threads->createThread(args);
}

std::int32_t MidiCommandHandler::executeCommand(eCommand work, bool wait)
{
    result = 0;
    command = work;
    awaited = wait;
    commandEvent->set();
    if (!wait)
        return 1;
    doneEvent->wait(iWaitable::kInfinite);
    return result;
}

void MidiCommandHandler::quit()
{
    running = false;
    command = Quit;
    awaited = false;
    commandEvent->set();
    thread->waitForCompletion(2000);
}

void MidiCommandHandler::midiCommandLoop(void* self)
{
    auto* handler = static_cast<MidiCommandHandler*>(self);
    while (handler->running) {
        handler->commandEvent->wait(iWaitable::kInfinite);
        const eCommand work = handler->command;
        const bool answer = handler->awaited;
        handler->perform(work);
        if (answer)
            handler->doneEvent->set();
    }
}

void MidiCommandHandler::perform(eCommand work)
{
    switch (work) {
    case OpenInput:
    case OpenOutput:
        result = open() ? 1 : 0;
        break;
    case Run:
        runLoop.run();
        break;
    case CloseInput:
    case CloseOutput:
        close_internal();
        result = 1;
        break;
    case Quit:
        break;
    }
}
