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

TEST_F(CgTranslatorTest, ErrorsAreListedWithTheLineTheAuthorWrote)
{
    const struct
    {
        const char* source;
        const char* entry;
        const char* expected;
    } cases[] = {
        {"float4 main() : COLOR\n{\n    float4 colour = 1;\n    return colour +;\n}\n", "main", "bad.fx(4) : error: "},
        {"// a comment\nfixed4 main(float2 uv : TEXCOORD0) : COLOR\n{\n\n    return shine(uv);\n}\n", "main",
         "bad.fx(5) : error: 'shine'"},
        // Uniform parameters moved out of the entry leave its lines where they were.
        {"float4 main(float2 uv : TEXCOORD0,\n uniform float gain,\n uniform float4 tint) : COLOR\n{\n  return undefinedName;\n}\n",
         "main", "bad.fx(5) : error: "},
        {"float4 other() : COLOR { return 1; }\n", "main", "bad.fx(1) : error: entry function 'main' not found"},
        {"float4 main(float4 tangent : BINORMAL) : COLOR { return tangent; }\n", "main",
         "bad.fx(1) : error: unsupported input semantic 'BINORMAL'"},
    };
    for (const auto& bad : cases)
        EXPECT_TRUE(contains(listing(bad.source, bad.entry), bad.expected));
}

TEST_F(CgTranslatorTest, GarbageIsAnErrorNotACrash)
{
    std::string garbage;
    for (int index = 0; index < 20000; ++index)
        garbage += static_cast<char>("{}()[];:<>=,.x0\"/*\n"[index * 7 % 19]);
    EXPECT_TRUE(contains(listing(garbage), "bad.fx("));
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
