#include "EffectPreprocessor.h"

#include "EffectLexer.h"

#include <algorithm>
#include <cerrno>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace
{
    using Token = EffectLexer::Token;

    // Bounds that turn hostile input into an error instead of a stack overflow
    // or an exhausted heap.
    constexpr int kMaxExpansionDepth = 200;
    constexpr std::size_t kMaxLineLength = 1 << 20;
    // Each line's bounds would let every short line of a file cost a
    // megabyte: these bound the run. All the text expansions make counts,
    // kept in the output or not (a macro call's tries over several lines,
    // directives); the expressions of #if and #elif, slower to evaluate than
    // text is to keep, have a bound of their own.
    constexpr std::size_t kMaxExpanded = 8u << 20;
    constexpr std::size_t kMaxConditions = 1u << 20;
    constexpr std::size_t kMaxIncludeDepth = 64;
    constexpr std::size_t kMaxExpansionsPerLine = 100000;
    // Each further line of a macro call's arguments expands the call again.
    constexpr std::size_t kMaxArgumentLines = 200;
    // Files that include each other several times over multiply the work at
    // every level, however shallow: every #include counts, found or not, and
    // so do the bytes of every file read.
    constexpr std::size_t kMaxIncludes = 4096;
    constexpr std::uintmax_t kMaxIncludedBytes = 64u << 20;

    std::string stringify(const std::string& argument)
    {
        std::string quoted = "\"";
        bool blank = false;
        for (char c : EffectLexer::trim(argument)) {
            if (c == ' ' || c == '\t') {
                blank = true;
                continue;
            }
            if (blank)
                quoted += ' ';
            blank = false;
            if (c == '"' || c == '\\')
                quoted += '\\';
            quoted += c;
        }
        return quoted + "\"";
    }

    // Integer expressions of #if, over tokens whose macros are already expanded.
    // Arithmetic wraps as unsigned so that no input reaches undefined behaviour.
    class ConditionEvaluator
    {
    public:
        explicit ConditionEvaluator(const std::string& text)
        {
            EffectLexer lexer(text);
            for (Token token = lexer.next(); token.kind != Token::eEnd; token = lexer.next())
                tokens.push_back(token);
        }

        bool evaluate(long long& result)
        {
            result = conditional();
            return ok && at == tokens.size();
        }

    private:
        const Token* peek() const { return at < tokens.size() ? &tokens[at] : nullptr; }
        bool accept(std::string_view punctuator)
        {
            if (peek() && peek()->is(punctuator)) {
                ++at;
                return true;
            }
            return false;
        }

        long long conditional()
        {
            const long long condition = binary(1);
            if (!accept("?"))
                return condition;
            const long long whenTrue = conditional();
            if (!accept(":"))
                ok = false;
            const long long whenFalse = conditional();
            return condition ? whenTrue : whenFalse;
        }

        long long binary(int minimum)
        {
            long long left = unary();
            while (ok && peek() && peek()->precedence() >= minimum) {
                const int level = peek()->precedence();
                const std::string_view op = tokens[at++].text;
                const long long right = binary(level + 1);
                left = apply(op, left, right);
            }
            return left;
        }

        long long apply(std::string_view op, long long left, long long right)
        {
            const auto l = static_cast<unsigned long long>(left);
            const auto r = static_cast<unsigned long long>(right);
            if (op == "||") return left || right;
            if (op == "&&") return left && right;
            if (op == "|") return static_cast<long long>(l | r);
            if (op == "^") return static_cast<long long>(l ^ r);
            if (op == "&") return static_cast<long long>(l & r);
            if (op == "==") return left == right;
            if (op == "!=") return left != right;
            if (op == "<") return left < right;
            if (op == ">") return left > right;
            if (op == "<=") return left <= right;
            if (op == ">=") return left >= right;
            if (op == "<<") return static_cast<long long>(l << (r & 63));
            if (op == ">>") return left >> (r & 63);
            if (op == "+") return static_cast<long long>(l + r);
            if (op == "-") return static_cast<long long>(l - r);
            if (op == "*") return static_cast<long long>(l * r);
            if (right == 0 || (left == LLONG_MIN && right == -1)) {
                ok = false;
                return 0;
            }
            return op == "/" ? left / right : left % right;
        }

        long long unary()
        {
            const Token* token = peek();
            if (!token || ++depth > kMaxExpansionDepth) {
                ok = false;
                return 0;
            }
            long long value = 0;
            ++at;
            if (token->is("!"))
                value = !unary();
            else if (token->is("~"))
                value = ~unary();
            else if (token->is("-"))
                value = static_cast<long long>(0ull - static_cast<unsigned long long>(unary()));
            else if (token->is("+"))
                value = unary();
            else if (token->is("(")) {
                value = conditional();
                if (!accept(")"))
                    ok = false;
            } else if (token->kind == Token::eNumber)
                value = number(token->text);
            else if (token->kind == Token::eIdentifier)
                value = token->text == "true"; // what is left of names after expansion counts as 0
            else
                ok = false;
            --depth;
            return value;
        }

        long long number(std::string_view text)
        {
            std::string digits(text);
            while (!digits.empty() && (digits.back() == 'u' || digits.back() == 'U' || digits.back() == 'l' ||
                                       digits.back() == 'L'))
                digits.pop_back();
            char* end = nullptr;
            errno = 0;
            const unsigned long long value = std::strtoull(digits.c_str(), &end, 0);
            if (digits.empty() || *end != '\0' || errno != 0)
                ok = false;
            return static_cast<long long>(value);
        }

        std::vector<Token> tokens;
        std::size_t at = 0;
        int depth = 0;
        bool ok = true;
    };
}

bool EffectPreprocessor::readFile(const std::string& path, std::string& contents)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    contents.assign(std::istreambuf_iterator<char>(in), {});
    return !in.bad();
}

std::string EffectPreprocessor::folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

void EffectPreprocessor::define(const std::string& name, const std::string& value)
{
    Macro macro;
    macro.body = value;
    predefined[name] = macro;
}

void EffectPreprocessor::setIncludeFolders(const std::vector<std::string>& folders)
{
    includeFolders.clear();
    for (const std::string& folder : folders)
        if (!folder.empty())
            includeFolders.push_back(folder.back() == '/' ? folder : folder + "/");
}

EffectPreprocessor::Output EffectPreprocessor::processFile(const std::string& path)
{
    Run run;
    run.macros = predefined;
    std::string source;
    if (!readFile(path, source)) {
        run.output.errors.push_back({{path, 0}, "cannot open file \"" + path + "\""});
        return run.output;
    }
    std::error_code failure;
    run.includeStack.push_back(std::filesystem::weakly_canonical(path, failure).string());
    processText(run, source, path, folderOf(path));
    return run.output;
}

EffectPreprocessor::Output EffectPreprocessor::processBuffer(const std::string& source, const std::string& name,
                                                             const std::string& folder)
{
    Run run;
    run.macros = predefined;
    processText(run, source, name, folder);
    return run.output;
}

void EffectPreprocessor::processText(Run& run, const std::string& source, std::string name,
                                     const std::string& folder)
{
    std::vector<Conditional> conditionals;
    unsigned lineNumber = 1;
    unsigned logicalStart = 1;
    std::string logical;
    // Text lines held back while a macro call's arguments run on, with the
    // line each began on: the expansion keeps their line breaks.
    std::string held;
    std::vector<unsigned> heldStarts;

    auto expandHeld = [&](bool mayContinue) {
        if (heldStarts.empty())
            return;
        run.here = {name, heldStarts.front()};
        run.expansions = 0;
        run.mayContinue = mayContinue;
        run.callOpen = false;
        // A try that waits for more lines is made again in full: its errors go.
        const std::size_t errorsBefore = run.output.errors.size();
        const std::string expanded = expandWhole(run, held);
        run.mayContinue = false;
        if (run.callOpen && !run.overflowed) {
            run.output.errors.resize(errorsBefore);
            return;
        }
        if (run.expanded <= kMaxExpanded) {
            run.output.text += expanded;
            run.output.text += '\n';
            std::size_t line = 0;
            run.output.lines.push_back({name, heldStarts.front()});
            for (const char c : expanded)
                if (c == '\n')
                    run.output.lines.push_back({name, heldStarts[std::min(++line, heldStarts.size() - 1)]});
        }
        held.clear();
        heldStarts.clear();
    };

    // A logical line is finished: a directive, or text to expand if it is live.
    auto finish = [&] {
        const std::size_t first = logical.find_first_not_of(" \t\f\v");
        if (first != std::string::npos && logical[first] == '#') {
            // A macro call's arguments end before a directive.
            expandHeld(false);
            run.here = {name, logicalStart};
            directive(run, logical.substr(first + 1), conditionals, folder);
            if (run.renumberedLine != 0) {
                lineNumber = run.renumberedLine - 1;
                if (!run.renamedFile.empty())
                    name = run.renamedFile;
                run.renumberedLine = 0;
                run.renamedFile.clear();
            }
        } else if (conditionals.empty() || conditionals.back().active) {
            if (!heldStarts.empty())
                held += '\n';
            held += logical;
            heldStarts.push_back(logicalStart);
            expandHeld(heldStarts.size() < kMaxArgumentLines && held.size() < kMaxLineLength);
        }
        logical.clear();
    };

    bool inComment = false;
    const std::size_t size = source.size();
    for (std::size_t at = 0; at < size && !run.overflowed;) {
        const char c = source[at];
        if (c == '\n') {
            finish();
            logicalStart = ++lineNumber;
            ++at;
        } else if (inComment) {
            if (c == '*' && at + 1 < size && source[at + 1] == '/') {
                inComment = false;
                logical += ' ';
                at += 2;
            } else {
                ++at;
            }
        } else if (c == '\\' && (source.compare(at, 2, "\\\n") == 0 || source.compare(at, 3, "\\\r\n") == 0)) {
            // A continued line keeps the number of its first line.
            at += source[at + 1] == '\r' ? 3 : 2;
            ++lineNumber;
        } else if (c == '/' && at + 1 < size && source[at + 1] == '/') {
            while (at < size && source[at] != '\n')
                ++at;
        } else if (c == '/' && at + 1 < size && source[at + 1] == '*') {
            inComment = true;
            at += 2;
        } else if (c == '"' || c == '\'') {
            logical += c;
            ++at;
            while (at < size && source[at] != c && source[at] != '\n') {
                if (source[at] == '\\' && at + 1 < size && source[at + 1] != '\n')
                    logical += source[at++];
                logical += source[at++];
            }
            if (at < size && source[at] == c)
                logical += source[at++];
        } else if (c == '\r') {
            ++at;
        } else {
            logical += c;
            ++at;
        }
    }
    if (!run.overflowed && !logical.empty())
        finish();
    expandHeld(false);
    if (run.overflowed)
        return;
    for (const Conditional& conditional : conditionals)
        run.output.errors.push_back({conditional.location, "unterminated conditional directive"});
}

void EffectPreprocessor::directive(Run& run, const std::string& line, std::vector<Conditional>& conditionals,
                                   const std::string& folder)
{
    EffectLexer lexer(line);
    const Token keyword = lexer.next();
    if (keyword.kind == Token::eEnd)
        return;
    const std::string name(keyword.text);
    const std::string rest = EffectLexer::trim(std::string_view(line).substr(lexer.offset()));
    const bool live = conditionals.empty() || conditionals.back().active;

    if (name == "if" || name == "ifdef" || name == "ifndef") {
        Conditional conditional;
        conditional.enclosingActive = live;
        conditional.location = run.here;
        if (live) {
            if (name == "if") {
                conditional.active = evaluate(run, rest);
            } else {
                const Token macro = EffectLexer(rest).next();
                if (macro.kind != Token::eIdentifier)
                    error(run, "#" + name + " expects a macro name");
                conditional.active = run.macros.count(std::string(macro.text)) != 0;
                if (name == "ifndef")
                    conditional.active = !conditional.active;
            }
        }
        conditional.taken = conditional.active;
        conditionals.push_back(conditional);
        return;
    }
    if (name == "elif" || name == "else") {
        if (conditionals.empty()) {
            error(run, "#" + name + " without #if");
            return;
        }
        Conditional& conditional = conditionals.back();
        if (conditional.seenElse) {
            error(run, "#" + name + " after #else");
            return;
        }
        conditional.seenElse = name == "else";
        if (conditional.taken || !conditional.enclosingActive)
            conditional.active = false;
        else
            conditional.active = name == "else" || evaluate(run, rest);
        conditional.taken = conditional.taken || conditional.active;
        return;
    }
    if (name == "endif") {
        if (conditionals.empty())
            error(run, "#endif without #if");
        else
            conditionals.pop_back();
        return;
    }
    if (!live)
        return;

    if (name == "define")
        defineMacro(run, rest);
    else if (name == "undef")
        run.macros.erase(std::string(EffectLexer(rest).next().text));
    else if (name == "include")
        include(run, rest, folder);
    else if (name == "line")
        lineDirective(run, rest);
    else if (name == "error")
        error(run, "#error " + rest);
    else if (name != "pragma" && name != "warning")
        error(run, "unknown preprocessor directive '" + name + "'");
}

void EffectPreprocessor::defineMacro(Run& run, const std::string& rest)
{
    EffectLexer lexer(rest, true);
    const Token name = lexer.next();
    if (name.kind != Token::eIdentifier) {
        error(run, "#define expects a macro name");
        return;
    }
    Macro macro;
    // Only a "(" right after the name makes a function-like macro.
    EffectLexer afterName = lexer;
    if (afterName.next().is("(")) {
        macro.isFunction = true;
        lexer = EffectLexer(rest);
        lexer.next();
        lexer.next();
        Token token = lexer.next();
        while (!token.is(")")) {
            if (token.kind != Token::eIdentifier) {
                error(run, "invalid parameter list of macro '" + std::string(name.text) + "'");
                return;
            }
            macro.parameters.emplace_back(token.text);
            token = lexer.next();
            if (token.is(","))
                token = lexer.next();
            else if (!token.is(")")) {
                error(run, "invalid parameter list of macro '" + std::string(name.text) + "'");
                return;
            }
        }
    }
    macro.body = EffectLexer::trim(std::string_view(rest).substr(lexer.offset()));
    run.macros[std::string(name.text)] = macro;
}

void EffectPreprocessor::include(Run& run, const std::string& rest, const std::string& folder)
{
    // A name that is neither "..." nor <...> may be a macro that gives one.
    std::string written = rest;
    if (written.empty() || (written[0] != '"' && written[0] != '<'))
        written = EffectLexer::trim(expandWhole(run, rest));
    std::string name;
    if (written.size() >= 2 && (written[0] == '"' || written[0] == '<')) {
        const std::size_t close = written.find(written[0] == '"' ? '"' : '>', 1);
        if (close != std::string::npos)
            name = written.substr(1, close - 1);
    }
    if (name.empty()) {
        error(run, "#include expects \"FILENAME\" or <FILENAME>");
        return;
    }
    if (++run.includes > kMaxIncludes) {
        error(run, "too many #include directives: at most " + std::to_string(kMaxIncludes) + " in all");
        run.overflowed = true;
        return;
    }
    const std::string path = findInclude(name, folder);
    if (path.empty()) {
        error(run, "cannot open include file \"" + name + "\"");
        return;
    }
    std::error_code failure;
    const std::string canonical = std::filesystem::weakly_canonical(path, failure).string();
    for (const std::string& open : run.includeStack)
        if (open == canonical) {
            error(run, "recursive #include of \"" + name + "\"");
            return;
        }
    if (run.includeStack.size() >= kMaxIncludeDepth) {
        error(run, "#include nested too deeply");
        return;
    }
    const std::uintmax_t size = std::filesystem::file_size(path, failure);
    if (!failure && (run.includedBytes += size) > kMaxIncludedBytes) {
        error(run, "included files too large: at most " + std::to_string(kMaxIncludedBytes >> 20) + " MiB in all");
        run.overflowed = true;
        return;
    }
    std::string source;
    if (!readFile(path, source)) {
        error(run, "cannot open include file \"" + name + "\"");
        return;
    }
    run.includeStack.push_back(canonical);
    processText(run, source, path, folderOf(path));
    run.includeStack.pop_back();
}

std::string EffectPreprocessor::findInclude(const std::string& name, const std::string& folder) const
{
    auto isFile = [](const std::string& path) {
        std::error_code failure;
        return std::filesystem::is_regular_file(path, failure);
    };
    std::vector<std::string> candidates;
    const bool drive = name.size() >= 2 && std::isalpha(static_cast<unsigned char>(name[0])) && name[1] == ':';
    if (!drive && name.find('\\') == std::string::npos) {
        if (name[0] == '/')
            return isFile(name) ? name : std::string();
        candidates.push_back(name);
    } else {
        // Written for Windows: the folders it names are not here, the file may be.
        std::string slashed = name.substr(drive ? 2 : 0);
        std::replace(slashed.begin(), slashed.end(), '\\', '/');
        if (!drive && !slashed.empty() && slashed[0] != '/')
            candidates.push_back(slashed);
        const std::string last = slashed.substr(slashed.rfind('/') + 1);
        if (last.empty())
            return {};
        candidates.push_back(last);
    }
    for (const std::string& candidate : candidates) {
        if (isFile(folder + candidate))
            return folder + candidate;
        for (const std::string& searched : includeFolders)
            if (isFile(searched + candidate))
                return searched + candidate;
    }
    return {};
}

void EffectPreprocessor::lineDirective(Run& run, const std::string& rest)
{
    const std::string expanded = expandWhole(run, rest);
    EffectLexer lexer(expanded);
    const Token number = lexer.next();
    const bool digits = number.kind == Token::eNumber &&
                        number.text.find_first_not_of("0123456789") == std::string_view::npos && number.text.size() <= 9;
    const unsigned line = digits ? unsigned(std::stoul(std::string(number.text))) : 0;
    if (line == 0) {
        error(run, "#line expects a line number from 1 to 999999999");
        return;
    }
    const Token file = lexer.next();
    if ((file.kind != Token::eEnd && file.kind != Token::eString) || lexer.next().kind != Token::eEnd ||
        (file.kind == Token::eString && (file.text.size() < 3 || file.text.back() != '"'))) {
        error(run, "#line expects a line number and an optional \"FILENAME\"");
        return;
    }
    run.renumberedLine = line;
    if (file.kind == Token::eString)
        run.renamedFile = EffectLexer::unquote(file.text);
}

bool EffectPreprocessor::evaluate(Run& run, const std::string& expression)
{
    // "defined" is answered before expansion, so that its operand stays a name.
    std::string resolved;
    EffectLexer lexer(expression);
    for (Token token = lexer.next(); token.kind != Token::eEnd; token = lexer.next()) {
        if (!token.isWord("defined")) {
            resolved += token.text;
            resolved += ' ';
            continue;
        }
        Token operand = lexer.next();
        const bool parenthesised = operand.is("(");
        if (parenthesised)
            operand = lexer.next();
        if (operand.kind != Token::eIdentifier || (parenthesised && !lexer.next().is(")"))) {
            error(run, "invalid use of 'defined' in #if");
            return false;
        }
        resolved += run.macros.count(std::string(operand.text)) ? "1 " : "0 ";
    }
    const std::string expanded = expandWhole(run, resolved);
    if ((run.conditions += expanded.size()) > kMaxConditions) {
        if (!run.overflowed)
            error(run, "#if expressions too long: at most " + std::to_string(kMaxConditions >> 20) + " MiB in all");
        run.overflowed = true;
        return false;
    }
    long long value = 0;
    if (!ConditionEvaluator(expanded).evaluate(value)) {
        error(run, "invalid expression in #if: " + expression);
        return false;
    }
    return value != 0;
}

std::string EffectPreprocessor::expandWhole(Run& run, const std::string& text)
{
    std::set<std::string> active;
    std::string expanded = expand(run, text, active, 0);
    if ((run.expanded += expanded.size()) > kMaxExpanded && !run.overflowed) {
        error(run, "preprocessed source too large");
        run.overflowed = true;
    }
    return expanded;
}

std::string EffectPreprocessor::expand(Run& run, const std::string& text, std::set<std::string>& active, int depth)
{
    if (depth > kMaxExpansionDepth) {
        error(run, "macro expansion nested too deeply");
        return text;
    }
    std::string out;
    EffectLexer lexer(text, true);
    for (Token token = lexer.next(); token.kind != Token::eEnd; token = lexer.next()) {
        if (run.overflowed)
            return out;
        if (out.size() > kMaxLineLength || run.expansions > kMaxExpansionsPerLine) {
            // Macros that double at each level would otherwise take for ever.
            error(run, "macro expansion too long");
            run.overflowed = true;
            return out;
        }
        const std::string name(token.text);
        const auto found = token.kind == Token::eIdentifier && !active.count(name) ? run.macros.find(name)
                                                                                      : run.macros.end();
        if (found == run.macros.end()) {
            out += token.text;
            continue;
        }
        const Macro macro = found->second;
        std::vector<std::string> arguments;
        // The line breaks a call spans follow its expansion, so that the text
        // after it keeps its line.
        std::size_t lineBreaks = 0;
        if (macro.isFunction) {
            // A function-like macro's name without "(" is an ordinary name.
            auto blank = [&](const Token& space) {
                lineBreaks += std::size_t(std::count(space.text.begin(), space.text.end(), '\n'));
            };
            const bool mayContinue = depth == 0 && run.mayContinue;
            EffectLexer look = lexer;
            Token open = look.next();
            if (open.kind == Token::eSpace) {
                blank(open);
                open = look.next();
            }
            if (open.kind == Token::eEnd && mayContinue) {
                run.callOpen = true;
                return out;
            }
            if (!open.is("(")) {
                out += token.text;
                continue;
            }
            std::string argument;
            int level = 0;
            bool closed = false;
            for (Token part = look.next(); part.kind != Token::eEnd; part = look.next()) {
                if (part.kind == Token::eSpace) {
                    blank(part);
                    argument += ' ';
                    continue;
                }
                if (part.is("(")) {
                    ++level;
                } else if (part.is(")")) {
                    if (level == 0) {
                        closed = true;
                        break;
                    }
                    --level;
                } else if (part.is(",") && level == 0) {
                    arguments.push_back(EffectLexer::trim(argument));
                    argument.clear();
                    continue;
                }
                argument += part.text;
            }
            if (!closed && mayContinue) {
                run.callOpen = true;
                return out;
            }
            if (!closed) {
                error(run, "unterminated argument list invoking macro '" + name + "'");
                return out + text.substr(token.offset);
            }
            arguments.push_back(EffectLexer::trim(argument));
            if (macro.parameters.empty() && arguments.size() == 1 && arguments[0].empty())
                arguments.clear();
            if (arguments.size() != macro.parameters.size())
                error(run, "macro '" + name + "' expects " + std::to_string(macro.parameters.size()) +
                               " arguments, but " + std::to_string(arguments.size()) + " given");
            arguments.resize(macro.parameters.size());
            lexer = look;
        }
        ++run.expansions;
        active.insert(name);
        out += expand(run, substitute(run, macro, arguments, active, depth), active, depth + 1);
        active.erase(name);
        out.append(lineBreaks, '\n');
    }
    return out;
}

std::string EffectPreprocessor::substitute(Run& run, const Macro& macro, const std::vector<std::string>& arguments,
                                           std::set<std::string>& active, int depth)
{
    std::vector<Token> tokens;
    EffectLexer lexer(macro.body, true);
    for (Token token = lexer.next(); token.kind != Token::eEnd; token = lexer.next())
        tokens.push_back(token);

    auto parameterOf = [&](const Token& token) -> int {
        if (token.kind != Token::eIdentifier)
            return -1;
        for (std::size_t index = 0; index < macro.parameters.size(); ++index)
            if (macro.parameters[index] == token.text)
                return int(index);
        return -1;
    };
    auto nextSolid = [&](std::size_t index) {
        ++index;
        while (index < tokens.size() && tokens[index].kind == Token::eSpace)
            ++index;
        return index;
    };

    std::string out;
    bool pasting = false;
    for (std::size_t index = 0; index < tokens.size(); ++index) {
        const Token& token = tokens[index];
        if (token.kind == Token::eSpace) {
            if (!pasting)
                out += ' ';
            continue;
        }
        if (token.is("##")) {
            while (!out.empty() && out.back() == ' ')
                out.pop_back();
            pasting = true;
            continue;
        }
        const std::size_t following = nextSolid(index);
        const bool pastedAfter = following < tokens.size() && tokens[following].is("##");
        if (macro.isFunction && token.is("#") && following < tokens.size() && parameterOf(tokens[following]) >= 0) {
            out += stringify(arguments[std::size_t(parameterOf(tokens[following]))]);
            index = following;
        } else if (const int parameter = parameterOf(token); parameter >= 0) {
            // Operands of # and ## are the arguments as written; others are expanded first.
            const std::string& argument = arguments[std::size_t(parameter)];
            out += pasting || pastedAfter ? argument : expand(run, argument, active, depth + 1);
        } else {
            out += token.text;
        }
        pasting = false;
    }
    return out;
}

void EffectPreprocessor::error(Run& run, const std::string& message)
{
    // A file of garbage would otherwise give an error a line.
    constexpr std::size_t kMaxErrors = 100;
    if (run.output.errors.size() < kMaxErrors)
        run.output.errors.push_back({run.here, message});
}
