#include "EffectParser.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

#include <random>
#include <regex>
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

TEST(EffectParser, DeclarationsKeepTypeShapeSemanticQualifiersAndLine)
{
    const EffectModel model = parse("float2 offset : TEXCOORD0 = {1, -2};\n"
                                    "half2 small; fixed4 mask;\n"
                                    "float3x3 rotation;\n"
                                    "uniform float4x4 transform : WORLDVIEWPROJECTION;\n"
                                    "float weights[3] = {0.25, 0.5, 0.25};\n"
                                    "int width = 64, height = 64, depth = 64;\n"
                                    "float4 a : SEM = {1, 2, 3, 4},\n"
                                    "       b;\n"
                                    "texture first, second : RENDERCOLORTARGET;\n"
                                    "sampler2D one = sampler_state { Texture = <first>; }, two = sampler_state {\n"
                                    "    Texture = <second>; }, three;\n"
                                    "static const float kA = 1, kB = 2;\n"
                                    "struct Light { float3 direction; } sun, moon;\n"
                                    "shared uniform extern volatile float4 tint;\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    std::vector<std::string> described;
    for (const EffectParameter& declared : model.parameters) {
        std::string text = declared.name + ":" + declared.type.name + " " + std::to_string(declared.type.rows) + "x" +
                           std::to_string(declared.type.columns);
        for (const unsigned size : declared.arraySizes)
            text.append("[").append(std::to_string(size)).append("]");
        text += (declared.semantic.empty() ? "" : " : " + declared.semantic) + (declared.isUniform ? " uniform" : "");
        described.push_back(text + " @" + std::to_string(declared.location.line));
    }
    EXPECT_EQ(described, (std::vector<std::string>{
                             "offset:float2 1x2 : TEXCOORD0 @1", "small:half2 1x2 @2", "mask:fixed4 1x4 @2",
                             "rotation:float3x3 3x3 @3", "transform:float4x4 4x4 : WORLDVIEWPROJECTION uniform @4",
                             "weights:float 1x1[3] @5", "width:int 1x1 @6", "height:int 1x1 @6", "depth:int 1x1 @6",
                             "a:float4 1x4 : SEM @7", "b:float4 1x4 @8", "sun:Light 1x1 @13", "moon:Light 1x1 @13",
                             "tint:float4 1x4 uniform @14"}));
    EXPECT_EQ(parameter(model, "small")->type.base, EffectType::eHalf);
    EXPECT_EQ(parameter(model, "mask")->type.base, EffectType::eFixed);
    EXPECT_EQ(parameter(model, "depth")->defaults, (std::vector<double>{64}));
    EXPECT_TRUE(parameter(model, "b")->defaults.empty());
    ASSERT_EQ(model.textures.size(), 2u);
    EXPECT_EQ(model.textures[1].semantic, "RENDERCOLORTARGET");
    ASSERT_EQ(model.samplers.size(), 3u);
    EXPECT_EQ(model.samplers[1].texture, "second");
    ASSERT_EQ(model.declarations.size(), 2u);
    EXPECT_EQ(model.declarations[0].text, "static const float kA = 1, kB = 2;");
    EXPECT_EQ(model.declarations[1].kind, EffectDeclaration::eStruct);
    EXPECT_EQ(model.declarations[1].text, "struct Light { float3 direction; };");
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
    EXPECT_EQ(sampler.typeName + " of " + sampler.texture, "sampler2D of source");
    EXPECT_EQ(sampler.addressU, EffectSampler::eClampToEdge);
    EXPECT_EQ(sampler.addressV, EffectSampler::eMirroredRepeat);
    EXPECT_EQ(sampler.minFilter + sampler.magFilter + sampler.mipFilter, "LinearPointNone");
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
    EXPECT_EQ(model.declarations[0].text, "struct Vertex { float4 position : POSITION; float2 uv : TEXCOORD0; };");
    EXPECT_EQ(model.declarations[1].kind, EffectDeclaration::eConstant);
    EXPECT_EQ(model.declarations[1].text, "static const float kernel[3] = { 0.25, 0.5, 0.25 };");
    EXPECT_EQ(model.declarations[2].kind, EffectDeclaration::eFunction);

    ASSERT_EQ(model.functions.size(), 2u);
    const EffectFunction& blur = model.functions[0];
    EXPECT_EQ(blur.returnSemantic, "COLOR");
    EXPECT_EQ(blur.location.line, 3u);
    EXPECT_EQ(blur.text.substr(0, 12), "float4 blur(");
    EXPECT_EQ(blur.text.back(), '}');
    ASSERT_EQ(blur.parameters.size(), 3u);
    EXPECT_EQ(blur.parameters[0].typeName, "Vertex");
    EXPECT_TRUE(blur.parameters[1].isUniform);
    EXPECT_EQ(blur.parameters[2].direction, EffectFunctionParameter::eOut);
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
                                    "technique Glow\n"
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
    ASSERT_EQ(model.techniques.size(), 1u);
    const EffectTechnique& technique = model.techniques[0];
    ASSERT_EQ(technique.passes.size(), 2u);

    const EffectPass& spread = technique.passes[0];
    EXPECT_EQ(findAnnotation(spread.annotations, "Script")->text, "RenderColorTarget0 = intermediate;");
    ASSERT_EQ(spread.shaders.size(), 1u);
    EXPECT_EQ(spread.shaders[0].stage, EffectShaderBinding::eFragment);
    EXPECT_EQ(spread.shaders[0].profile, "glslf");
    EXPECT_EQ(spread.shaders[0].entry, "first");
    EXPECT_TRUE(spread.shaders[0].arguments.empty());
    ASSERT_EQ(spread.states.size(), 1u);
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

// What one file can make the editor allocate is bounded, with a listing line.
TEST(EffectParser, ParameterTechniqueAndPassCountsAreBounded)
{
    auto repeated = [](const std::string& text, int times) {
        std::string all;
        for (int i = 0; i < times; ++i)
            all += std::regex_replace(text, std::regex("#"), std::to_string(i));
        return all;
    };
    const struct
    {
        std::string source;
        std::string message;
    } cases[] = {
        {"float4x4 a[65536];\nfloat b;\n",
         "test.fx(2) : error: too many parameter values at 'b': at most 4096 parameters of 1048576 values in all\n"},
        {repeated("float p#;", 4096) + "\nfloat last;\n",
         "test.fx(2) : error: too many parameter values at 'last': at most 4096 parameters of 1048576 values in all\n"},
        {repeated("technique T# { pass P { } }\n", 257), "test.fx(257) : error: too many techniques: at most 256\n"},
        {"technique T {\n" + repeated("pass P# { }\n", 65), "test.fx(66) : error: too many passes in technique 'T': at most 64\n"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(effectListing(parse(test.source).errors), test.message);
        EXPECT_EQ(effectListing(parse(test.source.substr(0, test.source.rfind('\n', test.source.size() - 2) + 1)).errors)
                      .find("too many"),
                  std::string::npos)
            << "one fewer is within the bounds";
    }
}

TEST(EffectParser, DeepNestingFailsWithoutExhaustingTheStack)
{
    const EffectModel condition = parse("#if " + std::string(100000, '(') + "1\n#endif\n");
    EXPECT_TRUE(condition.failed());
    for (const std::string unit : {"(", "{", "- ", "!", "(float)", "float4(", "1 ? 1 : "}) {
        std::string value;
        for (int count = 0; count < 10000; ++count)
            value += unit;
        const EffectModel model = parse("float a = " + value + "1;\n");
        ASSERT_EQ(model.errors.size(), 1u) << unit;
        EXPECT_EQ(model.errors[0].message, "expression nested too deeply") << unit;
    }
}

TEST(EffectParser, DefaultsAreConstantExpressionsOrElseText)
{
    const struct
    {
        const char* source;
        std::vector<double> defaults;
    } cases[] = {
        {"float v = 1.0/255.0;", {1.0 / 255.0}},
        {"int v = 2*3+1;", {7}},
        {"int v = 7/2 + 7 % 3;", {4}},
        {"float v = 7/2.0;", {3.5}},
        {"int v = 0x10 | 1 << 2;", {20}},
        {"float v = 1 > 0 ? 0.25 : 0.75;", {0.25}},
        {"float v = 1.5f + -(1h);", {0.5}},
        {"#define STEP (1.0/4.0)\nfloat v = STEP * 2;", {0.5}},
        {"float4 v = float4(1,0,0,1);", {1, 0, 0, 1}},
        {"float4 v = { 1, 0, 0, 1, };", {1, 0, 0, 1}},
        {"float4 v = (float4)0.5;", {0.5, 0.5, 0.5, 0.5}},
        {"float3 v = float3(1, 2, 3) * 2 - 1;", {1, 3, 5}},
        {"float2x2 v = {{1, 2}, {3, 4}};", {1, 2, 3, 4}},
        {"float2x2 v = float2x2(float2(1, 2), 3, 4);", {1, 2, 3, 4}},
        {"int2 v = int2(1.5, -2.5);", {1, -2}},
        {"float2 v[2] = {{1, 2}, {3, 4}};", {1, 2, 3, 4}},
        {"float v[2 * 2] = {1, 2, 3, 4};", {1, 2, 3, 4}},
        {"bool v = true;", {1}},
        {"bool v = 0;", {0}},
        {"bool2 v = {5, false};", {1, 0}},
        {"float4 v = amount * 2;", {}},
        {"float4 v = length(float2(3, 4)) + tint.x;", {}},
        {"string v = (\"A8R8G8B8\");", {}},
    };
    for (const auto& test : cases) {
        const EffectModel model = parse(test.source);
        ASSERT_FALSE(model.failed()) << test.source << ": " << effectListing(model.errors);
        const EffectParameter& declared = model.parameters.at(0);
        EXPECT_EQ(declared.defaults, test.defaults) << test.source;
        // What cannot be evaluated stays as written.
        const std::string source = test.source;
        if (test.defaults.empty()) {
            EXPECT_EQ(declared.defaultText, source.substr(source.find("= ") + 2, source.size() - source.find("= ") - 3));
        }
    }
}

TEST(EffectParser, AnnotationsOfEveryTypeIncludingTextureOnes)
{
    const EffectModel model = parse("texture Noise < string TextureType = \"VOLUME\"; string function = \"GenerateNoise\";\n"
                                    "    string UIName = \"Gain\" \" level\"; float UIMin = -1.5;\n"
                                    "    int width = 64, height = 64, depth = 2 * 32; >;\n"
                                    "texture Scene : RENDERCOLORTARGET < float2 ViewPortRatio = {1.0, 1.0};\n"
                                    "    float2 Dimensions = {256, 256}; string Format = (\"A8R8G8B8\");\n"
                                    "    bool Shown = 1; bool3 Mask = {true, 0, 1}; half Step = 1.0 / 4;\n"
                                    "    int2 Size = int2(3.5, 4); >;\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    const struct
    {
        std::size_t texture;
        const char* name;
        EffectAnnotation::eType type;
        std::vector<double> values;
        const char* text;
    } cases[] = {
        {0, "TextureType", EffectAnnotation::eString, {}, "VOLUME"},
        {0, "function", EffectAnnotation::eString, {}, "GenerateNoise"},
        {0, "depth", EffectAnnotation::eInt, {64}, ""},
        {0, "UIName", EffectAnnotation::eString, {}, "Gain level"},
        {0, "UIMin", EffectAnnotation::eFloat, {-1.5}, ""},
        {1, "ViewPortRatio", EffectAnnotation::eFloat, {1, 1}, ""},
        {1, "Dimensions", EffectAnnotation::eFloat, {256, 256}, ""},
        {1, "Format", EffectAnnotation::eString, {}, "A8R8G8B8"},
        {1, "Shown", EffectAnnotation::eBool, {1}, ""},
        {1, "Mask", EffectAnnotation::eBool, {1, 0, 1}, ""},
        {1, "Step", EffectAnnotation::eFloat, {0.25}, ""},
        {1, "Size", EffectAnnotation::eInt, {3, 4}, ""},
    };
    for (const auto& test : cases) {
        const EffectAnnotation* annotation = findAnnotation(model.textures.at(test.texture).annotations, test.name);
        ASSERT_NE(annotation, nullptr) << test.name;
        EXPECT_EQ(annotation->type, test.type) << test.name;
        EXPECT_EQ(annotation->values, test.values) << test.name;
        EXPECT_EQ(annotation->text, test.text) << test.name;
    }
    EXPECT_EQ(findAnnotation(model.textures[0].annotations, "depth")->location.line, 3u);
}

TEST(EffectParser, ScriptsOfTheEffectTechniquesAndPassesBecomeCommands)
{
    const EffectModel model = parse("float Script : STANDARDSGLOBAL < string Script = \"Technique=Technique?Main;\"; >;\n"
                                    "texture Scene : RENDERCOLORTARGET;\n"
                                    "int Repeats = 2;\n"
                                    "technique Main < string Script =\n"
                                    "    \"LoopByCount=Repeats;\"\n"
                                    "    \"Pass=Blur;\"\n"
                                    "    \"LoopEnd=; Pass = Show ; ScriptExternal=color;\"; >\n"
                                    "{\n"
                                    "    pass Blur < string Script = \"RenderColorTarget0=Scene; Clear=Color;\"\n"
                                    "        \"Draw=Buffer;Custom=kept\"; > { }\n"
                                    "    pass Show < string Script = \" renderColorTarget = ;  DRAW=geometry; ;\"; > { }\n"
                                    "}\n");
    ASSERT_FALSE(model.failed()) << effectListing(model.errors);
    auto commands = [](const EffectScript& script) {
        std::string found;
        for (const EffectScriptCommand& command : script.commands)
            found += command.name + "=" + command.value + "@" + std::to_string(command.location.line) + " ";
        return found;
    };
    EXPECT_EQ(commands(model.script), "Technique=Technique?Main@1 ");
    const EffectTechnique& technique = model.techniques.at(0);
    EXPECT_EQ(commands(technique.script),
              "LoopByCount=Repeats@5 Pass=Blur@6 LoopEnd=@7 Pass=Show@7 ScriptExternal=color@7 ");
    EXPECT_EQ(findAnnotation(technique.annotations, "Script")->text,
              "LoopByCount=Repeats;Pass=Blur;LoopEnd=; Pass = Show ; ScriptExternal=color;");
    EXPECT_EQ(commands(technique.passes.at(0).script), "RenderColorTarget0=Scene@9 Clear=Color@9 Draw=Buffer@10 Custom=kept@10 ");
    EXPECT_EQ(commands(technique.passes.at(1).script), "renderColorTarget=@11 DRAW=geometry@11 ");
}

// Each alone on line 3, with the listing line it gives.
TEST(EffectParser, MisusedConstructsFailWithTheirLine)
{
    const struct
    {
        const char* source;
        const char* message;
    } cases[] = {
        {"float a = 1 +;", "unexpected token ';'"},
        {"float b = 1 }", "unexpected token '}'"},
        {"technique T { pass P { PixelShader = first(); } }", "unexpected token 'first'"},
        {"sampler2D s = sampler_state { AddressU = Sideways; };", "unknown address mode 'Sideways'"},
        {"float4 f() : COLOR { return 1;", "missing '}' closing the body of function 'f'"},
        {"#if\n#endif", "invalid expression in #if: "},
        {"int a = 1, ;", "unexpected token ';'"},
        {"float2 a = {1, 2, 3};", "'a' of type float2 takes 2 values, not 3"},
        {"float2 a[] = {1, 2, 3};", "'a' of type float2[] takes a multiple of 2 values, not 3"},
        {"float2 a = float3(1, 2);", "float3(...) takes 3 values, not 2"},
        {"float a = {};", "empty initialiser list"},
        {"int a = 5 % (2 - 2);", "division by zero"},
        {"int a = 1 & 1.5;", "'&' takes integers"},
        {"float a = 1e999;", "invalid number '1e999'"},
        {"string s = 5;", "'s' of type string takes a string"},
        {"string s = (\"a\";", "unexpected token ';'"},
        {"float f = \"text\";", "a string where a number is expected"},
        {"float a[n];", "invalid size of array 'a'"},
        {"float a[256][256][2];", "invalid size of array 'a'"},
        {"sampler2D s = sampler_state { }, ;", "unexpected token ';'"},
        {"struct { float a; } v;", "a struct that declares variables needs a name"},
        {"struct S { float a;", "missing '}' closing struct 'S'"},
        {"float a < foo x = 1; >;", "invalid type 'foo' of an annotation"},
        {"float a < float x = y; >;", "invalid value of annotation 'x'"},
        {"float a < float2 x = {1, 2, 3}; >;", "'x' of type float2 takes 2 values, not 3"},
        {"technique T < float Script = 1; > { pass P { } }", "the Script annotation must be a string"},
        {"technique T < string Script = \"Pass\"; > { pass P { } }", "script command 'Pass' has no '='"},
        {"technique T < string Script = \"=P;\"; > { pass P { } }", "script command '=P' has no name"},
        {"technique T < string Script = \"Pass=Q;\"; > { pass P { } }", "technique 'T' has no pass 'Q'"},
        {"technique T < string Script = \"LoopEnd=;\"; > { pass P { } }", "LoopEnd without LoopByCount"},
        {"technique T < string Script = \"LoopByCount=3;\"; > { pass P { } }", "LoopByCount without LoopEnd"},
        {"technique T < string Script = \"LoopByCount=few;LoopEnd=;\"; > { pass P { } }",
         "LoopByCount takes a number or a parameter, not 'few'"},
        {"technique T { pass P < string Script = \"RenderColorTarget0=absent;\"; > { } }",
         "the render target 'absent' is not a texture of the effect"},
        {"technique T { pass P < string Script = \"Draw=Sideways;\"; > { } }", "Draw takes Buffer or Geometry, not 'Sideways'"},
    };
    for (const auto& test : cases) {
        const EffectModel model = parse(std::string("float first;\n\n") + test.source + "\n");
        EXPECT_EQ(effectListing(model.errors), std::string("test.fx(3) : error: ") + test.message + "\n") << test.source;
    }
}
