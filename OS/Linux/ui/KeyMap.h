#pragma once

#include <cstdint>

// X keysyms and modifier state in the library's key codes and modifier bits,
// for the views' event redirectors. Pure: it needs no X connection. Its
// header leaves Xlib's macros out.
class KeyMap
{
public:
    // The Kv::Key code of a special key; a numeric-keypad key's character
    // with Kv::Key::Keypad; otherwise 0, and the caller uses the character.
    static uint32_t mapKeyCode(unsigned long keysym);
    // Kv::Modifier bits from an X event's state. Control is the command
    // modifier, Super (Mod4) the control bit, Alt (Mod1) the option bit.
    static uint32_t getKeyModifiers(unsigned int state);
};
