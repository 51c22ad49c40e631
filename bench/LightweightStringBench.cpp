#include "OS.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{
    constexpr unsigned kCopiedLength = 64;
    constexpr unsigned kAppendedLength = 1000;

    // Never zero: push_back drops a zero element.
    wchar_t letterAt(unsigned index) { return wchar_t(L'a' + index % 26); }

    std::wstring copiedText()
    {
        std::wstring text;
        for (unsigned i = 0; i < kCopiedLength; ++i)
            text.push_back(letterAt(i));
        return text;
    }

    void BM_LightweightStringCopy(benchmark::State& state)
    {
        const LightweightString<wchar_t> original(copiedText().c_str());
        for (auto _ : state) {
            LightweightString<wchar_t> copy(original);
            benchmark::DoNotOptimize(copy);
        }
    }

    void BM_WstringCopy(benchmark::State& state)
    {
        const std::wstring original = copiedText();
        for (auto _ : state) {
            std::wstring copy(original);
            benchmark::DoNotOptimize(copy);
        }
    }

    void BM_LightweightStringPushBack(benchmark::State& state)
    {
        for (auto _ : state) {
            LightweightString<wchar_t> text;
            for (unsigned i = 0; i < kAppendedLength; ++i)
                text.push_back(letterAt(i));
            benchmark::DoNotOptimize(text);
            benchmark::ClobberMemory();
        }
    }

    void BM_WstringPushBack(benchmark::State& state)
    {
        for (auto _ : state) {
            std::wstring text;
            for (unsigned i = 0; i < kAppendedLength; ++i)
                text.push_back(letterAt(i));
            benchmark::DoNotOptimize(text);
            benchmark::ClobberMemory();
        }
    }
}

BENCHMARK(BM_LightweightStringCopy);
BENCHMARK(BM_WstringCopy);
BENCHMARK(BM_LightweightStringPushBack);
BENCHMARK(BM_WstringPushBack);
