#include "CgTranslator.h"
#include "OpenGLRequired.h"
#include "SurfacelessGL.h"

// glslang's C interface: its C++ classes have no RTTI for a sanitiser build.
#include <glslang/Include/glslang_c_interface.h>
#include <glslang/Public/resource_limits_c.h>

#include <gtest/gtest.h>

#include <cmath>
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

using Float4 = SurfacelessGL::Float4;

// Pixel shaders translated, linked with the fixed-function vertex stage and
// drawn on a small quad; the pixels read back are the CPU's values.
class CgTranslatorDrawTest : public CgTranslatorTest
{
protected:
    void SetUp() override
    {
        gl_ = std::make_unique<SurfacelessGL>(4, 4);
        REQUIRE_OPENGL(gl_->available(), gl_->unavailableReason());
    }

    void use(const std::string& source, unsigned version = 130)
    {
        const std::string glsl = translated(source, CgTranslator::eStage::pixel, {}, version);
        std::string log;
        ASSERT_TRUE(gl_->useFragmentShader(glsl, log)) << log << glsl;
    }

    // Within one step of an 8-bit channel, with room for the driver's rounding.
    ::testing::AssertionResult everyPixelIs(const Float4& expected)
    {
        for (int y = 0; y < gl_->height(); ++y) {
            for (int x = 0; x < gl_->width(); ++x) {
                const Float4 drawn = gl_->pixel(x, y);
                for (std::size_t channel = 0; channel < 4; ++channel) {
                    if (std::fabs(drawn[channel] - expected[channel]) > 1.0f / 255.0f + 1e-4f)
                        return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") channel " << channel
                                                             << " is " << drawn[channel] << ", expected "
                                                             << expected[channel];
                }
            }
        }
        return ::testing::AssertionSuccess();
    }

    std::unique_ptr<SurfacelessGL> gl_;
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

TEST_F(CgTranslatorTest, ErrorsAreListedWithTheLineTheAuthorWrote)
{
    std::string garbage;
    for (int index = 0; index < 20000; ++index)
        garbage += static_cast<char>("{}()[];:<>=,.x0\"/*\n"[index * 7 % 19]);
    const std::string assembly = "float4 old() : COLOR\n{\n    asm { MOV result.color, 1; }\n    return 1;\n}\n"
                                 "float4 main() : COLOR { return 0.5; }\n"
                                 "float4 viaOld() : COLOR { return old(); }\n";
    const struct
    {
        std::string source;
        const char* entry;
        unsigned version;
        const char* expected;
    } cases[] = {
        {"float4 main() : COLOR\n{\n    float4 colour = 1;\n    return colour +;\n}\n", "main", 130,
         "bad.fx(4) : error: "},
        {"// a comment\nfixed4 main(float2 uv : TEXCOORD0) : COLOR\n{\n\n    return shine(uv);\n}\n", "main", 130,
         "bad.fx(5) : error: 'shine'"},
        // Uniform parameters moved out of the entry leave its lines where they were.
        {"float4 main(float2 uv : TEXCOORD0,\n uniform float gain,\n uniform float4 tint) : COLOR\n{\n  return undefinedName;\n}\n",
         "main", 130, "bad.fx(5) : error: "},
        {"float4 other() : COLOR { return 1; }\n", "main", 130, "bad.fx(1) : error: entry function 'main' not found"},
        {"float4 main(float4 tangent : BINORMAL) : COLOR { return tangent; }\n", "main", 130,
         "bad.fx(1) : error: unsupported input semantic 'BINORMAL'"},
        {garbage, "main", 130, "bad.fx("},
        {"float4 main() : COLOR { return " + std::string(100000, '(') + "1" + std::string(100000, ')') + "; }\n", "main",
         130, "nested too deeply"},
        // The GLSL's lines mean nothing to the author: the entry's line stands for them.
        {"// integer remainder\nfloat4 main(float2 uv : TEXCOORD0) : COLOR { return int(uv.x * 8) % 3; }\n", "main", 120,
         "bad.fx(2) : error: not expressible in GLSL 1.20: '%'"},
        {"float4 main() : COLOR { return 1; }\n", "main", 140,
         "bad.fx(1) : error: GLSL 140 is not a translation target (120 or 130)"},
        // Assembly is an error only where the entry reaches it.
        {assembly, "viaOld", 130, "bad.fx(3) : error: assembly blocks are not supported"},
    };
    for (const auto& bad : cases)
        EXPECT_TRUE(contains(listing(bad.source, bad.entry, bad.version), bad.expected));
    EXPECT_TRUE(CgTranslator::translate("test.fx", assembly, "main", CgTranslator::eStage::pixel, {}).succeeded);
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

TEST_F(CgTranslatorDrawTest, EachTexcoordReadsTheLeadingComponentsOfItsOwnUnit)
{
    // Every unit carries a different coordinate, so a shader reading the wrong
    // unit draws the wrong colour.
    SurfacelessGL::Corner corner;
    for (std::size_t unit = 0; unit < 8; ++unit) {
        const float step = static_cast<float>(unit) / 8.0f;
        corner.texCoords[unit] = {step, 1.0f - step, 0.5f * step + 0.125f, 0.0625f + step};
    }
    const char* const types[] = {"float4", "float3", "float2", "float"};
    const char* const padding[] = {"", ", 1", ", 0, 1", ", 0, 0, 1"};
    for (std::size_t unit = 0; unit < 8; ++unit) {
        const std::size_t narrowing = unit % 4;
        SCOPED_TRACE(std::string(types[narrowing]) + " : TEXCOORD" + std::to_string(unit));
        ASSERT_NO_FATAL_FAILURE(use("float4 main(" + std::string(types[narrowing]) + " t : TEXCOORD" +
                                    std::to_string(unit) + ") : COLOR { return float4(t" + padding[narrowing] + "); }\n"));
        gl_->drawQuad(corner);
        Float4 expected = corner.texCoords[unit];
        for (std::size_t channel = 4 - narrowing; channel < 4; ++channel)
            expected[channel] = channel == 3 ? 1.0f : 0.0f;
        EXPECT_TRUE(everyPixelIs(expected));
    }
}

TEST_F(CgTranslatorDrawTest, Glsl120SamplesAndReadsBoolIntAndMatrixUniforms)
{
    ASSERT_NO_FATAL_FAILURE(use(R"(
sampler2D image;
uniform float4x4 transform;
uniform bool invert;
uniform int count;
float3 main(float2 uv : TEXCOORD0, float4 v : TEXCOORD1) : COLOR
{
    float3 texel = tex2D(image, uv).rgb;
    return invert ? 1.0 - texel : texel * mul(transform, v).xyz * count / 4;
}
)",
                                120));
    const std::vector<std::uint8_t> texel{64, 128, 192, 255};
    ASSERT_TRUE(gl_->bindTexture("image", 0, 1, 1, texel));
    const std::array<float, 16> rows{0.5f, 0.25f, 0.0f, 0.0f, //
                                     0.0f, 0.5f, 0.5f, 0.0f, //
                                     0.25f, 0.0f, 0.0f, 1.0f, //
                                     0.0f, 0.0f, 0.0f, 1.0f};
    ASSERT_TRUE(gl_->setMatrix4RowMajor("transform", rows));
    ASSERT_TRUE(gl_->setInt("count", 2));
    SurfacelessGL::Corner corner;
    corner.texCoords[1] = {1.0f, 0.5f, 0.25f, 0.75f};
    Float4 expected{0.0f, 0.0f, 0.0f, 1.0f};
    for (std::size_t row = 0; row < 3; ++row) {
        float moved = 0.0f;
        for (std::size_t column = 0; column < 4; ++column)
            moved += rows[row * 4 + column] * corner.texCoords[1][column];
        expected[row] = static_cast<float>(texel[row]) / 255.0f * moved * 2.0f / 4.0f;
    }
    for (const int invert : {0, 1}) {
        ASSERT_TRUE(gl_->setInt("invert", invert));
        gl_->drawQuad(corner);
        EXPECT_TRUE(everyPixelIs(invert ? Float4{1.0f - 64.0f / 255.0f, 1.0f - 128.0f / 255.0f, 1.0f - 192.0f / 255.0f, 1.0f}
                                        : expected));
    }
}
