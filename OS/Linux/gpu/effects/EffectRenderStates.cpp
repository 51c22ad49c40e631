#include "EffectRenderStates.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>

namespace {

// What an assignment sets. The argument of a state says where, when a meaning
// serves several states.
enum class eMeaning {
    ignored,
    separateAlphaBlend, // Direct3D's switches, read once
    twoSidedStencil,
    enable, // argument: the capability
    blendFunc,
    blendFuncSeparate,
    blendFactor, // Direct3D's one at a time; argument: source, destination, source alpha, destination alpha
    blendEquation,
    blendEquationSeparate,
    blendOperation, // Direct3D's; argument: colour or alpha
    blendColour,
    colourMask, // argument: the draw buffer, or every one
    depthMask,
    depthFunc,
    depthRange,
    depthBias, // Direct3D's; argument: slope factor or units
    cullFace,
    cullMode,
    frontFace,
    polygonMode,
    fillMode,
    polygonOffset,
    alphaFunc,
    alphaReference,
    stencilFunc,
    stencilFuncSeparate,
    stencilFunction, // Direct3D's comparison alone; argument: 1 for the counter-clockwise face
    stencilReference,
    stencilOp,
    stencilOpSeparate,
    stencilOperation, // Direct3D's; argument: fail, depth fail, pass, then the same counter-clockwise
    stencilMask,
    stencilMaskSeparate,
    scissor,
    lineWidth,
    lineStipple,
    pointSize,
    shadeModel,
    logicOp,
};

// How one item of a value reads.
enum class eItem {
    flag,
    number,
    integer,
    byteFraction, // 0 to 255, as a fraction of 255
    packedColour, // 0xAARRGGBB, as four numbers
    colourWrites, // "RED | GREEN" or a bit mask, as four flags
    blendFactor,
    blendOperation,
    comparison,
    face,
    winding,
    cullMode,
    fill,
    stencilOperation,
    direct3DStencilOperation,
    logicOperation,
    shading,
};

constexpr GLenum kEveryBuffer = ~GLenum(0);

struct Shape
{
    const char* name; // as effectWord spells it
    eMeaning meaning;
    std::vector<eItem> items;
    GLenum argument = 0;
};

using eItem::flag;
using eItem::number;
using eItem::integer;

// Every name either runtime knows. A name listed twice takes values of two
// shapes: Direct3D's single comparison or Cg's pair for AlphaFunc, for instance.
// The ignored ones come last and take any value.
std::vector<Shape> knownShapes()
{
    using enum eMeaning;
    std::vector<Shape> known = {
        {"blendenable", enable, {flag}, GL_BLEND},
        {"alphablendenable", enable, {flag}, GL_BLEND},
        {"blendfunc", blendFunc, {eItem::blendFactor, eItem::blendFactor}},
        {"blendfuncseparate", blendFuncSeparate,
         {eItem::blendFactor, eItem::blendFactor, eItem::blendFactor, eItem::blendFactor}},
        {"srcblend", blendFactor, {eItem::blendFactor}, 0},
        {"destblend", blendFactor, {eItem::blendFactor}, 1},
        {"srcblendalpha", blendFactor, {eItem::blendFactor}, 2},
        {"destblendalpha", blendFactor, {eItem::blendFactor}, 3},
        {"separatealphablendenable", separateAlphaBlend, {flag}},
        {"blendequation", blendEquation, {eItem::blendOperation}},
        {"blendequationseparate", blendEquationSeparate, {eItem::blendOperation, eItem::blendOperation}},
        {"blendop", blendOperation, {eItem::blendOperation}, 0},
        {"blendopalpha", blendOperation, {eItem::blendOperation}, 1},
        {"blendcolor", blendColour, {number, number, number, number}},
        {"blendfactor", blendColour, {eItem::packedColour}},
        {"blendfactor", blendColour, {number, number, number, number}},

        {"colormask", colourMask, {flag, flag, flag, flag}, kEveryBuffer},
        {"colorwriteenable", colourMask, {eItem::colourWrites}, 0},
        {"colorwriteenable", colourMask, {flag, flag, flag, flag}, 0},
        {"colorwriteenable1", colourMask, {eItem::colourWrites}, 1},
        {"colorwriteenable2", colourMask, {eItem::colourWrites}, 2},
        {"colorwriteenable3", colourMask, {eItem::colourWrites}, 3},

        {"depthtestenable", enable, {flag}, GL_DEPTH_TEST},
        {"zenable", enable, {flag}, GL_DEPTH_TEST},
        {"depthmask", depthMask, {flag}},
        {"zwriteenable", depthMask, {flag}},
        {"depthfunc", depthFunc, {eItem::comparison}},
        {"zfunc", depthFunc, {eItem::comparison}},
        {"depthrange", depthRange, {number, number}},
        {"depthclampenable", enable, {flag}, GL_DEPTH_CLAMP},
        {"slopscaledepthbias", depthBias, {number}, 0},
        {"slopescaledepthbias", depthBias, {number}, 0},
        {"depthbias", depthBias, {number}, 1},

        {"cullfaceenable", enable, {flag}, GL_CULL_FACE},
        {"cullface", cullFace, {eItem::face}},
        {"cullmode", cullMode, {eItem::cullMode}},
        {"frontface", frontFace, {eItem::winding}},
        {"polygonmode", polygonMode, {eItem::face, eItem::fill}},
        {"fillmode", fillMode, {eItem::fill}},
        {"polygonoffset", polygonOffset, {number, number}},
        {"polygonoffsetfillenable", enable, {flag}, GL_POLYGON_OFFSET_FILL},
        {"polygonoffsetlineenable", enable, {flag}, GL_POLYGON_OFFSET_LINE},
        {"polygonoffsetpointenable", enable, {flag}, GL_POLYGON_OFFSET_POINT},

        {"alphatestenable", enable, {flag}, GL_ALPHA_TEST},
        {"alphafunc", alphaFunc, {eItem::comparison, number}},
        {"alphafunc", alphaFunc, {eItem::comparison}},
        {"alpharef", alphaReference, {eItem::byteFraction}},

        {"stenciltestenable", enable, {flag}, GL_STENCIL_TEST},
        {"stencilenable", enable, {flag}, GL_STENCIL_TEST},
        {"twosidedstencilmode", twoSidedStencil, {flag}},
        {"stencilfunc", stencilFunc, {eItem::comparison, integer, integer}},
        {"stencilfunc", stencilFunction, {eItem::comparison}, 0},
        {"ccwstencilfunc", stencilFunction, {eItem::comparison}, 1},
        {"stencilfuncseparate", stencilFuncSeparate, {eItem::face, eItem::comparison, integer, integer}},
        {"stencilref", stencilReference, {integer}},
        {"stencilop", stencilOp, {eItem::stencilOperation, eItem::stencilOperation, eItem::stencilOperation}},
        {"stencilopseparate", stencilOpSeparate,
         {eItem::face, eItem::stencilOperation, eItem::stencilOperation, eItem::stencilOperation}},
        {"stencilfail", stencilOperation, {eItem::direct3DStencilOperation}, 0},
        {"stencilzfail", stencilOperation, {eItem::direct3DStencilOperation}, 1},
        {"stencilpass", stencilOperation, {eItem::direct3DStencilOperation}, 2},
        {"ccwstencilfail", stencilOperation, {eItem::direct3DStencilOperation}, 3},
        {"ccwstencilzfail", stencilOperation, {eItem::direct3DStencilOperation}, 4},
        {"ccwstencilpass", stencilOperation, {eItem::direct3DStencilOperation}, 5},
        // OpenGL's meaning, the write mask: Direct3D's read mask has no OpenGL name.
        {"stencilmask", stencilMask, {integer}},
        {"stencilwritemask", stencilMask, {integer}},
        {"stencilmaskseparate", stencilMaskSeparate, {eItem::face, integer}},

        {"scissortestenable", enable, {flag}, GL_SCISSOR_TEST},
        {"scissor", scissor, {integer, integer, integer, integer}},
        {"ditherenable", enable, {flag}, GL_DITHER},
        {"linewidth", lineWidth, {number}},
        {"linesmoothenable", enable, {flag}, GL_LINE_SMOOTH},
        {"antialiasedlineenable", enable, {flag}, GL_LINE_SMOOTH},
        {"linestippleenable", enable, {flag}, GL_LINE_STIPPLE},
        {"linestipple", lineStipple, {integer, integer}},
        {"pointsize", pointSize, {number}},
        {"pointsmoothenable", enable, {flag}, GL_POINT_SMOOTH},
        {"polygonsmoothenable", enable, {flag}, GL_POLYGON_SMOOTH},
        {"multisampleenable", enable, {flag}, GL_MULTISAMPLE},
        {"multisampleantialias", enable, {flag}, GL_MULTISAMPLE},
        {"samplealphatocoverageenable", enable, {flag}, GL_SAMPLE_ALPHA_TO_COVERAGE},
        {"samplealphatooneenable", enable, {flag}, GL_SAMPLE_ALPHA_TO_ONE},
        {"samplecoverageenable", enable, {flag}, GL_SAMPLE_COVERAGE},
        {"colorlogicopenable", enable, {flag}, GL_COLOR_LOGIC_OP},
        {"logicopenable", enable, {flag}, GL_COLOR_LOGIC_OP},
        {"logicop", logicOp, {eItem::logicOperation}},
        {"shademodel", shadeModel, {eItem::shading}},
        {"shademode", shadeModel, {eItem::shading}},
        {"vertexprogrampointsizeenable", enable, {flag}, GL_VERTEX_PROGRAM_POINT_SIZE},
        {"vertexprogramtwosideenable", enable, {flag}, GL_VERTEX_PROGRAM_TWO_SIDE},
    };
    for (const char* name : {
             // Fixed-function lighting and materials.
             "lighting", "lightingenable", "lightenable", "lighttype", "lightambient", "lightdiffuse",
             "lightspecular", "lightposition", "lightdirection", "lightrange", "lightfalloff", "lightattenuation0",
             "lightattenuation1", "lightattenuation2", "lighttheta", "lightphi", "lightconstantattenuation",
             "lightlinearattenuation", "lightquadraticattenuation", "lightspotcutoff", "lightspotdirection",
             "lightspotexponent", "lightmodelambient", "lightmodelcolorcontrol", "lightmodellocalviewerenable",
             "lightmodeltwosideenable", "ambient", "specularenable", "localviewer", "normalizenormals",
             "normalizeenable", "rescalenormalenable", "autonormalenable", "colorvertex", "colormaterial",
             "diffusematerialsource", "specularmaterialsource", "ambientmaterialsource", "emissivematerialsource",
             "materialambient", "materialdiffuse", "materialspecular", "materialemission", "materialemissive",
             "materialpower", "materialshininess",
             // Fog.
             "fogenable", "fogcolor", "fogtablemode", "fogvertexmode", "fogstart", "fogend", "fogdensity", "fogmode",
             "fogcoordsrc", "fogdistancemode", "rangefogenable",
             // Texture stages, and the textures and samplers a pass binds: the
             // programs read their samplers themselves.
             "colorop", "colorarg0", "colorarg1", "colorarg2", "alphaop", "alphaarg0", "alphaarg1", "alphaarg2",
             "resultarg", "texcoordindex", "texturetransformflags", "bumpenvmat00", "bumpenvmat01", "bumpenvmat10",
             "bumpenvmat11", "bumpenvlscale", "bumpenvloffset", "texturefactor", "textureenvcolor", "textureenvmode",
             "texture", "texture1d", "texture2d", "texture3d", "texturerectangle", "texturecubemap",
             "texture1denable", "texture2denable", "texture3denable", "texturerectangleenable",
             "texturecubemapenable", "sampler", "addressu", "addressv", "addressw", "bordercolor", "magfilter",
             "minfilter", "mipfilter", "mipmaplodbias", "maxmiplevel", "maxanisotropy", "srgbtexture", "elementindex",
             "dmapoffset", "wrap0", "wrap1", "wrap2", "wrap3", "wrap4", "wrap5", "wrap6", "wrap7", "wrap8", "wrap9",
             "wrap10", "wrap11", "wrap12", "wrap13", "wrap14", "wrap15",
             // Texture coordinate generation.
             "texgensmode", "texgentmode", "texgenrmode", "texgenqmode", "texgensenable", "texgentenable",
             "texgenrenable", "texgenqenable", "texgensobjectplane", "texgentobjectplane", "texgenrobjectplane",
             "texgenqobjectplane", "texgenseyeplane", "texgenteyeplane", "texgenreyeplane", "texgenqeyeplane",
             // Transforms.
             "worldtransform", "viewtransform", "projectiontransform", "texturetransform", "modelviewmatrix",
             "modelviewtransform", "projectionmatrix", "texturematrix", "colormatrix", "colortransform",
             // Shader constants set outside the parameters, and stages the passes do not run.
             "vertexshaderconstant", "vertexshaderconstant1", "vertexshaderconstant2", "vertexshaderconstant3",
             "vertexshaderconstant4", "vertexshaderconstantb", "vertexshaderconstantf", "vertexshaderconstanti",
             "pixelshaderconstant", "pixelshaderconstant1", "pixelshaderconstant2", "pixelshaderconstant3",
             "pixelshaderconstant4", "pixelshaderconstantb", "pixelshaderconstantf", "pixelshaderconstanti",
             "vertexenvparameter", "vertexlocalparameter", "fragmentenvparameter", "fragmentlocalparameter",
             "geometryprogram", "geometryshader", "tessellationcontrolprogram", "tessellationevaluationprogram",
             // Vertex blending and tessellation.
             "vertexblend", "indexedvertexblendenable", "tweenfactor", "patchsegments", "patchedgestyle",
             "positiondegree", "normaldegree", "mintessellationlevel", "maxtessellationlevel", "adaptivetessx",
             "adaptivetessy", "adaptivetessz", "adaptivetessw", "enableadaptivetessellation",
             // Clip planes, point sprites and the rest.
             "clipping", "clipplane", "clipplaneenable", "pointspriteenable", "pointscaleenable", "pointscalea",
             "pointscaleb", "pointscalec", "pointsizemin", "pointsizemax", "pointdistanceattenuation",
             "pointfadethresholdsize", "pointspritecoordorigin", "pointspritecoordreplace", "pointspritermode",
             "lastpixel", "multisamplemask", "debugmonitortoken", "srgbwriteenable", "depthboundsenable",
             "depthbounds", "clearcolor", "cleardepth", "clearstencil", "polygonstippleenable",
             "stenciltesttwosideenable", "fvf"})
        known.push_back({name, ignored, {}});
    return known;
}

const std::vector<Shape>& shapes()
{
    static const std::vector<Shape> known = knownShapes();
    return known;
}

// The constants of each enumerated kind, as effectWord spells them: OpenGL's
// names and Direct3D's.
const std::map<std::string, GLenum>& constantsOf(eItem kind)
{
    static const std::map<eItem, std::map<std::string, GLenum>> constants = {
        {eItem::blendFactor,
         {{"zero", GL_ZERO},
          {"one", GL_ONE},
          {"srccolor", GL_SRC_COLOR},
          {"oneminussrccolor", GL_ONE_MINUS_SRC_COLOR},
          {"invsrccolor", GL_ONE_MINUS_SRC_COLOR},
          {"srcalpha", GL_SRC_ALPHA},
          {"oneminussrcalpha", GL_ONE_MINUS_SRC_ALPHA},
          {"invsrcalpha", GL_ONE_MINUS_SRC_ALPHA},
          {"dstcolor", GL_DST_COLOR},
          {"destcolor", GL_DST_COLOR},
          {"oneminusdstcolor", GL_ONE_MINUS_DST_COLOR},
          {"invdestcolor", GL_ONE_MINUS_DST_COLOR},
          {"dstalpha", GL_DST_ALPHA},
          {"destalpha", GL_DST_ALPHA},
          {"oneminusdstalpha", GL_ONE_MINUS_DST_ALPHA},
          {"invdestalpha", GL_ONE_MINUS_DST_ALPHA},
          {"srcalphasaturate", GL_SRC_ALPHA_SATURATE},
          {"srcalphasat", GL_SRC_ALPHA_SATURATE},
          {"constantcolor", GL_CONSTANT_COLOR},
          {"blendfactor", GL_CONSTANT_COLOR},
          {"oneminusconstantcolor", GL_ONE_MINUS_CONSTANT_COLOR},
          {"invblendfactor", GL_ONE_MINUS_CONSTANT_COLOR},
          {"constantalpha", GL_CONSTANT_ALPHA},
          {"oneminusconstantalpha", GL_ONE_MINUS_CONSTANT_ALPHA}}},
        {eItem::blendOperation,
         {{"funcadd", GL_FUNC_ADD},
          {"add", GL_FUNC_ADD},
          {"funcsubtract", GL_FUNC_SUBTRACT},
          {"subtract", GL_FUNC_SUBTRACT},
          {"funcreversesubtract", GL_FUNC_REVERSE_SUBTRACT},
          {"reversesubtract", GL_FUNC_REVERSE_SUBTRACT},
          {"revsubtract", GL_FUNC_REVERSE_SUBTRACT},
          {"min", GL_MIN},
          {"max", GL_MAX}}},
        {eItem::comparison,
         {{"never", GL_NEVER},
          {"less", GL_LESS},
          {"lequal", GL_LEQUAL},
          {"lessequal", GL_LEQUAL},
          {"equal", GL_EQUAL},
          {"greater", GL_GREATER},
          {"notequal", GL_NOTEQUAL},
          {"gequal", GL_GEQUAL},
          {"greaterequal", GL_GEQUAL},
          {"always", GL_ALWAYS}}},
        {eItem::face, {{"front", GL_FRONT}, {"back", GL_BACK}, {"frontandback", GL_FRONT_AND_BACK}}},
        {eItem::winding, {{"cw", GL_CW}, {"ccw", GL_CCW}}},
        // Direct3D names the winding culled; OpenGL's names the faces.
        {eItem::cullMode,
         {{"none", GL_NONE},
          {"cw", GL_CW},
          {"ccw", GL_CCW},
          {"front", GL_FRONT},
          {"back", GL_BACK},
          {"frontandback", GL_FRONT_AND_BACK}}},
        {eItem::fill,
         {{"point", GL_POINT}, {"line", GL_LINE}, {"fill", GL_FILL}, {"wireframe", GL_LINE}, {"solid", GL_FILL}}},
        {eItem::stencilOperation,
         {{"keep", GL_KEEP},
          {"zero", GL_ZERO},
          {"replace", GL_REPLACE},
          {"incr", GL_INCR},
          {"decr", GL_DECR},
          {"invert", GL_INVERT},
          {"incrwrap", GL_INCR_WRAP},
          {"decrwrap", GL_DECR_WRAP}}},
        // Direct3D's Incr wraps where OpenGL's saturates.
        {eItem::direct3DStencilOperation,
         {{"keep", GL_KEEP},
          {"zero", GL_ZERO},
          {"replace", GL_REPLACE},
          {"incrsat", GL_INCR},
          {"decrsat", GL_DECR},
          {"invert", GL_INVERT},
          {"incr", GL_INCR_WRAP},
          {"decr", GL_DECR_WRAP}}},
        {eItem::logicOperation,
         {{"clear", GL_CLEAR},
          {"and", GL_AND},
          {"andreverse", GL_AND_REVERSE},
          {"copy", GL_COPY},
          {"andinverted", GL_AND_INVERTED},
          {"noop", GL_NOOP},
          {"xor", GL_XOR},
          {"or", GL_OR},
          {"nor", GL_NOR},
          {"equiv", GL_EQUIV},
          {"invert", GL_INVERT},
          {"orreverse", GL_OR_REVERSE},
          {"copyinverted", GL_COPY_INVERTED},
          {"orinverted", GL_OR_INVERTED},
          {"nand", GL_NAND},
          {"set", GL_SET}}},
        {eItem::shading, {{"flat", GL_FLAT}, {"smooth", GL_SMOOTH}, {"gouraud", GL_SMOOTH}, {"phong", GL_SMOOTH}}},
    };
    static const std::map<std::string, GLenum> none;
    const auto found = constants.find(kind);
    return found == constants.end() ? none : found->second;
}

std::string trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The items of a value: "int2(SrcAlpha, One)", "{1, 0}" and "true" give their parts.
std::vector<std::string> itemsOf(const std::string& value)
{
    std::string inside = value;
    const size_t open = inside.find_first_of("({");
    if (open != std::string::npos) {
        const size_t close = inside.find_last_of(")}");
        inside = close != std::string::npos && close > open ? inside.substr(open + 1, close - open - 1) : std::string();
    }
    std::vector<std::string> items;
    size_t start = 0;
    for (;;) {
        const size_t comma = inside.find(',', start);
        items.push_back(trimmed(inside.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
        if (comma == std::string::npos)
            return items;
        start = comma + 1;
    }
}

// A number OpenGL can take as a float.
bool numberOf(const std::string& text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && end != text.c_str() && std::fabs(value) <= std::numeric_limits<GLfloat>::max() &&
           (*end == '\0' || ((*end == 'f' || *end == 'h') && end[1] == '\0'));
}

// A whole number that fits 32 bits, signed or not: masks are written either way.
bool integerOf(const std::string& text, double& value, double lowest = -2147483648.0, double highest = 4294967295.0)
{
    return numberOf(text, value) && value == std::floor(value) && value >= lowest && value <= highest;
}

// One item as the numbers OpenGL takes, appended to values; false when the
// kind has no such value.
bool decode(const std::string& item, eItem kind, std::vector<double>& values)
{
    const std::string word = effectWord(item);
    double value = 0;
    switch (kind) {
    case eItem::flag:
        if (word == "true" || word == "false")
            value = word == "true" ? 1 : 0;
        else if (numberOf(word, value))
            value = value != 0 ? 1 : 0;
        else
            return false;
        break;
    case eItem::number:
        if (!numberOf(word, value))
            return false;
        break;
    case eItem::integer:
        if (!integerOf(word, value))
            return false;
        break;
    case eItem::byteFraction:
        if (!integerOf(word, value, 0, 255))
            return false;
        value /= 255;
        break;
    case eItem::packedColour: {
        if (!integerOf(word, value, 0))
            return false;
        const auto packed = std::uint32_t(value);
        for (const int shift : {16, 8, 0, 24})
            values.push_back(double((packed >> shift) & 0xff) / 255);
        return true;
    }
    case eItem::colourWrites: {
        static const std::map<std::string, unsigned> channels = {{"red", 1}, {"green", 2}, {"blue", 4}, {"alpha", 8}};
        unsigned mask = 0;
        size_t start = 0;
        for (size_t bar = 0; bar != std::string::npos; start = bar + 1) {
            bar = word.find('|', start);
            const std::string part = trimmed(word.substr(start, bar == std::string::npos ? bar : bar - start));
            const auto channel = channels.find(part);
            if (channel != channels.end())
                mask |= channel->second;
            else if (integerOf(part, value, 0, 15))
                mask |= unsigned(value);
            else
                return false;
        }
        for (const unsigned bit : {1u, 2u, 4u, 8u})
            values.push_back((mask & bit) != 0 ? 1 : 0);
        return true;
    }
    default: {
        const auto& constants = constantsOf(kind);
        const auto found = constants.find(word);
        if (found == constants.end())
            return false;
        value = found->second;
        break;
    }
    }
    values.push_back(value);
    return true;
}

GLbitfield attributesOf(eMeaning meaning)
{
    switch (meaning) {
    case eMeaning::enable: return GL_ENABLE_BIT;
    case eMeaning::depthMask:
    case eMeaning::depthFunc: return GL_DEPTH_BUFFER_BIT;
    case eMeaning::depthRange: return GL_VIEWPORT_BIT;
    case eMeaning::cullFace:
    case eMeaning::frontFace:
    case eMeaning::polygonMode:
    case eMeaning::fillMode:
    case eMeaning::polygonOffset: return GL_POLYGON_BIT;
    case eMeaning::cullMode:
    case eMeaning::depthBias: return GL_POLYGON_BIT | GL_ENABLE_BIT;
    case eMeaning::stencilFunc:
    case eMeaning::stencilFuncSeparate:
    case eMeaning::stencilFunction:
    case eMeaning::stencilReference:
    case eMeaning::stencilOp:
    case eMeaning::stencilOpSeparate:
    case eMeaning::stencilOperation:
    case eMeaning::stencilMask:
    case eMeaning::stencilMaskSeparate: return GL_STENCIL_BUFFER_BIT;
    case eMeaning::scissor: return GL_SCISSOR_BIT;
    case eMeaning::lineWidth:
    case eMeaning::lineStipple: return GL_LINE_BIT;
    case eMeaning::pointSize: return GL_POINT_BIT;
    case eMeaning::shadeModel: return GL_LIGHTING_BIT;
    default: return GL_COLOR_BUFFER_BIT;
    }
}

GLint integerState(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

GLfloat floatState(GLenum name)
{
    GLfloat value = 0;
    glGetFloatv(name, &value);
    return value;
}

// A stencil face as OpenGL holds it now.
struct StencilFace
{
    explicit StencilFace(GLenum face) : face(face)
    {
        const bool back = face == GL_BACK;
        function = integerState(back ? GL_STENCIL_BACK_FUNC : GL_STENCIL_FUNC);
        reference = integerState(back ? GL_STENCIL_BACK_REF : GL_STENCIL_REF);
        mask = integerState(back ? GL_STENCIL_BACK_VALUE_MASK : GL_STENCIL_VALUE_MASK);
        operations[0] = integerState(back ? GL_STENCIL_BACK_FAIL : GL_STENCIL_FAIL);
        operations[1] = integerState(back ? GL_STENCIL_BACK_PASS_DEPTH_FAIL : GL_STENCIL_PASS_DEPTH_FAIL);
        operations[2] = integerState(back ? GL_STENCIL_BACK_PASS_DEPTH_PASS : GL_STENCIL_PASS_DEPTH_PASS);
    }

    void set() const
    {
        glStencilFuncSeparate(face, GLenum(function), reference, GLuint(mask));
        glStencilOpSeparate(face, GLenum(operations[0]), GLenum(operations[1]), GLenum(operations[2]));
    }

    GLenum face;
    GLint function, reference, mask;
    GLint operations[3]; // fail, depth fail, pass
};

} // namespace

EffectRenderStates::EffectRenderStates(const std::vector<EffectState>& states, std::vector<EffectError>& errors)
{
    const std::vector<Shape>& known = shapes();
    for (const EffectState& assignment : states) {
        const std::string& name = assignment.name;
        const auto fail = [&](const std::string& message) { errors.emplace_back(assignment.location, message); };
        // "LightEnable[0]": only the ignored states may take an index.
        std::string word = effectWord(name);
        const size_t open = word.find('[');
        const bool indexed = open != std::string::npos;
        const std::string index = indexed ? trimmed(word.substr(open + 1, word.rfind(']') - open - 1)) : "";
        word = trimmed(word.substr(0, open));
        const auto named = [&](const Shape& shape) { return word == shape.name; };
        auto shape = std::find_if(known.begin(), known.end(), named);
        if (shape == known.end()) {
            fail("unknown render state '" + name + "'");
            continue;
        }
        if (indexed && (index.empty() || index.find_first_not_of("0123456789") != std::string::npos)) {
            fail("the index of the render state " + name + " is not a whole number");
            continue;
        }
        const std::string cannotTake = "the render state " + name + " cannot take the value '" + assignment.value + "'";
        if (shape->meaning == eMeaning::ignored) {
            if (trimmed(assignment.value).empty())
                fail(cannotTake);
            else
                errors.emplace_back(assignment.location, "render state '" + name + "' ignored", EffectError::eWarning);
            continue;
        }
        if (indexed) {
            fail("the render state " + name + " takes no index");
            continue;
        }
        const std::vector<std::string> items = itemsOf(assignment.value);
        State state{};
        bool valid = false;
        for (; !valid && shape != known.end(); shape = std::find_if(shape + 1, known.end(), named)) {
            if (shape->items.size() != items.size())
                continue;
            state = {int(shape->meaning), shape->argument, {}};
            valid = true;
            for (size_t item = 0; valid && item < items.size(); ++item)
                valid = decode(items[item], shape->items[item], state.values);
        }
        if (!valid) {
            fail(cannotTake);
            continue;
        }
        const auto meaning = eMeaning(state.meaning);
        if (meaning == eMeaning::separateAlphaBlend)
            separateAlphaBlend_ = state.values[0] != 0;
        else if (meaning == eMeaning::twoSidedStencil)
            twoSidedStencil_ = state.values[0] != 0;
        else {
            attributes_ |= attributesOf(meaning);
            setsBlendEquations_ |= meaning == eMeaning::blendEquation || meaning == eMeaning::blendEquationSeparate ||
                                   meaning == eMeaning::blendOperation;
            states_.push_back(std::move(state));
        }
    }
}

void EffectRenderStates::apply() const
{
    if (states_.empty())
        return;
    glPushAttrib(attributes_);
    if (setsBlendEquations_) {
        glGetIntegerv(GL_BLEND_EQUATION_RGB, &blendEquations_[0]);
        glGetIntegerv(GL_BLEND_EQUATION_ALPHA, &blendEquations_[1]);
    }
    for (const State& state : states_)
        set(state);
}

void EffectRenderStates::reset() const
{
    if (states_.empty())
        return;
    glPopAttrib();
    // Mesa's attribute stack leaves the alpha equation as it is when the saved
    // colour and alpha equations were equal and the colour one did not change.
    if (setsBlendEquations_)
        glBlendEquationSeparate(GLenum(blendEquations_[0]), GLenum(blendEquations_[1]));
}

std::vector<GLenum> EffectRenderStates::direct3DStencilFaces(bool counterClockwise) const
{
    if (!twoSidedStencil_)
        return counterClockwise ? std::vector<GLenum>{} : std::vector<GLenum>{GL_FRONT, GL_BACK};
    const bool frontIsCounterClockwise = integerState(GL_FRONT_FACE) == GL_CCW;
    return {counterClockwise == frontIsCounterClockwise ? GLenum(GL_FRONT) : GLenum(GL_BACK)};
}

void EffectRenderStates::set(const State& state) const
{
    const std::vector<double>& v = state.values;
    const auto enumAt = [&](size_t index) { return GLenum(v[index]); };
    const auto floatAt = [&](size_t index) { return GLfloat(v[index]); };
    const auto intAt = [&](size_t index) { return GLint(std::int64_t(v[index])); };
    const auto maskAt = [&](size_t index) { return GLuint(std::int64_t(v[index])); };
    const auto flagAt = [&](size_t index) { return GLboolean(v[index] != 0 ? GL_TRUE : GL_FALSE); };
    switch (eMeaning(state.meaning)) {
    case eMeaning::ignored:
    case eMeaning::separateAlphaBlend:
    case eMeaning::twoSidedStencil: break;
    case eMeaning::enable: v[0] != 0 ? glEnable(state.argument) : glDisable(state.argument); break;
    case eMeaning::blendFunc: glBlendFunc(enumAt(0), enumAt(1)); break;
    case eMeaning::blendFuncSeparate: glBlendFuncSeparate(enumAt(0), enumAt(1), enumAt(2), enumAt(3)); break;
    case eMeaning::blendFactor: {
        // Without the separate alpha switch, a colour factor is the alpha factor too
        // and the alpha factors are not used.
        if (state.argument >= 2 && !separateAlphaBlend_)
            break;
        GLenum factors[4];
        const GLenum names[4] = {GL_BLEND_SRC_RGB, GL_BLEND_DST_RGB, GL_BLEND_SRC_ALPHA, GL_BLEND_DST_ALPHA};
        for (size_t index = 0; index < 4; ++index)
            factors[index] = GLenum(integerState(names[index]));
        factors[state.argument] = enumAt(0);
        if (!separateAlphaBlend_)
            factors[state.argument + 2] = enumAt(0);
        glBlendFuncSeparate(factors[0], factors[1], factors[2], factors[3]);
        break;
    }
    case eMeaning::blendEquation: glBlendEquation(enumAt(0)); break;
    case eMeaning::blendEquationSeparate: glBlendEquationSeparate(enumAt(0), enumAt(1)); break;
    case eMeaning::blendOperation: {
        if (state.argument == 1 && !separateAlphaBlend_)
            break;
        GLenum operations[2] = {GLenum(integerState(GL_BLEND_EQUATION_RGB)),
                                GLenum(integerState(GL_BLEND_EQUATION_ALPHA))};
        operations[state.argument] = enumAt(0);
        if (!separateAlphaBlend_)
            operations[1] = enumAt(0);
        glBlendEquationSeparate(operations[0], operations[1]);
        break;
    }
    case eMeaning::blendColour: glBlendColor(floatAt(0), floatAt(1), floatAt(2), floatAt(3)); break;
    case eMeaning::colourMask:
        // One mask per draw buffer needs OpenGL 3; before it, only the first buffer's can be set.
        if (state.argument == kEveryBuffer || (state.argument == 0 && epoxy_gl_version() < 30))
            glColorMask(flagAt(0), flagAt(1), flagAt(2), flagAt(3));
        else if (epoxy_gl_version() >= 30)
            glColorMaski(state.argument, flagAt(0), flagAt(1), flagAt(2), flagAt(3));
        break;
    case eMeaning::depthMask: glDepthMask(flagAt(0)); break;
    case eMeaning::depthFunc: glDepthFunc(enumAt(0)); break;
    case eMeaning::depthRange: glDepthRange(v[0], v[1]); break;
    case eMeaning::depthBias: {
        GLfloat offset[2] = {floatState(GL_POLYGON_OFFSET_FACTOR), floatState(GL_POLYGON_OFFSET_UNITS)};
        offset[state.argument] = floatAt(0);
        glPolygonOffset(offset[0], offset[1]);
        // Direct3D's bias holds in every fill mode.
        for (const GLenum mode : {GL_POLYGON_OFFSET_FILL, GL_POLYGON_OFFSET_LINE, GL_POLYGON_OFFSET_POINT})
            glEnable(mode);
        break;
    }
    case eMeaning::cullFace: glCullFace(enumAt(0)); break;
    case eMeaning::cullMode:
        if (enumAt(0) == GL_NONE) {
            glDisable(GL_CULL_FACE);
            break;
        }
        glEnable(GL_CULL_FACE);
        if (enumAt(0) == GL_CW || enumAt(0) == GL_CCW) {
            // The winding culled is the back faces'.
            glFrontFace(enumAt(0) == GL_CW ? GL_CCW : GL_CW);
            glCullFace(GL_BACK);
        } else {
            glCullFace(enumAt(0));
        }
        break;
    case eMeaning::frontFace: glFrontFace(enumAt(0)); break;
    case eMeaning::polygonMode: glPolygonMode(enumAt(0), enumAt(1)); break;
    case eMeaning::fillMode: glPolygonMode(GL_FRONT_AND_BACK, enumAt(0)); break;
    case eMeaning::polygonOffset: glPolygonOffset(floatAt(0), floatAt(1)); break;
    case eMeaning::alphaFunc: glAlphaFunc(enumAt(0), v.size() > 1 ? floatAt(1) : floatState(GL_ALPHA_TEST_REF)); break;
    case eMeaning::alphaReference: glAlphaFunc(GLenum(integerState(GL_ALPHA_TEST_FUNC)), floatAt(0)); break;
    case eMeaning::stencilFunc: glStencilFunc(enumAt(0), intAt(1), maskAt(2)); break;
    case eMeaning::stencilFuncSeparate: glStencilFuncSeparate(enumAt(0), enumAt(1), intAt(2), maskAt(3)); break;
    case eMeaning::stencilFunction:
    case eMeaning::stencilReference:
    case eMeaning::stencilOperation: {
        const auto meaning = eMeaning(state.meaning);
        // Direct3D has one reference for both faces.
        std::vector<GLenum> faces{GL_FRONT, GL_BACK};
        if (meaning == eMeaning::stencilFunction)
            faces = direct3DStencilFaces(state.argument == 1);
        else if (meaning == eMeaning::stencilOperation)
            faces = direct3DStencilFaces(state.argument >= 3);
        for (const GLenum face : faces) {
            StencilFace stencil(face);
            if (meaning == eMeaning::stencilFunction)
                stencil.function = GLint(enumAt(0));
            else if (meaning == eMeaning::stencilReference)
                stencil.reference = intAt(0);
            else
                stencil.operations[state.argument % 3] = GLint(enumAt(0));
            stencil.set();
        }
        break;
    }
    case eMeaning::stencilOp: glStencilOp(enumAt(0), enumAt(1), enumAt(2)); break;
    case eMeaning::stencilOpSeparate: glStencilOpSeparate(enumAt(0), enumAt(1), enumAt(2), enumAt(3)); break;
    case eMeaning::stencilMask: glStencilMask(maskAt(0)); break;
    case eMeaning::stencilMaskSeparate: glStencilMaskSeparate(enumAt(0), maskAt(1)); break;
    case eMeaning::scissor: glScissor(intAt(0), intAt(1), intAt(2), intAt(3)); break;
    case eMeaning::lineWidth: glLineWidth(floatAt(0)); break;
    case eMeaning::lineStipple: glLineStipple(intAt(0), GLushort(maskAt(1))); break;
    case eMeaning::pointSize: glPointSize(floatAt(0)); break;
    case eMeaning::shadeModel: glShadeModel(enumAt(0)); break;
    case eMeaning::logicOp: glLogicOp(enumAt(0)); break;
    }
}
