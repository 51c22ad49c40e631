#include "CgTranslator.h"

// glslang's C interface: its C++ classes have no RTTI for a sanitiser build.
#include <glslang/Include/glslang_c_interface.h>
#include <glslang/Public/resource_limits_c.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

::testing::AssertionResult contains(const std::string& text, const std::string& part)
{
    if (text.find(part) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

class CgTranslatorTest : public ::testing::Test
{
protected:
    // Translates and checks that the GLSL is valid for the compatibility
    // profile of its version, as a driver would see it.
    std::string translated(const std::string& source, CgTranslator::eStage stage = CgTranslator::eStage::pixel,
                           const std::vector<std::string>& arguments = {}, unsigned version = 130)
    {
        const CgTranslator::Translation translation =
            CgTranslator::translate("test.fx", source, "main", stage, arguments, version);
        EXPECT_TRUE(translation.succeeded) << translation.listing;
        EXPECT_TRUE(translation.listing.empty()) << translation.listing;
        const std::string versionLine = "#version " + std::to_string(version) + "\n";
        EXPECT_EQ(translation.glsl.rfind(versionLine, 0), 0u) << translation.glsl;
        glslang_initialize_process();
        glslang_input_t input{};
        input.language = GLSLANG_SOURCE_GLSL;
        input.stage = stage == CgTranslator::eStage::pixel ? GLSLANG_STAGE_FRAGMENT : GLSLANG_STAGE_VERTEX;
        input.client = GLSLANG_CLIENT_NONE;
        input.target_language = GLSLANG_TARGET_NONE;
        input.code = translation.glsl.c_str();
        input.default_version = int(version);
        input.default_profile = GLSLANG_COMPATIBILITY_PROFILE;
        input.messages = GLSLANG_MSG_DEFAULT_BIT;
        input.resource = glslang_default_resource();
        const std::unique_ptr<glslang_shader_t, decltype(&glslang_shader_delete)> shader(
            glslang_shader_create(&input), glslang_shader_delete);
        EXPECT_TRUE(glslang_shader_preprocess(shader.get(), &input) && glslang_shader_parse(shader.get(), &input))
            << glslang_shader_get_info_log(shader.get()) << translation.glsl;
        return translation.glsl;
    }

    std::string listing(const std::string& source, const std::string& entry = "main", unsigned version = 130)
    {
        const CgTranslator::Translation translation =
            CgTranslator::translate("bad.fx", source, entry, CgTranslator::eStage::pixel, {}, version);
        EXPECT_FALSE(translation.succeeded) << translation.glsl;
        return translation.listing;
    }
};

} // namespace

TEST_F(CgTranslatorTest, ConstantColourIsTheFragmentColour)
{
    const std::string glsl = translated("float4 main() : COLOR { return float4(1.0, 0.5, 0.25, 1.0); }\n");
    EXPECT_TRUE(contains(glsl, "gl_FragColor = "));
    EXPECT_TRUE(contains(glsl, "vec4(1.0, 0.5, 0.25, 1.0)"));
    EXPECT_EQ(glsl.find("\nout "), std::string::npos) << glsl;
}

TEST_F(CgTranslatorTest, EachTexcoordReadsItsFixedFunctionCoordinate)
{
    const std::string glsl = translated(R"(
float4 main(float4 t0 : TEXCOORD0, float2 t1 : TEXCOORD1, float3 t2 : TEXCOORD2, float t3 : TEXCOORD3,
            float4 t4 : TEXCOORD4, float4 t5 : TEXCOORD5, float4 t6 : TEXCOORD6, float4 t7 : TEXCOORD7) : COLOR
{
    return t0 + t1.xyxy + t2.xyzz + t3 + t4 + t5 + t6 + t7;
}
)");
    for (int unit = 0; unit < 8; ++unit)
        EXPECT_TRUE(contains(glsl, "gl_TexCoord[" + std::to_string(unit) + "]"));
    EXPECT_TRUE(contains(glsl, "gl_TexCoord[1].xy;"));
    EXPECT_TRUE(contains(glsl, "gl_TexCoord[3].x;"));
    EXPECT_EQ(glsl.find("\nin "), std::string::npos) << glsl;
}

TEST_F(CgTranslatorTest, ColoursAndWindowPositionReadFixedFunctionInputs)
{
    const std::string glsl = translated(R"(
float4 main(float4 primary : COLOR0, float4 secondary : COLOR1, float2 position : WPOS) : COLOR
{
    return primary * secondary + position.xyxy;
}
)");
    EXPECT_TRUE(contains(glsl, "= gl_Color;"));
    EXPECT_TRUE(contains(glsl, "= gl_SecondaryColor;"));
    EXPECT_TRUE(contains(glsl, "= gl_FragCoord.xy;"));
}

TEST_F(CgTranslatorTest, SamplersKeepTheirNamesAndEveryTexFormSamples)
{
    const std::string glsl = translated(R"(
sampler2D image;
sampler1D ramp;
float4 main(float2 uv : TEXCOORD0, float4 projected : TEXCOORD1) : COLOR
{
    return tex2D(image, uv) + tex1D(ramp, uv.x) + tex2Dproj(image, projected)
         + tex2D(image, uv, float2(0.1, 0.0), float2(0.0, 0.1));
}
)");
    EXPECT_TRUE(contains(glsl, "uniform sampler2D image;"));
    EXPECT_TRUE(contains(glsl, "uniform sampler1D ramp;"));
    EXPECT_TRUE(contains(glsl, "texture(image, "));
    EXPECT_TRUE(contains(glsl, "textureGrad(image, "));
}

TEST_F(CgTranslatorTest, RectangleSamplersUseUnnormalisedCoordinates)
{
    const std::string glsl = translated(R"(
samplerRECT frame;
float4 main(float2 uv : TEXCOORD0) : COLOR { return texRECT(frame, uv * 2.0); }
)");
    EXPECT_TRUE(contains(glsl, "#extension GL_ARB_texture_rectangle : require"));
    EXPECT_TRUE(contains(glsl, "uniform sampler2DRect frame;"));
    EXPECT_TRUE(contains(glsl, "texture2DRect(frame, "));
}

TEST_F(CgTranslatorTest, ParametersOfEveryTypeKeepTheirNames)
{
    const std::string glsl = translated(R"(
uniform float amount;
float2 offset;
float3 colour;
uniform float4 tint;
int count;
bool invert;
float3x3 rotation;
float4x4 transform;
float4 main(float2 uv : TEXCOORD0, uniform float gain) : COLOR
{
    float3 turned = mul(rotation, colour);
    float4 result = mul(transform, tint) * amount * gain + float4(turned, count) + offset.xyxy;
    return invert ? 1.0 - result : result;
}
)");
    for (const char* declaration : {"uniform float amount;", "uniform vec2 offset;", "uniform vec3 colour;",
                                    "uniform vec4 tint;", "uniform int count;", "uniform bool invert;",
                                    "uniform mat3 rotation;", "uniform mat4 transform;", "uniform float gain;"})
        EXPECT_TRUE(contains(glsl, declaration));
}

TEST_F(CgTranslatorTest, BoundArgumentsReplaceUniformParametersInOrder)
{
    const std::string glsl = translated(R"(
float4 main(float2 uv : TEXCOORD0, uniform float gain, uniform bool flip, uniform float bias) : COLOR
{
    return (flip ? float4(uv, 0, 1) * gain : float4(uv, 1, 1)) + bias;
}
)",
                                        CgTranslator::eStage::pixel, {"2.0", "true"});
    EXPECT_EQ(glsl.find("uniform float gain;"), std::string::npos) << glsl;
    EXPECT_EQ(glsl.find("uniform bool flip;"), std::string::npos) << glsl;
    EXPECT_TRUE(contains(glsl, "uniform float bias;"));
}

TEST_F(CgTranslatorTest, WritesToUniformsChangeAPrivateCopy)
{
    const std::string glsl = translated(R"(
uniform float4 tint;
float4 main(uniform float gain) : COLOR
{
    tint.rgb *= 2.0;
    gain += 1.0;
    return tint * gain;
}
)");
    EXPECT_TRUE(contains(glsl, "uniform vec4 tint;"));
    EXPECT_TRUE(contains(glsl, "uniform float gain;"));
    EXPECT_EQ(glsl.find("tint.xyz *="), std::string::npos) << glsl;
}

TEST_F(CgTranslatorTest, CgOnlyTypesAndHlslKeywordNamesTranslate)
{
    const std::string glsl = translated(R"(
uniform half line;
fixed4 shade(fixed3 colour, half2x2 point) { return fixed4(colour * point[0][1], 0.5x); }
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    half3 sample = half3(uv, line);
    return shade(sample, half2x2(1, 2, 3, 1)) * line;
}
)");
    EXPECT_TRUE(contains(glsl, "uniform float line;"));
}

TEST_F(CgTranslatorTest, StaticArraysStructsAndOutParametersTranslate)
{
    const std::string glsl = translated(R"(
static const float weights[3] = { 0.25, 0.5, 0.25 };
struct Sample { float4 colour; float weight; };
sampler2D image;
void blur(float2 uv, out Sample result)
{
    result.colour = 0;
    result.weight = 0;
    for (int tap = 0; tap < 3; tap++) {
        result.colour += tex2D(image, uv + float2(tap - 1, 0) * 0.01) * weights[tap];
        result.weight += weights[tap];
    }
}
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    Sample result;
    blur(uv, result);
    return result.colour / result.weight;
}
)");
    EXPECT_TRUE(contains(glsl, "0.25"));
    EXPECT_TRUE(contains(glsl, "gl_FragColor = "));
}

TEST_F(CgTranslatorTest, VertexProgramFeedsTheFixedFunctionFragmentStage)
{
    const std::string glsl = translated(R"(
float4x4 modelViewProjection;
void main(float4 position : POSITION, float4 uv : TEXCOORD0,
          out float4 clip : POSITION, out float2 coordinate : TEXCOORD0)
{
    clip = mul(modelViewProjection, position);
    coordinate = uv.xy;
}
)",
                                        CgTranslator::eStage::vertex);
    EXPECT_TRUE(contains(glsl, "gl_Vertex"));
    EXPECT_TRUE(contains(glsl, "gl_MultiTexCoord0"));
    EXPECT_TRUE(contains(glsl, "gl_Position = "));
    EXPECT_TRUE(contains(glsl, "gl_TexCoord[0] = vec4("));
    EXPECT_TRUE(contains(glsl, "uniform mat4 modelViewProjection;"));
}

TEST_F(CgTranslatorTest, SyntaxErrorIsListedWithItsLine)
{
    const std::string errors = listing("float4 main() : COLOR\n{\n    float4 colour = 1;\n    return colour +;\n}\n");
    EXPECT_EQ(errors.rfind("bad.fx(4) : error: ", 0), 0u) << errors;
}

TEST_F(CgTranslatorTest, UnknownFunctionIsListedWithItsLineAndName)
{
    const std::string errors =
        listing("// a comment\nfixed4 main(float2 uv : TEXCOORD0) : COLOR\n{\n\n    return shine(uv);\n}\n");
    EXPECT_EQ(errors.rfind("bad.fx(5) : error: ", 0), 0u) << errors;
    EXPECT_TRUE(contains(errors, "shine"));
}

TEST_F(CgTranslatorTest, ErrorsAfterARewrittenEntryKeepTheirLines)
{
    const std::string errors = listing(
        "float4 main(float2 uv : TEXCOORD0,\n uniform float gain,\n uniform float4 tint) : COLOR\n{\n  return undefinedName;\n}\n");
    EXPECT_EQ(errors.rfind("bad.fx(5) : error: ", 0), 0u) << errors;
}

TEST_F(CgTranslatorTest, MissingEntryFunctionIsAnError)
{
    const std::string errors = listing("float4 other() : COLOR { return 1; }\n", "main");
    EXPECT_TRUE(contains(errors, "bad.fx(1) : error: "));
    EXPECT_TRUE(contains(errors, "'main'"));
}

TEST_F(CgTranslatorTest, GarbageIsAnErrorNotACrash)
{
    std::string garbage;
    for (int index = 0; index < 20000; ++index)
        garbage += static_cast<char>("{}()[];:<>=,.x0\"/*\n"[index * 7 % 19]);
    EXPECT_TRUE(contains(listing(garbage), "bad.fx("));
}

TEST_F(CgTranslatorTest, InputWithoutAFixedFunctionSourceIsAnError)
{
    const std::string errors = listing("float4 main(float4 tangent : BINORMAL) : COLOR { return tangent; }\n");
    EXPECT_TRUE(contains(errors, "bad.fx(1) : error: unsupported input semantic 'BINORMAL'"));
}

TEST_F(CgTranslatorTest, Glsl120SamplesWithItsOwnTextureFunctions)
{
    const std::string glsl = translated(R"(
sampler2D image;
sampler3D volume;
samplerCUBE sky;
samplerRECT frame;
float4 main(float2 uv : TEXCOORD0, float4 projected : TEXCOORD1) : COLOR
{
    return tex2D(image, uv) + tex2Dproj(image, projected) + tex3D(volume, projected.xyz)
         + texCUBE(sky, projected.xyz) + tex2Dlod(image, float4(uv, 0, 1)) + texRECT(frame, uv * 4.0);
}
)",
                                        CgTranslator::eStage::pixel, {}, 120);
    for (const char* call : {"texture2D(image, ", "texture3D(volume, ", "textureCube(sky, ",
                             "texture2DLod(image, ", "texture2DRect(frame, "})
        EXPECT_TRUE(contains(glsl, call));
    EXPECT_EQ(glsl.find("texture("), std::string::npos) << glsl;
    EXPECT_EQ(glsl.find("varying "), std::string::npos) << glsl;
}

TEST_F(CgTranslatorTest, Glsl120KeepsParameterTypesWithoutUnsignedIntegers)
{
    const std::string glsl = translated(R"(
bool invert;
uniform bool2 flags;
int count;
float4x4 transform;
float4 main(float4 uv : TEXCOORD0, uniform bool flip) : COLOR
{
    invert = invert && flags.y;
    float4 result = mul(transform, uv) + count;
    return (flip || invert) ? 1.0 - result : result;
}
)",
                                        CgTranslator::eStage::pixel, {}, 120);
    for (const char* declaration : {"uniform bool invert;", "uniform bvec2 flags;", "uniform int count;",
                                    "uniform mat4 transform;", "uniform bool flip;"})
        EXPECT_TRUE(contains(glsl, declaration));
    EXPECT_EQ(glsl.find("uint"), std::string::npos) << glsl;
}

TEST_F(CgTranslatorTest, Glsl120RefusesWhatItCannotExpress)
{
    // The GLSL's lines mean nothing to the author: the entry's line stands for them.
    EXPECT_TRUE(contains(listing("// integer remainder\nfloat4 main(float2 uv : TEXCOORD0) : COLOR { return int(uv.x * 8) % 3; }\n",
                                 "main", 120),
                         "bad.fx(2) : error: not expressible in GLSL 1.20: '%'"));
    EXPECT_TRUE(contains(listing("float4 main() : COLOR { return 1; }\n", "main", 140),
                         "bad.fx(1) : error: GLSL 140 is not a translation target (120 or 130)"));
}

TEST_F(CgTranslatorTest, NamesThatHlslReservesAreCgNamesEverywhere)
{
    for (const char* name : {"texture", "sampler", "string", "pass", "technique", "compile", "decl", "vector",
                             "matrix", "half", "fixed", "point", "line", "sample", "register", "Texture2D",
                             "SamplerState", "cbuffer", "switch", "interface", "unsigned"}) {
        SCOPED_TRACE(name);
        const std::string n = name;
        translated("struct S_" + n + " { float4 " + n + "; };\n"
                   "float4 f_" + n + "(float4 " + n + ") { return " + n + " * 0.5; }\n"
                   "float " + n + "_fn(S_" + n + " s) { return s." + n + ".x; }\n"
                   "uniform float4 " + n + ";\n"
                   "float4 main(float2 uv : TEXCOORD0) : COLOR\n{\n"
                   "    S_" + n + " s; s." + n + " = " + n + ";\n"
                   "    float4 copy = f_" + n + "(s." + n + ");\n"
                   "    return copy + " + n + "_fn(s);\n}\n");
    }
}

TEST_F(CgTranslatorTest, AssemblyIsAnErrorOnlyWhereTheEntryReachesIt)
{
    const std::string source = "float4 old() : COLOR\n{\n    asm { MOV result.color, 1; }\n    return 1;\n}\n"
                               "float4 main() : COLOR { return 0.5; }\n"
                               "float4 viaOld() : COLOR { return old(); }\n";
    EXPECT_TRUE(CgTranslator::translate("test.fx", source, "main", CgTranslator::eStage::pixel, {}).succeeded);
    EXPECT_TRUE(contains(listing(source, "viaOld"), "bad.fx(3) : error: assembly blocks are not supported"));
}

TEST_F(CgTranslatorTest, DeepNestingIsAnErrorNotAStackOverflow)
{
    const std::string deep = "float4 main() : COLOR { return " + std::string(100000, '(') + "1" +
                             std::string(100000, ')') + "; }\n";
    EXPECT_TRUE(contains(listing(deep), "nested too deeply"));
}

TEST_F(CgTranslatorTest, StatementsAndDeclarationsOfCgTranslate)
{
    translated(R"(
struct PixelOut { float4 colour : COLOR0; float depth : DEPTH; };
float4 twice(float4 x);
static inline float square(float x) { return x * x; }
struct Light { float3 direction; float4 colour; };
PixelOut main(float2 uv : texcoord0, float4 c : color, uniform float gain, uniform float4x4 unused : state.matrix.mvp)
{
    PixelOut result = (PixelOut)0;
    Light lights[2];
    lights[0].direction = float3(1, 0, 0);
    lights[0].colour = c;
    lights[1] = lights[0];
    if (uv.x < 0) discard;
    clip(uv.y + 1);
    for (int i = 0, j = 2; i < j; ++i) lights[i].colour *= 0.5;
    switch (int(gain)) { case 0: result.colour = 0; break; default: result.colour = twice(lights[1].colour); break; }
    do { result.depth = square(0.5); } while (false);
    return result;
}
float4 twice(float4 x) { return x * 2; }
)");
}
