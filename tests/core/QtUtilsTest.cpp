#include "QtUtils.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <glib.h>
#include <string>
#include <sys/utsname.h>

namespace
{
    std::string read(const std::string& path)
    {
        std::ifstream in(path);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
}

TEST(QtUtils, DeleteAnswersTrueOnlyWhenItFailedAndMoveOverwritesOnlyWhenAsked)
{
    char pattern[] = "/tmp/kvos-qtutils-XXXXXX";
    const std::string folder = std::string(mkdtemp(pattern)) + "/";
    std::ofstream(folder + "from.txt") << "new";
    std::ofstream(folder + "to.txt") << "old";
    EXPECT_FALSE(QtUtils::moveFile((folder + "from.txt").c_str(), (folder + "to.txt").c_str(), false));
    EXPECT_EQ(read(folder + "to.txt"), "old");
    EXPECT_TRUE(QtUtils::moveFile((folder + "from.txt").c_str(), (folder + "to.txt").c_str(), true));
    EXPECT_EQ(read(folder + "to.txt"), "new");
    EXPECT_FALSE(std::filesystem::exists(folder + "from.txt"));
    EXPECT_TRUE(QtUtils::moveFile((folder + "to.txt").c_str(), (folder + "fresh.txt").c_str(), false));
    EXPECT_EQ(read(folder + "fresh.txt"), "new");
    EXPECT_FALSE(QtUtils::moveFile((folder + "missing").c_str(), (folder + "fresh.txt").c_str(), true));

    EXPECT_FALSE(QtUtils::deleteFile((folder + "fresh.txt").c_str()));
    EXPECT_FALSE(std::filesystem::exists(folder + "fresh.txt"));
    EXPECT_TRUE(QtUtils::deleteFile((folder + "fresh.txt").c_str()));
    std::filesystem::remove_all(folder);
}

TEST(QtUtils, PresentationStyleIsOnOrOffAndTheVersionNamesTheKernelRelease)
{
    EXPECT_EQ(QtUtils::getPresentationStyle(), 0);
    QtUtils::setPresentationStyle(QtUtils::ePresentationFullScreen);
    EXPECT_EQ(QtUtils::getPresentationStyle(), 1);
    QtUtils::setPresentationStyle(QtUtils::ePresentationOff);
    EXPECT_EQ(QtUtils::getPresentationStyle(), 0);

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
