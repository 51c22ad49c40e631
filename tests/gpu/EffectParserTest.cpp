#include "EffectParser.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace
{
    EffectModel parse(const std::string& source, const EffectParser::Definitions& definitions = {{"PROFILE", "glslf"}})
    {
        return EffectParser::parseBuffer(source, "test.fx", "", definitions);
    }

    const EffectParameter* parameter(const EffectModel& model, const std::string& name)
    {
        for (const EffectParameter& candidate : model.parameters)
            if (candidate.name == name)
                return &candidate;
        return nullptr;
    }
}

TEST(EffectParser, ParametersKeepTypeShapeSemanticAndDefaults)
{
    const EffectModel model = parse("float amount = 0.5;\n"
                                    "float2 offset : TEXCOORD0 = {1, -2};\n"
                                    "float3 tint = float3(1, 0.5f, .25);\n"
                                    "float4 colour : DIFFUSE;\n"
                                    "int count = 3;\n"
                                    "bool invert = true;\n"
                                    "half2 small;\n"
                                    "fixed4 mask;\n"
                                    "float3x3 rotation;\n"
                                    "uniform float4x4 transform : WORLDVIEWPROJECTION;\n"
                                    "float weights[3] = {0.25, 0.5, 0.25};\n"
                                    "float scaled = amount * 2;\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    ASSERT_EQ(model.parameters.size(), 12u);

    const EffectParameter* offset = parameter(model, "offset");
    EXPECT_EQ(offset->type.base, EffectType::eFloat);
    EXPECT_EQ(offset->type.columns, 2u);
    EXPECT_EQ(offset->semantic, "TEXCOORD0");
    EXPECT_EQ(offset->defaults, (std::vector<double>{1, -2}));
    EXPECT_EQ(parameter(model, "tint")->defaults, (std::vector<double>{1, 0.5, 0.25}));
    EXPECT_EQ(parameter(model, "count")->type.base, EffectType::eInt);
    EXPECT_EQ(parameter(model, "count")->defaults, (std::vector<double>{3}));
    EXPECT_EQ(parameter(model, "invert")->type.base, EffectType::eBool);
    EXPECT_EQ(parameter(model, "invert")->defaults, (std::vector<double>{1}));
    EXPECT_EQ(parameter(model, "small")->type.base, EffectType::eHalf);
    EXPECT_EQ(parameter(model, "mask")->type.base, EffectType::eFixed);
    EXPECT_EQ(parameter(model, "mask")->type.columns, 4u);
    const EffectParameter* rotation = parameter(model, "rotation");
    EXPECT_EQ(rotation->type.rows, 3u);
    EXPECT_EQ(rotation->type.columns, 3u);
    const EffectParameter* transform = parameter(model, "transform");
    EXPECT_TRUE(transform->isUniform);
    EXPECT_EQ(transform->type.rows, 4u);
    EXPECT_EQ(transform->semantic, "WORLDVIEWPROJECTION");
    EXPECT_EQ(parameter(model, "weights")->arraySizes, (std::vector<unsigned>{3}));
    EXPECT_EQ(parameter(model, "weights")->defaults.size(), 3u);
    // An expression default is kept as text only.
    EXPECT_EQ(parameter(model, "scaled")->defaultText, "amount * 2");
    EXPECT_TRUE(parameter(model, "scaled")->defaults.empty());
    EXPECT_EQ(parameter(model, "scaled")->location.line, 12u);
}

TEST(EffectParser, AnnotationsOfEachKind)
{
    const EffectModel model = parse("float gain < string UIName = \"Gain\" \" level\"; float UIMin = -1.5;\n"
                                    "              int Steps = 10; bool Visible = false; float2 Range = {0, 4}; > = 1;\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    const EffectAnnotations& annotations = model.parameters.at(0).annotations;
    ASSERT_EQ(annotations.size(), 5u);
    EXPECT_EQ(findAnnotation(annotations, "UIName")->type, EffectAnnotation::eString);
    EXPECT_EQ(findAnnotation(annotations, "UIName")->text, "Gain level");
    EXPECT_EQ(findAnnotation(annotations, "UIMin")->type, EffectAnnotation::eFloat);
    EXPECT_EQ(findAnnotation(annotations, "UIMin")->values, (std::vector<double>{-1.5}));
    EXPECT_EQ(findAnnotation(annotations, "Steps")->type, EffectAnnotation::eInt);
    EXPECT_EQ(findAnnotation(annotations, "Steps")->values, (std::vector<double>{10}));
    EXPECT_EQ(findAnnotation(annotations, "Visible")->type, EffectAnnotation::eBool);
    EXPECT_EQ(findAnnotation(annotations, "Visible")->values, (std::vector<double>{0}));
    EXPECT_EQ(findAnnotation(annotations, "Range")->values, (std::vector<double>{0, 4}));
    EXPECT_EQ(model.parameters[0].defaults, (std::vector<double>{1}));
}

TEST(EffectParser, SamplerStatesAndTextures)
{
    const EffectModel model = parse("texture source : INPUT < string Resource = \"clip\"; >;\n"
                                    "sampler2D sourceSampler = sampler_state {\n"
                                    "    Texture = <source>;\n"
                                    "    AddressU = Clamp;\n"
                                    "    AddressV = Mirror;\n"
                                    "    MinFilter = Linear;\n"
                                    "    MagFilter = Point;\n"
                                    "    MipFilter = None;\n"
                                    "};\n"
                                    "samplerRECT plain;\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    ASSERT_EQ(model.textures.size(), 1u);
    EXPECT_EQ(model.textures[0].name, "source");
    EXPECT_EQ(model.textures[0].semantic, "INPUT");
    EXPECT_EQ(findAnnotation(model.textures[0].annotations, "Resource")->text, "clip");
    ASSERT_EQ(model.samplers.size(), 2u);
    const EffectSampler& sampler = model.samplers[0];
    EXPECT_EQ(sampler.typeName, "sampler2D");
    EXPECT_EQ(sampler.texture, "source");
    EXPECT_EQ(sampler.addressU, EffectSampler::eClampToEdge);
    EXPECT_EQ(sampler.addressV, EffectSampler::eMirroredRepeat);
    EXPECT_EQ(sampler.minFilter, "Linear");
    EXPECT_EQ(sampler.magFilter, "Point");
    EXPECT_EQ(sampler.mipFilter, "None");
    EXPECT_EQ(sampler.states.size(), 6u);
    EXPECT_EQ(sampler.states[1].location.line, 4u);
    EXPECT_EQ(model.samplers[1].typeName, "samplerRECT");
    EXPECT_EQ(model.samplers[1].addressU, EffectSampler::eRepeat);
    EXPECT_TRUE(model.parameters.empty());
}

TEST(EffectParser, StructsStaticConstantsAndFunctionsStayAsSourceInOrder)
{
    const EffectModel model = parse("struct Vertex { float4 position : POSITION; float2 uv : TEXCOORD0; };\n"
                                    "static const float kernel[3] = { 0.25, 0.5, 0.25 };\n"
                                    "float4 blur(Vertex input, uniform float spread, out float weight) : COLOR\n"
                                    "{\n"
                                    "    weight = kernel[1] * spread;\n"
                                    "    return float4(input.uv, 0, 1);\n"
                                    "}\n"
                                    "void split(in float4 colour : COLOR0, inout float level);\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    EXPECT_TRUE(model.parameters.empty());
    ASSERT_EQ(model.declarations.size(), 4u);
    EXPECT_EQ(model.declarations[0].kind, EffectDeclaration::eStruct);
    EXPECT_EQ(model.declarations[0].name, "Vertex");
    EXPECT_EQ(model.declarations[0].text, "struct Vertex { float4 position : POSITION; float2 uv : TEXCOORD0; };");
    EXPECT_EQ(model.declarations[1].kind, EffectDeclaration::eConstant);
    EXPECT_EQ(model.declarations[1].name, "kernel");
    EXPECT_EQ(model.declarations[1].text, "static const float kernel[3] = { 0.25, 0.5, 0.25 };");
    EXPECT_EQ(model.declarations[2].kind, EffectDeclaration::eFunction);

    ASSERT_EQ(model.functions.size(), 2u);
    const EffectFunction& blur = model.functions[0];
    EXPECT_EQ(blur.name, "blur");
    EXPECT_EQ(blur.returnType, "float4");
    EXPECT_EQ(blur.returnSemantic, "COLOR");
    EXPECT_EQ(blur.location.line, 3u);
    EXPECT_EQ(blur.text.substr(0, 12), "float4 blur(");
    EXPECT_EQ(blur.text.back(), '}');
    ASSERT_EQ(blur.parameters.size(), 3u);
    EXPECT_EQ(blur.parameters[0].typeName, "Vertex");
    EXPECT_TRUE(blur.parameters[1].isUniform);
    EXPECT_EQ(blur.parameters[2].direction, EffectFunctionParameter::eOut);
    EXPECT_EQ(blur.parameters[2].name, "weight");
    const EffectFunction& split = model.functions[1];
    EXPECT_FALSE(split.hasBody);
    EXPECT_EQ(split.parameters[0].semantic, "COLOR0");
    EXPECT_EQ(split.parameters[0].direction, EffectFunctionParameter::eIn);
    EXPECT_EQ(split.parameters[1].direction, EffectFunctionParameter::eInOut);
}

TEST(EffectParser, TwoPassTechniqueRendersToANamedTarget)
{
    const EffectModel model = parse("texture intermediate : RENDERCOLORTARGET;\n"
                                    "float4 first(float2 uv : TEXCOORD0) : COLOR { return float4(uv, 0, 1); }\n"
                                    "float4 second(float2 uv : TEXCOORD0, uniform float gain) : COLOR { return gain; }\n"
                                    "technique Glow < string Description = \"two passes\"; >\n"
                                    "{\n"
                                    "    pass Spread < string Script = \"RenderColorTarget0 = intermediate;\"; >\n"
                                    "    {\n"
                                    "        FragmentProgram = compile PROFILE first();\n"
                                    "        BlendEnable = false;\n"
                                    "    }\n"
                                    "    pass Combine\n"
                                    "    {\n"
                                    "        VertexProgram = NULL;\n"
                                    "        PixelShader = compile PROFILE second(0.5, float2(1, 2));\n"
                                    "        BlendFunc = int2(SrcAlpha, OneMinusSrcAlpha);\n"
                                    "    }\n"
                                    "}\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    ASSERT_EQ(model.textures.size(), 1u);
    EXPECT_EQ(model.textures[0].semantic, "RENDERCOLORTARGET");
    ASSERT_EQ(model.techniques.size(), 1u);
    const EffectTechnique& technique = model.techniques[0];
    EXPECT_EQ(technique.name, "Glow");
    EXPECT_EQ(findAnnotation(technique.annotations, "Description")->text, "two passes");
    ASSERT_EQ(technique.passes.size(), 2u);

    const EffectPass& spread = technique.passes[0];
    EXPECT_EQ(spread.name, "Spread");
    EXPECT_EQ(findAnnotation(spread.annotations, "Script")->text, "RenderColorTarget0 = intermediate;");
    ASSERT_EQ(spread.shaders.size(), 1u);
    EXPECT_EQ(spread.shaders[0].stage, EffectShaderBinding::eFragment);
    EXPECT_EQ(spread.shaders[0].profile, "glslf");
    EXPECT_EQ(spread.shaders[0].entry, "first");
    EXPECT_TRUE(spread.shaders[0].arguments.empty());
    ASSERT_EQ(spread.states.size(), 1u);
    EXPECT_EQ(spread.states[0].name, "BlendEnable");
    EXPECT_EQ(spread.states[0].value, "false");

    const EffectPass& combine = technique.passes[1];
    ASSERT_EQ(combine.shaders.size(), 2u);
    EXPECT_EQ(combine.shaders[0].stage, EffectShaderBinding::eVertex);
    EXPECT_TRUE(combine.shaders[0].entry.empty());
    EXPECT_EQ(combine.shaders[1].entry, "second");
    EXPECT_EQ(combine.shaders[1].arguments, (std::vector<std::string>{"0.5", "float2(1, 2)"}));
    EXPECT_EQ(combine.shaders[1].location.line, 14u);
    ASSERT_EQ(combine.states.size(), 1u);
    EXPECT_EQ(combine.states[0].value, "int2(SrcAlpha, OneMinusSrcAlpha)");
}

TEST(EffectParser, SyntaxErrorsGiveTheLineAndTheListingForm)
{
    const EffectModel model = parse("float a;\n\nfloat b = 1\n}\n");
    ASSERT_EQ(model.errors.size(), 1u);
    EXPECT_EQ(model.errors[0].location.line, 4u);
    EXPECT_EQ(effectListing(model.errors), "test.fx(4) : error: unexpected token '}'\n");

    EXPECT_EQ(effectListing(parse("technique T {\n pass P {\n PixelShader = first();\n }\n}\n").errors),
              "test.fx(3) : error: unexpected token 'first'\n");
    EXPECT_EQ(effectListing(parse("sampler2D s = sampler_state {\n AddressU = Sideways;\n};\n").errors),
              "test.fx(2) : error: unknown address mode 'Sideways'\n");
    EXPECT_EQ(effectListing(parse("float4 f() : COLOR\n{\n return 1;\n").errors),
              "test.fx(2) : error: missing '}' closing the body of function 'f'\n");
}

TEST(EffectParser, ErrorInAnIncludedFileNamesThatFileAndLine)
{
    char pattern[] = "/tmp/kvos-effects-XXXXXX";
    const std::string folder = std::string(mkdtemp(pattern)) + "/";
    std::ofstream(folder + "shared.fxh") << "float ok;\n\nfloat broken = ;\n";
    std::ofstream(folder + "main.fx") << "float first;\n#include \"shared.fxh\"\nfloat last;\n";
    const EffectModel model = EffectParser::parseFile(folder + "main.fx", {});
    std::system(("rm -rf '" + folder + "'").c_str());
    ASSERT_EQ(model.errors.size(), 1u);
    EXPECT_EQ(effectListing(model.errors), folder + "shared.fxh(3) : error: unexpected token ';'\n");
}

TEST(EffectParser, PreprocessorErrorsComeBackThroughTheParser)
{
    const EffectModel model = parse("float a;\n#if\n#endif\n");
    ASSERT_EQ(model.errors.size(), 1u);
    EXPECT_EQ(model.errors[0].location.line, 2u);
}

TEST(EffectParser, AMegabyteOfGarbageFailsQuickly)
{
    std::mt19937 random(7);
    std::string garbage(1 << 20, ' ');
    for (char& byte : garbage)
        byte = char(random() & 0xff);
    const auto start = std::chrono::steady_clock::now();
    const EffectModel model = parse(garbage);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(model.failed());
    EXPECT_LT(elapsed, std::chrono::seconds(3));
    const std::string listing = effectListing(model.errors);
    EXPECT_NE(listing.find("test.fx("), std::string::npos);
    EXPECT_NE(listing.find(") : error: "), std::string::npos);
}

TEST(EffectParser, DeepNestingFailsWithoutExhaustingTheStack)
{
    const EffectModel brackets = parse("float a = " + std::string(200000, '(') + ";\n");
    EXPECT_TRUE(brackets.failed());
    const EffectModel condition = parse("#if " + std::string(100000, '(') + "1\n#endif\n");
    EXPECT_TRUE(condition.failed());
}
