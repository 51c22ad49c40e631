#include "GLSLEffect.h"
#include "OpenGLRequired.h"
#include "SurfacelessGL.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <memory>

namespace {

using Float4 = SurfacelessGL::Float4;
using eKind = GLSLEffectParameter::eKind;
using eStateType = GLSLEffectParameter::SamplerState::eType;

constexpr int targetSize = 4;
constexpr float tolerance = 1.0f / 255.0f + 1e-4f;

const char kReflectedEffect[] = R"(texture Source < string Resource = "clip.png"; >;
sampler2D SourceSampler = sampler_state { Texture = <Source>; AddressU = Clamp; AddressV = Wrap; MinFilter = Linear; MaxAnisotropy = 4; };
float Amount < string UIName = "Amount"; float UIMin = -1.5; int Steps = 3; bool Hidden = true; > = 0.25;
float4 Tint : DIFFUSE = {1, 0.5, 0.25, 1};
float3 Grey = 0.5;
int Count = 7;
bool Enabled = true;
float3x3 Warp = {1, 2, 3, 4, 5, 6, 7, 8, 9};
float Weights[] = {0.1, 0.2, 0.3};
string Label = "hello";

float4 show(float2 uv : TEXCOORD0) : COLOR
{
    float4 colour = tex2D(SourceSampler, uv) * Tint * Amount;
    return Enabled ? colour * Count : float4(Grey, Weights[1]) + float4(mul(Warp, Grey), 0);
}

technique Main < string Category = "Test"; >
{
    pass First < string Script = "RenderColorTarget0=; Draw=Buffer;"; float Weight = 2; > { PixelShader = compile PROFILE show(); }
}
)";

// Each parameter type drives one channel or a check of the output.
const char kEveryTypeEffect[] = R"(float Scale = 0.75;
float2 Pair;
float3 Triple;
float4 Quad = {0.5, 0, 0, 0};
int Whole = 3;
bool Flag = true;
float3x3 Turn;
float4x4 Move;
float Table[3];

float4 values(float2 uv : TEXCOORD0) : COLOR
{
    float3 turned = mul(Turn, float3(1, 0, 0));
    float4 moved = mul(Move, float4(0, 1, 0, 0));
    return float4(Scale + Pair.y, Triple.z + Quad.w, (Flag ? 0.5 : 0.0) + Whole * 0.125,
                  turned.y * 0.25 + moved.x * 0.125 + Table[2]);
}

float4 defaults(float2 uv : TEXCOORD0) : COLOR
{
    return float4(Scale, Quad.x, Whole * 0.25, Flag ? 1.0 : 0.0);
}

technique Values { pass One { PixelShader = compile PROFILE values(); } }
technique Defaults { pass One { PixelShader = compile PROFILE defaults(); } }
)";

// Pass A reads only Later; pass B reads both: Later is read first, so it gets unit 0.
const char kTwoSamplerEffect[] = R"(texture First;
texture Second;
sampler2D Earlier = sampler_state { Texture = <First>; AddressU = Clamp; AddressV = Clamp; };
sampler2D Later = sampler_state { Texture = <Second>; AddressU = Wrap; AddressV = Wrap; MagFilter = Point; MinFilter = Point; };

float4 onlyLater(float2 uv : TEXCOORD0) : COLOR { return tex2D(Later, uv); }
float4 both(float2 uv : TEXCOORD0) : COLOR { return tex2D(Earlier, uv) * 0.5 + tex2D(Later, uv) * 0.5; }

technique Units
{
    pass A { PixelShader = compile PROFILE onlyLater(); }
    pass B { PixelShader = compile PROFILE both(); }
}
)";

const char kBlendingEffect[] = R"(float4 quarter(float2 uv : TEXCOORD0) : COLOR { return float4(0.25, 0.25, 0.25, 0.5); }

technique Add
{
    pass One { AlphaBlendEnable = true; BlendFunc = int2(One, One); PixelShader = compile PROFILE quarter(); }
}
technique Over
{
    pass One { BlendEnable = true; SrcBlend = SrcAlpha; DestBlend = InvSrcAlpha; PixelShader = compile PROFILE quarter(); }
}
)";

// The stages declare one uniform with two types, which no linker accepts.
const char kUnlinkableEffect[] = R"(void lift(float4 position : POSITION, uniform float4 gain, out float4 clip : POSITION,
          out float4 colour : COLOR0)
{
    clip = position;
    colour = gain;
}

float4 shade(float4 colour : COLOR0, uniform float3 gain) : COLOR { return float4(colour.xyz * gain, 1); }
float4 plain(float4 colour : COLOR0) : COLOR { return colour; }

technique Broken { pass One { VertexProgram = compile vp40 lift(); FragmentProgram = compile fp40 shade(); } }
technique Sound { pass One { FragmentProgram = compile fp40 plain(); } }
)";

// Direct3D's names for blending, culling and colour writes, beside states
// that mean nothing here.
const char kDirect3DStatesEffect[] = R"(float4 colour(float2 uv : TEXCOORD0) : COLOR { return float4(0.25, 0.5, 0.75, 0.5); }

technique CullCounterClockwise { pass One { CullMode = CCW; PixelShader = compile ps_2_0 colour(); } }
technique CullClockwise { pass One { CullMode = CW; Lighting = TRUE; PixelShader = compile ps_2_0 colour(); } }
technique WriteRedAndAlpha { pass One { ColorWriteEnable = RED | ALPHA; PixelShader = compile ps_2_0 colour(); } }
technique Multiply
{
    pass One
    {
        AlphaBlendEnable = TRUE; SrcBlend = DestColor; DestBlend = Zero; BlendOp = Add;
        Texture[0] = <Nothing>;
        PixelShader = compile ps_2_0 colour();
    }
}
)";

// One technique translates; each of the others has a shader the translator cannot take.
const char kMixedEffect[] = R"(float4 plain(float4 colour : COLOR0) : COLOR { return colour; }


technique Assembly
{
    pass P0
    {
        PixelShader = asm { ps_1_1 tex t0 mov r0, t0 };
    }
}
technique Good { pass One { PixelShader = compile ps_3_0 plain(); } }
technique Ancient { pass One { PixelShader = compile ps_1_4 plain(); } }
technique Later { pass One { PixelShader = compile ps_4_0 plain(); } }
technique Crossed { pass One { PixelShader = compile vs_3_0 plain(); } }
technique Untranslatable { pass One { PixelShader = compile fp40 plain(1, 2); } }
technique { pass { VertexShader = asm { vs_1_1 dcl_position v0 mov oPos, v0 }; PixelShader = compile fp40 plain(); } }
)";

const char kVertexAndPixelEffect[] = R"(float4 scale;
void lift(float4 position : POSITION, float4 uv : TEXCOORD0, float4 colour : COLOR0,
          out float4 clip : POSITION, out float2 coordinate : TEXCOORD0, out float4 tinted : COLOR0)
{
    clip = position;
    coordinate = uv.xy * scale.xy;
    tinted = colour * scale.z;
}
float4 show(float2 uv : TEXCOORD0, float4 colour : COLOR0) : COLOR { return float4(uv, colour.ba); }

technique Both { pass One { VertexShader = compile vp40 lift(); PixelShader = compile fp40 show(); } }
)";

class GLSLEffectTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char folderTemplate[] = "/tmp/kvos-effect-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        cacheFolder_ = folderTemplate;
        cacheFolder_ += "/";
    }

    void TearDown() override
    {
        gl_.reset();
        if (!cacheFolder_.empty())
            std::filesystem::remove_all(cacheFolder_);
    }

    GLSLEffect::Compilation compile(const std::string& source, unsigned glslVersion = 0) const
    {
        const EffectCompilerProcess compiler(KVFXC_PATH, cacheFolder_, std::chrono::seconds(20));
        return GLSLEffect::compileBuffer(source, {{"PROFILE", "fp40"}}, "test.fx", {}, compiler, glslVersion);
    }

    std::unique_ptr<GLSLEffect> compiled(const std::string& source, unsigned glslVersion = 0) const
    {
        GLSLEffect::Compilation compilation = compile(source, glslVersion);
        EXPECT_NE(compilation.effect, nullptr) << compilation.listing;
        return std::move(compilation.effect);
    }

    bool openGL()
    {
        gl_ = std::make_unique<SurfacelessGL>(targetSize, targetSize);
        return gl_->available();
    }

    // Runs pass of technique 0 over the whole target, as a renderer would.
    void drawPass(const GLSLEffectPass& pass, const SurfacelessGL::Corner& corner = {})
    {
        pass.setState();
        pass.updateParameters();
        gl_->drawQuad(corner);
        pass.resetState();
    }

    ::testing::AssertionResult everyPixelIs(const Float4& expected)
    {
        for (int y = 0; y < targetSize; ++y) {
            for (int x = 0; x < targetSize; ++x) {
                const Float4 drawn = gl_->pixel(x, y);
                for (std::size_t component = 0; component < 4; ++component)
                    if (std::fabs(drawn[component] - expected[component]) > tolerance)
                        return ::testing::AssertionFailure()
                               << "pixel (" << x << ", " << y << ") component " << component << " is "
                               << drawn[component] << ", expected " << expected[component];
            }
        }
        return ::testing::AssertionSuccess();
    }

    std::string cacheFolder_;
    std::unique_ptr<SurfacelessGL> gl_;
};

SurfacelessGL::Corner texcoord0(float u, float v)
{
    SurfacelessGL::Corner corner;
    corner.texCoords[0] = {u, v, 0.0f, 1.0f};
    return corner;
}

} // namespace

TEST_F(GLSLEffectTest, ParametersComeInFileOrderWithTypesSemanticsAnnotationsAndDefaults)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kReflectedEffect);
    ASSERT_NE(effect, nullptr);
    const char* const names[] = {"Source", "SourceSampler", "Amount", "Tint", "Grey", "Count",
                                 "Enabled", "Warp", "Weights", "Label"};
    ASSERT_EQ(effect->parameterCount(), std::size(names));
    for (std::size_t index = 0; index < std::size(names); ++index)
        EXPECT_EQ(effect->parameter(index).name(), names[index]);

    const GLSLEffectParameter& source = *effect->findParameter("Source");
    EXPECT_EQ(source.kind(), eKind::texture);
    ASSERT_NE(source.findAnnotation("Resource"), nullptr);
    EXPECT_EQ(source.findAnnotation("Resource")->text, "clip.png");

    const GLSLEffectParameter& amount = *effect->findParameter("Amount");
    EXPECT_EQ(amount.kind(), eKind::value);
    EXPECT_EQ(amount.type().base, EffectType::eFloat);
    EXPECT_EQ(amount.floats(), std::vector<float>{0.25f});
    ASSERT_EQ(amount.annotations().size(), 4u);
    EXPECT_EQ(amount.findAnnotation("UIName")->type, EffectAnnotation::eString);
    EXPECT_EQ(amount.findAnnotation("UIMin")->values, std::vector<double>{-1.5});
    EXPECT_EQ(amount.findAnnotation("Steps")->type, EffectAnnotation::eInt);
    EXPECT_EQ(amount.findAnnotation("Hidden")->values, std::vector<double>{1});

    const GLSLEffectParameter& tint = *effect->findParameter("Tint");
    EXPECT_EQ(tint.semantic(), "DIFFUSE");
    EXPECT_EQ(tint.floats(), (std::vector<float>{1.0f, 0.5f, 0.25f, 1.0f}));
    EXPECT_EQ(effect->findParameter("Grey")->floats(), (std::vector<float>{0.5f, 0.5f, 0.5f}));
    EXPECT_EQ(effect->findParameter("Count")->ints(), std::vector<int>{7});
    EXPECT_EQ(effect->findParameter("Enabled")->ints(), std::vector<int>{1});
    EXPECT_EQ(effect->findParameter("Warp")->size(), 9u);
    EXPECT_EQ(effect->findParameter("Warp")->floats()[5], 6.0f);
    EXPECT_EQ(effect->findParameter("Weights")->floats(), (std::vector<float>{0.1f, 0.2f, 0.3f}));
    EXPECT_EQ(effect->findParameter("Label")->type().base, EffectType::eString);
    EXPECT_EQ(effect->findParameter("Label")->size(), 0u);

    // Setters refuse what does not fit, and booleans hold 0 or 1.
    const float five[] = {1, 2, 3, 4, 5};
    EXPECT_FALSE(effect->findParameter("Tint")->setFloats(five, 5));
    EXPECT_TRUE(effect->findParameter("Tint")->setFloats(five, 2));
    EXPECT_EQ(tint.floats(), (std::vector<float>{1.0f, 2.0f, 0.25f, 1.0f}));
    EXPECT_FALSE(effect->findParameter("Tint")->setMatrixRowMajor(five, 4));
    EXPECT_FALSE(effect->findParameter("Label")->setFloats(five, 1));
    EXPECT_FALSE(effect->findParameter("Source")->setFloats(five, 1));
    const int seven = 7;
    EXPECT_TRUE(effect->findParameter("Enabled")->setInts(&seven, 1));
    EXPECT_EQ(effect->findParameter("Enabled")->ints(), std::vector<int>{1});

    const GLSLEffectParameter& sampler = *effect->findParameter("SourceSampler");
    EXPECT_EQ(sampler.kind(), eKind::sampler);
    EXPECT_EQ(sampler.textureName(), "Source");
    EXPECT_EQ(sampler.unit(), 0);
    EXPECT_EQ(GLSLEffect::textureEnum(sampler), GLenum(GL_TEXTURE0));
    const auto& states = sampler.samplerStates();
    ASSERT_EQ(states.size(), 5u);
    EXPECT_EQ(states[0].type, eStateType::texture);
    EXPECT_EQ(states[0].text, "Source");
    // Clamp is reported as OpenGL's clamp, and applied as clamp-to-edge.
    EXPECT_EQ(states[1].name, "AddressU");
    EXPECT_EQ(states[1].type, eStateType::integer);
    EXPECT_EQ(states[1].value, GL_CLAMP);
    EXPECT_EQ(states[2].value, GL_REPEAT);
    EXPECT_EQ(states[3].value, GL_LINEAR);
    EXPECT_EQ(states[4].value, 4);

    ASSERT_EQ(effect->techniqueCount(), 1u);
    const GLSLEffect::Technique& technique = effect->technique(0);
    EXPECT_EQ(technique.name, "Main");
    EXPECT_EQ(findAnnotation(technique.annotations, "Category")->text, "Test");
    ASSERT_EQ(technique.passes.size(), 1u);
    EXPECT_EQ(technique.passes[0]->name(), "First");
    EXPECT_EQ(findAnnotation(technique.passes[0]->annotations(), "Script")->text, "RenderColorTarget0=; Draw=Buffer;");
    EXPECT_EQ(findAnnotation(technique.passes[0]->annotations(), "Weight")->values, std::vector<double>{2});
}

TEST_F(GLSLEffectTest, ParametersOfEveryTypeReachTheirUniformsWhenThePassUpdates)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kEveryTypeEffect);
    ASSERT_NE(effect, nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    ASSERT_TRUE(effect->validateTechnique(0)) << effect->technique(0).validationLog;

    const float scale = 0.125f, pair[] = {0.0f, 0.25f}, triple[] = {0, 0, 0.375f}, quad[] = {0, 0, 0, 0.25f};
    const int whole = 2, flag = 1;
    // Rows: Turn's second row, first column, is what mul(Turn, x axis).y reads.
    const float turn[] = {1, 0, 0, 0.8f, 1, 0, 0, 0, 1};
    // Move's first row, second column, is what mul(Move, y axis).x reads.
    const float move[] = {1, 0.8f, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const float table[] = {0.9f, 0.9f, 0.3f};
    ASSERT_TRUE(effect->findParameter("Scale")->setFloats(&scale, 1));
    ASSERT_TRUE(effect->findParameter("Pair")->setFloats(pair, 2));
    ASSERT_TRUE(effect->findParameter("Triple")->setFloats(triple, 3));
    ASSERT_TRUE(effect->findParameter("Quad")->setFloats(quad, 4));
    ASSERT_TRUE(effect->findParameter("Whole")->setInts(&whole, 1));
    ASSERT_TRUE(effect->findParameter("Flag")->setInts(&flag, 1));
    ASSERT_TRUE(effect->findParameter("Turn")->setMatrixRowMajor(turn, 9));
    ASSERT_TRUE(effect->findParameter("Move")->setMatrixRowMajor(move, 16));
    ASSERT_TRUE(effect->findParameter("Table")->setFloats(table, 3));

    drawPass(*effect->technique(0).passes[0]);
    EXPECT_TRUE(everyPixelIs({0.125f + 0.25f, 0.375f + 0.25f, 0.5f + 0.25f, 0.8f * 0.25f + 0.8f * 0.125f + 0.3f}));

    // A later value replaces the earlier one at the next update, not before.
    const float more = 0.5f;
    ASSERT_TRUE(effect->findParameter("Scale")->setFloats(&more, 1));
    EXPECT_TRUE(everyPixelIs({0.375f, 0.625f, 0.75f, 0.6f}));
    drawPass(*effect->technique(0).passes[0]);
    EXPECT_TRUE(everyPixelIs({0.75f, 0.625f, 0.75f, 0.6f}));
}

TEST_F(GLSLEffectTest, DefaultsReachTheUniformsUntilSomethingIsSet)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kEveryTypeEffect);
    ASSERT_NE(effect, nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    ASSERT_TRUE(effect->validateTechnique(1)) << effect->technique(1).validationLog;
    drawPass(*effect->technique(1).passes[0]);
    EXPECT_TRUE(everyPixelIs({0.75f, 0.5f, 0.75f, 1.0f}));
}

TEST_F(GLSLEffectTest, SamplersGetUnitsInOrderOfUseAndTheirAddressModes)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kTwoSamplerEffect);
    ASSERT_NE(effect, nullptr);
    GLSLEffectParameter& earlier = *effect->findParameter("Earlier");
    GLSLEffectParameter& later = *effect->findParameter("Later");
    EXPECT_EQ(later.unit(), 0);
    EXPECT_EQ(earlier.unit(), 1);
    EXPECT_EQ(GLSLEffect::textureEnum(earlier), GLenum(GL_TEXTURE1));
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    ASSERT_TRUE(effect->validateTechnique(0)) << effect->technique(0).validationLog;

    // Two texels side by side: black on the left, white on the right.
    const std::vector<std::uint8_t> halves = {0, 0, 0, 255, 255, 255, 255, 255};
    const GLuint first = gl_->makeTexture(2, 1, halves);
    const GLuint second = gl_->makeTexture(2, 1, halves);
    earlier.setup(first);
    later.setup(second);
    GLint wrap = 0;
    glActiveTexture(GL_TEXTURE1);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    EXPECT_EQ(wrap, GL_CLAMP_TO_EDGE);
    glActiveTexture(GL_TEXTURE0);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    EXPECT_EQ(wrap, GL_REPEAT);

    // u = 1.25: repeating lands on the black texel at 0.25, clamping stays on the white edge.
    const GLSLEffect::Technique& technique = effect->technique(0);
    drawPass(*technique.passes[0], texcoord0(1.25f, 0.5f));
    EXPECT_TRUE(everyPixelIs({0, 0, 0, 1}));
    drawPass(*technique.passes[1], texcoord0(1.25f, 0.5f));
    EXPECT_TRUE(everyPixelIs({0.5f, 0.5f, 0.5f, 1}));

    // Texture 0 unbinds the unit.
    later.setup(0);
    GLint bound = -1;
    glActiveTexture(GL_TEXTURE0);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(bound, 0);
}

TEST_F(GLSLEffectTest, PassRenderStatesApplyWhileThePassRunsAndAreUndoneAfter)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kBlendingEffect);
    ASSERT_NE(effect, nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    ASSERT_TRUE(effect->validateTechnique(0));
    ASSERT_TRUE(effect->validateTechnique(1));

    glClearColor(0.5f, 0.25f, 0.0f, 1.0f);
    drawPass(*effect->technique(0).passes[0]);
    EXPECT_TRUE(everyPixelIs({0.75f, 0.5f, 0.25f, 1.0f}));
    EXPECT_FALSE(glIsEnabled(GL_BLEND));

    drawPass(*effect->technique(1).passes[0]);
    EXPECT_TRUE(everyPixelIs({0.25f * 0.5f + 0.5f * 0.5f, 0.25f * 0.5f + 0.25f * 0.5f, 0.25f * 0.5f, 0.5f * 0.5f + 0.5f}));
    GLint source = 0;
    glGetIntegerv(GL_BLEND_SRC_RGB, &source);
    EXPECT_EQ(source, GL_ONE);
    glClearColor(0, 0, 0, 0);
}

TEST_F(GLSLEffectTest, Direct3DNamedStatesTakeEffectWhileThePassRuns)
{
    const GLSLEffect::Compilation compilation = compile(kDirect3DStatesEffect);
    ASSERT_NE(compilation.effect, nullptr) << compilation.listing;
    EXPECT_EQ(compilation.listing, "test.fx(4) : warning: render state 'Lighting' ignored\n"
                                   "test.fx(11) : warning: render state 'Texture[0]' ignored\n");
    GLSLEffect& effect = *compilation.effect;
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());

    // The quad winds counter-clockwise; the target starts as the clear colour.
    const Float4 clear{0.5f, 0.25f, 1.0f, 1.0f};
    const struct
    {
        const char* technique;
        Float4 expected;
    } cases[] = {
        {"CullCounterClockwise", clear},
        {"CullClockwise", {0.25f, 0.5f, 0.75f, 0.5f}},
        {"WriteRedAndAlpha", {0.25f, 0.25f, 1.0f, 0.5f}},
        {"Multiply", {0.125f, 0.125f, 0.75f, 0.5f}},
    };
    glClearColor(clear[0], clear[1], clear[2], clear[3]);
    for (const auto& example : cases) {
        SCOPED_TRACE(example.technique);
        std::size_t index = 0;
        while (index < effect.techniqueCount() && effect.technique(index).name != example.technique)
            ++index;
        ASSERT_TRUE(effect.validateTechnique(index)) << effect.technique(index).validationLog;
        glClear(GL_COLOR_BUFFER_BIT);
        drawPass(*effect.technique(index).passes[0]);
        EXPECT_TRUE(everyPixelIs(example.expected));
        GLboolean writes[4] = {};
        glGetBooleanv(GL_COLOR_WRITEMASK, writes);
        EXPECT_TRUE(writes[0] && writes[1] && writes[2] && writes[3]);
        EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
        EXPECT_FALSE(glIsEnabled(GL_BLEND));
    }
    glClearColor(0, 0, 0, 0);
}

TEST_F(GLSLEffectTest, TechniquesThatCannotBeTranslatedAreInvalidWithTheirReasonAndTheOthersWork)
{
    const GLSLEffect::Compilation compilation = compile(kMixedEffect);
    ASSERT_NE(compilation.effect, nullptr) << compilation.listing;
    GLSLEffect& effect = *compilation.effect;
    const struct
    {
        const char* technique;
        const char* reason; // the start of it; empty for a technique that translates
    } cases[] = {
        {"Assembly", "test.fx(8) : error: technique Assembly, pass P0: the pixel shader is assembly, which cannot be "
                     "translated\n"},
        {"Good", ""},
        {"Ancient", "test.fx(12) : error: technique Ancient, pass One: the profile 'ps_1_4' cannot be translated\n"},
        {"Later", "test.fx(13) : error: technique Later, pass One: the profile 'ps_4_0' cannot be translated\n"},
        {"Crossed", "test.fx(14) : error: technique Crossed, pass One: the profile 'vs_3_0' is not for pixel shaders\n"},
        {"Untranslatable", "test.fx(1) : error: technique Untranslatable, pass One: "},
        {"", "test.fx(16) : error: technique #7, pass #1: the vertex shader is assembly, which cannot be translated\n"},
    };
    ASSERT_EQ(effect.techniqueCount(), std::size(cases));
    for (std::size_t index = 0; index < std::size(cases); ++index) {
        const GLSLEffect::Technique& technique = effect.technique(index);
        const std::string reason = cases[index].reason;
        SCOPED_TRACE(technique.name);
        EXPECT_EQ(technique.name, cases[index].technique);
        if (reason.empty()) {
            EXPECT_EQ(technique.validity, GLSLEffect::Technique::eValidity::unknown);
            continue;
        }
        EXPECT_EQ(technique.validity, GLSLEffect::Technique::eValidity::invalid);
        EXPECT_EQ(technique.validationLog.rfind(reason, 0), 0u) << technique.validationLog;
        EXPECT_NE(compilation.listing.find(technique.validationLog), std::string::npos) << compilation.listing;
        // Invalid without a context: nothing is linked.
        EXPECT_FALSE(effect.validateTechnique(index));
        EXPECT_FALSE(technique.passes[0]->linked());
    }

    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    ASSERT_TRUE(effect.validateTechnique(1)) << effect.technique(1).validationLog;
    SurfacelessGL::Corner corner;
    corner.colour = {0.75f, 0.5f, 0.25f, 1.0f};
    drawPass(*effect.technique(1).passes[0], corner);
    EXPECT_TRUE(everyPixelIs(corner.colour));
}

TEST_F(GLSLEffectTest, EffectWithNoTranslatableTechniqueFailsWithEveryReason)
{
    const GLSLEffect::Compilation compilation =
        compile("float4 f() : COLOR { return 1; }\n"
                "technique A { pass P { PixelShader = asm { ps_2_0 mov oC0, c0 }; } }\n"
                "technique B {\n pass P { ZEnable = false; Lighting = true; PixelShader = compile ps_1_1 f(); } }\n");
    EXPECT_EQ(compilation.effect, nullptr);
    EXPECT_EQ(compilation.listing,
              "test.fx(4) : warning: render state 'Lighting' ignored\n"
              "test.fx(2) : error: technique A, pass P: the pixel shader is assembly, which cannot be translated\n"
              "test.fx(4) : error: technique B, pass P: the profile 'ps_1_1' cannot be translated\n");
}

TEST_F(GLSLEffectTest, TechniqueThatDoesNotLinkIsInvalidAndTheOthersStayUsable)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kUnlinkableEffect);
    ASSERT_NE(effect, nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    EXPECT_FALSE(effect->validateTechnique(0));
    EXPECT_EQ(effect->technique(0).validity, GLSLEffect::Technique::eValidity::invalid);
    EXPECT_NE(effect->technique(0).validationLog.find("pass One: "), std::string::npos)
        << effect->technique(0).validationLog;
    EXPECT_FALSE(effect->validateTechnique(0));
    EXPECT_TRUE(effect->validateTechnique(1));
    EXPECT_FALSE(effect->validateTechnique(2));

    SurfacelessGL::Corner corner;
    corner.colour = {0.25f, 0.5f, 0.75f, 1.0f};
    drawPass(*effect->technique(1).passes[0], corner);
    EXPECT_TRUE(everyPixelIs(corner.colour));
}

TEST_F(GLSLEffectTest, BadRenderStatesAndUnreadableFilesAreListedWithTheirLines)
{
    const GLSLEffect::Compilation unknown = compile(
        "float4 f() : COLOR { return 1; }\ntechnique T {\n pass P {\n  FogDensity = 2;\n  BlendFunc = int2(One, Sideways);\n"
        "  PixelShader = compile PROFILE f();\n }\n}\n");
    EXPECT_EQ(unknown.effect, nullptr);
    EXPECT_EQ(unknown.listing, "test.fx(4) : warning: render state 'FogDensity' ignored\n"
                               "test.fx(5) : error: the render state BlendFunc cannot take the value "
                               "'int2(One, Sideways)'\n");

    const EffectCompilerProcess compiler(KVFXC_PATH, cacheFolder_);
    const GLSLEffect::Compilation missing = GLSLEffect::compileFile(cacheFolder_ + "absent.fx", {}, compiler);
    EXPECT_EQ(missing.effect, nullptr);
    EXPECT_EQ(missing.listing, cacheFolder_ + "absent.fx(0) : error: the file cannot be read\n");

    const GLSLEffect::Compilation broken = compile("float4 f() : COLOR { return undefined; }\ntechnique T { pass P { "
                                                   "PixelShader = compile PROFILE f(); } }\n");
    EXPECT_EQ(broken.effect, nullptr);
    EXPECT_EQ(broken.listing.rfind("test.fx(1) : error: ", 0), 0u) << broken.listing;
}

TEST_F(GLSLEffectTest, VertexAndPixelProgramsLinkAndDrawInEitherGlslVersion)
{
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    for (const unsigned version : {120u, 130u}) {
        SCOPED_TRACE(version);
        const std::unique_ptr<GLSLEffect> effect = compiled(kVertexAndPixelEffect, version);
        ASSERT_NE(effect, nullptr);
        const GLSLEffectPass& pass = *effect->technique(0).passes[0];
        EXPECT_EQ(pass.vertexGlsl().rfind("#version " + std::to_string(version), 0), 0u) << pass.vertexGlsl();
        ASSERT_TRUE(effect->validateTechnique(0)) << effect->technique(0).validationLog;
        const float scale[] = {0.5f, 0.25f, 0.75f, 0.0f};
        ASSERT_TRUE(effect->findParameter("scale")->setFloats(scale, 4));
        SurfacelessGL::Corner corner = texcoord0(0.5f, 1.0f);
        corner.colour = {0.0f, 0.0f, 0.8f, 0.4f};
        drawPass(pass, corner);
        EXPECT_TRUE(everyPixelIs({0.25f, 0.25f, 0.6f, 0.3f}));
    }
    // Mesa offers more than GLSL 1.30.
    EXPECT_EQ(GLSLEffect::glslVersionOfCurrentContext(), 130u);
}
