#pragma once

#include "Ptr.h"
#include "iThread.h"
#include "iWatchHandler.h"
#include "iWatchable.h"

#include <cstddef>

// Watches one folder with inotify. A thread of its own, named "kvst.filewatch",
// is the watcher's serial queue: it reads the inotify descriptor and calls the
// handler, one batch per read. The destructor stops and joins that thread
// before it releases anything, so it must not run on that thread, which means
// not inside the handler.
class Watchable : public iWatchable
{
public:
    // Nothing is checked: a folder that cannot be watched simply delivers nothing.
    Watchable(Kv::Ptr<iWatchHandler> handler, const LightweightString<wchar_t>& folder);
    ~Watchable() override;

    const LightweightString<wchar_t>& getWatchedFolder() const override;

private:
    static void run(void* self);
    void serve();
    void deliver(const char* events, std::size_t length);

    int inotify;                     // the inotify instance, or -1
    int watch;                       // its watch on the folder, -1 once gone; the queue alone writes it while it runs
    int wakeUp;                      // an eventfd: any count stops the queue
    Kv::Ptr<iThread> queue;          // runs only while all three descriptors are good
    LightweightString<char> path;    // the folder in UTF-8, as the system calls take it
    LightweightString<wchar_t> folder;
    Kv::Ptr<iWatchHandler> handler;
};
