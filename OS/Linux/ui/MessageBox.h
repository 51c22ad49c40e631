#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iEventHandler.h"
#include "iFont.h"
#include "iRootWindow.h"

#include <vector>

// A modal box of text and buttons in a window of the library's own, drawn
// with its renderer and fonts. The first button is the default and sits on
// the right. Enter or Space chooses the focused button, Tab and the arrow
// keys move the focus, a click chooses the button under it; Escape chooses
// the button whose result is the cancel result, where there is one, and
// otherwise closes the box, as the window's close does.
class MessageBox : public iEventHandler
{
public:
    struct Button
    {
        LightweightString<wchar_t> label;
        int result;
    };

    // The badge beside the text.
    enum eStyle
    {
        eWarningStyle = 0,
        eInformationalStyle = 1,
        eCriticalStyle = 2,
    };

    // Runs the main loop until a button is chosen and gives its result; 0
    // when the box is closed, or when no window can be made. For the main
    // thread only.
    static int show(const LightweightString<wchar_t>& title, const LightweightString<wchar_t>& text,
                    const std::vector<Button>& buttons, int cancelResult, eStyle style);

    int handleKeyEvent(const KeyEvent& event) override;
    int handleMouseEvent(const MouseEvent& event) override;
    int handlePaintEvent(const PaintEvent& event) override;
    int handleWindowEvent(const WindowEvent& event) override;
    int32_t handleUserEvent(const UserEvent& event) override;

private:
    MessageBox(const std::vector<Button>& buttons, int cancelResult, eStyle style);

    // Breaks the text into lines that fit the width, at spaces and newlines.
    void layOut(const LightweightString<wchar_t>& text);
    Kv::Rectangle<int> buttonFrame(size_t index) const;
    void choose(int result);
    void moveFocus(int step);

    const std::vector<Button> buttons;
    const int cancelResult;
    const eStyle style;
    Kv::Ptr<iRootWindow> window;
    Kv::Ptr<iFont> font;
    Kv::Ptr<iFont> markFont;
    std::vector<LightweightString<wchar_t>> lines;
    XY<int> size;
    size_t focused = 0;
    int result = 0;
    bool answered = false;
};
