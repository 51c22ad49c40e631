#pragma once

#include "iShell.h"

// The desktop's services, reached through OS()->shell(). It is built with the
// facade, so its constructor does nothing.
class Shell : public iShell
{
public:
    LightweightString<wchar_t> getFolderLocation(eFolderLocation location) const override;
    Kv::Ptr<iSettings> getSettings(iSettings::eType type) override;

private:
    Kv::Ptr<iSettings> userSettings;
    Kv::Ptr<iSettings> globalSettings;
};
