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

    // What a font's constructor printed, and the font.
    std::string constructionLog(const Text& family, Kv::Ptr<Font>* font = nullptr)
    {
        testing::internal::CaptureStdout();
        Kv::Ptr<Font> made = makeFont(family);
        std::fflush(stdout);
        if (font)
            *font = made;
        return testing::internal::GetCapturedStdout();
    }

    bool endsWith(const std::string& text, const std::string& suffix)
    {
        return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
    }

    Text distinct(int n) { return Text(std::to_wstring(n).c_str()); }
}

TEST(Font, MetricsArePlausibleAndOrdered)
{
    for (const wchar_t* family : installedFamilies) {
        SCOPED_TRACE(OS()->utils()->toUTF8(family).c_str());
        const iFont::Metrics small = makeFont(family, 24)->getMetrics();
        const iFont::Metrics large = makeFont(family, 48)->getMetrics();
        EXPECT_GT(small.capHeight, 9);
        EXPECT_LT(small.capHeight, small.ascent);
        EXPECT_GT(small.descent, 2);
        EXPECT_LT(small.descent, small.capHeight);
        // Each is rounded up on its own, so the sum may be one over.
        EXPECT_GE(small.lineHeight, small.ascent + small.descent - 1);
        EXPECT_LE(small.lineHeight, small.ascent + small.descent);
        EXPECT_LE(small.lineHeight, 24);
        EXPECT_GT(large.capHeight, small.capHeight);
        EXPECT_GT(large.lineHeight, small.lineHeight);
    }
}

TEST(Font, DejaVuMetricsAreItsUnitsRoundedUpAtThreeQuartersOfTheSize)
{
    // 18 pixels on 2048 units: ascent 1901, descent 483, top of 'H' 1493.
    const iFont::Metrics metrics = makeFont(L"DejaVu Sans")->getMetrics();
    EXPECT_EQ(metrics.ascent, 17);
    EXPECT_EQ(metrics.descent, 5);
    EXPECT_EQ(metrics.lineHeight, 21);
    EXPECT_EQ(metrics.capHeight, 14);
}

TEST(Font, StyleBitsAskForBoldAndItalic)
{
    const struct
    {
        unsigned int style;
        PangoWeight weight;
        PangoStyle slant;
    } cases[] = {{0, PANGO_WEIGHT_NORMAL, PANGO_STYLE_NORMAL},
                 {1, PANGO_WEIGHT_BOLD, PANGO_STYLE_NORMAL},
                 {2, PANGO_WEIGHT_NORMAL, PANGO_STYLE_ITALIC},
                 {3, PANGO_WEIGHT_BOLD, PANGO_STYLE_ITALIC},
                 {0x13, PANGO_WEIGHT_BOLD, PANGO_STYLE_ITALIC}};
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
        EXPECT_EQ(pango_font_description_get_style(used) != PANGO_STYLE_NORMAL, expected.slant != PANGO_STYLE_NORMAL);
        pango_font_description_free(used);
    }
    EXPECT_GT(makeFont(L"DejaVu Sans", 24, 1)->measure(L"Bold words", 0).x,
              makeFont(L"DejaVu Sans")->measure(L"Bold words", 0).x);
}

TEST(Font, InstalledFamiliesAreFoundWithoutALogLine)
{
    for (const wchar_t* family : installedFamilies)
        EXPECT_EQ(constructionLog(family), "");
    EXPECT_EQ(constructionLog(L"dejavu SANS"), "") << "family names ignore case";
}

TEST(Font, MissingFamilyLogsOnceAndFallsBackToHelvetica)
{
    Kv::Ptr<Font> missing;
    const std::string log = constructionLog(L"No Such Family Anywhere", &missing);
    EXPECT_TRUE(endsWith(log, ": Font::Font() unable to find 'No Such Family Anywhere'\n")) << log;
    EXPECT_EQ(log.find('\n'), log.size() - 1) << "one line";

    // Whichever family fontconfig stands in for Helvetica on this machine:
    // Liberation Sans, or Nimbus Sans where Ghostscript's fonts are installed.
    Kv::Ptr<Font> helvetica = makeFont(L"helvetica");
    const Text sample = L"Sphinx of black quartz";
    EXPECT_EQ(missing->measure(sample, 0), helvetica->measure(sample, 0));
    EXPECT_EQ(positionsOf(*missing, sample), positionsOf(*helvetica, sample));
}

TEST(Font, UnusableFamilyNamesFallBackWithoutACrash)
{
    EXPECT_TRUE(endsWith(constructionLog(L""), ": Font::Font() unable to find ''\n"));
    // No font can bear a name that is no text; the log shows what it can.
    const wchar_t broken[] = {L'A', wchar_t(0xD800), L'B', wchar_t(0x110000), 0};
    Kv::Ptr<Font> font;
    EXPECT_TRUE(endsWith(constructionLog(broken, &font), ": Font::Font() unable to find 'A\uFFFDB\uFFFD'\n"));
    EXPECT_GT(font->measure(L"still measures", 0).x, 0);
}

TEST(Font, EmptyTextMeasuresNothingNotEvenALine)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans");
    EXPECT_EQ(font->measure(Text(), 0), XY<int>(0, 0));
    EXPECT_EQ(font->measure(L"", -1), XY<int>(0, 0));
    EXPECT_EQ(font->measure(L"abc", 0).y, font->getMetrics().lineHeight);
    std::vector<int> positions{7};
    font->measure(Text(), positions);
    EXPECT_EQ(positions, std::vector<int>{7});
}

TEST(Font, MaxCharsOfZeroMinusOneOrTheLengthMeasureTheWholeText)
{
    Kv::Ptr<Font> font = makeFont(L"Liberation Serif");
    const XY<int> whole = font->measure(L"abc", 0);
    EXPECT_GT(whole.x, 0);
    EXPECT_EQ(font->measure(L"abc", -1), whole);
    EXPECT_EQ(font->measure(L"abc", 3), whole);
    EXPECT_EQ(font->measure(L"abc", 99), whole);
    EXPECT_EQ(font->measure(L"abc", 2), font->measure(L"ab", 0));
    EXPECT_LT(font->measure(L"abc", 2).x, whole.x);
}

TEST(Font, MonospaceWidthIsLinearInLength)
{
    for (const wchar_t* family : {L"DejaVu Sans Mono", L"Liberation Mono"}) {
        Kv::Ptr<Font> font = makeFont(family);
        const std::vector<int> positions = positionsOf(*font, Text(40, L'W'));
        ASSERT_EQ(positions.size(), 40u);
        const double advance = positions.back() / 40.0;
        EXPECT_GT(advance, 10.0);
        EXPECT_LT(advance, 11.5);
        for (unsigned n = 1; n <= 40; ++n) {
            EXPECT_NEAR(font->measure(Text(n, L'W'), 0).x, n * advance, 1.0) << n;
            EXPECT_EQ(font->measure(Text(n, L'i'), 0).x, font->measure(Text(n, L'W'), 0).x) << n;
        }
    }
}

TEST(Font, WidthBeyond65535PixelsWraps)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans Mono", 100);
    const Text text(2000, L'M');
    const std::vector<int> positions = positionsOf(*font, text);
    ASSERT_EQ(positions.size(), 2000u);
    ASSERT_GT(positions.back(), 65535);
    EXPECT_NEAR(font->measure(text, 0).x, positions.back() - 65536, 1.0);
}

TEST(Font, PositionsAreAppendedMonotonicAndEndAtTheWidth)
{
    const Text text = L"Hello, world: 0123 AVAWAY";
    for (const wchar_t* family : installedFamilies) {
        SCOPED_TRACE(OS()->utils()->toUTF8(family).c_str());
        Kv::Ptr<Font> font = makeFont(family);
        std::vector<int> positions{-5};
        font->measure(text, positions);
        ASSERT_EQ(positions.size(), text.size() + 1);
        EXPECT_EQ(positions.front(), -5) << "kept, not cleared";
        EXPECT_GT(positions[1], 0);
        for (size_t i = 2; i < positions.size(); ++i)
            EXPECT_GE(positions[i], positions[i - 1]) << i;
        EXPECT_NEAR(positions.back(), font->measure(text, 0).x, 1.0);
    }
}

TEST(Font, CharactersShapedIntoOneGlyphShareAPosition)
{
    Kv::Ptr<Font> sans = makeFont(L"DejaVu Sans");
    // DejaVu Sans joins "fi" into one glyph.
    const std::vector<int> ligature = positionsOf(*sans, L"fix");
    ASSERT_EQ(ligature.size(), 3u);
    EXPECT_EQ(ligature[0], ligature[1]);
    EXPECT_GT(ligature[2], ligature[1]);

    // 'e' and a combining acute become the one glyph 'é'.
    const std::vector<int> composed = positionsOf(*sans, L"e\u0301x");
    ASSERT_EQ(composed.size(), 3u);
    EXPECT_EQ(composed[0], composed[1]);
    EXPECT_EQ(composed[0], positionsOf(*sans, L"\u00E9x")[0]) << "as if it were precomposed";
    EXPECT_GT(composed[2], composed[1]);

    // The monospaced face has no such ligature: each character has its cell.
    const std::vector<int> mono = positionsOf(*makeFont(L"DejaVu Sans Mono"), L"fix");
    ASSERT_EQ(mono.size(), 3u);
    EXPECT_LT(mono[0], mono[1]);
    EXPECT_LT(mono[1], mono[2]);
}

TEST(Font, CacheIsEmptiedWholeByThe52ndDistinctText)
{
    Kv::Ptr<Font> font = makeFont(L"DejaVu Sans");
    // Pango cuts a line off its layout when the layout goes: a held line
    // tells whether the cache still holds its text.
    const auto hold = [&font](const Text& text) { return pango_layout_line_ref(font->getLine(text)); };
    const auto cached = [](PangoLayoutLine* line) { return line->layout != nullptr; };

    std::vector<PangoLayoutLine*> held;
    for (int n = 0; n < 51; ++n)
        held.push_back(hold(distinct(n)));
    EXPECT_EQ(font->getLine(distinct(0)), held[0]) << "a second request is served from the cache";
    for (PangoLayoutLine* line : held)
        EXPECT_TRUE(cached(line));

    PangoLayoutLine* fiftySecond = hold(distinct(51));
    for (PangoLayoutLine* line : held)
        EXPECT_FALSE(cached(line));
    EXPECT_TRUE(cached(fiftySecond));
    EXPECT_EQ(font->getLine(distinct(51)), fiftySecond);

    // It holds one line now, so fifty more fit beside it.
    std::vector<PangoLayoutLine*> next;
    for (int n = 100; n < 150; ++n)
        next.push_back(hold(distinct(n)));
    EXPECT_TRUE(cached(fiftySecond));
    PangoLayoutLine* overflow = hold(distinct(150));
    EXPECT_FALSE(cached(fiftySecond));
    EXPECT_FALSE(cached(next.front()));

    // A text with no line is never cached, so it never counts towards 51.
    font->clearLineCache();
    EXPECT_FALSE(cached(overflow));
    PangoLayoutLine* kept = hold(distinct(0));
    const wchar_t invalid[] = {L'x', wchar_t(0xDFFF), 0};
    for (int n = 0; n < 60; ++n)
        EXPECT_EQ(font->getLine(invalid), nullptr);
    EXPECT_TRUE(cached(kept));

    for (PangoLayoutLine* line : held)
        pango_layout_line_unref(line);
    for (PangoLayoutLine* line : next)
        pango_layout_line_unref(line);
    for (PangoLayoutLine* line : {fiftySecond, overflow, kept})
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
    const iFont::CharLocation end = font->locateCharacter(surrogate, iFont::eLineEnd, 0);
    EXPECT_EQ(end.index, 4u);
    EXPECT_EQ(end.pixel, 0u);
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
    const iFont::CharLocation empty = font->locateCharacter(Text(), iFont::eLineEnd, 5);
    EXPECT_EQ(empty.index, 0u);
    EXPECT_EQ(empty.pixel, 0u);
}

TEST(Font, ClickInTheLeftHalfGivesTheCharacterAndInTheRightHalfTheNext)
{
    const Text text = L"Mimic";
    for (const wchar_t* family : installedFamilies) {
        SCOPED_TRACE(OS()->utils()->toUTF8(family).c_str());
        Kv::Ptr<Font> font = makeFont(family, 48);
        const std::vector<int> positions = positionsOf(*font, text);
        ASSERT_EQ(positions.size(), text.size());
        for (unsigned i = 0; i < text.size(); ++i) {
            const unsigned left = i == 0 ? 0 : positions[i - 1];
            const unsigned right = positions[i];
            ASSERT_GE(right - left, 6u);
            EXPECT_EQ(font->getCharacterUnderPixel(text, left + 1).index, i);
            EXPECT_EQ(font->getCharacterUnderPixel(text, right - 1).index, i + 1);
        }
        const iFont::CharLocation beyond = font->getCharacterUnderPixel(text, positions.back() + 50);
        EXPECT_EQ(beyond.index, text.size());
        EXPECT_EQ(beyond.pixel, unsigned(positions.back() + 50)) << "the pixel comes back unchanged";
    }
}

TEST(Font, EveryCaretPixelLeadsBackToItsCaret)
{
    const Text text = L"caret 42 mm";
    for (const wchar_t* family : installedFamilies) {
        SCOPED_TRACE(OS()->utils()->toUTF8(family).c_str());
        Kv::Ptr<Font> font = makeFont(family);
        unsigned int caret = 0;
        for (unsigned step = 0; step <= text.size(); ++step) {
            const iFont::CharLocation next = font->locateCharacter(text, iFont::eNextCharacter, caret);
            EXPECT_EQ(next.index, std::min(caret + 1, text.size()));
            EXPECT_EQ(font->getCharacterUnderPixel(text, next.pixel).index, next.index);
            caret = next.index;
        }
        EXPECT_EQ(caret, text.size()) << "stays at the end";
    }
}
