#include "GLSLEffect.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

const char kMainEffect[] = R"(#include <level.fxh>
float4 shade(float2 uv : TEXCOORD0) : COLOR { return float4(uv, 0, 1) * Level; }
technique T { pass P { PixelShader = compile fp40 shade(); } }
)";

// An effect whose header is in none of its own folder: "one" and "two" each
// hold a level.fxh of their own level, "empty" holds none.
class EffectIncludeFoldersTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char folderTemplate[] = "/tmp/kvfx-include-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        folder_ = std::string(folderTemplate) + "/";
        for (const char* name : {"one", "two", "empty", "cache"})
            std::filesystem::create_directory(folder_ + name);
        write("main.fx", kMainEffect);
        write("one/level.fxh", "float Level = 1;\n");
        write("two/level.fxh", "float Level = 2;\n");
    }

    void TearDown() override { std::filesystem::remove_all(folder_); }

    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder_ + name, std::ios::binary) << text;
    }

    std::string folder_;
};

} // namespace

TEST_F(EffectIncludeFoldersTest, CompileCallFoldersReachTheCompilerAndKeyItsCache)
{
    const EffectCompilerProcess compiler(KVFXC_PATH, folder_ + "cache/", std::chrono::seconds(20));
    const std::string main = folder_ + "main.fx";
    auto levelWith = [&](const std::vector<std::string>& folders) {
        const GLSLEffect::Compilation compilation = GLSLEffect::compileFile(main, {}, compiler, 130, folders);
        if (!compilation.effect)
            return compilation.listing;
        return std::to_string(compilation.effect->findParameter("Level")->floats().at(0));
    };
    const std::string missing = main + "(1) : error: cannot open include file \"level.fxh\"\n";
    EXPECT_EQ(levelWith({}), missing);
    EXPECT_EQ(levelWith({folder_ + "one"}), std::to_string(1.0f));
    EXPECT_EQ(levelWith({folder_ + "two"}), std::to_string(2.0f));
    EXPECT_EQ(levelWith({folder_ + "empty", folder_ + "one"}), std::to_string(1.0f));
    EXPECT_EQ(levelWith({folder_ + "empty"}), missing);
    // The header appears where it was missing: the failed compile is not served again.
    write("empty/level.fxh", "float Level = 3;\n");
    EXPECT_EQ(levelWith({folder_ + "empty"}), std::to_string(3.0f));

    // The folders travel with the request and are part of its cache key.
    EffectCompilerProcess::Request request;
    request.name = main;
    request.folder = folder_;
    ASSERT_TRUE(EffectPreprocessor::readFile(main, request.source));
    request.includeFolders = {folder_ + "two"};
    EXPECT_TRUE(compiler.compile(request).fromCache);
    request.includeFolders = {folder_ + "one", folder_ + "two"};
    const EffectCompilerProcess::Result firstFound = compiler.compile(request);
    EXPECT_TRUE(firstFound.succeeded) << firstFound.listing;
    EXPECT_FALSE(firstFound.fromCache);
    EffectCompilerProcess::Request decoded;
    ASSERT_TRUE(EffectCompilerProcess::decodeRequest(EffectCompilerProcess::encodeRequest(request), decoded));
    EXPECT_EQ(decoded.includeFolders, request.includeFolders);
}
