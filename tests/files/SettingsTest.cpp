#include "FileTestSupport.h"
#include "Settings.h"

#include <fstream>

// The stores live in "<home>/<application>/Preferences/": the application's
// folder is made for the test and removed after it.
class SettingsStore : public testing::Test
{
protected:
    void SetUp() override
    {
        appFolder = ScratchFolder::narrow(OS()->shell()->getFolderLocation(iShell::eSettingsBase) +
                                          OS()->fileMgr()->getAppDescription());
        ASSERT_FALSE(ScratchFolder::exists(appFolder)) << "refusing to touch an existing " << appFolder;
        ASSERT_EQ(mkdir(appFolder.c_str(), 0755), 0);
    }

    void TearDown() override { std::system(("rm -rf '" + appFolder + "'").c_str()); }

    std::string file(iSettings::eType type) const { return ScratchFolder::narrow(Settings::getPath(type)); }

    void writeFile(iSettings::eType type, const std::string& text) const
    {
        std::ofstream(file(type), std::ios::binary) << text;
    }

    std::string appFolder;
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
    EXPECT_EQ(file(iSettings::eUserSettings), appFolder + "/Preferences/UserSettings.txt");

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

TEST_F(SettingsStore, MissingFolderGivesEmptySettingsAndLosesSavesQuietly)
{
    std::system(("rm -rf '" + appFolder + "'").c_str());
    Settings user(iSettings::eUserSettings);
    EXPECT_EQ(user.getValue("any", "default", nullptr), "default");
    user.setValue("a", "1", nullptr);
    user.persist();
    EXPECT_FALSE(ScratchFolder::exists(appFolder));
    mkdir(appFolder.c_str(), 0755);
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
