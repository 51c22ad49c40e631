#include "HostMeasuredGPUFont.h"

iFont::Metrics HostMeasuredGPUFont::getMetrics() const
{
    return hostFont->getMetrics();
}

unsigned int HostMeasuredGPUFont::getStyle() const
{
    return hostFont->getStyle();
}

XY<int> HostMeasuredGPUFont::measure(const LightweightString<wchar_t>& text, short maxChars) const
{
    return hostFont->measure(text, maxChars);
}

void HostMeasuredGPUFont::measure(const LightweightString<wchar_t>& text, std::vector<int>& positions) const
{
    hostFont->measure(text, positions);
}

iFont::CharLocation HostMeasuredGPUFont::locateCharacter(const LightweightString<wchar_t>& text,
                                                         eCharSeekMethod method, unsigned int position) const
{
    return hostFont->locateCharacter(text, method, position);
}

iFont::CharLocation HostMeasuredGPUFont::getCharacterUnderPixel(const LightweightString<wchar_t>& text,
                                                                unsigned int pixel) const
{
    return hostFont->getCharacterUnderPixel(text, pixel);
}

Kv::Ptr<iFont> HostMeasuredGPUFont::hostFontOf(const Kv::Ptr<iFont>& font)
{
    const Kv::Ptr<HostMeasuredGPUFont> gpuFont = Kv::dynamicCast<HostMeasuredGPUFont>(font);
    return gpuFont ? hostFontOf(gpuFont->hostFont) : font;
}
