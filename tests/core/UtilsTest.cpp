#include "OS.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <glib.h>
#include <regex>
#include <string>

namespace
{
    iUtils* utils() { return OS()->utils(); }

    std::wstring wide(const LightweightString<wchar_t>& text) { return std::wstring(text.c_str(), text.size()); }

    std::string capturedLog(const std::function<void()>& write)
    {
        testing::internal::CaptureStdout();
        write();
        return testing::internal::GetCapturedStdout();
    }
}

TEST(Utils, WidenAndNarrowRoundTripEveryByte)
{
    std::string bytes;
    for (int b = 1; b < 256; ++b)
        bytes.push_back(char(b));
    const LightweightString<wchar_t> widened = utils()->widen(bytes.c_str());
    EXPECT_EQ(widened[0xC3 - 1], -61) << "no decoding: bytes are sign-extended";
    EXPECT_EQ(std::string(utils()->narrow(widened.c_str()).c_str()), bytes);
    EXPECT_EQ(utils()->narrow(L"\x100x"), "_x");
    EXPECT_TRUE(utils()->widen(nullptr).empty());
    EXPECT_TRUE(utils()->narrow(nullptr).empty());
}

TEST(Utils, UTF8MatchesGLibOnValidTextBothWays)
{
    const char* text = "Caf\xC3\xA9 \xE6\x98\xA0\xE7\x94\xBB \xF0\x9F\x8E\xAC ok";
    glong count = 0;
    gunichar* expected = g_utf8_to_ucs4_fast(text, -1, &count);
    const LightweightString<wchar_t> decoded = utils()->fromUTF8(text, -1);
    EXPECT_EQ(wide(decoded), std::wstring(reinterpret_cast<wchar_t*>(expected), size_t(count)));
    g_free(expected);

    EXPECT_STREQ(utils()->toUTF8(decoded).c_str(), text);
}

TEST(Utils, FromUTF8IsLenientAsDesigned)
{
    EXPECT_EQ(utils()->fromUTF8("", -1).capacity(), 0u);
    EXPECT_EQ(utils()->fromUTF8(nullptr, 3).capacity(), 0u);
    EXPECT_EQ(utils()->fromUTF8("abc", 0).capacity(), 0u);
    EXPECT_EQ(wide(utils()->fromUTF8("\xC3\xA9", 2)), L"\xE9");
    // A stray continuation byte extends what the accumulator held: 'a' then 0x80.
    EXPECT_EQ(wide(utils()->fromUTF8("a\x80", -1)), std::wstring(1, wchar_t(0x61 << 6)));
    // Above 0x10FFFF is dropped: F7 BF BF BF is 0x1FFFFF.
    EXPECT_EQ(wide(utils()->fromUTF8("x\xF7\xBF\xBF\xBFy", -1)), L"xy");
    // An explicit length stops early, and the byte after it decides the look-ahead.
    EXPECT_EQ(wide(utils()->fromUTF8("ab\xC3\xA9", 3)), L"ab");
}

TEST(Utils, ToUTF8RejectsWhatIsNoCharacter)
{
    EXPECT_EQ(utils()->toUTF8(LightweightString<wchar_t>()).capacity(), 0u);
    const wchar_t invalid[] = {L'a', wchar_t(0x110000), 0};
    EXPECT_EQ(utils()->toUTF8(invalid).capacity(), 0u);
    EXPECT_EQ(utils()->toUTF8(utils()->widen("\xC3")).capacity(), 0u);
}

TEST(Utils, ClocksCountFromBoot)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const double bootMs = double(now.tv_sec) * 1000.0 + double(now.tv_nsec / 1000000);
    EXPECT_NEAR(utils()->timeNow(), bootMs, 50.0);
    EXPECT_EQ(utils()->timeNow(), double(static_cast<long long>(utils()->timeNow()))) << "whole milliseconds";
    const unsigned long long ticks = utils()->getTimeNano();
    EXPECT_NEAR(double(ticks) / 10000.0, utils()->timeNow(), 50.0) << "100 ns units";
    EXPECT_GE(utils()->elapsedTime(), 0.0);
    EXPECT_LT(utils()->elapsedTime(), utils()->timeNow());
}

TEST(Utils, IdentifiersDifferAndErrorsAreOffsetBy31)
{
    const KvUUID first = utils()->generateUUID();
    const KvUUID second = utils()->generateUUID();
    EXPECT_NE(std::memcmp(first.bytes, second.bytes, 16), 0);
    errno = ENOENT;
    EXPECT_EQ(utils()->getLastError(), ENOENT + 31);
}

TEST(Utils, LogWritesOneTimedLineWithoutAddingANewline)
{
    const std::string line = capturedLog([] { utils()->log("hello", nullptr); });
    EXPECT_TRUE(std::regex_match(line, std::regex(R"(\d\d:\d\d:\d\d\.\d\d\d: hello)"))) << line;

    // Narrow and wide lines share one stream, whichever comes first.
    FILE* file = tmpfile();
    utils()->log(L"wide \x263A ", file);
    utils()->log("narrow ", file);
    utils()->log(L"wide again", file);
    rewind(file);
    char buffer[256] = {};
    EXPECT_GT(fread(buffer, 1, sizeof buffer - 1, file), 0u);
    fclose(file);
    const std::string time = R"(\d\d:\d\d:\d\d\.\d\d\d: )";
    EXPECT_TRUE(std::regex_match(buffer, std::regex(time + "wide \xE2\x98\xBA " + time + "narrow " + time + "wide again")))
        << buffer;
}

TEST(Utils, VlogDropsWhatDoesNotFit)
{
    const std::string fits(2047, 'x');
    const std::string tooLong(2048, 'x');
    EXPECT_NE(capturedLog([&] { utils()->vlog("%s", fits.c_str()); }).find(fits), std::string::npos);
    EXPECT_EQ(capturedLog([&] { utils()->vlog("%s", tooLong.c_str()); }), "");
    EXPECT_EQ(capturedLog([] { utils()->vlog("%s", ""); }), "");
    EXPECT_NE(capturedLog([] { utils()->vlog("%d frames\n", 25); }).find(": 25 frames\n"), std::string::npos);
}

TEST(Utils, LogOfAReelTaleApplicationCarriesTheDate)
{
    FILE* probe = popen(KVOS_LOG_PROBE, "r");
    ASSERT_NE(probe, nullptr);
    char line[256] = {};
    ASSERT_NE(fgets(line, sizeof line, probe), nullptr);
    EXPECT_EQ(pclose(probe), 0);
    EXPECT_TRUE(std::regex_match(line, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d\d\d: probe line\n)"))) << line;
}
