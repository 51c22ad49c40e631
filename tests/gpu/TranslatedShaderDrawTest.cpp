#include "CgTranslator.h"
#include "OpenGLRequired.h"
#include "SurfacelessGL.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <sstream>

namespace {

using Float4 = SurfacelessGL::Float4;

constexpr int targetSize = 4;
// One step of an 8-bit channel, with room for the driver's rounding.
constexpr float tolerance = 1.0f / 255.0f + 1e-4f;

std::string text(const Float4& colour)
{
    std::ostringstream stream;
    stream << "(" << colour[0] << ", " << colour[1] << ", " << colour[2] << ", " << colour[3] << ")";
    return stream.str();
}

// Cg pixel shaders translated, linked with the fixed-function vertex stage and
// drawn on a small quad; the pixels read back are compared with the CPU's
// values for the same inputs.
class TranslatedShaderDrawTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        gl_ = std::make_unique<SurfacelessGL>(targetSize, targetSize);
        REQUIRE_OPENGL(gl_->available(), gl_->unavailableReason());
    }

    ::testing::AssertionResult use(const std::string& source, const std::vector<std::string>& arguments = {},
                                   unsigned glslVersion = 130)
    {
        const CgTranslator::Translation translation =
            CgTranslator::translate("draw.fx", source, "main", CgTranslator::eStage::pixel, arguments, glslVersion);
        if (!translation.succeeded)
            return ::testing::AssertionFailure() << "translation failed:\n" << translation.listing;
        std::string log;
        if (!gl_->useFragmentShader(translation.glsl, log))
            return ::testing::AssertionFailure() << "the driver refused the GLSL:\n" << log << "\n" << translation.glsl;
        return ::testing::AssertionSuccess();
    }

    ::testing::AssertionResult pixelIs(int x, int y, const Float4& expected)
    {
        const Float4 drawn = gl_->pixel(x, y);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            if (std::fabs(drawn[channel] - expected[channel]) > tolerance)
                return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << ") is " << text(drawn)
                                                     << ", expected " << text(expected);
        }
        return ::testing::AssertionSuccess();
    }

    ::testing::AssertionResult everyPixelIs(const Float4& expected)
    {
        for (int y = 0; y < targetSize; ++y) {
            for (int x = 0; x < targetSize; ++x) {
                ::testing::AssertionResult result = pixelIs(x, y, expected);
                if (!result)
                    return result;
            }
        }
        return ::testing::AssertionSuccess();
    }

    std::unique_ptr<SurfacelessGL> gl_;
};

} // namespace

TEST_F(TranslatedShaderDrawTest, EachTexcoordReadsTheCoordinateOfItsOwnUnit)
{
    // Every unit carries a different coordinate, so a shader reading the wrong
    // unit draws the wrong colour.
    SurfacelessGL::Corner corner;
    for (std::size_t unit = 0; unit < 8; ++unit) {
        const float step = static_cast<float>(unit) / 8.0f;
        corner.texCoords[unit] = {step, 1.0f - step, 0.5f * step + 0.125f, 0.0625f + step};
    }
    for (std::size_t unit = 0; unit < 8; ++unit) {
        SCOPED_TRACE("TEXCOORD" + std::to_string(unit));
        ASSERT_TRUE(use("float4 main(float4 coordinate : TEXCOORD" + std::to_string(unit) +
                        ") : COLOR { return coordinate; }\n"));
        gl_->drawQuad(corner);
        EXPECT_TRUE(everyPixelIs(corner.texCoords[unit]));
    }

    // All eight at once, with narrower types reading the leading components.
    ASSERT_TRUE(use(R"(
float4 main(float4 t0 : TEXCOORD0, float2 t1 : TEXCOORD1, float3 t2 : TEXCOORD2, float t3 : TEXCOORD3,
            float4 t4 : TEXCOORD4, float4 t5 : TEXCOORD5, float4 t6 : TEXCOORD6, float4 t7 : TEXCOORD7) : COLOR
{
    return (t0 + t1.xyxy + t2.xyzz + t3 + t4 + t5 + t6 + t7) / 8;
}
)"));
    gl_->drawQuad(corner);
    const auto& t = corner.texCoords;
    Float4 expected{};
    for (std::size_t channel = 0; channel < 4; ++channel) {
        const float narrow = t[1][channel % 2] + t[2][channel < 3 ? channel : 2] + t[3][0];
        expected[channel] = (t[0][channel] + narrow + t[4][channel] + t[5][channel] + t[6][channel] + t[7][channel]) / 8;
    }
    EXPECT_TRUE(everyPixelIs(expected));
}

TEST_F(TranslatedShaderDrawTest, Glsl120SamplesAndReadsBoolIntAndMatrixUniforms)
{
    ASSERT_TRUE(use(R"(
sampler2D image;
uniform float4x4 transform;
uniform bool invert;
uniform int count;
float3 main(float2 uv : TEXCOORD0, float4 v : TEXCOORD1) : COLOR
{
    float3 texel = tex2D(image, uv).rgb;
    return invert ? 1.0 - texel : texel * mul(transform, v).xyz * count / 4;
}
)",
                    {}, 120));
    const std::vector<std::uint8_t> texel{64, 128, 192, 255};
    ASSERT_TRUE(gl_->bindTexture("image", 0, 1, 1, texel));
    const std::array<float, 16> rows{0.5f, 0.25f, 0.0f, 0.0f, //
                                     0.0f, 0.5f, 0.5f, 0.0f, //
                                     0.25f, 0.0f, 0.0f, 1.0f, //
                                     0.0f, 0.0f, 0.0f, 1.0f};
    ASSERT_TRUE(gl_->setMatrix4RowMajor("transform", rows));
    ASSERT_TRUE(gl_->setInts("count", {2}));
    SurfacelessGL::Corner corner;
    corner.texCoords[1] = {1.0f, 0.5f, 0.25f, 0.75f};
    const Float4& v = corner.texCoords[1];
    Float4 expected{0.0f, 0.0f, 0.0f, 1.0f};
    for (std::size_t row = 0; row < 3; ++row) {
        float moved = 0.0f;
        for (std::size_t column = 0; column < 4; ++column)
            moved += rows[row * 4 + column] * v[column];
        expected[row] = static_cast<float>(texel[row]) / 255.0f * moved * 2.0f / 4.0f;
    }
    ASSERT_TRUE(gl_->setInts("invert", {0}));
    gl_->drawQuad(corner);
    EXPECT_TRUE(everyPixelIs(expected));
    ASSERT_TRUE(gl_->setInts("invert", {1}));
    gl_->drawQuad(corner);
    EXPECT_TRUE(everyPixelIs({1.0f - 64.0f / 255.0f, 1.0f - 128.0f / 255.0f, 1.0f - 192.0f / 255.0f, 1.0f}));
}
