#include "LauncherProgress.h"

#include <gio/gio.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace
{
    // GLib would otherwise try to launch a bus of its own.
    bool sessionBusRuns()
    {
        if (std::getenv("DBUS_SESSION_BUS_ADDRESS"))
            return true;
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        return runtime && g_file_test(std::string(runtime).append("/bus").c_str(), G_FILE_TEST_EXISTS);
    }
}

LauncherProgress& LauncherProgress::instance()
{
    static LauncherProgress progress;
    return progress;
}

void LauncherProgress::show(double value)
{
    GDBusConnection* bus = sessionBusRuns() ? g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr) : nullptr;
    if (!bus)
        return;
    const bool visible = value > 0.0 && value < 1.0;
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&properties, "{sv}", "progress", g_variant_new_double(visible ? value : 0.0));
    g_variant_builder_add(&properties, "{sv}", "progress-visible", g_variant_new_boolean(visible));
    // The launcher knows the application by its desktop file.
    const std::string uri = std::string("application://").append(program_invocation_short_name).append(".desktop");
    g_dbus_connection_emit_signal(bus, nullptr, "/", "com.canonical.Unity.LauncherEntry", "Update",
                                  g_variant_new("(sa{sv})", uri.c_str(), &properties), nullptr);
    g_dbus_connection_flush_sync(bus, nullptr, nullptr);
    g_object_unref(bus);
}
