#include "EffectRenderStates.h"
#include "OpenGLRequired.h"
#include "EGLPlatform.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace {

// One piece of OpenGL state as glGet reads it; index picks a draw buffer.
struct Query
{
    GLenum name;
    std::vector<double> values;
    int index = -1;
};

// A pass's assignments, "Name = value; Name = value", all on line 7 of t.fx,
// with what OpenGL holds while the pass runs, and the listing they give.
struct Case
{
    const char* assignments;
    std::vector<Query> applied;
    const char* listing = "";
};

std::vector<EffectState> statesOf(const std::string& assignments)
{
    std::vector<EffectState> states;
    std::istringstream lines(assignments);
    for (std::string assignment; std::getline(lines, assignment, ';');) {
        const size_t equals = assignment.find('=');
        const auto trimmed = [](std::string text) {
            text.erase(0, text.find_first_not_of(' '));
            text.erase(text.find_last_not_of(' ') + 1);
            return text;
        };
        states.push_back({trimmed(assignment.substr(0, equals)), trimmed(assignment.substr(equals + 1)), {"t.fx", 7}});
    }
    return states;
}

std::vector<double> read(const Query& query)
{
    std::vector<double> values(16, -1);
    if (query.index < 0) {
        glGetDoublev(query.name, values.data());
    } else {
        GLint integers[4] = {-1, -1, -1, -1};
        glGetIntegeri_v(query.name, GLuint(query.index), integers);
        values.assign(integers, integers + 4);
    }
    values.resize(query.values.size());
    return values;
}

// OpenGL keeps most of its state as floats.
::testing::AssertionResult holds(const Query& query, const std::vector<double>& expected)
{
    const std::vector<double> values = read(query);
    for (size_t index = 0; index < expected.size(); ++index) {
        if (std::fabs(values[index] - expected[index]) > 1e-6)
            return ::testing::AssertionFailure() << "state " << query.name << " value " << index << " is "
                                                 << values[index] << ", expected " << expected[index];
    }
    return ::testing::AssertionSuccess();
}

const Case kCases[] = {
    // Blending, by both runtimes' names.
    {"AlphaBlendEnable = TRUE", {{GL_BLEND, {1}}}},
    {"blendenable = true", {{GL_BLEND, {1}}}},
    {"SrcBlend = SrcAlpha", {{GL_BLEND_SRC_RGB, {GL_SRC_ALPHA}}, {GL_BLEND_SRC_ALPHA, {GL_SRC_ALPHA}}}},
    {"DestBlend = InvSrcAlpha", {{GL_BLEND_DST_RGB, {GL_ONE_MINUS_SRC_ALPHA}}}},
    {"BlendFunc = int2(DstColor, Zero)", {{GL_BLEND_SRC_RGB, {GL_DST_COLOR}}, {GL_BLEND_DST_ALPHA, {GL_ZERO}}}},
    {"BlendFuncSeparate = int4(One, One, Zero, SrcAlphaSaturate)",
     {{GL_BLEND_DST_RGB, {GL_ONE}}, {GL_BLEND_SRC_ALPHA, {GL_ZERO}}, {GL_BLEND_DST_ALPHA, {GL_SRC_ALPHA_SATURATE}}}},
    {"BlendOp = RevSubtract",
     {{GL_BLEND_EQUATION_RGB, {GL_FUNC_REVERSE_SUBTRACT}}, {GL_BLEND_EQUATION_ALPHA, {GL_FUNC_REVERSE_SUBTRACT}}}},
    {"BlendEquation = GL_MAX", {{GL_BLEND_EQUATION_RGB, {GL_MAX}}}},
    {"BlendColor = float4(0.25, 0.5, 0.75, 1)", {{GL_BLEND_COLOR, {0.25, 0.5, 0.75, 1}}}},
    {"BlendFactor = 0x80FF4000", {{GL_BLEND_COLOR, {1, 64.0 / 255, 0, 128.0 / 255}}}},
    // Direct3D's alpha blend states count only with their switch, wherever it is.
    {"SrcBlendAlpha = Zero; BlendOpAlpha = Min", {{GL_BLEND_SRC_ALPHA, {GL_ONE}}, {GL_BLEND_EQUATION_ALPHA, {GL_FUNC_ADD}}}},
    {"SrcBlendAlpha = Zero; SrcBlend = DestAlpha; BlendOpAlpha = Min; SeparateAlphaBlendEnable = true",
     {{GL_BLEND_SRC_RGB, {GL_DST_ALPHA}}, {GL_BLEND_SRC_ALPHA, {GL_ZERO}}, {GL_BLEND_EQUATION_ALPHA, {GL_MIN}}}},
    // Colour masks: Direct3D's bit masks and OpenGL's flags.
    {"ColorWriteEnable = RED | BLUE", {{GL_COLOR_WRITEMASK, {1, 0, 1, 0}}}},
    {"ColorWriteEnable = 0", {{GL_COLOR_WRITEMASK, {0, 0, 0, 0}}}},
    {"ColorMask = bool4(false, true, true, false)", {{GL_COLOR_WRITEMASK, {0, 1, 1, 0}}}},
    {"ColorWriteEnable1 = Alpha | 1", {{GL_COLOR_WRITEMASK, {1, 0, 0, 1}, 1}, {GL_COLOR_WRITEMASK, {1, 1, 1, 1}, 0}}},
    // Depth.
    {"ZEnable = true", {{GL_DEPTH_TEST, {1}}}},
    {"ZWriteEnable = false", {{GL_DEPTH_WRITEMASK, {0}}}},
    {"ZFunc = GreaterEqual", {{GL_DEPTH_FUNC, {GL_GEQUAL}}}},
    {"DepthFunc = GL_NOTEQUAL", {{GL_DEPTH_FUNC, {GL_NOTEQUAL}}}},
    {"DepthRange = float2(0.25, 0.75)", {{GL_DEPTH_RANGE, {0.25, 0.75}}}},
    // Faces, fill and offset.
    {"CullMode = CCW", {{GL_CULL_FACE, {1}}, {GL_FRONT_FACE, {GL_CW}}, {GL_CULL_FACE_MODE, {GL_BACK}}}},
    {"CullMode = cw", {{GL_CULL_FACE, {1}}, {GL_FRONT_FACE, {GL_CCW}}}},
    {"CullFaceEnable = true; CullMode = None", {{GL_CULL_FACE, {0}}}},
    {"CullFace = FrontAndBack", {{GL_CULL_FACE_MODE, {GL_FRONT_AND_BACK}}}},
    {"FrontFace = CW", {{GL_FRONT_FACE, {GL_CW}}}},
    {"FillMode = Wireframe", {{GL_POLYGON_MODE, {GL_LINE, GL_LINE}}}},
    {"PolygonMode = int2(FrontAndBack, Point)", {{GL_POLYGON_MODE, {GL_POINT, GL_POINT}}}},
    {"PolygonOffset = float2(1.5, 2)", {{GL_POLYGON_OFFSET_FACTOR, {1.5}}, {GL_POLYGON_OFFSET_UNITS, {2}}}},
    {"DepthBias = 0.5; SlopeScaleDepthBias = 2",
     {{GL_POLYGON_OFFSET_UNITS, {0.5}}, {GL_POLYGON_OFFSET_FACTOR, {2}}, {GL_POLYGON_OFFSET_FILL, {1}}}},
    // Alpha test: Direct3D's reference is a byte.
    {"AlphaTestEnable = true", {{GL_ALPHA_TEST, {1}}}},
    {"AlphaFunc = Greater; AlphaRef = 0x80", {{GL_ALPHA_TEST_FUNC, {GL_GREATER}}, {GL_ALPHA_TEST_REF, {128.0 / 255}}}},
    {"AlphaFunc = float2(Less, 0.25)", {{GL_ALPHA_TEST_FUNC, {GL_LESS}}, {GL_ALPHA_TEST_REF, {0.25}}}},
    // Stencil: Direct3D's Incr wraps, OpenGL's saturates.
    {"StencilEnable = true", {{GL_STENCIL_TEST, {1}}}},
    {"StencilFunc = Equal; StencilRef = 7",
     {{GL_STENCIL_FUNC, {GL_EQUAL}}, {GL_STENCIL_BACK_FUNC, {GL_EQUAL}}, {GL_STENCIL_REF, {7}}, {GL_STENCIL_BACK_REF, {7}}}},
    {"StencilFunc = int3(Less, 3, 255)", {{GL_STENCIL_FUNC, {GL_LESS}}, {GL_STENCIL_REF, {3}}, {GL_STENCIL_VALUE_MASK, {255}}}},
    {"StencilPass = Incr; StencilZFail = IncrSat",
     {{GL_STENCIL_PASS_DEPTH_PASS, {GL_INCR_WRAP}}, {GL_STENCIL_BACK_PASS_DEPTH_FAIL, {GL_INCR}}}},
    {"StencilOp = int3(Keep, Incr, Invert)",
     {{GL_STENCIL_FAIL, {GL_KEEP}}, {GL_STENCIL_PASS_DEPTH_FAIL, {GL_INCR}}, {GL_STENCIL_PASS_DEPTH_PASS, {GL_INVERT}}}},
    {"CCW_StencilFail = Replace; StencilFail = Zero; TwoSidedStencilMode = true",
     {{GL_STENCIL_FAIL, {GL_REPLACE}}, {GL_STENCIL_BACK_FAIL, {GL_ZERO}}}},
    {"StencilWriteMask = 0x0F", {{GL_STENCIL_WRITEMASK, {15}}}},
    {"StencilMaskSeparate = int2(Back, 3)", {{GL_STENCIL_BACK_WRITEMASK, {3}}}},
    // Scissor and rasterisation.
    {"ScissorTestEnable = true; Scissor = int4(1, 2, 3, 4)", {{GL_SCISSOR_TEST, {1}}, {GL_SCISSOR_BOX, {1, 2, 3, 4}}}},
    {"DitherEnable = false", {{GL_DITHER, {0}}}},
    {"LineWidth = 2; LineStipple = int2(2, 0xF0F0)",
     {{GL_LINE_WIDTH, {2}}, {GL_LINE_STIPPLE_REPEAT, {2}}, {GL_LINE_STIPPLE_PATTERN, {0xF0F0}}}},
    {"PointSize = 4.0f", {{GL_POINT_SIZE, {4}}}},
    {"ShadeMode = Flat", {{GL_SHADE_MODEL, {GL_FLAT}}}},
    {"ColorLogicOpEnable = true; LogicOp = Xor", {{GL_COLOR_LOGIC_OP, {1}}, {GL_LOGIC_OP_MODE, {GL_XOR}}}},
    // The fixed-function stages' states are accepted and ignored.
    {"Lighting = FALSE", {}, "t.fx(7) : warning: render state 'Lighting' ignored\n"},
    {"LightEnable[0] = true", {}, "t.fx(7) : warning: render state 'LightEnable[0]' ignored\n"},
    {"Texture[0] = <Source>", {}, "t.fx(7) : warning: render state 'Texture[0]' ignored\n"},
    {"VertexShaderConstant[4] = <World>", {}, "t.fx(7) : warning: render state 'VertexShaderConstant[4]' ignored\n"},
    // Misuse.
    {"Sideways = 1", {}, "t.fx(7) : error: unknown render state 'Sideways'\n"},
    {"ZEnable = maybe", {}, "t.fx(7) : error: the render state ZEnable cannot take the value 'maybe'\n"},
    {"AlphaRef = 256", {}, "t.fx(7) : error: the render state AlphaRef cannot take the value '256'\n"},
    {"ColorWriteEnable = RED | PURPLE", {},
     "t.fx(7) : error: the render state ColorWriteEnable cannot take the value 'RED | PURPLE'\n"},
    {"BlendFunc = int2(One)", {}, "t.fx(7) : error: the render state BlendFunc cannot take the value 'int2(One)'\n"},
    {"CullMode = Sideways", {}, "t.fx(7) : error: the render state CullMode cannot take the value 'Sideways'\n"},
    {"StencilRef = 1.5", {}, "t.fx(7) : error: the render state StencilRef cannot take the value '1.5'\n"},
    {"LineWidth = 1e300", {}, "t.fx(7) : error: the render state LineWidth cannot take the value '1e300'\n"},
    {"Lighting = ", {}, "t.fx(7) : error: the render state Lighting cannot take the value ''\n"},
    {"BlendEnable[0] = true", {}, "t.fx(7) : error: the render state BlendEnable[0] takes no index\n"},
    {"Texture[i] = <Source>", {}, "t.fx(7) : error: the index of the render state Texture[i] is not a whole number\n"},
};

TEST(EffectRenderStates, EveryNameSetsItsOpenGLStateWhileAppliedOrIsListed)
{
    REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason());
    const OpenGLContextProtector protector;
    OpenGL::checkForErrors(); // what earlier work on this thread's context left queued
    // A stencil buffer, without which OpenGL reads every stencil reference as 0.
    GLuint framebuffer = 0, buffers[2] = {0, 0};
    glGenFramebuffers(1, &framebuffer);
    glGenRenderbuffers(2, buffers);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    for (const GLenum format : {GL_RGBA8, GL_DEPTH24_STENCIL8}) {
        const GLuint buffer = buffers[format == GL_RGBA8 ? 0 : 1];
        glBindRenderbuffer(GL_RENDERBUFFER, buffer);
        glRenderbufferStorage(GL_RENDERBUFFER, format, 4, 4);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, format == GL_RGBA8 ? GL_COLOR_ATTACHMENT0 : GL_DEPTH_STENCIL_ATTACHMENT,
                                  GL_RENDERBUFFER, buffer);
    }
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
    for (const Case& example : kCases) {
        SCOPED_TRACE(example.assignments);
        std::vector<EffectError> errors;
        const EffectRenderStates states(statesOf(example.assignments), errors);
        EXPECT_EQ(effectListing(errors), example.listing);

        std::vector<std::vector<double>> before;
        for (const Query& query : example.applied)
            before.push_back(read(query));
        states.apply();
        for (const Query& query : example.applied)
            EXPECT_TRUE(holds(query, query.values));
        states.reset();
        for (size_t index = 0; index < example.applied.size(); ++index)
            EXPECT_TRUE(holds(example.applied[index], before[index])) << "after the pass";
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    }
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(2, buffers);
}

} // namespace
