#pragma once

#include "EffectModel.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

// The C preprocessor as effect files use it: #include "name" or <name>, looked
// for beside the including file and then in the include folders, object- and
// function-like macros with # and ## (arguments may run over several lines),
// conditionals over integer expressions, #line, #pragma ignored. Every output
// line remembers the file and line it came from, so that later stages report
// errors where the author wrote them. Errors never stop the caller: they come
// back with the text.
//
// An include written for another system ("F:\dir\Quad.fxh", "lib\a.fxh") is
// looked for with its backslashes as slashes when it is relative, then by its
// last component, in the same folders.
class EffectPreprocessor
{
public:
    struct Output
    {
        std::string text;                   // one line per entry of lines
        std::vector<EffectLocation> lines;  // where output line n + 1 came from
        std::vector<EffectError> errors;
    };

    // Predefined macros, such as the profile and the compiler definitions.
    void define(const std::string& name, const std::string& value);
    // Folders searched in order after the including file's own; empty ones are skipped.
    void setIncludeFolders(const std::vector<std::string>& folders);

    Output processFile(const std::string& path);
    // folder is where includes of the buffer are looked for, with its trailing "/".
    Output processBuffer(const std::string& source, const std::string& name, const std::string& folder);

    // An effect file's bytes; false when it cannot be read.
    static bool readFile(const std::string& path, std::string& contents);
    // The folder part of a path, with its trailing "/"; empty for a bare name.
    static std::string folderOf(const std::string& path);

private:
    struct Macro
    {
        bool isFunction = false;
        std::vector<std::string> parameters;
        std::string body;
    };

    struct Conditional
    {
        bool enclosingActive = true;
        bool active = false;
        bool taken = false;
        bool seenElse = false;
        EffectLocation location;
    };

    struct Run
    {
        Output output;
        std::map<std::string, Macro> macros;
        std::vector<std::string> includeStack; // canonical paths of the files being read
        EffectLocation here;                   // the directive or line being handled
        std::size_t expansions = 0;            // macros expanded on the current line
        std::size_t expanded = 0;              // bytes every expansion made, kept or not
        std::size_t conditions = 0;            // of those, the bytes of #if and #elif expressions
        std::size_t includes = 0;              // #include directives handled
        std::uintmax_t includedBytes = 0;      // the sizes of the files they read
        bool overflowed = false;               // a bound was passed: stop reading
        bool mayContinue = false;              // a macro call may take its arguments from the next line
        bool callOpen = false;                 // ... and does: the line waits for the next one
        unsigned renumberedLine = 0;           // set by #line: the number of the line after it
        std::string renamedFile;               // set by #line with a file name
    };

    void processText(Run& run, const std::string& source, std::string name, const std::string& folder);
    void directive(Run& run, const std::string& line, std::vector<Conditional>& conditionals, const std::string& folder);
    void defineMacro(Run& run, const std::string& rest);
    void include(Run& run, const std::string& rest, const std::string& folder);
    std::string findInclude(const std::string& name, const std::string& folder) const;
    void lineDirective(Run& run, const std::string& rest);
    bool evaluate(Run& run, const std::string& expression);
    // A line or a directive's operand, counted against the run's bounds.
    std::string expandWhole(Run& run, const std::string& text);
    std::string expand(Run& run, const std::string& text, std::set<std::string>& active, int depth);
    std::string substitute(Run& run, const Macro& macro, const std::vector<std::string>& arguments,
                           std::set<std::string>& active, int depth);
    void error(Run& run, const std::string& message);

    std::map<std::string, Macro> predefined;
    std::vector<std::string> includeFolders; // each with its trailing "/"
};
