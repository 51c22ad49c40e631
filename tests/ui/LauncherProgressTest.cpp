#include "LauncherProgress.h"

#include "../HostRequired.h"

#include <gio/gio.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace
{
    // A session bus of the test's own, the process's from its start on. GLib
    // runs the daemon and takes it down, also when the test is killed. It
    // also unsets DISPLAY, which the later tests of this process need back.
    class PrivateSessionBus
    {
    public:
        PrivateSessionBus() : bus_(g_test_dbus_new(G_TEST_DBUS_NONE)), display_(g_strdup(g_getenv("DISPLAY")))
        {
            gchar* daemon = g_find_program_in_path("dbus-daemon");
            running_ = daemon != nullptr;
            g_free(daemon);
            if (running_)
                g_test_dbus_up(bus_); // sets DBUS_SESSION_BUS_ADDRESS
        }
        ~PrivateSessionBus()
        {
            if (running_)
                g_test_dbus_down(bus_);
            g_object_unref(bus_);
            if (display_)
                g_setenv("DISPLAY", display_, TRUE);
            g_free(display_);
        }
        bool running() const { return running_; }

    private:
        GTestDBus* bus_;
        gchar* display_;
        bool running_ = false;
    };

    struct Update
    {
        double progress;
        bool visible;
    };

    void onUpdate(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
                  gpointer updates)
    {
        const char* uri = nullptr;
        GVariant* properties = nullptr;
        g_variant_get(parameters, "(&s@a{sv})", &uri, &properties);
        Update update{-1, false};
        g_variant_lookup(properties, "progress", "d", &update.progress);
        gboolean visible = FALSE;
        g_variant_lookup(properties, "progress-visible", "b", &visible);
        update.visible = visible;
        static_cast<std::vector<Update>*>(updates)->push_back(update);
        g_variant_unref(properties);
    }
}

TEST(LauncherProgress, ShowsTheBarOnlyStrictlyBetweenNoneAndDone)
{
    PrivateSessionBus bus;
    REQUIRE_HOST(bus.running(), "dbus-daemon");
    GDBusConnection* listener = g_dbus_connection_new_for_address_sync(
        std::getenv("DBUS_SESSION_BUS_ADDRESS"),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    ASSERT_NE(listener, nullptr);
    std::vector<Update> updates;
    g_dbus_connection_signal_subscribe(listener, nullptr, "com.canonical.Unity.LauncherEntry", "Update", nullptr,
                                       nullptr, G_DBUS_SIGNAL_FLAGS_NONE, onUpdate, &updates, nullptr);
    // The match rule is in force once the bus has answered a call after it.
    g_dbus_connection_call_sync(listener, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);

    for (double value : {0.5, 0.0, 1.0, 0.25})
        LauncherProgress::instance().show(value);
    for (int spins = 0; spins < 500 && updates.size() < 4; ++spins)
        g_main_context_iteration(nullptr, FALSE), g_usleep(2000);

    ASSERT_EQ(updates.size(), 4u);
    EXPECT_TRUE(updates[0].visible);
    EXPECT_DOUBLE_EQ(updates[0].progress, 0.5);
    EXPECT_FALSE(updates[1].visible);
    EXPECT_FALSE(updates[2].visible);
    EXPECT_TRUE(updates[3].visible);
    EXPECT_DOUBLE_EQ(updates[3].progress, 0.25);
    g_object_unref(listener);
}
