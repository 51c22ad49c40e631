#include "KeyMap.h"

#include "Events.h"

#include <gtest/gtest.h>
// After gtest: Xlib's macros would clash with its names.
#include <X11/X.h>
#include <X11/keysym.h>

// The key table's entries, the ranges' edges, and what maps to nothing.
TEST(KeyMap, KeysymsAndModifierStatesMapToTheLibrarysCodes)
{
    const struct
    {
        KeySym keysym;
        uint32_t key;
    } keys[] = {
        {XK_Return, 13},         {XK_KP_Enter, 13},       {XK_ISO_Left_Tab, 9},       {XK_Escape, 27},
        {XK_BackSpace, 8},       {XK_KP_Left, 0x800004B}, {XK_KP_Next, 0x8000051},    {XK_Delete, 0x8000053},
        {XK_F1, 0x800003B},      {XK_F30, 0x8000058},     {XK_F30 + 1, 0},            {XK_KP_Equal, 0x8000003D},
        {XK_KP_0, 0x80000030},   {XK_KP_Add, 0x8000002B}, {XK_KP_Decimal, 0x8000002E}, {XK_KP_Begin, 0},
        {XK_KP_Space, 0x80000020},
        {XK_a, 0},               {XK_space, 0},           {XK_dead_acute, 0},         {XK_Shift_L, 0},
    };
    for (const auto& entry : keys)
        EXPECT_EQ(KeyMap::mapKeyCode(entry.keysym), entry.key) << std::hex << "keysym 0x" << entry.keysym;

    const struct
    {
        unsigned int state;
        uint32_t modifiers;
    } states[] = {
        {0, 0},
        {LockMask, 0x1000000},
        {ShiftMask | LockMask, 0x1000000},
        {ShiftMask | ControlMask | Mod1Mask | Mod4Mask, 0x7100000},
        // Num Lock, AltGr and the mouse buttons are no modifiers of the library.
        {Mod2Mask | Mod5Mask | Button1Mask, 0},
    };
    for (const auto& entry : states)
        EXPECT_EQ(KeyMap::getKeyModifiers(entry.state), entry.modifiers) << std::hex << "state 0x" << entry.state;
}
