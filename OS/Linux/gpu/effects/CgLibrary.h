#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

// The functions of Cg's standard library that glslang's HLSL front end lacks,
// spells differently or computes otherwise, as overloaded HLSL helper
// functions: HLSL picks an overload by argument type, scalars widen and
// vectors narrow as they do for its own intrinsics, and a call that matches
// no overload is glslang's error at the call's line.
//
// A translator renames each call of a name that hlslName() knows and puts
// prelude() of the names it renamed before the effect's code. Helpers never
// touch the Cg code's names: theirs begin with "kvcg_lib_". They are written
// with what GLSL 1.20 has wherever that can be done (trunc, isnan, sinh,
// ldexp, frexp, modf, fmod, determinant, ...); texel fetches, sizes, texel
// offsets, bit casts and packing need GLSL 1.30.
//
// Rectangle samplers reach the helpers as sampler2D: texRECT* helpers sample
// with texel coordinates and leave the GLSL's texture(s, ...) and
// textureSize(s, int(0u)) for the translator to make rectangle calls of.
// Shadow forms sample as OpenGL does with depth comparison off, the only
// state the renderer gives textures. Offsets move by texels of the base level.
//
// Stateless and safe to call from any thread.
class CgLibrary
{
public:
    // "kvcg_lib_" + cgName for a library name that needs a helper (frac needs
    // none: "tex2D" -> "kvcg_lib_tex2D", "f3texRECT" -> "kvcg_lib_f3texRECT"),
    // otherwise empty.
    static std::string hlslName(std::string_view cgName);
    // What a call with that many arguments should call: hlslName(), or empty
    // where HLSL's own function serves as well (tex2D(s, t) and the like).
    static std::string hlslCall(std::string_view cgName, std::size_t argumentCount);

    // The helpers that calls of these Cg names need, and the helpers they call
    // in turn, each defined before its first use. Names that need no helper
    // add nothing.
    static std::string prelude(const std::set<std::string>& calledCgNames);
};
