#include "OS.h"

// No public factory hands out fonts yet, so the class is built into this
// program from its own source.
#include "../OS/Linux/graphics/Font.h"

#include <benchmark/benchmark.h>
#include <pango/pangocairo.h>

#include <string>

namespace
{
    // A label of the size the user interface measures again and again.
    const wchar_t* const kLabel = L"Timeline 01: Scene 12, take 3 (00:41:07)";
    static_assert(std::char_traits<wchar_t>::length(L"Timeline 01: Scene 12, take 3 (00:41:07)") == 40);

    void BM_FontMeasureCached(benchmark::State& state)
    {
        Font font(L"DejaVu Sans", 24, 0, 0);
        const LightweightString<wchar_t> label(kLabel);
        font.measure(label, 0);
        for (auto _ : state)
            benchmark::DoNotOptimize(font.measure(label, 0));
    }
    BENCHMARK(BM_FontMeasureCached);

    // What measuring costs without the cache: the same font, and
    // a new layout for every call.
    void BM_PangoLayoutMeasure(benchmark::State& state)
    {
        PangoFontMap* fontMap = pango_cairo_font_map_new();
        PangoContext* context = pango_font_map_create_context(fontMap);
        PangoFontDescription* description = pango_font_description_from_string("DejaVu Sans");
        pango_font_description_set_absolute_size(description, 18 * PANGO_SCALE);
        const LightweightString<char> label = OS()->utils()->toUTF8(kLabel);
        for (auto _ : state) {
            PangoLayout* layout = pango_layout_new(context);
            pango_layout_set_font_description(layout, description);
            pango_layout_set_text(layout, label.c_str(), -1);
            int width = 0;
            int height = 0;
            pango_layout_get_size(layout, &width, &height);
            benchmark::DoNotOptimize(width);
            g_object_unref(layout);
        }
        pango_font_description_free(description);
        g_object_unref(context);
        g_object_unref(fontMap);
    }
    BENCHMARK(BM_PangoLayoutMeasure);
}
