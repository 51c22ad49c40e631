#include "OpenGLRequired.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

const char kGoodEffect[] = R"(float4 tint < string UIName = "Tint"; > = {1, 0.5, 0.25, 1};
void lift(float4 position : POSITION, float4 uv : TEXCOORD0, out float4 clip : POSITION, out float4 coordinate : TEXCOORD0)
{
    clip = position;
    coordinate = uv;
}
float4 shade(float4 coordinate : TEXCOORD0) : COLOR { return coordinate * tint; }
technique Plain
{
    pass Alone { FragmentProgram = compile fp40 shade(); }
    pass WithVertex { VertexProgram = compile vp40 lift(); FragmentProgram = compile fp40 shade(); }
}
)";

// Each stage compiles, but the two stages declare the uniform gain with
// different types, which no linker accepts; the second technique is sound.
const char kMismatchedEffect[] = R"(void lift(float4 position : POSITION, float4 uv : TEXCOORD0, uniform float4 gain,
          out float4 clip : POSITION, out float4 coordinate : TEXCOORD0)
{
    clip = position;
    coordinate = uv * gain;
}
float4 shade(float4 coordinate : TEXCOORD0, uniform float3 gain) : COLOR { return float4(coordinate.xyz * gain, 1); }
float4 plain(float4 coordinate : TEXCOORD0) : COLOR { return coordinate; }
technique Broken { pass Both { VertexProgram = compile vp40 lift(); FragmentProgram = compile fp40 shade(); } }
technique Sound { pass Alone { FragmentProgram = compile fp40 plain(); } }
)";

// The first technique is assembly, the second translates.
const char kHalfAssemblyEffect[] = R"(float4 plain(float4 colour : COLOR0) : COLOR { return colour; }

technique Old
{
    pass P { PixelShader = asm { ps_1_1 mov r0, v0 }; }
}
technique New { pass P { Lighting = false; PixelShader = compile ps_2_0 plain(); } }
)";

const char kAssemblyOnlyEffect[] = R"(technique Old { pass P { PixelShader = asm { ps_1_1 mov r0, v0 }; } }
technique Older { pass P { VertexShader = asm { vs_1_1 mov oPos, v0 }; } }
)";

struct Outcome
{
    int exitCode = -1;
    std::string errors;
};

class KvfxcValidateTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char folderTemplate[] = "/tmp/kvfxc-validate-XXXXXX";
        ASSERT_NE(g_mkdtemp(folderTemplate), nullptr);
        folder = std::string(folderTemplate) + "/";
    }

    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string write(const std::string& name, const std::string& source) const
    {
        const std::string path = folder + name;
        std::ofstream(path, std::ios::binary) << source;
        return path;
    }

    // Standard error only: the GLSL printed on standard output is not what is checked.
    static Outcome run(const std::string& arguments)
    {
        const std::string command = "'" KVFXC_PATH "' " + arguments + " 2>&1 >/dev/null";
        Outcome outcome;
        FILE* pipe = ::popen(command.c_str(), "r");
        if (pipe == nullptr)
            return outcome;
        char buffer[4096];
        for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            outcome.errors.append(buffer, got);
        const int status = ::pclose(pipe);
        if (WIFEXITED(status))
            outcome.exitCode = WEXITSTATUS(status);
        return outcome;
    }

    std::string folder;
};

// A machine without OpenGL cannot say whether a pass links; kvfxc says so and exits 2.
bool withOpenGL(const Outcome& outcome)
{
    return outcome.exitCode != 2 || outcome.errors.find("kvfxc: cannot validate") == std::string::npos;
}

// Exit codes with and without linking: 0 when every technique is fine, 3 when
// some are, 1 when none is or the file does not load, 2 on bad usage.
TEST_F(KvfxcValidateTest, ExitCodeSaysWhetherEveryTechniqueSomeOrNoneIsFine)
{
    const std::string good = write("good.fx", kGoodEffect);
    const std::string half = write("half.fx", kHalfAssemblyEffect);
    const std::string assembly = write("assembly.fx", kAssemblyOnlyEffect);
    const std::string mismatched = write("mismatch.fx", kMismatchedEffect);
    const std::string broken = write("broken.fx", "technique T {\n");
    const std::string unknown = write("unknown.fx", "float4 shade() : COLOR\n{\n    return missing;\n}\n"
                                                    "technique T { pass P { FragmentProgram = compile fp40 shade(); } }\n");
    // A header in none of the effect's own folder: "two" holds a broken one.
    for (const char* name : {"one", "two", "empty"})
        std::filesystem::create_directory(folder + name);
    const std::string included = write("included.fx", "#include <level.fxh>\nfloat4 shade() : COLOR { return Level; }\n"
                                                      "technique T { pass P { PixelShader = compile fp40 shade(); } }\n");
    write("one/level.fxh", "float Level = 1;\n");
    write("two/level.fxh", "float Level = ;\n");
    const std::string halfReason =
        half + "(5) : error: technique Old, pass P: the pixel shader is assembly, which cannot be translated\n";
    const struct
    {
        std::string arguments;
        int exitCode;
        std::string errors; // the start of standard error
        const char* mentions = "";
    } cases[] = {
        {"'" + good + "'", 0, ""},
        {"'" + half + "'", 3, half + "(7) : warning: render state 'Lighting' ignored\n" + halfReason},
        {"--technique New '" + half + "'", 0, half + "(7) : warning: render state 'Lighting' ignored\n"},
        {"--technique Old '" + half + "'", 1, halfReason},
        {"'" + assembly + "'", 1, assembly + "(1) : error: technique Old, pass P: the pixel shader is assembly"},
        {"'" + mismatched + "'", 0, ""},
        {"'" + broken + "'", 1, broken + "(1) : error: unexpected end of file\n"},
        {"--glsl 999 '" + good + "'", 2, "kvfxc: --glsl takes 120 or 130, not 999\n"},
        // Headers are looked for in each -I folder in the order given.
        {"'" + included + "'", 1, included + "(1) : error: cannot open include file \"level.fxh\"\n"},
        {"-I '" + folder + "one' '" + included + "'", 0, ""},
        {"-I'" + folder + "empty' -I '" + folder + "two/' -I '" + folder + "one' '" + included + "'", 1,
         folder + "two/level.fxh(1) : error: unexpected token ';'\n"},
        // Linking too: the invalid techniques are listed once, with their reasons.
        {"--validate '" + good + "'", 0, ""},
        {"--validate '" + half + "'", 3, half + "(7) : warning: render state 'Lighting' ignored\n" + halfReason},
        {"--validate '" + assembly + "'", 1, assembly + "(1) : error: technique Old, pass P: the pixel shader is assembly"},
        // The driver's messages follow the pass's name.
        {"--validate '" + mismatched + "'", 3, mismatched + "(0) : error: technique Broken, pass Both: ", "gain"},
        {"--validate --technique Sound '" + mismatched + "'", 0, ""},
        // A compile error stops before any linking.
        {"--validate '" + unknown + "'", 1, unknown + "(3) : error: "},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.arguments);
        const Outcome outcome = run(example.arguments);
        REQUIRE_OPENGL(withOpenGL(outcome), outcome.errors);
        EXPECT_EQ(outcome.exitCode, example.exitCode) << outcome.errors;
        if (example.errors.empty())
            EXPECT_EQ(outcome.errors, "");
        else
            EXPECT_EQ(outcome.errors.rfind(example.errors, 0), 0u) << outcome.errors;
        EXPECT_NE(outcome.errors.find(example.mentions), std::string::npos) << outcome.errors;
    }
}

} // namespace
