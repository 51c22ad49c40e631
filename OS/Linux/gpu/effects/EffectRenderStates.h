#pragma once

#include "EffectModel.h"

#include <epoxy/gl.h>

#include <string>
#include <vector>

// A pass's render states, read from its assignments once and set on OpenGL
// each time the pass runs.
//
// Names are those of either runtime's state set, with any index, and case does
// not matter: the Direct3D 9 names ("SrcBlend = SrcAlpha", "CullMode = None",
// "ColorWriteEnable = RED | GREEN") and the OpenGL names of Cg's set
// ("BlendFunc = int2(SrcAlpha, OneMinusSrcAlpha)", "DepthTestEnable = false").
// States that mean something to a pass drawn by programs (blending, depth,
// stencil, culling, fill mode, polygon offset, alpha test, colour masks,
// scissor, rasterisation) are applied; those of the fixed-function stages
// (lighting, fog, texture stages and bindings, transforms, shader constants...)
// are accepted and ignored.
//
// apply() saves the state it changes on OpenGL's attribute stack and reset()
// takes it back, so a pass leaves nothing behind.
class EffectRenderStates
{
public:
    // Appends, with the assignment's line, a warning for each ignored state and
    // an error for a name neither runtime knows or a value a state cannot take.
    EffectRenderStates(const std::vector<EffectState>& states, std::vector<EffectError>& errors);

    // Needs the pass's OpenGL context current.
    void apply() const;
    void reset() const;

private:
    struct State
    {
        int meaning;     // what the assignment sets: one of the meanings the .cpp lists
        GLenum argument; // the capability, colour buffer, factor or operation it sets
        std::vector<double> values; // enumerations as their GLenum values
    };

    void set(const State& state) const;
    // The stencil faces a Direct3D stencil state sets: both unless the pass
    // asks for two-sided stencil, then the face of the given winding alone.
    std::vector<GLenum> direct3DStencilFaces(bool counterClockwise) const;

    std::vector<State> states_;
    GLbitfield attributes_ = 0; // the attribute groups the states change
    bool setsBlendEquations_ = false;
    mutable GLint blendEquations_[2] = {GL_FUNC_ADD, GL_FUNC_ADD}; // colour and alpha, before apply()
    // Direct3D's switches: without them its alpha blend states and its
    // counter-clockwise stencil states do nothing, and the others set both.
    bool separateAlphaBlend_ = false;
    bool twoSidedStencil_ = false;
};
