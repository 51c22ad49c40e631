#include "SurfacelessGL.h"

#include <EGL/eglext.h>

#include <cstring>

namespace {

bool hasExtension(const char* extensions, const char* name)
{
    if (extensions == nullptr)
        return false;
    const std::size_t length = std::strlen(name);
    for (const char* found = std::strstr(extensions, name); found != nullptr; found = std::strstr(found + 1, name)) {
        const bool startsWord = found == extensions || found[-1] == ' ';
        if (startsWord && (found[length] == ' ' || found[length] == '\0'))
            return true;
    }
    return false;
}

std::string shaderLog(GLuint shader)
{
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::string log(static_cast<std::size_t>(length > 0 ? length : 1), '\0');
    glGetShaderInfoLog(shader, length, nullptr, log.data());
    return log;
}

std::string programLog(GLuint program)
{
    GLint length = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    std::string log(static_cast<std::size_t>(length > 0 ? length : 1), '\0');
    glGetProgramInfoLog(program, length, nullptr, log.data());
    return log;
}

} // namespace

SurfacelessGL::SurfacelessGL(int width, int height) : width_(width), height_(height)
{
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        unavailableReason_ = "EGL offers no surfaceless platform (EGL_MESA_platform_surfaceless)";
        return;
    }
    const auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        unavailableReason_ = "EGL has no eglGetPlatformDisplayEXT";
        return;
    }
    display_ = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display_ == EGL_NO_DISPLAY || !eglInitialize(display_, nullptr, nullptr)) {
        display_ = EGL_NO_DISPLAY;
        unavailableReason_ = "no surfaceless EGL display (no GPU driver or Mesa)";
        return;
    }
    const char* displayExtensions = eglQueryString(display_, EGL_EXTENSIONS);
    if (!hasExtension(displayExtensions, "EGL_KHR_create_context") ||
        !hasExtension(displayExtensions, "EGL_KHR_surfaceless_context")) {
        unavailableReason_ = "EGL lacks EGL_KHR_create_context or EGL_KHR_surfaceless_context";
        return;
    }
    if (!eglBindAPI(EGL_OPENGL_API)) {
        unavailableReason_ = "EGL does not offer desktop OpenGL";
        return;
    }
    const EGLint configAttributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                                       EGL_NONE};
    EGLConfig config = nullptr;
    EGLint configCount = 0;
    if (!eglChooseConfig(display_, configAttributes, &config, 1, &configCount) || configCount < 1) {
        unavailableReason_ = "EGL has no configuration for desktop OpenGL";
        return;
    }
    // The compatibility profile needs 3.2 to be asked for by name; the driver
    // gives its highest compatible version.
    const EGLint contextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION_KHR,
                                        3,
                                        EGL_CONTEXT_MINOR_VERSION_KHR,
                                        2,
                                        EGL_CONTEXT_OPENGL_PROFILE_MASK_KHR,
                                        EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT_KHR,
                                        EGL_NONE};
    const EGLContext context = eglCreateContext(display_, config, EGL_NO_CONTEXT, contextAttributes);
    if (context == EGL_NO_CONTEXT) {
        unavailableReason_ = "EGL could not make a compatibility-profile OpenGL context";
        return;
    }
    if (!eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) {
        eglDestroyContext(display_, context);
        unavailableReason_ = "EGL could not make the context current without a surface";
        return;
    }
    context_ = context;

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
    // Colours reach the shader as given, not clamped by the fixed-function stage.
    glClampColor(GL_CLAMP_VERTEX_COLOR, GL_FALSE);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

SurfacelessGL::~SurfacelessGL()
{
    if (context_ != EGL_NO_CONTEXT) {
        for (GLuint program : programs_)
            glDeleteProgram(program);
        if (!textures_.empty())
            glDeleteTextures(static_cast<GLsizei>(textures_.size()), textures_.data());
        glDeleteFramebuffers(1, &framebuffer_);
        glDeleteTextures(1, &target_);
        eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(display_, context_);
    }
    // The display stays initialised: terminating it unloads the driver, and
    // what the driver keeps for the process would then show as leaks of
    // unknown code to a leak checker.
}

bool SurfacelessGL::useFragmentShader(const std::string& glsl, std::string& log)
{
    if (!available())
        return false;
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    const GLchar* text = glsl.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled != GL_TRUE) {
        log = shaderLog(shader);
        glDeleteShader(shader);
        return false;
    }
    const GLuint program = glCreateProgram();
    programs_.push_back(program);
    glAttachShader(program, shader);
    glLinkProgram(program);
    // The program keeps the compiled code; the shader object is not needed again.
    glDeleteShader(shader);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
        log = programLog(program);
        return false;
    }
    program_ = program;
    glUseProgram(program_);
    return true;
}

bool SurfacelessGL::setFloats(const char* name, std::initializer_list<float> values)
{
    const GLint location = available() ? glGetUniformLocation(program_, name) : -1;
    if (location < 0)
        return false;
    switch (values.size()) {
    case 1: glUniform1fv(location, 1, values.begin()); return true;
    case 2: glUniform2fv(location, 1, values.begin()); return true;
    case 3: glUniform3fv(location, 1, values.begin()); return true;
    case 4: glUniform4fv(location, 1, values.begin()); return true;
    default: return false;
    }
}

bool SurfacelessGL::setInts(const char* name, std::initializer_list<int> values)
{
    const GLint location = available() ? glGetUniformLocation(program_, name) : -1;
    if (location < 0)
        return false;
    switch (values.size()) {
    case 1: glUniform1iv(location, 1, values.begin()); return true;
    case 2: glUniform2iv(location, 1, values.begin()); return true;
    case 3: glUniform3iv(location, 1, values.begin()); return true;
    case 4: glUniform4iv(location, 1, values.begin()); return true;
    default: return false;
    }
}

bool SurfacelessGL::setMatrix4RowMajor(const char* name, const std::array<float, 16>& rows)
{
    const GLint location = available() ? glGetUniformLocation(program_, name) : -1;
    if (location < 0)
        return false;
    glUniformMatrix4fv(location, 1, GL_FALSE, rows.data());
    return true;
}

bool SurfacelessGL::bindTexture(const char* samplerName, int unit, int width, int height,
                                const std::vector<std::uint8_t>& rgba)
{
    if (!available() || rgba.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4)
        return false;
    GLuint texture = 0;
    glGenTextures(1, &texture);
    textures_.push_back(texture);
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glActiveTexture(GL_TEXTURE0);
    return setInts(samplerName, {unit});
}

bool SurfacelessGL::bindTargetCopy(const char* samplerName, int unit)
{
    if (!available())
        return false;
    GLuint texture = 0;
    glGenTextures(1, &texture);
    textures_.push_back(texture);
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
    glBindTexture(GL_TEXTURE_2D, texture);
    glCopyTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 0, 0, width_, height_, 0);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glActiveTexture(GL_TEXTURE0);
    return setInts(samplerName, {unit});
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
