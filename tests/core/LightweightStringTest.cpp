#include "LightweightString.h"

#include <gtest/gtest.h>

#include <map>

using WString = LightweightString<wchar_t>;
using CString = LightweightString<char>;

TEST(LightweightString, EmptyTextIsNullAndAllocatesNothing)
{
    EXPECT_EQ(CString("").capacity(), 0u);
    EXPECT_EQ(CString(nullptr).capacity(), 0u);
    EXPECT_EQ(WString(L"abc", 0).capacity(), 0u);
    EXPECT_STREQ(CString().c_str(), "");
    EXPECT_TRUE(CString() == "");
    EXPECT_TRUE(CString() == CString(""));
    EXPECT_EQ(CString::compare(nullptr, ""), 0);
    EXPECT_LT(CString::compare(nullptr, "a"), 0);
    EXPECT_GT(CString::compare("a", nullptr), 0);

    // Writable access to a null string reads as empty text and writes nowhere.
    CString null;
    EXPECT_EQ(null[0], 0);
    null[0] = 'x';
    EXPECT_EQ(null[0], 0);
    EXPECT_TRUE(null.empty());
}

TEST(LightweightString, CapacityIsThePowerOfTwoAboveTheLength)
{
    EXPECT_EQ(CString("abc").capacity(), 4u);
    WString four(L"abcd");
    EXPECT_EQ(four.capacity(), 8u);
    const wchar_t* block = four.c_str();
    four.push_back(L'e');
    four.append(L"fg", 2);
    EXPECT_EQ(four.c_str(), block) << "grows in place up to length 7";
    EXPECT_EQ(four, L"abcdefg");
    four.push_back(L'h');
    EXPECT_NE(four.c_str(), block);
    EXPECT_EQ(four.capacity(), 16u);
    EXPECT_EQ(four, L"abcdefgh");
}

TEST(LightweightString, SharedRecordsAreNeverWrittenThrough)
{
    WString original(L"shared text");
    WString copy = original;
    EXPECT_EQ(copy.c_str(), original.c_str());

    copy.resizeFor(5);
    EXPECT_NE(copy.c_str(), original.c_str());
    EXPECT_EQ(copy.size(), 5u);
    EXPECT_EQ(original, L"shared text");

    WString appended = original;
    appended.append(L"!", 1);
    appended.push_back(L'?');
    EXPECT_EQ(original, L"shared text");
    EXPECT_EQ(appended, L"shared text!?");

    WString unshared = original;
    unshared.unshare();
    EXPECT_NE(unshared.c_str(), original.c_str());
    EXPECT_EQ(unshared, original);
    EXPECT_EQ(unshared.capacity(), 16u);
}

TEST(LightweightString, AssignKeepsTheStatedLength)
{
    CString text;
    text.assign("ab", 5);
    EXPECT_EQ(text.size(), 5u);
    EXPECT_EQ(text[1], 'b');
    EXPECT_EQ(text[2], 0);
    EXPECT_EQ(text[4], 0);
    EXPECT_EQ(CString(3, 'x'), "xxx");
}

TEST(LightweightString, PushBackIgnoresZeroButPlusTakesIt)
{
    WString text(L"a");
    text.push_back(0);
    EXPECT_EQ(text.size(), 1u);
    WString withZero = text + wchar_t(0);
    EXPECT_EQ(withZero.size(), 2u);
    EXPECT_EQ(withZero[1], 0);
    WString empty;
    empty.push_back(L'z');
    EXPECT_EQ(empty, L"z");
    EXPECT_EQ(empty.capacity(), 2u);
}

TEST(LightweightString, JoinsAndAppends)
{
    EXPECT_EQ(CString("key") + "=value", "key=value");
    EXPECT_EQ(CString("key") + nullptr, "key");
    EXPECT_EQ(WString(L"a") + WString(L"b") + L'c', L"abc");
    CString text;
    text += "one";
    text += nullptr;
    text += ", two";
    EXPECT_EQ(text, "one, two");
    const CString joined = CString::join("abc", 3, nullptr, 2);
    EXPECT_EQ(joined.size(), 5u);
    EXPECT_EQ(std::string(joined.c_str(), 3), "abc");
}

TEST(LightweightString, SubstrIsAlwaysACopy)
{
    WString text(L"abcdef");
    EXPECT_EQ(text.substr(6, 1).capacity(), 0u);
    EXPECT_EQ(text.substr(2, 2), L"cd");
    EXPECT_EQ(text.substr(2, 100), L"cdef");
    WString whole = text.substr(0, WString::npos);
    EXPECT_EQ(whole, text);
    EXPECT_NE(whole.c_str(), text.c_str());
    EXPECT_EQ(WString().substr(0, 1).capacity(), 0u);
}

TEST(LightweightString, FindsAndComparesEnds)
{
    WString text(L"Movie.MOV");
    EXPECT_EQ(text.find(L"MOV", 0), 6u);
    EXPECT_EQ(text.find(L"ovi", 0), 1u);
    EXPECT_EQ(text.find(L"ovi", 2), WString::npos);
    EXPECT_EQ(text.find(L"x", 20), WString::npos);
    EXPECT_TRUE(text.endsWith(L".mov", false));
    EXPECT_FALSE(text.endsWith(L".mov", true));
    EXPECT_FALSE(text.endsWith(L"longer than the text", false));
    EXPECT_FALSE(WString().endsWith(L"", true));
    EXPECT_TRUE(text.startsWith(L"movie", false));
    EXPECT_FALSE(text.startsWith(L"movie", true));
    EXPECT_TRUE(CString("x").startsWith("", true));
    EXPECT_FALSE(CString("").startsWith("", true));
    EXPECT_FALSE(CString("x").startsWith(nullptr, true));
    EXPECT_EQ(WString::icompare(L"ABC", L"abc"), 0);
    EXPECT_LT(WString::icompare(L"", L"abc"), 0);
}

TEST(LightweightString, ResizeKeepsTextAndReserveSizesExactly)
{
    WString text(L"abcdef");
    text.resize(3);
    EXPECT_EQ(text, L"abc");
    text.resize(0);
    EXPECT_EQ(text.capacity(), 0u);

    WString shared(L"abcdef");
    WString other = shared;
    other.resize(10);
    EXPECT_EQ(other.size(), 10u);
    EXPECT_EQ(std::wstring(other.c_str(), 6), L"abcdef");
    EXPECT_EQ(shared, L"abcdef");

    WString reserved;
    reserved.reserve(10);
    EXPECT_EQ(reserved.capacity(), 11u);
    EXPECT_EQ(reserved.size(), 0u);
    EXPECT_TRUE(reserved.empty());
    reserved.reserve(5);
    EXPECT_EQ(reserved.capacity(), 11u);
    reserved.append(L"0123456789", 10);
    EXPECT_EQ(reserved.capacity(), 11u);

    WString keep(L"abc");
    keep.reserve(100);
    EXPECT_EQ(keep, L"abc");
    EXPECT_EQ(keep.capacity(), 101u);
}

TEST(LightweightString, OrdersMapKeysWithNullFirst)
{
    std::map<CString, int> table;
    table[CString("b")] = 2;
    table[CString("a")] = 1;
    table[CString()] = 0;
    table[CString("")] = 9;
    ASSERT_EQ(table.size(), 3u);
    EXPECT_EQ(table.begin()->second, 9);
    EXPECT_EQ(table.rbegin()->first, "b");
}

TEST(LightweightString, StripsPathsAndExtensions)
{
    EXPECT_EQ(stripExtension(L"clip.final.mov"), L"clip.final");
    EXPECT_EQ(stripExtension(L".hidden"), L"");
    EXPECT_EQ(stripExtension(L"folder.d/name"), L"folder");
    EXPECT_EQ(stripExtension(L"noext"), L"noext");
    EXPECT_EQ(stripPathAndExt(L"/media/clips/take.1.mxf"), L"take.1");
    EXPECT_EQ(stripPathAndExt(L"/media/clips/"), L"");
    EXPECT_EQ(stripPathAndExt(L"plain.txt"), L"plain");
    EXPECT_EQ(stripPathAndExt(WString()), L"");
}

TEST(LightweightString, PacksFourCharacterCodes)
{
    EXPECT_EQ(StringAsFourCC(CString("ab")), 0x61620000u);
    EXPECT_EQ(StringAsFourCC(CString("\xFF" "bcde")), 0xFF626364u);
    EXPECT_EQ(StringAsFourCC(CString()), 0u);
}
