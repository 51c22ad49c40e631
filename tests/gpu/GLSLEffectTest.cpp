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

constexpr int targetSize = 4;
// One step of an 8-bit channel, with room for the driver's rounding.
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

// Direct3D's and OpenGL's names for blending, culling and colour writes,
// beside states that mean nothing here.
const char kRenderStatesEffect[] = R"(float4 colour(float2 uv : TEXCOORD0) : COLOR { return float4(0.25, 0.5, 0.75, 0.5); }

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
technique Add { pass One { AlphaBlendEnable = true; BlendFunc = int2(One, One); PixelShader = compile fp40 colour(); } }
technique Over
{
    pass One { BlendEnable = true; SrcBlend = SrcAlpha; DestBlend = InvSrcAlpha; PixelShader = compile fp40 colour(); }
}
)";

// Good translates and links. Each technique before it has a shader the
// translator cannot take; the stages of Broken declare one uniform with two
// types, which no linker accepts.
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
void lift(float4 position : POSITION, uniform float4 gain, out float4 clip : POSITION, out float4 colour : COLOR0)
{
    clip = position;
    colour = gain;
}
float4 shade(float4 colour : COLOR0, uniform float3 gain) : COLOR { return float4(colour.xyz * gain, 1); }
technique Broken { pass One { VertexProgram = compile vp40 lift(); FragmentProgram = compile fp40 shade(); } }
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

// Effects compiled through kvfxc; with OpenGL, their passes draw a small quad
// with the test playing the renderer, and the pixels read back are compared
// with the CPU's values.
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

    // The named technique, validated on the fixture's context.
    static const GLSLEffect::Technique* validated(GLSLEffect& effect, const std::string& name)
    {
        for (std::size_t index = 0; index < effect.techniqueCount(); ++index) {
            if (effect.technique(index).name != name)
                continue;
            EXPECT_TRUE(effect.validateTechnique(index)) << effect.technique(index).validationLog;
            return &effect.technique(index);
        }
        ADD_FAILURE() << "no technique " << name;
        return nullptr;
    }

    // Runs the pass over the whole target, as a renderer would.
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
                return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") component " << component
                                                     << " is " << drawn[component] << ", expected "
                                                     << expected[component];
        }
        return ::testing::AssertionSuccess();
    }

    ::testing::AssertionResult everyPixelIs(const Float4& expected)
    {
        for (int y = 0; y < targetSize; ++y) {
            for (int x = 0; x < targetSize; ++x) {
                ::testing::AssertionResult result = pixelIs(x, y, expected);
                if (!result)
                    return result;
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

// Cg as authors write it for other tools, one construct per case, drawn with
// constant inputs; pixel (1, 2) is checked.
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
    {"COLOR1 as the secondary colour", R"(
float4 main(float4 primary : COLOR0, float4 second : COLOR1) : COLOR { return float4(second.rgb * 0.5 + primary.rgb * 0.25, 1); }
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({}), {0.4f, 0.5f, 0.55f, 1.0f}},
    // Window coordinates: origin at the bottom left, pixel centres on halves.
    {"WPOS as the window position of the pixel centre", R"(
float4 main(float4 position : WPOS) : COLOR { return float4(position.x / 8, position.y / 8, frac(position.x), 1); }
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({}), {1.5f / 8, 2.5f / 8, 0.5f, 1.0f}},
    {"VPOS as the window position of the pixel centre", R"(
float4 main(float2 position : VPOS) : COLOR { return float4(position.y / 8, position.x / 8, 0, 1); }
technique t { pass p { FragmentProgram = compile fp40 main(); } })",
     cornerWith({}), {2.5f / 8, 1.5f / 8, 0.0f, 1.0f}},
};

} // namespace

TEST_F(GLSLEffectTest, ParametersComeInFileOrderWithTheirValuesAnnotationsAndSamplerStates)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kReflectedEffect);
    ASSERT_NE(effect, nullptr);
    const std::pair<const char*, std::vector<float>> parameters[] = {
        {"Source", {}},
        {"SourceSampler", {}},
        {"Amount", {0.25f}},
        {"Tint", {1.0f, 0.5f, 0.25f, 1.0f}},
        {"Grey", {0.5f, 0.5f, 0.5f}},
        {"Count", {7}},
        {"Enabled", {1}},
        {"Warp", {1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"Weights", {0.1f, 0.2f, 0.3f}},
        {"Label", {}},
    };
    ASSERT_EQ(effect->parameterCount(), std::size(parameters));
    for (std::size_t index = 0; index < std::size(parameters); ++index) {
        const auto& [name, values] = parameters[index];
        EXPECT_EQ(effect->parameter(index).name(), name);
        EXPECT_EQ(effect->parameter(index).floats(), values) << name;
        EXPECT_EQ(effect->parameter(index).size(), values.size()) << name;
    }
    EXPECT_EQ(effect->findParameter("Source")->kind(), eKind::texture);
    EXPECT_EQ(effect->findParameter("Source")->findAnnotation("Resource")->text, "clip.png");
    EXPECT_EQ(effect->findParameter("Amount")->annotations().size(), 4u);
    EXPECT_EQ(effect->findParameter("Tint")->semantic(), "DIFFUSE");
    EXPECT_EQ(effect->findParameter("Label")->type().base, EffectType::eString);

    // Setters refuse what does not fit, and booleans hold 0 or 1.
    GLSLEffectParameter& tint = *effect->findParameter("Tint");
    const float five[] = {1, 2, 3, 4, 5};
    EXPECT_FALSE(tint.setFloats(five, 5));
    EXPECT_TRUE(tint.setFloats(five, 2));
    EXPECT_EQ(tint.floats(), (std::vector<float>{1.0f, 2.0f, 0.25f, 1.0f}));
    EXPECT_FALSE(tint.setMatrixRowMajor(five, 4));
    EXPECT_FALSE(effect->findParameter("Label")->setFloats(five, 1));
    EXPECT_FALSE(effect->findParameter("Source")->setFloats(five, 1));
    const int seven = 7;
    EXPECT_TRUE(effect->findParameter("Enabled")->setInts(&seven, 1));
    EXPECT_EQ(effect->findParameter("Enabled")->ints(), std::vector<int>{1});

    const GLSLEffectParameter& sampler = *effect->findParameter("SourceSampler");
    EXPECT_EQ(sampler.kind(), eKind::sampler);
    EXPECT_EQ(sampler.textureName(), "Source");
    EXPECT_EQ(GLSLEffect::textureEnum(sampler), GLenum(GL_TEXTURE0));
    // Clamp is reported as OpenGL's clamp, and applied as clamp-to-edge.
    std::vector<std::pair<std::string, GLint>> states;
    for (const GLSLEffectParameter::SamplerState& state : sampler.samplerStates())
        states.emplace_back(state.name == "Texture" ? state.text : state.name, state.value);
    EXPECT_EQ(states, (std::vector<std::pair<std::string, GLint>>{
                          {"Source", 0}, {"AddressU", GL_CLAMP}, {"AddressV", GL_REPEAT}, {"MinFilter", GL_LINEAR},
                          {"MaxAnisotropy", 4}}));

    ASSERT_EQ(effect->techniqueCount(), 1u);
    const GLSLEffect::Technique& technique = effect->technique(0);
    EXPECT_EQ(findAnnotation(technique.annotations, "Category")->text, "Test");
    EXPECT_EQ(technique.passes.at(0)->name(), "First");
    EXPECT_EQ(findAnnotation(technique.passes[0]->annotations(), "Weight")->values, std::vector<double>{2});
}

TEST_F(GLSLEffectTest, ParametersOfEveryTypeReachTheirUniformsWhenThePassUpdates)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(kEveryTypeEffect);
    ASSERT_NE(effect, nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    ASSERT_TRUE(effect->validateTechnique(0)) << effect->technique(0).validationLog;
    ASSERT_TRUE(effect->validateTechnique(1)) << effect->technique(1).validationLog;

    // The defaults, until something is set.
    drawPass(*effect->technique(1).passes[0]);
    EXPECT_TRUE(everyPixelIs({0.75f, 0.5f, 0.75f, 1.0f}));

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
    earlier.setup(gl_->makeTexture(2, 1, halves));
    later.setup(gl_->makeTexture(2, 1, halves));
    // Clamp is applied as clamp-to-edge.
    GLint wrap = 0;
    glActiveTexture(GL_TEXTURE1);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    glActiveTexture(GL_TEXTURE0);
    EXPECT_EQ(wrap, GL_CLAMP_TO_EDGE);

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

TEST_F(GLSLEffectTest, RenderStatesApplyWhileThePassRunsAndAreUndoneAfter)
{
    const GLSLEffect::Compilation compilation = compile(kRenderStatesEffect);
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
        {"Add", {0.75f, 0.75f, 1.0f, 1.0f}},
        {"Over", {0.375f, 0.375f, 0.875f, 0.75f}},
    };
    glClearColor(clear[0], clear[1], clear[2], clear[3]);
    for (const auto& example : cases) {
        SCOPED_TRACE(example.technique);
        const GLSLEffect::Technique* technique = validated(effect, example.technique);
        ASSERT_NE(technique, nullptr);
        glClear(GL_COLOR_BUFFER_BIT);
        drawPass(*technique->passes[0]);
        EXPECT_TRUE(everyPixelIs(example.expected));
        GLboolean writes[4] = {};
        glGetBooleanv(GL_COLOR_WRITEMASK, writes);
        EXPECT_TRUE(writes[0] && writes[1] && writes[2] && writes[3]);
        EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
        EXPECT_FALSE(glIsEnabled(GL_BLEND));
        GLint source = 0;
        glGetIntegerv(GL_BLEND_SRC_RGB, &source);
        EXPECT_EQ(source, GL_ONE);
    }
    glClearColor(0, 0, 0, 0);
}

TEST_F(GLSLEffectTest, TechniquesThatDoNotTranslateOrLinkAreInvalidWithTheirReasonAndTheOthersWork)
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
        {"Broken", ""},
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
    const std::size_t broken = std::size(cases) - 1;
    EXPECT_FALSE(effect.validateTechnique(broken));
    EXPECT_EQ(effect.technique(broken).validity, GLSLEffect::Technique::eValidity::invalid);
    EXPECT_NE(effect.technique(broken).validationLog.find("pass One: "), std::string::npos)
        << effect.technique(broken).validationLog;
    ASSERT_TRUE(effect.validateTechnique(1)) << effect.technique(1).validationLog;
    SurfacelessGL::Corner corner;
    corner.colour = {0.75f, 0.5f, 0.25f, 1.0f};
    drawPass(*effect.technique(1).passes[0], corner);
    EXPECT_TRUE(everyPixelIs(corner.colour));
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

TEST_F(GLSLEffectTest, CgWrittenForOtherToolsCompilesLinksAndDraws)
{
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    const std::vector<std::uint8_t> texel = {204, 102, 51, 255};
    for (const DialectCase& dialect : kDialectCases) {
        SCOPED_TRACE(dialect.construct);
        const std::unique_ptr<GLSLEffect> effect = compiled(dialect.effect);
        ASSERT_NE(effect, nullptr);
        const GLSLEffect::Technique* only = validated(*effect, "t");
        ASSERT_NE(only, nullptr);
        for (std::size_t index = 0; index < effect->parameterCount(); ++index)
            if (effect->parameter(index).kind() == eKind::sampler)
                effect->parameter(index).setup(gl_->makeTexture(1, 1, texel));
        if (GLSLEffectParameter* frame = effect->findParameter("IN.frame_count")) {
            const float videoSize[] = {1, 1}, textureSize[] = {2, 2}, frameCount = 0.1f;
            ASSERT_TRUE(effect->findParameter("IN.video_size")->setFloats(videoSize, 2));
            ASSERT_TRUE(effect->findParameter("IN.texture_size")->setFloats(textureSize, 2));
            ASSERT_TRUE(frame->setFloats(&frameCount, 1));
            EXPECT_EQ(effect->findParameter("decal")->unit(), 2);
            EXPECT_EQ(effect->findParameter("gain"), nullptr);
        }
        drawPass(*only->passes[0], dialect.corner);
        EXPECT_TRUE(pixelIs(1, 2, dialect.expected));
    }
}

TEST_F(GLSLEffectTest, VertexProgramReadsOpenGLStateThroughGlstateAndStateSemantics)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(R"(
void vertexMain(float4 position : POSITION, uniform float4x4 projection : state.matrix.projection,
                out float4 clip : POSITION, out float4 colour : COLOR0)
{
    clip = mul(glstate.matrix.mvp, position);
    colour = float4(glstate.matrix.mvp[0][0], glstate.matrix.mvp[0][3], projection[1][1],
                    glstate.matrix.inverse.modelview[0][2][2] * 0.25);
}
float4 pixelMain(float4 colour : COLOR0) : COLOR { return colour; }
technique t { pass p { VertexProgram = compile vp40 vertexMain(); FragmentProgram = compile fp40 pixelMain(); } })");
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(effect->findParameter("projection"), nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    const GLSLEffect::Technique* only = validated(*effect, "t");
    ASSERT_NE(only, nullptr);

    // Projection: half size, moved a quarter to the right; modelview: depth scaled by 2.
    glMatrixMode(GL_PROJECTION);
    glTranslatef(0.25f, 0.0f, 0.0f);
    glScalef(0.5f, 0.5f, 1.0f);
    glMatrixMode(GL_MODELVIEW);
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

TEST_F(GLSLEffectTest, ArraySamplersReadTheLayerTheCoordinateNames)
{
    const std::unique_ptr<GLSLEffect> effect = compiled(R"(
sampler2DARRAY layers;
sampler1DARRAY strips;
float4 main(float2 uv : TEXCOORD0) : COLOR
{
    int3 size = tex2DARRAYsize(layers, 0);
    return tex2DARRAY(layers, float3(uv, 1)) * 0.5 + tex1DARRAY(strips, float2(uv.x, 1)) * 0.25 +
           tex2DARRAYlod(layers, float4(uv, 0, 0)) * 0.125 * size.z;
}
technique t { pass p { FragmentProgram = compile fp40 main(); } })");
    ASSERT_NE(effect, nullptr);
    REQUIRE_OPENGL(openGL(), gl_->unavailableReason());
    const GLSLEffect::Technique* only = validated(*effect, "t");
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
        GLSLEffectParameter* sampler = effect->findParameter(name);
        ASSERT_NE(sampler, nullptr);
        EXPECT_EQ(sampler->textureTarget(), GLenum(name[0] == 'l' ? GL_TEXTURE_2D_ARRAY : GL_TEXTURE_1D_ARRAY));
        sampler->setup(textures[name[0] == 'l' ? 0 : 1]);
    }
    drawPass(*only->passes[0], texelForPixel(0));
    // Layer 1 by half and by a quarter, layer 0 by an eighth for each of the two layers.
    EXPECT_TRUE(pixelIs(1, 2, {0.25f, 0.75f, 0.0f, 1.0f}));
    glDeleteTextures(2, textures);
}
