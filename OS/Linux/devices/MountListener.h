#pragma once

#include "Ptr.h"
#include "iThread.h"

#include <atomic>
#include <set>
#include <string>

class HardwareManager;
struct libmnt_monitor;
typedef struct _GMainContext GMainContext;
typedef struct _GCancellable GCancellable;
typedef struct _GDBusConnection GDBusConnection;

// Tells the hardware manager when a volume is mounted or unmounted, with its
// mount path: libmount's monitor of the kernel's mount table wakes it, and it
// compares the volumes (those of the drive list) with the ones it saw before.
// Where UDisks2 runs on the system bus, its unmount jobs tell in advance of
// each volume about to go. Everything happens on a thread of the listener's
// own, "MountListener", running a GLib main context of its own, so that events
// arrive whether or not the application runs a main loop; the manager's
// handlers are called there.
class MountListener
{
public:
    // Does nothing: the work starts with initialise.
    MountListener() = default;
    ~MountListener();
    MountListener(const MountListener&) = delete;
    MountListener& operator=(const MountListener&) = delete;

    // Changes are counted from the table as it is when this returns. A
    // listener already started stays as it is.
    void initialise(HardwareManager* manager);
    // Stops and joins the thread: nothing is reported once it returns. Not
    // to be called from a handler.
    void deinitialise();

private:
    static void run(void* self);
    void serve();
    void compareMounts();
    void connectSystemBus();
    void disconnectSystemBus();
    void askMountPointsOf(const char* objectPath);

    // GLib's callbacks, which reach the members above.
    struct HostCallbacks;
    friend struct HostCallbacks;

    HardwareManager* manager = nullptr;
    libmnt_monitor* monitor = nullptr;
    GMainContext* context = nullptr;
    GCancellable* cancellable = nullptr; // cancelled to stop: the bus connection and every call
    std::atomic<bool> stopping = false;
    Kv::Ptr<iThread> thread;
    // The listener thread's alone while it runs.
    std::set<std::string> mounted;
    GDBusConnection* systemBus = nullptr;
    unsigned int jobSubscription = 0;
    int pendingCalls = 0;
};
