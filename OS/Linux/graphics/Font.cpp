#include "Font.h"

#include "CriticalSectionLock.h"
#include "iThreadManager.h"
#include "iUtils.h"

#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <hb-ot.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <cstdint>

namespace
{
    // The cache is emptied whole when it reaches this many lines.
    constexpr size_t lineCacheLimit = 51;

    double pixels(int pangoUnits) { return double(pangoUnits) / PANGO_SCALE; }

    int16_t roundedUp(double value) { return int16_t(int(std::ceil(value))); }

    // Whole pixels, not the hinted ones: widths and positions come out as
    // fractions and are truncated where they are used, at every size alike.
    void useUnhintedMetrics(PangoContext* context)
    {
        cairo_font_options_t* options = cairo_font_options_create();
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
        pango_cairo_context_set_font_options(context, options);
        cairo_font_options_destroy(options);
        pango_context_set_round_glyph_positions(context, FALSE);
    }

    PangoFontDescription* describe(const char* family, double size, unsigned int style)
    {
        PangoFontDescription* description = pango_font_description_new();
        pango_font_description_set_family(description, family);
        pango_font_description_set_weight(description, (style & 1) ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
        pango_font_description_set_style(description, (style & 2) ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
        pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
        return description;
    }

    // fontconfig never fails a match: it substitutes. The family was found
    // only if the match names it among its families. Pango asks fontconfig
    // the same question when it loads the font.
    bool isInstalled(const char* family, double size, unsigned int style)
    {
        FcPattern* pattern = FcPatternCreate();
        FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
        FcPatternAddInteger(pattern, FC_WEIGHT, (style & 1) ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
        FcPatternAddInteger(pattern, FC_SLANT, (style & 2) ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
        FcPatternAddDouble(pattern, FC_PIXEL_SIZE, size);
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result = FcResultNoMatch;
        FcPattern* match = FcFontMatch(nullptr, pattern, &result);
        FcPatternDestroy(pattern);
        if (!match)
            return false;
        bool found = false;
        FcChar8* name = nullptr;
        for (int i = 0; !found && FcPatternGetString(match, FC_FAMILY, i, &name) == FcResultMatch; ++i)
            found = FcStrCmpIgnoreCase(name, reinterpret_cast<const FcChar8*>(family)) == 0;
        FcPatternDestroy(match);
        return found;
    }

    // The OS/2 table's value where it has one; DejaVu's OS/2 table is too old
    // to, so the top of its 'H' stands in. HarfBuzz scales to Pango units.
    double capHeightOf(PangoFont* font)
    {
        hb_font_t* host = pango_font_get_hb_font(font);
        if (!host)
            return 0;
        hb_position_t capHeight = 0;
        if (hb_ot_metrics_get_position(host, HB_OT_METRICS_TAG_CAP_HEIGHT, &capHeight))
            return pixels(capHeight);
        hb_codepoint_t glyph = 0;
        hb_glyph_extents_t extents{};
        if (hb_font_get_nominal_glyph(host, 'H', &glyph) && hb_font_get_glyph_extents(host, glyph, &extents))
            return pixels(extents.y_bearing);
        return 0;
    }

    // For the log line only: a name that is no valid text is still shown.
    LightweightString<wchar_t> printable(const LightweightString<wchar_t>& text)
    {
        LightweightString<wchar_t> shown;
        for (unsigned i = 0; i < text.size(); ++i) {
            const uint32_t value = uint32_t(text[i]);
            const bool scalar = value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF);
            shown = shown + (scalar ? text[i] : wchar_t(0xFFFD));
        }
        return shown;
    }

    // Pango's clusters are byte offsets into the UTF-8 text; the caller counts
    // characters. One entry per byte, and one past the end.
    std::vector<uint32_t> characterIndices(const char* text, size_t bytes)
    {
        std::vector<uint32_t> indices(bytes + 1);
        uint32_t character = 0;
        for (size_t byte = 0; byte < bytes; ++byte) {
            const bool continuation = (uint8_t(text[byte]) & 0xC0) == 0x80;
            indices[byte] = continuation ? character - 1 : character++;
        }
        indices[bytes] = character;
        return indices;
    }
}

Font::Font(const LightweightString<wchar_t>& family, unsigned int size, unsigned int style, unsigned int)
    : fontMap(pango_cairo_font_map_new()), context(pango_font_map_create_context(fontMap)), style(style), font(),
      metrics(), attributes()
{
    useUnhintedMetrics(context);

    const LightweightString<char> hostFamily = OS()->utils()->toUTF8(family);
    const double hostSize = size * 0.75;

    // A family that is no valid text is never found: no font has that name.
    PangoFontDescription* description = describe(hostFamily.c_str(), hostSize, style);
    if (!hostFamily.empty() && isInstalled(hostFamily.c_str(), hostSize, style))
        font = pango_font_map_load_font(fontMap, context, description);
    if (!font) {
        const LightweightString<wchar_t> line =
            LightweightString<wchar_t>(L"Font::Font() unable to find '") + printable(family) + L"'\n";
        OS()->utils()->log(OS()->utils()->toUTF8(line).c_str(), nullptr);
        pango_font_description_free(description);
        description = describe("helvetica", hostSize, style);
        font = pango_font_map_load_font(fontMap, context, description);
    }

    if (font) {
        PangoFontMetrics* hostMetrics = pango_font_get_metrics(font, nullptr);
        const double ascent = pixels(pango_font_metrics_get_ascent(hostMetrics));
        const double descent = pixels(pango_font_metrics_get_descent(hostMetrics));
        metrics.capHeight = roundedUp(capHeightOf(font));
        metrics.descent = roundedUp(descent);
        metrics.lineHeight = roundedUp(ascent + descent);
        metrics.ascent = roundedUp(ascent);
        pango_font_metrics_unref(hostMetrics);
    }

    attributes = makeAttributes(description);
    pango_font_description_free(description);
    lock = OS()->threadMgr()->createCriticalSection(0);
}

Font::~Font()
{
    clearLineCache();
    if (font)
        g_object_unref(font);
    g_object_unref(context);
    g_object_unref(fontMap);
}

PangoAttrList* Font::makeAttributes(const PangoFontDescription* description)
{
    PangoAttrList* list = pango_attr_list_new();
    pango_attr_list_insert(list, pango_attr_font_desc_new(description));
    return list;
}

iFont::Metrics Font::getMetrics() const { return metrics; }

unsigned int Font::getStyle() const { return style; }

PangoLayoutLine* Font::getLine(const LightweightString<wchar_t>& text) const
{
    CriticalSectionLock guard(lock);
    const auto cached = lineCache.find(text);
    if (cached != lineCache.end())
        return pango_layout_get_line_readonly(cached->second.get(), 0);
    if (lineCache.size() >= lineCacheLimit)
        clearLineCache();

    // Null for values that are no Unicode scalars, and for the empty text.
    const LightweightString<char> hostText = OS()->utils()->toUTF8(text);
    if (hostText.empty())
        return nullptr;

    LayoutHolder layout(pango_layout_new(context));
    pango_layout_set_attributes(layout.get(), attributes);
    // One line whatever the text holds: a line feed is shaped, not obeyed.
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    pango_layout_set_text(layout.get(), hostText.c_str(), int(hostText.size()));
    PangoLayoutLine* line = pango_layout_get_line_readonly(layout.get(), 0);
    // Pango measures lazily and keeps the result in the line: measure now,
    // under the lock, so that readers after it only read.
    PangoRectangle logical;
    pango_layout_line_get_extents(line, nullptr, &logical);
    lineCache.emplace(text, std::move(layout));
    return line;
}

void Font::clearLineCache() const
{
    CriticalSectionLock guard(lock);
    lineCache.clear();
}

XY<int> Font::measure(const LightweightString<wchar_t>& text, short maxChars) const
{
    XY<int> size(0, 0);
    const bool cut = maxChars != 0 && text.size() > uint32_t(int32_t(maxChars));
    const LightweightString<wchar_t> measured = cut ? text.substr(0, unsigned(maxChars)) : text;
    if (measured.empty())
        return size;
    PangoLayoutLine* line = getLine(measured);
    if (!line)
        return size;
    PangoRectangle logical;
    pango_layout_line_get_extents(line, nullptr, &logical);
    size.x = uint16_t(int64_t(pixels(logical.width)));
    size.y = metrics.lineHeight;
    return size;
}

void Font::measure(const LightweightString<wchar_t>& text, std::vector<int>& positions) const
{
    PangoLayoutLine* line = getLine(text);
    if (!line || !line->runs)
        return;
    const char* hostText = pango_layout_get_text(line->layout);
    const std::vector<uint32_t> characterIndex = characterIndices(hostText, std::strlen(hostText));

    double pen = 0;
    std::vector<double> advances;
    for (GSList* node = line->runs; node; node = node->next) {
        const PangoGlyphItem* run = static_cast<const PangoGlyphItem*>(node->data);
        const uint16_t glyphCount = uint16_t(run->glyphs->num_glyphs);
        // Pango keeps advances inside its glyph records, never as a plain array.
        advances.resize(glyphCount);
        for (uint16_t i = 0; i < glyphCount; ++i)
            advances[i] = pixels(run->glyphs->glyphs[i].geometry.width);

        if (glyphCount < text.size()) {
            for (uint16_t i = 0; i < glyphCount; ++i) {
                const long stringIndex = characterIndex[run->item->offset + run->glyphs->log_clusters[i]];
                // Characters merged into an earlier glyph share the position
                // that precedes this one.
                while (long(uint16_t(positions.size())) < stringIndex)
                    positions.push_back(int(pen));
                pen += advances[i];
                positions.push_back(int(pen));
            }
        } else {
            for (uint16_t i = 0; i < glyphCount; ++i) {
                pen += advances[i];
                positions.push_back(int(pen));
            }
        }
    }
}

iFont::CharLocation Font::locateCharacter(const LightweightString<wchar_t>& text, eCharSeekMethod method,
                                          unsigned int position) const
{
    if (text.empty())
        return {0, 0};
    const uint16_t length = uint16_t(text.size());
    const auto isSpace = [&text](unsigned int at) { return text[at] == L' '; };

    unsigned int index = position;
    switch (method) {
    case ePreviousCharacter:
        index = position == 0 ? 0 : position - 1;
        break;
    case eNextCharacter:
        index = position == length ? position : position + 1;
        break;
    case eNextWordStart: {
        if (position >= length)
            break;
        unsigned int at = position;
        while (at < length && !isSpace(at))
            ++at;
        if (at == length) {
            index = std::max(position + 1, unsigned(length));
            break;
        }
        while (at < length && isSpace(at))
            ++at;
        index = at;
        break;
    }
    case ePreviousWordStart: {
        // Scanning starts inside the text, wherever the caret claims to be.
        unsigned int at = std::min(position, unsigned(length));
        while (at > 0 && isSpace(at - 1))
            --at;
        while (at > 0 && !isSpace(at - 1))
            --at;
        index = at;
        break;
    }
    case eLineStart:
        index = 0;
        break;
    case eLineEnd:
        index = length;
        break;
    }
    return {index, uint32_t(measure(text.substr(0, index), short(-1)).x)};
}

iFont::CharLocation Font::getCharacterUnderPixel(const LightweightString<wchar_t>& text, unsigned int pixel) const
{
    std::vector<int> positions;
    positions.reserve(text.size());
    measure(text, positions);

    unsigned int index = text.size();
    for (unsigned int i = 0; i < text.size() && i < positions.size(); ++i) {
        if (unsigned(positions[i]) <= pixel)
            continue;
        const int previous = i == 0 ? 0 : positions[i - 1];
        const int half = (positions[i] - previous) / 2;
        index = int(positions[i] - pixel) < half ? i + 1 : i;
        break;
    }
    return {index, pixel};
}
