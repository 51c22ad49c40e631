#include "OS.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <cstring>
#include <string>

namespace
{
    constexpr std::size_t kTextBytes = 1 << 20;

    // Words of an editor's projects in many languages. The weights below make
    // the text mostly ASCII, as names and paths are, with a fair share of
    // two-byte (Latin, Greek, Cyrillic), three-byte (CJK, Hangul) and a few
    // four-byte (emoji, music) characters.
    const char* const kAsciiWords[] = {"timeline", "clip", "render", "export", "frame", "audio", "track", "project",
                                       "marker", "Scene_12", "take", "colour", "v2.mov", "/media/footage", "fade"};
    const char* const kTwoByteWords[] = {"café", "résumé", "Müller", "señor", "Überblick", "naïve", "crème",
                                         "Łódź", "ångström", "монтаж", "кадр", "Ελλάδα", "Straße"};
    const char* const kThreeByteWords[] = {"编辑", "時間軸", "動画", "音声", "プロジェクト", "렌더링", "字幕", "素材"};
    const char* const kFourByteWords[] = {"🎬", "👍", "😀", "🎵", "𝄞", "🚀"};

    template <std::size_t count>
    const char* pick(const char* const (&words)[count], unsigned random)
    {
        return words[random % count];
    }

    // Whole words until the next would not fit, then ASCII padding: no
    // character is ever cut, and the size is exact.
    std::string buildMixedText()
    {
        std::string text;
        unsigned seed = 12345;
        for (;;) {
            seed = seed * 1103515245u + 12345u;
            const unsigned random = seed >> 8;
            const unsigned weight = random % 100;
            const char* word = weight < 70   ? pick(kAsciiWords, random / 100)
                               : weight < 85 ? pick(kTwoByteWords, random / 100)
                               : weight < 97 ? pick(kThreeByteWords, random / 100)
                                             : pick(kFourByteWords, random / 100);
            if (text.size() + std::strlen(word) + 1 > kTextBytes)
                break;
            text += word;
            text += random % 16 == 0 ? '\n' : ' ';
        }
        text.resize(kTextBytes, ' ');
        return text;
    }

    const std::string& mixedText()
    {
        static const std::string text = buildMixedText();
        return text;
    }

    const LightweightString<wchar_t>& mixedWideText()
    {
        static const LightweightString<wchar_t> wide = [] {
            glong length = 0;
            gunichar* decoded = g_utf8_to_ucs4_fast(mixedText().c_str(), glong(mixedText().size()), &length);
            LightweightString<wchar_t> result(reinterpret_cast<const wchar_t*>(decoded), unsigned(length));
            g_free(decoded);
            return result;
        }();
        return wide;
    }

    bool sameAsGlibBothWays()
    {
        const std::string& text = mixedText();
        glong wideLength = 0;
        gunichar* wide = g_utf8_to_ucs4_fast(text.c_str(), glong(text.size()), &wideLength);
        const LightweightString<wchar_t> ours = OS()->utils()->fromUTF8(text.c_str(), int(text.size()));
        const bool decodedAlike = static_cast<glong>(ours.size()) == wideLength &&
                                  std::memcmp(ours.c_str(), wide, std::size_t(wideLength) * sizeof(gunichar)) == 0;

        glong narrowLength = 0;
        gchar* narrow = g_ucs4_to_utf8(wide, wideLength, nullptr, &narrowLength, nullptr);
        const LightweightString<char> oursNarrow = OS()->utils()->toUTF8(mixedWideText());
        const bool encodedAlike = narrow && static_cast<glong>(oursNarrow.size()) == narrowLength &&
                                  std::memcmp(oursNarrow.c_str(), narrow, std::size_t(narrowLength)) == 0 &&
                                  text == oursNarrow.c_str();
        g_free(narrow);
        g_free(wide);
        return decodedAlike && encodedAlike;
    }

    // Checked once for the whole run, before any timing: a fast conversion
    // that gives other text is worth nothing.
    bool conversionsAgree(benchmark::State& state)
    {
        static const bool agree = sameAsGlibBothWays();
        if (!agree)
            state.SkipWithError("UTF-8 conversions differ from GLib's");
        return agree;
    }

    void BM_FromUTF8(benchmark::State& state)
    {
        if (!conversionsAgree(state))
            return;
        const std::string& text = mixedText();
        for (auto _ : state) {
            LightweightString<wchar_t> wide = OS()->utils()->fromUTF8(text.c_str(), int(text.size()));
            benchmark::DoNotOptimize(wide);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
    }

    void BM_GlibUtf8ToUcs4Fast(benchmark::State& state)
    {
        if (!conversionsAgree(state))
            return;
        const std::string& text = mixedText();
        for (auto _ : state) {
            glong length = 0;
            gunichar* wide = g_utf8_to_ucs4_fast(text.c_str(), glong(text.size()), &length);
            benchmark::DoNotOptimize(wide);
            g_free(wide);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
    }

    void BM_ToUTF8(benchmark::State& state)
    {
        if (!conversionsAgree(state))
            return;
        const LightweightString<wchar_t>& wide = mixedWideText();
        for (auto _ : state) {
            LightweightString<char> narrow = OS()->utils()->toUTF8(wide);
            benchmark::DoNotOptimize(narrow);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(mixedText().size()));
    }

    void BM_GlibUcs4ToUtf8(benchmark::State& state)
    {
        if (!conversionsAgree(state))
            return;
        const LightweightString<wchar_t>& wide = mixedWideText();
        for (auto _ : state) {
            glong length = 0;
            gchar* narrow = g_ucs4_to_utf8(reinterpret_cast<const gunichar*>(wide.c_str()), glong(wide.size()),
                                           nullptr, &length, nullptr);
            benchmark::DoNotOptimize(narrow);
            g_free(narrow);
        }
        state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(mixedText().size()));
    }
}

BENCHMARK(BM_FromUTF8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GlibUtf8ToUcs4Fast)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ToUTF8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GlibUcs4ToUtf8)->Unit(benchmark::kMicrosecond);
