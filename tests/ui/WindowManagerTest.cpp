#include "WindowManager.h"

#include "OS.h"
#include "XvfbServer.h"

#include <gtest/gtest.h>

#include <cstdlib>

TEST(WindowManager, FixedAnswers)
{
    iWindowManager* manager = OS()->windowMgr();
    EXPECT_EQ(manager->getCaps(), 7u);
    EXPECT_EQ(manager->getSupportedWindowLocations(), std::vector<iImageBase::eLocation>{iImageBase::eGPUMemory});
    EXPECT_EQ(manager->getDefaultFont(), LightweightString<wchar_t>(L"Tahoma"));
    EXPECT_EQ(manager->getDefaultFixedWidthFont(), LightweightString<wchar_t>(L"Menlo"));
}

TEST(WindowManager, RegionsCoverTheirRectangles)
{
    const iRegion::Rectangles rectangles = {Kv::Rectangle<int>{0, 0, 10, 10}, Kv::Rectangle<int>{20, 5, 30, 15}};
    const Kv::Ptr<iRegion> region = OS()->windowMgr()->createRegion(rectangles);
    EXPECT_EQ(region->getBounds(), (Kv::Rectangle<int>{0, 0, 30, 15}));
    EXPECT_TRUE(region->contains(XY<int>(25, 10)));
    EXPECT_FALSE(region->contains(XY<int>(15, 5)));
}

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
