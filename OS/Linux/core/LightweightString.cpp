#include "LightweightString.h"

#include "iFileManager.h"

namespace
{
    constexpr wchar_t kDot = 0x2E;

    // Cuts at the last dot of the whole string: the scan does not stop at a separator.
    void cutExtension(LightweightString<wchar_t>& path)
    {
        for (unsigned i = path.size(); i-- > 0;) {
            if (path[i] == kDot) {
                path.resize(i);
                return;
            }
        }
    }
}

LightweightString<wchar_t> stripExtension(const LightweightString<wchar_t>& path)
{
    LightweightString<wchar_t> result = path;
    cutExtension(result);
    return result;
}

LightweightString<wchar_t> stripPathAndExt(const LightweightString<wchar_t>& path)
{
    LightweightString<wchar_t> result = path;
    const wchar_t separator = OS()->fileMgr()->getPathSeparator();
    for (unsigned i = path.size(); i-- > 0;) {
        if (path[i] == separator) {
            result = (i + 1 == path.size()) ? LightweightString<wchar_t>() : path.substr(i + 1, LightweightString<wchar_t>::npos);
            break;
        }
    }
    cutExtension(result);
    return result;
}

unsigned StringAsFourCC(const LightweightString<char>& text)
{
    unsigned code = 0;
    if (text.empty())
        return code;
    for (unsigned i = 0; i < 4; ++i) {
        const unsigned char byte = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
        code |= unsigned(byte) << (24 - 8 * i);
    }
    return code;
}
