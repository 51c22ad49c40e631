#include "OS.h"
#include "OStoKvErr.h"
#include "Stacktrace.h"

#include <gtest/gtest.h>

// Exported from the test program, so that the system can name its frame.
__attribute__((noinline, visibility("default"))) void traceFromHere(Stacktrace::Lines& lines)
{
    OS()->utils()->getStacktrace(lines);
    asm volatile("");
}

TEST(Stacktrace, NamesTheCallerDemangledAndKeepsExistingLines)
{
    Stacktrace::Lines lines;
    lines.push_back(LightweightString<char>("kept"));
    traceFromHere(lines);
    ASSERT_GT(lines.size(), 2u);
    EXPECT_EQ(lines[0], "kept");
    // The capture's own frames are left out: our caller comes first, or second
    // where a sanitizer puts a frame of its own on top.
    const bool named = std::string(lines[1].c_str()).find("traceFromHere(") != std::string::npos ||
                       std::string(lines[2].c_str()).find("traceFromHere(") != std::string::npos;
    EXPECT_TRUE(named) << lines[1].c_str() << "\n" << lines[2].c_str();
}

TEST(Stacktrace, StaticGetSkipsItsOwnFrames)
{
    Stacktrace::Lines lines;
    Stacktrace::get(lines);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(std::string(lines[0].c_str()).find("Stacktrace::get"), std::string::npos);
}

TEST(OStoKvErr, SuccessIsSilentAndFailureIsPrinted)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(OStoKvErr(0), 1);
    EXPECT_EQ(OStoKvErr(-43), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "result -43\n");
}
