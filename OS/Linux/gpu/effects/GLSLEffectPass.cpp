#include "GLSLEffectPass.h"

#include "CgHlslWriter.h"
#include "CgTranslator.h"
#include "GLDriverLog.h"

#include <EGL/egl.h>

#include <algorithm>

namespace {

enum class eUpload { floats, ints, matrix, sampler, unknown };

struct UniformShape
{
    eUpload upload;
    GLint components; // per array element
    GLint columns;    // matrices
    GLint rows;
};

UniformShape shapeOf(GLenum type)
{
    switch (type) {
    case GL_FLOAT: return {eUpload::floats, 1, 0, 0};
    case GL_FLOAT_VEC2: return {eUpload::floats, 2, 0, 0};
    case GL_FLOAT_VEC3: return {eUpload::floats, 3, 0, 0};
    case GL_FLOAT_VEC4: return {eUpload::floats, 4, 0, 0};
    case GL_INT:
    case GL_BOOL: return {eUpload::ints, 1, 0, 0};
    case GL_INT_VEC2:
    case GL_BOOL_VEC2: return {eUpload::ints, 2, 0, 0};
    case GL_INT_VEC3:
    case GL_BOOL_VEC3: return {eUpload::ints, 3, 0, 0};
    case GL_INT_VEC4:
    case GL_BOOL_VEC4: return {eUpload::ints, 4, 0, 0};
    case GL_FLOAT_MAT2: return {eUpload::matrix, 4, 2, 2};
    case GL_FLOAT_MAT3: return {eUpload::matrix, 9, 3, 3};
    case GL_FLOAT_MAT4: return {eUpload::matrix, 16, 4, 4};
    case GL_FLOAT_MAT2x3: return {eUpload::matrix, 6, 2, 3};
    case GL_FLOAT_MAT2x4: return {eUpload::matrix, 8, 2, 4};
    case GL_FLOAT_MAT3x2: return {eUpload::matrix, 6, 3, 2};
    case GL_FLOAT_MAT3x4: return {eUpload::matrix, 12, 3, 4};
    case GL_FLOAT_MAT4x2: return {eUpload::matrix, 8, 4, 2};
    case GL_FLOAT_MAT4x3: return {eUpload::matrix, 12, 4, 3};
    case GL_SAMPLER_1D:
    case GL_SAMPLER_2D:
    case GL_SAMPLER_3D:
    case GL_SAMPLER_CUBE:
    case GL_SAMPLER_2D_RECT:
    case GL_SAMPLER_1D_ARRAY:
    case GL_SAMPLER_2D_ARRAY: return {eUpload::sampler, 1, 0, 0};
    default: return {eUpload::unknown, 0, 0, 0};
    }
}

void uploadFloats(GLint location, const UniformShape& shape, GLsizei count, const GLfloat* values)
{
    static void (*const vectors[])(GLint, GLsizei, const GLfloat*) = {nullptr, glUniform1fv, glUniform2fv,
                                                                        glUniform3fv, glUniform4fv};
    if (shape.upload == eUpload::floats) {
        vectors[shape.components](location, count, values);
        return;
    }
    // A Cg row is a GLSL column, so a row-major Cg matrix goes in as it is.
    switch (shape.columns * 10 + shape.rows) {
    case 22: glUniformMatrix2fv(location, count, GL_FALSE, values); break;
    case 33: glUniformMatrix3fv(location, count, GL_FALSE, values); break;
    case 44: glUniformMatrix4fv(location, count, GL_FALSE, values); break;
    case 23: glUniformMatrix2x3fv(location, count, GL_FALSE, values); break;
    case 24: glUniformMatrix2x4fv(location, count, GL_FALSE, values); break;
    case 32: glUniformMatrix3x2fv(location, count, GL_FALSE, values); break;
    case 34: glUniformMatrix3x4fv(location, count, GL_FALSE, values); break;
    case 42: glUniformMatrix4x2fv(location, count, GL_FALSE, values); break;
    case 43: glUniformMatrix4x3fv(location, count, GL_FALSE, values); break;
    default: break;
    }
}

void uploadInts(GLint location, const UniformShape& shape, GLsizei count, const GLint* values)
{
    static void (*const vectors[])(GLint, GLsizei, const GLint*) = {nullptr, glUniform1iv, glUniform2iv, glUniform3iv,
                                                                      glUniform4iv};
    vectors[shape.components](location, count, values);
}

} // namespace

GLSLEffectPass::GLSLEffectPass(const EffectPass& pass, std::string vertexGlsl, std::string fragmentGlsl,
                               std::vector<EffectError>& errors)
    : name_(pass.name), annotations_(pass.annotations), script_(pass.script), vertexGlsl_(std::move(vertexGlsl)),
      fragmentGlsl_(std::move(fragmentGlsl)), renderStates_(pass.states, errors)
{
    for (const EffectScriptCommand& command : script_.commands) {
        const std::string word = effectWord(command.name);
        if (word == "rendercolortarget0" || word == "rendercolortarget")
            renderColorTarget_ = command.value;
    }
}

GLSLEffectPass::~GLSLEffectPass()
{
    if (program_ != 0 && eglGetCurrentContext() != EGL_NO_CONTEXT)
        glDeleteProgram(program_);
}

std::vector<std::string> GLSLEffectPass::samplerNames() const
{
    std::vector<std::string> names;
    for (const std::string* glsl : {&vertexGlsl_, &fragmentGlsl_}) {
        const std::string declaration = "uniform sampler";
        for (std::size_t at = glsl->find(declaration); at != std::string::npos;
             at = glsl->find(declaration, at + 1)) {
            const std::size_t space = glsl->find(' ', at + declaration.size());
            const std::size_t end = glsl->find_first_of(";[", space);
            if (space == std::string::npos || end == std::string::npos)
                continue;
            const std::string name = CgHlslWriter::cgUniformName(glsl->substr(space + 1, end - space - 1));
            if (std::find(names.begin(), names.end(), name) == names.end())
                names.push_back(name);
        }
    }
    return names;
}

bool GLSLEffectPass::compileStage(GLenum stage, const std::string& glsl, std::string& log)
{
    if (glsl.empty())
        return true;
    const GLuint shader = glCreateShader(stage);
    const char* text = glsl.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled)
        glAttachShader(program_, shader);
    else
        log += GLDriverLog::ofShader(shader);
    // Attached shaders live on with the program.
    glDeleteShader(shader);
    return compiled;
}

bool GLSLEffectPass::link(const Parameters& parameters, std::string& log)
{
    if (linked_)
        return true;
    if (vertexGlsl_.empty() && fragmentGlsl_.empty()) {
        linked_ = true;
        return true;
    }
    if (program_ == 0)
        program_ = glCreateProgram();
    if (!compileStage(GL_VERTEX_SHADER, vertexGlsl_, log) || !compileStage(GL_FRAGMENT_SHADER, fragmentGlsl_, log)) {
        glDeleteProgram(program_);
        program_ = 0;
        return false;
    }
    // Binding a name the program does not use is harmless.
    for (unsigned attribute = 1; attribute < 16; ++attribute)
        glBindAttribLocation(program_, attribute, CgTranslator::attributeName(attribute).c_str());
    glLinkProgram(program_);
    GLint status = GL_FALSE;
    glGetProgramiv(program_, GL_LINK_STATUS, &status);
    if (!status) {
        log += GLDriverLog::ofProgram(program_);
        glDeleteProgram(program_);
        program_ = 0;
        return false;
    }

    GLint previous = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &previous);
    glUseProgram(program_);
    GLint active = 0;
    glGetProgramiv(program_, GL_ACTIVE_UNIFORMS, &active);
    for (GLint index = 0; index < active; ++index) {
        char buffer[256];
        GLsizei length = 0;
        GLint count = 0;
        GLenum type = 0;
        glGetActiveUniform(program_, GLuint(index), sizeof buffer, &length, &count, &type, buffer);
        const std::string glslName(buffer, std::size_t(length));
        const GLint location = glGetUniformLocation(program_, glslName.c_str());
        std::string name = CgHlslWriter::cgUniformName(glslName);
        if (name.size() > 3 && name.compare(name.size() - 3, 3, "[0]") == 0)
            name.resize(name.size() - 3);
        const auto found = std::find_if(parameters.begin(), parameters.end(),
                                        [&](const auto& parameter) { return parameter->name() == name; });
        if (location < 0 || found == parameters.end())
            continue;
        const GLSLEffectParameter& parameter = **found;
        if (shapeOf(type).upload == eUpload::sampler) {
            if (parameter.kind() == GLSLEffectParameter::eKind::sampler && parameter.unit() >= 0)
                glUniform1i(location, parameter.unit());
        } else if (shapeOf(type).upload != eUpload::unknown && parameter.kind() == GLSLEffectParameter::eKind::value) {
            uniforms_.push_back({&parameter, location, type, count});
        }
    }
    glUseProgram(GLuint(previous));
    linked_ = true;
    return true;
}

void GLSLEffectPass::setState() const
{
    glGetIntegerv(GL_CURRENT_PROGRAM, &previousProgram_);
    glUseProgram(program_);
    renderStates_.apply();
}

void GLSLEffectPass::updateParameters() const
{
    for (const Uniform& uniform : uniforms_) {
        const UniformShape shape = shapeOf(uniform.type);
        // The driver may keep fewer elements than the effect declares: only the used ones count.
        const GLsizei count =
            std::min<GLsizei>(uniform.count, GLsizei(uniform.parameter->size() / std::size_t(shape.components)));
        if (count <= 0)
            continue;
        if (shape.upload == eUpload::ints)
            uploadInts(uniform.location, shape, count, uniform.parameter->ints().data());
        else
            uploadFloats(uniform.location, shape, count, uniform.parameter->floats().data());
    }
}

void GLSLEffectPass::resetState() const
{
    renderStates_.reset();
    glUseProgram(GLuint(previousProgram_));
}
