#include "EffectRenderStates.h"

#include <cstdlib>
#include <map>

namespace {

enum class eValues { flag, blendFactor, equation, compare, face, number };

struct StateShape
{
    int state; // EffectRenderStates::eState
    eValues kind;
    std::size_t count;
};

// Constant names as effect files write them, lower case, without "GL_".
const std::map<std::string, GLenum>& constantsOf(eValues kind)
{
    static const std::map<std::string, GLenum> blendFactors = {
        {"zero", GL_ZERO},
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
        {"oneminusconstantcolor", GL_ONE_MINUS_CONSTANT_COLOR},
        {"constantalpha", GL_CONSTANT_ALPHA},
        {"oneminusconstantalpha", GL_ONE_MINUS_CONSTANT_ALPHA},
    };
    static const std::map<std::string, GLenum> equations = {
        {"funcadd", GL_FUNC_ADD},
        {"add", GL_FUNC_ADD},
        {"funcsubtract", GL_FUNC_SUBTRACT},
        {"subtract", GL_FUNC_SUBTRACT},
        {"funcreversesubtract", GL_FUNC_REVERSE_SUBTRACT},
        {"reversesubtract", GL_FUNC_REVERSE_SUBTRACT},
        {"revsubtract", GL_FUNC_REVERSE_SUBTRACT},
        {"min", GL_MIN},
        {"max", GL_MAX},
    };
    static const std::map<std::string, GLenum> compares = {
        {"never", GL_NEVER},   {"less", GL_LESS},         {"lequal", GL_LEQUAL},        {"lessequal", GL_LEQUAL},
        {"equal", GL_EQUAL},   {"greater", GL_GREATER},   {"notequal", GL_NOTEQUAL},    {"gequal", GL_GEQUAL},
        {"greaterequal", GL_GEQUAL}, {"always", GL_ALWAYS},
    };
    static const std::map<std::string, GLenum> faces = {
        {"front", GL_FRONT}, {"back", GL_BACK}, {"frontandback", GL_FRONT_AND_BACK}};
    static const std::map<std::string, GLenum> none;
    switch (kind) {
    case eValues::blendFactor: return blendFactors;
    case eValues::equation: return equations;
    case eValues::compare: return compares;
    case eValues::face: return faces;
    default: return none;
    }
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
        std::string item = inside.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        item.erase(0, item.find_first_not_of(" \t\n"));
        item.erase(item.find_last_not_of(" \t\n") + 1);
        items.push_back(item);
        if (comma == std::string::npos)
            return items;
        start = comma + 1;
    }
}

// One item as the number OpenGL takes; false when the kind has no such value.
bool valueOf(std::string item, eValues kind, GLfloat& value)
{
    item = effectWord(item);
    if (kind == eValues::flag && (item == "true" || item == "false")) {
        value = item == "true" ? 1.0f : 0.0f;
        return true;
    }
    if (kind == eValues::number || kind == eValues::flag) {
        char* end = nullptr;
        value = std::strtof(item.c_str(), &end);
        return !item.empty() && (*end == '\0' || ((*end == 'f' || *end == 'h') && end[1] == '\0'));
    }
    const auto& constants = constantsOf(kind);
    const auto found = constants.find(item);
    if (found == constants.end())
        return false;
    value = GLfloat(found->second);
    return true;
}

} // namespace

EffectRenderStates::EffectRenderStates(const std::vector<EffectState>& states, std::vector<EffectError>& errors)
{
    // Every name a state goes by, lower case: the OpenGL name and the Direct3D one.
    static const std::map<std::string, StateShape> shapes = {
        {"blendenable", {int(eState::blendEnable), eValues::flag, 1}},
        {"alphablendenable", {int(eState::blendEnable), eValues::flag, 1}},
        {"blendfunc", {int(eState::blendFunc), eValues::blendFactor, 2}},
        {"blendfuncseparate", {int(eState::blendFuncSeparate), eValues::blendFactor, 4}},
        {"srcblend", {int(eState::sourceBlend), eValues::blendFactor, 1}},
        {"destblend", {int(eState::destinationBlend), eValues::blendFactor, 1}},
        {"blendequation", {int(eState::blendEquation), eValues::equation, 1}},
        {"blendop", {int(eState::blendEquation), eValues::equation, 1}},
        {"blendcolor", {int(eState::blendColour), eValues::number, 4}},
        {"colormask", {int(eState::colourMask), eValues::flag, 4}},
        {"depthtestenable", {int(eState::depthTestEnable), eValues::flag, 1}},
        {"zenable", {int(eState::depthTestEnable), eValues::flag, 1}},
        {"depthmask", {int(eState::depthMask), eValues::flag, 1}},
        {"zwriteenable", {int(eState::depthMask), eValues::flag, 1}},
        {"depthfunc", {int(eState::depthFunc), eValues::compare, 1}},
        {"zfunc", {int(eState::depthFunc), eValues::compare, 1}},
        {"cullfaceenable", {int(eState::cullFaceEnable), eValues::flag, 1}},
        {"cullface", {int(eState::cullFace), eValues::face, 1}},
        {"alphatestenable", {int(eState::alphaTestEnable), eValues::flag, 1}},
        {"alphafunc", {int(eState::alphaFunc), eValues::compare, 2}},
    };
    for (const EffectState& assignment : states) {
        const auto shape = shapes.find(effectWord(assignment.name));
        if (shape == shapes.end()) {
            errors.emplace_back(assignment.location, "unknown render state '" + assignment.name + "'");
            continue;
        }
        const std::vector<std::string> items = itemsOf(assignment.value);
        State state{eState(shape->second.state), {}};
        bool valid = items.size() == shape->second.count;
        for (size_t index = 0; valid && index < items.size(); ++index) {
            // AlphaFunc pairs a comparison with a reference number.
            const eValues kind = state.state == eState::alphaFunc && index == 1 ? eValues::number : shape->second.kind;
            GLfloat value = 0;
            valid = valueOf(items[index], kind, value);
            state.values.push_back(value);
        }
        if (!valid) {
            std::string message = "the render state ";
            message.append(assignment.name).append(" cannot take the value '").append(assignment.value).append("'");
            errors.emplace_back(assignment.location, message);
            continue;
        }
        states_.push_back(std::move(state));
    }
}

void EffectRenderStates::apply() const
{
    if (states_.empty())
        return;
    glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_ENABLE_BIT | GL_POLYGON_BIT);
    for (const State& state : states_)
        set(state);
}

void EffectRenderStates::reset() const
{
    if (!states_.empty())
        glPopAttrib();
}

void EffectRenderStates::set(const State& state)
{
    const std::vector<GLfloat>& v = state.values;
    auto enumAt = [&](size_t index) { return GLenum(v[index]); };
    auto enable = [](GLenum capability, GLfloat on) { on != 0 ? glEnable(capability) : glDisable(capability); };
    GLint other = 0;
    switch (state.state) {
    case eState::blendEnable: enable(GL_BLEND, v[0]); break;
    case eState::blendFunc: glBlendFunc(enumAt(0), enumAt(1)); break;
    case eState::blendFuncSeparate: glBlendFuncSeparate(enumAt(0), enumAt(1), enumAt(2), enumAt(3)); break;
    case eState::sourceBlend:
        glGetIntegerv(GL_BLEND_DST_RGB, &other);
        glBlendFunc(enumAt(0), GLenum(other));
        break;
    case eState::destinationBlend:
        glGetIntegerv(GL_BLEND_SRC_RGB, &other);
        glBlendFunc(GLenum(other), enumAt(0));
        break;
    case eState::blendEquation: glBlendEquation(enumAt(0)); break;
    case eState::blendColour: glBlendColor(v[0], v[1], v[2], v[3]); break;
    case eState::colourMask: glColorMask(v[0] != 0, v[1] != 0, v[2] != 0, v[3] != 0); break;
    case eState::depthTestEnable: enable(GL_DEPTH_TEST, v[0]); break;
    case eState::depthMask: glDepthMask(v[0] != 0); break;
    case eState::depthFunc: glDepthFunc(enumAt(0)); break;
    case eState::cullFaceEnable: enable(GL_CULL_FACE, v[0]); break;
    case eState::cullFace: glCullFace(enumAt(0)); break;
    case eState::alphaTestEnable: enable(GL_ALPHA_TEST, v[0]); break;
    case eState::alphaFunc: glAlphaFunc(enumAt(0), v[1]); break;
    }
}
