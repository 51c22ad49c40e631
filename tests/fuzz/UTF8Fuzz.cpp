// Text conversions: the bytes decoded by fromUTF8, by length and up to their
// terminator, and read as wide characters for toUTF8. Valid UTF-8 must come
// back byte for byte, and so must text of Unicode characters.

#include "FuzzSupport.h"

#include "OS.h"

#include <cstring>

namespace
{
    bool isCharacter(wchar_t element)
    {
        const auto value = static_cast<std::uint32_t>(element);
        return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
    }

    bool same(const LightweightString<char>& text, const char* bytes, size_t size)
    {
        return text.size() == size && (size == 0 || std::memcmp(text.c_str(), bytes, size) == 0);
    }

    void decode(const std::string& bytes)
    {
        // The decoder looks one byte past the end: the terminator is part of its input.
        const LightweightString<wchar_t> wide = OS()->utils()->fromUTF8(bytes.c_str(), int(bytes.size()));
        expect(wide.size() <= bytes.size(), "no more characters than bytes");
        for (unsigned index = 0; index < wide.size(); ++index)
            expect(std::uint32_t(wide[index]) <= 0x10FFFF, "nothing above U+10FFFF");

        const size_t terminated = std::strlen(bytes.c_str());
        const LightweightString<wchar_t> upToTerminator = OS()->utils()->fromUTF8(bytes.c_str(), -1);
        expect(upToTerminator == OS()->utils()->fromUTF8(bytes.c_str(), int(terminated)),
               "a length of -1 is the length up to the terminator");

        if (!g_utf8_validate(bytes.c_str(), gssize(bytes.size()), nullptr))
            return;
        expect(wide.size() == unsigned(g_utf8_strlen(bytes.c_str(), gssize(bytes.size()))),
               "valid UTF-8 decodes to one element a character");
        expect(same(OS()->utils()->toUTF8(wide), bytes.c_str(), bytes.size()), "valid UTF-8 comes back as it was");
    }

    void encode(const uint8_t* data, size_t size)
    {
        // A string holds no zero element: push_back drops it.
        LightweightString<wchar_t> wide;
        bool characters = true;
        for (size_t at = 0; at + sizeof(wchar_t) <= size; at += sizeof(wchar_t)) {
            wchar_t element;
            std::memcpy(&element, data + at, sizeof element);
            characters = characters && (element == 0 || isCharacter(element));
            wide.push_back(element);
        }
        const LightweightString<char> utf8 = OS()->utils()->toUTF8(wide);
        if (!characters) {
            expect(utf8.empty(), "text that is not all characters gives no UTF-8");
            return;
        }
        expect(g_utf8_validate(utf8.c_str(), gssize(utf8.size()), nullptr), "toUTF8 writes valid UTF-8");
        const LightweightString<wchar_t> back = OS()->utils()->fromUTF8(utf8.c_str(), int(utf8.size()));
        expect(back.size() == wide.size() && back == wide, "characters come back as they were");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    decode(std::string(reinterpret_cast<const char*>(data), size));
    encode(data, size);
    return 0;
}
