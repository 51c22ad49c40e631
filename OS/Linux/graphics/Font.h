#pragma once

#include "LightweightString.h"
#include "Ptr.h"
#include "iCriticalSection.h"
#include "iFont.h"

#include <pango/pango.h>

#include <map>
#include <memory>

// A font through Pango over fontconfig and HarfBuzz. Each Font has a font map
// and a context of its own, so fonts never share Pango state; the context is
// touched only at construction and under lock. A family that fontconfig has
// to substitute costs one log line and a fall-back to "helvetica".
//
// Shaped lines are cached per string, at most 51 of them; the 52nd distinct
// string empties the cache whole. lock guards lineCache alone: a line that
// getLine returns is read after the lock is let go, and is valid only until
// the cache is next emptied, from any thread.
class Font : public iFont
{
public:
    // style: 1 bold, 2 italic. size is the application's size; the font is
    // three quarters of it in pixels. The last argument has no effect.
    Font(const LightweightString<wchar_t>& family, unsigned int size, unsigned int style, unsigned int);
    ~Font() override;

    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    Metrics getMetrics() const override;
    unsigned int getStyle() const override;
    XY<int> measure(const LightweightString<wchar_t>& text, short maxChars) const override;
    void measure(const LightweightString<wchar_t>& text, std::vector<int>& positions) const override;
    CharLocation locateCharacter(const LightweightString<wchar_t>& text, eCharSeekMethod method,
                                 unsigned int position) const override;
    CharLocation getCharacterUnderPixel(const LightweightString<wchar_t>& text, unsigned int pixel) const override;

    // The shaped line for text, owned by the cache, or null when the text has
    // no line (empty, or holding values that are no Unicode scalars). Draw it
    // with pango_cairo_show_layout_line: it carries no colour of its own, so
    // it takes the cairo source.
    PangoLayoutLine* getLine(const LightweightString<wchar_t>& text) const;
    void clearLineCache() const;

private:
    struct LayoutRelease
    {
        void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    };
    using LayoutHolder = std::unique_ptr<PangoLayout, LayoutRelease>;

    static PangoAttrList* makeAttributes(const PangoFontDescription* description);

    PangoFontMap* fontMap;
    PangoContext* context;
    unsigned int style;
    PangoFont* font;
    Metrics metrics;
    // Every line's font; it carries no colour, so lines draw in the cairo
    // source. Never released: fonts are few and live long.
    PangoAttrList* attributes;
    mutable std::map<LightweightString<wchar_t>, LayoutHolder> lineCache;
    Kv::Ptr<iCriticalSection> lock; // recursive: clearLineCache is called from getLine
};
