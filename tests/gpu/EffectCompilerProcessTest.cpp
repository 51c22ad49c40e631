#include "EffectCache.h"
#include "EffectCompilerProcess.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>

namespace {

const char kGoodEffect[] = R"(float4 tint : DIFFUSE < string UIName = "Tint"; > = {1, 0.5, 0.25, 1};
texture image;
sampler2D imageSampler = sampler_state { Texture = <image>; AddressU = Clamp; };

float4 shade(float2 uv : TEXCOORD0) : COLOR
{
    return tex2D(imageSampler, uv) * tint;
}

technique Tinted
{
    pass One
    {
        FragmentProgram = compile fp40 shade();
    }
}
)";

class EffectCompilerProcessTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char folderTemplate[] = "/tmp/kvfxc-test-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        cacheFolder = std::string(folderTemplate) + "/";
    }

    void TearDown() override { std::filesystem::remove_all(cacheFolder); }

    EffectCompilerProcess::Result compile(const std::string& source, const EffectParser::Definitions& definitions = {},
                                          std::chrono::milliseconds timeout = std::chrono::seconds(20),
                                          const char* program = KVFXC_PATH)
    {
        const EffectCompilerProcess compiler(program, cacheFolder, timeout);
        return compiler.compile({"test.fx", "/tmp/", source, definitions, {}});
    }

    std::vector<std::filesystem::path> cacheEntries() const
    {
        std::vector<std::filesystem::path> entries;
        for (const auto& entry : std::filesystem::directory_iterator(cacheFolder))
            entries.push_back(entry.path());
        return entries;
    }

    // No child of ours is left, running or waiting to be reaped.
    static void expectNoChildLeft()
    {
        errno = 0;
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }

    std::string cacheFolder;
};

TEST_F(EffectCompilerProcessTest, InvalidTechniquesComeBackWithTheirReasonsAndFromTheCache)
{
    const std::string source = std::string(kGoodEffect) +
                               "technique Old\n{\n    pass P\n    {\n        PixelShader = asm { ps_1_1 tex t0 };\n"
                               "        Lighting = false;\n    }\n}\n";
    const EffectCompilerProcess::Result first = compile(source);
    ASSERT_TRUE(first.succeeded) << first.listing;
    const std::string reason =
        "test.fx(21) : error: technique Old, pass P: the pixel shader is assembly, which cannot be translated\n";
    EXPECT_EQ(first.listing, "test.fx(22) : warning: render state 'Lighting' ignored\n" + reason);
    ASSERT_EQ(first.invalidTechniques.size(), 1u);
    EXPECT_EQ(first.invalidTechniques[0].index, 1u);
    EXPECT_EQ(first.invalidTechniques[0].reason, reason);
    ASSERT_EQ(first.shaders.size(), 1u);

    const EffectCompilerProcess absent(cacheFolder + "no-kvfxc", cacheFolder);
    const EffectCompilerProcess::Result again = absent.compile({"test.fx", "/tmp/", source, {}, {}});
    EXPECT_TRUE(again.fromCache);
    EXPECT_TRUE(again.succeeded);
    EXPECT_EQ(again.listing, first.listing);
    ASSERT_EQ(again.invalidTechniques.size(), 1u);
    EXPECT_EQ(again.invalidTechniques[0].reason, reason);

    // Asked for alone, the invalid technique fails the compile.
    const EffectCompilerProcess compiler(KVFXC_PATH, cacheFolder, std::chrono::seconds(20));
    const EffectCompilerProcess::Result alone = compiler.compile({"test.fx", "/tmp/", source, {}, "Old"});
    EXPECT_FALSE(alone.succeeded);
    EXPECT_TRUE(alone.shaders.empty());
    EXPECT_NE(alone.listing.find(reason), std::string::npos) << alone.listing;
}

// Each alone in a one-technique file whose line 3 holds it.
TEST_F(EffectCompilerProcessTest, MisusedPassesAreListedWithTheirLines)
{
    const struct
    {
        const char* pass;
        const char* listing;
        bool translated = false; // the shaders come back though the effect fails
    } cases[] = {
        {";", "test.fx(3) : error: unexpected token ';'\n"},
        {"PixelShader = asm ;", "test.fx(3) : error: unexpected token ';'\n"},
        {"PixelShader = asm { mov r0, ( };", "test.fx(4) : error: unexpected token '}'\n"},
        {"PixelShader = asm { mov r0, t0 }", "test.fx(4) : error: unexpected token '}'\n"},
        {"PixelShader = asm { mov r0, { t0", "test.fx(4) : error: unexpected end of file\n"},
        {"VertexShader = asm { { } };",
         "test.fx(3) : error: technique T, pass P: the vertex shader is assembly, which cannot be translated\n"},
        {"PixelShader = compile ps_9_9 f();", "test.fx(3) : error: technique T, pass P: the profile 'ps_9_9' cannot be translated\n"},
        {"PixelShader = compile vp40 f();", "test.fx(3) : error: technique T, pass P: the profile 'vp40' is not for pixel shaders\n"},
        {"VertexShader = compile PS_2_0 f();",
         "test.fx(3) : error: technique T, pass P: the profile 'PS_2_0' is not for vertex shaders\n"},
        {"PixelShader = compile fp40 g();", "test.fx(1) : error: technique T, pass P: "},
        {"FogDensity = 2; BlendFunc = int2(One, Sideways); PixelShader = compile fp40 f();",
         "test.fx(3) : warning: render state 'FogDensity' ignored\n"
         "test.fx(3) : error: the render state BlendFunc cannot take the value 'int2(One, Sideways)'\n", true},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.pass);
        const EffectCompilerProcess::Result result =
            compile("float4 f() : COLOR { return 1; } float4 g() : COLOR { return nosuch(1); }\ntechnique T { pass P {\n" +
                    std::string(example.pass) + "\n} }\n");
        EXPECT_FALSE(result.succeeded);
        EXPECT_EQ(result.listing.rfind(example.listing, 0), 0u) << result.listing;
        EXPECT_EQ(result.shaders.empty(), !example.translated);
    }
    expectNoChildLeft();
}

TEST_F(EffectCompilerProcessTest, CompilerThatCrashesHangsOrIsMissingIsOneListingLineAndLeavesNoProcess)
{
    const struct
    {
        const char* what;
        std::string program;
        EffectParser::Definitions definitions;
        std::string listing; // the start of it
    } cases[] = {
        {"crash", KVOS_MISBEHAVING_COMPILER, {{"ABORT", "1"}},
         "test.fx(0) : error: the effect compiler stopped unexpectedly (signal " + std::to_string(SIGABRT) + ")\n"},
        {"hang", KVOS_MISBEHAVING_COMPILER, {{"HANG", "1"}},
         "test.fx(0) : error: the effect compiler did not answer within 500 ms and was stopped\n"},
        {"missing", cacheFolder + "no-kvfxc", {}, "test.fx(0) : error: the effect compiler could not be started ("},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.what);
        const auto start = std::chrono::steady_clock::now();
        const EffectCompilerProcess::Result result =
            compile(kGoodEffect, example.definitions, std::chrono::milliseconds(500), example.program.c_str());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
        EXPECT_FALSE(result.succeeded);
        EXPECT_EQ(result.listing.rfind(example.listing, 0), 0u) << result.listing;
        EXPECT_EQ(std::count(result.listing.begin(), result.listing.end(), '\n'), 1);
        expectNoChildLeft();
        EXPECT_TRUE(cacheEntries().empty());
    }
}

TEST_F(EffectCompilerProcessTest, GoodEffectIsCachedByDefinitionsAndVersionAndACorruptEntryIsAMiss)
{
    const EffectCompilerProcess compiler(KVFXC_PATH, cacheFolder, std::chrono::seconds(20));
    // A compiler that cannot run proves that nothing is spawned.
    const EffectCompilerProcess absent(cacheFolder + "no-kvfxc", cacheFolder);
    EffectCompilerProcess::Request request{"test.fx", "/tmp/", kGoodEffect, {}, {}};
    const EffectCompilerProcess::Result modern = compiler.compile(request);
    ASSERT_TRUE(modern.succeeded) << modern.listing;
    EXPECT_EQ(modern.listing, "");
    EXPECT_FALSE(modern.fromCache);
    ASSERT_EQ(modern.shaders.size(), 1u);
    const EffectCompilerProcess::Shader& shader = modern.shaders[0];
    EXPECT_EQ(shader.technique + "/" + shader.pass + "/" + shader.entry, "Tinted/One/shade");
    EXPECT_EQ(shader.stage, CgTranslator::eStage::pixel);
    EXPECT_EQ(shader.glsl.rfind("#version 130\n", 0), 0u) << shader.glsl;
    EXPECT_NE(shader.glsl.find("imageSampler"), std::string::npos) << shader.glsl;
    expectNoChildLeft();
    ASSERT_EQ(cacheEntries().size(), 1u);
    const std::filesystem::path modernEntry = cacheEntries()[0];
    EXPECT_EQ(modernEntry.extension(), ".kvfx");
    request.glslVersion = 120;
    const EffectCompilerProcess::Result legacy = compiler.compile(request);
    ASSERT_TRUE(legacy.succeeded) << legacy.listing;
    EXPECT_FALSE(legacy.fromCache);
    ASSERT_EQ(legacy.shaders.size(), 1u);
    EXPECT_EQ(legacy.shaders[0].glsl.rfind("#version 120\n", 0), 0u) << legacy.shaders[0].glsl;
    EXPECT_EQ(cacheEntries().size(), 2u);

    for (const EffectCompilerProcess::Result* first : {&modern, &legacy}) {
        request.glslVersion = first == &modern ? 130 : 120;
        const EffectCompilerProcess::Result again = absent.compile(request);
        EXPECT_TRUE(again.fromCache);
        ASSERT_TRUE(again.succeeded) << again.listing;
        ASSERT_EQ(again.shaders.size(), 1u);
        EXPECT_EQ(again.shaders[0].glsl, first->shaders[0].glsl);
    }
    request.definitions = {{"X", "1"}};
    EXPECT_FALSE(absent.compile(request).fromCache) << "other definitions are another translation";
    request.definitions.clear();
    request.glslVersion = 140;
    EXPECT_EQ(compiler.compile(request).listing,
              "test.fx(0) : error: GLSL 140 is not a translation target (120 or 130)\n");
    EXPECT_EQ(cacheEntries().size(), 2u);

    std::filesystem::resize_file(modernEntry, std::filesystem::file_size(modernEntry) / 2);
    request.glslVersion = 130;
    const EffectCompilerProcess::Result anew = compiler.compile(request);
    EXPECT_FALSE(anew.fromCache);
    EXPECT_TRUE(anew.succeeded) << anew.listing;
    EXPECT_TRUE(absent.compile(request).fromCache);
}

TEST(EffectCompilerProcess, RequestsAndRepliesSurviveTheirEncoding)
{
    const EffectCompilerProcess::Request request{"a b.fx", "/x/", std::string("line\nend 0\n\0", 11), {{"N", "v=1"}}, "T"};
    EffectCompilerProcess::Request decoded;
    ASSERT_TRUE(EffectCompilerProcess::decodeRequest(EffectCompilerProcess::encodeRequest(request), decoded));
    EXPECT_EQ(decoded.name, request.name);
    EXPECT_EQ(decoded.source, request.source);
    EXPECT_EQ(decoded.definitions, request.definitions);
    EXPECT_EQ(decoded.technique, "T");
    EXPECT_EQ(decoded.glslVersion, 130u);

    EffectCompilerProcess::Request legacy = request;
    legacy.glslVersion = 120;
    std::string bytes = EffectCompilerProcess::encodeRequest(legacy);
    ASSERT_TRUE(EffectCompilerProcess::decodeRequest(bytes, decoded));
    EXPECT_EQ(decoded.glslVersion, 120u);
    // Requests written before the version travelled ask for 130.
    const size_t record = bytes.find("glsl 3\n120\n");
    ASSERT_NE(record, std::string::npos);
    bytes.erase(record, 11);
    EffectCompilerProcess::Request older;
    ASSERT_TRUE(EffectCompilerProcess::decodeRequest(bytes, older));
    EXPECT_EQ(older.glslVersion, 130u);
    EXPECT_EQ(older.technique, "T");

    EffectCompilerProcess::Result result;
    result.succeeded = true;
    result.shaders.push_back({"T", "P", CgTranslator::eStage::vertex, "main", "void main() {}\n"});
    result.invalidTechniques.push_back({3, "a.fx(2) : error: technique U, pass P: why\n"});
    const std::string reply = EffectCompilerProcess::encodeReply(result);
    EffectCompilerProcess::Result back;
    ASSERT_TRUE(EffectCompilerProcess::decodeReply(reply, back));
    ASSERT_EQ(back.shaders.size(), 1u);
    EXPECT_EQ(back.shaders[0].stage, CgTranslator::eStage::vertex);
    EXPECT_EQ(back.shaders[0].glsl, "void main() {}\n");
    ASSERT_EQ(back.invalidTechniques.size(), 1u);
    EXPECT_EQ(back.invalidTechniques[0].index, 3u);
    EXPECT_EQ(back.invalidTechniques[0].reason, result.invalidTechniques[0].reason);
    for (size_t cut = 0; cut < reply.size(); ++cut)
        EXPECT_FALSE(EffectCompilerProcess::decodeReply(reply.substr(0, cut), back)) << cut;
}

} // namespace

namespace {

TEST(EffectCompilerProcess, CompilerIsFoundBesideTheCodeThatRunsIt)
{
    EXPECT_EQ(std::filesystem::canonical(EffectCompilerProcess::defaultCompilerPath()),
              std::filesystem::canonical(KVFXC_PATH));
}

} // namespace
