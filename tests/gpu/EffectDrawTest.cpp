#include "GLSLEffect.h"
#include "OS.h"
#include "OpenGLRequired.h"
#include "SurfacelessGL.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

namespace {

using Float4 = SurfacelessGL::Float4;

constexpr int targetSize = 4;
// One step of an 8-bit channel, with room for the driver's rounding.
constexpr float tolerance = 1.0f / 255.0f + 1e-4f;

// The library's own text effect, as it compiles it.
const char kTextEffect[] =
    "texture Input;sampler LinearSampler = sampler_state { Texture = <Input>; };float4 FaceColour1;float4 "
    "clearTypeBlend( float2 xy1 : TEXCOORD1 ) : COLOR{   float4 src = tex2D( LinearSampler, xy1 );   float4 output = "
    "FaceColour1;   output.a = ( ( src.r + src.g + src.b ) / 3.0 ) * FaceColour1.a;   return output;}technique t1 { "
    "pass p1 { PixelShader = compile PROFILE clearTypeBlend(); } }";

// The first pass writes into Scratch, the second reads it back: written in
// reverse order in the file so that only the technique decides the order.
const char kTwoPassFunctions[] = R"(
float4 finish(float2 uv : TEXCOORD0) : COLOR
{
    float4 scratch = tex2D(ScratchSampler, uv);
    return float4(scratch.b, scratch.r * 0.5, scratch.g + 0.25, 1 - scratch.a * 0.5);
}

float4 prepare(float2 uv : TEXCOORD0) : COLOR
{
    return tex2D(InputSampler, uv) * Gain;
}
)";

const std::string kTwoPassEffect = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; };
texture Scratch : RENDERCOLORTARGET;
sampler2D ScratchSampler = sampler_state { Texture = <Scratch>; AddressU = Clamp; AddressV = Clamp; };
float4 Gain = {1, 0.5, 0.25, 1};
)" + std::string(kTwoPassFunctions) + R"(
technique TwoPass
{
    pass Prepare < string Script = "RenderColorTarget = Scratch; Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE prepare();
    }
    pass Finish < string Script = "RenderColorTarget0=; Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE finish();
    }
}
)";

// The same two passes as an FX Composer post-process effect writes them: an
// effect script, a technique script with a loop, passes that clear and draw,
// a render target described by annotations, declarations of several names.
const std::string kScriptedTwoPassEffect = R"(float Script : STANDARDSGLOBAL < string ScriptClass = "scene";
    string ScriptOrder = "postprocess"; string Script = "Technique=Technique?Main;"; > = 0.8;
float4 ClearColour < string UIWidget = "color"; > = {0, 0, 0, 0};
int Repeats = 1, Unused = 2 * 3;
texture Input, Scratch : RENDERCOLORTARGET < float2 ViewPortRatio = {1.0, 1.0}; string Format = ("A8R8G8B8"); >;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; },
          ScratchSampler = sampler_state { Texture = <Scratch>; AddressU = Clamp; AddressV = Clamp; };
float4 Gain = float4(1, 1.0 / 2.0, 0.25, 1);
)" + std::string(kTwoPassFunctions) + R"(
technique Main < string Script = "RenderColorTarget0=; LoopByCount=Repeats; Pass=Prepare; LoopEnd=;"
                                 "Pass=Finish; ScriptExternal=color;"; >
{
    pass Prepare < string Script = "RenderColorTarget0=Scratch;ClearSetColor=ClearColour;Clear=Color;Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE prepare();
    }
    pass Finish < string Script = "RenderColorTarget = ; Draw = Buffer;"; >
    {
        PixelShader = compile PROFILE finish();
    }
}
)";

const char kPositionAndSecondaryColourEffect[] = R"(float4 secondary(float4 primary : COLOR0, float4 second : COLOR1) : COLOR
{
    return float4(second.rgb * 0.5 + primary.rgb * 0.25, 1);
}

float4 windowPosition(float4 position : WPOS) : COLOR
{
    return float4(position.x / 8, position.y / 8, frac(position.x), 1);
}

float4 pixelPosition(float2 position : VPOS) : COLOR
{
    return float4(position.y / 8, position.x / 8, 0, 1);
}

technique Secondary { pass One { PixelShader = compile PROFILE secondary(); } }
technique Window { pass One { PixelShader = compile PROFILE windowPosition(); } }
technique Pixel { pass One { PixelShader = compile PROFILE pixelPosition(); } }
)";

std::string text(const Float4& colour)
{
    std::ostringstream stream;
    stream << "(" << colour[0] << ", " << colour[1] << ", " << colour[2] << ", " << colour[3] << ")";
    return stream.str();
}

float channel(std::uint8_t byte)
{
    return static_cast<float>(byte) / 255.0f;
}

std::uint8_t byteOf(float value)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f));
}

// A texel per target pixel, all different, so a misplaced sample shows.
std::vector<std::uint8_t> distinctTexels()
{
    std::vector<std::uint8_t> texels;
    for (int texel = 0; texel < targetSize * targetSize; ++texel) {
        const auto value = static_cast<std::uint8_t>(texel * 16);
        texels.insert(texels.end(), {value, static_cast<std::uint8_t>(255 - value), static_cast<std::uint8_t>(texel * 5),
                                     static_cast<std::uint8_t>(255 - texel * 9)});
    }
    return texels;
}

// A quad whose coordinates on the unit map texel for pixel.
std::array<SurfacelessGL::Corner, 4> texelForPixel(std::size_t unit)
{
    std::array<SurfacelessGL::Corner, 4> corners;
    corners[0].texCoords[unit] = {0.0f, 0.0f, 0.0f, 1.0f};
    corners[1].texCoords[unit] = {1.0f, 0.0f, 0.0f, 1.0f};
    corners[2].texCoords[unit] = {1.0f, 1.0f, 0.0f, 1.0f};
    corners[3].texCoords[unit] = {0.0f, 1.0f, 0.0f, 1.0f};
    return corners;
}

std::size_t firstByteOf(int x, int y)
{
    return static_cast<std::size_t>(y * targetSize + x) * 4;
}

// Whole effect files compiled through kvfxc into effects whose passes draw a
// small quad, with the test playing the renderer; the pixels read back are
// compared with the CPU's values.
class EffectDrawTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        gl_ = std::make_unique<SurfacelessGL>(targetSize, targetSize);
        REQUIRE_OPENGL(gl_->available(), gl_->unavailableReason());
        char folderTemplate[] = "/tmp/kvfxc-draw-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        cacheFolder_ = folderTemplate;
        cacheFolder_ += "/";
    }

    void TearDown() override
    {
        effect_.reset();
        if (!cacheFolder_.empty())
            std::filesystem::remove_all(cacheFolder_);
    }

    ::testing::AssertionResult compile(const std::string& source)
    {
        const EffectCompilerProcess compiler(KVFXC_PATH, cacheFolder_, std::chrono::seconds(20));
        GLSLEffect::Compilation compilation =
            GLSLEffect::compileBuffer(source, {{"PROFILE", "fp40"}}, "draw.fx", "/tmp/", compiler);
        effect_ = std::move(compilation.effect);
        if (!effect_)
            return ::testing::AssertionFailure() << compilation.listing;
        return ::testing::AssertionSuccess();
    }

    // The named technique, validated on the fixture's context.
    const GLSLEffect::Technique* technique(const std::string& name)
    {
        for (std::size_t index = 0; index < effect_->techniqueCount(); ++index) {
            if (effect_->technique(index).name != name)
                continue;
            EXPECT_TRUE(effect_->validateTechnique(index)) << effect_->technique(index).validationLog;
            return &effect_->technique(index);
        }
        ADD_FAILURE() << "no technique " << name;
        return nullptr;
    }

    void drawPass(const GLSLEffectPass& pass, const std::array<SurfacelessGL::Corner, 4>& corners)
    {
        pass.setState();
        pass.updateParameters();
        gl_->drawQuad(corners);
        pass.resetState();
    }
    void drawPass(const GLSLEffectPass& pass, const SurfacelessGL::Corner& everywhere = {})
    {
        drawPass(pass, {everywhere, everywhere, everywhere, everywhere});
    }

    ::testing::AssertionResult pixelIs(int x, int y, const Float4& expected)
    {
        const Float4 drawn = gl_->pixel(x, y);
        for (std::size_t component = 0; component < 4; ++component) {
            if (std::fabs(drawn[component] - expected[component]) > tolerance)
                return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") is " << text(drawn)
                                                     << ", expected " << text(expected);
        }
        return ::testing::AssertionSuccess();
    }

    // Through the library's effect: the technique's first pass draws into the
    // texture its script names, the second reads that texture back into the target.
    void drawTwoPasses(const std::string& source, const char* techniqueName)
    {
        iMediaServices* media = OS()->mediaServices();
        const ShaderCompilationOutput compiled = media->compileFXFileFromBuffer(source.c_str(), {});
        ASSERT_TRUE(compiled.effect) << (compiled.errors.empty() ? "" : compiled.errors[0].message.c_str());
        ASSERT_TRUE(compiled.effect->setTechnique(techniqueName));
        const std::vector<std::uint8_t> input = distinctTexels();
        const Kv::Ptr<iHostImage> host = media->createHostSurface({targetSize, targetSize});
        {
            const Kv::Ptr<iPixelGuard> pixels = host->lock();
            for (std::size_t texel = 0; texel < input.size(); texel += 4)
                for (const std::size_t component : {0, 1, 2, 3}) // RGBA into BGRA
                    pixels->getPixels()[texel + (component == 3 ? 3 : 2 - component)] = input[texel + component];
        }
        iShaderEffect::Source texture("Input", media->copyToGPU(host));
        const Kv::Ptr<iGPUImage> drawn = compiled.effect->render({targetSize, targetSize}, {texture}, iGPUImage::eBGRA8);
        const Kv::Ptr<iPixelGuard> pixels = media->copyToHost(drawn)->lock();
        const float gain[] = {1, 0.5f, 0.25f, 1};
        for (std::size_t texel = 0; texel < input.size(); texel += 4) {
            float scratch[4];
            for (std::size_t component = 0; component < 4; ++component)
                scratch[component] = channel(byteOf(channel(input[texel + component]) * gain[component]));
            const unsigned char* bgra = pixels->getPixels() + texel;
            const Float4 expected{scratch[2], scratch[0] * 0.5f, std::min(scratch[1] + 0.25f, 1.0f),
                                  1.0f - scratch[3] * 0.5f};
            const Float4 got{channel(bgra[2]), channel(bgra[1]), channel(bgra[0]), channel(bgra[3])};
            for (std::size_t component = 0; component < 4; ++component)
                EXPECT_NEAR(got[component], expected[component], tolerance) << "texel " << texel / 4;
        }
    }

    std::unique_ptr<SurfacelessGL> gl_;
    std::string cacheFolder_;
    std::unique_ptr<GLSLEffect> effect_;
};

} // namespace

TEST_F(EffectDrawTest, TextEffectTakesTheFaceColourWithAverageCoverageAsAlpha)
{
    ASSERT_TRUE(compile(kTextEffect));
    const GLSLEffect::Technique* textTechnique = technique("t1");
    ASSERT_NE(textTechnique, nullptr);

    // Sub-pixel coverage: the three channels of a glyph texel differ.
    const std::vector<std::uint8_t> glyph = distinctTexels();
    effect_->findParameter("LinearSampler")->setup(gl_->makeTexture(targetSize, targetSize, glyph));
    const Float4 face{0.2f, 0.6f, 0.8f, 0.75f};
    ASSERT_TRUE(effect_->findParameter("FaceColour1")->setFloats(face.data(), 4));
    // The renderer feeds the text image's coordinates through TEXCOORD1.
    drawPass(*textTechnique->passes[0], texelForPixel(1));

    for (int y = 0; y < targetSize; ++y) {
        for (int x = 0; x < targetSize; ++x) {
            const std::size_t first = firstByteOf(x, y);
            const float coverage = (channel(glyph[first]) + channel(glyph[first + 1]) + channel(glyph[first + 2])) / 3.0f;
            EXPECT_TRUE(pixelIs(x, y, {face[0], face[1], face[2], coverage * face[3]}));
        }
    }
}

TEST_F(EffectDrawTest, TwoPassEffectDrawsItsFirstPassIntoTheTargetItsScriptNames)
{
    drawTwoPasses(kTwoPassEffect, "TwoPass");
}

TEST_F(EffectDrawTest, ScriptedPostProcessEffectReadsBackAndDrawsItsPassesThroughItsTarget)
{
    ASSERT_TRUE(compile(kScriptedTwoPassEffect));
    const GLSLEffect::Technique* main = technique("Main");
    ASSERT_NE(main, nullptr);
    std::string commands;
    for (const EffectScriptCommand& command : main->script.commands)
        commands += command.name + "=" + command.value + ";";
    EXPECT_EQ(commands, "RenderColorTarget0=;LoopByCount=Repeats;Pass=Prepare;LoopEnd=;Pass=Finish;ScriptExternal=color;");
    EXPECT_EQ(main->passes.at(0)->script().commands.size(), 4u);
    EXPECT_EQ(effect_->findParameter("Script")->findAnnotation("ScriptOrder")->text, "postprocess");
    EXPECT_EQ(effect_->findParameter("Scratch")->findAnnotation("Format")->text, "A8R8G8B8");
    EXPECT_EQ(effect_->findParameter("Unused")->ints(), (std::vector<int>{6}));

    drawTwoPasses(kScriptedTwoPassEffect, "Main");
}

TEST_F(EffectDrawTest, Color1ReadsTheSecondaryColour)
{
    ASSERT_TRUE(compile(kPositionAndSecondaryColourEffect));
    const GLSLEffect::Technique* secondary = technique("Secondary");
    ASSERT_NE(secondary, nullptr);
    SurfacelessGL::Corner corner;
    corner.colour = {0.8f, 0.4f, 0.2f, 1.0f};
    corner.secondaryColour = {0.25f, 0.75f, 1.0f};
    drawPass(*secondary->passes[0], corner);
    const Float4 expected{0.25f * 0.5f + 0.8f * 0.25f, 0.75f * 0.5f + 0.4f * 0.25f, 1.0f * 0.5f + 0.2f * 0.25f, 1.0f};
    for (int y = 0; y < targetSize; ++y)
        for (int x = 0; x < targetSize; ++x)
            EXPECT_TRUE(pixelIs(x, y, expected));
}

TEST_F(EffectDrawTest, WposAndVposReadTheWindowPositionOfThePixelCentre)
{
    ASSERT_TRUE(compile(kPositionAndSecondaryColourEffect));
    const GLSLEffect::Technique* window = technique("Window");
    const GLSLEffect::Technique* pixel = technique("Pixel");
    ASSERT_TRUE(window && pixel);

    // Window coordinates: origin at the bottom left, pixel centres on halves.
    drawPass(*window->passes[0]);
    for (int y = 0; y < targetSize; ++y) {
        for (int x = 0; x < targetSize; ++x) {
            const float centreX = static_cast<float>(x) + 0.5f;
            const float centreY = static_cast<float>(y) + 0.5f;
            EXPECT_TRUE(pixelIs(x, y, {centreX / 8.0f, centreY / 8.0f, 0.5f, 1.0f}));
        }
    }

    drawPass(*pixel->passes[0]);
    for (int y = 0; y < targetSize; ++y) {
        for (int x = 0; x < targetSize; ++x) {
            const float centreX = static_cast<float>(x) + 0.5f;
            const float centreY = static_cast<float>(y) + 0.5f;
            EXPECT_TRUE(pixelIs(x, y, {centreY / 8.0f, centreX / 8.0f, 0.0f, 1.0f}));
        }
    }
}

namespace {

// Cg as authors write it for other tools, one construct per case, drawn with
// constant inputs so that every pixel has the same expected colour.
struct DialectCase
{
    const char* construct;
    const char* effect;
    SurfacelessGL::Corner corner;
    Float4 expected;
};

SurfacelessGL::Corner cornerWith(const std::vector<std::pair<std::size_t, Float4>>& texCoords,
                                 const std::vector<std::pair<std::size_t, Float4>>& attributes = {},
                                 Float4 colour = {0.8f, 0.4f, 0.2f, 1.0f})
{
    SurfacelessGL::Corner corner;
    corner.colour = colour;
    corner.secondaryColour = {0.4f, 0.8f, 1.0f};
    for (const auto& [unit, coordinate] : texCoords)
        corner.texCoords[unit] = coordinate;
    for (const auto& [index, value] : attributes)
        corner.attributes[index] = value;
    return corner;
}

const DialectCase kDialectCases[] = {
    {"names that HLSL reserves", R"(
struct source { float2 size; sampler2D texture; float4 vector; };
float4 lookup(const sampler2D texture, float2 uv) { return tex2D(texture, uv); }
float scaled(float half, float matrix) { return half * matrix; }
sampler2D decal;
float4 input = {0, 0, 0, 0.5};
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    source string;
    string.size = uv;
    string.vector = float4(0.25, 0.5, 0.75, 1);
    float pass = 0.5, technique = 0.25, compile = 0.125, decl = 0.0625;
    float half = scaled(2.0, 0.25);
    float4 texel = lookup(decal, string.size);
    return float4(texel.r * half + decl, texel.g * half + technique, string.vector.b * pass, compile * 4 + input.a);
}
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({{0, {0.5f, 0.5f, 0.0f, 1.0f}}}), {0.4625f, 0.45f, 0.375f, 1.0f}},
    {"uniform parameters of the entry, bound, sampler on TEXUNIT2 and a struct", R"(
struct Source { float2 video_size; float2 texture_size; float frame_count; };
struct Varyings { float2 tex : TEXCOORD0; float4 col : COLOR0; };
float4 main_fragment(in Varyings v, uniform float gain, uniform sampler2D decal : TEXUNIT2, uniform Source IN) : COLOR
{
    return tex2D(decal, v.tex * IN.video_size / IN.texture_size) * v.col * gain + IN.frame_count;
}
technique t { pass p { FragmentProgram = compile fp40 main_fragment(0.5); } })",
     cornerWith({{0, {0.5f, 0.5f, 0.0f, 1.0f}}}, {}, {1.0f, 0.5f, 1.0f, 1.0f}), {0.5f, 0.2f, 0.2f, 0.6f}},
    {"varyings in nested structs and an out parameter", R"(
struct Inner { float4 colour : COLOR0; float4 second : COLOR1; };
struct Outer { float2 uv : TEXCOORD0; Inner inner; float4 far : TEXCOORD7; };
void main(Outer o, in float4 extra : TEXCOORD3, out float4 result : COLOR)
{
    result.rgb = o.inner.colour.rgb * 0.5 + o.inner.second.rgb * 0.25 + float3(o.uv, 0) * 0.25 + o.far.rgb * extra.rgb * 0.25;
    result.a = o.inner.colour.a * 0.5 + o.far.a * extra.a * 0.25;
}
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({{0, {0.5f, 1.0f, 0.0f, 1.0f}}, {7, {0.5f, 0.5f, 0.5f, 0.5f}}, {3, {1.0f, 0.5f, 0.2f, 1.0f}}}),
     {0.75f, 0.7125f, 0.375f, 0.625f}},
    {"vertex attributes, an inout varying and VFACE", R"(
struct VIn { float4 position : POSITION; float3 normal : NORMAL; float3 tangent : TANGENT; float3 binormal : BINORMAL;
             float4 weight : BLENDWEIGHT; float4 indices : BLENDINDICES; float fog : FOG; float4 extra : ATTR9; };
void vertexMain(VIn v, inout float4 colour : COLOR0, out float4 clip : POSITION)
{
    clip = v.position;
    colour = float4(v.normal.x + v.tangent.y + v.binormal.z, v.weight.x + v.indices.y, v.fog + v.extra.z, colour.a);
}
float4 pixelMain(float4 colour : COLOR0, float face : VFACE) : COLOR { return face > 0 ? colour : float4(1, 0, 1, 1); }
technique t { pass p { VertexProgram = compile vp40 vertexMain(); FragmentProgram = compile fp40 pixelMain(); } })",
     cornerWith({}, {{2, {0.1f, 0, 0, 1}}, {14, {0, 0.2f, 0, 1}}, {15, {0, 0, 0.3f, 1}}, {1, {0.25f, 0, 0, 1}},
                     {7, {0, 0.25f, 0, 1}}, {5, {0.125f, 0, 0, 1}}, {9, {0, 0, 0.25f, 1}}},
                {0.0f, 0.0f, 0.0f, 0.75f}),
     {0.6f, 0.5f, 0.375f, 0.75f}},
    {"user functions overloaded by parameter type, half against float among them", R"(
float f(float x) { return x * 2; }
float f(float2 x) { return x.x + x.y; }
half f(half3 x) { return x.z; }
half f(half x) { return x * 3; }
fixed4 g(fixed4 c) { return c; }
float4 g(float4 c) { return c * 0.5; }
float4 main(float2 uv : TEXCOORD0) : COLOR { return float4(f(uv.x), f(uv), f(float3(uv, 0.75)), g(float4(0, 0, 0, 0.5)).a); }
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({{0, {0.25f, 0.125f, 0.0f, 1.0f}}}), {0.5f, 0.375f, 0.75f, 0.5f}},
    {"a global sampler and a Cg value bound by compile", R"(
sampler2D Source;
float4 main(float2 uv : TEXCOORD0, uniform sampler2D Source, uniform half4 tint) : COLOR { return tex2D(Source, uv) * tint; }
technique t { pass p { FragmentProgram = compile fp40 main(Source, half4(1, 0.5, 1, 0.5x)); } })",
     cornerWith({{0, {0.5f, 0.5f, 0.0f, 1.0f}}}), {0.8f, 0.2f, 0.2f, 0.5f}},
    {"a static whose initialiser calls a function and reads a parameter", R"(
float scaled(float x) { return x * 0.5; }
float level = 0.5;
static float halfLevel = scaled(level);
float4 main(float2 uv : TEXCOORD0) : COLOR { return float4(halfLevel, uv, 1); }
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({{0, {0.5f, 0.25f, 0.0f, 1.0f}}}), {0.25f, 0.5f, 0.25f, 1.0f}},
    {"% on floats with the dividend's sign, and on integers", R"(
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    float a = -uv.x;
    half2 b = half2(1.75, 0.5);
    b %= 0.5;
    int i = 7;
    return float4(a % 0.5 + 0.5, b.x, (i % 3) * 0.5, (uv.y * 4) % 1.5);
}
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({{0, {0.75f, 0.5f, 0.0f, 1.0f}}}), {0.25f, 0.25f, 0.5f, 0.5f}},
};

} // namespace

TEST_F(EffectDrawTest, CgWrittenForOtherToolsCompilesLinksAndDraws)
{
    const std::vector<std::uint8_t> texel = {204, 102, 51, 255};
    for (const DialectCase& dialect : kDialectCases) {
        SCOPED_TRACE(dialect.construct);
        ASSERT_TRUE(compile(dialect.effect));
        const GLSLEffect::Technique* only = technique("t");
        ASSERT_NE(only, nullptr);
        for (std::size_t index = 0; index < effect_->parameterCount(); ++index)
            if (effect_->parameter(index).kind() == GLSLEffectParameter::eKind::sampler)
                effect_->parameter(index).setup(gl_->makeTexture(1, 1, texel));
        if (GLSLEffectParameter* frame = effect_->findParameter("IN.frame_count")) {
            const float videoSize[] = {1, 1}, textureSize[] = {2, 2}, frameCount = 0.1f;
            ASSERT_TRUE(effect_->findParameter("IN.video_size")->setFloats(videoSize, 2));
            ASSERT_TRUE(effect_->findParameter("IN.texture_size")->setFloats(textureSize, 2));
            ASSERT_TRUE(frame->setFloats(&frameCount, 1));
            EXPECT_EQ(effect_->findParameter("decal")->unit(), 2);
            EXPECT_EQ(effect_->findParameter("gain"), nullptr);
        }
        drawPass(*only->passes[0], dialect.corner);
        EXPECT_TRUE(pixelIs(1, 2, dialect.expected));
    }
}

TEST_F(EffectDrawTest, VertexProgramReadsOpenGLStateThroughGlstateAndStateSemantics)
{
    ASSERT_TRUE(compile(R"(
void vertexMain(float4 position : POSITION, uniform float4x4 projection : state.matrix.projection,
                out float4 clip : POSITION, out float4 colour : COLOR0)
{
    clip = mul(glstate.matrix.mvp, position);
    colour = float4(glstate.matrix.mvp[0][0], glstate.matrix.mvp[0][3], projection[1][1],
                    glstate.matrix.inverse.modelview[0][2][2] * 0.25);
}
float4 pixelMain(float4 colour : COLOR0) : COLOR { return colour; }
technique t { pass p { VertexProgram = compile vp40 vertexMain(); FragmentProgram = compile fp40 pixelMain(); } })"));
    EXPECT_EQ(effect_->findParameter("projection"), nullptr);
    const GLSLEffect::Technique* only = technique("t");
    ASSERT_NE(only, nullptr);

    // Projection: half size, moved a quarter to the right; modelview: depth scaled by 2.
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glTranslatef(0.25f, 0.0f, 0.0f);
    glScalef(0.5f, 0.5f, 1.0f);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glScalef(1.0f, 1.0f, 2.0f);
    drawPass(*only->passes[0]);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();

    // The quad now spans x from -0.25 to 0.75: the third column is inside, the first is not.
    EXPECT_TRUE(pixelIs(2, 1, {0.5f, 0.25f, 0.5f, 0.125f}));
    EXPECT_TRUE(pixelIs(0, 1, {0.0f, 0.0f, 0.0f, 0.0f}));
}

TEST_F(EffectDrawTest, ArraySamplersReadTheLayerTheCoordinateNames)
{
    ASSERT_TRUE(compile(R"(
sampler2DARRAY layers;
sampler1DARRAY strips;
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    int3 size = tex2DARRAYsize(layers, 0);
    return tex2DARRAY(layers, float3(uv, 1)) * 0.5 + tex1DARRAY(strips, float2(uv.x, 1)) * 0.25 +
           tex2DARRAYlod(layers, float4(uv, 0, 0)) * 0.125 * size.z;
}
technique t { pass p { FragmentProgram = compile fp40 main(); } })"));
    const GLSLEffect::Technique* only = technique("t");
    ASSERT_NE(only, nullptr);
    // One texel a layer: layer 0 holds the first colour, layer 1 the second.
    const std::uint8_t texels[] = {255, 0, 0, 255, 0, 255, 0, 255};
    GLuint textures[2];
    glGenTextures(2, textures);
    glBindTexture(GL_TEXTURE_2D_ARRAY, textures[0]);
    glTexImage3D(GL_TEXTURE_2D_ARRAY, 0, GL_RGBA8, 1, 1, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels);
    glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glBindTexture(GL_TEXTURE_1D_ARRAY, textures[1]);
    glTexImage2D(GL_TEXTURE_1D_ARRAY, 0, GL_RGBA8, 1, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels);
    glTexParameteri(GL_TEXTURE_1D_ARRAY, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    for (const char* name : {"layers", "strips"}) {
        GLSLEffectParameter* sampler = effect_->findParameter(name);
        ASSERT_NE(sampler, nullptr);
        EXPECT_EQ(sampler->textureTarget(), GLenum(name[0] == 'l' ? GL_TEXTURE_2D_ARRAY : GL_TEXTURE_1D_ARRAY));
        sampler->setup(textures[name[0] == 'l' ? 0 : 1]);
    }
    drawPass(*only->passes[0], texelForPixel(0));
    // Layer 1 by half and by a quarter, layer 0 by an eighth for each of the two layers.
    EXPECT_TRUE(pixelIs(1, 2, {0.25f, 0.75f, 0.0f, 1.0f}));
    glDeleteTextures(2, textures);
}
