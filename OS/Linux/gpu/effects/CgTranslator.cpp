#include "CgTranslator.h"

#include "CgHlslWriter.h"
#include "CgLibrary.h"
#include "CgParser.h"

// Debian builds glslang with its HLSL front end; its headers hide the HLSL
// calls unless told.
#define ENABLE_HLSL 1
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>
#include <spirv-tools/optimizer.hpp>
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
const std::string kGlobalsBlock = kPrefix + "globals";
const std::string kInputPrefix = kPrefix + "in_";
const std::string kOutputPrefix = kPrefix + "out_";
const std::string kAttributePrefix = kPrefix + "attr";

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

struct Listing
{
    std::string fileName;
    std::string text;
    // Where a message that the GLSL's own lines cannot place goes: the entry function.
    int entryLine = 1;

    void add(int line, const std::string& message)
    {
        text += fileName + "(" + std::to_string(line) + ") : error: " + message + "\n";
    }
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

// Whether a function's variable or parameter holds a sampler, alone or in a
// structure or array: GLSL has no such locals, and only then must the SPIR-V
// be legalised.
bool holdsOpaqueLocals(const std::vector<unsigned int>& spirv)
{
    enum : unsigned { opTypeImage = 25, opTypeSampler = 26, opTypeSampledImage = 27, opTypeArray = 28,
                      opTypeRuntimeArray = 29, opTypeStruct = 30, opTypePointer = 32, opFunctionParameter = 55,
                      opVariable = 59, storageFunction = 7 };
    std::set<unsigned> opaque;
    std::set<unsigned> localPointers;
    for (std::size_t at = 5; at < spirv.size();) {
        const unsigned opcode = spirv[at] & 0xffff;
        const std::size_t count = spirv[at] >> 16;
        if (count == 0 || at + count > spirv.size())
            return true;
        const unsigned* operands = &spirv[at + 1];
        switch (opcode) {
        case opTypeImage:
        case opTypeSampler:
        case opTypeSampledImage:
            opaque.insert(operands[0]);
            break;
        case opTypeArray:
        case opTypeRuntimeArray:
        case opTypeStruct:
            for (std::size_t member = 1; member < count - 1; ++member)
                if (opaque.count(operands[member]) && (opcode == opTypeStruct || member == 1))
                    opaque.insert(operands[0]);
            break;
        case opTypePointer:
            if (count == 4 && operands[1] == storageFunction && opaque.count(operands[2]))
                localPointers.insert(operands[0]);
            break;
        case opVariable:
        case opFunctionParameter:
            if (count >= 3 && localPointers.count(operands[0]))
                return true;
            break;
        default:
            break;
        }
        at += count;
    }
    return false;
}

// What GLSL needs of such SPIR-V: functions inlined, structures and locals
// taken apart, no local samplers left. The driver optimises the GLSL itself:
// glslang's own optimiser would cost several times the rest of a translation.
bool legalise(const std::vector<unsigned int>& unlegalised, std::vector<unsigned int>& spirv, Listing& listing)
{
    spvtools::Optimizer optimizer(SPV_ENV_UNIVERSAL_1_0);
    std::string messages;
    optimizer.SetMessageConsumer([&](spv_message_level_t level, const char*, const spv_position_t&, const char* message) {
        if (level <= SPV_MSG_ERROR)
            messages.append(message).append(" ");
    });
    optimizer.RegisterPass(spvtools::CreateWrapOpKillPass())
        .RegisterPass(spvtools::CreateDeadBranchElimPass())
        .RegisterPass(spvtools::CreateMergeReturnPass())
        .RegisterPass(spvtools::CreateInlineExhaustivePass())
        .RegisterPass(spvtools::CreateEliminateDeadFunctionsPass())
        .RegisterPass(spvtools::CreateScalarReplacementPass())
        .RegisterPass(spvtools::CreateLocalAccessChainConvertPass())
        .RegisterPass(spvtools::CreateLocalSingleBlockLoadStoreElimPass())
        .RegisterPass(spvtools::CreateLocalSingleStoreElimPass())
        .RegisterPass(spvtools::CreateSSARewritePass())
        .RegisterPass(spvtools::CreateAggressiveDCEPass())
        .RegisterPass(spvtools::CreateCFGCleanupPass());
    spvtools::OptimizerOptions optimizerOptions;
    optimizerOptions.set_run_validator(false);
    if (optimizer.Run(unlegalised.data(), unlegalised.size(), &spirv, optimizerOptions))
        return true;
    listing.add(listing.entryLine, "the SPIR-V could not be legalised: " + messages);
    return false;
}

// glslang builds its tables once per process; after that, translations on
// several threads are independent (each has its own pools, SPIR-V Tools and
// SPIRV-Cross contexts).
std::once_flag glslangStarted;

bool toSpirv(const CgHlslWriter& rewrite, const std::string& fileName, CgTranslator::eStage stage,
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
        addGlslangLog(shader.getInfoLog(), listing.entryLine, listing);
        return false;
    }
    glslang::TProgram program;
    program.addShader(&shader);
    if (!program.link(messages)) {
        addGlslangLog(program.getInfoLog(), listing.entryLine, listing);
        return false;
    }
    spv::SpvBuildLogger logger;
    glslang::SpvOptions options;
    options.disableOptimizer = true;
    std::vector<unsigned int> unlegalised;
    glslang::GlslangToSpv(*program.getIntermediate(language), unlegalised, &logger, &options);
    if (unlegalised.empty()) {
        listing.add(listing.entryLine, "no SPIR-V: " + logger.getAllMessages());
        return false;
    }
    if (!holdsOpaqueLocals(unlegalised)) {
        spirv = std::move(unlegalised);
        return true;
    }
    return legalise(unlegalised, spirv, listing);
}

// Where the fixed-function stages keep what a semantic names: the expression
// and how many components it has.
struct Builtin
{
    std::string expression;
    int width = 0;
};

// Generic vertex attributes at the numbers Cg's arbvp1 profile gives the
// semantics that have no fixed-function array of their own.
int attributeFor(const std::string& name, int number)
{
    static const std::map<std::string, int> attributes = {
        {"BLENDWEIGHT", 1}, {"NORMAL", 2}, {"FOG", 5}, {"FOGCOORD", 5}, {"TESSFACTOR", 5}, {"PSIZE", 6},
        {"BLENDINDICES", 7}, {"TANGENT", 14}, {"BINORMAL", 15}};
    if (name == "ATTR")
        return number < 16 ? number : -1;
    const auto found = attributes.find(name);
    return found == attributes.end() || number != 0 ? -1 : found->second;
}

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
    const bool colour = (name == "COLOR" || name == "DIFFUSE" || name == "SPECULAR") && number < 2;
    const bool secondary = name == "SPECULAR" || number == 1;
    // Past the driver's texture coordinate sets, the driver itself refuses the program.
    const bool coordinate = name == "TEXCOORD" && number < 16;
    if (stage == CgTranslator::eStage::pixel && input) {
        if (coordinate)
            return {"gl_TexCoord[" + index + "]", 4};
        if (colour)
            return {secondary ? "gl_SecondaryColor" : "gl_Color", 4};
        if (name == "WPOS" || name == "VPOS" || name == "POSITION" || name == "SV_POSITION")
            return {"gl_FragCoord", 4};
        if (name == "FOG")
            return {"gl_FogFragCoord", 1};
        if (name == "VFACE" || name == "FACE")
            return {"(gl_FrontFacing ? 1.0 : -1.0)", 1};
    } else if (stage == CgTranslator::eStage::pixel) {
        if ((name == "COLOR" || name == "SV_TARGET") && number < 4)
            return {severalColours ? "gl_FragData[" + index + "]" : "gl_FragColor", 4};
        if (name == "DEPTH")
            return {"gl_FragDepth", 1};
    } else if (input) {
        if (name == "POSITION" || (name == "ATTR" && number == 0))
            return {"gl_Vertex", 4};
        if (colour)
            return {secondary ? "gl_SecondaryColor" : "gl_Color", 4};
        if (name == "TEXCOORD" && number < 8)
            return {"gl_MultiTexCoord" + index, 4};
        if (const int attribute = attributeFor(name, number); attribute > 0)
            return {CgTranslator::attributeName(unsigned(attribute)), 4};
    } else {
        if (name == "POSITION" || name == "HPOS" || name == "SV_POSITION")
            return {"gl_Position", 4};
        if (colour)
            return {secondary ? "gl_FrontSecondaryColor" : "gl_FrontColor", 4};
        if (coordinate)
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
bool rewireGlsl(std::string& glsl, const CgHlslWriter& rewrite, CgTranslator::eStage stage, bool legacy,
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
    auto uniformName = [&](const std::string& name) { return CgHlslWriter::glslUniformName(cgName(name)); };

    std::string result;
    std::string prologue;
    std::string epilogue;
    std::string attributes;
    std::set<std::string> attributeNames;
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
                    access[name] = type + "(" + uniformName(name) + ")";
                    type = type.size() == 3 || type.size() == 4 ? "bool" : "b" + type.substr(1);
                }
                const auto state = rewrite.stateUniforms().find(name);
                if (state != rewrite.stateUniforms().end()) {
                    result += type + " " + uniformName(name) + ";\n";
                    prologue += "    " + uniformName(name) + " = " + state->second + ";\n";
                    continue;
                }
                result += "uniform " + type + " " + uniformName(name) + member.substr(nameEnd) + "\n";
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
                    listing.add(rewrite.entryLine(), "unsupported " + std::string(input ? "input" : "output") + " semantic '" +
                                       variable.semantic + "'");
                    return false;
                }
                result += type + " " + variable.name + ";\n";
                if (builtin.expression.rfind(kAttributePrefix, 0) == 0 && attributeNames.insert(builtin.expression).second)
                    attributes += std::string(legacy ? "attribute" : "in") + " vec4 " + builtin.expression + ";\n";
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
        const std::string name = access.count(member) ? access[member] : uniformName(member);
        result.replace(at, end - at, name);
        at += name.size();
    }

    const std::string mainStart = "void main()\n{\n";
    const size_t body = result.find(mainStart);
    const size_t mainEnd = result.rfind("}");
    if (body == std::string::npos || mainEnd == std::string::npos || mainEnd < body) {
        listing.add(listing.entryLine, "unexpected GLSL from SPIRV-Cross");
        return false;
    }
    result.insert(mainEnd, epilogue);
    result.insert(body + mainStart.size(), prologue);

    result.insert(result.find('\n') == std::string::npos ? 0 : result.find('\n') + 1, attributes);
    // The samplers HLSL lacks take back their own types and sampling calls.
    std::set<std::string> extensions;
    for (const auto& [cgSampler, glslType] : rewrite.substitutedSamplers()) {
        const std::string sampler = CgHlslWriter::glslUniformName(cgSampler);
        const bool rectangle = glslType == "sampler2DRect";
        const std::string standIn = glslType == "sampler2DArray" ? "3D" : "2D";
        result = replaceAll(result, "uniform sampler" + standIn + " " + sampler + ";",
                            "uniform " + glslType + " " + sampler + ";");
        if (rectangle) {
            result = replaceAll(result, (legacy ? "texture2D(" : "texture(") + sampler + ",", "texture2DRect(" + sampler + ",");
            result = replaceAll(result, "textureSize(" + sampler + ", int(0u))", "textureSize(" + sampler + ")");
            extensions.insert("GL_ARB_texture_rectangle");
        } else if (legacy) {
            const std::string array = glslType == "sampler2DArray" ? "texture2DArray" : "texture1DArray";
            for (const char* suffix : {"(", "Lod("})
                result = replaceAll(result, "texture" + standIn + suffix + sampler + ",", array + suffix + sampler + ",");
            extensions.insert("GL_EXT_texture_array");
        }
    }
    for (const std::string& extension : extensions) {
        const size_t version = result.find('\n');
        result.insert(version == std::string::npos ? 0 : version + 1, "#extension " + extension + " : require\n");
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
        listing.add(listing.entryLine, message);
    }
    if (listing.text.empty())
        listing.add(listing.entryLine, "not expressible in GLSL 1.20");
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
bool toGlsl(const std::vector<unsigned int>& spirv, const CgHlslWriter& rewrite, CgTranslator::eStage stage,
            unsigned glslVersion, std::string& glsl, Listing& listing)
{
    Context context;
    if (spvc_context_create(&context.handle) != SPVC_SUCCESS) {
        listing.add(listing.entryLine, "SPIRV-Cross is not available");
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
        listing.add(listing.entryLine, "SPIRV-Cross: " + context.error);
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
        spvc_compiler_set_name(compiler, list[index].id,
                               CgHlslWriter::glslUniformName(cgName == rewrite.cgNames().end() ? list[index].name : cgName->second).c_str());
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
                    listing.add(listing.entryLine, "unsupported output semantic '" + variable.semantic + "'");
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

std::string CgTranslator::attributeName(unsigned index)
{
    return kAttributePrefix + std::to_string(index);
}

CgTranslator::Translation CgTranslator::translate(std::string_view fileName, std::string_view source,
                                                  std::string_view entry, eStage stage,
                                                  const std::vector<std::string>& arguments, unsigned glslVersion)
{
    return translate(fileName, CgParser::parse(source), entry, stage, arguments, glslVersion);
}

CgTranslator::Translation CgTranslator::translate(std::string_view fileName, const CgParser::Result& parsed,
                                                  std::string_view entry, eStage stage,
                                                  const std::vector<std::string>& arguments, unsigned glslVersion)
{
    Translation translation;
    Listing listing{std::string(fileName), {}};
    if (glslVersion != 120 && glslVersion != 130) {
        std::string message = "GLSL ";
        message.append(std::to_string(glslVersion)).append(" is not a translation target (120 or 130)");
        listing.add(listing.entryLine, message);
        translation.listing = listing.text;
        return translation;
    }
    if (parsed.failed()) {
        listing.add(parsed.errorLine, parsed.error);
        translation.listing = listing.text;
        return translation;
    }
    CgHlslWriter rewrite(parsed.unit, std::string(entry), arguments, glslVersion < 130);
    const bool written = rewrite.run();
    listing.entryLine = rewrite.entryLine();
    for (const CgHlslWriter::Error& error : rewrite.errors())
        listing.add(error.line, error.message);
    std::vector<unsigned int> spirv;
    translation.succeeded = written && toSpirv(rewrite, listing.fileName, stage, spirv, listing) &&
                            toGlsl(spirv, rewrite, stage, glslVersion, translation.glsl, listing);
    translation.listing = listing.text;
    return translation;
}
