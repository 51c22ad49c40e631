#include "XTextInput.h"

#include "KeyMap.h"
#include "X11Application.h"
#include "iOperatingSystem.h"
#include "iUtils.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cwchar>

namespace
{
    // Shift and Option only choose the character; any other modifier makes
    // the key a shortcut.
    bool typesText(uint32_t modifiers)
    {
        return modifiers == 0 || modifiers == Kv::Modifier::Shift || modifiers == Kv::Modifier::Option;
    }

    XIMStyle inputStyleOf(XIM method)
    {
        constexpr XIMStyle onTheSpot = XIMPreeditCallbacks | XIMStatusNothing;
        XIMStyles* styles = nullptr;
        XIMStyle chosen = XIMPreeditNothing | XIMStatusNothing;
        if (XGetIMValues(method, XNQueryInputStyle, &styles, nullptr) || !styles)
            return chosen;
        if (std::find(styles->supported_styles, styles->supported_styles + styles->count_styles, onTheSpot) !=
            styles->supported_styles + styles->count_styles)
            chosen = onTheSpot;
        XFree(styles);
        return chosen;
    }

    // The text of a key press: through the input context when there is one,
    // else the character of the keysym that the state selects.
    std::wstring typedText(XIC context, XKeyEvent& key, KeySym& keysym)
    {
        if (!context) {
            char latin1[16];
            XLookupString(&key, latin1, sizeof latin1, &keysym, nullptr);
            const uint32_t character = EventRedirector::characterOf(keysym);
            return character ? std::wstring(1, wchar_t(character)) : std::wstring();
        }
        std::string utf8(64, '\0');
        Status status = XLookupNone;
        int length = Xutf8LookupString(context, &key, utf8.data(), int(utf8.size()), &keysym, &status);
        if (status == XBufferOverflow) {
            utf8.resize(size_t(length));
            length = Xutf8LookupString(context, &key, utf8.data(), int(utf8.size()), &keysym, &status);
        }
        if (status != XLookupKeySym && status != XLookupBoth)
            keysym = NoSymbol;
        if (status != XLookupChars && status != XLookupBoth)
            return std::wstring();
        const LightweightString<wchar_t> text = OS()->utils()->fromUTF8(utf8.data(), length);
        return std::wstring(text.c_str(), text.length());
    }

    // Pre-edit text comes in the locale's encoding unless the method says
    // it is wide.
    std::wstring preeditText(const XIMText& text)
    {
        if (text.encoding_is_wchar)
            return std::wstring(text.string.wide_char, text.length);
        std::wstring wide;
        std::mbstate_t state{};
        const char* bytes = text.string.multi_byte;
        while (wide.size() < text.length && *bytes) {
            wchar_t character = 0;
            const size_t used = std::mbrtowc(&character, bytes, MB_CUR_MAX, &state);
            if (used == 0 || used > MB_CUR_MAX)
                break;
            wide.push_back(character);
            bytes += used;
        }
        return wide;
    }
}

XTextInput::XTextInput(unsigned long window, EventRedirector& redirector) : redirector_(redirector)
{
    if (window)
        createContext(window);
}

XTextInput::~XTextInput()
{
    if (context_)
        XDestroyIC(context_);
}

void XTextInput::createContext(unsigned long window)
{
    XIM method = X11Application::instance().inputMethod();
    if (!method)
        return;
    const XIMStyle style = inputStyleOf(method);
    // Xlib copies the callback records.
    XICCallback start = {reinterpret_cast<XPointer>(this), onPreeditStart};
    XICCallback done = {reinterpret_cast<XPointer>(this), onPreeditDone};
    XICCallback draw = {reinterpret_cast<XPointer>(this), onPreeditDraw};
    XICCallback caret = {reinterpret_cast<XPointer>(this), onPreeditCaret};
    XVaNestedList preedit = XVaCreateNestedList(0, XNPreeditStartCallback, &start, XNPreeditDoneCallback, &done,
                                                XNPreeditDrawCallback, &draw, XNPreeditCaretCallback, &caret, nullptr);
    if (style & XIMPreeditCallbacks)
        context_ = XCreateIC(method, XNInputStyle, style, XNClientWindow, window, XNFocusWindow, window,
                             XNPreeditAttributes, preedit, nullptr);
    else
        context_ = XCreateIC(method, XNInputStyle, style, XNClientWindow, window, XNFocusWindow, window, nullptr);
    XFree(preedit);
    if (context_)
        XSetICFocus(context_);
}

void XTextInput::dispatch(const XEvent& event)
{
    if (event.type == KeyRelease) {
        redirector_.handleKeyEvent(event, KeyEvent::KeyUp);
        return;
    }
    if (event.type != KeyPress)
        return;
    XKeyEvent key = event.xkey;
    KeySym keysym = NoSymbol;
    const std::wstring text = typedText(enabled_ ? context_ : nullptr, key, keysym);
    const uint32_t modifiers = KeyMap::getKeyModifiers(key.state);
    if (IsModifierKey(keysym) || KeyMap::mapKeyCode(keysym) || !typesText(modifiers)) {
        redirector_.handleKeyEvent(event, KeyEvent::KeyDown);
        return;
    }
    keyTime_ = uint32_t(key.time);
    keyModifiers_ = modifiers;
    // A dead key, or a key the method keeps for a composition, types nothing yet.
    if (!text.empty())
        sendText(text);
}

void XTextInput::setEnabled(bool enabled)
{
    if (enabled == enabled_)
        return;
    enabled_ = enabled;
    if (!context_)
        return;
    if (enabled) {
        XSetICFocus(context_);
        return;
    }
    // A composition under way is dropped, and the method stops filtering keys.
    XFree(Xutf8ResetIC(context_));
    preedit_.clear();
    XUnsetICFocus(context_);
}

void XTextInput::sendText(const std::wstring& text) const
{
    KeyEvent record;
    record.timeStamp = keyTime_;
    record.modifiers = keyModifiers_;
    record.type = KeyEvent::KeyDown;
    record.key = text.empty() ? 0 : uint32_t(text.front());
    record.text = LightweightString<wchar_t>(text.c_str(), unsigned(text.size()));
    redirector_.keyEvent(record);
}

int XTextInput::onPreeditStart(XIC, char* self, char*)
{
    reinterpret_cast<XTextInput*>(self)->preedit_.clear();
    // No limit on the pre-edit's length.
    return -1;
}

int XTextInput::onPreeditDone(XIC, char* self, char*)
{
    reinterpret_cast<XTextInput*>(self)->preedit_.clear();
    return 0;
}

int XTextInput::onPreeditDraw(XIC, char* self, char* change)
{
    XTextInput& input = *reinterpret_cast<XTextInput*>(self);
    const auto& draw = *reinterpret_cast<const XIMPreeditDrawCallbackStruct*>(change);
    // A text without a string only changes the highlighting.
    if (draw.text && !draw.text->string.multi_byte)
        return 0;
    std::wstring& marked = input.preedit_;
    const size_t first = std::min(size_t(std::max(draw.chg_first, 0)), marked.size());
    marked.erase(first, size_t(std::max(draw.chg_length, 0)));
    if (draw.text)
        marked.insert(first, preeditText(*draw.text));
    input.sendText(marked);
    return 0;
}

int XTextInput::onPreeditCaret(XIC, char*, char*) { return 0; }
