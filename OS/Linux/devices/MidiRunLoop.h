#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

// The run loop of a MIDI device's thread: work posted from any thread runs on
// that thread, in order, while it is inside run(). Work posted while nobody
// runs the loop waits for the next run.
//
// lock guards pending and wanted.
class MidiRunLoop
{
public:
    void post(std::function<void()> work);
    // Called by whoever asks the thread to run, before it asks: a stop that
    // overtakes the thread then still ends the run it was meant for.
    void prepare();
    // Serves posted work until stop().
    void run();
    // Ends the run that is under way or prepared; otherwise nothing.
    void stop();

private:
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::function<void()>> pending;
    bool wanted = false;
};
