#include "QtUtils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <glib.h>
#include <string>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace
{
    class QtUtilsFiles : public testing::Test
    {
    protected:
        void SetUp() override
        {
            char pattern[] = "/tmp/kvos-qtutils-XXXXXX";
            folder = mkdtemp(pattern);
        }
        void TearDown() override { std::system(("rm -rf " + folder).c_str()); }

        std::string make(const std::string& name, const std::string& text)
        {
            const std::string path = folder + "/" + name;
            std::ofstream(path) << text;
            return path;
        }

        static std::string read(const std::string& path)
        {
            std::ifstream in(path);
            return std::string(std::istreambuf_iterator<char>(in), {});
        }

        static bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

        std::string folder;
    };
}

TEST_F(QtUtilsFiles, DeleteAnswersTrueOnlyWhenItFailed)
{
    const std::string path = make("gone.txt", "x");
    EXPECT_FALSE(QtUtils::deleteFile(path.c_str()));
    EXPECT_FALSE(exists(path));
    EXPECT_TRUE(QtUtils::deleteFile(path.c_str()));
}

TEST_F(QtUtilsFiles, MoveLeavesAnExistingTargetAloneUnlessAskedToOverwrite)
{
    const std::string from = make("from.txt", "new");
    const std::string to = make("to.txt", "old");
    EXPECT_FALSE(QtUtils::moveFile(from.c_str(), to.c_str(), false));
    EXPECT_EQ(read(to), "old");
    EXPECT_TRUE(exists(from));
    EXPECT_TRUE(QtUtils::moveFile(from.c_str(), to.c_str(), true));
    EXPECT_EQ(read(to), "new");
    EXPECT_FALSE(exists(from));
    const std::string fresh = folder + "/fresh.txt";
    EXPECT_TRUE(QtUtils::moveFile(to.c_str(), fresh.c_str(), false));
    EXPECT_EQ(read(fresh), "new");
    EXPECT_FALSE(QtUtils::moveFile((folder + "/missing").c_str(), to.c_str(), true));
}

TEST(QtUtils, PresentationStyleIsOnOrOff)
{
    EXPECT_EQ(QtUtils::getPresentationStyle(), 0);
    QtUtils::setPresentationStyle(QtUtils::ePresentationFullScreen);
    EXPECT_EQ(QtUtils::getPresentationStyle(), 1);
    QtUtils::setPresentationStyle(QtUtils::ePresentationOff);
    EXPECT_EQ(QtUtils::getPresentationStyle(), 0);
}

TEST(QtUtils, VersionNamesTheKernelRelease)
{
    char version[256] = {};
    QtUtils::getOSVersion(version);
    utsname system;
    uname(&system);
    EXPECT_NE(std::string(version).find(system.release), std::string::npos) << version;
}

TEST(QtUtils, EventTapIsServedByTheThreadsMainContext)
{
    static bool fired = false;
    GSource* tap = g_idle_source_new();
    g_source_set_callback(tap, [](gpointer) -> gboolean { fired = true; return G_SOURCE_REMOVE; }, nullptr, nullptr);
    QtUtils::addEventTap(tap);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    EXPECT_TRUE(fired);
}
