#include "CgLibrary.h"
#include "CgTranslator.h"
#include "OpenGLRequired.h"
#include "SurfacelessGL.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

using Float4 = SurfacelessGL::Float4;
using Matrix = std::array<std::array<float, 4>, 4>;

// One step of an 8-bit channel, with room for the driver's rounding.
constexpr float tolerance = 1.0f / 255.0f + 1e-4f;
constexpr unsigned versions[] = {120, 130};
constexpr Matrix matrix{{{0.5f, 0.25f, -0.5f, 0.125f}, {0.75f, -0.5f, 0.25f, 0.5f}, {0.25f, 0.5f, 0.75f, -0.25f},
                         {-0.5f, 0.25f, 0.5f, 0.75f}}};

// A value in [0, 1] that a library call computes. The shader's `one` and
// `zero` are texture coordinates, so that nothing folds before the GPU runs it.
struct Computation
{
    const char* cg;
    float expected;
    bool glsl120 = true;
};

const Computation computations[] = {
    {"trunc(-1.75 * one) / 4 + 0.5", 0.25f},
    {"trunc(float2(2.5, -0.3) * one).y + 0.5", 0.5f},
    {"fmod(-1.75 * one, 0.75) + 0.5", std::fmod(-1.75f, 0.75f) + 0.5f},
    {"fmod(float3(-1.75, 1.5, 0) * one, float2(1, -0.625)).y + 0.5", std::fmod(1.5f, -0.625f) + 0.5f},
    {"fmod(3 * one, float4(2, 2, 2, 1.25)).w", std::fmod(3.0f, 1.25f)},
    {"modf(-1.3 * one, whole) + 0.5", 0.2f},
    {"(modf(3.7 * one, whole), whole) / 4", 0.75f},
    {"frexp(12 * one, exponent) / 2 + (frexp(12 * one, exponent), exponent) / 16", 0.375f + 0.25f},
    {"frexp(one, exponent) + (frexp(one, exponent), exponent) / 4", 0.75f},
    {"frexp(float2(3, -0.3) * one, exponents).y + 1 + (frexp(float2(3, -0.3) * one, exponents), exponents.y) / 4",
     0.4f - 0.25f},
    {"ldexp(5 * one, -3)", 0.625f},
    {"sinh(0.5 * one)", std::sinh(0.5f)},
    {"cosh(-1.2 * one) / 2", std::cosh(-1.2f) / 2},
    {"(tanh(float2(0.3, -20) * one).x + tanh(-20 * one) + 1) / 2", std::tanh(0.3f) / 2},
    {"isnan(sqrt(-one)) * 0.5 + isnan(one) * 0.25", 0.5f},
    {"isinf(float3(one / zero, log(zero), one)).y * 0.5 + isinf(one) * 0.25", 0.5f},
    {"isfinite(one / zero) * 0.5 + isfinite(float2(one, sqrt(-one))).x * 0.25", 0.25f},
    {"determinant((float2x2)m) / 4 + 0.5", -0.4375f / 4 + 0.5f},
    {"determinant((float3x3)m) / 4 + 0.5", -0.625f / 4 + 0.5f},
    {"determinant(m) / 4 + 0.5", -0.703125f / 4 + 0.5f},
    {"mul(inverse(m), mul(m, float4(0.1, 0.2, 0.3, 0.4))).z + mul(inverse((float3x3)m), mul((float3x3)m, float3(0.1, "
     "0.2, 0.3))).y + mul(inverse((float2x2)m), mul((float2x2)m, float2(0.1, 0.2))).x",
     0.6f},
    {"(lit(0.6 * one, 0.8, 4).y + lit(0.6 * one, 0.8, 4).z) / 2", (0.6f + std::pow(0.8f, 4.0f)) / 2},
    {"lit(-0.2 * one, 0.8, 4).z + lit(-0.2 * one, 0.8, 4).x / 2", 0.5f},
    // -1.5 is 0xbfc00000.
    {"(floatToRawIntBits(-1.5 * one) >> 16 & 255) / 255.0", 0xc0 / 255.0f, false},
    {"(floatToIntBits(float2(one, sqrt(-one))).y >> 24) / 255.0", 127.0f / 255, false},
    {"intBitsToFloat(0x3e800000 + int(zero))", 0.25f, false},
    // Where each packs its parts, and what each unpacks from bits made by hand.
    {"(floatToRawIntBits(pack_4ubyte(float4(0.2, 0.4, 0.6, 0.1) * one)) >> 8 & 255) / 510.0"
     " + unpack_4ubyte(intBitsToFloat(0x40302010 + int(zero))).z / 2",
     0.2f + 0x30 / 510.0f, false},
    {"(floatToRawIntBits(pack_4byte(float4(-1, 0, 0.5, 0.25) * one)) >> 16 & 255) / 510.0"
     " + (unpack_4byte(intBitsToFloat(0x4080ff00 + int(zero))).x + 1.5) / 2",
     192.0f / 510 + (1.5f - 128.0f / 127) / 2, false},
    {"(floatToRawIntBits(pack_2half(float2(1, -2) * one)) >> 24 & 255) / 510.0"
     " + unpack_2half(intBitsToFloat(0x3800b400 + int(zero))).x + 0.25",
     0xc0 / 510.0f, false},
    {"(floatToRawIntBits(pack_2ushort(float2(0.5, 0.25) * one)) >> 8 & 255) / 510.0"
     " + unpack_2ushort(intBitsToFloat(0x40008000 + int(zero))).y / 2",
     0x80 / 510.0f + 16384.0f / 65535 / 2, false},
};

// Every texture's texels differ, from each other and from other textures'.
Float4 texel(int unit, int x, int y, int z)
{
    return {float(20 + 50 * x + 4 * unit) / 255, float(20 + 50 * y + 3 * unit) / 255,
            float(20 + 20 * z + 25 * unit) / 255, float(255 - 10 * unit - x - y) / 255};
}

// A texture function's result on samplers s1 (1D, 4 texels, unit 1), s2 (2D,
// 4x4, unit 2), s3 (3D, 2x2x2, unit 3), sc (a cube of one texel a face, the
// face as z, unit 4) and sr (a 4x4 rectangle, unit 5). c2 is s2's texel (1, 2).
struct TextureCall
{
    const char* cg;
    Float4 expected;
    bool glsl120 = true;
};

const TextureCall textureCalls[] = {
    {"tex1D(s1, float2(0.625, 0.3))", texel(1, 2, 0, 0)},
    {"tex1D(s1, 0.625, 0.01, 0.01)", texel(1, 2, 0, 0)},
    {"tex1Dproj(s1, float2(1.25, 2))", texel(1, 2, 0, 0)},
    {"tex1Dproj(s1, float3(0.25, 0.3, 2))", texel(1, 0, 0, 0)},
    {"tex1Dbias(s1, float4(0.875, 0, 0, 1)) + tex1Dcmplod(s1, float4(0.1, 0.3, 0, 0)) * 0", texel(1, 3, 0, 0)},
    {"tex1D(s1, 0.375, 2)", texel(1, 3, 0, 0), false},
    {"tex1Dfetch(s1, int4(2, 0, 0, 0), -2)", texel(1, 0, 0, 0), false},
    {"tex2D(s2, float3(c2, 0.9))", texel(2, 1, 2, 0)},
    {"tex2D(s2, float4(c2, 0.9, 0.1))", texel(2, 1, 2, 0)},
    {"tex2D(s2, float3(0.875, 0.125, 0.5), float2(0.01, 0), float2(0, 0.01))", texel(2, 3, 0, 0)},
    {"tex2Dproj(s2, float3(0.75, 1.25, 2))", texel(2, 1, 2, 0)},
    {"tex2Dproj(s2, float4(1.25, 0.75, 0.3, 2))", texel(2, 2, 1, 0)},
    {"tex2Dlod(s2, float4(0.625, 0.375, 0, 0)) + tex2Dcmpbias(s2, float4(c2, 0.5, 1)) * 0", texel(2, 2, 1, 0)},
    {"float4(h1tex2D(s2, c2), x2tex2D(s2, c2).y, f3tex2D(s2, c2).z, f4tex2Dproj(s2, float3(c2, 1)).w)",
     texel(2, 1, 2, 0)},
    {"tex2D(s2, c2, int2(2, -1))", texel(2, 3, 1, 0), false},
    {"tex2Dproj(s2, float3(c2 * 2, 2), int2(1, 1))", texel(2, 2, 3, 0), false},
    {"tex2Dfetch(s2, int4(1, 2, 0, 0), int2(-1, 1))", texel(2, 0, 3, 0), false},
    {"float4(tex2Dsize(s2, 0) / 8.0, 1)", {0.5f, 0.5f, 0.0f, 1.0f}, false},
    {"tex3D(s3, float3(0.25, 0.75, 0.75), float3(0.01, 0, 0), float3(0, 0.01, 0))", texel(3, 0, 1, 1)},
    {"tex3Dproj(s3, float4(1.5, 0.5, 1.5, 2))", texel(3, 1, 0, 1)},
    {"tex3Dfetch(s3, int4(0, 1, 1, 0))", texel(3, 0, 1, 1), false},
    {"float4(tex3Dsize(s3, 0) / 4.0, 1)", {0.5f, 0.5f, 0.5f, 1.0f}, false},
    {"texCUBE(sc, float4(-0.1, -1, 0.2, 0.5))", texel(4, 0, 0, 3)},
    {"texCUBEproj(sc, float4(0, 0, 2, -2))", texel(4, 0, 0, 5)},
    {"x4texCUBE(sc, float3(-1, 0, 0), float3(0.01, 0, 0), float3(0, 0.01, 0))", texel(4, 0, 0, 1)},
    {"float4(texCUBEsize(sc, 0) / 2.0, 1)", {0.5f, 0.5f, 0.0f, 1.0f}, false},
    {"texRECT(sr, float3(1.5, 2.5, 0.3))", texel(5, 1, 2, 0)},
    {"texRECT(sr, float2(3.5, 0.5), float2(1, 0), float2(0, 1))", texel(5, 3, 0, 0)},
    {"texRECT(sr, float2(1.5, 2.5), int2(1, -2))", texel(5, 2, 0, 0)},
    {"texRECTproj(sr, float3(3, 5, 2))", texel(5, 1, 2, 0)},
    {"texRECTproj(sr, float4(5, 3, 0.2, 2))", texel(5, 2, 1, 0)},
    {"texRECTbias(sr, float4(2.5, 1.5, 0, 1)) + texRECTlod(sr, float4(0.5, 0.5, 0, 0)) * 0", texel(5, 2, 1, 0)},
    {"texRECTfetch(sr, int4(1, 2, 0, 0), int2(2, 1))", texel(5, 3, 3, 0)},
    {"float4(f2texRECTproj(sr, float3(3, 5, 2)), h4texRECTfetch(sr, int4(1, 2, 0, 0)).zw)", texel(5, 1, 2, 0)},
    {"float4(texRECTsize(sr, 0) / 8.0, 1)", {0.5f, 0.5f, 0.0f, 1.0f}, false},
};

// Library calls translated, linked with the fixed-function vertex stage and
// drawn on a small quad, in GLSL 1.30 and 1.20, then read back.
class CgLibraryDrawTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        gl_ = std::make_unique<SurfacelessGL>(4, 4);
        REQUIRE_OPENGL(gl_->available(), gl_->unavailableReason());
    }

    void TearDown() override
    {
        if (!textures_.empty())
            glDeleteTextures(GLsizei(textures_.size()), textures_.data());
    }

    // Draws with what `source` translates to, or where GLSL 1.20 cannot have
    // it, checks that it is refused with a listing line.
    void expectPixel(const std::string& source, unsigned version, bool glsl120, const Float4& expected,
                     const SurfacelessGL::Corner& corner = {})
    {
        SCOPED_TRACE(source + "in GLSL " + std::to_string(version));
        const CgTranslator::Translation translation =
            CgTranslator::translate("library.fx", source, "main", CgTranslator::eStage::pixel, {}, version);
        if (version == 120 && !glsl120) {
            EXPECT_EQ(translation.listing.rfind("library.fx(", 0), 0u) << translation.listing;
            return;
        }
        std::string log;
        ASSERT_TRUE(translation.succeeded) << translation.listing;
        ASSERT_TRUE(gl_->useFragmentShader(translation.glsl, log)) << log << translation.glsl;
        // Samplers that the code leaves unused have no uniform.
        const char* const samplers[] = {"s1", "s2", "s3", "sc", "sr"};
        for (int unit = 1; unit <= 5; ++unit)
            gl_->setInt(samplers[unit - 1], unit);
        gl_->drawQuad(corner);
        const Float4 drawn = gl_->pixel(1, 2);
        for (std::size_t channel = 0; channel < 4; ++channel)
            EXPECT_NEAR(drawn[channel], expected[channel], tolerance) << "channel " << channel;
    }

    // One level of texels, bound on `unit`; a cube's faces are its depth.
    void makeTexture(GLenum target, int unit, int width, int height, int depth)
    {
        std::vector<std::uint8_t> bytes;
        for (int z = 0; z < depth; ++z) {
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    for (const float channel : texel(unit, x, y, z))
                        bytes.push_back(std::uint8_t(std::lround(channel * 255)));
                }
            }
        }
        textures_.emplace_back();
        glGenTextures(1, &textures_.back());
        glActiveTexture(GLenum(GL_TEXTURE0 + unit));
        glBindTexture(target, textures_.back());
        // A linear rectangle shows whether texel coordinates hit texel centres.
        const GLint filter = target == GL_TEXTURE_RECTANGLE ? GL_LINEAR : GL_NEAREST;
        glTexParameteri(target, GL_TEXTURE_MIN_FILTER, filter);
        glTexParameteri(target, GL_TEXTURE_MAG_FILTER, filter);
        glTexParameteri(target, GL_TEXTURE_MAX_LEVEL, 0);
        if (target == GL_TEXTURE_1D)
            glTexImage1D(target, 0, GL_RGBA8, width, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
        else if (target == GL_TEXTURE_3D)
            glTexImage3D(target, 0, GL_RGBA8, width, height, depth, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
        for (int face = 0; target == GL_TEXTURE_CUBE_MAP && face < depth; ++face)
            glTexImage2D(GLenum(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face), 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                         bytes.data() + face * 4);
        if (target == GL_TEXTURE_2D || target == GL_TEXTURE_RECTANGLE)
            glTexImage2D(target, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
        glActiveTexture(GL_TEXTURE0);
    }

    std::unique_ptr<SurfacelessGL> gl_;
    std::vector<GLuint> textures_;
};

} // namespace

TEST_F(CgLibraryDrawTest, FunctionsComputeAsOnTheCpu)
{
    SurfacelessGL::Corner corner;
    corner.texCoords[0] = {1.0f, 0.0f, 0.0f, 0.0f};
    std::string matrixText;
    for (const auto& row : matrix) {
        for (const float value : row)
            matrixText += (matrixText.empty() ? "" : ", ") + std::to_string(value);
    }
    for (const Computation& computation : computations) {
        for (const unsigned version : versions) {
            expectPixel("float4 main(float4 t : TEXCOORD0) : COLOR\n{\n    float one = t.x, zero = t.y, whole, "
                        "exponent;\n    float2 exponents;\n    float4x4 m = float4x4(" +
                            matrixText + ") * one;\n    return float4(" + computation.cg + ", 0, 0, 1);\n}\n",
                        version, computation.glsl120, {computation.expected, 0.0f, 0.0f, 1.0f}, corner);
        }
    }
}

TEST_F(CgLibraryDrawTest, TextureFunctionsSampleTheTexelsTheyName)
{
    makeTexture(GL_TEXTURE_1D, 1, 4, 1, 1);
    makeTexture(GL_TEXTURE_2D, 2, 4, 4, 1);
    makeTexture(GL_TEXTURE_3D, 3, 2, 2, 2);
    makeTexture(GL_TEXTURE_CUBE_MAP, 4, 1, 1, 6);
    makeTexture(GL_TEXTURE_RECTANGLE, 5, 4, 4, 1);
    for (const TextureCall& call : textureCalls) {
        for (const unsigned version : versions) {
            expectPixel(std::string("sampler1D s1; sampler2D s2; sampler3D s3; samplerCUBE sc; samplerRECT sr;\n"
                                    "float4 main() : COLOR { float2 c2 = float2(0.375, 0.625); return ") +
                            call.cg + "; }\n",
                        version, call.glsl120, call.expected);
        }
    }
}

TEST_F(CgLibraryDrawTest, AnEffectsOwnFunctionsOfLibraryNamesStayItsOwn)
{
    SurfacelessGL::Corner corner;
    corner.texCoords[0] = {0.5f, 0.75f, 0.0f, 0.0f};
    for (const unsigned version : versions) {
        expectPixel(R"(sampler2D s2;
float trunc(float x) { return x * 0.25; }
float4 f4tex2D(sampler2D s, float2 uv);
float4 main(float4 t : TEXCOORD0) : COLOR { return float4(trunc(t.x), f4tex2D(s2, t.xy).y, fmod(-1.5, 1) + 1, 1); }
float4 f4tex2D(sampler2D s, float2 uv) { return uv.xyxy; }
)",
                    version, true, {0.125f, 0.75f, 0.5f, 1.0f}, corner);
    }
}

TEST(CgLibraryTest, BadCallsAreListedAtTheirLineUnderTheirCgName)
{
    for (const char* call : {"tex2D(s2)", "tex2D(uv, s2)", "f4tex2D(s2, uv, uv, uv, uv, uv)", "tex2Dfetch(s2, uv)",
                             "float4(texRECTsize(frame), 1)", "fmod(uv)", "lit(1, 2)", "pack_4ubyte(s2)",
                             "determinant(uv)", "frexp(uv.x, 2)", "debug(colour)", "f5tex2D(s2, uv)"}) {
        for (const unsigned version : versions) {
            const CgTranslator::Translation translation = CgTranslator::translate(
                "bad.fx",
                std::string("sampler2D s2;\nsamplerRECT frame;\nfloat4 main(float2 uv : TEXCOORD0) : COLOR\n{\n"
                            "    float4 colour = tex2D(s2, uv);\n    return colour + ") + call + ";\n}\n",
                "main", CgTranslator::eStage::pixel, {}, version);
            EXPECT_FALSE(translation.succeeded) << call;
            EXPECT_EQ(translation.listing.rfind("bad.fx(6) : error: ", 0), 0u) << call << "\n" << translation.listing;
            EXPECT_EQ(translation.listing.find("kvcg_"), std::string::npos) << translation.listing;
        }
    }
}
