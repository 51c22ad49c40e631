#include "Font.h"
#include "OS.h"

#include <pango/pango.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace
{
    using Text = LightweightString<wchar_t>;

    const wchar_t* const installedFamilies[] = {L"DejaVu Sans", L"DejaVu Sans Mono", L"Liberation Sans",
                                                L"Liberation Mono", L"Liberation Serif"};

    // The application's size 24 is an 18-pixel font.
    Kv::Ptr<Font> makeFont(const Text& family, unsigned int size = 24, unsigned int style = 0)
    {
        return Kv::Ptr<Font>(new Font(family, size, style, 0));
    }

    std::vector<int> positionsOf(const Font& font, const Text& text)
    {
        std::vector<int> positions;
        font.measure(text, positions);
        return positions;
    }

    // What a font's constructor printed, less the time stamp before it.
    std::string constructionLog(const Text& family, Kv::Ptr<Font>& font)
    {
        testing::internal::CaptureStdout();
        font = makeFont(family);
        std::fflush(stdout);
        const std::string log = testing::internal::GetCapturedStdout();
        const size_t message = log.find("Font::Font()");
        return message == std::string::npos ? log : log.substr(message);
    }

    std::string nameOf(const Text& family) { return OS()->utils()->toUTF8(family).c_str(); }
}

TEST(Font, MetricsAreTheUnitsRoundedUpAtThreeQuartersOfTheSize)
{
    // 18 pixels on 2048 units: ascent 1901, descent 483, top of 'H' 1493.
    const iFont::Metrics dejaVu = makeFont(L"DejaVu Sans")->getMetrics();
    EXPECT_EQ(dejaVu.ascent, 17);
    EXPECT_EQ(dejaVu.descent, 5);
    EXPECT_EQ(dejaVu.lineHeight, 21) << "added before rounding";
    EXPECT_EQ(dejaVu.capHeight, 14);
    for (const wchar_t* family : installedFamilies) {
        SCOPED_TRACE(nameOf(family));
        const iFont::Metrics small = makeFont(family, 24)->getMetrics();
        EXPECT_LT(small.descent, small.capHeight);
        EXPECT_LT(small.capHeight, small.ascent);
        EXPECT_GT(makeFont(family, 48)->getMetrics().capHeight, small.capHeight);
    }
}

TEST(Font, StyleBitsAskForBoldAndItalic)
{
    const struct
    {
        unsigned int style;
        PangoWeight weight;
        bool slanted;
    } cases[] = {{0, PANGO_WEIGHT_NORMAL, false},
                 {1, PANGO_WEIGHT_BOLD, false},
                 {2, PANGO_WEIGHT_NORMAL, true},
                 {0x13, PANGO_WEIGHT_BOLD, true}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.style);
        Kv::Ptr<Font> font = makeFont(L"DejaVu Sans", 24, expected.style);
        EXPECT_EQ(font->getStyle(), expected.style) << "kept as given, unknown bits too";
        PangoLayoutLine* line = font->getLine(L"Ab");
        ASSERT_NE(line, nullptr);
        const PangoGlyphItem* run = static_cast<const PangoGlyphItem*>(line->runs->data);
        PangoFontDescription* used = pango_font_describe(run->item->analysis.font);
        EXPECT_STREQ(pango_font_description_get_family(used), "DejaVu Sans");
        EXPECT_EQ(pango_font_description_get_weight(used), expected.weight);
        // DejaVu's slanted face calls itself oblique.
        EXPECT_EQ(pango_font_description_get_style(used) != PANGO_STYLE_NORMAL, expected.slanted);
        pango_font_description_free(used);
    }
}

TEST(Font, UnknownFamiliesLogOneLineAndFallBackToHelvetica)
{
    const wchar_t broken[] = {L'A', wchar_t(0xD800), L'B', wchar_t(0x110000), 0};
    const struct
    {
        Text family;
        std::string log;
    } cases[] = {
        {L"DejaVu Sans", ""},
        {L"dejavu SANS", ""}, // family names ignore case
        {L"Liberation Mono", ""},
        {L"No Such Family", "Font::Font() unable to find 'No Such Family'\n"},
        {L"", "Font::Font() unable to find ''\n"},
        // No font can bear a name that is no text; the log shows what it can.
        {broken, "Font::Font() unable to find 'A\uFFFDB\uFFFD'\n"},
    };
    // Whichever family fontconfig stands in for Helvetica on this machine.
    const Text sample = L"Sphinx of black quartz";
    const std::vector<int> helvetica = positionsOf(*makeFont(L"helvetica"), sample);
    for (const auto& expected : cases) {
        SCOPED_TRACE(nameOf(expected.family));
        Kv::Ptr<Font> font;
        EXPECT_EQ(constructionLog(expected.family, font), expected.log);
        if (!expected.log.empty()) {
            EXPECT_EQ(positionsOf(*font, sample), helvetica);
        }
    }
}

TEST(Font, MeasureTakesTheFirstMaxCharsWhereZeroAndMinusOneMeanAll)
{
    Kv::Ptr<Font> font = makeFont(L"Liberation Serif");
    const XY<int> whole = font->measure(L"abc", 0);
    EXPECT_GT(whole.x, 0);
    EXPECT_EQ(whole.y, font->getMetrics().lineHeight);
    for (const short maxChars : {-1, 3, 99})
        EXPECT_EQ(font->measure(L"abc", maxChars), whole) << maxChars;
    EXPECT_EQ(font->measure(L"abc", 2), font->measure(L"ab", 0));
    EXPECT_LT(font->measure(L"abc", 2).x, whole.x);
    EXPECT_EQ(font->measure(Text(), 0), XY<int>(0, 0)) << "not even a line height";
    std::vector<int> positions{7};
    font->measure(Text(), positions);
    EXPECT_EQ(positions, std::vector<int>{7});
}

TEST(Font, WidthBeyond65535PixelsWraps)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans Mono", 100);
    const Text text(2000, L'M');
    const std::vector<int> positions = positionsOf(*font, text);
    ASSERT_GT(positions.back(), 65535);
    EXPECT_NEAR(font->measure(text, 0).x, positions.back() - 65536, 1.0);
}

TEST(Font, CharactersShapedIntoOneGlyphShareAPosition)
{
    Kv::Ptr<Font> sans = makeFont(L"DejaVu Sans");
    // DejaVu Sans joins "fi" into one glyph; 'e' and a combining acute become 'é'.
    const std::vector<int> ligature = positionsOf(*sans, L"fix");
    ASSERT_EQ(ligature.size(), 3u);
    EXPECT_EQ(ligature[0], ligature[1]);
    EXPECT_GT(ligature[2], ligature[1]);
    const std::vector<int> composed = positionsOf(*sans, L"e\u0301x");
    ASSERT_EQ(composed.size(), 3u);
    EXPECT_EQ(composed[0], composed[1]);
    EXPECT_EQ(composed[0], positionsOf(*sans, L"\u00E9x")[0]) << "as if it were precomposed";
    // The monospaced face has no such ligature: each character has its cell.
    const std::vector<int> mono = positionsOf(*makeFont(L"DejaVu Sans Mono"), L"fix");
    ASSERT_EQ(mono.size(), 3u);
    EXPECT_LT(mono[0], mono[1]);
}

TEST(Font, CacheIsEmptiedWholeByThe52ndDistinctText)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans");
    // Pango cuts a line off its layout when the layout goes: a held line
    // tells whether the cache still holds its text.
    std::vector<PangoLayoutLine*> held;
    const auto hold = [&](int n) {
        held.push_back(pango_layout_line_ref(font->getLine(Text(std::to_wstring(n).c_str()))));
        return held.back();
    };
    const auto cached = [](PangoLayoutLine* line) { return line->layout != nullptr; };

    for (int n = 0; n < 51; ++n)
        hold(n);
    EXPECT_EQ(font->getLine(L"0"), held[0]) << "a second request is served from the cache";
    EXPECT_TRUE(cached(held[0]) && cached(held[50]));
    PangoLayoutLine* fiftySecond = hold(51);
    EXPECT_FALSE(cached(held[0]) || cached(held[50]));
    EXPECT_TRUE(cached(fiftySecond));

    // A text with no line is never cached, so it never counts towards 51.
    const wchar_t invalid[] = {L'x', wchar_t(0xDFFF), 0};
    for (int n = 0; n < 60; ++n)
        EXPECT_EQ(font->getLine(invalid), nullptr);
    EXPECT_TRUE(cached(fiftySecond));
    for (PangoLayoutLine* line : held)
        pango_layout_line_unref(line);
}

TEST(Font, InvalidCodePointsMeasureNothingAndNeverCrash)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans");
    const wchar_t surrogate[] = {L'a', L'b', wchar_t(0xD800), L'c', 0};
    const wchar_t beyond[] = {L'a', wchar_t(0x110000), 0};
    for (const Text& text : {Text(surrogate), Text(beyond)}) {
        EXPECT_EQ(font->measure(text, 0), XY<int>(0, 0));
        EXPECT_TRUE(positionsOf(*font, text).empty());
        EXPECT_EQ(font->getCharacterUnderPixel(text, 3).index, text.size());
    }
    // The valid part before the bad value still measures.
    const iFont::CharLocation second = font->locateCharacter(surrogate, iFont::eNextCharacter, 1);
    EXPECT_EQ(second.index, 2u);
    EXPECT_EQ(second.pixel, uint32_t(font->measure(L"ab", 0).x));
    EXPECT_EQ(font->locateCharacter(surrogate, iFont::eLineEnd, 0).pixel, 0u);
}

TEST(Font, LocateCharacterSeeksByCharacterWordAndLine)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans");
    //                0123456789012
    const Text text = L"one two  tree";
    const struct
    {
        iFont::eCharSeekMethod method;
        unsigned int position;
        unsigned int index;
    } cases[] = {
        {iFont::ePreviousCharacter, 0, 0},  {iFont::ePreviousCharacter, 5, 4},
        {iFont::eNextCharacter, 13, 13},    {iFont::eNextCharacter, 3, 4},
        {iFont::eNextWordStart, 0, 4},      {iFont::eNextWordStart, 3, 4},
        {iFont::eNextWordStart, 5, 9},      {iFont::eNextWordStart, 7, 9},
        {iFont::eNextWordStart, 10, 13},    {iFont::eNextWordStart, 13, 13},
        {iFont::eNextWordStart, 20, 20},    {iFont::ePreviousWordStart, 9, 4},
        {iFont::ePreviousWordStart, 6, 4},  {iFont::ePreviousWordStart, 4, 0},
        {iFont::ePreviousWordStart, 2, 0},  {iFont::ePreviousWordStart, 0, 0},
        {iFont::ePreviousWordStart, 40, 9}, {iFont::eLineStart, 7, 0},
        {iFont::eLineEnd, 2, 13},           {iFont::eCharSeekMethod(9), 6, 6},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(testing::Message() << "method " << expected.method << " from " << expected.position);
        const iFont::CharLocation location = font->locateCharacter(text, expected.method, expected.position);
        EXPECT_EQ(location.index, expected.index);
        EXPECT_EQ(location.pixel, uint32_t(font->measure(text.substr(0, expected.index), -1).x));
    }
    EXPECT_EQ(font->locateCharacter(L"a\tb", iFont::eNextWordStart, 0).index, 3u) << "a tab is no space";
    EXPECT_EQ(font->locateCharacter(L"ab  ", iFont::eNextWordStart, 0).index, 4u) << "spaces run to the end";
    EXPECT_EQ(font->locateCharacter(Text(), iFont::eLineEnd, 5).index, 0u);
}

TEST(Font, PositionsAreAppendedAndAClickInTheRightHalfOfACharacterGoesAfterIt)
{
    const Text text = L"Mimic 42";
    for (const wchar_t* family : installedFamilies) {
        SCOPED_TRACE(nameOf(family));
        Kv::Ptr<Font> font = makeFont(family, 48);
        std::vector<int> positions{-5};
        font->measure(text, positions);
        ASSERT_EQ(positions.size(), text.size() + 1);
        EXPECT_EQ(positions.front(), -5) << "kept, not cleared";
        positions.erase(positions.begin());
        EXPECT_NEAR(positions.back(), font->measure(text, 0).x, 1.0);
        for (unsigned i = 0; i < text.size(); ++i) {
            const unsigned left = i == 0 ? 0 : positions[i - 1];
            const unsigned right = positions[i];
            ASSERT_GE(int(right) - int(left), 6) << "each character has its own width";
            EXPECT_EQ(font->getCharacterUnderPixel(text, left + 1).index, i);
            EXPECT_EQ(font->getCharacterUnderPixel(text, right - 1).index, i + 1);
            const iFont::CharLocation caret = font->locateCharacter(text, iFont::eNextCharacter, i);
            EXPECT_EQ(font->getCharacterUnderPixel(text, caret.pixel).index, caret.index);
        }
        const iFont::CharLocation beyond = font->getCharacterUnderPixel(text, positions.back() + 50);
        EXPECT_EQ(beyond.index, text.size());
        EXPECT_EQ(beyond.pixel, unsigned(positions.back() + 50)) << "the pixel comes back unchanged";
    }
}
