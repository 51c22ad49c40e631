#include "OS.h"

#include <cstdio>
#include <glib.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>
#include <thread>
#include <unistd.h>

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

TEST(Shell, ActionsMapToTheirCommandKeys)
{
    const std::string letters = "OCVXAZYF";
    for (size_t action = 0; action < letters.size(); ++action)
        EXPECT_EQ(OS()->shell()->getDefaultKeyForAction(iShell::eAction(action)), 0x100000u + letters[action]);
    EXPECT_EQ(OS()->shell()->getDefaultKeyForAction(iShell::eAction(8)), 0u);
    EXPECT_EQ(OS()->shell()->getDefaultKeyForAction(iShell::eAction(-1)), 0u);
}

TEST(Shell, MessageBoxesAreForTheMainThreadAlone)
{
    int result = -1;
    std::thread([&] {
        result = OS()->shell()->messageBox(L"", L"Not shown", iShell::eOk, iShell::eWarning);
    }).join();
    EXPECT_EQ(result, 0);
}

TEST(Shell, UserNameIsTheAccountsName)
{
    const passwd* account = getpwuid(geteuid());
    ASSERT_NE(account, nullptr);
    const char* login = getlogin();
    EXPECT_EQ(OS()->utils()->toUTF8(OS()->shell()->getUserName()).c_str(),
              std::string(login ? login : account->pw_name));
}

TEST(Shell, IconsComeFromTheThemeByContentType)
{
    iShell* shell = OS()->shell();
    EXPECT_FALSE(shell->getIconForFile(L""));
    EXPECT_FALSE(shell->getIconForFile(L"/no/such/file.txt"));
    if (!g_file_test("/usr/share/icons/Adwaita", G_FILE_TEST_IS_DIR))
        GTEST_SKIP() << "no Adwaita icon theme";
    const std::string folder = std::string(g_get_tmp_dir()) + "/kvos-shell-icon.txt";
    g_file_set_contents(folder.c_str(), "plain text\n", -1, nullptr);
    Kv::Ptr<iHostImage> icon = shell->getIconForFile(OS()->utils()->fromUTF8(folder.c_str(), -1));
    std::remove(folder.c_str());
    ASSERT_TRUE(icon);
    EXPECT_EQ(icon->getSize(), XY<int>(128, 128));
}

// Without xdg-open nothing opens, and the answer is the same.
TEST(Shell, OpeningAnswersTrueWhateverTheDesktopHas)
{
    const std::string path = g_getenv("PATH");
    g_setenv("PATH", "/nonexistent", TRUE);
    EXPECT_TRUE(OS()->shell()->viewDocument(L"https://example.org/"));
    EXPECT_TRUE(OS()->shell()->viewDocument(L"HTTP://example.org/"));
    EXPECT_TRUE(OS()->shell()->viewDocument(L"/tmp"));
    OS()->shell()->revealFiles({});
    OS()->shell()->revealFiles({L"bare-name.txt"});
    g_setenv("PATH", path.c_str(), TRUE);
}
