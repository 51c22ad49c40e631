#include "LightweightString.h"

#include <gtest/gtest.h>

#include <map>

using WString = LightweightString<wchar_t>;
using CString = LightweightString<char>;

TEST(LightweightString, EmptyTextIsNullAllocatesNothingAndSortsFirst)
{
    for (const CString& empty : {CString(""), CString(nullptr), CString(), CString("abc").substr(3, 1)})
        EXPECT_EQ(empty.capacity(), 0u);
    EXPECT_EQ(WString(L"abc", 0).capacity(), 0u);
    EXPECT_STREQ(CString().c_str(), "");
    EXPECT_TRUE(CString() == "");
    EXPECT_EQ(CString::compare(nullptr, ""), 0);
    EXPECT_LT(CString::compare(nullptr, "a"), 0);
    EXPECT_GT(CString::compare("a", nullptr), 0);
    std::map<CString, int> table{{CString("b"), 2}, {CString("a"), 1}, {CString(), 0}};
    table[CString("")] = 9;
    ASSERT_EQ(table.size(), 3u);
    EXPECT_EQ(table.begin()->second, 9);
    EXPECT_EQ(table.rbegin()->first, "b");

    // Writable access to a null string reads as empty text and writes nowhere.
    CString null;
    EXPECT_EQ(null[0], 0);
    null[0] = 'x';
    EXPECT_EQ(null[0], 0);
    EXPECT_TRUE(null.empty());
}

TEST(LightweightString, CapacityIsThePowerOfTwoAboveTheLengthOrExactlyAsReserved)
{
    EXPECT_EQ(CString("abc").capacity(), 4u);
    WString text(L"abcd");
    EXPECT_EQ(text.capacity(), 8u);
    const wchar_t* block = text.c_str();
    text.push_back(L'e');
    text.append(L"fg", 2);
    EXPECT_EQ(text.c_str(), block) << "grows in place up to length 7";
    text.push_back(L'h');
    EXPECT_NE(text.c_str(), block);
    EXPECT_EQ(text.capacity(), 16u);
    EXPECT_EQ(text, L"abcdefgh");
    WString one;
    one.push_back(L'z');
    EXPECT_EQ(one.capacity(), 2u);

    WString reserved;
    reserved.reserve(10);
    EXPECT_EQ(reserved.capacity(), 11u);
    EXPECT_TRUE(reserved.empty());
    reserved.reserve(5);
    reserved.append(L"0123456789", 10);
    EXPECT_EQ(reserved.capacity(), 11u);
    WString keep(L"abc");
    keep.reserve(100);
    EXPECT_EQ(keep, L"abc");
    EXPECT_EQ(keep.capacity(), 101u);
}

TEST(LightweightString, SharedRecordsAreNeverWrittenThrough)
{
    const WString original(L"shared text");
    WString resized = original;
    EXPECT_EQ(resized.c_str(), original.c_str());
    resized.resizeFor(5);
    EXPECT_EQ(resized.size(), 5u);
    WString appended = original;
    appended.append(L"!", 1);
    appended.push_back(L'?');
    EXPECT_EQ(appended, L"shared text!?");
    WString grown = original;
    grown.resize(14);
    EXPECT_EQ(std::wstring(grown.c_str(), 11), L"shared text");
    WString unshared = original;
    unshared.unshare();
    EXPECT_NE(unshared.c_str(), original.c_str());
    EXPECT_EQ(unshared, original);
    EXPECT_EQ(unshared.capacity(), 16u);
    const WString whole = original.substr(0, WString::npos);
    EXPECT_NE(whole.c_str(), original.c_str()) << "a substring is always a copy";
    EXPECT_EQ(whole, original);
    EXPECT_EQ(original, L"shared text");
}

TEST(LightweightString, LengthsAreAsStatedAndZerosAsPlaced)
{
    CString assigned;
    assigned.assign("ab", 5);
    EXPECT_EQ(assigned.size(), 5u);
    EXPECT_EQ(assigned[1], 'b');
    EXPECT_EQ(assigned[4], 0);
    EXPECT_EQ(CString(3, 'x'), "xxx");
    WString text(L"a");
    text.push_back(0);
    EXPECT_EQ(text.size(), 1u) << "push_back ignores a zero";
    EXPECT_EQ((text + wchar_t(0)).size(), 2u) << "+ takes it";
    const CString joined = CString::join("abc", 3, nullptr, 2);
    EXPECT_EQ(joined.size(), 5u);
    EXPECT_EQ(std::string(joined.c_str(), 3), "abc");
    WString cut(L"abcdef");
    cut.resize(3);
    EXPECT_EQ(cut, L"abc");
    cut.resize(0);
    EXPECT_EQ(cut.capacity(), 0u);
}

TEST(LightweightString, JoinsSubstringsFindsAndComparesEnds)
{
    EXPECT_EQ(CString("key") + "=value", "key=value");
    EXPECT_EQ(CString("key") + nullptr, "key");
    EXPECT_EQ(WString(L"a") + WString(L"b") + L'c', L"abc");
    CString text;
    text += "one";
    text += nullptr;
    text += ", two";
    EXPECT_EQ(text, "one, two");
    EXPECT_EQ(WString(L"abcdef").substr(2, 2), L"cd");
    EXPECT_EQ(WString(L"abcdef").substr(2, 100), L"cdef");

    const WString movie(L"Movie.MOV");
    EXPECT_EQ(movie.find(L"MOV", 0), 6u);
    EXPECT_EQ(movie.find(L"ovi", 2), WString::npos);
    EXPECT_EQ(movie.find(L"x", 20), WString::npos);
    EXPECT_TRUE(movie.endsWith(L".mov", false));
    EXPECT_FALSE(movie.endsWith(L".mov", true));
    EXPECT_FALSE(movie.endsWith(L"longer than the text", false));
    EXPECT_FALSE(WString().endsWith(L"", true));
    EXPECT_TRUE(movie.startsWith(L"movie", false));
    EXPECT_FALSE(movie.startsWith(L"movie", true));
    EXPECT_TRUE(CString("x").startsWith("", true));
    EXPECT_FALSE(CString("").startsWith("", true));
    EXPECT_FALSE(CString("x").startsWith(nullptr, true));
    EXPECT_EQ(WString::icompare(L"ABC", L"abc"), 0);
    EXPECT_LT(WString::icompare(L"", L"abc"), 0);
}

TEST(LightweightString, StripsPathsAndExtensionsAndPacksFourCharacterCodes)
{
    const std::pair<const wchar_t*, const wchar_t*> extensions[] = {
        {L"clip.final.mov", L"clip.final"}, {L".hidden", L""}, {L"folder.d/name", L"folder"}, {L"noext", L"noext"}};
    for (const auto& [name, stripped] : extensions)
        EXPECT_EQ(stripExtension(name), stripped);
    const std::pair<WString, const wchar_t*> paths[] = {
        {L"/media/clips/take.1.mxf", L"take.1"}, {L"/media/clips/", L""}, {L"plain.txt", L"plain"}, {WString(), L""}};
    for (const auto& [name, stripped] : paths)
        EXPECT_EQ(stripPathAndExt(name), stripped);
    EXPECT_EQ(StringAsFourCC(CString("ab")), 0x61620000u);
    EXPECT_EQ(StringAsFourCC(CString("\xFF" "bcde")), 0xFF626364u);
    EXPECT_EQ(StringAsFourCC(CString()), 0u);
}
