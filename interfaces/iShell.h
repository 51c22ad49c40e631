#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iObject.h"
#include "iSettings.h"

// The desktop's services to the application.
class KV_API iShell : public virtual iObject
{
public:
    enum eFolderLocation
    {
        eDocuments = 0,
        eHome = 1,
        eDesktop = 2,
        eResources = 3, // beside the executable: its folder + "../Resources/"
        eSettingsBase = 4, // the user's home, where settings and safe paths start
        eMovies = 5,
        ePictures = 6,
        eMusic = 7,
        eDownloads = 8,
    };

    // The folder with its trailing "/", or empty when it cannot be found. The
    // folder is not created.
    virtual LightweightString<wchar_t> getFolderLocation(eFolderLocation location) const = 0;
    // One shared store of each kind, made on first request; any type but the
    // user's is the global store. The first requests must not race.
    virtual Kv::Ptr<iSettings> getSettings(iSettings::eType type) = 0;
};
