#include <gtest/gtest.h>

#include <glib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

const char kGoodEffect[] = R"(float4 tint < string UIName = "Tint"; > = {1, 0.5, 0.25, 1};

void lift(float4 position : POSITION, float4 uv : TEXCOORD0, out float4 clip : POSITION,
          out float4 coordinate : TEXCOORD0)
{
    clip = position;
    coordinate = uv;
}

float4 shade(float4 coordinate : TEXCOORD0) : COLOR
{
    return coordinate * tint;
}

technique Plain
{
    pass Alone { FragmentProgram = compile fp40 shade(); }
    pass WithVertex
    {
        VertexProgram = compile vp40 lift();
        FragmentProgram = compile fp40 shade();
    }
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

float4 shade(float4 coordinate : TEXCOORD0, uniform float3 gain) : COLOR
{
    return float4(coordinate.xyz * gain, 1);
}

float4 plain(float4 coordinate : TEXCOORD0) : COLOR
{
    return coordinate;
}

technique Broken
{
    pass Both
    {
        VertexProgram = compile vp40 lift();
        FragmentProgram = compile fp40 shade();
    }
}

technique Sound
{
    pass Alone { FragmentProgram = compile fp40 plain(); }
}
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
    static Outcome validate(const std::string& path, const std::string& extraArguments = {})
    {
        const std::string command = "'" KVFXC_PATH "' --validate " + extraArguments + " '" + path + "' 2>&1 >/dev/null";
        Outcome run;
        FILE* pipe = ::popen(command.c_str(), "r");
        if (pipe == nullptr)
            return run;
        char buffer[4096];
        for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            run.errors.append(buffer, got);
        const int status = ::pclose(pipe);
        if (WIFEXITED(status))
            run.exitCode = WEXITSTATUS(status);
        return run;
    }

    static std::vector<std::string> lines(const std::string& text)
    {
        std::vector<std::string> found;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);)
            found.push_back(line);
        return found;
    }

    std::string folder;
};

// A machine without OpenGL cannot say whether a pass links; kvfxc says so and exits 2.
bool withoutOpenGL(const Outcome& run)
{
    return run.exitCode == 2 && run.errors.find("kvfxc: cannot validate") != std::string::npos;
}

TEST_F(KvfxcValidateTest, EveryPassLinksAndExitsZero)
{
    const Outcome run = validate(write("good.fx", kGoodEffect));
    if (withoutOpenGL(run))
        GTEST_SKIP() << run.errors;
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
}

TEST_F(KvfxcValidateTest, PassThatDoesNotLinkListsTheDriverMessagesAndExitsOne)
{
    const std::string path = write("mismatch.fx", kMismatchedEffect);
    const Outcome run = validate(path);
    if (withoutOpenGL(run))
        GTEST_SKIP() << run.errors;
    EXPECT_EQ(run.exitCode, 1);
    const std::vector<std::string> listed = lines(run.errors);
    ASSERT_FALSE(listed.empty());
    const std::string prefix = path + "(0) : error: technique Broken, pass Both: ";
    for (const std::string& line : listed) {
        EXPECT_EQ(line.rfind(prefix, 0), 0u) << line;
        EXPECT_GT(line.size(), prefix.size()) << line;
    }
    EXPECT_NE(run.errors.find("gain"), std::string::npos) << run.errors;
}

TEST_F(KvfxcValidateTest, TechniqueOptionValidatesOnlyThatTechnique)
{
    const Outcome run = validate(write("mismatch.fx", kMismatchedEffect), "--technique Sound");
    if (withoutOpenGL(run))
        GTEST_SKIP() << run.errors;
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
}

TEST_F(KvfxcValidateTest, CompileErrorExitsOneBeforeAnyLinking)
{
    const std::string path =
        write("bad.fx", "float4 shade() : COLOR\n{\n    return missing;\n}\ntechnique T { pass P { FragmentProgram = "
                        "compile fp40 shade(); } }\n");
    const Outcome run = validate(path);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors.rfind(path + "(3) : error: ", 0), 0u) << run.errors;
    EXPECT_EQ(run.errors.find("(0) : error: technique "), std::string::npos) << run.errors;
}

} // namespace
