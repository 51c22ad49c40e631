#include "MessageBox.h"

#include "GraphicPrimitives.h"
#include "PhysicalScreen.h"
#include "Region.h"
#include "X11Application.h"
#include "iOperatingSystem.h"
#include "iWindowManager.h"

#include <algorithm>

namespace
{
    constexpr int kMargin = 20;
    constexpr int kBadgeSize = 40;
    constexpr int kTextLeft = kMargin + kBadgeSize + 16;
    constexpr int kTextWidth = 380;
    constexpr int kButtonWidth = 90;
    constexpr int kButtonHeight = 28;
    constexpr int kButtonGap = 10;
    constexpr unsigned int kFontSize = 13;
    constexpr unsigned int kMarkSize = 24;
    constexpr unsigned int kBold = 1;

    const NormalisedRGB kBackground(0.93f, 0.93f, 0.93f);
    const NormalisedRGB kTextColour(0.1f, 0.1f, 0.1f);
    const NormalisedRGB kButtonColour(0.99f, 0.99f, 0.99f);
    const NormalisedRGB kFocusColour(0.2f, 0.45f, 0.85f);
    const NormalisedRGB kWhite(1, 1, 1);

    struct Badge
    {
        NormalisedRGB colour;
        const wchar_t* mark;
    };

    Badge badgeOf(MessageBox::eStyle style)
    {
        switch (style) {
        case MessageBox::eInformationalStyle:
            return {NormalisedRGB(0.2f, 0.45f, 0.85f), L"i"};
        case MessageBox::eCriticalStyle:
            return {NormalisedRGB(0.8f, 0.15f, 0.15f), L"!"};
        default:
            return {NormalisedRGB(0.95f, 0.65f, 0.1f), L"!"};
        }
    }

    TextAlignment centred()
    {
        TextAlignment alignment;
        alignment.horizontal = 2;
        return alignment;
    }
}

MessageBox::MessageBox(const std::vector<Button>& buttons, int cancelResult, eStyle style)
    : buttons(buttons), cancelResult(cancelResult), style(style)
{
}

int MessageBox::show(const LightweightString<wchar_t>& title, const LightweightString<wchar_t>& text,
                     const std::vector<Button>& buttons, int cancelResult, eStyle style)
{
    const std::vector<PhysicalScreen> screens = PhysicalScreen::all(X11Application::instance().display());
    if (screens.empty())
        return 0;
    Kv::Ptr<MessageBox> box(new MessageBox(buttons, cancelResult, style));
    box->window = OS()->windowMgr()->createRootWindow(iImageBase::eHostMemory);
    box->font = box->window->createFont(L"DejaVu Sans", kFontSize, 0);
    box->markFont = box->window->createFont(L"DejaVu Sans", kMarkSize, kBold);
    box->layOut(text);

    iRootWindow::InitArgs args;
    args.size = box->size;
    // Centred across the primary screen, a little above its middle.
    const Kv::Rectangle<int> area = screens.front().getUsableArea();
    args.position = XY<int>(area.left + (area.width() - box->size.x) / 2, area.top + (area.height() - box->size.y) / 3);
    args.takeFocus = 1;
    args.buttons = 4;
    args.title = title;
    args.handler = Kv::Ptr<iEventHandler>(box);
    if (!box->window->realize(args))
        return 0;
    OS()->windowMgr()->startEventLoop();
    // The window holds the box as its handler.
    box->window->setEventHandler({});
    box->window = {};
    return box->result;
}

void MessageBox::layOut(const LightweightString<wchar_t>& text)
{
    const iFont::Metrics metrics = font->getMetrics();
    LightweightString<wchar_t> line;
    LightweightString<wchar_t> word;
    int widest = 0;
    auto endLine = [&] {
        widest = std::max(widest, font->measure(line, -1).x);
        lines.push_back(line);
        line = LightweightString<wchar_t>();
    };
    auto placeWord = [&] {
        const LightweightString<wchar_t> longer = line.empty() ? word : line + L" " + word;
        if (!line.empty() && font->measure(longer, -1).x > kTextWidth) {
            endLine();
            line = word;
        } else {
            line = longer;
        }
        word = LightweightString<wchar_t>();
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (c == L' ' || c == L'\n') {
            placeWord();
            if (c == L'\n')
                endLine();
        } else {
            word.push_back(c);
        }
    }
    placeWord();
    endLine();

    const int buttonsWidth = int(buttons.size()) * (kButtonWidth + kButtonGap) - kButtonGap;
    const int textHeight = int(lines.size()) * metrics.lineHeight;
    size.x = std::max(kTextLeft + widest, buttonsWidth) + kMargin;
    size.x = std::max(size.x, 360);
    size.y = kMargin + std::max(textHeight, kBadgeSize) + kMargin + kButtonHeight + kMargin;
}

Kv::Rectangle<int> MessageBox::buttonFrame(size_t index) const
{
    const int right = size.x - kMargin - int(index) * (kButtonWidth + kButtonGap);
    const int bottom = size.y - kMargin;
    return {right - kButtonWidth, bottom - kButtonHeight, right, bottom};
}

int MessageBox::handlePaintEvent(const PaintEvent& event)
{
    RectDescription background;
    background.rect = {0, 0, size.x, size.y};
    background.colour = kBackground;
    event.renderer->renderMulti(&background, 1);

    const Badge badge = badgeOf(style);
    EllipseDescription circle;
    circle.rect = {kMargin, kMargin, kMargin + kBadgeSize, kMargin + kBadgeSize};
    circle.fill = badge.colour;
    circle.endAngle = 360;
    event.renderer->renderMulti(&circle, 1);

    const iFont::Metrics metrics = font->getMetrics();
    std::vector<TextDescription> texts;
    texts.emplace_back(badge.mark,
                       XY<int>(kMargin + kBadgeSize / 2, kMargin + (kBadgeSize + markFont->getMetrics().capHeight) / 2),
                       kWhite, centred(), markFont);
    for (size_t i = 0; i < lines.size(); ++i)
        texts.emplace_back(lines[i], XY<int>(kTextLeft, kMargin + metrics.ascent + int(i) * metrics.lineHeight),
                           kTextColour, TextAlignment(), font);

    std::vector<RoundedRectDescription> faces;
    for (size_t i = 0; i < buttons.size(); ++i) {
        const Kv::Rectangle<int> frame = buttonFrame(i);
        const bool hasFocus = i == focused;
        RoundedRectDescription face;
        face.rect = frame;
        face.fill = hasFocus ? kFocusColour : kButtonColour;
        face.border = NormalisedRGB(0.6f, 0.6f, 0.6f);
        face.radius = 5;
        face.borderWidth = 1;
        face.corners = 15;
        faces.push_back(face);
        texts.emplace_back(buttons[i].label,
                           XY<int>((frame.left + frame.right) / 2, (frame.top + frame.bottom + metrics.capHeight) / 2),
                           hasFocus ? kWhite : kTextColour, centred(), font);
    }
    event.renderer->renderMulti(faces.data(), unsigned(faces.size()));
    event.renderer->renderMulti(texts.data(), unsigned(texts.size()));
    return 0;
}

int MessageBox::handleKeyEvent(const KeyEvent& event)
{
    if (event.type != KeyEvent::KeyDown || buttons.empty())
        return 0;
    switch (event.key) {
    case Kv::Key::Enter:
    case Kv::Key::Enter | Kv::Key::Keypad:
    case L' ':
        choose(buttons[focused].result);
        break;
    case Kv::Key::Escape: {
        const bool cancels = std::any_of(buttons.begin(), buttons.end(),
                                         [this](const Button& button) { return button.result == cancelResult; });
        choose(cancels ? cancelResult : 0);
        break;
    }
    case Kv::Key::Tab:
    case Kv::Key::Left:
        moveFocus(1);
        break;
    case Kv::Key::Right:
        moveFocus(-1);
        break;
    default:
        break;
    }
    return 0;
}

int MessageBox::handleMouseEvent(const MouseEvent& event)
{
    if (event.type != MouseEvent::LeftUp)
        return 0;
    for (size_t i = 0; i < buttons.size(); ++i) {
        const Kv::Rectangle<int> frame = buttonFrame(i);
        if (event.position.x >= frame.left && event.position.x < frame.right && event.position.y >= frame.top &&
            event.position.y < frame.bottom)
            choose(buttons[i].result);
    }
    return 0;
}

int MessageBox::handleWindowEvent(const WindowEvent& event)
{
    if (event.type == WindowEvent::QuitRequested)
        choose(0);
    return 0;
}

int32_t MessageBox::handleUserEvent(const UserEvent&) { return answered ? 1 : 0; }

void MessageBox::choose(int chosen)
{
    if (answered)
        return;
    answered = true;
    result = chosen;
    // The loop stops between events, through the window's own message.
    window->postUserMessage();
}

void MessageBox::moveFocus(int step)
{
    const int count = int(buttons.size());
    focused = size_t(((int(focused) + step) % count + count) % count);
    window->requestRepaint(Kv::Ptr<iRegion>(new Region(Kv::Rectangle<int>{0, 0, size.x, size.y})));
}
