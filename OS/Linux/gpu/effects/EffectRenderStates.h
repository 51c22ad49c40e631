#pragma once

#include "EffectModel.h"

#include <epoxy/gl.h>

#include <string>
#include <vector>

// A pass's render states (blending, depth, culling, alpha test, colour mask),
// read from its assignments once and set on OpenGL each time the pass runs.
//
// Names and values are those of effect files, in either spelling:
// "BlendFunc = int2(SrcAlpha, OneMinusSrcAlpha)" or "SrcBlend = SrcAlpha",
// "ZEnable = false" or "DepthTestEnable = false". Case does not matter.
//
// apply() saves the state it changes on OpenGL's attribute stack and reset()
// takes it back, so a pass leaves nothing behind.
class EffectRenderStates
{
public:
    // An assignment that names no known state, or gives it a value it cannot
    // take, is an error with the assignment's line.
    EffectRenderStates(const std::vector<EffectState>& states, std::vector<EffectError>& errors);

    bool empty() const { return states_.empty(); }

    // Needs the pass's OpenGL context current.
    void apply() const;
    void reset() const;

private:
    enum class eState {
        blendEnable,
        blendFunc,
        blendFuncSeparate,
        sourceBlend,
        destinationBlend,
        blendEquation,
        blendColour,
        colourMask,
        depthTestEnable,
        depthMask,
        depthFunc,
        cullFaceEnable,
        cullFace,
        alphaTestEnable,
        alphaFunc,
    };

    struct State
    {
        eState state;
        std::vector<GLfloat> values; // enums as their GLenum values
    };

    static void set(const State& state);

    std::vector<State> states_;
};
