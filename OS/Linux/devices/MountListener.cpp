#include "MountListener.h"

#include "HardwareManager.h"
#include "LibmountVolumeTable.h"
#include "iThreadManager.h"
#include "iUtils.h"

#include <cstring>
#include <gio/gio.h>
#include <glib-unix.h>
#include <libmount/libmount.h>

namespace
{
    const char* const kUDisks = "org.freedesktop.UDisks2";
    const char* const kUnmountOperation = "filesystem-unmount";

    // The mount points of the volumes that the drive list shows: pseudo and
    // system file systems come and go unreported.
    std::set<std::string> visibleMountPoints()
    {
        std::set<std::string> points;
        const LibmountVolumeTable table;
        for (const LibmountVolumeTable::Volume& volume : table.volumes())
            if (!volume.hidden)
                points.insert(volume.mountPoint.c_str());
        return points;
    }

    LightweightString<wchar_t> wide(const char* path) { return OS()->utils()->fromUTF8(path, -1); }
}

struct MountListener::HostCallbacks
{
    static gboolean onMountTableChange(gint fd, GIOCondition condition, gpointer self);
    static void onInterfacesAdded(GDBusConnection* bus, const gchar* sender, const gchar* path,
                                  const gchar* interface, const gchar* signal, GVariant* parameters, gpointer self);
    static void onMountPoints(GObject* bus, GAsyncResult* result, gpointer self);
};

MountListener::~MountListener() { deinitialise(); }

// The monitor is armed before the table is read, so that no change falls
// between the two.
void MountListener::initialise(HardwareManager* manager)
{
    if (thread)
        return;
    this->manager = manager;
    monitor = mnt_new_monitor();
    const int changes = monitor && mnt_monitor_enable_kernel(monitor, 1) == 0 ? mnt_monitor_get_fd(monitor) : -1;
    mounted = visibleMountPoints();
    context = g_main_context_new();
    if (changes >= 0) {
        GSource* source = g_unix_fd_source_new(changes, G_IO_IN);
        g_source_set_callback(source, G_SOURCE_FUNC(HostCallbacks::onMountTableChange), this, nullptr);
        g_source_attach(source, context);
        g_source_unref(source);
    }
    cancellable = g_cancellable_new();
    stopping = false;
    iThread::InitArgs args;
    args.entry = run;
    args.arg = this;
    args.name = "MountListener";
    thread = OS()->threadMgr()->createThread(args);
}

void MountListener::deinitialise()
{
    if (!thread)
        return;
    stopping = true;
    g_cancellable_cancel(cancellable);
    g_main_context_wakeup(context);
    thread = nullptr; // joins
    g_main_context_unref(context);
    context = nullptr;
    g_object_unref(cancellable);
    cancellable = nullptr;
    mnt_unref_monitor(monitor);
    monitor = nullptr;
    mounted.clear();
}

void MountListener::run(void* self) { static_cast<MountListener*>(self)->serve(); }

// A wake-up that comes before the first iteration is not lost: the context
// keeps it until it is next polled.
void MountListener::serve()
{
    g_main_context_push_thread_default(context);
    connectSystemBus();
    while (!stopping)
        g_main_context_iteration(context, TRUE);
    disconnectSystemBus();
    g_main_context_pop_thread_default(context);
}

gboolean MountListener::HostCallbacks::onMountTableChange(gint, GIOCondition, gpointer self)
{
    static_cast<MountListener*>(self)->compareMounts();
    return G_SOURCE_CONTINUE;
}

void MountListener::compareMounts()
{
    mnt_monitor_event_cleanup(monitor);
    std::set<std::string> now = visibleMountPoints();
    for (const std::string& point : mounted)
        if (!now.contains(point))
            manager->handleVolumeUnmounted(wide(point.c_str()));
    for (const std::string& point : now)
        if (!mounted.contains(point))
            manager->handleVolumeMounted(wide(point.c_str()));
    mounted = std::move(now);
}

// A connection of the listener's own, not GLib's shared one, whose loss would
// end the process. Without a system bus this fails at once; a bus that does
// not answer is given up when the listener stops.
void MountListener::connectSystemBus()
{
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, cancellable, nullptr);
    if (!address)
        return;
    systemBus = g_dbus_connection_new_for_address_sync(
        address,
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable, nullptr);
    g_free(address);
    if (!systemBus)
        return;
    // Each UDisks2 job appears as an object of its own; nothing comes where
    // UDisks2 does not run.
    jobSubscription = g_dbus_connection_signal_subscribe(
        systemBus, kUDisks, "org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "/org/freedesktop/UDisks2",
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, HostCallbacks::onInterfacesAdded, this, nullptr);
}

// Calls under way were cancelled with the listener; their answers are taken
// before the connection and the context go.
void MountListener::disconnectSystemBus()
{
    if (!systemBus)
        return;
    g_dbus_connection_signal_unsubscribe(systemBus, jobSubscription);
    while (pendingCalls > 0)
        g_main_context_iteration(context, TRUE);
    g_dbus_connection_close_sync(systemBus, nullptr, nullptr);
    g_object_unref(systemBus);
    systemBus = nullptr;
}

void MountListener::HostCallbacks::onInterfacesAdded(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                                     const gchar*, GVariant* parameters, gpointer self)
{
    GVariant* interfaces = nullptr;
    g_variant_get(parameters, "(&o@a{sa{sv}})", nullptr, &interfaces);
    GVariant* job = g_variant_lookup_value(interfaces, "org.freedesktop.UDisks2.Job", G_VARIANT_TYPE("a{sv}"));
    const char* operation = nullptr;
    GVariantIter* objects = nullptr;
    if (job && g_variant_lookup(job, "Operation", "&s", &operation) &&
        std::strcmp(operation, kUnmountOperation) == 0 && g_variant_lookup(job, "Objects", "ao", &objects)) {
        const char* objectPath = nullptr;
        while (g_variant_iter_next(objects, "&o", &objectPath))
            static_cast<MountListener*>(self)->askMountPointsOf(objectPath);
        g_variant_iter_free(objects);
    }
    if (job)
        g_variant_unref(job);
    g_variant_unref(interfaces);
}

// The job starts before the file system goes, so its mount points are still
// there to be asked for.
void MountListener::askMountPointsOf(const char* objectPath)
{
    ++pendingCalls;
    g_dbus_connection_call(systemBus, kUDisks, objectPath, "org.freedesktop.DBus.Properties", "Get",
                           g_variant_new("(ss)", "org.freedesktop.UDisks2.Filesystem", "MountPoints"),
                           G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE, -1, cancellable,
                           HostCallbacks::onMountPoints, this);
}

void MountListener::HostCallbacks::onMountPoints(GObject* bus, GAsyncResult* result, gpointer self)
{
    auto* listener = static_cast<MountListener*>(self);
    --listener->pendingCalls;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr);
    if (!reply)
        return;
    GVariant* points = nullptr;
    g_variant_get(reply, "(v)", &points);
    if (!listener->stopping && g_variant_is_of_type(points, G_VARIANT_TYPE("aay"))) {
        GVariantIter iter;
        g_variant_iter_init(&iter, points);
        while (GVariant* point = g_variant_iter_next_value(&iter)) {
            const char* mountPoint = g_variant_get_bytestring(point);
            if (*mountPoint)
                listener->manager->handleVolumeUnmounting(wide(mountPoint));
            g_variant_unref(point);
        }
    }
    g_variant_unref(points);
    g_variant_unref(reply);
}
