#include "OS.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <string>

namespace
{
    std::string folderOf(iShell::eFolderLocation location)
    {
        return OS()->utils()->toUTF8(OS()->shell()->getFolderLocation(location)).c_str();
    }
}

TEST(Shell, StandardFoldersEndInTheirSeparator)
{
    const std::string home = std::string(g_get_home_dir()) + "/";
    EXPECT_EQ(folderOf(iShell::eHome), home);
    EXPECT_EQ(folderOf(iShell::eSettingsBase), home);
    EXPECT_EQ(folderOf(iShell::eFolderLocation(42)), home) << "unknown values give the home";
    for (auto location : {iShell::eDocuments, iShell::eDesktop, iShell::eMovies, iShell::ePictures, iShell::eMusic,
                          iShell::eDownloads}) {
        const std::string folder = folderOf(location);
        EXPECT_EQ(folder.back(), '/') << location;
        EXPECT_EQ(folder.find("//"), std::string::npos) << folder;
        EXPECT_NE(folder, home) << location;
    }
    const char* videos = g_get_user_special_dir(G_USER_DIRECTORY_VIDEOS);
    EXPECT_EQ(folderOf(iShell::eMovies), videos ? std::string(videos) + "/" : home + "Videos/");
}

TEST(Shell, ResourcesLieBesideTheExecutable)
{
    const std::string resources = folderOf(iShell::eResources);
    EXPECT_EQ(resources, std::string(OS()->utils()->toUTF8(OS()->fileMgr()->getAppPath()).c_str()) + "../Resources/");
}
