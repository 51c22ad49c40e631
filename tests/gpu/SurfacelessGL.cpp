#include "SurfacelessGL.h"

#include "EGLPlatform.h"
#include "OpenGLUtils.h"

SurfacelessGL::SurfacelessGL(int width, int height) : width_(width), height_(height)
{
    if (!OpenGLUtils::isAvailable()) {
        unavailableReason_ = EGLPlatform::instance().unavailableReason();
        return;
    }

    glGenTextures(1, &target_);
    glBindTexture(GL_TEXTURE_2D, target_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width_, height_, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenFramebuffers(1, &framebuffer_);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target_, 0);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        unavailableReason_ = "the driver cannot render into an RGBA8 texture";
        return;
    }
    glViewport(0, 0, width_, height_);
    // The thread's context serves every test: start from identity matrices.
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    // Colours reach the shader as given, not clamped by the fixed-function stage.
    glClampColor(GL_CLAMP_VERTEX_COLOR, GL_FALSE);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

// The protector goes after this body, so the objects go while the context is current.
SurfacelessGL::~SurfacelessGL()
{
    if (!OpenGLUtils::isAvailable())
        return;
    // A deleted program that is still current stays in use, under the next
    // test's fixed-function drawing.
    glUseProgram(0);
    passes_.clear();
    if (!textures_.empty())
        glDeleteTextures(static_cast<GLsizei>(textures_.size()), textures_.data());
    glDeleteFramebuffers(1, &framebuffer_);
    glDeleteTextures(1, &target_);
}

bool SurfacelessGL::useFragmentShader(const std::string& glsl, std::string& log)
{
    if (!available())
        return false;
    std::vector<EffectError> noErrors;
    auto pass = std::make_unique<GLSLEffectPass>(EffectPass(), std::string(), glsl, noErrors);
    if (!pass->link({}, log))
        return false;
    program_ = pass->program();
    glUseProgram(program_);
    passes_.push_back(std::move(pass));
    return true;
}

GLint SurfacelessGL::uniformLocation(const char* name) const
{
    return available() ? glGetUniformLocation(program_, name) : -1;
}

bool SurfacelessGL::setInt(const char* name, int value)
{
    const GLint location = uniformLocation(name);
    if (location < 0)
        return false;
    glUniform1i(location, value);
    return true;
}

bool SurfacelessGL::setMatrix4RowMajor(const char* name, const std::array<float, 16>& rows)
{
    const GLint location = uniformLocation(name);
    if (location < 0)
        return false;
    glUniformMatrix4fv(location, 1, GL_FALSE, rows.data());
    return true;
}

GLuint SurfacelessGL::makeTexture(int width, int height, const std::vector<std::uint8_t>& rgba)
{
    if (!available() || rgba.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4)
        return 0;
    GLuint texture = 0;
    glGenTextures(1, &texture);
    textures_.push_back(texture);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(bound));
    return texture;
}

bool SurfacelessGL::bindTexture(const char* samplerName, int unit, int width, int height,
                                const std::vector<std::uint8_t>& rgba)
{
    const GLuint texture = makeTexture(width, height, rgba);
    if (texture == 0)
        return false;
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
    glBindTexture(GL_TEXTURE_2D, texture);
    glActiveTexture(GL_TEXTURE0);
    return setInt(samplerName, unit);
}

void SurfacelessGL::drawQuad(const std::array<Corner, 4>& corners)
{
    if (!available())
        return;
    static constexpr float positions[4][2] = {{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 1.0f}, {-1.0f, 1.0f}};
    glClear(GL_COLOR_BUFFER_BIT);
    glBegin(GL_QUADS);
    for (std::size_t corner = 0; corner < corners.size(); ++corner) {
        for (std::size_t unit = 0; unit < corners[corner].texCoords.size(); ++unit) {
            const Float4& coordinate = corners[corner].texCoords[unit];
            glMultiTexCoord4f(static_cast<GLenum>(GL_TEXTURE0 + unit), coordinate[0], coordinate[1], coordinate[2],
                              coordinate[3]);
        }
        const Float4& colour = corners[corner].colour;
        glColor4f(colour[0], colour[1], colour[2], colour[3]);
        const std::array<float, 3>& secondary = corners[corner].secondaryColour;
        glSecondaryColor3f(secondary[0], secondary[1], secondary[2]);
        for (GLuint attribute = 1; attribute < corners[corner].attributes.size(); ++attribute)
            glVertexAttrib4fv(attribute, corners[corner].attributes[attribute].data());
        // glVertex comes last: it emits the vertex with the current attributes.
        glVertex2fv(positions[corner]);
    }
    glEnd();
    glFinish();
}

SurfacelessGL::Float4 SurfacelessGL::pixel(int x, int y)
{
    Float4 colour{};
    if (!available())
        return colour;
    std::uint8_t bytes[4] = {};
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, bytes);
    for (std::size_t channel = 0; channel < 4; ++channel)
        colour[channel] = static_cast<float>(bytes[channel]) / 255.0f;
    return colour;
}
