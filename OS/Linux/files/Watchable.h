#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iThread.h"
#include "iWatchHandler.h"
#include "iWatchable.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

// Watches one folder with inotify. A thread of its own, named "kvst.filewatch",
// is the watcher's serial queue: it reads the inotify descriptor, gathers the
// changes, each name once, and hands them to the handler a batch at a time,
// the first change after a quiet second at once and later ones a second after
// the batch before. A watched folder that goes is looked for and watched
// again once it is back. The destructor stops and joins that thread before it
// releases anything, so it must not run on that thread, which means not
// inside the handler.
class Watchable : public iWatchable
{
public:
    // A folder that does not exist delivers nothing, even once it is made. One
    // that cannot be watched, as when inotify instances or watches run out,
    // delivers nothing either, and says why in a log line.
    Watchable(Kv::Ptr<iWatchHandler> handler, const LightweightString<wchar_t>& folder);
    ~Watchable() override;

    const LightweightString<wchar_t>& getWatchedFolder() const override;

private:
    using Clock = std::chrono::steady_clock;

    static void run(void* self);
    void serve();
    void readEvents();
    void gather(const LightweightString<char>& name, std::uint32_t mask);
    void lookForFolder(Clock::time_point now);
    void deliver(Clock::time_point now);

    int inotify;                     // the inotify instance, or -1
    int watch;                       // its watch on the folder, -1 while the folder is gone
    int wakeUp;                      // an eventfd: any count stops the queue
    Kv::Ptr<iThread> queue;          // runs only while all three descriptors are good
    LightweightString<char> path;    // the folder in UTF-8, as the system calls take it
    LightweightString<wchar_t> folder;
    Kv::Ptr<iWatchHandler> handler;

    // The queue's alone while it runs, with watch.
    // Since the last delivery: each name once, where it first came, with the
    // events it has had; and where each name stands in that list.
    std::vector<std::pair<LightweightString<char>, std::uint32_t>> gathered;
    std::map<LightweightString<char>, std::size_t> gatheredAt;
    Clock::time_point lastDelivery;
    Clock::time_point nextLook; // for the folder while it is gone; the clock's end when not looking
};
