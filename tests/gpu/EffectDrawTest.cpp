#include "GLSLEffect.h"
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
        if (!gl_->available()) {
            const char* ci = std::getenv("CI");
            if (ci && std::string(ci) == "true")
                FAIL() << "no OpenGL to draw with: " << gl_->unavailableReason();
            GTEST_SKIP() << "no OpenGL to draw with: " << gl_->unavailableReason();
        }
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

    // The whole target as RGBA bytes, bottom row first.
    std::vector<std::uint8_t> targetBytes()
    {
        std::vector<std::uint8_t> bytes;
        for (int y = 0; y < targetSize; ++y) {
            for (int x = 0; x < targetSize; ++x) {
                const Float4 drawn = gl_->pixel(x, y);
                for (const float component : drawn)
                    bytes.push_back(byteOf(component));
            }
        }
        return bytes;
    }

    // The technique's first pass draws into the texture its script names, the
    // second reads that texture back and draws into the renderer's target.
    void drawTwoPasses(const GLSLEffect::Technique& technique)
    {
        ASSERT_EQ(technique.passes.size(), 2u);
        const GLSLEffectPass& prepare = *technique.passes[0];
        const GLSLEffectPass& finish = *technique.passes[1];
        EXPECT_EQ(prepare.name(), "Prepare");
        EXPECT_EQ(prepare.renderColorTarget(), "Scratch");
        const GLSLEffectParameter* target = effect_->renderTarget(prepare);
        ASSERT_NE(target, nullptr);
        EXPECT_EQ(target->name(), "Scratch");
        EXPECT_EQ(target->kind(), GLSLEffectParameter::eKind::texture);
        EXPECT_EQ(target->semantic(), "RENDERCOLORTARGET");
        // An empty target sends the pass to the renderer's own target.
        EXPECT_EQ(finish.renderColorTarget(), "");
        EXPECT_EQ(effect_->renderTarget(finish), nullptr);

        GLSLEffectParameter* targetSampler = nullptr;
        GLSLEffectParameter* inputSampler = nullptr;
        for (std::size_t index = 0; index < effect_->parameterCount(); ++index) {
            GLSLEffectParameter& parameter = effect_->parameter(index);
            if (parameter.kind() == GLSLEffectParameter::eKind::sampler)
                (parameter.textureName() == target->name() ? targetSampler : inputSampler) = &parameter;
        }
        ASSERT_NE(targetSampler, nullptr);
        ASSERT_NE(inputSampler, nullptr);
        const std::vector<float> gain = effect_->findParameter("Gain")->floats();
        ASSERT_EQ(gain, (std::vector<float>{1, 0.5f, 0.25f, 1}));

        // Pass one, into the target texture.
        const std::vector<std::uint8_t> input = distinctTexels();
        inputSampler->setup(gl_->makeTexture(targetSize, targetSize, input));
        drawPass(prepare, texelForPixel(0));
        const std::vector<std::uint8_t> scratch = targetBytes();
        for (std::size_t index = 0; index < scratch.size(); ++index)
            ASSERT_LE(std::abs(int{scratch[index]} - int{byteOf(channel(input[index]) * gain[index % 4])}), 1)
                << "first pass, byte " << index;

        // Pass two, reading the target as the GPU left it.
        targetSampler->setup(gl_->copyOfTarget());
        drawPass(finish, texelForPixel(0));
        for (int y = 0; y < targetSize; ++y) {
            for (int x = 0; x < targetSize; ++x) {
                const std::size_t first = firstByteOf(x, y);
                const float red = channel(scratch[first]);
                const float green = channel(scratch[first + 1]);
                const float blue = channel(scratch[first + 2]);
                const float alpha = channel(scratch[first + 3]);
                EXPECT_TRUE(pixelIs(x, y, {blue, red * 0.5f, std::min(green + 0.25f, 1.0f), 1.0f - alpha * 0.5f}));
            }
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
    ASSERT_TRUE(compile(kTwoPassEffect));
    const GLSLEffect::Technique* twoPass = technique("TwoPass");
    ASSERT_NE(twoPass, nullptr);
    drawTwoPasses(*twoPass);
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

    drawTwoPasses(*main);
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
