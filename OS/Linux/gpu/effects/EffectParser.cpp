#include "EffectParser.h"

#include "EffectLexer.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>

namespace
{
    using Token = EffectLexer::Token;

    // Bounds that turn hostile input into an error instead of a stack overflow
    // or an exhausted heap.
    constexpr int kMaxNesting = 256;
    constexpr double kMaxArrayElements = 65536;
    // The editor keeps every parameter's values: these bound what one file can
    // make it allocate (the values are 8 bytes each).
    constexpr std::size_t kMaxParameters = 4096;
    constexpr std::size_t kMaxParameterValues = std::size_t(1) << 20;
    constexpr std::size_t kMaxTechniques = 256;
    constexpr std::size_t kMaxPasses = 64;

    bool sameWord(std::string_view left, std::string_view right)
    {
        return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
                   return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
               });
    }

    EffectType typeOf(std::string_view name)
    {
        EffectType type;
        type.name = name;
        if (name == "string") {
            type.base = EffectType::eString;
            return type;
        }
        static const std::pair<std::string_view, EffectType::eBase> kBases[] = {
            {"float", EffectType::eFloat}, {"half", EffectType::eHalf}, {"fixed", EffectType::eFixed},
            {"double", EffectType::eDouble}, {"uint", EffectType::eUInt}, {"int", EffectType::eInt},
            {"bool", EffectType::eBool}};
        for (const auto& [prefix, base] : kBases) {
            if (name.substr(0, prefix.size()) != prefix)
                continue;
            const std::string_view shape = name.substr(prefix.size());
            auto dimension = [](char c) { return c >= '1' && c <= '4'; };
            if (shape.empty()) {
                type.base = base;
            } else if (shape.size() == 1 && dimension(shape[0])) {
                type.base = base;
                type.columns = unsigned(shape[0] - '0');
            } else if (shape.size() == 3 && dimension(shape[0]) && shape[1] == 'x' && dimension(shape[2])) {
                type.base = base;
                type.rows = unsigned(shape[0] - '0');
                type.columns = unsigned(shape[2] - '0');
            }
            return type;
        }
        return type;
    }

    bool isNumeric(const EffectType& type)
    {
        return type.base != EffectType::eString && type.base != EffectType::eOther;
    }

    bool isIntegral(EffectType::eBase base)
    {
        return base == EffectType::eInt || base == EffectType::eUInt || base == EffectType::eBool;
    }

    // Numbers as the type holds them: ints truncated, bools 0 or 1.
    void fitTo(EffectType::eBase base, std::vector<double>& numbers)
    {
        for (double& number : numbers) {
            if (base == EffectType::eBool)
                number = number != 0 ? 1 : 0;
            else if (base == EffectType::eInt || base == EffectType::eUInt)
                number = std::trunc(number);
        }
    }

    bool isStageState(std::string_view name, EffectShaderBinding::eStage& stage)
    {
        if (sameWord(name, "VertexShader") || sameWord(name, "VertexProgram")) {
            stage = EffectShaderBinding::eVertex;
            return true;
        }
        if (sameWord(name, "PixelShader") || sameWord(name, "FragmentProgram")) {
            stage = EffectShaderBinding::eFragment;
            return true;
        }
        return false;
    }

    // Token text fit for a message: garbage can be long or unprintable.
    std::string printable(std::string_view text)
    {
        static const char kHex[] = "0123456789abcdef";
        std::string shown;
        for (char c : text.substr(0, 32)) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte >= 0x20 && byte < 0x7f) {
                shown += c;
            } else {
                shown += "\\x";
                shown += kHex[byte >> 4];
                shown += kHex[byte & 15];
            }
        }
        return text.size() > 32 ? shown + "..." : shown;
    }

    bool integerOf(double value, long long& integer)
    {
        if (!(std::fabs(value) < 9e18))
            return false;
        integer = static_cast<long long>(value);
        return true;
    }

    // A constant expression's value, its numbers flattened row after row. An
    // expression the parser cannot see through (it names a parameter, calls a
    // function) is not known.
    struct Constant
    {
        std::vector<double> numbers;
        bool integral = false;
        bool known = false;
    };

    // Where one string literal of a value starts in the joined text, so that a
    // script command spread over several literals gets its own line.
    struct Piece
    {
        std::size_t offset;
        EffectLocation location;
    };

    struct Qualifiers
    {
        bool isStatic = false;
        bool isConst = false;
        bool isUniform = false;
    };

    class Reader
    {
    public:
        explicit Reader(const EffectPreprocessor::Output& source) : text(source.text), lines(source.lines)
        {
            lineStarts.push_back(0);
            for (std::size_t at = 0; at < text.size(); ++at)
                if (text[at] == '\n')
                    lineStarts.push_back(at + 1);
            EffectLexer lexer(text);
            for (Token token = lexer.next(); token.kind != Token::eEnd; token = lexer.next())
                tokens.push_back(token);
            end.offset = text.size();
        }

        EffectModel read()
        {
            while (!failed && peek().kind != Token::eEnd)
                declaration();
            if (!failed)
                checkScripts();
            return std::move(model);
        }

    private:
        const Token& peek(std::size_t ahead = 0) const
        {
            return at + ahead < tokens.size() ? tokens[at + ahead] : end;
        }
        const Token& advance()
        {
            const Token& token = peek();
            if (at < tokens.size())
                ++at;
            return token;
        }
        bool accept(std::string_view punctuator)
        {
            if (!peek().is(punctuator))
                return false;
            ++at;
            return true;
        }
        bool expect(std::string_view punctuator)
        {
            if (accept(punctuator))
                return true;
            unexpected();
            return false;
        }
        std::string expectName()
        {
            if (peek().kind == Token::eIdentifier)
                return std::string(advance().text);
            unexpected();
            return {};
        }

        EffectLocation locationOf(std::size_t offset) const
        {
            if (lines.empty())
                return {};
            const auto line = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset) - lineStarts.begin() - 1;
            return lines[std::min(std::size_t(line), lines.size() - 1)];
        }
        template <typename Record>
        void declare(EffectGlobal::eKind kind, std::vector<Record>& records, const Record& record)
        {
            model.globals.push_back({kind, records.size()});
            records.push_back(record);
        }

        void failAt(const EffectLocation& location, const std::string& message)
        {
            if (failed)
                return;
            failed = true;
            model.errors.push_back({location, message});
        }
        void fail(const Token& token, const std::string& message) { failAt(locationOf(token.offset), message); }
        void unexpected()
        {
            const Token& token = peek();
            fail(token, token.kind == Token::eEnd ? "unexpected end of file"
                                                  : "unexpected token '" + printable(token.text) + "'");
        }

        std::string textBetween(std::size_t from, std::size_t to) const
        {
            return std::string(text.substr(from, to > from ? to - from : 0));
        }
        std::size_t endOfPrevious() const { return at == 0 ? 0 : tokens[at - 1].offset + tokens[at - 1].text.size(); }

        // Steps over tokens to the first of terminators outside brackets, and
        // gives the text passed over.
        std::string skipTo(std::initializer_list<std::string_view> terminators)
        {
            const std::size_t from = peek().offset;
            int level = 0;
            while (!failed) {
                const Token& token = peek();
                if (token.kind == Token::eEnd) {
                    unexpected();
                    break;
                }
                if (level == 0)
                    for (std::string_view terminator : terminators)
                        if (token.is(terminator))
                            return textBetween(from, endOfPrevious());
                if (token.is("(") || token.is("[") || token.is("{"))
                    ++level;
                else if (token.is(")") || token.is("]") || token.is("}")) {
                    if (--level < 0) {
                        unexpected();
                        break;
                    }
                }
                ++at;
            }
            return {};
        }

        // Steps over a body in braces, the "{" next; false, with missing as the
        // error, when the file ends first.
        bool skipBody(const std::string& missing)
        {
            const Token& open = peek();
            if (!expect("{"))
                return false;
            for (int level = 1; level > 0;) {
                const Token& token = advance();
                if (token.kind == Token::eEnd) {
                    fail(open, missing);
                    return false;
                }
                level += token.is("{") ? 1 : token.is("}") ? -1 : 0;
            }
            return true;
        }

        // Constant expressions, by precedence: conditional, binary operators,
        // unary operators and casts, then members and indices of primaries.
        Constant expression()
        {
            if (!enter())
                return {};
            Constant value = binary(1);
            if (!failed && accept("?")) {
                const Constant whenTrue = expression();
                expect(":");
                const Constant whenFalse = expression();
                const bool decided = value.known && value.numbers.size() == 1;
                value = !decided ? Constant() : value.numbers[0] != 0 ? whenTrue : whenFalse;
            }
            --nesting;
            return value;
        }

        // Every recursion of expressions passes here; false when it goes too deep.
        bool enter()
        {
            if (nesting >= kMaxNesting) {
                fail(peek(), "expression nested too deeply");
                return false;
            }
            ++nesting;
            return true;
        }

        Constant binary(int minimum)
        {
            Constant left = unary();
            while (!failed && peek().precedence() >= minimum) {
                const Token& operation = advance();
                const Constant right = binary(operation.precedence() + 1);
                left = apply(operation, left, right);
            }
            return left;
        }

        // Component by component; a single number meets every component.
        Constant apply(const Token& operation, const Constant& left, const Constant& right)
        {
            Constant result;
            if (failed || !left.known || !right.known)
                return result;
            const std::string_view op = operation.text;
            const bool comparison = op == "==" || op == "!=" || op == "<" || op == ">" || op == "<=" || op == ">=" ||
                                    op == "&&" || op == "||";
            const bool bitwise = op == "&" || op == "|" || op == "^" || op == "<<" || op == ">>";
            if (bitwise && !(left.integral && right.integral)) {
                fail(operation, "'" + std::string(op) + "' takes integers");
                return result;
            }
            result.known = true;
            result.integral = comparison || (left.integral && right.integral);
            const std::size_t leftSize = left.numbers.size(), rightSize = right.numbers.size();
            const std::size_t size = leftSize == 1    ? rightSize
                                     : rightSize == 1 ? leftSize
                                                      : std::min(leftSize, rightSize);
            for (std::size_t index = 0; index < size; ++index) {
                const double a = left.numbers[leftSize == 1 ? 0 : index];
                const double b = right.numbers[rightSize == 1 ? 0 : index];
                double value = 0;
                long long x = 0, y = 0;
                if (op == "+")
                    value = a + b;
                else if (op == "-")
                    value = a - b;
                else if (op == "*")
                    value = a * b;
                else if (op == "/" || op == "%") {
                    if (b == 0) {
                        fail(operation, "division by zero");
                        return {};
                    }
                    value = op == "%" ? std::fmod(a, b) : result.integral ? std::trunc(a / b) : a / b;
                } else if (comparison) {
                    value = op == "=="   ? a == b
                          : op == "!="   ? a != b
                          : op == "<"    ? a < b
                          : op == ">"    ? a > b
                          : op == "<="   ? a <= b
                          : op == ">="   ? a >= b
                          : op == "&&"   ? a != 0 && b != 0
                                         : a != 0 || b != 0;
                } else if (!integerOf(a, x) || !integerOf(b, y)) {
                    fail(operation, "integer out of range");
                    return {};
                } else {
                    const auto bits = static_cast<unsigned long long>(x);
                    value = op == "&"    ? double(x & y)
                          : op == "|"    ? double(x | y)
                          : op == "^"    ? double(x ^ y)
                          : op == "<<"   ? double(static_cast<long long>(bits << (y & 63)))
                                         : double(x >> (y & 63));
                }
                result.numbers.push_back(value);
            }
            return result;
        }

        Constant unary()
        {
            const Token& token = peek();
            if (!enter())
                return {};
            Constant value;
            if (accept("-") || accept("+") || accept("!") || accept("~")) {
                value = unary();
                long long integer = 0;
                for (double& number : value.numbers) {
                    if (token.is("-"))
                        number = -number;
                    else if (token.is("!"))
                        number = number == 0;
                    else if (token.is("~") && value.integral && integerOf(number, integer))
                        number = double(~integer);
                    else if (token.is("~"))
                        fail(token, "'~' takes integers");
                }
                value.integral = value.integral || token.is("!");
            } else if (isCast()) {
                advance();
                const EffectType type = typeOf(advance().text);
                advance();
                value = unary();
                // A cast drops the components the type has no room for.
                if (!isNumeric(type))
                    value = {};
                else if (value.known && value.numbers.size() > std::size_t(type.rows) * type.columns)
                    value.numbers.resize(std::size_t(type.rows) * type.columns);
                if (value.known)
                    convert(token, type, "(" + type.name + ")", value);
            } else {
                value = postfix();
            }
            --nesting;
            return value;
        }

        // "(name)" before an operand: a cast.
        bool isCast() const
        {
            if (!peek().is("(") || peek(1).kind != Token::eIdentifier || !peek(2).is(")"))
                return false;
            const Token& operand = peek(3);
            const bool numeric = isNumeric(typeOf(peek(1).text));
            return operand.kind == Token::eNumber || operand.kind == Token::eIdentifier || operand.is("(") ||
                   (numeric && (operand.is("-") || operand.is("+") || operand.is("!") || operand.is("~")));
        }

        // A value made into the type: one number for every component, or all of them.
        void convert(const Token& token, const EffectType& type, const std::string& subject, Constant& value)
        {
            const std::size_t components = std::size_t(type.rows) * type.columns;
            if (value.numbers.size() == 1)
                value.numbers.assign(components, value.numbers[0]);
            if (value.numbers.size() != components) {
                fail(token, subject + " takes " + std::to_string(components) + " values, not " +
                                std::to_string(value.numbers.size()));
                return;
            }
            fitTo(type.base, value.numbers);
            value.integral = isIntegral(type.base);
        }

        Constant postfix()
        {
            Constant value = primary();
            while (!failed) {
                if (accept("."))
                    expectName();
                else if (accept("[")) {
                    expression();
                    expect("]");
                } else {
                    break;
                }
                value = {};
            }
            return value;
        }

        Constant primary()
        {
            const Token& token = peek();
            Constant value;
            if (token.kind == Token::eNumber) {
                advance();
                value = number(token);
            } else if (token.kind == Token::eString) {
                fail(token, "a string where a number is expected");
            } else if (token.isWord("true") || token.isWord("false")) {
                advance();
                value.numbers.push_back(token.isWord("true") ? 1 : 0);
                value.integral = value.known = true;
            } else if (token.kind == Token::eIdentifier) {
                advance();
                if (accept("(")) {
                    // A constructor, or a function the parser does not evaluate.
                    value = list(token, ")");
                    const EffectType type = typeOf(token.text);
                    if (!isNumeric(type))
                        value = {};
                    else if (value.known)
                        convert(token, type, type.name + "(...)", value);
                }
            } else if (accept("(")) {
                value = expression();
                expect(")");
            } else if (accept("{")) {
                value = list(token, "}");
            } else {
                unexpected();
            }
            return value;
        }

        // The elements up to close, joined: a constructor's arguments or an
        // initialiser list, which may end with a comma.
        Constant list(const Token& open, std::string_view close)
        {
            Constant value;
            value.known = value.integral = true;
            if (accept(close)) {
                if (close == "}")
                    fail(open, "empty initialiser list");
                return value;
            }
            do {
                if (close == "}" && peek().is("}"))
                    break;
                const Constant element = expression();
                value.known = value.known && element.known;
                value.integral = value.integral && element.integral;
                value.numbers.insert(value.numbers.end(), element.numbers.begin(), element.numbers.end());
            } while (!failed && accept(","));
            expect(close);
            if (!value.known)
                value = {};
            return value;
        }

        Constant number(const Token& token)
        {
            std::string digits(token.text);
            const bool hex = digits.size() > 1 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
            const bool floatSuffix = !hex && std::strchr("fFhHxX", digits.back()) != nullptr;
            while (!digits.empty() && std::strchr(hex ? "uUlL" : "fFhHxXuUlL", digits.back()) != nullptr)
                digits.pop_back();
            Constant value;
            value.integral = !floatSuffix && (hex || digits.find_first_of(".eE") == std::string::npos);
            char* stop = nullptr;
            errno = 0;
            const double parsed = value.integral ? double(std::strtoull(digits.c_str(), &stop, 0))
                                                 : std::strtod(digits.c_str(), &stop);
            if (digits.empty() || *stop != '\0' || errno == ERANGE) {
                fail(token, "invalid number '" + printable(token.text) + "'");
                return {};
            }
            value.numbers.push_back(parsed);
            value.known = true;
            return value;
        }

        // A value that fills its declaration, or one number for every component.
        bool fits(const Token& token, const std::string& name, const EffectType& type,
                  const std::vector<unsigned>& arraySizes, std::size_t count)
        {
            const std::size_t element = std::size_t(type.rows) * type.columns;
            std::size_t expected = element;
            bool sized = true;
            std::string shape = type.name;
            for (const unsigned size : arraySizes) {
                sized = sized && size != 0;
                expected *= size;
                shape += "[" + (size ? std::to_string(size) : std::string()) + "]";
            }
            if (count == 1 || (sized ? count == expected : count % element == 0))
                return true;
            fail(token, "'" + name + "' of type " + shape + " takes " +
                            (sized ? std::to_string(expected) : "a multiple of " + std::to_string(element)) +
                            " values, not " + std::to_string(count));
            return false;
        }

        // A string value: adjacent literals joined, in any number of parentheses.
        std::string stringValue(const std::string& name, std::vector<Piece>& pieces)
        {
            std::size_t parentheses = 0;
            while (accept("("))
                ++parentheses;
            if (peek().kind != Token::eString) {
                fail(peek(), "'" + name + "' of type string takes a string");
                return {};
            }
            std::string joined;
            while (peek().kind == Token::eString) {
                const Token& literal = advance();
                if (literal.text.size() < 2 || literal.text.back() != '"') {
                    fail(literal, "unterminated string");
                    return {};
                }
                pieces.push_back({joined.size(), locationOf(literal.offset)});
                joined += EffectLexer::unquote(literal.text);
            }
            for (; parentheses > 0 && !failed; --parentheses)
                expect(")");
            return joined;
        }

        void declaration()
        {
            const Token& first = peek();
            if (accept(";"))
                return;
            if (first.isWord("technique") || first.isWord("technique10") || first.isWord("technique11")) {
                technique();
                return;
            }
            const std::size_t start = first.offset;
            const EffectLocation location = locationOf(start);
            Qualifiers qualifiers;
            while (peek().kind == Token::eIdentifier) {
                const std::string_view word = peek().text;
                if (word == "static")
                    qualifiers.isStatic = true;
                else if (word == "const")
                    qualifiers.isConst = true;
                else if (word == "uniform")
                    qualifiers.isUniform = true;
                else if (word != "extern" && word != "volatile" && word != "shared" && word != "inline" &&
                         word != "row_major" && word != "column_major")
                    break;
                advance();
            }
            const std::string written = peek().offset > start ? textBetween(start, endOfPrevious()) + " " : "";
            if (peek().isWord("struct")) {
                structure(written, qualifiers, location);
                return;
            }
            if (peek().isWord("typedef")) {
                advance();
                skipTo({";"});
                const Token& last = tokens[at - 1]; // "typedef" at least
                const std::string name = last.kind == Token::eIdentifier ? std::string(last.text) : std::string();
                if (expect(";"))
                    model.declarations.push_back(
                        {EffectDeclaration::eTypedef, name, textBetween(start, endOfPrevious()), location});
                return;
            }
            const std::string typeName = expectName();
            if (failed)
                return;
            if (typeName.compare(0, 7, "texture") == 0 || typeName.compare(0, 7, "Texture") == 0) {
                textures(typeName, location);
                return;
            }
            if (typeName.compare(0, 7, "sampler") == 0) {
                samplers(typeName, location);
                return;
            }
            if (peek().kind == Token::eIdentifier && peek(1).is("(")) {
                const std::string name(advance().text);
                function(start, typeName, name, location);
                return;
            }
            variables(written + typeName, typeName, qualifiers, location);
        }

        // A struct, with or without variables of its type: the struct goes to
        // the translator as a declaration of its own, the variables are
        // parameters like any other.
        void structure(const std::string& written, const Qualifiers& qualifiers, const EffectLocation& location)
        {
            const std::size_t start = advance().offset;
            const std::string name = peek().kind == Token::eIdentifier ? std::string(advance().text) : std::string();
            if (!skipBody("missing '}' closing struct '" + name + "'"))
                return;
            const std::string text = textBetween(start, endOfPrevious()) + ";";
            if (!accept(";")) {
                if (name.empty()) {
                    fail(peek(), "a struct that declares variables needs a name");
                    return;
                }
                model.declarations.push_back({EffectDeclaration::eStruct, name, text, location});
                variables(written + name, name, qualifiers, location);
                return;
            }
            model.declarations.push_back({EffectDeclaration::eStruct, name, text, location});
        }

        // "a = 1, b[2] : SEMANTIC < ... > = {1, 2};" after the type: a parameter
        // each, or one static constant declaration for them all.
        void variables(const std::string& written, const std::string& typeName, const Qualifiers& qualifiers,
                       const EffectLocation& location)
        {
            const std::size_t declarators = peek().offset;
            const EffectType type = typeOf(typeName);
            std::string firstName;
            do {
                EffectParameter parameter;
                parameter.location = firstName.empty() ? location : locationOf(peek().offset);
                parameter.name = expectName();
                parameter.type = type;
                parameter.isConst = qualifiers.isConst;
                parameter.isUniform = qualifiers.isUniform;
                double elements = 1;
                while (!failed && accept("["))
                    parameter.arraySizes.push_back(arraySize(parameter.name, elements));
                if (accept(":"))
                    parameter.semantic = expectName();
                if (peek().is("<"))
                    annotations(parameter.annotations,
                                sameWord(parameter.semantic, "STANDARDSGLOBAL") ? &model.script : nullptr);
                if (accept("="))
                    defaultValue(parameter);
                if (failed)
                    return;
                if (firstName.empty())
                    firstName = parameter.name;
                if (!qualifiers.isStatic && withinBounds(parameter))
                    declare(EffectGlobal::eParameter, model.parameters, parameter);
            } while (accept(","));
            if (expect(";") && qualifiers.isStatic)
                model.declarations.push_back({EffectDeclaration::eConstant, firstName,
                                              written + " " + textBetween(declarators, endOfPrevious()), location});
        }

        bool withinBounds(const EffectParameter& parameter)
        {
            std::size_t values = std::size_t(parameter.type.rows) * parameter.type.columns;
            for (const unsigned size : parameter.arraySizes)
                values *= size ? size : 1;
            parameterValues += std::max(values, parameter.defaults.size());
            if (model.parameters.size() < kMaxParameters && parameterValues <= kMaxParameterValues)
                return true;
            failAt(parameter.location, "too many parameter values at '" + parameter.name + "': at most " +
                                           std::to_string(kMaxParameters) + " parameters of " +
                                           std::to_string(kMaxParameterValues) + " values in all");
            return false;
        }

        // After "[": the size, 0 for "[]". elements counts those of all the
        // array's dimensions so far.
        unsigned arraySize(const std::string& name, double& elements)
        {
            if (accept("]"))
                return 0;
            const Token& first = peek();
            const Constant size = expression();
            if (failed)
                return 0;
            if (size.known && size.numbers.size() == 1)
                elements *= size.numbers[0];
            if (!size.known || !size.integral || size.numbers.size() != 1 || size.numbers[0] < 1 ||
                elements > kMaxArrayElements) {
                fail(first, "invalid size of array '" + name + "'");
                return 0;
            }
            expect("]");
            return unsigned(size.numbers[0]);
        }

        void defaultValue(EffectParameter& parameter)
        {
            const Token& first = peek();
            if (parameter.type.base == EffectType::eString) {
                std::vector<Piece> pieces;
                stringValue(parameter.name, pieces);
            } else {
                Constant value = expression();
                if (!failed && value.known && isNumeric(parameter.type) &&
                    fits(first, parameter.name, parameter.type, parameter.arraySizes, value.numbers.size())) {
                    fitTo(parameter.type.base, value.numbers);
                    parameter.defaults = std::move(value.numbers);
                }
            }
            parameter.defaultText = textBetween(first.offset, endOfPrevious());
        }
        void function(std::size_t start, const std::string& returnType, const std::string& name,
                      const EffectLocation& location)
        {
            EffectFunction function;
            function.name = name;
            function.returnType = returnType;
            function.location = location;
            expect("(");
            while (!failed && !accept(")")) {
                const std::size_t from = at;
                const std::string declaration = skipTo({",", ")"});
                const std::size_t to = at;
                accept(",");
                if (declaration == "void" || failed)
                    continue;
                EffectFunctionParameter parameter;
                parameter.text = declaration;
                std::size_t index = from;
                for (; index < to && tokens[index].kind == Token::eIdentifier; ++index) {
                    const std::string_view word = tokens[index].text;
                    if (word == "out")
                        parameter.direction = EffectFunctionParameter::eOut;
                    else if (word == "inout")
                        parameter.direction = EffectFunctionParameter::eInOut;
                    else if (word == "uniform")
                        parameter.isUniform = true;
                    else if (word != "in" && word != "const")
                        break;
                }
                if (index + 1 >= to || tokens[index + 1].kind != Token::eIdentifier) {
                    fail(tokens[std::min(index, to > 0 ? to - 1 : 0)], "invalid parameter '" + printable(declaration) +
                                                                          "' of function '" + name + "'");
                    return;
                }
                parameter.typeName = tokens[index].text;
                parameter.name = tokens[index + 1].text;
                for (std::size_t colon = index + 2; colon + 1 < to; ++colon)
                    if (tokens[colon].is(":") && tokens[colon + 1].kind == Token::eIdentifier)
                        parameter.semantic = tokens[colon + 1].text;
                function.parameters.push_back(parameter);
            }
            if (accept(":"))
                function.returnSemantic = expectName();
            if (failed)
                return;
            if (accept(";"))
                function.hasBody = false;
            else if (!skipBody("missing '}' closing the body of function '" + name + "'"))
                return;
            function.text = textBetween(start, endOfPrevious());
            model.declarations.push_back({EffectDeclaration::eFunction, name, function.text, location});
            model.functions.push_back(function);
        }

        // "< type name = value, name = value; ... >". A Script annotation goes
        // into script too, when there is one to fill.
        void annotations(EffectAnnotations& into, EffectScript* script)
        {
            expect("<");
            while (!failed && !accept(">")) {
                const Token& typeToken = peek();
                const std::string typeName = expectName();
                const EffectType type = typeOf(typeName);
                if (!failed && type.base == EffectType::eOther) {
                    fail(typeToken, "invalid type '" + printable(typeName) + "' of an annotation");
                    return;
                }
                do {
                    EffectAnnotation annotation;
                    annotation.typeName = typeName;
                    annotation.location = locationOf(peek().offset);
                    annotation.name = expectName();
                    expect("=");
                    if (failed)
                        return;
                    std::vector<Piece> pieces;
                    const Token& first = peek();
                    if (type.base == EffectType::eString) {
                        annotation.type = EffectAnnotation::eString;
                        annotation.text = stringValue(annotation.name, pieces);
                    } else {
                        annotation.type = type.base == EffectType::eBool ? EffectAnnotation::eBool
                                          : isIntegral(type.base)        ? EffectAnnotation::eInt
                                                                         : EffectAnnotation::eFloat;
                        Constant value = expression();
                        if (!failed && !value.known)
                            fail(first, "invalid value of annotation '" + annotation.name + "'");
                        else if (!failed && fits(first, annotation.name, type, {}, value.numbers.size())) {
                            fitTo(type.base, value.numbers);
                            annotation.values = std::move(value.numbers);
                        }
                    }
                    if (failed)
                        return;
                    if (script && sameWord(annotation.name, "Script")) {
                        if (annotation.type != EffectAnnotation::eString) {
                            failAt(annotation.location, "the Script annotation must be a string");
                            return;
                        }
                        commands(annotation.text, pieces, *script);
                    }
                    into.push_back(annotation);
                } while (!failed && accept(","));
                expect(";");
            }
        }

        // "Name=Value;" commands, blanks around either tolerated.
        void commands(const std::string& script, const std::vector<Piece>& pieces, EffectScript& into)
        {
            std::size_t piece = 0;
            for (std::size_t start = 0; !failed && start <= script.size();) {
                std::size_t stop = script.find(';', start);
                if (stop == std::string::npos)
                    stop = script.size();
                const std::string command = EffectLexer::trim(std::string_view(script).substr(start, stop - start));
                const std::size_t first = script.find_first_not_of(" \t\r\n\f\v", start);
                start = stop + 1;
                if (command.empty())
                    continue;
                while (piece + 1 < pieces.size() && pieces[piece + 1].offset <= first)
                    ++piece;
                const EffectLocation& location = pieces[piece].location;
                const std::size_t equals = command.find('=');
                if (equals == std::string::npos)
                    failAt(location, "script command '" + printable(command) + "' has no '='");
                else if (equals == 0)
                    failAt(location, "script command '" + printable(command) + "' has no name");
                else
                    into.commands.push_back({EffectLexer::trim(command.substr(0, equals)),
                                             EffectLexer::trim(command.substr(equals + 1)), location});
            }
        }

        // Textures and samplers: name : SEMANTIC <annotations> = value, ... ;
        template <typename Record, typename ReadValue>
        void objects(EffectGlobal::eKind kind, std::vector<Record>& records, const std::string& typeName,
                     const EffectLocation& location, ReadValue readValue)
        {
            bool first = true;
            do {
                Record record;
                record.typeName = typeName;
                record.location = first ? location : locationOf(peek().offset);
                first = false;
                record.name = expectName();
                if (accept(":"))
                    record.semantic = expectName();
                if (peek().is("<"))
                    annotations(record.annotations, nullptr);
                if (accept("="))
                    readValue(record);
                if (failed)
                    return;
                declare(kind, records, record);
            } while (accept(","));
            expect(";");
        }

        void textures(const std::string& typeName, const EffectLocation& location)
        {
            objects(EffectGlobal::eTexture, model.textures, typeName, location,
                    [&](EffectTexture&) { skipTo({";", ","}); });
        }

        EffectSampler::eAddressMode addressMode(const Token& value)
        {
            if (sameWord(value.text, "Clamp") || sameWord(value.text, "ClampToEdge"))
                return EffectSampler::eClampToEdge;
            if (sameWord(value.text, "Border") || sameWord(value.text, "ClampToBorder"))
                return EffectSampler::eClampToBorder;
            if (sameWord(value.text, "Mirror") || sameWord(value.text, "MirroredRepeat"))
                return EffectSampler::eMirroredRepeat;
            if (!sameWord(value.text, "Wrap") && !sameWord(value.text, "Repeat"))
                fail(value, "unknown address mode '" + printable(value.text) + "'");
            return EffectSampler::eRepeat;
        }

        void samplers(const std::string& typeName, const EffectLocation& location)
        {
            objects(EffectGlobal::eSampler, model.samplers, typeName, location,
                    [&](EffectSampler& sampler) { samplerStates(sampler); });
        }

        void samplerStates(EffectSampler& sampler)
        {
            if (peek().isWord("sampler_state"))
                advance();
            expect("{");
            while (!failed && !accept("}")) {
                EffectState state;
                state.location = locationOf(peek().offset);
                state.name = expectName();
                expect("=");
                if (failed)
                    return;
                const Token& value = peek();
                if (accept("<") || accept("(")) {
                    const bool angled = value.is("<");
                    state.value = expectName();
                    expect(angled ? ">" : ")");
                } else {
                    state.value = skipTo({";"});
                }
                expect(";");
                if (failed)
                    return;
                if (sameWord(state.name, "Texture"))
                    sampler.texture = state.value;
                else if (sameWord(state.name, "AddressU"))
                    sampler.addressU = addressMode(value);
                else if (sameWord(state.name, "AddressV"))
                    sampler.addressV = addressMode(value);
                else if (sameWord(state.name, "AddressW"))
                    sampler.addressW = addressMode(value);
                else if (sameWord(state.name, "MinFilter"))
                    sampler.minFilter = state.value;
                else if (sameWord(state.name, "MagFilter"))
                    sampler.magFilter = state.value;
                else if (sameWord(state.name, "MipFilter"))
                    sampler.mipFilter = state.value;
                sampler.states.push_back(state);
            }
        }

        void technique()
        {
            EffectTechnique technique;
            technique.location = locationOf(advance().offset);
            if (peek().kind == Token::eIdentifier)
                technique.name = advance().text;
            if (peek().is("<"))
                annotations(technique.annotations, &technique.script);
            expect("{");
            while (!failed && !accept("}")) {
                if (!peek().isWord("pass")) {
                    unexpected();
                    return;
                }
                if (technique.passes.size() == kMaxPasses) {
                    fail(peek(), "too many passes in technique '" + technique.name + "': at most " +
                                     std::to_string(kMaxPasses));
                    return;
                }
                technique.passes.push_back(pass());
            }
            if (failed)
                return;
            if (model.techniques.size() == kMaxTechniques)
                failAt(technique.location, "too many techniques: at most " + std::to_string(kMaxTechniques));
            else
                model.techniques.push_back(technique);
        }

        EffectPass pass()
        {
            EffectPass pass;
            pass.location = locationOf(advance().offset);
            if (peek().kind == Token::eIdentifier)
                pass.name = advance().text;
            if (peek().is("<"))
                annotations(pass.annotations, &pass.script);
            expect("{");
            while (!failed && !accept("}")) {
                const EffectLocation location = locationOf(peek().offset);
                const std::size_t from = peek().offset;
                expectName();
                if (accept("[")) {
                    skipTo({"]"});
                    expect("]");
                }
                const std::string name = textBetween(from, endOfPrevious());
                expect("=");
                if (failed)
                    break;
                EffectShaderBinding binding;
                if (!isStageState(name, binding.stage)) {
                    pass.states.push_back({name, skipTo({";"}), location});
                    expect(";");
                    continue;
                }
                binding.location = location;
                if (peek().isWord("NULL") || peek().isWord("null")) {
                    advance();
                } else if (peek().isWord("asm")) {
                    // Nothing reads assembly: the braces are stepped over so that
                    // the rest of the file still loads.
                    advance();
                    binding.assembly = true;
                    if (expect("{")) {
                        skipTo({"}"});
                        expect("}");
                    }
                } else if (peek().isWord("compile")) {
                    advance();
                    binding.profile = expectName();
                    binding.entry = expectName();
                    expect("(");
                    while (!failed && !accept(")")) {
                        const std::string argument = skipTo({",", ")"});
                        if (!failed)
                            binding.arguments.push_back(argument);
                        accept(",");
                    }
                } else {
                    unexpected();
                }
                expect(";");
                pass.shaders.push_back(binding);
            }
            return pass;
        }

        // What the scripts name must exist: passes of their technique, textures
        // to draw into, the counts of loops, which must close.
        struct ScriptNames
        {
            std::set<std::string> textures;
            std::set<std::string> counts; // numeric parameters
            std::set<std::string> passes; // of the technique being checked
        };

        void checkScripts()
        {
            ScriptNames names;
            for (const EffectTexture& texture : model.textures)
                names.textures.insert(texture.name);
            for (const EffectParameter& parameter : model.parameters)
                if (isNumeric(parameter.type))
                    names.counts.insert(parameter.name);
            checkScript(model.script, names, nullptr);
            for (const EffectTechnique& technique : model.techniques) {
                names.passes.clear();
                for (const EffectPass& pass : technique.passes)
                    names.passes.insert(pass.name);
                checkScript(technique.script, names, &technique);
                for (const EffectPass& pass : technique.passes)
                    checkScript(pass.script, names, nullptr);
            }
        }

        void checkScript(const EffectScript& script, const ScriptNames& names, const EffectTechnique* technique)
        {
            std::vector<const EffectScriptCommand*> loops;
            for (const EffectScriptCommand& command : script.commands) {
                const std::string word = effectWord(command.name);
                const std::string& value = command.value;
                const bool number = !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
                if (word == "loopbycount") {
                    loops.push_back(&command);
                    if (!number && !names.counts.count(value))
                        failAt(command.location,
                               "LoopByCount takes a number or a parameter, not '" + printable(value) + "'");
                } else if (word == "loopend") {
                    if (loops.empty())
                        failAt(command.location, "LoopEnd without LoopByCount");
                    else
                        loops.pop_back();
                } else if (word == "pass" && technique && !names.passes.count(value)) {
                    failAt(command.location,
                           "technique '" + technique->name + "' has no pass '" + printable(value) + "'");
                } else if ((word.rfind("rendercolortarget", 0) == 0 || word == "renderdepthstenciltarget") &&
                           !value.empty() && !names.textures.count(value)) {
                    failAt(command.location, "the render target '" + printable(value) + "' is not a texture of the effect");
                } else if (word == "draw" && !sameWord(value, "Buffer") && !sameWord(value, "Geometry")) {
                    failAt(command.location, "Draw takes Buffer or Geometry, not '" + printable(value) + "'");
                }
            }
            if (!loops.empty())
                failAt(loops.back()->location, "LoopByCount without LoopEnd");
        }

        std::string_view text;
        const std::vector<EffectLocation>& lines;
        std::vector<std::size_t> lineStarts;
        std::vector<Token> tokens;
        Token end;
        std::size_t at = 0;
        int nesting = 0;
        bool failed = false;
        std::size_t parameterValues = 0;
        EffectModel model;
    };

    EffectPreprocessor preprocessorWith(const EffectParser::Definitions& definitions,
                                        const std::vector<std::string>& includeFolders)
    {
        EffectPreprocessor preprocessor;
        for (const auto& [name, value] : definitions)
            preprocessor.define(name, value);
        preprocessor.setIncludeFolders(includeFolders);
        return preprocessor;
    }
}

EffectModel EffectParser::parseFile(const std::string& path, const Definitions& definitions,
                                    const std::vector<std::string>& includeFolders)
{
    return parse(preprocessorWith(definitions, includeFolders).processFile(path));
}

EffectModel EffectParser::parseBuffer(const std::string& source, const std::string& name, const std::string& folder,
                                      const Definitions& definitions, const std::vector<std::string>& includeFolders)
{
    return parse(preprocessorWith(definitions, includeFolders).processBuffer(source, name, folder));
}

EffectModel EffectParser::parse(const EffectPreprocessor::Output& source)
{
    // Errors of the preprocessor would only be echoed by the parser, further down.
    if (!source.errors.empty()) {
        EffectModel model;
        model.errors = source.errors;
        return model;
    }
    return Reader(source).read();
}

EffectType EffectParser::typeNamed(std::string_view name)
{
    return typeOf(name);
}
