#include "CgHlslWriter.h"

#include "CgGLState.h"
#include "CgLibrary.h"
#include "CgParser.h"

#include <algorithm>

namespace {

const std::string kPrefix = "kvcg_";
const std::string kUniformPrefix = kPrefix + "u_";

// Words that HLSL (as glslang reads it) reserves but Cg leaves free as names.
const std::set<std::string>& hlslReserved()
{
    static const std::set<std::string> words = {
        "linear", "centroid", "nointerpolation", "noperspective", "sample", "precise", "shared", "groupshared",
        "unorm", "snorm", "globallycoherent", "point", "line", "triangle", "lineadj", "triangleadj", "vector",
        "matrix", "dword", "uint", "min16float", "min10float", "min16int", "min12int", "min16uint", "layout",
        "this", "namespace", "class", "cbuffer", "tbuffer", "Buffer", "SamplerState", "SamplerComparisonState",
        "PointStream", "LineStream", "TriangleStream", "InputPatch", "OutputPatch", "ConstantBuffer", "packoffset",
        "register", "texture", "Texture", "sampler", "sampler_state", "string", "pass", "technique", "technique10",
        "technique11", "compile", "compile_fragment", "CompileShader", "decl", "half", "fixed", "double", "asm",
        "asm_fragment", "pixelfragment", "vertexfragment", "PixelShader", "VertexShader", "GeometryShader",
        "DomainShader", "HullShader", "ComputeShader", "pixelshader", "vertexshader", "stateblock",
        "stateblock_state", "BlendState", "DepthStencilState", "RasterizerState", "DepthStencilView",
        "RenderTargetView", "export", "fxgroup", "interface", "unsigned", "switch", "case", "default", "NULL",
        "texture1D", "texture1DArray", "texture2D", "texture2DArray", "texture3D", "textureCube", "Texture1D",
        "Texture1DArray", "Texture2D", "Texture2DArray", "Texture2DMS", "Texture2DMSArray", "Texture3D",
        "TextureCube", "TextureCubeArray", "RWTexture1D", "RWTexture1DArray", "RWTexture2D", "RWTexture2DArray",
        "RWTexture3D", "RWBuffer", "RWByteAddressBuffer", "RWStructuredBuffer", "ByteAddressBuffer",
        "StructuredBuffer", "AppendStructuredBuffer", "ConsumeStructuredBuffer", "SubpassInput", "SubpassInputMS",
        "subpassinput"};
    return words;
}

// Words that GLSL reserves: a uniform named so keeps the prefix there.
bool glslReserved(const std::string& name)
{
    static const std::set<std::string> reserved = {
        "attribute", "const", "uniform", "varying", "layout", "centroid", "flat", "smooth", "noperspective",
        "break", "continue", "do", "for", "while", "switch", "case", "default", "if", "else", "in", "out", "inout",
        "float", "int", "void", "bool", "true", "false", "invariant", "discard", "return", "struct", "precision",
        "lowp", "mediump", "highp", "common", "partition", "active", "asm", "class", "union", "enum", "typedef",
        "template", "this", "packed", "goto", "inline", "noinline", "volatile", "public", "static", "extern",
        "external", "interface", "long", "short", "double", "half", "fixed", "unsigned", "superp", "input",
        "output", "filter", "sizeof", "cast", "namespace", "using", "uint", "sampler3DRect", "resource",
        "patch", "sample", "subroutine", "buffer", "shared", "coherent", "restrict", "readonly", "writeonly",
        "precise", "main"};
    const bool vectorType = name.size() == 5 && std::string("hdfbiu").find(name[0]) != std::string::npos &&
                            name.compare(1, 3, "vec") == 0;
    return reserved.count(name) || vectorType || name.rfind("gl_", 0) == 0 || name.find("__") != std::string::npos;
}

// Samplers that HLSL lacks: the HLSL sampler that stands in for each, and the
// GLSL sampler it becomes again.
const std::map<std::string, std::pair<std::string, std::string>>& samplerStandIns()
{
    static const std::map<std::string, std::pair<std::string, std::string>> standIns = {
        {"samplerRECT", {"sampler2D", "sampler2DRect"}},
        {"sampler1DARRAY", {"sampler2D", "sampler1DArray"}},
        {"sampler2DARRAY", {"sampler3D", "sampler2DArray"}}};
    return standIns;
}

// Cg's reduced-precision types are plain floats on a GPU with GLSL.
std::string floatTypeOf(const std::string& type)
{
    for (const std::string prefix : {"fixed", "half"})
        if (type.compare(0, prefix.size(), prefix) == 0 && CgParser::isBuiltinType(type))
            return "float" + type.substr(prefix.size());
    return {};
}

std::string intForBool(const std::string& type)
{
    if (type == "bool" || (type.size() == 5 && type.rfind("bool", 0) == 0 && type[4] >= '1' && type[4] <= '4'))
        return "int" + type.substr(4);
    return {};
}

// Cg's fixed-point (x) and half (h) literal suffixes; HLSL knows neither.
std::string literalText(std::string literal)
{
    const bool hex = literal.size() > 1 && literal[0] == '0' && (literal[1] == 'x' || literal[1] == 'X');
    if (!hex && !literal.empty() && (literal.back() == 'x' || literal.back() == 'X' || literal.back() == 'h' ||
                                     literal.back() == 'H'))
        literal.pop_back();
    return literal;
}

// The variable an assignment changes: a.b[i].c changes a.
const CgNode* rootOf(const CgNode& target)
{
    const CgNode* node = &target;
    while ((node->kind == CgNode::eMember || node->kind == CgNode::eIndex || node->kind == CgNode::eParenthesised) &&
           !node->children.empty())
        node = &node->children[0];
    return node->kind == CgNode::eName ? node : nullptr;
}

bool isUniformVariables(const CgNode& variables)
{
    return variables.kind == CgNode::eVariables && !variables.hasWord("static") && !variables.hasWord("const") &&
           !variables.children.empty() && variables.children[0].text != "string";
}

bool isUniformParameter(const CgNode& parameter)
{
    return parameter.kind == CgNode::eParameter && parameter.hasWord("uniform");
}

template <typename Visit>
void walk(const CgNode& node, const Visit& visit)
{
    visit(node);
    for (const CgNode& child : node.children)
        walk(child, visit);
}

} // namespace

CgHlslWriter::CgHlslWriter(const CgNode& unit, const std::string& entry, const std::vector<std::string>& arguments,
                           bool boolUniformsAsInt)
    : unit_(unit), entry_(entry), arguments_(arguments), boolUniformsAsInt_(boolUniformsAsInt)
{
}

// The uniform that stands for a glstate path, if the expression is one.
bool CgHlslWriter::writeState(const CgNode& expression)
{
    const auto state = statePathNames_.find(statePath(expression));
    if (state == statePathNames_.end())
        return false;
    put(expression.line, state->second);
    return true;
}

// "matrix.modelview[0]" for glstate.matrix.modelview[0]; empty for anything
// not read from glstate.
std::string CgHlslWriter::statePath(const CgNode& expression) const
{
    if (expression.kind == CgNode::eMember) {
        const std::string object = statePath(expression.children[0]);
        if (!object.empty())
            return object == "glstate" ? expression.text : object + "." + expression.text;
        return expression.children[0].kind == CgNode::eName && expression.children[0].text == "glstate"
                   ? expression.text
                   : std::string();
    }
    if (expression.kind == CgNode::eIndex && expression.children[1].kind == CgNode::eLiteral) {
        const std::string array = statePath(expression.children[0]);
        return array.empty() ? array : array + "[" + expression.children[1].text + "]";
    }
    return {};
}

std::string CgHlslWriter::hlslName(const std::string& cgName)
{
    return hlslReserved().count(cgName) || glslReserved(cgName) ? kPrefix + cgName : cgName;
}

std::string CgHlslWriter::glslUniformName(const std::string& cgName)
{
    return glslReserved(cgName) ? kPrefix + cgName : cgName;
}

std::string CgHlslWriter::cgUniformName(const std::string& glslName)
{
    return glslName.rfind(kPrefix, 0) == 0 ? glslName.substr(kPrefix.size()) : glslName;
}

std::string CgHlslWriter::name(const std::string& cgName)
{
    const std::string hlsl = hlslName(cgName);
    if (hlsl != cgName)
        cgNames_[hlsl] = cgName;
    return hlsl;
}

std::string CgHlslWriter::typeText(const std::string& cgType) const
{
    if (const std::string floatType = floatTypeOf(cgType); !floatType.empty())
        return floatType;
    if (const auto stand = samplerStandIns().find(cgType); stand != samplerStandIns().end())
        return stand->second.first;
    return CgParser::isBuiltinType(cgType) ? cgType : hlslName(cgType);
}

bool CgHlslWriter::run()
{
    findEntry();
    if (!entryFunction_)
        return false;
    findReachableFunctions();
    findWrittenUniforms();
    entryName_ = name(entry_);
    for (const CgNode& item : unit_.children)
        if (item.kind == CgNode::eVariables)
            for (std::size_t index = 1; index < item.children.size(); ++index)
                globalTypes_[item.children[index].text] = item.children[0].text;
    put(1, stateDeclarations_);
    for (const CgNode& item : unit_.children)
        writeItem(item);
    return errors_.empty();
}

void CgHlslWriter::findEntry()
{
    entryFunction_ = unit_.definition(entry_);
    if (!entryFunction_) {
        errors_.push_back({1, "entry function '" + entry_ + "' not found"});
        return;
    }
    std::size_t bound = 0;
    for (const CgNode& parameter : entryFunction_->children)
        if (isUniformParameter(parameter) && bound++ >= arguments_.size())
            uniforms_.insert(parameter.children[1].text);
    if (bound < arguments_.size())
        errors_.push_back({entryFunction_->line, "too many arguments for the uniform parameters of '" + entry_ + "'"});
}

// Whether an expression is of a floating type, as far as names declared in
// the function or globally and literals tell; an unknown type is not.
bool CgHlslWriter::isFloat(const CgNode& expression) const
{
    auto floatType = [](const std::string& type) {
        return CgParser::isBuiltinType(type) &&
               (type.rfind("float", 0) == 0 || type.rfind("half", 0) == 0 || type.rfind("fixed", 0) == 0 ||
                type.rfind("double", 0) == 0);
    };
    switch (expression.kind) {
    case CgNode::eLiteral:
        return expression.text.find_first_of(".eE") != std::string::npos &&
               expression.text.compare(0, 2, "0x") != 0 && expression.text.compare(0, 2, "0X") != 0;
    case CgNode::eName: {
        const auto local = localTypes_.find(expression.text);
        if (local != localTypes_.end())
            return floatType(local->second);
        const auto global = globalTypes_.find(expression.text);
        return global != globalTypes_.end() && floatType(global->second);
    }
    case CgNode::eConstructor:
    case CgNode::eCast:
        return floatType(expression.children[0].text);
    case CgNode::eParenthesised:
    case CgNode::eUnary:
    case CgNode::ePostfix:
    case CgNode::eAssign:
        return isFloat(expression.children[0]);
    case CgNode::eIndex:
        return isFloat(expression.children[0]);
    case CgNode::eMember:
        // A swizzle keeps the vector's type.
        return expression.text.find_first_not_of("xyzwrgba") == std::string::npos && isFloat(expression.children[0]);
    case CgNode::eBinary:
        return (expression.text == "+" || expression.text == "-" || expression.text == "*" || expression.text == "/" ||
                expression.text == "%") &&
               (isFloat(expression.children[0]) || isFloat(expression.children[1]));
    case CgNode::eConditional:
        return isFloat(expression.children[1]) || isFloat(expression.children[2]);
    default:
        return false;
    }
}

bool CgHlslWriter::definesFunction(const std::string& cgName) const
{
    return std::any_of(unit_.children.begin(), unit_.children.end(), [&](const CgNode& item) {
        return item.kind == CgNode::eFunction && item.text == cgName;
    });
}

void CgHlslWriter::findReachableFunctions()
{
    // The entry and the initialisers of globals call functions; "" stands for the globals.
    std::vector<std::string> pending = {entry_, ""};
    reachable_.insert(entry_);
    while (!pending.empty()) {
        const std::string caller = pending.back();
        pending.pop_back();
        for (const CgNode& item : unit_.children) {
            if (caller.empty() ? item.kind == CgNode::eFunction : item.kind != CgNode::eFunction || item.text != caller)
                continue;
            walk(item, [&](const CgNode& node) {
                if (node.kind == CgNode::eCall && reachable_.insert(node.text).second)
                    pending.push_back(node.text);
                const std::string path = statePath(node);
                const CgGLState::Binding binding = path.empty() ? CgGLState::Binding() : CgGLState::of(path);
                if (binding.glsl.empty() || statePathNames_.count(path))
                    return;
                // glstate.matrix.modelview and glstate.matrix.modelview[0] are one uniform.
                const auto same = std::find_if(stateUniforms_.begin(), stateUniforms_.end(),
                                               [&](const auto& state) { return state.second == binding.glsl; });
                if (same != stateUniforms_.end()) {
                    statePathNames_[path] = same->first;
                    return;
                }
                const std::string uniform = kPrefix + "state" + std::to_string(stateUniforms_.size());
                statePathNames_[path] = uniform;
                stateUniforms_[uniform] = binding.glsl;
                stateDeclarations_ += "uniform " + binding.cgType + " " + uniform + "; ";
            });
        }
    }
}

// Cg lets code assign a uniform; HLSL does not.
void CgHlslWriter::findWrittenUniforms()
{
    for (const CgNode& item : unit_.children)
        if (isUniformVariables(item))
            for (std::size_t index = 1; index < item.children.size(); ++index)
                uniforms_.insert(item.children[index].text);
    std::set<std::string> written;
    for (const CgNode& function : unit_.children) {
        if (function.kind != CgNode::eFunction || !reachable_.count(function.text) || !function.body())
            continue;
        std::set<std::string> locals;
        walk(function, [&](const CgNode& node) {
            if (node.kind == CgNode::eParameter && !(&function == entryFunction_ && isUniformParameter(node)))
                locals.insert(node.children[1].text);
            else if (node.kind == CgNode::eVariables)
                for (std::size_t index = 1; index < node.children.size(); ++index)
                    locals.insert(node.children[index].text);
        });
        walk(*function.body(), [&](const CgNode& node) {
            const bool assigns = node.kind == CgNode::eAssign || node.kind == CgNode::ePostfix ||
                                 (node.kind == CgNode::eUnary && (node.text == "++" || node.text == "--"));
            const CgNode* root = assigns ? rootOf(node.children[0]) : nullptr;
            if (root && uniforms_.count(root->text) && !locals.count(root->text))
                written.insert(root->text);
        });
    }
    for (const std::string& uniform : written) {
        writtenUniforms_.push_back(uniform);
        entryPrologue_ += name(uniform) + " = " + kUniformPrefix + uniform + "; ";
        cgNames_[kUniformPrefix + uniform] = uniform;
    }
}

std::string CgHlslWriter::detachedText(const CgNode& expression)
{
    std::string text;
    std::swap(text, text_);
    detached_ = true;
    writeExpression(expression);
    detached_ = false;
    std::swap(text, text_);
    return text;
}

void CgHlslWriter::put(int line, const std::string& token)
{
    for (; !detached_ && line_ < line; ++line_)
        text_ += '\n';
    if (!text_.empty() && text_.back() != '\n' && text_.back() != ' ')
        text_ += ' ';
    text_ += token;
}

void CgHlslWriter::writeItem(const CgNode& item)
{
    switch (item.kind) {
    case CgNode::eFunction:
        if (reachable_.count(item.text))
            writeFunction(item);
        break;
    case CgNode::eStruct:
        put(item.line, "struct " + name(item.text) + " {");
        for (const CgNode& member : item.children)
            writeVariables(member);
        put(line_, "};");
        break;
    case CgNode::eTypedef:
        put(item.line, "typedef " + typeText(item.children[0].text));
        writeDeclarator(item.children[1]);
        put(line_, ";");
        break;
    case CgNode::eVariables:
        if (!isUniformVariables(item)) {
            // glslang cannot link a global whose initialiser calls a function (it reports recursion):
            // such a static takes its value when the entry starts.
            bool callsFunction = false;
            walk(item, [&](const CgNode& node) {
                callsFunction = callsFunction || (node.kind == CgNode::eCall && definesFunction(node.text));
            });
            deferInitialisers_ = callsFunction && item.hasWord("static") && !item.hasWord("const");
            writeVariables(item);
            deferInitialisers_ = false;
            break;
        }
        for (std::size_t index = 1; index < item.children.size(); ++index)
            writeUniform(item.children[0], item.children[index]);
        break;
    default:
        break;
    }
}

// "uniform type name;", or, for a uniform the code writes, the uniform under
// another name and a private copy under its own.
void CgHlslWriter::writeUniform(const CgNode& type, const CgNode& declarator)
{
    const std::string& cgType = type.text;
    const std::string hlslType = typeText(cgType);
    const std::string asInt = boolUniformsAsInt_ ? intForBool(cgType) : std::string();
    if (!asInt.empty())
        boolUniforms_.insert(declarator.text);
    if (const auto stand = samplerStandIns().find(cgType); stand != samplerStandIns().end())
        substitutedSamplers_[declarator.text] = stand->second.second;
    if (declarator.semantic.rfind("state.", 0) == 0) {
        const CgGLState::Binding binding = CgGLState::of(declarator.semantic.substr(6));
        if (binding.glsl.empty())
            errors_.push_back({declarator.line, "unknown OpenGL state '" + declarator.semantic + "'"});
        stateUniforms_[name(declarator.text)] = binding.glsl;
    }
    const bool written = std::find(writtenUniforms_.begin(), writtenUniforms_.end(), declarator.text) !=
                         writtenUniforms_.end();
    put(declarator.line, "uniform " + (asInt.empty() ? hlslType : asInt) + " " +
                             (written ? kUniformPrefix + declarator.text : name(declarator.text)) +
                             arraySuffix(declarator) + ";");
    if (written)
        put(line_, "static " + hlslType + " " + name(declarator.text) + arraySuffix(declarator) + ";");
}

void CgHlslWriter::writeEntryGlobals()
{
    std::size_t bound = 0;
    for (const CgNode& parameter : entryFunction_->children) {
        if (!isUniformParameter(parameter))
            continue;
        const CgNode& declarator = parameter.children[1];
        if (bound < arguments_.size()) {
            bindArgument(parameter, arguments_[bound++]);
            continue;
        }
        writeUniform(parameter.children[0], declarator);
    }
}

// An argument that names a global (a sampler, most often) stands for the
// parameter wherever the entry reads it; any other is a local holding its value.
void CgHlslWriter::bindArgument(const CgNode& parameter, const std::string& argument)
{
    const CgNode& declarator = parameter.children[1];
    const CgParser::Result parsed = CgParser::parse("int kvcg_argument = " + argument + ";");
    const CgNode* value = nullptr;
    if (!parsed.failed() && parsed.unit.children.size() == 1 && parsed.unit.children[0].children.size() == 2) {
        const CgNode& bound = parsed.unit.children[0].children[1];
        if (!bound.children.empty() && bound.children.back().kind == CgNode::eInitialiser)
            value = &bound.children.back().children[0];
    }
    if (!value) {
        errors_.push_back({entryFunction_->line, "the argument '" + argument + "' that compile binds to '" +
                                                     declarator.text + "' is not an expression"});
        return;
    }
    if (value->kind == CgNode::eName) {
        boundNames_[declarator.text] = value->text;
        return;
    }
    entryPrologue_ += typeText(parameter.children[0].text) + " " + name(declarator.text) + arraySuffix(declarator) +
                      " = " + detachedText(*value) + "; ";
}

void CgHlslWriter::writeVariables(const CgNode& variables)
{
    std::string qualifiers;
    for (const std::string& word : variables.words)
        if (word != "varying" && word != "shared")
            qualifiers += word + " ";
    put(variables.line, qualifiers + typeText(variables.children[0].text));
    for (std::size_t index = 1; index < variables.children.size(); ++index) {
        if (index > 1)
            put(line_, ",");
        writeDeclarator(variables.children[index]);
    }
    put(line_, ";");
}

std::string CgHlslWriter::arraySuffix(const CgNode& declarator)
{
    std::string suffix;
    for (const CgNode& child : declarator.children) {
        if (child.kind != CgNode::eArraySize)
            continue;
        if (child.children.empty()) {
            suffix += "[]";
            continue;
        }
        suffix.append("[").append(detachedText(child.children[0])).append("]");
    }
    return suffix;
}

void CgHlslWriter::writeDeclarator(const CgNode& declarator)
{
    put(declarator.line, name(declarator.text) + arraySuffix(declarator));
    if (!declarator.semantic.empty())
        put(line_, ": " + declarator.semantic);
    for (const CgNode& child : declarator.children) {
        if (child.kind != CgNode::eInitialiser)
            continue;
        if (deferInitialisers_ && child.children[0].kind != CgNode::eInitList) {
            staticInitialisers_ += name(declarator.text) + " = " + detachedText(child.children[0]) + "; ";
            continue;
        }
        put(line_, "=");
        writeExpression(child.children[0]);
    }
}

void CgHlslWriter::writeFunction(const CgNode& function)
{
    const bool isEntry = &function == entryFunction_;
    // Overloads on half or fixed against float are one function once all are
    // float: the first body stands for them all.
    if (function.body()) {
        std::string signature = function.text + "(";
        for (const CgNode& parameter : function.children)
            if (parameter.kind == CgNode::eParameter)
                signature.append(typeText(parameter.children[0].text)).append(arraySuffix(parameter.children[1])).append(",");
        if (!definedSignatures_.insert(signature).second && !isEntry)
            return;
    }
    if (isEntry)
        writeEntryGlobals();
    std::string qualifiers;
    for (const std::string& word : function.words)
        if (word != "noinline")
            qualifiers += word + " ";
    localTypes_.clear();
    walk(function, [&](const CgNode& node) {
        if (node.kind == CgNode::eParameter || node.kind == CgNode::eVariables)
            for (std::size_t index = 1; index < node.children.size(); ++index)
                localTypes_[node.children[index].text] = node.children[0].text;
    });
    put(function.line, qualifiers + typeText(function.children[0].text) + " " + name(function.text) + "(");
    bool first = true;
    for (const CgNode& parameter : function.children) {
        if (parameter.kind != CgNode::eParameter || (isEntry && isUniformParameter(parameter)))
            continue;
        if (!first)
            put(line_, ",");
        first = false;
        std::string words;
        for (const std::string& word : parameter.words)
            if (!(isEntry && word == "uniform"))
                words += word + " ";
        put(parameter.line, words + typeText(parameter.children[0].text));
        writeDeclarator(parameter.children[1]);
    }
    put(line_, ")");
    if (!function.semantic.empty())
        put(line_, ": " + function.semantic);
    const CgNode* body = function.body();
    if (!body) {
        put(line_, ";");
        return;
    }
    put(body->line, "{");
    if (isEntry)
        put(line_, entryPrologue_ + staticInitialisers_);
    writingEntry_ = isEntry;
    for (const CgNode& statement : body->children)
        writeStatement(statement);
    writingEntry_ = false;
    put(line_, "}");
}

void CgHlslWriter::writeStatement(const CgNode& statement)
{
    switch (statement.kind) {
    case CgNode::eBlock:
        put(statement.line, "{");
        for (const CgNode& child : statement.children)
            writeStatement(child);
        put(line_, "}");
        break;
    case CgNode::eVariables:
        writeVariables(statement);
        break;
    case CgNode::eStruct:
    case CgNode::eTypedef:
        writeItem(statement);
        break;
    case CgNode::eExpressionStatement:
        if (!statement.children.empty())
            writeExpression(statement.children[0]);
        put(statement.children.empty() ? statement.line : line_, ";");
        break;
    case CgNode::eIf:
        writeControl(statement, "if");
        if (statement.children.size() > 2) {
            put(line_, "else");
            writeStatement(statement.children[2]);
        }
        break;
    case CgNode::eFor:
        put(statement.line, "for (");
        // The initialiser prints its own ";".
        for (const CgNode& child : statement.children[0].children)
            writeStatement(child);
        if (statement.children[1].kind != CgNode::eEmpty)
            writeExpression(statement.children[1]);
        put(line_, ";");
        if (statement.children[2].kind != CgNode::eEmpty)
            writeExpression(statement.children[2]);
        put(line_, ")");
        writeStatement(statement.children[3]);
        break;
    case CgNode::eWhile:
        writeControl(statement, "while");
        break;
    case CgNode::eDo:
        put(statement.line, "do");
        writeStatement(statement.children[0]);
        put(line_, "while (");
        writeExpression(statement.children[1]);
        put(line_, ");");
        break;
    case CgNode::eSwitch:
        writeControl(statement, "switch");
        break;
    case CgNode::eCase:
        put(statement.line, statement.children.empty() ? "default" : "case");
        if (!statement.children.empty())
            writeExpression(statement.children[0]);
        put(line_, ":");
        break;
    case CgNode::eReturn:
        put(statement.line, "return");
        if (!statement.children.empty())
            writeExpression(statement.children[0]);
        put(line_, ";");
        break;
    case CgNode::eJump:
        put(statement.line, statement.text + ";");
        break;
    case CgNode::eAsm:
        errors_.push_back({statement.line, "assembly blocks are not supported"});
        break;
    default:
        break;
    }
}

// "keyword (condition) body", for if, while and switch.
void CgHlslWriter::writeControl(const CgNode& statement, const std::string& keyword)
{
    put(statement.line, keyword + " (");
    writeExpression(statement.children[0]);
    put(line_, ")");
    writeStatement(statement.children[1]);
}

void CgHlslWriter::writeList(const std::vector<CgNode>& items, std::size_t first)
{
    for (std::size_t index = first; index < items.size(); ++index) {
        if (index > first)
            put(line_, ",");
        writeExpression(items[index]);
    }
}

void CgHlslWriter::writeExpression(const CgNode& expression)
{
    const std::vector<CgNode>& children = expression.children;
    switch (expression.kind) {
    case CgNode::eName: {
        const auto bound = writingEntry_ ? boundNames_.find(expression.text) : boundNames_.end();
        put(expression.line, name(bound == boundNames_.end() ? expression.text : bound->second));
        break;
    }
    case CgNode::eLiteral:
        put(expression.line, literalText(expression.text));
        break;
    case CgNode::eUnary:
        put(expression.line, expression.text);
        writeExpression(children[0]);
        break;
    case CgNode::ePostfix:
        writeExpression(children[0]);
        put(line_, expression.text);
        break;
    case CgNode::eBinary:
    case CgNode::eAssign:
        // GLSL's mod, which HLSL's % becomes on floats, takes the divisor's sign; Cg's % the dividend's.
        if ((expression.text == "%" || expression.text == "%=") &&
            (isFloat(children[0]) || isFloat(children[1]))) {
            libraryCalls_.insert("fmod");
            if (expression.text == "%=") {
                writeExpression(children[0]);
                put(expression.line, "=");
            }
            put(expression.line, CgLibrary::hlslName("fmod") + "(");
            writeList(children, 0);
            put(line_, ")");
            break;
        }
        writeExpression(children[0]);
        put(expression.line, expression.text);
        writeExpression(children[1]);
        break;
    case CgNode::eConditional:
        writeExpression(children[0]);
        put(expression.line, "?");
        writeExpression(children[1]);
        put(line_, ":");
        writeExpression(children[2]);
        break;
    case CgNode::eCall: {
        // The library's helpers, unless the effect defines a function of that name itself.
        std::string callee = CgLibrary::hlslCall(expression.text, children.size());
        if (!callee.empty() && !definesFunction(expression.text))
            libraryCalls_.insert(expression.text);
        else
            callee = name(expression.text);
        put(expression.line, callee + "(");
        writeList(children, 0);
        put(line_, ")");
        break;
    }
    case CgNode::eConstructor:
        put(expression.line, typeText(children[0].text) + "(");
        writeList(children, 1);
        put(line_, ")");
        break;
    case CgNode::eMember:
        if (writeState(expression))
            break;
        writeExpression(children[0]);
        put(expression.line, "." + name(expression.text));
        break;
    case CgNode::eIndex:
        if (writeState(expression))
            break;
        writeExpression(children[0]);
        put(expression.line, "[");
        writeExpression(children[1]);
        put(line_, "]");
        break;
    case CgNode::eCast:
        put(expression.line, "(" + typeText(children[0].text) + ")");
        writeExpression(children[1]);
        break;
    case CgNode::eParenthesised:
        put(expression.line, "(");
        writeExpression(children[0]);
        put(line_, ")");
        break;
    case CgNode::eInitList:
        put(expression.line, "{");
        writeList(children, 0);
        put(line_, "}");
        break;
    default:
        break;
    }
}
