#include "OpenGL3DEffect.h"
#include "CairoImage.h"
#include "EGLPlatform.h"
#include "GPUImage.h"
#include "OS.h"
#include "OpenGLContextProtector.h"
#include "OpenGLRequired.h"
#include "OpenGLUtils.h"
#include "iMediaServices.h"

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace
{
    constexpr double kEye = 2.4142134189605713;         // the eye's distance
    constexpr double kEdge = 2.4142134877530865 / kEye; // the square from -1 to 1 ends there, in clip terms
    constexpr float kTurn = 1.57079633f;
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr int kHigh = 480; // pixel forms: an image of the row's aspect this high

    const OpenGL3DEffect effect{};

    void expectNear(double actual, double expected, double tolerance)
    {
        if (std::isnan(expected))
            EXPECT_TRUE(std::isnan(actual)) << actual;
        else
            EXPECT_NEAR(actual, expected, tolerance);
    }

    // A polygon's corner lands where this point does: the view mirrors x and y.
    XYZ<float> mirrored(const XYZ<float>& corner) { return {-corner.x, -corner.y, corner.z}; }
}

TEST(OpenGL3DEffect, ProjectsToFractionsAndToWholePixels)
{
    const struct
    {
        const char* name;
        XYZ<float> point, translation, rotation;
        float aspect;
        XY<double> expected;
    } cases[] = {
        {"the origin in the middle", {0, 0, 0}, {}, {}, 1, {0.5, 0.5}},
        {"x mirrored", {1, 1, 0}, {}, {}, 1, {0.5 - 0.5 * kEdge, 0.5 + 0.5 * kEdge}},
        {"the aspect narrows x", {1, 0, 0}, {}, {}, 2, {0.5 - 0.25 * kEdge, 0.5}},
        {"twice as far", {1, 1, float(kEye)}, {}, {}, 1, {0.5 - 0.25 * kEdge, 0.5 + 0.25 * kEdge}},
        {"moved away", {1, 1, 0}, {0, 0, float(kEye)}, {}, 1, {0.5 - 0.25 * kEdge, 0.5 + 0.25 * kEdge}},
        {"moved against x and y", {0, 0, 0}, {0.5f, 0.25f, 0}, {}, 1, {0.5 + 0.25 * kEdge, 0.5 - 0.125 * kEdge}},
        {"turned with z", {1, 0, 0}, {}, {0, 0, kTurn}, 1, {0.5, 0.5 + 0.5 * kEdge}},
        {"turned against y", {0, 0, 1}, {}, {0, kTurn, 0}, 1, {0.5 + 0.5 * kEdge, 0.5}},
        {"turned against x, off the image", {0, 1, 1}, {}, {kTurn, 0, 0}, 1, {0.5, 0.5 + 0.5 * kEdge / (1 - 1 / kEye)}},
        {"no aspect", {0, 0, 0}, {}, {}, 0, {kNaN, 0.5}},
        {"a NaN point", {kNaN, 0, 0}, {}, {}, 1, {kNaN, kNaN}},
    };
    // Pixels are truncated, and what no int holds is the lowest int.
    const auto pixel = [](double fraction, int size) {
        return std::isnan(fraction) ? double(std::numeric_limits<int>::min()) : std::trunc(fraction * size);
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const XY<float> fraction = effect.projectPoint(test.point, test.translation, test.rotation, test.aspect);
        expectNear(fraction.x, test.expected.x, 1e-6);
        expectNear(fraction.y, test.expected.y, 1e-6);
        const int wide = int(test.aspect * kHigh);
        const XY<float> window = effect.projectPoint(test.point, test.translation, test.rotation, wide, kHigh);
        EXPECT_EQ(window.x, pixel(test.expected.x, wide));
        EXPECT_EQ(window.y, pixel(test.expected.y, kHigh));
    }
}

TEST(OpenGL3DEffect, UnProjectsFromTheNearPlaneOnTheEyesAxis)
{
    // With no translation in z the image's point (x, y) at depth z gives
    // 0.999 ((2x - 1) aspect, 1 - 2y) (z + eye) / focal: the far plane less
    // the near one, over the far one. Moved 1 away, the far plane is at 99.
    const double kShort = 99.9 / 99 / kEdge;
    const struct
    {
        const char* name;
        XYZ<float> point, translation;
        float aspect;
        XYZ<double> expected;
    } cases[] = {
        {"the middle", {0.5f, 0.5f, 0}, {}, 1, {0, 0, 0}},
        {"moved in x and y, the same", {0.25f, 0.375f, 0}, {0.2f, -0.1f, 0}, 1, {-0.4995 / kEdge, 0.24975 / kEdge, 0}},
        {"deeper and wider", {0, 1, float(kEye)}, {}, 2, {-3.996 / kEdge, -1.998 / kEdge, kEye}},
        {"moved in z, the far plane nearer", {0.25f, 0.375f, 0}, {0, 0, 1}, 1, {-0.5 * kShort, 0.25 * kShort, 0}},
        {"a NaN point", {kNaN, 0.5f, 0}, {}, 1, {kNaN, kNaN, 0}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const int wide = int(test.aspect * kHigh);
        for (const XYZ<float>& corner :
             {effect.unProjectPoint(test.point, test.translation, {}, test.aspect),
              effect.unProjectPoint({test.point.x * wide, test.point.y * kHigh, test.point.z}, test.translation, {},
                                    wide, kHigh)}) {
            expectNear(corner.x, test.expected.x, 1e-5);
            expectNear(corner.y, test.expected.y, 1e-5);
            expectNear(corner.z, test.expected.z, 0);
        }
    }

    // There and back, a corner comes moved by the translation and a thousandth short.
    for (const XYZ<float>& corner : {XYZ<float>{0.5f, -0.25f, 0}, XYZ<float>{-1, 0.5f, 0.3f}, XYZ<float>{1, 1, -1}}) {
        const XYZ<float> translation{0.2f, -0.1f, 0};
        const XY<float> window = effect.projectPoint(mirrored(corner), translation, {}, 1.5f);
        const XYZ<float> back = effect.unProjectPoint({window.x, window.y, corner.z}, translation, {}, 1.5f);
        EXPECT_NEAR(back.x, 0.999 * (corner.x + translation.x), 1e-5);
        EXPECT_NEAR(back.y, 0.999 * (corner.y + translation.y), 1e-5);
        EXPECT_EQ(back.z, corner.z);
    }
}

namespace
{
    using Pixel = std::uint32_t; // 0xAARRGGBB
    constexpr Pixel kBlack = 0xFF000000;
    constexpr Pixel kRed = 0xFFFF0000;
    constexpr Pixel kGreen = 0xFF00FF00;
    constexpr Pixel kBlue = 0xFF0000FF;
    constexpr Pixel kWhite = 0xFFFFFFFF;
    constexpr int kWidth = 128;
    constexpr int kHeight = 96;

    // Channels turned round: red is read as blue, green as red, blue as green.
    const char kTurnEffect[] = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; };
float4 turn(float2 uv : TEXCOORD0) : COLOR { float4 c = tex2D(InputSampler, uv); return float4(c.g, c.b, c.r, 1); }
technique Turn { pass One { PixelShader = compile PROFILE turn(); } })";

    class OpenGL3DEffectRender : public ::testing::Test
    {
    protected:
        void SetUp() override
        {
            REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason());
            const OpenGLContextProtector protector;
            glUseProgram(0); // a program left in use would stand in for the fixed-function stage
        }

        // Black, as a recycled texture keeps its old pixels.
        static Kv::Ptr<GPUImage> blackImage()
        {
            const Kv::Ptr<GPUImage> image(new GPUImage(iGPUImage::StorageT{XY<int>(kWidth, kHeight)}));
            RectDescription black;
            black.rect = {0, 0, kWidth, kHeight};
            image->getPrimitivesRenderer(false)->renderMulti(&black, 1);
            return image;
        }

        // From the bottom left.
        static Pixel at(const Kv::Ptr<GPUImage>& image, const XY<float>& point)
        {
            const Kv::Ptr<iPixelGuard> pixels = OpenGLUtils::instance().copyToHost(image)->lock();
            const int x = int(std::floor(point.x));
            const int y = int(std::floor(point.y));
            EXPECT_TRUE(x >= 0 && x < kWidth && y >= 0 && y < kHeight) << x << ", " << y;
            return reinterpret_cast<const Pixel*>(pixels->getPixels() + y * pixels->getStride())[x];
        }
    };
}

TEST_F(OpenGL3DEffectRender, CornersLandWhereProjectPointSaysInTheColoursOfTheirPath)
{
    // 16 by 16 in quarters: red, green over blue, white, with t = 0 on the first.
    const Kv::Ptr<iHostImage> host(new CairoImage(XY<int>(16, 16), 32, 1));
    const Kv::Ptr<iPixelGuard> pixels = host->lock();
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            reinterpret_cast<Pixel*>(pixels->getPixels() + y * pixels->getStride())[x] =
                y < 8 ? (x < 8 ? kRed : kGreen) : (x < 8 ? kBlue : kWhite);
    const Kv::Ptr<iGPUResource> texture = OS()->mediaServices()->copyToGPU(host);
    const Kv::Ptr<iShaderEffect> turn = OS()->mediaServices()->compileFXFileFromBuffer(kTurnEffect, {}).effect;
    ASSERT_TRUE(turn);
    const XYZ<float> translation{0.1f, -0.05f, 0.3f};
    const XYZ<float> rotation{0.3f, -0.35f, 0.15f};
    const struct
    {
        const char* name;
        std::vector<Kv::Ptr<iGPUResource>> textures;
        Kv::Ptr<iShaderEffect> effect;
        NormalisedRGB colour;
        Pixel inside[4];
    } cases[] = {
        {"a texture tinted white", {texture}, nullptr, {1, 1, 1}, {kRed, kGreen, kBlue, kWhite}},
        // The effect reads each corner at the coordinates of the one across the strip.
        {"an effect of one input", {texture}, turn, {1, 1, 1}, {kGreen, kWhite, kBlue, kRed}},
        {"an effect of another number of inputs", {texture, texture}, turn, {1, 1, 1}, {kRed, kGreen, kBlue, kWhite}},
        {"colours alone, blended", {}, nullptr, {0, 1, 1, 0.5f}, {0xBF008080, 0xBF008080, 0xBF008080, 0xBF008080}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        Polygon3D polygon{test.textures, test.effect, {}};
        XY<float> corners[4];
        XY<float> centre;
        for (int corner = 0; corner < 4; ++corner) {
            polygon.vertices[corner] = {test.colour, {corner % 2 ? 0.7f : -0.7f, corner < 2 ? 0.6f : -0.6f, 0},
                                        {float(corner % 2), float(corner / 2)}};
            corners[corner] = effect.projectPoint(mirrored(polygon.vertices[corner].position), translation, rotation,
                                                  kWidth, kHeight);
            centre = XY<float>(centre.x + corners[corner].x / 4, centre.y + corners[corner].y / 4);
        }
        const Kv::Ptr<GPUImage> image = blackImage();
        effect.render(image, {polygon}, translation, rotation, float(kWidth) / kHeight);
        // Six pixels from each corner towards the middle, and away from it.
        for (int corner = 0; corner < 4; ++corner) {
            const XY<float> in(centre.x - corners[corner].x, centre.y - corners[corner].y);
            const float scale = 6 / std::hypot(in.x, in.y);
            for (const int side : {1, -1}) {
                const Pixel actual = at(image, {corners[corner].x + 0.5f + side * scale * in.x,
                                                corners[corner].y + 0.5f + side * scale * in.y});
                const Pixel expected = side > 0 ? test.inside[corner] : kBlack;
                for (int shift = 0; shift < 32; shift += 8)
                    EXPECT_NEAR(int(actual >> shift & 0xFF), int(expected >> shift & 0xFF), 1)
                        << "corner " << corner << (side > 0 ? " inside: " : " outside: ") << std::hex << actual;
            }
        }
    }
}

TEST_F(OpenGL3DEffectRender, BadInputDrawsWhatItCanWithoutACrash)
{
    Polygon3D polygon;
    for (Polygon3D::Vertex& corner : polygon.vertices)
        corner.position = {kNaN, kNaN, kNaN};
    effect.render(nullptr, {polygon}, {}, {}, 1);
    const Kv::Ptr<GPUImage> image = blackImage();
    effect.render(image, {polygon}, {}, {}, 1);
    effect.render(image, {}, {kNaN, 0, 0}, {0, kNaN, 0}, 0);
    EXPECT_EQ(at(image, {kWidth / 2.0f, kHeight / 2.0f}), kBlack);
}
