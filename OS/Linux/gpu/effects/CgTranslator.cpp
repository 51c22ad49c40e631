#include "CgTranslator.h"

#include "CgLibrary.h"

// Debian builds glslang with its HLSL front end; its headers hide the HLSL
// calls unless told.
#define ENABLE_HLSL 1
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>
#include <spirv_cross_c.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>
#include <set>

namespace {

// Prefix of every name the rewrite invents; Cg code never uses it.
const std::string kPrefix = "kvcg_";
const std::string kLibraryPrefix = kPrefix + "lib_";
const std::string kUniformPrefix = kPrefix + "u_";
const std::string kGlobalsBlock = kPrefix + "globals";
const std::string kInputPrefix = kPrefix + "in_";
const std::string kOutputPrefix = kPrefix + "out_";

enum class eToken { space, identifier, number, punctuation, string };

struct Token
{
    eToken kind;
    std::string text;
    int line;
};

bool isIdentifierStart(char c)
{
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}

bool isIdentifierChar(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// Digits as a number, or -1 when they are not a small one.
int smallNumber(std::string_view digits)
{
    if (digits.empty() || digits.size() > 6)
        return -1;
    int number = 0;
    for (const char digit : digits) {
        if (!std::isdigit(static_cast<unsigned char>(digit)))
            return -1;
        number = number * 10 + (digit - '0');
    }
    return number;
}

std::vector<Token> tokenize(std::string_view source)
{
    static const char* const operators[] = {"<<=", ">>=", "==", "!=", "<=", ">=", "+=", "-=", "*=", "/=", "%=",
                                            "&=",  "|=",  "^=", "++", "--", "&&", "||", "<<", ">>", "::"};
    std::vector<Token> tokens;
    int line = 1;
    size_t at = 0;
    while (at < source.size()) {
        const size_t start = at;
        const char c = source[at];
        const char next = at + 1 < source.size() ? source[at + 1] : '\0';
        eToken kind = eToken::punctuation;
        if (std::isspace(static_cast<unsigned char>(c))) {
            kind = eToken::space;
            while (at < source.size() && std::isspace(static_cast<unsigned char>(source[at])))
                ++at;
        } else if (c == '/' && next == '/') {
            kind = eToken::space;
            while (at < source.size() && source[at] != '\n')
                ++at;
        } else if (c == '/' && next == '*') {
            kind = eToken::space;
            const size_t end = source.find("*/", at + 2);
            at = end == std::string_view::npos ? source.size() : end + 2;
        } else if (isIdentifierStart(c)) {
            kind = eToken::identifier;
            while (at < source.size() && isIdentifierChar(source[at]))
                ++at;
        } else if (std::isdigit(static_cast<unsigned char>(c)) ||
                   (c == '.' && std::isdigit(static_cast<unsigned char>(next)))) {
            kind = eToken::number;
            while (at < source.size() && (isIdentifierChar(source[at]) || source[at] == '.' ||
                                          ((source[at] == '+' || source[at] == '-') &&
                                           (source[at - 1] == 'e' || source[at - 1] == 'E'))))
                ++at;
        } else if (c == '"') {
            kind = eToken::string;
            ++at;
            while (at < source.size() && source[at] != '"' && source[at] != '\n')
                at += source[at] == '\\' ? 2 : 1;
            at = std::min(at + 1, source.size());
        } else {
            at += 1;
            for (const char* op : operators) {
                if (source.substr(start, std::char_traits<char>::length(op)) == op) {
                    at = start + std::char_traits<char>::length(op);
                    break;
                }
            }
        }
        Token token{kind, std::string(source.substr(start, at - start)), line};
        line += static_cast<int>(std::count(token.text.begin(), token.text.end(), '\n'));
        tokens.push_back(std::move(token));
    }
    return tokens;
}

// Blanks a token but keeps its newlines, so later lines keep their numbers.
void blank(Token& token)
{
    token.text = std::string(static_cast<size_t>(std::count(token.text.begin(), token.text.end(), '\n')), '\n');
}

std::string oneLine(const std::vector<Token>& tokens, size_t first, size_t last)
{
    std::string text;
    for (size_t index = first; index < last; ++index)
        text += tokens[index].kind == eToken::space ? std::string(" ") : tokens[index].text;
    return text;
}

// Cg names that are keywords (or reserved) in HLSL.
const std::set<std::string>& hlslKeywords()
{
    static const std::set<std::string> keywords = {
        "linear",    "centroid",   "nointerpolation", "noperspective", "sample",          "precise",
        "shared",    "groupshared", "unorm",          "snorm",         "globallycoherent", "point",
        "line",      "triangle",   "lineadj",        "triangleadj",   "vector",          "matrix",
        "dword",     "uint",       "min16float",     "min10float",    "min16int",        "min12int",
        "min16uint", "layout",     "this",           "namespace",     "class",           "cbuffer",
        "tbuffer",   "Buffer",     "SamplerState",   "SamplerComparisonState", "PointStream", "LineStream",
        "TriangleStream", "InputPatch", "OutputPatch", "ConstantBuffer", "packoffset"};
    return keywords;
}

// Cg's reduced-precision types are plain floats on a GPU with GLSL.
std::string floatTypeFor(const std::string& name)
{
    for (const std::string prefix : {"fixed", "half"}) {
        if (name.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string shape = name.substr(prefix.size());
        const bool vector = shape.size() == 1 && shape[0] >= '1' && shape[0] <= '4';
        const bool matrix = shape.size() == 3 && shape[0] >= '1' && shape[0] <= '4' && shape[1] == 'x' &&
                            shape[2] >= '1' && shape[2] <= '4';
        if (shape.empty() || vector || matrix)
            return "float" + shape;
    }
    return {};
}

struct Listing
{
    std::string fileName;
    std::string text;

    void add(int line, const std::string& message)
    {
        text += fileName + "(" + std::to_string(line) + ") : error: " + message + "\n";
    }
};

// The Cg text as HLSL that glslang's DX9-compatible mode accepts.
class CgRewrite
{
public:
    CgRewrite(std::string_view source, std::string entry, const std::vector<std::string>& arguments,
              bool boolUniformsAsInt, Listing& listing)
        : tokens_(tokenize(source)), entry_(std::move(entry)), arguments_(arguments),
          boolUniformsAsInt_(boolUniformsAsInt), listing_(listing)
    {
    }

    bool run()
    {
        rewriteTokens();
        for (size_t index = 0; index < tokens_.size(); ++index) {
            if (tokens_[index].kind != eToken::space)
                significant_.push_back(index);
        }
        splitItems();
        if (boolUniformsAsInt_)
            makeBoolUniformsInt();
        shadowWrittenUniforms();
        return rewriteEntry();
    }

    std::string text() const
    {
        std::string result;
        for (const Token& token : tokens_)
            result += token.text;
        return result;
    }

    const std::string& entryName() const { return entry_; }
    // HLSL names that stand for a differently named Cg name.
    const std::map<std::string, std::string>& cgNames() const { return cgNames_; }
    const std::set<std::string>& rectangleSamplers() const { return rectangleSamplers_; }
    // Cg library functions called through CgLibrary's helpers.
    const std::set<std::string>& libraryCalls() const { return libraryCalls_; }
    // Globals whose writable copy has the uniform's own name.
    const std::vector<std::string>& writtenUniforms() const { return writtenUniforms_; }
    // Cg names of the bool uniforms declared int for the translator.
    const std::set<std::string>& boolUniforms() const { return boolUniforms_; }

private:
    struct Item
    {
        size_t first;  // indices into significant_
        size_t last;   // inclusive
    };

    Token& at(size_t significantIndex) { return tokens_[significant_[significantIndex]]; }
    bool is(size_t significantIndex, std::string_view text)
    {
        return significantIndex < significant_.size() && at(significantIndex).text == text;
    }

    size_t nextSignificant(size_t index) const
    {
        for (++index; index < tokens_.size(); ++index) {
            if (tokens_[index].kind != eToken::space)
                return index;
        }
        return tokens_.size();
    }

    // Tokens that HLSL spells differently, one by one.
    void rewriteTokens()
    {
        for (size_t index = 0; index < tokens_.size(); ++index) {
            Token& token = tokens_[index];
            if (token.kind == eToken::number) {
                // Cg's fixed-point literal suffix.
                const bool hex = token.text.size() > 1 && token.text[0] == '0' &&
                                 (token.text[1] == 'x' || token.text[1] == 'X');
                if (!hex && (token.text.back() == 'x' || token.text.back() == 'X'))
                    token.text.pop_back();
                continue;
            }
            if (token.kind != eToken::identifier)
                continue;
            if (const std::string floatType = floatTypeFor(token.text); !floatType.empty()) {
                token.text = floatType;
            } else if (hlslKeywords().count(token.text)) {
                cgNames_[kPrefix + token.text] = token.text;
                if (entry_ == token.text)
                    entry_ = kPrefix + token.text;
                token.text = kPrefix + token.text;
            } else if (token.text == "samplerRECT") {
                token.text = "sampler2D";
                const size_t name = nextSignificant(index);
                if (name < tokens_.size() && tokens_[name].kind == eToken::identifier)
                    rectangleSamplers_.insert(tokens_[name].text);
            } else if (const std::string helper = CgLibrary::hlslName(token.text);
                       !helper.empty() && nextSignificant(index) < tokens_.size() &&
                       tokens_[nextSignificant(index)].text == "(") {
                // An effect's own function of a library name stays its own.
                if (declaresFunction(index))
                    ownFunctions_.insert(token.text);
                if (!ownFunctions_.count(token.text)) {
                    libraryCalls_.insert(token.text);
                    token.text = helper;
                }
            }
        }
    }

    // Whether the name at tokens_[index], followed by "(", follows a type.
    bool declaresFunction(size_t index) const
    {
        while (index > 0 && tokens_[index - 1].kind == eToken::space)
            --index;
        if (index == 0)
            return false;
        const Token& type = tokens_[index - 1];
        return type.kind == eToken::identifier && type.text != "return" && type.text != "else" && type.text != "do";
    }

    // Top-level declarations: each ends at a ";" or at the "}" of a body.
    void splitItems()
    {
        size_t first = 0;
        int depth = 0;
        for (size_t index = 0; index < significant_.size(); ++index) {
            const std::string& text = at(index).text;
            if (text == "(" || text == "[" || text == "{") {
                ++depth;
            } else if (text == ")" || text == "]" || text == "}") {
                depth = std::max(0, depth - 1);
                if (depth == 0 && text == "}" && !is(index + 1, ";")) {
                    items_.push_back({first, index});
                    first = index + 1;
                }
            } else if (text == ";" && depth == 0) {
                items_.push_back({first, index});
                first = index + 1;
            }
        }
    }

    static std::string intForBool(const std::string& type)
    {
        if (type == "bool" || (type.size() == 5 && type.rfind("bool", 0) == 0 && type[4] >= '1' && type[4] <= '4'))
            return "int" + type.substr(4);
        return {};
    }

    // A block holds Cg's bool as uint, which GLSL 1.20 lacks; as int it stays
    // a bool for the caller (glUniform1i sets both) and HLSL converts it back
    // wherever the code wants a bool.
    void makeBoolUniformsInt()
    {
        static const std::set<std::string> qualifiers = {"uniform", "extern", "volatile", "static", "const"};
        for (const Item& item : items_) {
            size_t index = item.first;
            bool uniform = true;
            for (; index <= item.last && qualifiers.count(at(index).text); ++index)
                uniform = uniform && at(index).text != "static" && at(index).text != "const";
            if (!uniform || index > item.last || intForBool(at(index).text).empty() ||
                !(index + 1 <= item.last && at(index + 1).kind == eToken::identifier))
                continue;
            // A function returning bool has "(" after its name.
            if (index + 2 <= item.last && at(index + 2).text == "(")
                continue;
            at(index).text = intForBool(at(index).text);
            int depth = 0;
            for (size_t name = index + 1; name <= item.last; ++name) {
                const std::string& text = at(name).text;
                depth += text == "(" || text == "[" || text == "{" || text == "<" ? 1 : 0;
                depth -= text == ")" || text == "]" || text == "}" || text == ">" ? 1 : 0;
                if (depth == 0 && at(name).kind == eToken::identifier &&
                    (name == index + 1 || at(name - 1).text == ","))
                    boolUniforms_.insert(displayName(text));
            }
        }
    }

    // A global that Cg lets functions assign gets a writable copy, filled from
    // the uniform at the start of the entry function.
    void shadowWrittenUniforms()
    {
        for (const Item& item : items_) {
            size_t index = item.first;
            bool uniform = true;
            static const std::set<std::string> qualifiers = {"uniform", "extern", "volatile", "static", "const"};
            for (; index <= item.last && qualifiers.count(at(index).text); ++index) {
                if (at(index).text == "static" || at(index).text == "const")
                    uniform = false;
            }
            if (index > item.last)
                continue;
            const std::string& type = at(index).text;
            if (!uniform || type.rfind("sampler", 0) == 0 || type.rfind("texture", 0) == 0 || type == "string" ||
                type == "struct" || type == "technique" || type == "typedef")
                continue;
            size_t name = index + 1;
            for (; name <= item.last && at(name).kind == eToken::identifier; ++name) {
            }
            if (name == index + 1 || name > item.last)
                continue;
            const std::string& after = at(name).text;
            if (after != "[" && after != ":" && after != "<" && after != "=" && after != ";")
                continue;  // a function, or several names in one declaration
            --name;
            const std::string cgName = at(name).text;
            if (!isWritten(cgName))
                continue;
            std::string arraySuffix;
            for (size_t bracket = name + 1; bracket + 2 <= item.last && is(bracket, "["); bracket += 3)
                arraySuffix += "[" + at(bracket + 1).text + "]";
            const std::string typeText = oneLine(tokens_, significant_[index], significant_[name]);
            at(name).text = kUniformPrefix + cgName;
            cgNames_[kUniformPrefix + cgName] = cgNames_.count(cgName) ? cgNames_[cgName] : cgName;
            at(item.last).text += " static " + typeText + cgName + arraySuffix + ";";
            entryPrologue_ += cgName + " = " + kUniformPrefix + cgName + "; ";
            writtenUniforms_.push_back(cgName);
        }
    }

    bool isWritten(const std::string& name)
    {
        static const std::set<std::string> assignments = {"=", "+=", "-=", "*=", "/=", "%=", "&=",
                                                          "|=", "^=", "<<=", ">>=", "++", "--"};
        for (size_t index = 0; index < significant_.size(); ++index) {
            if (at(index).text != name || (index > 0 && at(index - 1).text == "."))
                continue;
            if (index > 0 && (at(index - 1).text == "++" || at(index - 1).text == "--"))
                return true;
            size_t after = index + 1;
            while (after < significant_.size()) {
                if (at(after).text == "." && after + 1 < significant_.size()) {
                    after += 2;
                } else if (at(after).text == "[") {
                    int depth = 0;
                    for (; after < significant_.size(); ++after) {
                        depth += at(after).text == "[" ? 1 : at(after).text == "]" ? -1 : 0;
                        if (depth == 0)
                            break;
                    }
                    ++after;
                } else {
                    break;
                }
            }
            // A declaration's own initialiser is not a write.
            const bool declaration = index > 0 && at(index - 1).kind == eToken::identifier &&
                                     at(index - 1).text != "return";
            if (after < significant_.size() && assignments.count(at(after).text) && !declaration)
                return true;
        }
        return false;
    }

    // The entry function's uniform parameters become globals (or locals holding
    // the bound arguments), so that glslang sees only varying inputs.
    bool rewriteEntry()
    {
        const Item* entryItem = nullptr;
        size_t open = 0;
        for (const Item& item : items_) {
            for (size_t index = item.first; index + 1 <= item.last; ++index) {
                if (at(index).text == "(" || at(index).text == "=")
                    break;
                if (at(index).text == entry_ && is(index + 1, "(") && at(item.last).text == "}") {
                    entryItem = &item;
                    open = index + 1;
                }
            }
        }
        if (!entryItem) {
            listing_.add(1, "entry function '" + displayName(entry_) + "' not found");
            return false;
        }
        const int entryLine = at(entryItem->first).line;
        size_t close = open;
        std::vector<std::pair<size_t, size_t>> parameters;  // [first, last) in significant_
        for (int depth = 0; close <= entryItem->last; ++close) {
            const std::string& text = at(close).text;
            if (text == "(" || text == "[" || text == "{" || text == "<")
                ++depth;
            else if (text == ")" || text == "]" || text == "}" || text == ">")
                --depth;
            if ((text == "," && depth == 1) || depth == 0) {
                const size_t first = parameters.empty() ? open + 1 : parameters.back().second + 1;
                if (close > first)
                    parameters.push_back({first, close});
                if (depth == 0)
                    break;
            }
        }
        size_t body = close;
        while (body <= entryItem->last && at(body).text != "{")
            ++body;
        if (body > entryItem->last) {
            listing_.add(entryLine, "entry function '" + displayName(entry_) + "' has no body");
            return false;
        }

        std::vector<std::string> kept;
        std::string globals;
        std::string prologue;
        size_t bound = 0;
        for (const auto& [first, last] : parameters) {
            bool uniform = false;
            size_t index = first;
            for (; index < last && (at(index).text == "uniform" || at(index).text == "const" ||
                                    at(index).text == "in");
                 ++index)
                uniform = uniform || at(index).text == "uniform";
            if (!uniform) {
                kept.push_back(oneLine(tokens_, significant_[first], significant_[last - 1] + 1));
                continue;
            }
            size_t name = index;
            while (name + 1 < last && at(name + 1).kind == eToken::identifier)
                ++name;
            std::string arraySuffix;
            for (size_t bracket = name + 1; bracket + 2 < last && is(bracket, "["); bracket += 3)
                arraySuffix += "[" + at(bracket + 1).text + "]";
            const std::string type = oneLine(tokens_, significant_[index], significant_[name]);
            const std::string cgName = at(name).text;
            if (bound < arguments_.size()) {
                prologue += type + " " + cgName + arraySuffix + " = " + arguments_[bound++] + "; ";
            } else {
                const std::string asInt =
                    boolUniformsAsInt_ ? intForBool(type.substr(0, type.find_last_not_of(' ') + 1)) : std::string();
                if (!asInt.empty())
                    boolUniforms_.insert(displayName(cgName));
                globals += "uniform " + (asInt.empty() ? type : asInt) + " " + kUniformPrefix + cgName + arraySuffix + "; ";
                prologue += type + " " + cgName + arraySuffix + " = " + kUniformPrefix + cgName + "; ";
                cgNames_[kUniformPrefix + cgName] = cgNames_.count(cgName) ? cgNames_[cgName] : cgName;
            }
        }
        if (bound < arguments_.size()) {
            listing_.add(entryLine, "too many arguments for the uniform parameters of '" + displayName(entry_) +
                                        "'");
            return false;
        }
        for (size_t index = open + 1; index < close; ++index)
            blank(at(index));
        std::string parameterList;
        for (const std::string& parameter : kept)
            parameterList += (parameterList.empty() ? "" : ", ") + parameter;
        at(open).text = "(" + parameterList;
        at(body).text += " " + entryPrologue_ + prologue;
        at(entryItem->first).text = globals + at(entryItem->first).text;
        return true;
    }

    std::string displayName(const std::string& name) const
    {
        const auto found = cgNames_.find(name);
        return found == cgNames_.end() ? name : found->second;
    }

    std::vector<Token> tokens_;
    std::vector<size_t> significant_;
    std::vector<Item> items_;
    std::string entry_;
    const std::vector<std::string>& arguments_;
    bool boolUniformsAsInt_;
    Listing& listing_;
    std::map<std::string, std::string> cgNames_;
    std::set<std::string> rectangleSamplers_;
    std::set<std::string> libraryCalls_;
    std::set<std::string> ownFunctions_;
    std::string entryPrologue_;
    std::vector<std::string> writtenUniforms_;
    std::set<std::string> boolUniforms_;
};

// glslang's messages look like "ERROR: name:12: 'x' : undeclared identifier".
void addGlslangLog(const std::string& log, int fallbackLine, Listing& listing)
{
    size_t start = 0;
    while (start < log.size()) {
        size_t end = log.find('\n', start);
        if (end == std::string::npos)
            end = log.size();
        const std::string line = log.substr(start, end - start);
        start = end + 1;
        static const std::string errorPrefix = "ERROR: ";
        if (line.rfind(errorPrefix, 0) != 0 || line.find("compilation errors") != std::string::npos)
            continue;
        int sourceLine = fallbackLine;
        std::string message = line.substr(errorPrefix.size());
        for (size_t colon = line.find(':', errorPrefix.size()); colon != std::string::npos;
             colon = line.find(':', colon + 1)) {
            size_t digits = colon + 1;
            while (digits < line.size() && std::isdigit(static_cast<unsigned char>(line[digits])))
                ++digits;
            const int number = smallNumber(std::string_view(line).substr(colon + 1, digits - colon - 1));
            if (number >= 0 && digits < line.size() && line[digits] == ':') {
                sourceLine = number;
                message = line.substr(std::min(line.size(), digits + 2));
                break;
            }
        }
        // Library helpers go by their Cg names.
        for (size_t at = message.find(kLibraryPrefix); at != std::string::npos; at = message.find(kLibraryPrefix, at))
            message.erase(at, kLibraryPrefix.size());
        listing.add(sourceLine, message);
    }
    if (listing.text.empty())
        listing.add(fallbackLine, "compilation failed");
}

std::once_flag glslangStarted;
// Serialises translations: glslang's process-wide tables and SPIRV-Cross are
// not promised to be reentrant.
std::mutex translating;

bool toSpirv(const CgRewrite& rewrite, const std::string& fileName, CgTranslator::eStage stage,
             std::vector<unsigned int>& spirv, Listing& listing)
{
    std::call_once(glslangStarted, [] { glslang::InitializeProcess(); });
    const EShLanguage language = stage == CgTranslator::eStage::pixel ? EShLangFragment : EShLangVertex;
    const std::string text = rewrite.text();
    const char* strings[] = {text.c_str()};
    const int lengths[] = {static_cast<int>(text.size())};
    const char* names[] = {fileName.c_str()};
    glslang::TShader shader(language);
    shader.setStringsWithLengthsAndNames(strings, lengths, names, 1);
    // A string of its own before the effect's, so that the effect's lines keep their numbers.
    const std::string prelude = CgLibrary::prelude(rewrite.libraryCalls());
    shader.setPreamble(prelude.c_str());
    shader.setEntryPoint(rewrite.entryName().c_str());
    shader.setSourceEntryPoint(rewrite.entryName().c_str());
    shader.setEnvInput(glslang::EShSourceHlsl, language, glslang::EShClientOpenGL, 100);
    shader.setEnvClient(glslang::EShClientOpenGL, glslang::EShTargetOpenGL_450);
    shader.setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_0);
    // Keeps each input's and output's semantic in the SPIR-V.
    shader.setEnvTargetHlslFunctionality1();
    shader.setAutoMapLocations(true);
    shader.setAutoMapBindings(true);
    const auto messages = static_cast<EShMessages>(EShMsgSpvRules | EShMsgReadHlsl | EShMsgHlslDX9Compatible |
                                                   EShMsgHlslLegalization);
    if (!shader.parse(GetDefaultResources(), 100, false, messages)) {
        addGlslangLog(shader.getInfoLog(), 1, listing);
        return false;
    }
    glslang::TProgram program;
    program.addShader(&shader);
    if (!program.link(messages)) {
        addGlslangLog(program.getInfoLog(), 1, listing);
        return false;
    }
    spv::SpvBuildLogger logger;
    glslang::SpvOptions options;
    options.disableOptimizer = false;
    glslang::GlslangToSpv(*program.getIntermediate(language), spirv, &logger, &options);
    if (spirv.empty()) {
        listing.add(1, "no SPIR-V: " + logger.getAllMessages());
        return false;
    }
    return true;
}

// Where the fixed-function stages keep what a semantic names: the expression
// and how many components it has.
struct Builtin
{
    std::string expression;
    int width = 0;
};

Builtin builtinFor(const std::string& semantic, CgTranslator::eStage stage, bool input, bool severalColours)
{
    std::string name = semantic;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    int number = 0;
    const size_t digits = name.find_last_not_of("0123456789") + 1;
    if (digits < name.size()) {
        number = smallNumber(std::string_view(name).substr(digits));
        name.resize(digits);
    }
    if (number < 0)
        return {};
    const std::string index = std::to_string(number);
    if (stage == CgTranslator::eStage::pixel && input) {
        if (name == "TEXCOORD" && number < 8)
            return {"gl_TexCoord[" + index + "]", 4};
        if (name == "COLOR" && number < 2)
            return {number == 0 ? "gl_Color" : "gl_SecondaryColor", 4};
        if (name == "WPOS" || name == "VPOS" || name == "POSITION" || name == "SV_POSITION")
            return {"gl_FragCoord", 4};
        if (name == "FOG")
            return {"gl_FogFragCoord", 1};
    } else if (stage == CgTranslator::eStage::pixel) {
        if ((name == "COLOR" || name == "SV_TARGET") && number < 4)
            return {severalColours ? "gl_FragData[" + index + "]" : "gl_FragColor", 4};
        if (name == "DEPTH")
            return {"gl_FragDepth", 1};
    } else if (input) {
        if (name == "POSITION")
            return {"gl_Vertex", 4};
        if (name == "NORMAL")
            return {"gl_Normal", 3};
        if (name == "COLOR" && number < 2)
            return {number == 0 ? "gl_Color" : "gl_SecondaryColor", 4};
        if (name == "TEXCOORD" && number < 8)
            return {"gl_MultiTexCoord" + index, 4};
    } else {
        if (name == "POSITION" || name == "HPOS" || name == "SV_POSITION")
            return {"gl_Position", 4};
        if (name == "COLOR" && number < 2)
            return {number == 0 ? "gl_FrontColor" : "gl_FrontSecondaryColor", 4};
        if (name == "TEXCOORD" && number < 8)
            return {"gl_TexCoord[" + index + "]", 4};
        if (name == "FOG")
            return {"gl_FogFragCoord", 1};
        if (name == "PSIZE")
            return {"gl_PointSize", 1};
    }
    return {};
}

int widthOf(const std::string& type)
{
    if (type == "float" || type == "int" || type == "uint" || type == "bool")
        return 1;
    if (type.size() == 4 && type.rfind("vec", 0) == 0 && type[3] >= '2' && type[3] <= '4')
        return type[3] - '0';
    return 0;
}

// The value of `expression` (width `from`) as a float vector of width `to`.
std::string converted(const std::string& expression, int from, int to)
{
    static const char* const swizzles[] = {"", ".x", ".xy", ".xyz", ""};
    static const char* const types[] = {"", "float", "vec2", "vec3", "vec4"};
    if (from == to)
        return expression;
    if (to < from)
        return expression + swizzles[to];
    std::string padded = std::string(types[to]) + "(" + expression;
    for (int component = from; component < to; ++component)
        padded += component == 3 ? ", 1.0" : ", 0.0";
    return padded + ")";
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

struct Variable
{
    std::string name;
    std::string semantic;
};

// Turns the GLSL that SPIRV-Cross wrote around our marker names into what the
// compatibility profile's fixed-function stages feed and read.
// narrowColours: for 1.20, the width of each gl_FragData[location] that
// SPIRV-Cross writes with fewer than four components.
bool rewireGlsl(std::string& glsl, const CgRewrite& rewrite, CgTranslator::eStage stage, bool legacy,
                const std::vector<Variable>& inputs, const std::vector<Variable>& outputs, bool severalColours,
                const std::map<unsigned, int>& narrowColours, Listing& listing)
{
    // The uniform takes back its Cg name, so its writable copy gives it up.
    for (const std::string& name : rewrite.writtenUniforms()) {
        for (size_t at = glsl.find(name); at != std::string::npos; at = glsl.find(name, at + 1)) {
            const size_t end = at + name.size();
            if ((at > 0 && (isIdentifierChar(glsl[at - 1]) || glsl[at - 1] == '.')) ||
                (end < glsl.size() && isIdentifierChar(glsl[end])))
                continue;
            glsl.insert(at, kPrefix + "w_");
            at += kPrefix.size() + 2;
        }
    }
    std::vector<std::string> lines;
    for (size_t start = 0; start < glsl.size();) {
        size_t end = glsl.find('\n', start);
        if (end == std::string::npos)
            end = glsl.size();
        lines.push_back(glsl.substr(start, end - start));
        start = end + 1;
    }
    auto cgName = [&](const std::string& name) {
        const auto found = rewrite.cgNames().find(name);
        return found == rewrite.cgNames().end() ? name : found->second;
    };

    std::string result;
    std::string prologue;
    std::string epilogue;
    std::vector<std::string> members;  // of the uniform block, with their Cg names
    std::map<std::string, std::string> access;  // how the code reads a member, when not by its name
    bool inBlock = false;
    for (const std::string& line : lines) {
        if (line == "struct " + kGlobalsBlock + "_type") {
            inBlock = true;
            continue;
        }
        if (inBlock) {
            if (line == "};")
                inBlock = false;
            else if (line != "{")
                members.push_back(line);
            continue;
        }
        if (line.find(" " + kGlobalsBlock + "_type " + kGlobalsBlock + ";") != std::string::npos) {
            for (const std::string& member : members) {
                // "    type name[size];" becomes "uniform type cgname[size];"
                const size_t nameStart = member.rfind(' ') + 1;
                size_t nameEnd = nameStart;
                while (nameEnd < member.size() && isIdentifierChar(member[nameEnd]))
                    ++nameEnd;
                const size_t typeStart = member.find_first_not_of(' ');
                std::string type = member.substr(typeStart, nameStart - typeStart - 1);
                const std::string name = member.substr(nameStart, nameEnd - nameStart);
                // A block stores Cg's bool as uint (Cg has no uint), or as the int
                // that CgRewrite made it for 1.20: the uniform stays a bool for the
                // caller and reads as the number the code expects.
                const bool asUint = type == "uint" || type.rfind("uvec", 0) == 0;
                const bool asInt = (type == "int" || type.rfind("ivec", 0) == 0) &&
                                   rewrite.boolUniforms().count(cgName(name));
                if ((asUint || asInt) && nameEnd + 1 == member.size()) {
                    access[name] = type + "(" + cgName(name) + ")";
                    type = type.size() == 3 || type.size() == 4 ? "bool" : "b" + type.substr(1);
                }
                result += "uniform " + type + " " + cgName(name) + member.substr(nameEnd) + "\n";
            }
            continue;
        }
        bool rewired = false;
        for (const bool input : {true, false}) {
            std::string qualifier = input ? "in " : "out ";
            if (legacy)
                qualifier = input && stage == CgTranslator::eStage::vertex ? "attribute " : "varying ";
            for (const Variable& variable : input ? inputs : outputs) {
                if (line.size() < qualifier.size() || line.compare(0, qualifier.size(), qualifier) != 0 ||
                    line.size() < variable.name.size() + 1 ||
                    line.compare(line.size() - variable.name.size() - 1, std::string::npos,
                                 variable.name + ";") != 0)
                    continue;
                const std::string type = line.substr(qualifier.size(), line.size() - qualifier.size() -
                                                                            variable.name.size() - 2);
                const Builtin builtin = builtinFor(variable.semantic, stage, input, severalColours);
                const int width = widthOf(type);
                if (builtin.expression.empty() || width == 0) {
                    listing.add(1, "unsupported " + std::string(input ? "input" : "output") + " semantic '" +
                                       variable.semantic + "'");
                    return false;
                }
                result += type + " " + variable.name + ";\n";
                if (input)
                    prologue += "    " + variable.name + " = " + converted(builtin.expression, builtin.width, width) +
                                ";\n";
                else
                    epilogue += "    " + builtin.expression + " = " + converted(variable.name, width, builtin.width) +
                                ";\n";
                rewired = true;
            }
        }
        for (const auto& [location, width] : narrowColours) {
            std::string target = "gl_FragData[";
            target.append(std::to_string(location)).append("] = ");
            const size_t at = line.find(target);
            if (rewired || at == std::string::npos || line.find_first_not_of(' ') != at || line.back() != ';')
                continue;
            const std::string value = line.substr(at + target.size(), line.size() - at - target.size() - 1);
            result += line.substr(0, at + target.size()) + converted(value, width, 4) + ";\n";
            rewired = true;
        }
        if (!rewired)
            result += line + "\n";
    }

    // Members of the block are plain uniforms now.
    const std::string blockAccess = kGlobalsBlock + ".";
    for (size_t at = result.find(blockAccess); at != std::string::npos; at = result.find(blockAccess, at)) {
        size_t end = at + blockAccess.size();
        while (end < result.size() && isIdentifierChar(result[end]))
            ++end;
        const std::string member = result.substr(at + blockAccess.size(), end - at - blockAccess.size());
        const std::string name = access.count(member) ? access[member] : cgName(member);
        result.replace(at, end - at, name);
        at += name.size();
    }

    const std::string mainStart = "void main()\n{\n";
    const size_t body = result.find(mainStart);
    const size_t mainEnd = result.rfind("}");
    if (body == std::string::npos || mainEnd == std::string::npos || mainEnd < body) {
        listing.add(1, "unexpected GLSL from SPIRV-Cross");
        return false;
    }
    result.insert(mainEnd, epilogue);
    result.insert(body + mainStart.size(), prologue);

    if (!rewrite.rectangleSamplers().empty()) {
        for (const std::string& sampler : rewrite.rectangleSamplers()) {
            result = replaceAll(result, "uniform sampler2D " + sampler + ";", "uniform sampler2DRect " + sampler + ";");
            const std::string sample = legacy ? "texture2D(" : "texture(";
            result = replaceAll(result, sample + sampler + ",", "texture2DRect(" + sampler + ",");
            result = replaceAll(result, "textureSize(" + sampler + ", int(0u))", "textureSize(" + sampler + ")");
        }
        const size_t version = result.find('\n');
        result.insert(version == std::string::npos ? 0 : version + 1, "#extension GL_ARB_texture_rectangle : require\n");
    }
    glsl = std::move(result);
    return true;
}

// SPIRV-Cross writes some functions and operators that 1.20 lacks (trunc,
// isnan, integer %, ...) as they are: glslang's own checks for 1.20 find them
// before a driver does.
bool isGlsl120(const std::string& glsl, CgTranslator::eStage stage, Listing& listing)
{
    const EShLanguage language = stage == CgTranslator::eStage::pixel ? EShLangFragment : EShLangVertex;
    const char* strings[] = {glsl.c_str()};
    glslang::TShader shader(language);
    shader.setStrings(strings, 1);
    if (shader.parse(GetDefaultResources(), 120, ECompatibilityProfile, false, false, EShMsgDefault))
        return true;
    const std::string log = shader.getInfoLog();
    for (size_t start = 0; start < log.size();) {
        size_t end = log.find('\n', start);
        if (end == std::string::npos)
            end = log.size();
        std::string line = log.substr(start, end - start);
        start = end + 1;
        if (line.rfind("ERROR: ", 0) != 0 || line.find("compilation errors") != std::string::npos ||
            line.find("compilation terminated") != std::string::npos)
            continue;
        // The GLSL's line numbers mean nothing to the effect's author.
        const size_t quote = line.find('\'');
        std::string message = "not expressible in GLSL 1.20: ";
        message.append(line.substr(quote == std::string::npos ? 7 : quote));
        listing.add(1, message);
    }
    if (listing.text.empty())
        listing.add(1, "not expressible in GLSL 1.20");
    return false;
}

struct Context
{
    spvc_context handle = nullptr;
    std::string error;
    ~Context()
    {
        if (handle)
            spvc_context_destroy(handle);
    }
};

// Names every block, input and output so that the GLSL can be recognised,
// then takes them apart into plain uniforms and fixed-function variables.
bool toGlsl(const std::vector<unsigned int>& spirv, const CgRewrite& rewrite, CgTranslator::eStage stage,
            unsigned glslVersion, std::string& glsl, Listing& listing)
{
    Context context;
    if (spvc_context_create(&context.handle) != SPVC_SUCCESS) {
        listing.add(1, "SPIRV-Cross is not available");
        return false;
    }
    spvc_context_set_error_callback(
        context.handle, [](void* error, const char* message) { *static_cast<std::string*>(error) = message; },
        &context.error);
    spvc_parsed_ir ir = nullptr;
    spvc_compiler compiler = nullptr;
    spvc_resources resources = nullptr;
    spvc_compiler_options options = nullptr;
    auto failed = [&] {
        listing.add(1, "SPIRV-Cross: " + context.error);
        return false;
    };
    if (spvc_context_parse_spirv(context.handle, spirv.data(), spirv.size(), &ir) != SPVC_SUCCESS ||
        spvc_context_create_compiler(context.handle, SPVC_BACKEND_GLSL, ir, SPVC_CAPTURE_MODE_TAKE_OWNERSHIP,
                                     &compiler) != SPVC_SUCCESS ||
        spvc_compiler_create_shader_resources(compiler, &resources) != SPVC_SUCCESS)
        return failed();

    const bool legacy = glslVersion < 130;
    const spvc_reflected_resource* list = nullptr;
    size_t count = 0;
    spvc_resources_get_resource_list_for_type(resources, SPVC_RESOURCE_TYPE_UNIFORM_BUFFER, &list, &count);
    for (size_t index = 0; index < count; ++index) {
        spvc_compiler_set_name(compiler, list[index].id, kGlobalsBlock.c_str());
        spvc_compiler_set_name(compiler, list[index].base_type_id, (kGlobalsBlock + "_type").c_str());
        spvc_compiler_unset_decoration(compiler, list[index].id, SpvDecorationBinding);
        spvc_compiler_unset_decoration(compiler, list[index].id, SpvDecorationDescriptorSet);
        // Plain uniforms have no row_major: 1.30 writes the multiplications as
        // glslang made them, but 1.20 would swap them to honour the block's
        // layout, and matrices would then be set transposed.
        const unsigned members =
            legacy ? spvc_type_get_num_member_types(spvc_compiler_get_type_handle(compiler, list[index].base_type_id)) : 0;
        for (unsigned member = 0; member < members; ++member)
            spvc_compiler_unset_member_decoration(compiler, list[index].base_type_id, member, SpvDecorationRowMajor);
    }
    spvc_resources_get_resource_list_for_type(resources, SPVC_RESOURCE_TYPE_SAMPLED_IMAGE, &list, &count);
    for (size_t index = 0; index < count; ++index) {
        spvc_compiler_unset_decoration(compiler, list[index].id, SpvDecorationBinding);
        spvc_compiler_unset_decoration(compiler, list[index].id, SpvDecorationDescriptorSet);
        const auto cgName = rewrite.cgNames().find(list[index].name);
        if (cgName != rewrite.cgNames().end())
            spvc_compiler_set_name(compiler, list[index].id, cgName->second.c_str());
    }
    std::vector<Variable> inputs;
    std::vector<Variable> outputs;
    std::map<unsigned, int> narrowColours;
    bool severalColours = false;
    for (const bool input : {true, false}) {
        spvc_resources_get_resource_list_for_type(
            resources, input ? SPVC_RESOURCE_TYPE_STAGE_INPUT : SPVC_RESOURCE_TYPE_STAGE_OUTPUT, &list, &count);
        for (size_t index = 0; index < count; ++index) {
            const char* semantic =
                spvc_compiler_get_decoration_string(compiler, list[index].id, SpvDecorationHlslSemanticGOOGLE);
            Variable variable{(input ? kInputPrefix : kOutputPrefix) + std::to_string(index),
                              semantic ? semantic : ""};
            spvc_compiler_set_name(compiler, list[index].id, variable.name.c_str());
            spvc_compiler_unset_decoration(compiler, list[index].id, SpvDecorationLocation);
            (input ? inputs : outputs).push_back(variable);
            std::string upper = variable.semantic;
            std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::toupper(c); });
            const bool colour = upper.rfind("COLOR", 0) == 0 || upper.rfind("SV_TARGET", 0) == 0;
            if (!input && colour && upper.back() >= '1' && upper.back() <= '9')
                severalColours = true;
            // GLSL 1.20 has no fragment outputs to rewire: SPIRV-Cross writes
            // gl_FragData[location] itself, so the location is the colour's number.
            if (legacy && !input && stage == CgTranslator::eStage::pixel) {
                const std::string target = builtinFor(variable.semantic, stage, false, true).expression;
                if (target.rfind("gl_FragData[", 0) != 0) {
                    listing.add(1, "unsupported output semantic '" + variable.semantic + "'");
                    return false;
                }
                const unsigned location = unsigned(std::stoul(target.substr(12)));
                spvc_compiler_set_decoration(compiler, list[index].id, SpvDecorationLocation, location);
                const int width = int(spvc_type_get_vector_size(spvc_compiler_get_type_handle(compiler, list[index].type_id)));
                if (width < 4)
                    narrowColours[location] = width;
            }
        }
    }
    if (spvc_compiler_create_compiler_options(compiler, &options) != SPVC_SUCCESS)
        return failed();
    spvc_compiler_options_set_uint(options, SPVC_COMPILER_OPTION_GLSL_VERSION, glslVersion);
    spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_ES, SPVC_FALSE);
    spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_ENABLE_420PACK_EXTENSION, SPVC_FALSE);
    spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_EMIT_UNIFORM_BUFFER_AS_PLAIN_UNIFORMS,
                                   SPVC_TRUE);
    const char* source = nullptr;
    if (spvc_compiler_install_compiler_options(compiler, options) != SPVC_SUCCESS ||
        spvc_compiler_compile(compiler, &source) != SPVC_SUCCESS)
        return failed();
    glsl = source;
    return rewireGlsl(glsl, rewrite, stage, legacy, inputs, outputs, severalColours, narrowColours, listing) &&
           (!legacy || isGlsl120(glsl, stage, listing));
}

} // namespace

CgTranslator::Translation CgTranslator::translate(std::string_view fileName, std::string_view source,
                                                  std::string_view entry, eStage stage,
                                                  const std::vector<std::string>& arguments, unsigned glslVersion)
{
    std::lock_guard lock(translating);
    Translation translation;
    Listing listing{std::string(fileName), {}};
    if (glslVersion != 120 && glslVersion != 130) {
        std::string message = "GLSL ";
        message.append(std::to_string(glslVersion)).append(" is not a translation target (120 or 130)");
        listing.add(1, message);
        translation.listing = listing.text;
        return translation;
    }
    CgRewrite rewrite(source, std::string(entry), arguments, glslVersion < 130, listing);
    std::vector<unsigned int> spirv;
    translation.succeeded = rewrite.run() && toSpirv(rewrite, listing.fileName, stage, spirv, listing) &&
                            toGlsl(spirv, rewrite, stage, glslVersion, translation.glsl, listing);
    translation.listing = listing.text;
    return translation;
}
