#include "EGLPlatform.h"
#include "GLSLShaderEffect.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLRequired.h"
#include "OpenGLUtils.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

namespace {

using Definitions = std::vector<iShaderEffect::CompilerDefinition>;
using Sources = std::vector<iShaderEffect::Source>;
using Rgba = std::array<int, 4>;
using Texels = std::function<Rgba(int x, int y)>;

constexpr int kSize = 4;

// Input arrives on coordinate set 1 and _Mask on set 2 when both are given;
// sets 0 and 3 show what the units around the sources get.
const char kEffect[] = R"(#ifndef OSX
#error OSX is defined for every effect
#endif
texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; MinFilter = Point; MagFilter = Point; };
texture _Mask < string Resource = "mask.png"; >;
sampler2D MaskSampler = sampler_state { Texture = <_Mask>; ADDRESS MinFilter = Point; MagFilter = Point; };
texture Scratch : RENDERCOLORTARGET;
texture Far;
sampler2D FarSampler = sampler_state { Texture = <Far>; };
float Amount < string UIName = "How much"; float UIMin = -1; bool Visible = true; int Steps = 4; > = VALUE;
float4 Tint = {1, 0, 0.5, 1};
int Count = 3;
bool Invert = true;
float3 Offset = {1, 2, 3};
float3x3 Turn = {1, 2, 3, 4, 5, 6, 7, 8, 9};
float Weights[3];
string Label = "label";

float4 show(float2 square0 : TEXCOORD0, float2 input : TEXCOORD1, float2 mask : TEXCOORD2,
            float2 square3 : TEXCOORD3) : COLOR
{
    return float4(tex2D(InputSampler, input).r, tex2D(MaskSampler, mask).g, square0.x * Amount, square3.y);
}

float4 beyond(float2 uv : TEXCOORD12) : COLOR { return tex2D(FarSampler, uv); }

technique Beyond { pass One { PixelShader = compile PROFILE beyond(); } }
technique Show { pass One { PixelShader = compile PROFILE show(); } }
)";

// The first pass fills Scratch, which the second reads back through the unit
// square. One texture fetch and a swizzle a pass: the shaders that Mesa's
// software rasteriser draws wrong on its fast path.
const char kTwoPassEffect[] = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; MinFilter = Point; MagFilter = Point; };
texture Scratch : RENDERCOLORTARGET;
sampler2D ScratchSampler = sampler_state { Texture = <Scratch>; MinFilter = Point; MagFilter = Point; };
float4 fill(float2 uv : TEXCOORD1) : COLOR { return float4(tex2D(InputSampler, uv).r, 0.4, 0.6, 1.0); }
float4 finish(float2 uv : TEXCOORD0) : COLOR
{
    float4 scratch = tex2D(ScratchSampler, uv);
    return float4(scratch.g, scratch.r, scratch.b, 1.0);
}
technique TwoPass
{
    pass Fill < string Script = "RenderColorTarget0=Scratch;"; > { PixelShader = compile PROFILE fill(); }
    pass Finish < string Script = "RenderColorTarget0=;"; > { PixelShader = compile PROFILE finish(); }
}
)";

// The same kind of effect as an FX Composer post-process effect writes it: an
// effect script, a technique script with a loop, passes that clear and draw, a
// render target described by annotations, declarations of several names. Its
// passes are written in reverse order, so that only the script decides.
const char kScriptedTwoPassEffect[] = R"(float Script : STANDARDSGLOBAL < string ScriptClass = "scene";
    string ScriptOrder = "postprocess"; string Script = "Technique=Technique?Main;"; > = 0.8;
float4 ClearColour < string UIWidget = "color"; > = {0, 0, 0, 0};
int Repeats = 1, Unused = 2 * 3;
texture Input, Scratch : RENDERCOLORTARGET < float2 ViewPortRatio = {1.0, 1.0}; string Format = ("A8R8G8B8"); >;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; },
          ScratchSampler = sampler_state { Texture = <Scratch>; AddressU = Clamp; AddressV = Clamp; };
float4 Gain = float4(1, 1.0 / 2.0, 0.25, 1);
float4 finish(float2 uv : TEXCOORD0) : COLOR
{
    float4 scratch = tex2D(ScratchSampler, uv);
    return float4(scratch.b, scratch.r * 0.5, scratch.g + 0.25, 1 - scratch.a * 0.5);
}
float4 prepare(float2 uv : TEXCOORD0) : COLOR { return tex2D(InputSampler, uv) * Gain; }
technique Main < string Script = "RenderColorTarget0=; LoopByCount=Repeats; Pass=Prepare; LoopEnd=;"
                                 "Pass=Finish; ScriptExternal=color;"; >
{
    pass Prepare < string Script = "RenderColorTarget0=Scratch;ClearSetColor=ClearColour;Clear=Color;Draw=Buffer;"; >
    { PixelShader = compile PROFILE prepare(); }
    pass Finish < string Script = "RenderColorTarget = ; Draw = Buffer;"; > { PixelShader = compile PROFILE finish(); }
}
)";

const Definitions kDefinitions = {{"ADDRESS", "AddressU = Clamp;"}, {"VALUE", "1"}};

Rgba inputTexel(int x, int y)
{
    return {10 + 60 * x + 15 * y, 0, 0, 255};
}

Rgba maskTexel(int x, int y)
{
    return {0, 200 - 50 * x - 10 * y, 0, 255};
}

// A unit square's coordinate at pixel i, as an 8-bit channel.
int ramp(int i)
{
    return int(std::lround((i + 0.5) / kSize * 255));
}

Kv::Ptr<iGPUImage> imageOf(const Texels& texels)
{
    const Kv::Ptr<iHostImage> host = OS()->mediaServices()->createHostSurface(XY<int>(kSize, kSize));
    const Kv::Ptr<iPixelGuard> pixels = host->lock();
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const Rgba texel = texels(x, y);
            unsigned char* bgra = pixels->getPixels() + y * pixels->getStride() + x * 4;
            for (const int channel : {2, 1, 0, 3})
                *bgra++ = static_cast<unsigned char>(texel[channel]);
        }
    }
    return OS()->mediaServices()->copyToGPU(host);
}

// Row 0 is the bottom row as OpenGL draws it.
Rgba pixelOf(const Kv::Ptr<iGPUImage>& image, int x, int y)
{
    const Kv::Ptr<iHostImage> host = OpenGLUtils::instance().copyToHost(Kv::dynamicCast<GPUImage>(image));
    const Kv::Ptr<iPixelGuard> pixels = host->lock();
    const unsigned char* bgra = pixels->getPixels() + y * pixels->getStride() + x * 4;
    return {bgra[2], bgra[1], bgra[0], bgra[3]};
}

// Texels come through exactly; interpolated coordinates may round either way.
void expectPixels(const Kv::Ptr<iGPUImage>& image, const Texels& expected)
{
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const Rgba drawn = pixelOf(image, x, y);
            const Rgba wanted = expected(x, y);
            for (std::size_t channel = 0; channel < 4; ++channel)
                EXPECT_NEAR(drawn[channel], wanted[channel], 1) << "pixel " << x << ", " << y << ", " << channel;
        }
    }
}

// Read pixel for texel: corners top left, top right, bottom left, bottom right.
iShaderEffect::Source source(const char* name, const Kv::Ptr<iGPUImage>& image, float right = 1)
{
    iShaderEffect::Source source(name, image);
    source.texCoords[1] = {right, 0};
    source.texCoords[2] = {0, 1};
    source.texCoords[3] = {right, 1};
    return source;
}

Kv::Ptr<iGPUImage> newTarget()
{
    return OS()->mediaServices()->createGPUSurface(XY<int>(kSize, kSize), iGPUImage::eBGRA8);
}

// Pass 0 over the whole target, inside a renderer on it.
Kv::Ptr<iGPUImage> drawPass(iShaderEffect& effect, const Sources& sources)
{
    const Kv::Ptr<iGPUImage> target = newTarget();
    const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
    effect.renderPass(0, {0, 0, kSize, kSize}, sources);
    return target;
}

std::string messagesOf(const ShaderCompilationOutput& output)
{
    std::string messages;
    for (const ShaderCompilationOutput::Error& error : output.errors)
        messages.append(std::to_string(error.line)).append(": ").append(error.message.c_str()).append("\n");
    return messages;
}

class GLSLShaderEffectTest : public ::testing::Test
{
protected:
    void SetUp() override { REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason()); }

    static Kv::Ptr<iShaderEffect> compile(const char* source, const Definitions& definitions = kDefinitions)
    {
        const ShaderCompilationOutput output = OS()->mediaServices()->compileFXFileFromBuffer(source, definitions);
        EXPECT_TRUE(output.effect) << messagesOf(output);
        return output.effect;
    }
};

} // namespace

TEST_F(GLSLShaderEffectTest, CompilesBuffersAndFilesWithTheCallersDefinitions)
{
    char folderTemplate[] = "/tmp/kvos-effect-XXXXXX";
    ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
    const std::string path = std::string(folderTemplate) + "/Show.fx";
    std::ofstream(path) << kEffect;

    const Definitions definitions = {{"ADDRESS", "AddressU = Wrap;"}, {"VALUE", "0.75"}};
    const ShaderCompilationOutput outputs[] = {
        OS()->mediaServices()->compileFXFileFromBuffer(kEffect, definitions),
        OS()->mediaServices()->compileFXFile(OS()->utils()->fromUTF8(path.c_str(), -1), definitions),
    };
    std::filesystem::remove_all(folderTemplate);
    for (const ShaderCompilationOutput& output : outputs) {
        ASSERT_TRUE(output.effect) << messagesOf(output);
        EXPECT_TRUE(output.errors.empty()) << messagesOf(output);
        EXPECT_FLOAT_EQ(output.effect->getParam("Amount")->getFloatValue(), 0.75f);
    }
    EXPECT_TRUE(outputs[0].effect->getSourceFile().empty());
    EXPECT_EQ(outputs[1].effect->getSourceFile(), OS()->utils()->fromUTF8(path.c_str(), -1));
}

TEST_F(GLSLShaderEffectTest, WhatDoesNotCompileGivesNoEffectAndTheCompilersMessages)
{
    struct Case
    {
        const char* what;
        std::string source;
        std::uint16_t firstLine;
        const char* firstMessage;
    } cases[] = {
        {"an error on line 12", std::string(11, '\n') + "float Amount = ;\n", 11, "unexpected token ';'"},
        {"a technique that does not translate", "\n\ntechnique T { pass P { PixelShader = compile PROFILE no(); } }",
         2, "technique T, pass P: entry function 'no' not found"},
        {"an empty buffer", "", 0, "the effect has no technique"},
        {"binary garbage", std::string("\x7f" "ELF\x02\x01\x01\0\0\xff\xfe{{<<;;\"", 18), 0,
         "unexpected token '\\x7f'"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        const ShaderCompilationOutput output = OS()->mediaServices()->compileFXFileFromBuffer(
            LightweightString<char>(test.source.data(), unsigned(test.source.size())), {});
        EXPECT_FALSE(output.effect);
        ASSERT_FALSE(output.errors.empty());
        EXPECT_EQ(output.errors[0].line, test.firstLine) << messagesOf(output);
        EXPECT_STREQ(output.errors[0].message.c_str(), test.firstMessage);
    }

    // A file's listing comes whole.
    const ShaderCompilationOutput missing = OS()->mediaServices()->compileFXFile(L"/nonexistent/Missing.fx", {});
    EXPECT_FALSE(missing.effect);
    ASSERT_EQ(missing.errors.size(), 1u);
    EXPECT_EQ(missing.errors[0].line, 0xFFFF);
    EXPECT_STREQ(missing.errors[0].message.c_str(), "/nonexistent/Missing.fx(0) : error: the file cannot be read\n");
}

TEST_F(GLSLShaderEffectTest, TechniquesThatDoNotValidateAreAbsent)
{
    // Beyond reads coordinate set 12, past the 8 that Mesa has.
    const Kv::Ptr<iShaderEffect> effect = compile(kEffect);
    ASSERT_TRUE(effect);
    EXPECT_FALSE(effect->setTechnique("Beyond"));
    EXPECT_FALSE(effect->setTechnique(1u));
    EXPECT_TRUE(effect->setTechnique("Show"));
    EXPECT_TRUE(effect->setTechnique(0u));

    // With none left the effect exists, and renders nothing.
    const std::string beyondAlone = std::string(kEffect).erase(std::string(kEffect).find("technique Show"));
    const ShaderCompilationOutput output =
        OS()->mediaServices()->compileFXFileFromBuffer(beyondAlone.c_str(), kDefinitions);
    ASSERT_TRUE(output.effect) << messagesOf(output);
    EXPECT_TRUE(output.errors.empty());
    EXPECT_EQ(output.effect->getNumParams(), 0u);
    EXPECT_FALSE(output.effect->render(XY<int>(kSize, kSize), {}, iGPUImage::eBGRA8));
}

TEST_F(GLSLShaderEffectTest, ParametersAndInputsByNameAndIndex)
{
    const Kv::Ptr<iShaderEffect> effect = compile(kEffect);
    ASSERT_TRUE(effect);
    using eType = iShaderParam::eType;
    const std::pair<const char*, eType> expected[] = {
        {"Amount", eType::eTypeFloat}, {"Tint", eType::eTypeColour}, {"Count", eType::eTypeInt},
        {"Invert", eType::eTypeBool}, {"Offset", eType::eTypeUnknown}, {"Turn", eType::eTypeUnknown},
        {"Weights", eType::eTypeUnknown}, {"Label", eType::eTypeString},
    };
    ASSERT_EQ(effect->getNumParams(), std::size(expected));
    for (unsigned index = 0; index < std::size(expected); ++index) {
        const Kv::Ptr<iShaderParam> param = effect->getParam(index);
        EXPECT_STREQ(param->getID().c_str(), expected[index].first);
        EXPECT_EQ(param->getType(), expected[index].second) << expected[index].first;
        EXPECT_TRUE(effect->getParam(expected[index].first) == param);
    }
    EXPECT_FALSE(effect->getParam(std::size(expected)));
    EXPECT_FALSE(effect->getParam("InputSampler")) << "samplers and textures are not parameters";
    ASSERT_EQ(effect->getNumInputs(), 3u) << "render targets are not inputs";
    EXPECT_STREQ(effect->getInput(1).name.c_str(), "_Mask");
    EXPECT_STREQ(effect->getInput(1).resource.c_str(), "mask.png");
    EXPECT_TRUE(effect->getInput(3).name.empty());

    const Kv::Ptr<iShaderParam> amount = effect->getParam("Amount");
    EXPECT_STREQ(amount->getAnnotationStringValue("UIName").c_str(), "How much");
    EXPECT_FLOAT_EQ(amount->getAnnotationFloatValue("UIMin"), -1.0f);
    EXPECT_TRUE(amount->getAnnotationBoolValue("Visible"));
    EXPECT_TRUE(amount->hasAnnotation("Steps", eType::eTypeInt));
    EXPECT_FALSE(amount->hasAnnotation("Steps", eType::eTypeFloat));
    EXPECT_TRUE(amount->getAnnotationStringValue("UIMin").empty());
    EXPECT_EQ(amount->getAnnotationFloatValue("Missing"), 0.0f);

    // Setters answer whether the value fits.
    EXPECT_TRUE(effect->setValue("Tint", NormalisedRGB(0.25f, 0.5f, 0.75f, 1)));
    EXPECT_EQ(effect->getParam("Tint")->getColourValue(), NormalisedRGB(0.25f, 0.5f, 0.75f, 1));
    EXPECT_FALSE(effect->setValue("Amount", NormalisedRGB()));
    EXPECT_FALSE(effect->setValue("Label", 1.0f));
    EXPECT_FALSE(effect->setValue("Nothing", 1));
    EXPECT_FALSE(effect->getParam("Offset")->setFloat3x3Value({}));
    EXPECT_EQ(effect->getParam("Turn")->getFloat3x3Value().m[2][0], 7.0f) << "row after row";
}

TEST_F(GLSLShaderEffectTest, PassesReadEachSourceOnItsOwnCoordinateSet)
{
    const Kv::Ptr<iShaderEffect> effect = compile(kEffect);
    ASSERT_TRUE(effect);

    // Source i on set i + 1, the unit square around them. _Mask answers to
    // Mask too; a sampler no source reaches reads black.
    for (const auto& [maskName, found] : {std::pair("_Mask", true), {"Mask", true}, {"Scratch", false}}) {
        SCOPED_TRACE(maskName);
        expectPixels(drawPass(*effect, {source("Input", imageOf(inputTexel)), source(maskName, imageOf(maskTexel))}),
                     [found = found](int x, int y) {
                         return Rgba{inputTexel(x, y)[0], found ? maskTexel(x, y)[1] : 0, ramp(x), ramp(y)};
                     });
    }
    const Sources sources = {source("Input", imageOf(inputTexel)), source("Mask", imageOf(maskTexel))};

    // A value set between passes is there in the next.
    ASSERT_TRUE(effect->setValue("Amount", 0.5f));
    EXPECT_NEAR(pixelOf(drawPass(*effect, sources), 3, 0)[2], 0.875 * 0.5 * 255, 1);

    // Source i on set i, and (0, 0) on the two sets after them.
    const Kv::Ptr<iGPUImage> target = newTarget();
    {
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
        effect->renderQuadrilateral({0, kSize}, {kSize, kSize}, {0, 0}, {kSize, 0}, sources);
    }
    expectPixels(target, [](int x, int y) {
        return Rgba{inputTexel(x, y)[0], maskTexel(0, 0)[1], int(std::lround((x + 0.5) / kSize * 0.5 * 255)), 0};
    });
}

TEST_F(GLSLShaderEffectTest, AddressModesOfSamplerStatesApply)
{
    // The mask is read from 0 to 2 across the target. One mask image serves
    // every case: a sampler without a state repeats, whatever the last user set.
    const struct
    {
        const char* state;
        std::uint32_t addressU;
        int texels[kSize];
    } cases[] = {
        {"AddressU = Clamp;", GL_CLAMP_TO_EDGE, {1, 3, 3, 3}},
        {"", GL_REPEAT, {1, 3, 1, 3}},
        {"AddressU = Wrap;", GL_REPEAT, {1, 3, 1, 3}},
        {"AddressU = Mirror;", GL_MIRRORED_REPEAT, {1, 3, 3, 1}},
    };
    const Kv::Ptr<iGPUImage> mask = imageOf(maskTexel);
    for (const auto& test : cases) {
        SCOPED_TRACE(test.state);
        const Kv::Ptr<iShaderEffect> effect = compile(kEffect, {{"ADDRESS", test.state}, {"VALUE", "1"}});
        ASSERT_TRUE(effect);
        const auto& samplers = dynamic_cast<GLSLShaderEffect&>(*effect).getSamplers();
        ASSERT_EQ(samplers.size(), 3u);
        EXPECT_EQ(samplers[1].sampler->name(), "MaskSampler");
        EXPECT_EQ(samplers[1].addressU, test.addressU);
        EXPECT_EQ(samplers[1].addressV, std::uint32_t(GL_REPEAT));

        const Kv::Ptr<iGPUImage> drawn =
            drawPass(*effect, {source("Input", imageOf(inputTexel)), source("Mask", mask, 2)});
        for (int x = 0; x < kSize; ++x)
            EXPECT_EQ(pixelOf(drawn, x, 0)[1], maskTexel(test.texels[x], 0)[1]) << "pixel " << x;
    }
}

TEST_F(GLSLShaderEffectTest, TwoPassEffectsRenderTheirFirstPassIntoAnImageTheSecondReads)
{
    const Sources sources = {source("Input", imageOf(inputTexel))};
    const std::pair<const char*, Texels> cases[] = {
        {kTwoPassEffect, [](int x, int y) { return Rgba{102, inputTexel(x, y)[0], 153, 255}; }},
        {kScriptedTwoPassEffect, [](int x, int y) { return Rgba{0, inputTexel(x, y)[0] / 2, 64, 128}; }},
    };
    for (const auto& [text, expected] : cases) {
        const Kv::Ptr<iShaderEffect> effect = compile(text);
        ASSERT_TRUE(effect);
        const Kv::Ptr<iGPUImage> target = newTarget();
        effect->render(iShaderEffect::Target{target, nullptr}, sources, iShaderEffect::eBlendMode(0));
        const Kv::Ptr<iGPUImage> made = effect->render(XY<int>(kSize, kSize), sources, iGPUImage::eBGRA8);
        for (const Kv::Ptr<iGPUImage>& image : {target, made})
            expectPixels(image, expected);
    }
}

TEST_F(GLSLShaderEffectTest, RenderingIntoAnImageOfAnotherKindDoesNothing)
{
    // Nothing of it may be asked.
    struct ForeignImage : iOpenGLImage
    {
        XY<int> getSize() const override { return asked(); }
        unsigned int getBitsPerPixel() const override { return asked().x; }
        unsigned int getBitsPerComponent() const override { return asked().x; }
        Kv::Ptr<iGraphicPrimitivesRenderer> getPrimitivesRenderer(bool) override { return asked(), nullptr; }
        Kv::Ptr<iImage> createCompatibleImage(const XY<int>&) override { return asked(), nullptr; }
        Kv::Ptr<iPixelGuard> lock() override { return asked(), nullptr; }
        eFormat getFormat() const override { return asked(), eBGRA8; }
        std::uint32_t getTextureID() const override { return asked().x; }
        XY<int> asked() const
        {
            ADD_FAILURE() << "the foreign image was used";
            return {};
        }
    };
    const Kv::Ptr<iShaderEffect> effect = compile(kTwoPassEffect);
    ASSERT_TRUE(effect);
    const Sources sources = {source("Input", imageOf(inputTexel))};
    for (const Kv::Ptr<iGPUImage>& image : {Kv::Ptr<iGPUImage>(new ForeignImage), Kv::Ptr<iGPUImage>()})
        effect->render(iShaderEffect::Target{image, nullptr}, sources, iShaderEffect::eBlendMode(0));
}
