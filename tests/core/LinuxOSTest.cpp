#include "LinuxOS.h"
#include "OS.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>

// One system, whose managers live inside it in their construction order.
TEST(LinuxOS, HandsOutOneSystemWithItsManagersInsideInConstructionOrder)
{
    iOperatingSystem* system = OS();
    EXPECT_EQ(OS(), system);
    const auto* begin = reinterpret_cast<const char*>(dynamic_cast<LinuxOS*>(system));
    ASSERT_NE(begin, nullptr);
    const auto* end = begin + sizeof(LinuxOS);
    const void* members[] = {system->fileMgr(),      system->memMgr(),        system->heap(),
                             system->utils(),        system->threadMgr(),     system->threadAtomics(),
                             system->windowMgr(),    system->systemInfo(),    system->processMgr(),
                             system->shell(),        system->mediaServices(), system->imageManager(),
                             system->hardwareMgr(),  system->midi(),          system->cryptography()};
    const char* previous = begin;
    for (const void* member : members) {
        const auto* address = static_cast<const char*>(member);
        EXPECT_GE(address, previous);
        EXPECT_LT(address, end);
        previous = address;
    }
}

TEST(LinuxOS, NumbersDoNotFollowTheUserLocale)
{
    EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "C");
    char formatted[16];
    std::snprintf(formatted, sizeof formatted, "%.1f", 2.5);
    EXPECT_STREQ(formatted, "2.5");
}
