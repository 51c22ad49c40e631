#include "EGLPlatform.h"
#include "GPUFontBase.h"
#include "GPUImage.h"
#include "GPUNumericFont.h"
#include "GPUTextCache.h"
#include "OS.h"
#include "OpenGLRequired.h"
#include "OpenGLTextureCache.h"
#include "OpenGLUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cwchar>
#include <thread>
#include <vector>

namespace {

// A GPU image read back: bytes B, G, R, A, rows in the order they were uploaded.
class ReadBack
{
public:
    explicit ReadBack(const Kv::Ptr<iImageBase>& image)
        : host(OpenGLUtils::instance().copyToHost(Kv::dynamicCast<GPUImage>(image))), pixels(host->lock())
    {
    }

    std::vector<int> at(int x, int y) const
    {
        const unsigned char* pixel = pixels->getPixels() + y * pixels->getStride() + x * 4;
        return {pixel[0], pixel[1], pixel[2], pixel[3]};
    }

    // The largest value of each byte over the columns, all rows.
    std::vector<int> maxima(int left, int right) const
    {
        std::vector<int> result(4, 0);
        for (int y = 0; y < host->getSize().y; ++y)
            for (int x = left; x < right; ++x) {
                const std::vector<int> pixel = at(x, y);
                std::transform(result.begin(), result.end(), pixel.begin(), result.begin(),
                               [](int a, int b) { return std::max(a, b); });
            }
        return result;
    }

private:
    Kv::Ptr<iHostImage> host;
    Kv::Ptr<iPixelGuard> pixels;
};

const std::vector<int> kOpaqueBlack{0, 0, 0, 255};

Kv::Ptr<iFont> hostFont()
{
    return OS()->mediaServices()->createHostSurfaceFont(L"DejaVu Sans", 24, 0);
}

class GPUText : public ::testing::Test
{
protected:
    void SetUp() override
    {
        REQUIRE_OPENGL(OpenGLUtils::isAvailable(), EGLPlatform::instance().unavailableReason());
        cache.purge();
    }

    void TearDown() override { cache.purge(); }

    Kv::Ptr<iGPUImage> cacheText(const TextDescription& key)
    {
        return cache.copyToGPU(key, OS()->mediaServices()->createHostSurface(XY<int>(4, 4)));
    }

    GPUTextCache& cache = GPUTextCache::instance();
};

TEST_F(GPUText, OneTextInAnyColourIsOneCachedImageDrawnWhiteOnBlack)
{
    const Kv::Ptr<iFont> font = OS()->mediaServices()->createGPUSurfaceFont(L"DejaVu Sans", 24, 0);
    const auto* gpuFont = dynamic_cast<const GPUFontBase*>(font.get());
    ASSERT_NE(gpuFont, nullptr);
    const TextDescription red(L"Timeline", XY<int>(5, 40), NormalisedRGB(1, 0, 0), TextAlignment{1, 1}, font);
    TextDescription blue = red;
    blue.colour = NormalisedRGB(0, 0, 1, 0.5f);
    blue.position = XY<int>(70, 9);

    const ImageDescriptionEx first = gpuFont->renderText(red);
    const ImageDescriptionEx second = gpuFont->renderText(blue);
    ASSERT_TRUE(first.image);
    EXPECT_EQ(second.image.get(), first.image.get());
    EXPECT_EQ(first.blend, 1);
    const XY<int> measured = font->measure(red.text, -1);
    const XY<int> size = first.image->getSize();
    EXPECT_EQ(size, XY<int>(measured.x + 2, measured.y + 2)) << "a pixel to spare on every side";
    EXPECT_EQ(first.source, (Kv::Rectangle<float>{0, 0, float(size.x), float(size.y)}));

    const ReadBack pixels(first.image);
    EXPECT_EQ(pixels.at(0, 0), kOpaqueBlack);
    EXPECT_EQ(pixels.at(size.x - 1, size.y - 1), kOpaqueBlack);
    EXPECT_EQ(pixels.maxima(0, size.x), (std::vector<int>{255, 255, 255, 255})) << "white text";

    const ImageDescriptionEx empty = gpuFont->renderText(TextDescription(L"", {}, {}, {}, font));
    EXPECT_FALSE(empty.image);
    EXPECT_EQ(empty.blend, 1);
}

TEST_F(GPUText, TheTwentySixthTextEvictsTheOldestEvenWhenJustFound)
{
    const Kv::Ptr<iFont> font = hostFont();
    // Cached in reverse key order, a clock tick apart, so that only the time
    // can choose the first.
    std::vector<TextDescription> keys;
    for (wchar_t last = L'z'; keys.size() <= GPUTextCache::kLimit; --last)
        keys.emplace_back(LightweightString<wchar_t>(L"take ") + last, XY<int>(), NormalisedRGB(), TextAlignment(), font);
    for (std::size_t index = 0; index < GPUTextCache::kLimit; ++index) {
        cacheText(keys[index]);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }

    const Kv::Ptr<iGPUImage> kept = cache.find(keys[1]);
    EXPECT_NE(cacheText(keys[1]).get(), kept.get());
    EXPECT_EQ(cache.find(keys[1]).get(), kept.get()) << "an equal key stays as it was";
    EXPECT_TRUE(cache.find(keys[0])) << "25 texts are kept";

    cacheText(keys.back());
    EXPECT_FALSE(cache.find(keys[0]));
    for (std::size_t index = 1; index < keys.size(); ++index)
        EXPECT_TRUE(cache.find(keys[index])) << index;
}

TEST_F(GPUText, ClearingOneFontLeavesTheOthersTextsAndMemoryPressureEmptiesAll)
{
    const Kv::Ptr<iFont> fonts[] = {hostFont(), hostFont()};
    for (const Kv::Ptr<iFont>& font : fonts)
        for (const wchar_t* text : {L"In", L"Out"})
            cacheText(TextDescription(text, {}, {}, {}, font));
    const auto cached = [this](const Kv::Ptr<iFont>& font, const wchar_t* text) {
        return bool(cache.find(TextDescription(text, XY<int>(3, 3), NormalisedRGB(0, 1, 0), {}, font)));
    };

    cache.clear(fonts[0]);
    for (const wchar_t* text : {L"In", L"Out"}) {
        EXPECT_FALSE(cached(fonts[0], text)) << text;
        EXPECT_TRUE(cached(fonts[1], text)) << text;
    }

    OS()->memMgr()->reclaim();
    EXPECT_FALSE(cached(fonts[1], L"In"));
}

// Whether a text made the font draw on the host, seen from the texture cache:
// a drawn character's upload takes the texture of its cell's size that waits
// there, and the next image of that size finds it gone.
TEST_F(GPUText, NumericFontDrawsOnTheHostOnlyCharactersItHasNotCached)
{
    const Kv::Ptr<iFont> font = hostFont();
    const GPUNumericFont numeric(font);
    const int height = font->measure(L"0", -1).y;
    const iGPUImage::StorageT cell{XY<int>(height, height), iGPUImage::eBGRA8};
    EXPECT_FALSE(numeric.isCached(L'A'));

    struct Case
    {
        const wchar_t* text;
        bool drawsOnHost;
    };
    const Case cases[] = {
        {L"12:34", false},
        {L"-07.5%", false},
        {L"<+;>", false},
        {L"A1", true},
        {L"1A", false},
    };
    for (const Case& example : cases) {
        SCOPED_TRACE(OS()->utils()->narrow(example.text).c_str());
        OpenGLTextureCache::instance().clear();
        const GLuint waiting = GPUImage::create(cell)->getTextureID();
        const ImageDescriptionEx compound = numeric.renderText(TextDescription(example.text, {}, {}, {}, font));
        ASSERT_TRUE(compound.image);
        EXPECT_EQ(GPUImage::create(cell)->getTextureID() != waiting, example.drawsOnHost);
        for (const wchar_t* character = example.text; *character != 0; ++character)
            EXPECT_TRUE(numeric.isCached(*character));
    }
}

TEST_F(GPUText, NumericTextIsItsCharactersSideBySideWithBlackGapsOfTheSpaceWidth)
{
    const Kv::Ptr<iFont> font = hostFont();
    const GPUNumericFont numeric(font);
    const int height = font->measure(L"0", -1).y;
    const int spaceWidth = font->measure(L"0 0", -1).x - font->measure(L"00", -1).x;
    ASSERT_GT(spaceWidth, 0);

    for (const wchar_t* text : {L"1 1", L"12 : 05", L"  7", L"9 ", L"4x 4"}) {
        SCOPED_TRACE(OS()->utils()->narrow(text).c_str());
        const ImageDescriptionEx compound = numeric.renderText(TextDescription(text, {}, {}, {}, font));
        ASSERT_TRUE(compound.image);
        EXPECT_EQ(compound.image->getSize(), XY<int>(height * int(std::wcslen(text)), height));
        const ReadBack pixels(compound.image);
        int pen = 0;
        for (const wchar_t* character = text; *character != 0; ++character) {
            if (*character == L' ') {
                for (int y = 0; y < height; ++y)
                    for (int x = pen; x < pen + spaceWidth; ++x)
                        ASSERT_EQ(pixels.at(x, y), kOpaqueBlack) << "at " << x << ", " << y;
                pen += spaceWidth;
                continue;
            }
            const int width = font->measure(LightweightString<wchar_t>(character, 1), -1).x;
            const std::vector<int> brightest = pixels.maxima(pen, pen + width);
            EXPECT_GT(*std::min_element(brightest.begin(), brightest.end()), 192) << "character " << char(*character);
            pen += width;
        }
        EXPECT_EQ(compound.source, (Kv::Rectangle<float>{0, 0, float(pen), float(height)}));
        EXPECT_EQ(compound.blend, 1);
    }
}

TEST_F(GPUText, TextsOfOneBatchThroughTheRendererShowTheColourSetLast)
{
    iMediaServices* media = OS()->mediaServices();
    const Kv::Ptr<iGPUImage> target = media->createGPUSurface(XY<int>(160, 40), iGPUImage::eBGRA8);
    const Kv::Ptr<iFont> font = media->createGPUSurfaceFont(L"DejaVu Sans", 24, 0);
    const TextDescription texts[] = {
        {L"HH", XY<int>(4, 8), NormalisedRGB(1, 0, 0), {}, font},
        {L"HH", XY<int>(84, 8), NormalisedRGB(0, 1, 0), {}, font},
    };
    {
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = target->getPrimitivesRenderer(false);
        ASSERT_TRUE(renderer);
        RectDescription background;
        background.rect = {0, 0, 160, 40};
        renderer->renderMulti(&background, 1);
        renderer->renderMulti(texts, 2);
    }

    const ReadBack pixels(target);
    const int width = font->measure(L"HH", -1).x;
    for (const TextDescription& text : texts)
        EXPECT_EQ(pixels.maxima(text.position.x, text.position.x + width), (std::vector<int>{0, 255, 0, 255}))
            << "text at " << text.position.x;
}

} // namespace
