#include "EffectCompilerProcess.h"
#include "EffectParser.h"
#include "SurfacelessGL.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>

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
const char kTwoPassEffect[] = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; };
texture Scratch : RENDERCOLORTARGET;
sampler2D ScratchSampler = sampler_state { Texture = <Scratch>; AddressU = Clamp; AddressV = Clamp; };
float4 Gain = {1, 0.5, 0.25, 1};

float4 finish(float2 uv : TEXCOORD0) : COLOR
{
    float4 scratch = tex2D(ScratchSampler, uv);
    return float4(scratch.b, scratch.r * 0.5, scratch.g + 0.25, 1 - scratch.a * 0.5);
}

float4 prepare(float2 uv : TEXCOORD0) : COLOR
{
    return tex2D(InputSampler, uv) * Gain;
}

technique TwoPass
{
    pass Prepare < string Script = "RenderColorTarget0=Scratch; Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE prepare();
    }
    pass Finish < string Script = "RenderColorTarget0=; Draw=Buffer;"; >
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

// The value of one key in a Script annotation such as "RenderColorTarget0=Scratch; Draw=Buffer;".
std::string scriptValue(const std::string& script, const std::string& key)
{
    std::istringstream commands(script);
    std::string command;
    while (std::getline(commands, command, ';')) {
        const std::size_t start = command.find_first_not_of(" \t\n");
        if (start == std::string::npos)
            continue;
        const std::size_t equals = command.find('=', start);
        if (equals != std::string::npos && command.substr(start, equals - start) == key)
            return command.substr(equals + 1);
    }
    return {};
}

// Whole effect files compiled through kvfxc, each pass's GLSL linked with the
// fixed-function vertex stage and drawn on a small quad, with the test playing
// the renderer; the pixels read back are compared with the CPU's values.
class EffectDrawTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        gl_ = std::make_unique<SurfacelessGL>(targetSize, targetSize);
        if (!gl_->available())
            GTEST_SKIP() << "no OpenGL to draw with: " << gl_->unavailableReason();
        char folderTemplate[] = "/tmp/kvfxc-draw-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        cacheFolder_ = folderTemplate;
        cacheFolder_ += "/";
    }

    void TearDown() override
    {
        if (!cacheFolder_.empty())
            std::filesystem::remove_all(cacheFolder_);
    }

    static EffectParser::Definitions definitions()
    {
        EffectParser::Definitions profile;
        profile.emplace_back("PROFILE", "fp40");
        return profile;
    }

    EffectCompilerProcess::Result compile(const std::string& source) const
    {
        const EffectCompilerProcess compiler(KVFXC_PATH, cacheFolder_, std::chrono::seconds(20));
        EffectCompilerProcess::Request request;
        request.name = "draw.fx";
        request.folder = "/tmp/";
        request.source = source;
        request.definitions = definitions();
        return compiler.compile(request);
    }

    static EffectModel parse(const std::string& source)
    {
        return EffectParser::parseBuffer(source, "draw.fx", "/tmp/", definitions());
    }

    static const EffectCompilerProcess::Shader* shaderOf(const EffectCompilerProcess::Result& result,
                                                         const std::string& technique, const std::string& pass)
    {
        for (const EffectCompilerProcess::Shader& shader : result.shaders)
            if (shader.technique == technique && shader.pass == pass &&
                shader.stage == CgTranslator::eStage::pixel)
                return &shader;
        return nullptr;
    }

    ::testing::AssertionResult use(const EffectCompilerProcess::Shader* shader)
    {
        if (shader == nullptr)
            return ::testing::AssertionFailure() << "no pixel shader for that pass";
        std::string log;
        if (!gl_->useFragmentShader(shader->glsl, log))
            return ::testing::AssertionFailure() << "the driver refused the GLSL:\n" << log << "\n" << shader->glsl;
        return ::testing::AssertionSuccess();
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

    std::unique_ptr<SurfacelessGL> gl_;
    std::string cacheFolder_;
};

} // namespace

TEST_F(EffectDrawTest, TextEffectTakesTheFaceColourWithAverageCoverageAsAlpha)
{
    const EffectCompilerProcess::Result result = compile(kTextEffect);
    ASSERT_TRUE(result.succeeded) << result.listing;
    ASSERT_TRUE(use(shaderOf(result, "t1", "p1")));

    // Sub-pixel coverage: the three channels of a glyph texel differ.
    const std::vector<std::uint8_t> glyph = distinctTexels();
    // The renderer feeds the text image on its own unit, through TEXCOORD1.
    ASSERT_TRUE(gl_->bindTexture("LinearSampler", 1, targetSize, targetSize, glyph));
    const Float4 face{0.2f, 0.6f, 0.8f, 0.75f};
    ASSERT_TRUE(gl_->setFloats("FaceColour1", {face[0], face[1], face[2], face[3]}));
    gl_->drawQuad(texelForPixel(1));

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
    const EffectCompilerProcess::Result result = compile(kTwoPassEffect);
    ASSERT_TRUE(result.succeeded) << result.listing;
    const EffectModel model = parse(kTwoPassEffect);
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    ASSERT_EQ(model.techniques.size(), 1u);
    const EffectTechnique& technique = model.techniques[0];
    ASSERT_EQ(technique.passes.size(), 2u);

    // The compiled shaders come in pass order.
    ASSERT_EQ(result.shaders.size(), 2u);
    EXPECT_EQ(result.shaders[0].pass, technique.passes[0].name);
    EXPECT_EQ(result.shaders[1].pass, technique.passes[1].name);

    const EffectAnnotation* firstScript = findAnnotation(technique.passes[0].annotations, "Script");
    const EffectAnnotation* secondScript = findAnnotation(technique.passes[1].annotations, "Script");
    ASSERT_NE(firstScript, nullptr);
    ASSERT_NE(secondScript, nullptr);
    const std::string targetName = scriptValue(firstScript->text, "RenderColorTarget0");
    ASSERT_EQ(targetName, "Scratch");
    // An empty target sends the pass to the renderer's own target.
    EXPECT_EQ(scriptValue(secondScript->text, "RenderColorTarget0"), "");

    const EffectTexture* target = nullptr;
    for (const EffectTexture& texture : model.textures)
        if (texture.name == targetName)
            target = &texture;
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->semantic, "RENDERCOLORTARGET");
    std::string targetSampler;
    std::string inputSampler;
    for (const EffectSampler& sampler : model.samplers) {
        if (sampler.texture == targetName)
            targetSampler = sampler.name;
        else if (sampler.texture == "Input")
            inputSampler = sampler.name;
    }
    ASSERT_EQ(targetSampler, "ScratchSampler");
    ASSERT_EQ(inputSampler, "InputSampler");

    const EffectParameter* gainParameter = nullptr;
    for (const EffectParameter& parameter : model.parameters)
        if (parameter.name == "Gain")
            gainParameter = &parameter;
    ASSERT_NE(gainParameter, nullptr);
    ASSERT_EQ(gainParameter->defaults.size(), 4u);
    Float4 gain{};
    for (std::size_t component = 0; component < 4; ++component)
        gain[component] = static_cast<float>(gainParameter->defaults[component]);

    // Pass one, into the target texture.
    const std::vector<std::uint8_t> input = distinctTexels();
    ASSERT_TRUE(use(shaderOf(result, technique.name, technique.passes[0].name)));
    ASSERT_TRUE(gl_->bindTexture(inputSampler.c_str(), 0, targetSize, targetSize, input));
    ASSERT_TRUE(gl_->setFloats("Gain", {gain[0], gain[1], gain[2], gain[3]}));
    gl_->drawQuad(texelForPixel(0));
    const std::vector<std::uint8_t> scratch = targetBytes();

    std::vector<std::uint8_t> expectedScratch;
    for (std::size_t index = 0; index < input.size(); ++index)
        expectedScratch.push_back(byteOf(channel(input[index]) * gain[index % 4]));
    for (std::size_t index = 0; index < scratch.size(); ++index)
        ASSERT_LE(std::abs(int{scratch[index]} - int{expectedScratch[index]}), 1) << "first pass, byte " << index;

    // Pass two, reading the target as the GPU left it.
    ASSERT_TRUE(use(shaderOf(result, technique.name, technique.passes[1].name)));
    ASSERT_TRUE(gl_->bindTargetCopy(targetSampler.c_str(), 1));
    gl_->drawQuad(texelForPixel(0));
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

TEST_F(EffectDrawTest, Color1ReadsTheSecondaryColour)
{
    const EffectCompilerProcess::Result result = compile(kPositionAndSecondaryColourEffect);
    ASSERT_TRUE(result.succeeded) << result.listing;
    ASSERT_TRUE(use(shaderOf(result, "Secondary", "One")));
    SurfacelessGL::Corner corner;
    corner.colour = {0.8f, 0.4f, 0.2f, 1.0f};
    corner.secondaryColour = {0.25f, 0.75f, 1.0f};
    gl_->drawQuad(corner);
    const Float4 expected{0.25f * 0.5f + 0.8f * 0.25f, 0.75f * 0.5f + 0.4f * 0.25f, 1.0f * 0.5f + 0.2f * 0.25f, 1.0f};
    for (int y = 0; y < targetSize; ++y)
        for (int x = 0; x < targetSize; ++x)
            EXPECT_TRUE(pixelIs(x, y, expected));
}

TEST_F(EffectDrawTest, WposAndVposReadTheWindowPositionOfThePixelCentre)
{
    const EffectCompilerProcess::Result result = compile(kPositionAndSecondaryColourEffect);
    ASSERT_TRUE(result.succeeded) << result.listing;

    // Window coordinates: origin at the bottom left, pixel centres on halves.
    ASSERT_TRUE(use(shaderOf(result, "Window", "One")));
    gl_->drawQuad(SurfacelessGL::Corner{});
    for (int y = 0; y < targetSize; ++y) {
        for (int x = 0; x < targetSize; ++x) {
            const float centreX = static_cast<float>(x) + 0.5f;
            const float centreY = static_cast<float>(y) + 0.5f;
            EXPECT_TRUE(pixelIs(x, y, {centreX / 8.0f, centreY / 8.0f, 0.5f, 1.0f}));
        }
    }

    ASSERT_TRUE(use(shaderOf(result, "Pixel", "One")));
    gl_->drawQuad(SurfacelessGL::Corner{});
    for (int y = 0; y < targetSize; ++y) {
        for (int x = 0; x < targetSize; ++x) {
            const float centreX = static_cast<float>(x) + 0.5f;
            const float centreY = static_cast<float>(y) + 0.5f;
            EXPECT_TRUE(pixelIs(x, y, {centreY / 8.0f, centreX / 8.0f, 0.0f, 1.0f}));
        }
    }
}
