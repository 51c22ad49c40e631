#pragma once

#include "CgParser.h"

#include <string>
#include <string_view>
#include <vector>

// Translates one entry function of an effect's Cg code to GLSL 1.30, or 1.20
// for drivers without 1.30, for OpenGL's compatibility profile, through
// glslang's HLSL front end and SPIRV-Cross. Code that 1.20 cannot express
// (trunc, integer %, ...) is an error in the listing.
//
// The entry's inputs read the fixed-function stage's outputs (TEXCOORDn from
// gl_TexCoord[n], COLOR0 and COLOR1 from gl_Color and gl_SecondaryColor, WPOS and
// VPOS from gl_FragCoord) and its COLOR output is the fragment colour, so a pixel
// shader links with the fixed-function vertex stage. Parameters keep their Cg
// names as GLSL uniforms; float3x3 and float4x4 are set row-major (transpose
// false, a Cg row is a GLSL column). Arguments bound by `compile` go to the
// entry's uniform parameters in order.
//
// Safe to call from several threads at once. glslang may still crash
// on hostile input, so callers outside a compiler process must not feed it
// untrusted text.
class CgTranslator
{
public:
    enum class eStage { pixel, vertex };

    struct Translation
    {
        bool succeeded = false;
        std::string glsl;
        // Lines "fileName(line) : error: message", line in the given source.
        std::string listing;
    };

    // The vertex attribute a semantic without a fixed-function array reads
    // (NORMAL is 2, TANGENT 14, ATTRn is n): a program binds it at that index.
    static std::string attributeName(unsigned index);

    static Translation translate(std::string_view fileName, std::string_view source, std::string_view entry,
                                 eStage stage, const std::vector<std::string>& arguments,
                                 unsigned glslVersion = 130);
    // The same from a source read once for all of an effect's shaders: the
    // parse costs as much as the rest, and an effect may have thousands of
    // passes. The tree is only read, so threads may share it.
    static Translation translate(std::string_view fileName, const CgParser::Result& parsed, std::string_view entry,
                                 eStage stage, const std::vector<std::string>& arguments,
                                 unsigned glslVersion = 130);
};
