#include "EffectPreprocessor.h"

#include <algorithm>
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

    // Where the output line holding needle came from.
    EffectLocation originOf(const EffectPreprocessor::Output& output, const std::string& needle)
    {
        const std::size_t at = output.text.find(needle);
        if (at == std::string::npos)
            return {"(not in the output)", 0};
        return output.lines.at(std::size_t(std::count(output.text.begin(), output.text.begin() + std::ptrdiff_t(at), '\n')));
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

TEST_F(EffectPreprocessorTest, MacrosAndConditionalsGiveTheTextTheyName)
{
    preprocessor.define("PROFILE", "glslf");
    preprocessor.define("STRENGTH", "2");
    const struct
    {
        const char* source;
        std::vector<std::string> lines;
    } cases[] = {
        {"#define NAME(a) #a\n#define JOIN(a, b) a ## b\n#define TWICE(x) ((x) + (x))\n#define ONE 1\n"
         "string s = NAME(hello  world);\nfloat JOIN(tex, 0) = TWICE(ONE);\nfloat JOIN(ONE, 2);\n",
         {"string s = \"hello world\";", "float tex0 = ((1) + (1));", "float ONE2;"}},
        // Self-reference stops; a function-like name without parentheses stays a name.
        {"#define loop loop + 1\n#define f(x) x\nloop; f;\n", {"loop + 1; f;"}},
        {"#if STRENGTH > 1 && defined(PROFILE)\nPROFILE\n#endif\n", {"glslf"}},
        {"#define LEVEL 2\n#if LEVEL == 1\none\n#elif LEVEL == 2\ntwo\n#else\nother\n#endif\n"
         "#ifdef MISSING\nno\n#else\n#ifndef MISSING\nyes\n#endif\n#endif\n"
         "#if (3 * 4) % 5 == 2 ? !defined MISSING : 0\nmath\n#endif\n"
         "#undef LEVEL\n#ifdef LEVEL\ngone\n#endif\n#pragma anything at all\n",
         {"two", "yes", "math"}},
    };
    for (const auto& test : cases) {
        const auto output = run(test.source);
        EXPECT_TRUE(output.errors.empty()) << test.source << effectListing(output.errors);
        EXPECT_EQ(solidLines(output.text), test.lines) << test.source;
    }
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

TEST_F(EffectPreprocessorTest, IncludesAreLookedForBesideTheFileThenInTheIncludeFoldersInOrder)
{
    std::system(("mkdir -p '" + folder + "first' '" + folder + "second' '" + folder + "lib'").c_str());
    write("beside.fxh", "float beside;\n");
    write("both.fxh", "float bothBeside;\n");
    write("first/both.fxh", "float bothFirst;\n");
    write("first/shared.fxh", "float sharedFirst;\n");
    write("second/shared.fxh", "float sharedSecond;\n");
    write("second/onlySecond.fxh", "float onlySecond;\n");
    write("lib/deep.fxh", "float deep;\n");
    write("lib/outer.fxh", "#include \"inner.fxh\"\nfloat outer;\n");
    write("lib/inner.fxh", "float inner;\n");
    // One folder without its trailing "/", one with it.
    preprocessor.setIncludeFolders({folder + "first", "", folder + "second/"});

    const struct
    {
        const char* directive;
        std::vector<std::string> lines;
    } cases[] = {
        {"#include <beside.fxh>", {"float beside;"}},
        {"#include <both.fxh>", {"float bothBeside;"}},
        {"#include \"shared.fxh\"", {"float sharedFirst;"}},
        {"#include <onlySecond.fxh>", {"float onlySecond;"}},
        {"#include \"F:\\effects\\include\\beside.fxh\"", {"float beside;"}},
        {"#include <C:\\Program Files\\FX\\onlySecond.fxh>", {"float onlySecond;"}},
        {"#include \"lib\\deep.fxh\"", {"float deep;"}},
        {"#include \"elsewhere\\deep\\beside.fxh\"", {"float beside;"}},
        // Beside the including header, not beside the effect.
        {"#include \"lib/outer.fxh\"", {"float inner;", "float outer;"}},
        {"#define HEADER <onlySecond.fxh>\n#include HEADER", {"float onlySecond;"}},
    };
    for (const auto& test : cases) {
        const auto output = run(std::string(test.directive) + "\n");
        EXPECT_TRUE(output.errors.empty()) << test.directive << ": " << effectListing(output.errors);
        EXPECT_EQ(solidLines(output.text), test.lines) << test.directive;
    }
}

TEST_F(EffectPreprocessorTest, MisusedDirectivesAndMacroCallsAreErrorsOnTheirLines)
{
    const struct
    {
        const char* source;
        unsigned line;
        const char* message;
    } cases[] = {
        {"float a;\n#include <absent.fxh>\n", 2, "cannot open include file \"absent.fxh\""},
        {"\n\n#include \"F:\\nowhere\\absent.fxh\"\n", 3, "cannot open include file \"F:\\nowhere\\absent.fxh\""},
        {"float a;\n#include\n", 2, "#include expects \"FILENAME\" or <FILENAME>"},
        {"#include <>\n", 1, "#include expects \"FILENAME\" or <FILENAME>"},
        {"\n#include NOT_A_NAME\n", 2, "#include expects \"FILENAME\" or <FILENAME>"},
        {"#line\n", 1, "#line expects a line number from 1 to 999999999"},
        {"float a;\n#line 0\n", 2, "#line expects a line number from 1 to 999999999"},
        {"\n#line 12 other.fx\n", 2, "#line expects a line number and an optional \"FILENAME\""},
        {"#line 12 \"a.fx\" 3\n", 1, "#line expects a line number and an optional \"FILENAME\""},
        {"#define F(a, b) a\nfloat x;\nfloat y = F(1,\n2", 3, "unterminated argument list invoking macro 'F'"},
        {"#define F(a) a\nfloat y = F(1,\n#define G\n2);\n", 2, "unterminated argument list invoking macro 'F'"},
        {"#define F(a, b) a\nfloat y = F(1,\n  2, 3);\n", 2, "macro 'F' expects 2 arguments, but 3 given"},
    };
    for (const auto& test : cases) {
        const auto output = run(test.source);
        ASSERT_FALSE(output.errors.empty()) << test.source;
        EXPECT_EQ(effectListing({output.errors[0]}),
                  "test.fx(" + std::to_string(test.line) + ") : error: " + test.message + "\n");
    }
}

TEST_F(EffectPreprocessorTest, MacroArgumentsMayRunOverLinesAndWhatFollowsKeepsItsLine)
{
    const auto output = run("#define MIX(a, b, c) lerp(a, b, c)\n"
                            "#define NAME(x) #x\n"
                            "float4 v = MIX(float4(1, 0, 0, 1),\n"
                            "               float4(0, 1, 0, 1),\n"
                            "               0.5); float after;\n"
                            "string s = NAME(two\n"
                            "                words);\n"
                            "float w = MIX\n"
                            "  (1, 2, 3);\n"
                            "float MIX;\n"
                            "float last;\n");
    ASSERT_TRUE(output.errors.empty()) << effectListing(output.errors);
    EXPECT_EQ(solidLines(output.text),
              (std::vector<std::string>{"float4 v = lerp(float4(1, 0, 0, 1), float4(0, 1, 0, 1), 0.5)", "; float after;",
                                        "string s = \"two words\"", ";", "float w = lerp(1, 2, 3)", ";",
                                        "float MIX;", "float last;"}));
    ASSERT_EQ(std::count(output.text.begin(), output.text.end(), '\n'), std::ptrdiff_t(output.lines.size()));
    const std::pair<const char*, unsigned> expected[] = {{"float4 v", 3},   {"float after", 5}, {"string s", 6},
                                                         {"float w", 8},    {"float MIX", 10},  {"float last", 11}};
    for (const auto& [needle, line] : expected)
        EXPECT_EQ(originOf(output, needle).line, line) << needle;
}

TEST_F(EffectPreprocessorTest, EveryOutputLineKnowsItsFileAndLineWhichLineDirectivesSet)
{
    write("part.fxh", "// a header\nfloat inPart;\n#line 100\nfloat renumbered;\n");
    const auto output = run("/* a comment\n over lines */ float a;\n"
                            "float joined = 1 + \\\n 2;\n"
                            "float a2;\n"
                            "#line 40\n"
                            "float b;\n"
                            "#define HERE 70 \"gen\\\\erated.fx\"\n"
                            "#line HERE\n"
                            "float c;\n"
                            "#include \"part.fxh\"\n"
                            "float d;\n"
                            "#if 0\n"
                            "#line 1 \"skipped.fx\"\n"
                            "#endif\n"
                            "float e;\n");
    ASSERT_TRUE(output.errors.empty()) << effectListing(output.errors);
    EXPECT_NE(output.text.find("float joined = 1 +  2;"), std::string::npos) << output.text;
    const std::vector<std::pair<std::string, EffectLocation>> expected = {
        {"float a;", {"test.fx", 2}},
        {"float joined", {"test.fx", 3}},
        {"float a2;", {"test.fx", 5}},
        {"float b;", {"test.fx", 40}},
        {"float c;", {"gen\\erated.fx", 70}},
        {"float inPart;", {folder + "part.fxh", 2}},
        {"float renumbered;", {folder + "part.fxh", 100}},
        {"float d;", {"gen\\erated.fx", 72}},
        {"float e;", {"gen\\erated.fx", 76}},
    };
    for (const auto& [needle, location] : expected) {
        EXPECT_EQ(originOf(output, needle).file, location.file) << needle;
        EXPECT_EQ(originOf(output, needle).line, location.line) << needle;
    }
}
