#pragma once

#include "GPUFontBase.h"
#include "Ptr.h"

// A GPU font whose texts are measured, and drawn on the host, by a host font:
// every iFont operation is that font's.
class HostMeasuredGPUFont : public GPUFontBase
{
public:
    Metrics getMetrics() const override;
    unsigned int getStyle() const override;
    XY<int> measure(const LightweightString<wchar_t>& text, short maxChars) const override;
    void measure(const LightweightString<wchar_t>& text, std::vector<int>& positions) const override;
    CharLocation locateCharacter(const LightweightString<wchar_t>& text, eCharSeekMethod method,
                                 unsigned int position) const override;
    CharLocation getCharacterUnderPixel(const LightweightString<wchar_t>& text, unsigned int pixel) const override;

protected:
    explicit HostMeasuredGPUFont(const Kv::Ptr<iFont>& hostFont) : hostFont(hostFont) {}

    // The font that draws on the host behind a GPU font, or the font itself:
    // a host renderer draws only host fonts.
    static Kv::Ptr<iFont> hostFontOf(const Kv::Ptr<iFont>& font);

    Kv::Ptr<iFont> hostFont;
};
