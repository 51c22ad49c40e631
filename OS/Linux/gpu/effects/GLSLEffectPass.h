#pragma once

#include "EffectRenderStates.h"
#include "GLSLEffectParameter.h"

#include <epoxy/gl.h>

#include <memory>
#include <string>
#include <vector>

// One pass of a compiled effect: its annotations and script, its render states
// and the GLSL of its stages, linked into a program on the context that
// validates it. A stage the pass does not set is OpenGL's fixed-function one.
//
// Every OpenGL call needs the context the pass was linked on (or one sharing
// with it) current on the calling thread.
class GLSLEffectPass
{
public:
    using Parameters = std::vector<std::unique_ptr<GLSLEffectParameter>>;

    GLSLEffectPass(const EffectPass& pass, std::string vertexGlsl, std::string fragmentGlsl,
                   std::vector<EffectError>& errors);
    // Deletes the program when a context is current; otherwise the program goes with its context.
    ~GLSLEffectPass();
    GLSLEffectPass(const GLSLEffectPass&) = delete;
    GLSLEffectPass& operator=(const GLSLEffectPass&) = delete;

    const std::string& name() const { return name_; }
    const EffectAnnotations& annotations() const { return annotations_; }
    const EffectScript& script() const { return script_; }
    // The texture its script's RenderColorTarget0 (or RenderColorTarget) names;
    // empty for the renderer's own target.
    const std::string& renderColorTarget() const { return renderColorTarget_; }
    const std::string& vertexGlsl() const { return vertexGlsl_; }
    const std::string& fragmentGlsl() const { return fragmentGlsl_; }

    // The samplers the pass's GLSL declares, in the order it declares them.
    std::vector<std::string> samplerNames() const;

    // Compiles and links the stages on the current context and finds the
    // parameters behind the program's uniforms. Linking again does nothing.
    // False, with the driver's messages in log, when the driver refuses.
    bool link(const Parameters& parameters, std::string& log);
    bool linked() const { return linked_; }
    GLuint program() const { return program_; }

    // Makes the program current and sets the render states.
    void setState() const;
    // Hands every parameter's value to its uniform; the program must be current.
    void updateParameters() const;
    // Undoes setState().
    void resetState() const;

private:
    struct Uniform
    {
        const GLSLEffectParameter* parameter;
        GLint location;
        GLenum type;
        GLint count; // array elements
    };

    bool compileStage(GLenum stage, const std::string& glsl, std::string& log);

    std::string name_;
    EffectAnnotations annotations_;
    EffectScript script_;
    std::string renderColorTarget_;
    std::string vertexGlsl_;
    std::string fragmentGlsl_;
    EffectRenderStates renderStates_;
    bool linked_ = false;
    GLuint program_ = 0;
    std::vector<Uniform> uniforms_;
    mutable GLint previousProgram_ = 0;
};
