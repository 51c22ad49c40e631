#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "StdAllocator.h"
#include "XY.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iObject.h"
#include "iRegion.h"

#include <cstdint>
#include <vector>

// The records that reach an iEventHandler. They are built on the stack and
// passed by reference: a handler that wants one later copies it.

namespace Kv
{
    // Key codes of the special keys. The low byte of each navigation and
    // function key is its PC scan code; 0x8000000 tells it from a character.
    namespace Key
    {
        constexpr uint32_t Enter = 13;
        constexpr uint32_t Tab = 9;
        constexpr uint32_t Escape = 27;
        constexpr uint32_t Backspace = 8;
        constexpr uint32_t Up = 0x8000048;
        constexpr uint32_t Down = 0x8000050;
        constexpr uint32_t Left = 0x800004B;
        constexpr uint32_t Right = 0x800004D;
        // F1 to F30 run on in sequence from here.
        constexpr uint32_t F1 = 0x800003B;
        constexpr uint32_t FunctionKeys = 30;
        constexpr uint32_t Insert = 0x8000052;
        constexpr uint32_t Delete = 0x8000053;
        constexpr uint32_t Home = 0x8000047;
        constexpr uint32_t End = 0x800004F;
        constexpr uint32_t PageUp = 0x8000049;
        constexpr uint32_t PageDown = 0x8000051;
        // Or'ed onto the character of a numeric-keypad key.
        constexpr uint32_t Keypad = 0x80000000;
    }

    // KeyEvent::modifiers bits. Command is the shortcut modifier of the host.
    namespace Modifier
    {
        // Caps Lock counts as Shift.
        constexpr uint32_t Shift = 0x1000000;
        constexpr uint32_t Control = 0x2000000;
        constexpr uint32_t Option = 0x4000000;
        constexpr uint32_t Command = 0x100000;
    }
}

class KV_API EventBase : public virtual iObject
{
public:
    // Host milliseconds truncated to 32 bits; 0 for paint and window events.
    uint32_t timeStamp = 0;
};

class KV_API MouseEvent : public EventBase
{
public:
    enum eType : uint32_t
    {
        LeftUp = 1,
        LeftDown = 2,
        RightUp = 3,
        RightDown = 4,
        OtherUp = 5,
        OtherDown = 6,
        Wheel = 7,
        Move = 8
    };
    // Buttons held: 2 left, 1 right, 3 both.
    enum eButtons : uint32_t
    {
        RightButton = 1,
        LeftButton = 2
    };

    // Backing pixels, origin at the top left of the view.
    XY<int> position;
    uint32_t type = 0;
    uint32_t buttons = 0;
    // +1 or -1 for a wheel event, otherwise 0.
    int32_t wheelDelta = 0;
};

class KV_API KeyEvent : public EventBase
{
public:
    enum eType : int32_t
    {
        KeyUp = 0,
        KeyDown = 1
    };

    // A Kv::Key code, or the character of the key.
    uint32_t key = 0;
    // Kv::Modifier bits.
    uint32_t modifiers = 0;
    // Composed text, when a view has some.
    LightweightString<wchar_t> text;
    eType type = KeyUp;
};

class KV_API PaintEvent : public EventBase
{
public:
    Kv::Ptr<iGraphicPrimitivesRenderer> renderer;
    Kv::Ptr<iRegion> region;
};

class KV_API WindowEvent : public EventBase
{
public:
    enum eType : uint32_t
    {
        QuitRequested = 4,
        // Also sent for gaining and losing the keyboard focus.
        MouseEntered = 5,
        MouseLeft = 6
    };

    uint32_t type = 0;
};

class KV_API TimerEvent : public EventBase
{
};

class KV_API UserEvent : public EventBase
{
public:
    // Zero in every event the library sends.
    uint32_t reserved[2] = {0, 0};
};

class KV_API FileDragDropEvent : public EventBase
{
public:
    std::vector<LightweightString<wchar_t>, StdAllocator<LightweightString<wchar_t>>> files;
};
