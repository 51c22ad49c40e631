#include "EffectParser.h"

#include "EffectLexer.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

namespace
{
    using Token = EffectLexer::Token;

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

    std::string unquote(std::string_view literal)
    {
        std::string value;
        for (std::size_t at = 1; at + 1 < literal.size(); ++at) {
            char c = literal[at];
            if (c == '\\' && at + 2 < literal.size()) {
                c = literal[++at];
                c = c == 'n' ? '\n' : c == 't' ? '\t' : c;
            }
            value += c;
        }
        return value;
    }

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

        void fail(const Token& token, const std::string& message)
        {
            if (failed)
                return;
            failed = true;
            model.errors.push_back({locationOf(token.offset), message});
        }
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

        // Numbers of a literal initialiser, flattened: 1, {1, 2}, float2(1, -2),
        // true. False when the value is an expression of anything else.
        bool literals(std::size_t from, std::size_t to, std::vector<double>& values) const
        {
            values.clear();
            bool negate = false;
            for (std::size_t index = from; index < to; ++index) {
                const Token& token = tokens[index];
                if (token.kind == Token::eNumber) {
                    std::string digits(token.text);
                    while (!digits.empty() && std::strchr("fFhHxXuUlL", digits.back()) &&
                           digits.compare(0, 2, "0x") != 0)
                        digits.pop_back();
                    char* stop = nullptr;
                    const double value = std::strtod(digits.c_str(), &stop);
                    if (digits.empty() || *stop != '\0')
                        return false;
                    values.push_back(negate ? -value : value);
                    negate = false;
                } else if (token.isWord("true") || token.isWord("false")) {
                    values.push_back(token.isWord("true") ? 1 : 0);
                } else if (token.is("-")) {
                    negate = !negate;
                } else if (token.kind == Token::eIdentifier) {
                    if (typeOf(token.text).base == EffectType::eOther || index + 1 >= to || !tokens[index + 1].is("("))
                        return false;
                } else if (!(token.is("{") || token.is("}") || token.is("(") || token.is(")") || token.is(",") ||
                             token.is("+"))) {
                    return false;
                }
            }
            return true;
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
            if (first.isWord("struct") || first.isWord("typedef")) {
                const bool isStruct = first.isWord("struct");
                advance();
                std::string name = isStruct ? expectName() : std::string();
                skipTo({";"});
                if (!isStruct && at > 0 && tokens[at - 1].kind == Token::eIdentifier)
                    name = tokens[at - 1].text;
                expect(";");
                model.declarations.push_back({isStruct ? EffectDeclaration::eStruct : EffectDeclaration::eTypedef,
                                              name, textBetween(start, endOfPrevious()), location});
                return;
            }

            bool isStatic = false, isConst = false, isUniform = false;
            while (peek().kind == Token::eIdentifier) {
                const std::string_view word = peek().text;
                if (word == "static")
                    isStatic = true;
                else if (word == "const")
                    isConst = true;
                else if (word == "uniform")
                    isUniform = true;
                else if (word != "extern" && word != "volatile" && word != "shared" && word != "inline" &&
                         word != "row_major" && word != "column_major")
                    break;
                advance();
            }
            const std::string typeName = expectName();
            if (failed)
                return;
            if (typeName.compare(0, 7, "texture") == 0 || typeName.compare(0, 7, "Texture") == 0) {
                texture(typeName, location);
                return;
            }
            if (typeName.compare(0, 7, "sampler") == 0) {
                sampler(typeName, location);
                return;
            }
            const std::string name = expectName();
            if (failed)
                return;
            if (peek().is("(")) {
                function(start, typeName, name, location);
                return;
            }
            variable(start, typeName, name, isStatic, isConst, isUniform, location);
        }

        void variable(std::size_t start, const std::string& typeName, std::string name, bool isStatic, bool isConst,
                      bool isUniform, EffectLocation location)
        {
            while (!failed) {
                EffectParameter parameter;
                parameter.name = name;
                parameter.type = typeOf(typeName);
                parameter.isConst = isConst;
                parameter.isUniform = isUniform;
                parameter.location = location;
                while (accept("[")) {
                    unsigned size = 0;
                    if (peek().kind == Token::eNumber)
                        size = unsigned(std::strtoul(std::string(advance().text).c_str(), nullptr, 0));
                    expect("]");
                    parameter.arraySizes.push_back(size);
                }
                if (accept(":"))
                    parameter.semantic = expectName();
                if (peek().is("<"))
                    annotations(parameter.annotations);
                if (accept("=")) {
                    const std::size_t from = at;
                    parameter.defaultText = skipTo({";", ","});
                    if (from == at)
                        unexpected();
                    if (!literals(from, at, parameter.defaults))
                        parameter.defaults.clear();
                }
                if (failed)
                    return;
                if (!isStatic)
                    declare(EffectGlobal::eParameter, model.parameters, parameter);
                if (!accept(","))
                    break;
                name = expectName();
                location = locationOf(peek().offset);
            }
            expect(";");
            if (isStatic && !failed)
                model.declarations.push_back(
                    {EffectDeclaration::eConstant, name, textBetween(start, endOfPrevious()), locationOf(start)});
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
            if (accept(";")) {
                function.hasBody = false;
            } else {
                const Token& open = peek();
                if (!expect("{"))
                    return;
                for (int level = 1; level > 0;) {
                    const Token& token = advance();
                    if (token.kind == Token::eEnd) {
                        fail(open, "missing '}' closing the body of function '" + name + "'");
                        return;
                    }
                    level += token.is("{") ? 1 : token.is("}") ? -1 : 0;
                }
            }
            function.text = textBetween(start, endOfPrevious());
            model.declarations.push_back({EffectDeclaration::eFunction, name, function.text, location});
            model.functions.push_back(function);
        }

        void annotations(EffectAnnotations& into)
        {
            expect("<");
            while (!failed && !accept(">")) {
                EffectAnnotation annotation;
                annotation.typeName = expectName();
                annotation.name = expectName();
                expect("=");
                if (failed)
                    return;
                const EffectType type = typeOf(annotation.typeName);
                if (type.base == EffectType::eString) {
                    annotation.type = EffectAnnotation::eString;
                    if (peek().kind != Token::eString) {
                        unexpected();
                        return;
                    }
                    while (peek().kind == Token::eString)
                        annotation.text += unquote(advance().text);
                } else {
                    annotation.type = type.base == EffectType::eBool ? EffectAnnotation::eBool
                                      : type.base == EffectType::eInt || type.base == EffectType::eUInt
                                          ? EffectAnnotation::eInt
                                          : EffectAnnotation::eFloat;
                    const std::size_t from = at;
                    const Token& value = peek();
                    skipTo({";"});
                    if (failed)
                        return;
                    if (from == at || !literals(from, at, annotation.values)) {
                        fail(value, "invalid value of annotation '" + annotation.name + "'");
                        return;
                    }
                }
                expect(";");
                into.push_back(annotation);
            }
        }

        void texture(const std::string& typeName, const EffectLocation& location)
        {
            EffectTexture texture;
            texture.typeName = typeName;
            texture.location = location;
            texture.name = expectName();
            if (accept(":"))
                texture.semantic = expectName();
            if (peek().is("<"))
                annotations(texture.annotations);
            if (accept("="))
                skipTo({";"});
            if (expect(";"))
                declare(EffectGlobal::eTexture, model.textures, texture);
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

        void sampler(const std::string& typeName, const EffectLocation& location)
        {
            EffectSampler sampler;
            sampler.typeName = typeName;
            sampler.location = location;
            sampler.name = expectName();
            if (accept(":"))
                sampler.semantic = expectName();
            if (peek().is("<"))
                annotations(sampler.annotations);
            if (accept("=")) {
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
            if (expect(";"))
                declare(EffectGlobal::eSampler, model.samplers, sampler);
        }

        void technique()
        {
            EffectTechnique technique;
            technique.location = locationOf(advance().offset);
            if (peek().kind == Token::eIdentifier)
                technique.name = advance().text;
            if (peek().is("<"))
                annotations(technique.annotations);
            expect("{");
            while (!failed && !accept("}")) {
                if (!peek().isWord("pass")) {
                    unexpected();
                    return;
                }
                technique.passes.push_back(pass());
            }
            if (!failed)
                model.techniques.push_back(technique);
        }

        EffectPass pass()
        {
            EffectPass pass;
            pass.location = locationOf(advance().offset);
            if (peek().kind == Token::eIdentifier)
                pass.name = advance().text;
            if (peek().is("<"))
                annotations(pass.annotations);
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

        std::string_view text;
        const std::vector<EffectLocation>& lines;
        std::vector<std::size_t> lineStarts;
        std::vector<Token> tokens;
        Token end;
        std::size_t at = 0;
        bool failed = false;
        EffectModel model;
    };
}

EffectModel EffectParser::parseFile(const std::string& path, const Definitions& definitions)
{
    EffectPreprocessor preprocessor;
    for (const auto& [name, value] : definitions)
        preprocessor.define(name, value);
    return parse(preprocessor.processFile(path));
}

EffectModel EffectParser::parseBuffer(const std::string& source, const std::string& name, const std::string& folder,
                                      const Definitions& definitions)
{
    EffectPreprocessor preprocessor;
    for (const auto& [macro, value] : definitions)
        preprocessor.define(macro, value);
    return parse(preprocessor.processBuffer(source, name, folder));
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
