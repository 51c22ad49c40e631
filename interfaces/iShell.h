#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "StdAllocator.h"
#include "iHostImage.h"
#include "iObject.h"
#include "iProcess.h"
#include "iSettings.h"

#include <vector>

// The desktop's services to the application.
class KV_API iShell : public virtual iObject
{
public:
    struct RunArgs
    {
        LightweightString<wchar_t> program;
        LightweightString<wchar_t> document;
    };

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

    // The buttons of a message box, the default first.
    enum eMessageButtons
    {
        eNo = 0,
        eOk = 1,
        eYesNo = 2,
        eOkCancel = 3,
        eNoYes = 4,
        eCancelOk = 5,
    };

    // What messageBox answers: the button chosen.
    enum eMessageResult
    {
        eNothingChosen = 0,
        eResultYes = 1,
        eResultNo = 2,
        eResultCancel = 3,
        eResultOk = 4,
    };

    enum eMessageIcon
    {
        eNoIcon = 0,
        eQuestion = 1,
        eWarning = 2,
        eExclamation = 3,
        eInformation = 4,
        eError = 5,
    };

    enum eAction
    {
        eOpen = 0,
        eCopy = 1,
        ePaste = 2,
        eCut = 3,
        eSelectAll = 4,
        eUndo = 5,
        eRedo = 6,
        eFind = 7,
    };

    using FileNames = std::vector<LightweightString<wchar_t>, StdAllocator<LightweightString<wchar_t>>>;

    // Shows the files in the file manager. Only the first name is checked:
    // nothing happens when it holds no "/".
    virtual void revealFiles(const FileNames& names) = 0;
    // Opens the document, or the web link (scheme in lower case), in the
    // desktop's application for it. The answer is always true.
    virtual bool viewDocument(const LightweightString<wchar_t>& name) = 0;
    // The program opening the document; null when it cannot start.
    virtual Kv::Ptr<iProcess> runProgram(const RunArgs& args) = 0;
    // The folder with its trailing "/", or empty when it cannot be found. The
    // folder is not created.
    virtual LightweightString<wchar_t> getFolderLocation(eFolderLocation location) const = 0;
    virtual bool hasAdminPrivileges() const = 0;
    virtual LightweightString<wchar_t> getUserName() const = 0;
    // A modal box showing text (title is not shown); an eMessageResult. Only
    // the main thread gets a box: elsewhere, and without a display, 0.
    virtual int messageBox(const LightweightString<wchar_t>& title, const LightweightString<wchar_t>& text,
                           eMessageButtons buttons, eMessageIcon icon) = 0;
    // Empty when there is no text, or its owner does not answer in time.
    virtual LightweightString<wchar_t> getClipboardText() = 0;
    // The answer is always true.
    virtual bool setClipboardText(const LightweightString<wchar_t>& text) = 0;
    virtual void setOutputDiagnosticsFolder(const LightweightString<wchar_t>&) {}
    virtual LightweightString<wchar_t> getOutputDiagnosticsFolder() const { return LightweightString<wchar_t>(); }
    // The key with the command modifier that performs the action; 0 for
    // any other action.
    virtual unsigned int getDefaultKeyForAction(eAction action) const = 0;
    // One shared store of each kind, made on first request; any type but the
    // user's is the global store. The first requests must not race.
    virtual Kv::Ptr<iSettings> getSettings(iSettings::eType type) = 0;
    // The desktop's icon for the file's type, 128 pixels square; null where
    // there is none.
    virtual Kv::Ptr<iHostImage> getIconForFile(const LightweightString<wchar_t>& name) = 0;
    virtual void setScreensaverActive(bool active) = 0;
};
