#include "CgLibrary.h"

#include <cctype>
#include <map>
#include <vector>

namespace {

const std::string kPrefix = "kvcg_lib_";

// One overload of a helper. "@" in its text stands for kPrefix.
struct Overload
{
    std::string result;
    std::string parameters;
    std::string body;
    // The parameters' names, for the typed forms that call this overload.
    std::string arguments;
};

struct Helper
{
    // Called by Cg code under its own name; the others serve other helpers.
    bool cg = true;
    // Takes Cg's typed prefixes: f3tex2D is tex2D's first three components.
    bool typed = false;
    std::vector<Overload> overloads;
};

using Catalogue = std::map<std::string, Helper, std::less<>>;

// A helper's overloads as HLSL text. "$T", "$B" and "$I" stand for float, bool
// and int of one to four components, "$M" for square float matrices of two to
// four rows: such a definition gives one overload for each.
struct Definition
{
    const char* name;
    const char* result;
    const char* parameters;
    const char* body;
};

const Definition kFunctions[] = {
    {"trunc", "$T", "$T x", "return x < 0 ? -floor(-x) : floor(x);"},
    // glslang computes fmod with GLSL's mod, whose result has the sign of y.
    {"fmod", "$T", "$T x, $T y", "return x - y * @trunc(x / y);"},
    {"modf", "$T", "$T x, out $T whole", "whole = @trunc(x); return x - whole;"},
    // Two factors, so that neither overflows nor turns denormal at extreme exponents.
    {"ldexp", "$T", "$T x, $T exponent",
     "$T half = floor(exponent * 0.5); return x * exp2(half) * exp2(exponent - half);"},
    // log2 may land a step off next to a power of two: the mantissa says which way.
    {"frexp", "$T", "$T x, out $T exponent",
     "$T magnitude = abs(x); exponent = magnitude > 0 ? floor(log2(magnitude)) + 1 : 0; "
     "$T mantissa = @ldexp(x, -exponent); "
     "$T correction = $T(abs(mantissa) >= 1) - $T(abs(mantissa) < 0.5) * $T(magnitude > 0); "
     "exponent += correction; return @ldexp(mantissa, -correction);"},
    {"isnan", "$B", "$T x", "return x != x;"},
    {"isinf", "$B", "$T x", "return abs(x) > 3.402823466e+38;"},
    {"isfinite", "$B", "$T x", "return abs(x) <= 3.402823466e+38;"},
    {"sinh", "$T", "$T x", "return (exp(x) - exp(-x)) * 0.5;"},
    {"cosh", "$T", "$T x", "return (exp(x) + exp(-x)) * 0.5;"},
    // exp(2x) would overflow for large x: the formula runs on the negative side.
    {"tanh", "$T", "$T x",
     "$T small = exp(-2 * abs(x)); $T magnitude = (1 - small) / (1 + small); return x < 0 ? -magnitude : magnitude;"},
    {"determinant", "float", "$M m", "return dot(m[0], transpose(@adjugate(m))[0]);"},
    {"inverse", "$M", "$M m", "return @adjugate(m) / @determinant(m);"},
    // Cg's specular term is zero where the light is behind the surface.
    {"lit", "float4", "float NdotL, float NdotH, float m",
     "return float4(1, max(NdotL, 0), NdotL > 0 ? pow(max(NdotH, 0), m) : 0, 1);"},
    // Cg's debug output needs a debugging profile; elsewhere it does nothing.
    {"debug", "void", "float4 x", ""},
    {"floatToRawIntBits", "$I", "$T x", "return asint(x);"},
    {"floatToIntBits", "$I", "$T x", "return @isnan(x) ? 0x7fc00000 : asint(x);"},
    {"intBitsToFloat", "$T", "$I x", "return asfloat(x);"},
    {"pack_2half", "float", "float2 a", "return asfloat(@halfBits(a.x) | (@halfBits(a.y) << 16));"},
    {"unpack_2half", "float2", "float a",
     "uint bits = asuint(a); return float2(@halfValue(bits & 0xffff), @halfValue(bits >> 16));"},
    {"pack_2ushort", "float", "float2 a",
     "uint2 u = uint2(round(saturate(a) * 65535)); return asfloat(u.x | (u.y << 16));"},
    {"unpack_2ushort", "float2", "float a", "uint bits = asuint(a); return float2(bits & 0xffff, bits >> 16) / 65535;"},
    {"pack_4ubyte", "float", "float4 a", "return @packBytes(uint4(round(saturate(a) * 255)));"},
    {"unpack_4ubyte", "float4", "float a", "return float4(@unpackBytes(a)) / 255;"},
    // A byte of 0 is -128/127 and one of 255 is 1.
    {"pack_4byte", "float", "float4 a", "return @packBytes(uint4(round(clamp(a, -128.0 / 127, 1) * 127 + 128)));"},
    {"unpack_4byte", "float4", "float a", "return (float4(@unpackBytes(a)) - 128) / 127;"},
};

// Building blocks of the functions above.
const Definition kFunctionParts[] = {
    {"adjugate", "float2x2", "float2x2 m", "return float2x2(m[1][1], -m[0][1], -m[1][0], m[0][0]);"},
    {"adjugate", "float3x3", "float3x3 m",
     "return transpose(float3x3(cross(m[1], m[2]), cross(m[2], m[0]), cross(m[0], m[1])));"},
    // The cofactors from the 2x2 minors of the upper and of the lower two rows.
    {"adjugate", "float4x4", "float4x4 m",
     "float s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1]; float s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2]; "
     "float s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3]; float s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2]; "
     "float s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3]; float s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3]; "
     "float c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3]; float c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3]; "
     "float c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2]; float c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3]; "
     "float c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2]; float c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1]; "
     "return float4x4("
     "m[1][1] * c5 - m[1][2] * c4 + m[1][3] * c3, -m[0][1] * c5 + m[0][2] * c4 - m[0][3] * c3, "
     "m[3][1] * s5 - m[3][2] * s4 + m[3][3] * s3, -m[2][1] * s5 + m[2][2] * s4 - m[2][3] * s3, "
     "-m[1][0] * c5 + m[1][2] * c2 - m[1][3] * c1, m[0][0] * c5 - m[0][2] * c2 + m[0][3] * c1, "
     "-m[3][0] * s5 + m[3][2] * s2 - m[3][3] * s1, m[2][0] * s5 - m[2][2] * s2 + m[2][3] * s1, "
     "m[1][0] * c4 - m[1][1] * c2 + m[1][3] * c0, -m[0][0] * c4 + m[0][1] * c2 - m[0][3] * c0, "
     "m[3][0] * s4 - m[3][1] * s2 + m[3][3] * s0, -m[2][0] * s4 + m[2][1] * s2 - m[2][3] * s0, "
     "-m[1][0] * c3 + m[1][1] * c1 - m[1][2] * c0, m[0][0] * c3 - m[0][1] * c1 + m[0][2] * c0, "
     "-m[3][0] * s3 + m[3][1] * s1 - m[3][2] * s0, m[2][0] * s3 - m[2][1] * s1 + m[2][2] * s0);"},
    // IEEE half precision, rounded to nearest; beyond the largest half is infinity.
    {"halfBits", "uint", "float x",
     "uint bits = asuint(x); uint sign = (bits >> 16) & 0x8000; float magnitude = abs(x); "
     "if (magnitude != magnitude) return sign | 0x7e00; "
     "if (magnitude >= 65520.0) return sign | 0x7c00; "
     "if (magnitude < 6.103515625e-05) return sign | uint(round(magnitude * 16777216.0)); "
     "return sign | ((((bits >> 23) & 0xff) - 112) << 10) + (((bits & 0x7fffff) + 0x1000) >> 13);"},
    {"halfValue", "float", "uint bits",
     "uint exponent = (bits >> 10) & 0x1f; uint mantissa = bits & 0x3ff; "
     "float magnitude = exponent == 0 ? mantissa * 5.9604644775390625e-08 "
     ": exponent == 31 ? asfloat(mantissa == 0 ? 0x7f800000u : 0x7fc00000u) "
     ": asfloat(((exponent + 112) << 23) | (mantissa << 13)); "
     "return (bits & 0x8000) != 0 ? -magnitude : magnitude;"},
    {"packBytes", "float", "uint4 bytes",
     "return asfloat(bytes.x | (bytes.y << 8) | (bytes.z << 16) | (bytes.w << 24));"},
    {"unpackBytes", "uint4", "float a", "return (asuint(a) >> uint4(0, 8, 16, 24)) & 0xff;"},
};

// What tells the texture functions of one sampler type apart. Texture helpers
// are written with these placeholders:
//   $D name, $H HLSL's dimension, $S sampler, $C coordinate, $c the coordinate's components of a
//   longer vector, $0 zeros that fill it to three components, $P, $Q and $R
//   vectors one, two and three components longer, $p and $q the last
//   components of $P and $Q, $O texel coordinate and offset, $F a texel
//   coordinate with a level.
// A placeholder the sampler type lacks (null) drops the definitions using it.
struct Dimension
{
    const char* name;
    const char* hlsl; // the dimension of HLSL's sampling functions for it
    const char* sampler;
    const char* coordinate;
    const char* components;
    const char* zeros;
    const char* longer;
    const char* longerLast;
    const char* longer2;
    const char* longer2Last;
    const char* longer3;
    const char* texel;
    const char* texelWithLevel;
    // The body of texXsize(s, lod).
    const char* size;
    bool compare;   // has the cmpbias and cmplod forms
    bool rectangle;
    bool projective; // has the proj forms
};

const char kSize2D[] = "float width, height, levels; s.GetDimensions(lod, width, height, levels); "
                       "return int3(width, height, 0);";

const Dimension kDimensions[] = {
    {"1D", "1D", "sampler1D", "float", ".x", ", 0, 0", "float2", ".y", "float3", ".z", "float4", "int", "int2",
     "float width, levels; s.GetDimensions(lod, width, levels); return int3(width, 0, 0);", true, false, true},
    {"2D", "2D", "sampler2D", "float2", ".xy", ", 0", "float3", ".z", "float4", ".w", nullptr, "int2", "int3", kSize2D,
     true, false, true},
    {"3D", "3D", "sampler3D", "float3", ".xyz", "", "float4", ".w", nullptr, nullptr, nullptr, "int3", "int4",
     "float width, height, depth, levels; s.GetDimensions(lod, width, height, depth, levels); "
     "return int3(width, height, depth);",
     false, false, true},
    {"CUBE", "CUBE", "samplerCUBE", "float3", ".xyz", "", "float4", ".w", nullptr, nullptr, nullptr, nullptr, nullptr,
     kSize2D, false, false, true},
    // A rectangle has one level, and GLSL's textureSize of one takes none.
    {"RECT", "2D", "sampler2D", "float2", ".xy", ", 0", "float3", ".z", "float4", ".w", nullptr, "int2", "int3",
     "float width, height, levels; s.GetDimensions(0, width, height, levels); return int3(width, height, 0);", false,
     true, true},
    // Arrays stand in HLSL as the sampler with one more coordinate, the layer;
    // the translator makes them arrays again. The layer is not projected.
    {"1DARRAY", "2D", "sampler2D", "float2", ".xy", ", 0", "float3", ".z", "float4", ".w", nullptr, nullptr, nullptr,
     "float width, layers, levels; s.GetDimensions(lod, width, layers, levels); return int3(width, layers, 0);",
     true, false, false},
    {"2DARRAY", "3D", "sampler3D", "float3", ".xyz", "", "float4", ".w", nullptr, nullptr, nullptr, nullptr, nullptr,
     "float width, height, layers, levels; s.GetDimensions(lod, width, height, layers, levels); "
     "return int3(width, height, layers);",
     true, false, false},
};

// How each Cg texture function reaches the sampler: the HLSL intrinsics...
const Definition kSampling[] = {
    {"sample$D", "float4", "$S s, $C t", "return tex$H(s, t);"},
    {"grad$D", "float4", "$S s, $C t, $C dx, $C dy", "return tex$Hgrad(s, t, dx, dy);"},
    {"bias$D", "float4", "$S s, $C t, float bias", "return tex$Hbias(s, float4(t$0, bias));"},
    {"lod$D", "float4", "$S s, $C t, float lod", "return tex$Hlod(s, float4(t$0, lod));"},
    {"shift$D", "$C", "$S s, $C t, $O offset", "return t + offset / $C(@tex$Dsize(s, 0)$c);"},
    {"shift$D", "$O", "$S s, $O t, $O offset", "return t + offset;"},
    {"fetch$D", "float4", "$S s, $O t, int lod", "return s.Load($F(t, lod));"},
};

// ... or, for a rectangle, the translator's rectangle calls, in texels. One
// level leaves derivatives, bias and level nothing to choose.
const Definition kRectangleSampling[] = {
    {"sample$D", "float4", "$S s, $C t", "return tex2D(s, t);"},
    {"grad$D", "float4", "$S s, $C t, $C dx, $C dy", "return @sample$D(s, t);"},
    {"bias$D", "float4", "$S s, $C t, float bias", "return @sample$D(s, t);"},
    {"lod$D", "float4", "$S s, $C t, float lod", "return @sample$D(s, t);"},
    {"shift$D", "$C", "$S s, $C t, $O offset", "return t + offset;"},
    {"shift$D", "$O", "$S s, $O t, $O offset", "return t + offset;"},
    // The texel's centre samples that texel alone, with any filter.
    {"fetch$D", "float4", "$S s, $O t, int lod", "return @sample$D(s, t + 0.5);"},
};

// A Cg texture function: `primitive` above called on `coordinate` and `rest`,
// where the sampler type has that primitive. Each gets an overload with a
// texel offset where the type has them. Components past the coordinate are
// the depth that a shadow form compares, or nothing: every longer vector has
// its overload, so that none is ambiguous. A projection divides by the last.
struct Form
{
    const char* name;
    const char* parameters;
    const char* arguments;
    const char* primitive;
    const char* coordinate;
    const char* rest;
    bool compare = false;  // only where the sampler type has the compare forms
};

const Form kForms[] = {
    {"tex$D", "$C t", "t", "sample", "t", ""},
    {"tex$D", "$P t", "t", "sample", "t$c", ""},
    {"tex$D", "$Q t", "t", "sample", "t$c", ""},
    {"tex$D", "$R t", "t", "sample", "t$c", ""},
    {"tex$D", "$C t, $C dx, $C dy", "t, dx, dy", "grad", "t", ", dx, dy"},
    {"tex$D", "$P t, $C dx, $C dy", "t, dx, dy", "grad", "t$c", ", dx, dy"},
    {"tex$D", "$Q t, $C dx, $C dy", "t, dx, dy", "grad", "t$c", ", dx, dy"},
    {"tex$D", "$R t, $C dx, $C dy", "t, dx, dy", "grad", "t$c", ", dx, dy"},
    {"tex$Dgrad", "$C t, $C dx, $C dy", "t, dx, dy", "grad", "t", ", dx, dy"},
    {"tex$Dproj", "$P t", "t", "sample", "t$c / t$p", ""},
    {"tex$Dproj", "$Q t", "t", "sample", "t$c / t$q", ""},
    {"tex$Dproj", "$R t", "t", "sample", "t$c / t.w", ""},
    {"tex$Dbias", "float4 t", "t", "bias", "t$c", ", t.w"},
    {"tex$Dlod", "float4 t", "t", "lod", "t$c", ", t.w"},
    {"tex$Dfetch", "int4 t", "t", "fetch", "t$c", ", t.w"},
    {"tex$Dcmpbias", "float4 t", "t", "bias", "t$c", ", t.w", true},
    {"tex$Dcmplod", "float4 t", "t", "lod", "t$c", ", t.w", true},
};

std::string replaceAll(std::string text, std::string_view from, std::string_view to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

Overload replaced(Overload overload, std::string_view from, std::string_view to)
{
    for (std::string* text : {&overload.result, &overload.parameters, &overload.body, &overload.arguments})
        *text = replaceAll(std::move(*text), from, to);
    return overload;
}

bool mentions(const Overload& overload, std::string_view placeholder)
{
    for (const std::string* text : {&overload.result, &overload.parameters, &overload.body, &overload.arguments}) {
        if (text->find(placeholder) != std::string::npos)
            return true;
    }
    return false;
}

// The overload for each type its generic placeholders stand for.
std::vector<Overload> instances(const Overload& overload)
{
    if (mentions(overload, "$M")) {
        std::vector<Overload> matrices;
        for (const char* size : {"2", "3", "4"})
            matrices.push_back(replaced(overload, "$M", std::string("float") + size + "x" + size));
        return matrices;
    }
    if (!mentions(overload, "$T") && !mentions(overload, "$B") && !mentions(overload, "$I"))
        return {overload};
    std::vector<Overload> vectors;
    for (const char* size : {"", "2", "3", "4"}) {
        Overload sized = replaced(overload, "$T", std::string("float") + size);
        sized = replaced(std::move(sized), "$B", std::string("bool") + size);
        vectors.push_back(replaced(std::move(sized), "$I", std::string("int") + size));
    }
    return vectors;
}

void add(Catalogue& catalogue, const std::string& name, bool cg, bool typed, const Overload& overload)
{
    Helper& helper = catalogue[name];
    helper.cg = cg;
    helper.typed = typed;
    for (const Overload& instance : instances(overload))
        helper.overloads.push_back(replaced(instance, "@", kPrefix));
}

// The overload for one sampler type, or none when it needs what the type lacks.
bool forDimension(Overload& overload, std::string& name, const Dimension& dimension)
{
    const std::pair<const char*, const char*> placeholders[] = {
        {"$D", dimension.name},        {"$H", dimension.hlsl},            {"$S", dimension.sampler},         {"$C", dimension.coordinate},
        {"$c", dimension.components},  {"$0", dimension.zeros},           {"$P", dimension.longer},
        {"$p", dimension.longerLast},  {"$Q", dimension.longer2},         {"$q", dimension.longer2Last},
        {"$R", dimension.longer3},     {"$O", dimension.texel},           {"$F", dimension.texelWithLevel}};
    for (const auto& [placeholder, value] : placeholders) {
        if (!value && mentions(overload, placeholder))
            return false;
        if (value) {
            overload = replaced(std::move(overload), placeholder, value);
            name = replaceAll(std::move(name), placeholder, value);
        }
    }
    return true;
}

void addTextureFunctions(Catalogue& catalogue, const Dimension& dimension)
{
    for (const Definition& primitive : dimension.rectangle ? kRectangleSampling : kSampling) {
        Overload overload{primitive.result, primitive.parameters, primitive.body, {}};
        std::string name = primitive.name;
        if (forDimension(overload, name, dimension))
            add(catalogue, name, false, false, overload);
    }
    Overload size{"int3", "$S s, int lod", dimension.size, {}};
    std::string sizeName = "tex$Dsize";
    forDimension(size, sizeName, dimension);
    add(catalogue, sizeName, true, false, size);

    for (const Form& form : kForms) {
        if ((form.compare && !dimension.compare) || !catalogue.count(form.primitive + std::string(dimension.name)) ||
            (!dimension.projective && std::string_view(form.name).find("proj") != std::string_view::npos))
            continue;
        const std::string call = std::string("return @") + form.primitive + "$D(s, ";
        const Overload plain{"float4", std::string("$S s, ") + form.parameters,
                             call + form.coordinate + form.rest + ");", std::string("s, ") + form.arguments};
        const Overload offset{"float4", plain.parameters + ", $O offset",
                              call + "@shift$D(s, " + form.coordinate + ", offset)" + form.rest + ");",
                              plain.arguments + ", offset"};
        for (Overload overload : {plain, offset}) {
            std::string name = form.name;
            if (forDimension(overload, name, dimension))
                add(catalogue, name, true, true, overload);
        }
    }
}

const Catalogue& catalogue()
{
    static const Catalogue all = [] {
        Catalogue built;
        for (const Definition& function : kFunctions)
            add(built, function.name, true, false, {function.result, function.parameters, function.body, {}});
        for (const Definition& part : kFunctionParts)
            add(built, part.name, false, false, {part.result, part.parameters, part.body, {}});
        for (const Dimension& dimension : kDimensions)
            addTextureFunctions(built, dimension);
        return built;
    }();
    return all;
}

// The texture function that a typed name such as "h3texRECT" narrows, or
// empty when the name is none.
std::string_view typedBase(std::string_view name)
{
    if (name.size() < 3 || std::string_view("fhx").find(name[0]) == std::string_view::npos || name[1] < '1' ||
        name[1] > '4')
        return {};
    const auto found = catalogue().find(name.substr(2));
    return found != catalogue().end() && found->second.typed ? name.substr(2) : std::string_view();
}

// A helper's overloads, or for a typed name the base function's narrowed to
// the prefix's components.
std::vector<Overload> overloadsOf(std::string_view name)
{
    if (const auto found = catalogue().find(name); found != catalogue().end())
        return found->second.overloads;
    const std::string base(typedBase(name));
    if (base.empty())
        return {};
    static const char* const swizzles[] = {".x", ".xy", ".xyz", ".xyzw"};
    const int components = name[1] - '0';
    const std::string result = components == 1 ? "float" : "float" + std::string(1, name[1]);
    const std::string call = "return " + kPrefix + base + "(";
    const std::string narrowing = std::string(")") + swizzles[components - 1] + ";";
    std::vector<Overload> narrowed;
    for (const Overload& overload : catalogue().at(base).overloads)
        narrowed.push_back({result, overload.parameters, call + overload.arguments + narrowing, overload.arguments});
    return narrowed;
}

void emit(const std::string& name, std::set<std::string>& emitted, std::string& text)
{
    if (!emitted.insert(name).second)
        return;
    std::string own;
    for (const Overload& overload : overloadsOf(name))
        own += overload.result + " " + kPrefix + name + "(" + overload.parameters + ") { " + overload.body + " }\n";
    // The helpers it calls go first: HLSL calls only what it has seen.
    for (size_t at = own.find(kPrefix); at != std::string::npos; at = own.find(kPrefix, at + 1)) {
        size_t end = at + kPrefix.size();
        while (end < own.size() && (std::isalnum(static_cast<unsigned char>(own[end])) || own[end] == '_'))
            ++end;
        emit(own.substr(at + kPrefix.size(), end - at - kPrefix.size()), emitted, text);
    }
    text += own;
}

} // namespace

std::string CgLibrary::hlslName(std::string_view cgName)
{
    const auto found = catalogue().find(cgName);
    const bool known = found != catalogue().end() ? found->second.cg : !typedBase(cgName).empty();
    return known ? kPrefix + std::string(cgName) : std::string();
}

std::string CgLibrary::hlslCall(std::string_view cgName, std::size_t argumentCount)
{
    // HLSL's plain samples take the leading components of a longer coordinate
    // as Cg does; a helper there would hand a sampler to a function, which
    // costs the translation a legalising pass.
    const bool plainSample = argumentCount == 2 && (cgName == "tex2D" || cgName == "tex3D" || cgName == "texCUBE");
    return plainSample ? std::string() : hlslName(cgName);
}

std::string CgLibrary::prelude(const std::set<std::string>& calledCgNames)
{
    std::set<std::string> emitted;
    std::string text;
    for (const std::string& name : calledCgNames) {
        if (!hlslName(name).empty())
            emit(name, emitted, text);
    }
    return text;
}
