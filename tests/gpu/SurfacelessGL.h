#pragma once

#include "GLSLEffectPass.h"
#include "OpenGLContextProtector.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A test fixture's OpenGL: the library's own context, in place on the
// constructing thread for the fixture's life, drawing into a small RGBA8
// texture through a framebuffer object of its own so that pixels read back
// without any window.
//
// When no EGL display or context can be made, available() is false and
// unavailableReason() says why; every other call then does nothing. Programs
// and textures made through the fixture are released with it.
class SurfacelessGL
{
public:
    using Float4 = std::array<float, 4>;

    // What the fixed-function vertex stage is fed at one corner of the quad.
    struct Corner
    {
        std::array<Float4, 8> texCoords{};
        Float4 colour{1.0f, 1.0f, 1.0f, 1.0f};
        // Three components: the fixed-function secondary colour has no alpha of its own.
        std::array<float, 3> secondaryColour{0.0f, 0.0f, 0.0f};
        // Generic vertex attributes 1 to 15; 0 is the position.
        std::array<Float4, 16> attributes{};
    };

    SurfacelessGL(int width, int height);
    ~SurfacelessGL();
    SurfacelessGL(const SurfacelessGL&) = delete;
    SurfacelessGL& operator=(const SurfacelessGL&) = delete;

    bool available() const { return unavailableReason_.empty(); }
    const std::string& unavailableReason() const { return unavailableReason_; }
    int width() const { return width_; }
    int height() const { return height_; }

    // Compiles a fragment shader and links it alone, so the fixed-function
    // vertex stage feeds it; the program is made current. False with the
    // driver's log when either step fails.
    bool useFragmentShader(const std::string& glsl, std::string& log);

    // Uniforms of the current program by name; false when the program has no
    // active uniform of that name.
    bool setInt(const char* name, int value);
    // Sixteen values, one row after the other: a Cg float4x4 set as it is.
    bool setMatrix4RowMajor(const char* name, const std::array<float, 16>& rows);

    // An RGBA8 texture with nearest filtering and clamp-to-edge, bound nowhere;
    // 0 when the bytes do not fill it.
    GLuint makeTexture(int width, int height, const std::vector<std::uint8_t>& rgba);

    // The same texture, bound on its
    // unit, with the named sampler uniform pointing at that unit.
    bool bindTexture(const char* samplerName, int unit, int width, int height, const std::vector<std::uint8_t>& rgba);

    // Fills the whole target with a quad whose corners are (-1,-1), (1,-1),
    // (1,1), (-1,1), in that order.
    void drawQuad(const std::array<Corner, 4>& corners);
    void drawQuad(const Corner& everywhere) { drawQuad({everywhere, everywhere, everywhere, everywhere}); }

    // The target's pixel, from the bottom row up, as values in [0, 1].
    Float4 pixel(int x, int y);

private:
    GLint uniformLocation(const char* name) const;

    int width_;
    int height_;
    OpenGLContextProtector protector_;
    GLuint framebuffer_ = 0;
    GLuint target_ = 0;
    GLuint program_ = 0;
    std::vector<std::unique_ptr<GLSLEffectPass>> passes_; // the programs made
    std::vector<GLuint> textures_;
    std::string unavailableReason_;
};
