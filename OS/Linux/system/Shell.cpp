#include "Shell.h"

#include "Settings.h"
#include "iFileManager.h"
#include "iUtils.h"

#include <glib.h>

namespace
{
    struct UserFolder
    {
        GUserDirectory directory;
        const char* usualName; // under the home, where the desktop names none
    };

    // The XDG user directories; Movies is the Videos folder.
    bool userFolderFor(iShell::eFolderLocation location, UserFolder& folder)
    {
        switch (location) {
        case iShell::eDocuments:
            folder = {G_USER_DIRECTORY_DOCUMENTS, "Documents"};
            return true;
        case iShell::eDesktop:
            folder = {G_USER_DIRECTORY_DESKTOP, "Desktop"};
            return true;
        case iShell::eMovies:
            folder = {G_USER_DIRECTORY_VIDEOS, "Videos"};
            return true;
        case iShell::ePictures:
            folder = {G_USER_DIRECTORY_PICTURES, "Pictures"};
            return true;
        case iShell::eMusic:
            folder = {G_USER_DIRECTORY_MUSIC, "Music"};
            return true;
        case iShell::eDownloads:
            folder = {G_USER_DIRECTORY_DOWNLOAD, "Downloads"};
            return true;
        default:
            return false;
        }
    }
}

LightweightString<wchar_t> Shell::getFolderLocation(eFolderLocation location) const
{
    if (location == eResources)
        return OS()->fileMgr()->getAppPath() + L"../Resources/";
    const char* home = g_get_home_dir();
    LightweightString<char> path(home);
    UserFolder folder;
    if (userFolderFor(location, folder)) {
        // A desktop without user-dirs configuration names no folder: the usual
        // one under the home stands in for it.
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
