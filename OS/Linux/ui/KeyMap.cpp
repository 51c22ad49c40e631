#include "KeyMap.h"

#include "Events.h"

#include <X11/X.h>
#include <X11/keysym.h>

namespace
{
    struct KeyEntry
    {
        KeySym keysym;
        uint32_t key;
    };

    // The keypad's navigation keys, Tab and Enter mean the same as the main ones.
    constexpr KeyEntry keyTable[] = {
        {XK_Return, Kv::Key::Enter},      {XK_KP_Enter, Kv::Key::Enter},
        {XK_Tab, Kv::Key::Tab},           {XK_ISO_Left_Tab, Kv::Key::Tab},
        {XK_KP_Tab, Kv::Key::Tab},        {XK_Escape, Kv::Key::Escape},
        {XK_BackSpace, Kv::Key::Backspace},
        {XK_Up, Kv::Key::Up},             {XK_KP_Up, Kv::Key::Up},
        {XK_Down, Kv::Key::Down},         {XK_KP_Down, Kv::Key::Down},
        {XK_Left, Kv::Key::Left},         {XK_KP_Left, Kv::Key::Left},
        {XK_Right, Kv::Key::Right},       {XK_KP_Right, Kv::Key::Right},
        {XK_Insert, Kv::Key::Insert},     {XK_KP_Insert, Kv::Key::Insert},
        {XK_Delete, Kv::Key::Delete},     {XK_KP_Delete, Kv::Key::Delete},
        {XK_Home, Kv::Key::Home},         {XK_KP_Home, Kv::Key::Home},
        {XK_End, Kv::Key::End},           {XK_KP_End, Kv::Key::End},
        {XK_Prior, Kv::Key::PageUp},      {XK_KP_Prior, Kv::Key::PageUp},
        {XK_Next, Kv::Key::PageDown},     {XK_KP_Next, Kv::Key::PageDown},
    };

    // Keypad keysyms that stand for a character sit 0xFF80 above its ASCII code.
    constexpr KeySym keypadCharacterBase = 0xFF80;
}

uint32_t KeyMap::mapKeyCode(unsigned long keysym)
{
    for (const KeyEntry& entry : keyTable)
        if (entry.keysym == keysym)
            return entry.key;
    if (keysym >= XK_F1 && keysym < XK_F1 + Kv::Key::FunctionKeys)
        return Kv::Key::F1 + uint32_t(keysym - XK_F1);
    if (keysym >= XK_KP_Space && keysym <= XK_KP_Equal) {
        // The keypad's characters lie at their ASCII codes above the base,
        // but for its space, which is the base itself.
        const KeySym character = keysym == XK_KP_Space ? ' ' : keysym - keypadCharacterBase;
        if (character >= ' ' && character <= '~')
            return uint32_t(character) | Kv::Key::Keypad;
    }
    return 0;
}

uint32_t KeyMap::getKeyModifiers(unsigned int state)
{
    uint32_t modifiers = 0;
    if (state & (ShiftMask | LockMask))
        modifiers |= Kv::Modifier::Shift;
    if (state & ControlMask)
        modifiers |= Kv::Modifier::Command;
    if (state & Mod4Mask)
        modifiers |= Kv::Modifier::Control;
    if (state & Mod1Mask)
        modifiers |= Kv::Modifier::Option;
    return modifiers;
}
