#pragma once

#include "iShell.h"

// The desktop's services, reached through OS()->shell(). It is built with the
// facade, so its constructor does nothing.
class Shell : public iShell
{
public:
    void revealFiles(const FileNames& names) override;
    bool viewDocument(const LightweightString<wchar_t>& name) override;
    Kv::Ptr<iProcess> runProgram(const RunArgs& args) override;
    LightweightString<wchar_t> getFolderLocation(eFolderLocation location) const override;
    bool hasAdminPrivileges() const override { return false; }
    LightweightString<wchar_t> getUserName() const override;
    int messageBox(const LightweightString<wchar_t>& title, const LightweightString<wchar_t>& text,
                   eMessageButtons buttons, eMessageIcon icon) override;
    LightweightString<wchar_t> getClipboardText() override;
    bool setClipboardText(const LightweightString<wchar_t>& text) override;
    unsigned int getDefaultKeyForAction(eAction action) const override;
    Kv::Ptr<iSettings> getSettings(iSettings::eType type) override;
    Kv::Ptr<iHostImage> getIconForFile(const LightweightString<wchar_t>& name) override;
    void setScreensaverActive(bool) override {}

private:
    Kv::Ptr<iSettings> userSettings;
    Kv::Ptr<iSettings> globalSettings;
};
