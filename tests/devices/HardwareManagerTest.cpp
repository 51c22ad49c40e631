#include "HardwareManager.h"
#include "LinuxOS.h"
#include "SerialPortList.h"
#include "SerialTestSupport.h"

#include "../HostRequired.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gio/gio.h>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace
{
    using namespace std::chrono_literals;

    std::string narrow(const LightweightString<wchar_t>& text) { return OS()->utils()->toUTF8(text).c_str(); }

    LightweightString<wchar_t> wide(const std::string& text) { return OS()->utils()->fromUTF8(text.c_str(), -1); }

    // Every event a handler hears, as "mounted <path>", "unmounted <path>" or
    // "unmounting <path>".
    class RecordingHandler : public iDeviceEventHandler
    {
    public:
        // Called inside deviceMounted, before the event is recorded.
        std::function<void(RecordingHandler*)> onMounted;

        void deviceMounted(Kv::Ptr<iRemovableDevice> device) override
        {
            if (onMounted)
                onMounted(this);
            const bool described = device && device->getType() == iRemovableDevice::eRemovableDrive &&
                                   device->getDeviceID() == device->getName();
            record(described ? "mounted " + narrow(device->getName()) : "mounted an odd device");
        }
        void deviceUnmounted(const LightweightString<wchar_t>& path) override { record("unmounted " + narrow(path)); }
        void deviceUnmounting(const LightweightString<wchar_t>& path) override
        {
            record("unmounting " + narrow(path));
        }

        // The events so far, once there are at least count or after five seconds.
        std::vector<std::string> waitFor(std::size_t count)
        {
            std::unique_lock lock(mutex);
            changed.wait_for(lock, 5s, [&] { return events.size() >= count; });
            return events;
        }

    private:
        void record(const std::string& event)
        {
            std::lock_guard lock(mutex);
            events.push_back(event);
            changed.notify_all();
        }

        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::string> events;
    };

    // A tmpfs volume in a folder of its own, mounted and unmounted at will.
    class TemporaryVolume
    {
    public:
        TemporaryVolume()
        {
            char pattern[] = "/tmp/kvos_volume_XXXXXX";
            if (mkdtemp(pattern))
                folder = pattern;
        }
        ~TemporaryVolume()
        {
            unmount();
            if (!folder.empty())
                rmdir(folder.c_str());
        }
        TemporaryVolume(const TemporaryVolume&) = delete;
        TemporaryVolume& operator=(const TemporaryVolume&) = delete;

        bool mount()
        {
            mounted = !folder.empty() && ::mount("kvos", folder.c_str(), "tmpfs", 0, "size=1m") == 0;
            return mounted;
        }
        void unmount()
        {
            if (mounted)
                umount(folder.c_str());
            mounted = false;
        }

        std::string folder;
        bool mounted = false;
    };

    // The events that a volume mounted and then unmounted gives a handler
    // registered times times.
    std::vector<std::string> mountAndUnmount(const std::string& folder, int times)
    {
        std::vector<std::string> events(std::size_t(times), "mounted " + folder);
        events.insert(events.end(), std::size_t(times), "unmounted " + folder);
        return events;
    }

    std::set<std::string> sorted(const std::vector<std::string>& paths) { return {paths.begin(), paths.end()}; }
}

TEST(HardwareManager, LivesInTheFacadeBetweenImagesAndCryptography)
{
    iOperatingSystem* system = OS();
    auto* manager = dynamic_cast<HardwareManager*>(system->hardwareMgr());
    ASSERT_NE(manager, nullptr);
    EXPECT_GT(static_cast<void*>(manager), static_cast<void*>(system->imageManager()));
    EXPECT_LT(static_cast<void*>(manager), static_cast<void*>(system->cryptography()));
}

// Every listed port is a character device with a device behind it; the
// pseudo-terminals, which have none, are left out, and libudev and the sysfs
// class folder agree.
TEST(HardwareManager, ListsTheSerialDevicesAndNothingElse)
{
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    std::map<LightweightString<wchar_t>, LightweightString<wchar_t>> ports;
    OS()->hardwareMgr()->getComPorts(ports);
    std::set<std::string> listed;
    for (const auto& [key, value] : ports) {
        EXPECT_TRUE(key == value) << narrow(key);
        const std::string path = narrow(key);
        struct stat status;
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        EXPECT_TRUE(S_ISCHR(status.st_mode)) << path;
        EXPECT_TRUE(path.starts_with("/dev/")) << path;
        listed.insert(path);
    }
    EXPECT_FALSE(listed.contains(line.path));
    EXPECT_FALSE(listed.contains("/dev/tty"));
    EXPECT_FALSE(listed.contains("/dev/console"));

    std::vector<std::string> throughUdev;
    ASSERT_TRUE(SerialPortList::throughUdev(throughUdev));
    EXPECT_EQ(sorted(throughUdev), listed);
    EXPECT_EQ(sorted(SerialPortList::throughSysfs("/sys/class/tty")), listed);
    EXPECT_TRUE(SerialPortList::throughSysfs("/sys/class/kvos-no-such-class").empty());
}

TEST(HardwareManager, OpensPortsByTheirPath)
{
    PseudoTerminal line;
    ASSERT_TRUE(line.ready());
    iHardwareManager* manager = OS()->hardwareMgr();
    const Kv::Ptr<CollectingReceiver> receiver(new CollectingReceiver);
    const Kv::Ptr<iComPort> port = manager->openComPort(wide(line.path), receiver);
    ASSERT_TRUE(port);
    ASSERT_TRUE(port->setConfig(eightNoneOne()));
    ASSERT_EQ(write(line.master, "hello", 5), 5);
    const std::vector<unsigned char> arrived = receiver->waitFor(5);
    EXPECT_EQ(std::string(arrived.begin(), arrived.end()), "hello");

    EXPECT_FALSE(manager->openComPort(L"/dev/kvos-no-such-port", receiver));
    EXPECT_FALSE(manager->openComPort(LightweightString<wchar_t>(), receiver));
    EXPECT_FALSE(manager->openComPort(wide(line.path), Kv::Ptr<iComPortReceiver>()));
}

// Handlers belong to the fixture, so that they outlive the listener, which
// TearDown stops.
class VolumeEvents : public testing::Test
{
protected:
    void SetUp() override
    {
        REQUIRE_HOST(volume.mount(), "mounting a tmpfs (root's right)");
        volume.unmount();
        ASSERT_TRUE(manager->initialise());
    }
    void TearDown() override { manager->deinitialise(); }

    iHardwareManager* manager = OS()->hardwareMgr();
    TemporaryVolume volume;
    RecordingHandler handlers[4];
};

// Only handlers of removable drives hear of volumes, each registration of a
// handler (type and value) once, however often it was made.
TEST_F(VolumeEvents, ReachEachRegistrationOfADriveHandler)
{
    auto& [twice, firewire, deregistered, otherTypeDeregistered] = handlers;
    manager->registerForDeviceEvents(&twice, iRemovableDevice::eRemovableDrive, 1);
    manager->registerForDeviceEvents(&twice, iRemovableDevice::eRemovableDrive, 1);
    manager->registerForDeviceEvents(&twice, iRemovableDevice::eRemovableDrive, 2);
    manager->registerForDeviceEvents(&firewire, iRemovableDevice::eFirewireDevice, 0);
    manager->registerForDeviceEvents(&deregistered, iRemovableDevice::eRemovableDrive, 1);
    manager->registerForDeviceEvents(&deregistered, iRemovableDevice::eRemovableDrive, 2);
    manager->deregisterForDeviceEvents(&deregistered, iRemovableDevice::eRemovableDrive);
    manager->registerForDeviceEvents(&otherTypeDeregistered, iRemovableDevice::eRemovableDrive, 0);
    manager->deregisterForDeviceEvents(&otherTypeDeregistered, iRemovableDevice::eFirewireDevice);
    manager->deregisterForDeviceEvents(&firewire, iRemovableDevice::eRemovableDrive);
    manager->registerForDeviceEvents(nullptr, iRemovableDevice::eRemovableDrive, 0);
    // A second start adds no second listener.
    ASSERT_TRUE(manager->initialise());

    ASSERT_TRUE(volume.mount());
    EXPECT_EQ(twice.waitFor(2), std::vector<std::string>(2, "mounted " + volume.folder));
    volume.unmount();
    EXPECT_EQ(twice.waitFor(4), mountAndUnmount(volume.folder, 2));
    EXPECT_EQ(otherTypeDeregistered.waitFor(2), mountAndUnmount(volume.folder, 1));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(twice.waitFor(0).size(), 4u);
    EXPECT_TRUE(firewire.waitFor(0).empty());
    EXPECT_TRUE(deregistered.waitFor(0).empty());
}

// The walk goes over the registrations as they were when the event came: a
// handler that deregisters itself inside deviceMounted is still called for
// its other registration, and one registered inside hears only later events.
TEST_F(VolumeEvents, AHandlerMayDeregisterItselfDuringTheWalk)
{
    auto& [quitter, stayer, latecomer, unused] = handlers;
    quitter.onMounted = [&](RecordingHandler* self) {
        manager->deregisterForDeviceEvents(self, iRemovableDevice::eRemovableDrive);
        manager->registerForDeviceEvents(&latecomer, iRemovableDevice::eRemovableDrive, 0);
    };
    manager->registerForDeviceEvents(&quitter, iRemovableDevice::eRemovableDrive, 1);
    manager->registerForDeviceEvents(&quitter, iRemovableDevice::eRemovableDrive, 2);
    manager->registerForDeviceEvents(&stayer, iRemovableDevice::eRemovableDrive, 0);

    ASSERT_TRUE(volume.mount());
    EXPECT_EQ(stayer.waitFor(1), std::vector<std::string>{"mounted " + volume.folder});
    volume.unmount();
    EXPECT_EQ(stayer.waitFor(2), mountAndUnmount(volume.folder, 1));
    EXPECT_EQ(latecomer.waitFor(1), std::vector<std::string>{"unmounted " + volume.folder});
    EXPECT_EQ(quitter.waitFor(0), std::vector<std::string>(2, "mounted " + volume.folder));
}

// Stopping is quick with or without a system bus, and forgets the handlers;
// a new start counts changes from the table as it then is.
TEST_F(VolumeEvents, DeinitialiseStopsThemAndForgetsTheHandlers)
{
    RecordingHandler& handler = handlers[0];
    manager->registerForDeviceEvents(&handler, iRemovableDevice::eRemovableDrive, 0);
    const auto start = std::chrono::steady_clock::now();
    manager->deinitialise();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);

    ASSERT_TRUE(volume.mount());
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(handler.waitFor(0).empty());

    ASSERT_TRUE(manager->initialise());
    volume.unmount();
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(handler.waitFor(0).empty()) << "the handler was forgotten";
    manager->registerForDeviceEvents(&handler, iRemovableDevice::eRemovableDrive, 0);
    ASSERT_TRUE(volume.mount());
    EXPECT_EQ(handler.waitFor(1), std::vector<std::string>{"mounted " + volume.folder});
}

namespace
{
    const char* const kFilesystemXml = "<node><interface name='org.freedesktop.UDisks2.Filesystem'>"
                                       "<property name='MountPoints' type='aay' access='read'/>"
                                       "</interface></node>";

    // What UDisks2 shows of its file systems and jobs, on a private bus that
    // stands for the system bus: UDisks2 itself needs udev and a system bus,
    // which the test machine may not have. Its objects answer in the calling
    // thread's default main context, which the test has to iterate.
    class UDisksOnPrivateBus
    {
    public:
        UDisksOnPrivateBus() : bus(g_test_dbus_new(G_TEST_DBUS_NONE))
        {
            gchar* daemon = g_find_program_in_path("dbus-daemon");
            running = daemon != nullptr;
            g_free(daemon);
            if (!running)
                return;
            g_test_dbus_up(bus);
            setenv("DBUS_SYSTEM_BUS_ADDRESS", g_test_dbus_get_bus_address(bus), 1);
            service = g_dbus_connection_new_for_address_sync(
                g_test_dbus_get_bus_address(bus),
                GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                     G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, nullptr);
            GVariant* owned = g_dbus_connection_call_sync(
                service, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                g_variant_new("(su)", "org.freedesktop.UDisks2", 0u), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                nullptr);
            running = owned != nullptr;
            if (owned)
                g_variant_unref(owned);
            description = g_dbus_node_info_new_for_xml(kFilesystemXml, nullptr);
        }
        ~UDisksOnPrivateBus()
        {
            unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
            for (unsigned int registration : registrations)
                g_dbus_connection_unregister_object(service, registration);
            if (description)
                g_dbus_node_info_unref(description);
            if (service) {
                g_dbus_connection_close_sync(service, nullptr, nullptr);
                g_object_unref(service);
            }
            if (running)
                g_test_dbus_down(bus);
            g_object_unref(bus);
        }
        UDisksOnPrivateBus(const UDisksOnPrivateBus&) = delete;
        UDisksOnPrivateBus& operator=(const UDisksOnPrivateBus&) = delete;

        bool ready() const { return running && description; }

        // A block device with a file system mounted at mountPoint.
        void addFilesystem(const std::string& objectPath, const std::string& mountPoint)
        {
            mountPoints.push_back(std::make_unique<std::string>(mountPoint));
            static const GDBusInterfaceVTable vtable = {nullptr, getProperty, nullptr, {}};
            registrations.push_back(g_dbus_connection_register_object(service, objectPath.c_str(),
                                                                      description->interfaces[0], &vtable,
                                                                      mountPoints.back().get(), nullptr, nullptr));
        }

        // A job object appears for an operation on the block device.
        void startJob(const std::string& operation, const std::string& objectPath)
        {
            GVariantBuilder job;
            g_variant_builder_init(&job, G_VARIANT_TYPE("a{sv}"));
            g_variant_builder_add(&job, "{sv}", "Operation", g_variant_new_string(operation.c_str()));
            const char* objects[] = {objectPath.c_str()};
            g_variant_builder_add(&job, "{sv}", "Objects", g_variant_new_objv(objects, 1));
            GVariantBuilder interfaces;
            g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
            g_variant_builder_add(&interfaces, "{sa{sv}}", "org.freedesktop.UDisks2.Job", &job);
            const std::string jobPath = "/org/freedesktop/UDisks2/jobs/" + std::to_string(++jobs);
            g_dbus_connection_emit_signal(service, nullptr, "/org/freedesktop/UDisks2",
                                          "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
                                          g_variant_new("(oa{sa{sv}})", jobPath.c_str(), &interfaces), nullptr);
        }

    private:
        static GVariant* getProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                     GError**, gpointer mountPoint)
        {
            GVariant* point = g_variant_new_bytestring(static_cast<std::string*>(mountPoint)->c_str());
            return g_variant_new_array(G_VARIANT_TYPE_BYTESTRING, &point, 1);
        }

        GTestDBus* bus;
        bool running = false;
        GDBusConnection* service = nullptr;
        GDBusNodeInfo* description = nullptr;
        std::vector<std::unique_ptr<std::string>> mountPoints;
        std::vector<unsigned int> registrations;
        int jobs = 0;
    };
}

// An unmount job of UDisks2 tells of each mount point of its file system
// before it goes; other jobs tell nothing.
TEST_F(VolumeEvents, AnUnmountJobOfUDisksTellsOfTheVolumeAboutToGo)
{
    manager->deinitialise();
    UDisksOnPrivateBus udisks;
    REQUIRE_HOST(udisks.ready(), "dbus-daemon");
    ASSERT_TRUE(volume.mount());
    const std::string leaving = "/org/freedesktop/UDisks2/block_devices/kvos_leaving";
    const std::string staying = "/org/freedesktop/UDisks2/block_devices/kvos_staying";
    udisks.addFilesystem(leaving, volume.folder);
    udisks.addFilesystem(staying, "/kvos/staying");
    RecordingHandler& handler = handlers[0];
    ASSERT_TRUE(manager->initialise());
    manager->registerForDeviceEvents(&handler, iRemovableDevice::eRemovableDrive, 0);

    // The listener subscribes on its own thread: jobs are started until it
    // has heard one.
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (handler.waitFor(0).empty() && std::chrono::steady_clock::now() < deadline) {
        udisks.startJob("filesystem-mount", staying);
        udisks.startJob("filesystem-unmount", leaving);
        for (auto until = std::chrono::steady_clock::now() + 50ms; std::chrono::steady_clock::now() < until;)
            g_main_context_iteration(nullptr, FALSE);
    }
    const std::vector<std::string> events = handler.waitFor(1);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), "unmounting " + volume.folder);
    for (const std::string& event : events)
        EXPECT_EQ(event, events.front());
    manager->deinitialise();
}
