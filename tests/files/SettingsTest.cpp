#include "FileTestSupport.h"
#include "../HostRequired.h"
#include "Settings.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <glib.h>
#include <set>
#include <sys/mount.h>

namespace
{
    // Started again with KVOS_SETTINGS_PROBE set, in a home of its own, this
    // program prints where the user store lives and what it holds under "key",
    // then stores the variable's value there and ends. GLib reads HOME and
    // XDG_CONFIG_HOME once a process, so a fresh home needs a fresh process.
    [[maybe_unused]] const bool settingsProbe = [] {
        const char* value = std::getenv("KVOS_SETTINGS_PROBE");
        if (!value)
            return false;
        Settings user(iSettings::eUserSettings);
        std::printf("%s\n%s\n", ScratchFolder::narrow(Settings::getPath(iSettings::eUserSettings)).c_str(),
                    user.getValue("key", "none", nullptr).c_str());
        user.setValue("key", value, nullptr);
        user.persist();
        std::fflush(stdout);
        std::_Exit(0);
    }();

    std::string appDescription() { return ScratchFolder::narrow(OS()->fileMgr()->getAppDescription()); }

    // What the probe prints, run with env's arguments before its own.
    std::string runProbe(const std::string& environment, const std::string& value, const std::string& output)
    {
        std::system(("env " + environment + " KVOS_SETTINGS_PROBE=" + value + " '" +
                     std::filesystem::read_symlink("/proc/self/exe").string() + "' > " + output)
                        .c_str());
        return ScratchFolder::read(output);
    }

    std::set<std::string> entries(const std::string& folder)
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.insert(entry.path().filename());
        return names;
    }

    // A tmpfs of a few pages on a folder of its own; gone with the object.
    class SmallDisk
    {
    public:
        SmallDisk()
        {
            char pattern[] = "/tmp/kvos-small-disk-XXXXXX";
            if (mkdtemp(pattern))
                path = pattern;
            mounted = !path.empty() && mount("tmpfs", path.c_str(), "tmpfs", 0, "size=64k") == 0;
        }
        ~SmallDisk()
        {
            if (mounted)
                umount2(path.c_str(), MNT_DETACH);
            if (!path.empty())
                rmdir(path.c_str());
        }

        // Takes every byte left with one file called "filler".
        void fill() const { std::system(("cat /dev/zero > " + path + "/filler 2>/dev/null").c_str()); }

        std::string path;
        bool mounted = false;
    };
}

// The stores live in the user's config folder, "<config>/<application>/": the
// application's folder is the test's, removed after it.
class SettingsStore : public testing::Test
{
protected:
    void SetUp() override
    {
        appFolder = std::string(g_get_user_config_dir()) + "/" + appDescription();
        ASSERT_FALSE(ScratchFolder::exists(appFolder)) << "refusing to touch an existing " << appFolder;
    }

    void TearDown() override { std::system(("rm -rf '" + appFolder + "'").c_str()); }

    std::string file(iSettings::eType type) const { return ScratchFolder::narrow(Settings::getPath(type)); }

    void writeFile(iSettings::eType type, const std::string& text) const
    {
        std::ofstream(file(type), std::ios::binary) << text;
    }

    std::string appFolder;
};

class SettingsFirstRun : public ScratchFolder
{
};

TEST_F(SettingsStore, WritesTheExactFileFormat)
{
    Settings user(iSettings::eUserSettings);
    user.setValue("a1", "5", nullptr);
    user.setValue("port", "80", "Net");
    user.setValue("host", "", "Net");
    user.setValue("gone", "x", "Empty");
    EXPECT_TRUE(user.removeValue("gone", "Empty"));
    EXPECT_FALSE(user.removeValue("gone", "Empty"));
    user.persist();
    EXPECT_EQ(ScratchFolder::read(file(iSettings::eUserSettings)), "[]\na1=5\n\n[Net]\nhost=\nport=80\n\n");
    EXPECT_EQ(file(iSettings::eUserSettings), appFolder + "/UserSettings.txt");

    Settings global(iSettings::eGlobalSettings);
    global.setValue("allowIntelOpenCL", "1", nullptr);
    global.persist();
    EXPECT_EQ(ScratchFolder::read(file(iSettings::eGlobalSettings)), "[Configuration]\nallowIntelOpenCL=1\n\n");
    EXPECT_EQ(global.getValue("allowIntelOpenCL", "0", "Configuration"), "1");
}

TEST_F(SettingsStore, ReadsLinesAsTheyStand)
{
    writeFile(iSettings::eUserSettings, "top=1\n"
                                        "[x]tail\n"
                                        "a = 1\n"
                                        "ab=\n"
                                        "a=\n"
                                        "noequals\n"
                                        "#c=commented\n"
                                        "[broken\n"
                                        "crlf=v\r\n"
                                        "tab=t\t\n"
                                        "space=s \n"
                                        "dup=first\n"
                                        "dup=second\n"
                                        "z=1");
    Settings user(iSettings::eUserSettings);
    EXPECT_EQ(user.getValue("top", nullptr, nullptr), "1");
    EXPECT_EQ(user.getValue("a ", nullptr, "x"), " 1") << "spaces around = belong to name and value";
    EXPECT_EQ(user.getValue("ab", "default", "x"), "") << "four bytes with the line end: taken";
    EXPECT_EQ(user.getValue("a", "default", "x"), "default") << "three bytes: dropped";
    EXPECT_EQ(user.getValue("#c", nullptr, "x"), "commented") << "no comment syntax";
    EXPECT_EQ(user.getValue("crlf", nullptr, "x"), "v") << "[broken is ignored and the section stays";
    EXPECT_EQ(user.getValue("tab", nullptr, "x"), "t");
    EXPECT_EQ(user.getValue("space", nullptr, "x"), "s ");
    EXPECT_EQ(user.getValue("dup", nullptr, "x"), "second");
    EXPECT_EQ(user.getValue("z", "lost", "x"), "lost") << "three bytes without a line end";
    EXPECT_EQ(user.getValue("missing", nullptr, "x"), "");

    iSettings::NameValuePairs pairs;
    EXPECT_TRUE(user.getMultipleValues(pairs, "x"));
    ASSERT_EQ(pairs.size(), 7u);
    EXPECT_EQ(pairs[0].name, "#c") << "in byte order";
    EXPECT_FALSE(user.getMultipleValues(pairs, "nowhere"));
}

TEST_F(SettingsStore, OnlyAChangeRewritesTheFile)
{
    writeFile(iSettings::eUserSettings, "[]\nkeep=1\n\n");
    Settings user(iSettings::eUserSettings);
    user.setValue("keep", "1", "");
    writeFile(iSettings::eUserSettings, "edited outside\n");
    user.persist();
    EXPECT_EQ(ScratchFolder::read(file(iSettings::eUserSettings)), "edited outside\n") << "no change, no write";

    user.setValue("e", "", nullptr);
    user.setValue("ab", "", nullptr);
    user.persist();
    Settings reloaded(iSettings::eUserSettings);
    EXPECT_EQ(reloaded.getValue("keep", nullptr, nullptr), "1");
    EXPECT_EQ(reloaded.getValue("e", "gone", nullptr), "gone") << "\"e=\" is too short to come back";
    EXPECT_EQ(reloaded.getValue("ab", "gone", nullptr), "");

    user.removeValue("keep", nullptr);
    user.removeValue("e", nullptr);
    user.removeValue("ab", nullptr);
    iSettings::NameValuePairs pairs;
    EXPECT_TRUE(user.getMultipleValues(pairs, nullptr)) << "an emptied section stays in memory";
    EXPECT_TRUE(pairs.empty());
    user.persist();
    EXPECT_EQ(ScratchFolder::read(file(iSettings::eUserSettings)), "") << "and leaves the file";
}

// A save that runs out of room, while writing or at the final flush, leaves
// the previous file as it was and nothing else beside it.
TEST_F(SettingsStore, ASaveThatCannotCompleteKeepsThePreviousFile)
{
    const SmallDisk disk;
    REQUIRE_HOST(disk.mounted, "mounting a tmpfs");
    const std::string store = disk.path + "/UserSettings.txt";
    const std::string previous = "[]\nold=1\n\n";
    ScratchFolder::write(store, previous);
    disk.fill();
    for (const std::size_t length : {std::size_t(8), std::size_t(100000)}) {
        SCOPED_TRACE(length);
        Settings user(iSettings::eUserSettings);
        user.setValue("new", std::string(length, 'x').c_str(), nullptr);
        user.save(ScratchFolder::wide(store));
        EXPECT_EQ(ScratchFolder::read(store), previous);
        EXPECT_EQ(entries(disk.path), (std::set<std::string>{"UserSettings.txt", "filler"}));
    }
}

// On a first run not even the config folder's parents exist: they are made,
// private to the user, and the next run reads the value back.
TEST_F(SettingsFirstRun, MakesTheConfigFolderWithItsParentsAndReadsTheValueBack)
{
    const std::string home = folder + "home";
    const struct
    {
        std::string environment, configFolder;
    } cases[] = {
        {"-u XDG_CONFIG_HOME HOME=" + home, home + "/.config/"},
        {"HOME=" + home + " XDG_CONFIG_HOME=" + folder + "xdg/config", folder + "xdg/config/"},
    };
    for (const auto& [environment, configFolder] : cases) {
        SCOPED_TRACE(environment);
        const std::string store = configFolder + appDescription() + "/UserSettings.txt";
        EXPECT_EQ(runProbe(environment, "first", folder + "output"), store + "\nnone\n");
        EXPECT_EQ(runProbe(environment, "second", folder + "output"), store + "\nfirst\n");
        EXPECT_EQ(read(store), "[]\nkey=second\n\n");
        struct stat status = {};
        EXPECT_EQ(stat((configFolder + appDescription()).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0700u);
    }
}

TEST_F(SettingsStore, TheShellSharesOneStoreOfEachKind)
{
    iShell* shell = OS()->shell();
    Kv::Ptr<iSettings> user = shell->getSettings(iSettings::eUserSettings);
    EXPECT_EQ(shell->getSettings(iSettings::eUserSettings).get(), user.get());
    Kv::Ptr<iSettings> global = shell->getSettings(iSettings::eType(7));
    EXPECT_EQ(shell->getSettings(iSettings::eGlobalSettings).get(), global.get()) << "any other kind is global";
    EXPECT_NE(global.get(), user.get());
    global->setValue("k", "v", nullptr);
    EXPECT_EQ(global->getValue("k", nullptr, "Configuration"), "v");
}
