#include "PassValidator.h"

#include <cstring>
#include <deque>
#include <sstream>

namespace {

class ShaderObject
{
public:
    explicit ShaderObject(GLenum stage) : name_(glCreateShader(stage)) {}
    ~ShaderObject() { glDeleteShader(name_); }
    ShaderObject(const ShaderObject&) = delete;
    ShaderObject& operator=(const ShaderObject&) = delete;
    GLuint name() const { return name_; }

private:
    GLuint name_;
};

class ProgramObject
{
public:
    ProgramObject() : name_(glCreateProgram()) {}
    ~ProgramObject() { glDeleteProgram(name_); }
    ProgramObject(const ProgramObject&) = delete;
    ProgramObject& operator=(const ProgramObject&) = delete;
    GLuint name() const { return name_; }

private:
    GLuint name_;
};

void appendLines(const std::string& log, std::vector<std::string>& lines)
{
    std::istringstream stream(log);
    for (std::string line; std::getline(stream, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
            line.pop_back();
        if (!line.empty())
            lines.push_back(line);
    }
}

} // namespace

std::vector<std::string> PassValidator::link(const std::vector<Shader>& shaders)
{
    std::vector<std::string> messages;
    if (!available()) {
        messages.push_back(unavailableReason());
        return messages;
    }
    const ProgramObject program;
    // Attached shaders are only flagged for deletion, so these may go before the program.
    std::deque<ShaderObject> compiled;
    for (const Shader& shader : shaders) {
        const ShaderObject& object = compiled.emplace_back(shader.vertex ? GL_VERTEX_SHADER : GL_FRAGMENT_SHADER);
        const GLchar* text = shader.glsl.c_str();
        glShaderSource(object.name(), 1, &text, nullptr);
        glCompileShader(object.name());
        GLint succeeded = GL_FALSE;
        glGetShaderiv(object.name(), GL_COMPILE_STATUS, &succeeded);
        if (succeeded != GL_TRUE) {
            const std::size_t before = messages.size();
            appendLines(SurfacelessContext::shaderLog(object.name()), messages);
            if (messages.size() == before)
                messages.push_back(std::string("the driver does not compile the ") +
                                   (shader.vertex ? "vertex" : "pixel") + " program");
            continue;
        }
        glAttachShader(program.name(), object.name());
    }
    // Linking after a failed compile would only repeat it in other words.
    if (!messages.empty())
        return messages;
    glLinkProgram(program.name());
    GLint linked = GL_FALSE;
    glGetProgramiv(program.name(), GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
        appendLines(SurfacelessContext::programLog(program.name()), messages);
        if (messages.empty())
            messages.push_back("the driver does not link the pass");
    }
    return messages;
}
