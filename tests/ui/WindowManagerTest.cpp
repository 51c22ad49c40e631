#include "WindowManager.h"

#include "OS.h"
#include "XvfbServer.h"

#include <gtest/gtest.h>

#include <cstdlib>

TEST(WindowManager, AvailableFontsListTheInstalledFamiliesIgnoringCase)
{
    iWindowManager::FamilyNames families{L"Kept From Before"};
    OS()->windowMgr()->getAvailableFonts(families);
    EXPECT_EQ(families.count(L"Kept From Before"), 1u);
    for (const wchar_t* family : {L"DejaVu Sans", L"DejaVu Sans Mono", L"Liberation Sans", L"Liberation Mono"})
        EXPECT_EQ(families.count(family), 1u) << OS()->utils()->toUTF8(family).c_str();
    EXPECT_EQ(families.count(L"LIBERATION sans"), 1u);
    const size_t count = families.size();
    OS()->windowMgr()->getAvailableFonts(families);
    EXPECT_EQ(families.size(), count);
}

// xdotool holds the keys down on the server of the process's connection.
TEST(WindowManager, KeyPressedAnswersForTheModifiersAlone)
{
    REQUIRE_XVFB(XvfbServer::shared());
    iWindowManager* manager = OS()->windowMgr();
    const struct
    {
        const char* key;
        unsigned int bit;
    } modifiers[] = {{"Control_L", 0x100000}, {"Shift_R", 0x1000000}, {"Super_L", 0x2000000}, {"Alt_L", 0x4000000}};
    for (const auto& modifier : modifiers) {
        SCOPED_TRACE(modifier.key);
        EXPECT_FALSE(manager->isKeyPressed(modifier.bit));
        ASSERT_EQ(std::system((std::string("xdotool keydown ") + modifier.key).c_str()), 0);
        EXPECT_TRUE(manager->isKeyPressed(modifier.bit));
        EXPECT_FALSE(manager->isKeyPressed(65));
        ASSERT_EQ(std::system((std::string("xdotool keyup ") + modifier.key).c_str()), 0);
        EXPECT_FALSE(manager->isKeyPressed(modifier.bit));
    }
}
