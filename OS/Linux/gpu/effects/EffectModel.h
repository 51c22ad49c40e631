#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// What an effect file declares, as the parser reads it: plain records for the
// effect compiler. Source lines are 1-based lines of the file that held the text,
// after includes, so that messages point where the author looks.

// Constructors rather than aggregates: the optimiser then sees every string
// built, and raises no false alarms about uninitialised members.
struct EffectLocation
{
    EffectLocation() = default;
    EffectLocation(std::string file, unsigned line) : file(std::move(file)), line(line) {}

    std::string file;
    unsigned line = 0;
};

// A warning does not fail a compile: it tells the author that something in
// the file was accepted and ignored.
struct EffectError
{
    enum eSeverity { eError, eWarning };

    EffectError() = default;
    EffectError(EffectLocation location, std::string message, eSeverity severity = eError)
        : location(std::move(location)), message(std::move(message)), severity(severity)
    {
    }

    EffectLocation location;
    std::string message;
    eSeverity severity = eError;
};

// The compiler's listing: one line per error, "file(line) : error: message",
// or per warning, "file(line) : warning: message", the form the effect loader
// cuts back into line and message.
inline std::string effectListing(const std::vector<EffectError>& errors)
{
    std::string listing;
    for (const EffectError& error : errors)
        listing += error.location.file + "(" + std::to_string(error.location.line) +
                   (error.severity == EffectError::eWarning ? ") : warning: " : ") : error: ") + error.message + "\n";
    return listing;
}

// A state's or a constant's name as effect files are matched against: case,
// a "GL_" prefix and underscores do not matter ("GL_CLAMP_TO_EDGE" is "ClampToEdge").
inline std::string effectWord(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (name.rfind("gl_", 0) == 0)
        name.erase(0, 3);
    name.erase(std::remove(name.begin(), name.end(), '_'), name.end());
    return name;
}

struct EffectAnnotation
{
    enum eType { eString, eFloat, eInt, eBool };

    std::string name;
    eType type = eFloat;
    std::string typeName; // as written: "float2", "string"
    std::string text;     // a string's value
    std::vector<double> values; // numbers, ints truncated, bools as 0 and 1
    EffectLocation location;
};

using EffectAnnotations = std::vector<EffectAnnotation>;

inline const EffectAnnotation* findAnnotation(const EffectAnnotations& annotations, const std::string& name)
{
    for (const EffectAnnotation& annotation : annotations)
        if (annotation.name == name)
            return &annotation;
    return nullptr;
}

// One command of a Script annotation, "Name=Value;", with the blanks around
// name and value taken off. The value may be empty ("RenderColorTarget0=;").
struct EffectScriptCommand
{
    std::string name;
    std::string value;
    EffectLocation location;
};

// The commands of the Script annotation of a technique, a pass or the effect,
// in order. Commands the compiler has no use for are kept for the renderer.
struct EffectScript
{
    std::vector<EffectScriptCommand> commands;
};

// A numeric type as Cg spells it: float3x3 has base float, 3 rows, 3 columns;
// float2 has 1 row and 2 columns.
struct EffectType
{
    enum eBase { eFloat, eHalf, eFixed, eDouble, eInt, eUInt, eBool, eString, eOther };

    std::string name;
    eBase base = eOther;
    unsigned rows = 1;
    unsigned columns = 1;
};

struct EffectParameter
{
    std::string name;
    EffectType type;
    std::vector<unsigned> arraySizes; // empty for a single value; 0 for [] with the size from the default
    std::string semantic;
    EffectAnnotations annotations;
    std::string defaultText;      // as written after "=", empty without a default
    std::vector<double> defaults; // the default flattened, when it is a constant expression
    bool isConst = false;
    bool isUniform = false;
    EffectLocation location;
};

struct EffectTexture
{
    std::string name;
    std::string typeName; // texture, texture2D, ...
    std::string semantic;
    EffectAnnotations annotations;
    EffectLocation location;
};

struct EffectState
{
    std::string name; // as written, with any index: "RenderTarget[0]"
    std::string value;
    EffectLocation location;
};

struct EffectSampler
{
    enum eAddressMode { eRepeat, eClampToEdge, eClampToBorder, eMirroredRepeat };

    std::string name;
    std::string typeName; // sampler2D, samplerRECT, ...
    std::string semantic;
    EffectAnnotations annotations;
    std::string texture; // from Texture = <name>
    eAddressMode addressU = eRepeat;
    eAddressMode addressV = eRepeat;
    eAddressMode addressW = eRepeat;
    std::string minFilter;
    std::string magFilter;
    std::string mipFilter;
    std::vector<EffectState> states; // every assignment, in order
    EffectLocation location;
};

struct EffectFunctionParameter
{
    enum eDirection { eIn, eOut, eInOut };

    std::string name;
    std::string typeName;
    std::string semantic;
    eDirection direction = eIn;
    bool isUniform = false;
    std::string text; // the whole declaration
};

// Source text kept for the translator, in file order: structs, static
// constants, typedefs and functions.
struct EffectDeclaration
{
    enum eKind { eStruct, eConstant, eTypedef, eFunction };

    eKind kind = eFunction;
    std::string name;
    std::string text;
    EffectLocation location;
};

struct EffectFunction
{
    std::string name;
    std::string returnType;
    std::string returnSemantic;
    std::vector<EffectFunctionParameter> parameters;
    std::string text; // from the return type to the closing brace
    bool hasBody = true;
    EffectLocation location;
};

struct EffectShaderBinding
{
    enum eStage { eVertex, eFragment };

    eStage stage = eFragment;
    std::string profile;
    std::string entry;                  // empty for "= NULL"
    std::vector<std::string> arguments; // bound uniform arguments, as written
    bool assembly = false;              // "= asm { ... }", kept as no text
    EffectLocation location;
};

struct EffectPass
{
    std::string name;
    EffectAnnotations annotations;
    EffectScript script;
    std::vector<EffectShaderBinding> shaders;
    std::vector<EffectState> states; // render states other than the shaders
    EffectLocation location;
};

struct EffectTechnique
{
    std::string name;
    EffectAnnotations annotations;
    EffectScript script;
    std::vector<EffectPass> passes;
    EffectLocation location;
};

// One of the effect's textures, samplers or parameters, by its index in the
// model's list of that kind.
struct EffectGlobal
{
    enum eKind { eTexture, eSampler, eParameter };

    eKind kind = eParameter;
    std::size_t index = 0;
};

struct EffectModel
{
    std::vector<EffectGlobal> globals; // textures, samplers and parameters in the order the file declares them
    std::vector<EffectTexture> textures;
    std::vector<EffectSampler> samplers;
    std::vector<EffectParameter> parameters;
    std::vector<EffectDeclaration> declarations;
    std::vector<EffectFunction> functions;
    std::vector<EffectTechnique> techniques;
    EffectScript script; // of the parameter whose semantic is STANDARDSGLOBAL
    std::vector<EffectError> errors;

    bool failed() const { return !errors.empty(); }
};
