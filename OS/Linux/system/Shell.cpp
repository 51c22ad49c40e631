#include "Shell.h"

#include "Settings.h"
#include "iFileManager.h"
#include "iUtils.h"

#include <glib.h>

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
}

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
