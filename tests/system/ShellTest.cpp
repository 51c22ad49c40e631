#include "OS.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gio/gio.h>
#include <glib.h>
#include <glib/gstdio.h>
#include "../HostRequired.h"
#include <pwd.h>
#include <string>
#include <thread>
#include <vector>
#include <unistd.h>

namespace
{
    // The part of a file manager that the shell talks to.
    constexpr const char* kFileManagerInterface =
        "<node><interface name='org.freedesktop.FileManager1'><method name='ShowItems'>"
        "<arg type='as' direction='in'/><arg type='s' direction='in'/></method></interface></node>";

    void onShowItems(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer shown)
    {
        gchar** uris = nullptr;
        const char* startup = nullptr;
        g_variant_get(parameters, "(^as&s)", &uris, &startup);
        for (gchar** uri = uris; *uri; ++uri)
            static_cast<std::vector<std::string>*>(shown)->push_back(*uri);
        g_strfreev(uris);
        g_dbus_method_invocation_return_value(invocation, nullptr);
    }

    bool iterateUntil(GMainContext* context, const std::function<bool()>& done)
    {
        const gint64 deadline = g_get_monotonic_time() + 5 * G_USEC_PER_SEC;
        while (!done() && g_get_monotonic_time() < deadline)
            g_main_context_iteration(context, FALSE) || (g_usleep(1000), true);
        return done();
    }

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
    EXPECT_EQ(folderOf(iShell::eResources),
              std::string(OS()->utils()->toUTF8(OS()->fileMgr()->getAppPath()).c_str()) + "../Resources/");
}

TEST(Shell, ActionsMapToTheirCommandKeys)
{
    const std::string letters = "OCVXAZYF";
    for (size_t action = 0; action < letters.size(); ++action)
        EXPECT_EQ(OS()->shell()->getDefaultKeyForAction(iShell::eAction(action)), 0x100000u + letters[action]);
    EXPECT_EQ(OS()->shell()->getDefaultKeyForAction(iShell::eAction(8)), 0u);
    EXPECT_EQ(OS()->shell()->getDefaultKeyForAction(iShell::eAction(-1)), 0u);
}

TEST(Shell, MessageBoxesAreForTheMainThreadAloneAndTheUserIsTheLogin)
{
    int result = -1;
    std::thread([&] { result = OS()->shell()->messageBox(L"", L"Not shown", iShell::eOk, iShell::eWarning); }).join();
    EXPECT_EQ(result, 0);
    const char* login = getlogin();
    EXPECT_EQ(OS()->utils()->toUTF8(OS()->shell()->getUserName()).c_str(),
              std::string(login ? login : getpwuid(geteuid())->pw_name));
}

TEST(Shell, IconsComeFromTheThemeByContentType)
{
    iShell* shell = OS()->shell();
    EXPECT_FALSE(shell->getIconForFile(L""));
    EXPECT_FALSE(shell->getIconForFile(L"/no/such/file.txt"));
    REQUIRE_HOST(g_file_test("/usr/share/icons/Adwaita", G_FILE_TEST_IS_DIR), "the Adwaita icon theme");
    const std::string file = std::string(g_get_tmp_dir()) + "/kvos-shell-icon.txt";
    g_file_set_contents(file.c_str(), "plain text\n", -1, nullptr);
    Kv::Ptr<iHostImage> icon = shell->getIconForFile(OS()->utils()->fromUTF8(file.c_str(), -1));
    std::remove(file.c_str());
    ASSERT_TRUE(icon);
    EXPECT_EQ(icon->getSize(), XY<int>(128, 128));
    const Kv::Ptr<iPixelGuard> pixels = icon->lock();
    const unsigned char* bytes = pixels->getPixels();
    const std::size_t size = std::size_t(pixels->getStride()) * 128;
    EXPECT_TRUE(icon->isAlphaPreMultiplied());
    EXPECT_NE(std::count(bytes, bytes + size, 0), std::ptrdiff_t(size)) << "the picture is drawn";
}

// The document goes to the program as its one argument, spaces and all.
TEST(Shell, RunProgramHandsTheDocumentToTheProgram)
{
    gchar* folder = g_dir_make_tmp("kvos-run-XXXXXX", nullptr);
    const std::string document = std::string(folder) + "/a made file";
    const iShell::RunArgs touch{L"/usr/bin/touch", OS()->utils()->fromUTF8(document.c_str(), -1)};
    EXPECT_TRUE(OS()->shell()->runProgram(touch));
    EXPECT_TRUE(iterateUntil(nullptr, [&] { return g_file_test(document.c_str(), G_FILE_TEST_EXISTS); }));
    EXPECT_FALSE(OS()->shell()->runProgram({L"/nonexistent/program", L""}));
    g_remove(document.c_str());
    g_rmdir(folder);
    g_free(folder);
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

// In a process of its own, whose X connection never opened.
TEST(Shell, WithoutADisplayBoxesAnswerNothingAndTheClipboardIsEmpty)
{
    // The facade has threads of its own by now: the child starts afresh.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            g_unsetenv("DISPLAY");
            iShell* shell = OS()->shell();
            const bool set = shell->setClipboardText(L"text");
            const bool quiet = shell->messageBox(L"", L"Not shown", iShell::eYesNo, iShell::eError) == 0 &&
                               shell->getClipboardText().empty();
            std::exit(set && quiet ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Shell, RevealedFilesGoToTheFileManagerAsURIs)
{
    gchar* daemon = g_find_program_in_path("dbus-daemon");
    g_free(daemon);
    REQUIRE_HOST(daemon, "dbus-daemon");
    GTestDBus* bus = g_test_dbus_new(G_TEST_DBUS_NONE);
    g_test_dbus_up(bus);
    GMainContext* context = g_main_context_new();
    g_main_context_push_thread_default(context);
    GDBusConnection* fileManager = g_dbus_connection_new_for_address_sync(
        g_test_dbus_get_bus_address(bus),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    ASSERT_NE(fileManager, nullptr);
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kFileManagerInterface, nullptr);
    std::vector<std::string> shown;
    const GDBusInterfaceVTable methods = {onShowItems, nullptr, nullptr, {}};
    g_dbus_connection_register_object(fileManager, "/org/freedesktop/FileManager1", node->interfaces[0], &methods,
                                      &shown, nullptr, nullptr);
    bool named = false;
    g_bus_own_name_on_connection(
        fileManager, "org.freedesktop.FileManager1", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const char*, gpointer named) { *static_cast<bool*>(named) = true; }, nullptr, &named,
        nullptr);
    ASSERT_TRUE(iterateUntil(context, [&] { return named; }));

    OS()->shell()->revealFiles({L"/tmp/a film.mov", L"/tmp/b.mov"});
    EXPECT_TRUE(iterateUntil(context, [&] { return !shown.empty(); }));
    EXPECT_EQ(shown, (std::vector<std::string>{"file:///tmp/a%20film.mov", "file:///tmp/b.mov"}));

    g_dbus_node_info_unref(node);
    g_object_unref(fileManager);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    g_test_dbus_down(bus);
    g_object_unref(bus);
}
