#include "Shell.h"

#include "CairoImage.h"
#include "MessageBox.h"
#include "Process.h"
#include "Settings.h"
#include "X11Clipboard.h"
#include "iFileManager.h"
#include "iUtils.h"

#include <gio/gio.h>
#include <glib.h>
#include <pwd.h>
#include <thread>
#include <unistd.h>

namespace
{
    // The XDG user directories, with the usual folder under the home for a
    // desktop that names none. Movies is the Videos folder.
    struct UserFolder
    {
        iShell::eFolderLocation location;
        GUserDirectory directory;
        const char* usualName;
    };

    constexpr UserFolder kUserFolders[] = {
        {iShell::eDocuments, G_USER_DIRECTORY_DOCUMENTS, "Documents"},
        {iShell::eDesktop, G_USER_DIRECTORY_DESKTOP, "Desktop"},
        {iShell::eMovies, G_USER_DIRECTORY_VIDEOS, "Videos"},
        {iShell::ePictures, G_USER_DIRECTORY_PICTURES, "Pictures"},
        {iShell::eMusic, G_USER_DIRECTORY_MUSIC, "Music"},
        {iShell::eDownloads, G_USER_DIRECTORY_DOWNLOAD, "Downloads"},
    };

    // Plain text, not the library's strings: a table built before main
    // would build the system object there.
    struct ButtonLabel
    {
        const wchar_t* label;
        int result;
    };

    struct ButtonLayout
    {
        ButtonLabel first;
        ButtonLabel second;
    };

    constexpr int kNone = -1;

    const ButtonLayout kButtonLayouts[] = {
        {{L"No", iShell::eResultNo}, {L"", kNone}},
        {{L"Ok", iShell::eResultOk}, {L"", kNone}},
        {{L"Yes", iShell::eResultYes}, {L"No", iShell::eResultNo}},
        {{L"Ok", iShell::eResultOk}, {L"Cancel", iShell::eResultCancel}},
        {{L"No", iShell::eResultNo}, {L"Yes", iShell::eResultYes}},
        {{L"Cancel", iShell::eResultCancel}, {L"Ok", iShell::eResultOk}},
    };

    std::vector<MessageBox::Button> buttonsOf(iShell::eMessageButtons layout)
    {
        // Beyond the table the box keeps the desktop's one button, which
        // answers nothing.
        if (unsigned(layout) >= std::size(kButtonLayouts))
            return {{L"OK", iShell::eNothingChosen}};
        const ButtonLayout& buttons = kButtonLayouts[layout];
        std::vector<MessageBox::Button> chosen = {{buttons.first.label, buttons.first.result}};
        if (buttons.second.result != kNone)
            chosen.push_back({buttons.second.label, buttons.second.result});
        return chosen;
    }

    MessageBox::eStyle styleOf(iShell::eMessageIcon icon)
    {
        switch (icon) {
        case iShell::eInformation:
            return MessageBox::eInformationalStyle;
        case iShell::eError:
            return MessageBox::eCriticalStyle;
        default:
            // The box's own default is the warning too.
            return MessageBox::eWarningStyle;
        }
    }

    bool isMainThread() { return gettid() == getpid(); }

    std::string utf8Of(const LightweightString<wchar_t>& text) { return OS()->utils()->toUTF8(text).c_str(); }

    // In a process of its own, not waited for: GLib reaps it. A missing
    // xdg-open does nothing.
    void openWithDesktop(const std::string& target)
    {
        char program[] = "xdg-open";
        std::string argument = target;
        char* argv[] = {program, argument.data(), nullptr};
        g_spawn_async(nullptr, argv, nullptr,
                      GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL),
                      nullptr, nullptr, nullptr, nullptr);
    }

    // Only a bus that is there: GLib would otherwise start one of its own
    // through dbus-launch.
    bool hasSessionBus()
    {
        if (g_getenv("DBUS_SESSION_BUS_ADDRESS"))
            return true;
        gchar* socket = g_build_filename(g_get_user_runtime_dir(), "bus", nullptr);
        const bool present = g_file_test(socket, G_FILE_TEST_EXISTS);
        g_free(socket);
        return present;
    }

    bool showInFileManager(const std::vector<std::string>& paths)
    {
        if (!hasSessionBus())
            return false;
        GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        if (!bus)
            return false;
        GVariantBuilder uris;
        g_variant_builder_init(&uris, G_VARIANT_TYPE("as"));
        for (const std::string& path : paths) {
            GFile* file = g_file_new_for_path(path.c_str());
            gchar* uri = g_file_get_uri(file);
            g_variant_builder_add(&uris, "s", uri);
            g_free(uri);
            g_object_unref(file);
        }
        constexpr int kReplyWaitMs = 5000;
        GVariant* reply = g_dbus_connection_call_sync(
            bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1",
            "ShowItems", g_variant_new("(ass)", &uris, ""), nullptr, G_DBUS_CALL_FLAGS_NONE, kReplyWaitMs, nullptr,
            nullptr);
        g_object_unref(bus);
        if (!reply)
            return false;
        g_variant_unref(reply);
        return true;
    }

    // The theme's picture of the first of the icon's names that has one,
    // largest first from 128 pixels; PNG only, as that is what Cairo reads.
    std::string iconFileOf(GIcon* icon)
    {
        if (!G_IS_THEMED_ICON(icon))
            return {};
        static const char* const kThemes[] = {"Adwaita", "hicolor"};
        static const char* const kSizes[] = {"128x128", "256x256", "512x512", "96x96", "64x64", "48x48"};
        static const char* const kContexts[] = {"mimetypes", "places", "apps", "devices", "legacy"};
        std::vector<std::string> roots = {std::string(g_get_user_data_dir()) + "/icons/"};
        for (const gchar* const* dir = g_get_system_data_dirs(); *dir; ++dir)
            roots.push_back(std::string(*dir) + "/icons/");
        for (const gchar* const* name = g_themed_icon_get_names(G_THEMED_ICON(icon)); *name; ++name)
            for (const std::string& root : roots)
                for (const char* theme : kThemes)
                    for (const char* size : kSizes)
                        for (const char* context : kContexts) {
                            std::string path = root;
                            path.append(theme).append("/").append(size).append("/").append(context).append("/");
                            path.append(*name).append(".png");
                            if (g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR))
                                return path;
                        }
        return {};
    }

    Kv::Ptr<iHostImage> imageOf(const std::string& path)
    {
        constexpr int kIconSize = 128;
        cairo_surface_t* picture = cairo_image_surface_create_from_png(path.c_str());
        if (cairo_surface_status(picture) != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(picture);
            return {};
        }
        Kv::Ptr<CairoImage> image = CairoImage::create(XY<int>(kIconSize, kIconSize));
        // Cairo draws premultiplied colour, and so into the image's own pixels.
        image->setAlphaIsPreMultiplied(true);
        cairo_surface_t* target = CairoImage::makeSurface(Kv::Ptr<iImageBase>(image));
        cairo_t* context = cairo_create(target);
        cairo_scale(context, double(kIconSize) / cairo_image_surface_get_width(picture),
                    double(kIconSize) / cairo_image_surface_get_height(picture));
        cairo_set_source_surface(context, picture, 0, 0);
        cairo_paint(context);
        cairo_destroy(context);
        cairo_surface_flush(target);
        cairo_surface_destroy(target);
        cairo_surface_destroy(picture);
        return Kv::Ptr<iHostImage>(image);
    }
}

void Shell::revealFiles(const FileNames& names)
{
    if (names.empty() || names.front().find(L"/", 0) == LightweightString<wchar_t>::npos)
        return;
    std::vector<std::string> paths;
    for (const LightweightString<wchar_t>& name : names)
        paths.push_back(utf8Of(name));
    // The file manager may take its time to start: the caller does not wait.
    std::thread([paths] {
        if (!showInFileManager(paths)) {
            gchar* folder = g_path_get_dirname(paths.front().c_str());
            openWithDesktop(folder);
            g_free(folder);
        }
    }).detach();
}

bool Shell::viewDocument(const LightweightString<wchar_t>& name)
{
    const std::string text = utf8Of(name);
    if (text.starts_with("http://") || text.starts_with("https://")) {
        openWithDesktop(text);
        return true;
    }
    // A path stays a path, whatever it looks like, as a file URI.
    GFile* file = g_file_new_for_path(text.c_str());
    gchar* uri = g_file_get_uri(file);
    openWithDesktop(uri);
    g_free(uri);
    g_object_unref(file);
    return true;
}

LightweightString<wchar_t> Shell::getUserName() const
{
    // Without a login session, as under a service, the account's name.
    const char* name = getlogin();
    if (!name) {
        const passwd* account = getpwuid(geteuid());
        name = account ? account->pw_name : "";
    }
    return OS()->utils()->fromUTF8(name, -1);
}

int Shell::messageBox(const LightweightString<wchar_t>&, const LightweightString<wchar_t>& text,
                      eMessageButtons buttons, eMessageIcon icon)
{
    if (!isMainThread())
        return eNothingChosen;
    return MessageBox::show(OS()->fileMgr()->getAppDescription(), text, buttonsOf(buttons), eResultCancel,
                            styleOf(icon));
}

LightweightString<wchar_t> Shell::getClipboardText()
{
    const std::string text = X11Clipboard::instance().text();
    return OS()->utils()->fromUTF8(text.c_str(), -1);
}

bool Shell::setClipboardText(const LightweightString<wchar_t>& text)
{
    X11Clipboard::instance().setText(utf8Of(text));
    return true;
}

unsigned int Shell::getDefaultKeyForAction(eAction action) const
{
    static constexpr char kLetters[] = {'O', 'C', 'V', 'X', 'A', 'Z', 'Y', 'F'};
    if (unsigned(action) >= std::size(kLetters))
        return 0;
    return 0x100000 + unsigned(kLetters[action]);
}

Kv::Ptr<iHostImage> Shell::getIconForFile(const LightweightString<wchar_t>& name)
{
    if (name.empty())
        return {};
    GFile* file = g_file_new_for_path(utf8Of(name).c_str());
    GFileInfo* info =
        g_file_query_info(file, G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE, G_FILE_QUERY_INFO_NONE, nullptr, nullptr);
    g_object_unref(file);
    if (!info)
        return {};
    std::string path;
    if (const char* type = g_file_info_get_content_type(info)) {
        GIcon* icon = g_content_type_get_icon(type);
        path = iconFileOf(icon);
        g_object_unref(icon);
    }
    g_object_unref(info);
    return path.empty() ? Kv::Ptr<iHostImage>() : imageOf(path);
}

Kv::Ptr<iProcess> Shell::runProgram(const RunArgs& args) { return Process::create(args.program, args.document); }

LightweightString<wchar_t> Shell::getFolderLocation(eFolderLocation location) const
{
    if (location == eResources)
        return OS()->fileMgr()->getAppPath() + L"../Resources/";
    LightweightString<char> path(g_get_home_dir());
    for (const UserFolder& folder : kUserFolders) {
        if (folder.location != location)
            continue;
        const char* named = g_get_user_special_dir(folder.directory);
        path = named ? LightweightString<char>(named) : path + "/" + folder.usualName;
    }
    if (path.empty())
        return LightweightString<wchar_t>();
    LightweightString<wchar_t> result = OS()->utils()->fromUTF8(path.c_str(), -1);
    if (!result.endsWith(L"/", true))
        result.push_back(L'/');
    return result;
}

Kv::Ptr<iSettings> Shell::getSettings(iSettings::eType type)
{
    Kv::Ptr<iSettings>& store = type == iSettings::eUserSettings ? userSettings : globalSettings;
    if (!store)
        store = Kv::Ptr<iSettings>(new Settings(type == iSettings::eUserSettings ? type : iSettings::eGlobalSettings));
    return store;
}
