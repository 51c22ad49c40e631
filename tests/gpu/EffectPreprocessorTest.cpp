#include "EffectPreprocessor.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace
{
    // Lines of the output, without blank ones, for comparing whole results.
    std::vector<std::string> solidLines(const std::string& text)
    {
        std::vector<std::string> lines;
        std::size_t start = 0;
        for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
            std::string line = text.substr(start, end - start);
            while (!line.empty() && line.back() == ' ')
                line.pop_back();
            if (line.find_first_not_of(' ') != std::string::npos)
                lines.push_back(line.substr(line.find_first_not_of(' ')));
        }
        return lines;
    }
}

class EffectPreprocessorTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/kvos-effects-XXXXXX";
        folder = std::string(mkdtemp(pattern)) + "/";
    }
    void TearDown() override { std::system(("rm -rf '" + folder + "'").c_str()); }

    std::string write(const std::string& name, const std::string& text)
    {
        std::ofstream(folder + name) << text;
        return folder + name;
    }

    EffectPreprocessor::Output run(const std::string& source)
    {
        return preprocessor.processBuffer(source, "test.fx", folder);
    }

    EffectPreprocessor preprocessor;
    std::string folder;
};

TEST_F(EffectPreprocessorTest, FunctionLikeMacrosStringifyAndPaste)
{
    const auto output = run("#define NAME(a) #a\n"
                            "#define JOIN(a, b) a ## b\n"
                            "#define TWICE(x) ((x) + (x))\n"
                            "#define ONE 1\n"
                            "string s = NAME(hello  world);\n"
                            "float JOIN(tex, 0) = TWICE(ONE);\n"
                            "float JOIN(ONE, 2);\n");
    ASSERT_TRUE(output.errors.empty());
    EXPECT_EQ(solidLines(output.text),
              (std::vector<std::string>{"string s = \"hello world\";", "float tex0 = ((1) + (1));", "float ONE2;"}));
}

TEST_F(EffectPreprocessorTest, SelfReferenceStopsAndNameWithoutParenthesesStaysAName)
{
    const auto output = run("#define loop loop + 1\n#define f(x) x\nloop; f;\n");
    ASSERT_TRUE(output.errors.empty());
    EXPECT_EQ(solidLines(output.text), (std::vector<std::string>{"loop + 1; f;"}));
}

TEST_F(EffectPreprocessorTest, PredefinedMacrosReachTheText)
{
    preprocessor.define("PROFILE", "glslf");
    preprocessor.define("STRENGTH", "2");
    const auto output = run("#if STRENGTH > 1 && defined(PROFILE)\nPROFILE\n#endif\n");
    ASSERT_TRUE(output.errors.empty());
    EXPECT_EQ(solidLines(output.text), (std::vector<std::string>{"glslf"}));
}

TEST_F(EffectPreprocessorTest, ConditionalsTakeOneBranchEachAndNest)
{
    const auto output = run("#define LEVEL 2\n"
                            "#if LEVEL == 1\none\n#elif LEVEL == 2\ntwo\n#else\nother\n#endif\n"
                            "#ifdef MISSING\nno\n#else\n#ifndef MISSING\nyes\n#endif\n#endif\n"
                            "#if (3 * 4) % 5 == 2 ? !defined MISSING : 0\nmath\n#endif\n"
                            "#undef LEVEL\n#ifdef LEVEL\ngone\n#endif\n"
                            "#pragma anything at all\n");
    ASSERT_TRUE(output.errors.empty());
    EXPECT_EQ(solidLines(output.text), (std::vector<std::string>{"two", "yes", "math"}));
}

TEST_F(EffectPreprocessorTest, EveryOutputLineKnowsItsFileAndLine)
{
    write("common.fxh", "// helpers\nfloat helper;\n");
    const auto output = run("#include \"common.fxh\"\n/* a comment\n over lines */ float a;\nfloat b = 1 + \\\n 2;\nfloat c;\n");
    ASSERT_TRUE(output.errors.empty());
    const std::vector<std::string> lines = solidLines(output.text);
    ASSERT_EQ(output.lines.size(), 6u);
    const std::string text = output.text;
    // Find each declaration's output line and check where it came from.
    auto originOf = [&](const std::string& needle) {
        std::size_t line = 0;
        for (std::size_t at = 0; at < text.find(needle); ++at)
            line += text[at] == '\n';
        return output.lines[line];
    };
    EXPECT_EQ(originOf("helper").file, folder + "common.fxh");
    EXPECT_EQ(originOf("helper").line, 2u);
    EXPECT_EQ(originOf("float a").file, "test.fx");
    EXPECT_EQ(originOf("float a").line, 3u);
    EXPECT_EQ(originOf("float b").line, 4u);
    EXPECT_EQ(originOf("float c").line, 6u);
    EXPECT_NE(text.find("float b = 1 +  2;"), std::string::npos);
}

TEST_F(EffectPreprocessorTest, IncludesAreFoundBesideTheIncludingFile)
{
    std::system(("mkdir -p '" + folder + "lib'").c_str());
    write("lib/outer.fxh", "#include \"inner.fxh\"\nfloat outer;\n");
    write("lib/inner.fxh", "float inner;\n");
    const std::string main = write("main.fx", "#include \"lib/outer.fxh\"\nfloat top;\n");
    const auto output = preprocessor.processFile(main);
    ASSERT_TRUE(output.errors.empty());
    EXPECT_EQ(solidLines(output.text), (std::vector<std::string>{"float inner;", "float outer;", "float top;"}));
}

TEST_F(EffectPreprocessorTest, RecursiveIncludeIsAnErrorOnTheIncludeLine)
{
    write("a.fxh", "float a;\n\n#include \"b.fxh\"\n");
    write("b.fxh", "#include \"a.fxh\"\n");
    const std::string main = write("main.fx", "#include \"a.fxh\"\n");
    const auto output = preprocessor.processFile(main);
    ASSERT_EQ(output.errors.size(), 1u);
    EXPECT_EQ(output.errors[0].location.file, folder + "b.fxh");
    EXPECT_EQ(output.errors[0].location.line, 1u);
    EXPECT_EQ(output.errors[0].message, "recursive #include of \"a.fxh\"");
}

TEST_F(EffectPreprocessorTest, DirectiveMistakesAreErrorsWithTheirLines)
{
    const auto output = run("float a;\n#endif\n#if 1 / 0\n#endif\n#include \"absent.fxh\"\n#bogus\n#if 1\n");
    ASSERT_EQ(output.errors.size(), 5u);
    EXPECT_EQ(output.errors[0].location.line, 2u);
    EXPECT_EQ(output.errors[0].message, "#endif without #if");
    EXPECT_EQ(output.errors[1].location.line, 3u);
    EXPECT_EQ(output.errors[2].location.line, 5u);
    EXPECT_EQ(output.errors[2].message, "cannot open include file \"absent.fxh\"");
    EXPECT_EQ(output.errors[3].message, "unknown preprocessor directive 'bogus'");
    EXPECT_EQ(output.errors[4].location.line, 7u);
    EXPECT_EQ(output.errors[4].message, "unterminated conditional directive");
}

TEST_F(EffectPreprocessorTest, ExplodingMacrosStopWithAnError)
{
    std::string source = "#define M0 x\n";
    for (int level = 1; level <= 40; ++level)
        source += "#define M" + std::to_string(level) + " M" + std::to_string(level - 1) + " M" +
                  std::to_string(level - 1) + "\n";
    source += "M40\n";
    const auto output = run(source);
    ASSERT_FALSE(output.errors.empty());
    EXPECT_EQ(output.errors[0].location.line, 42u);
}
