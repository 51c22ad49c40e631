#include "EGLPlatform.h"
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
#include <utility>
#include <vector>

namespace {

using Bgra = std::vector<int>;
const Bgra kOpaqueBlack{0, 0, 0, 255};

// A GPU image read back, rows in the order they were uploaded.
class ReadBack
{
public:
    explicit ReadBack(const Kv::Ptr<iImageBase>& image)
        : host(OpenGLUtils::instance().copyToHost(Kv::dynamicCast<GPUImage>(image))), pixels(host->lock())
    {
    }

    Bgra at(int x, int y) const
    {
        const unsigned char* pixel = pixels->getPixels() + y * pixels->getStride() + x * 4;
        return {pixel[0], pixel[1], pixel[2], pixel[3]};
    }

    // Each byte's largest value in the columns.
    Bgra maxima(int left, int right) const
    {
        Bgra result(4, 0);
        for (int y = 0; y < host->getSize().y; ++y)
            for (int x = left; x < right; ++x)
                std::ranges::transform(result, at(x, y), result.begin(), [](int a, int b) { return std::max(a, b); });
        return result;
    }

private:
    Kv::Ptr<iHostImage> host;
    Kv::Ptr<iPixelGuard> pixels;
};

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
        return cache.copyToGPU(key, media->createHostSurface(XY<int>(4, 4)));
    }

    GPUTextCache& cache = GPUTextCache::instance();
    iMediaServices* media = OS()->mediaServices();
    const Kv::Ptr<iFont> hostFont = media->createHostSurfaceFont(L"DejaVu Sans", 24, 0);
};

TEST_F(GPUText, OneTextInAnyColourIsOneCachedImageDrawnWhiteOnBlack)
{
    const Kv::Ptr<iFont> font = media->createGPUSurfaceFont(L"DejaVu Sans", 24, 0);
    const Kv::Ptr<GPUFontBase> gpuFont = Kv::dynamicCast<GPUFontBase>(font);
    ASSERT_TRUE(gpuFont);
    TextDescription red(L"Timeline", XY<int>(5, 40), NormalisedRGB(1, 0, 0), TextAlignment{1, 1}, font);
    red.selectionColour = NormalisedRGB(0, 0, 1);
    red.selectionEnd = 4; // the renderer draws it: not part of the image
    const TextDescription blue(L"Timeline", XY<int>(70, 9), NormalisedRGB(0, 0, 1, 0.5f), {}, font);

    const ImageDescriptionEx first = gpuFont->renderText(red);
    ASSERT_TRUE(first.image);
    EXPECT_EQ(gpuFont->renderText(blue).image.get(), first.image.get());
    const XY<int> measured = font->measure(red.text, -1);
    const XY<int> size = first.image->getSize();
    EXPECT_EQ(size, XY<int>(measured.x + 2, measured.y + 2)) << "a pixel to spare on every side";
    EXPECT_EQ(first.source, (Kv::Rectangle<float>{0, 0, float(size.x), float(size.y)}));
    const ReadBack pixels(first.image);
    EXPECT_EQ(pixels.at(0, 0), kOpaqueBlack);
    EXPECT_EQ(pixels.maxima(0, size.x), (Bgra{255, 255, 255, 255}));
    for (int x = 0; x < size.x; ++x) {
        const Bgra grey = pixels.at(x, size.y / 2);
        ASSERT_TRUE(grey[0] == grey[1] && grey[1] == grey[2]) << "x " << x;
    }

    const ImageDescriptionEx empty = gpuFont->renderText(TextDescription(L"", {}, {}, {}, font));
    EXPECT_FALSE(empty.image);
    EXPECT_EQ(empty.blend, 1);
}

TEST_F(GPUText, TheTwentySixthTextEvictsTheOldestEvenWhenJustFound)
{
    // Cached in reverse key order, a clock tick apart, so that only the time
    // can choose the first.
    std::vector<TextDescription> keys;
    for (wchar_t last = L'z'; keys.size() <= GPUTextCache::kLimit; --last)
        keys.emplace_back(LightweightString<wchar_t>(L"take ") + last, XY<int>(), NormalisedRGB(), TextAlignment(),
                          hostFont);
    for (std::size_t index = 0; index < GPUTextCache::kLimit; ++index) {
        cacheText(keys[index]);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    const Kv::Ptr<iGPUImage> kept = cache.find(keys[1]);
    EXPECT_NE(cacheText(keys[1]).get(), kept.get());
    EXPECT_EQ(cache.find(keys[1]).get(), kept.get()) << "an equal key stays as it was";
    EXPECT_TRUE(cache.find(keys[0]));

    cacheText(keys.back());
    for (std::size_t index = 0; index < keys.size(); ++index)
        EXPECT_EQ(bool(cache.find(keys[index])), index != 0) << index;
}

TEST_F(GPUText, ClearingOneFontLeavesTheOthersTextsAndMemoryPressureEmptiesAll)
{
    const Kv::Ptr<iFont> other = media->createHostSurfaceFont(L"DejaVu Sans", 24, 0);
    const auto cached = [this](const Kv::Ptr<iFont>& font) {
        return bool(cache.find(TextDescription(L"In", XY<int>(3, 3), NormalisedRGB(0, 1, 0), {}, font)));
    };
    for (const Kv::Ptr<iFont>& font : {hostFont, other})
        cacheText(TextDescription(L"In", {}, {}, {}, font));

    cache.clear(hostFont);
    EXPECT_FALSE(cached(hostFont));
    EXPECT_TRUE(cached(other));
    OS()->memMgr()->reclaim();
    EXPECT_FALSE(cached(other));
}

// Whether a text made the font draw on the host is seen from the texture
// cache: a drawn character's upload takes the texture of the cell's size that
// waits there, and the next image of that size finds it gone.
TEST_F(GPUText, NumericTextsDrawOnlyNewCharactersAndSetBlanksAsBlackGapsOfTheSpaceWidth)
{
    const GPUNumericFont numeric(hostFont);
    const int height = hostFont->measure(L"0", -1).y;
    const int spaceWidth = hostFont->measure(L"0 0", -1).x - hostFont->measure(L"00", -1).x;
    const iGPUImage::StorageT cell{XY<int>(height, height), iGPUImage::eBGRA8};
    ASSERT_GT(spaceWidth, 0);
    EXPECT_FALSE(numeric.isCached(L'A'));

    // A blank is not in the cached set: it is drawn once, as a letter is,
    // though the texts take gaps for blanks.
    const std::pair<const wchar_t*, bool> cases[] = {{L"12:34", false}, {L"-07.5%", false}, {L"<+;>", false},
                                                     {L"1 1", true}, {L"  A1 ", true}, {L"A 1", false}};
    for (const auto& [text, drawsOnHost] : cases) {
        SCOPED_TRACE(OS()->utils()->narrow(text).c_str());
        OpenGLTextureCache::instance().clear();
        const GLuint waiting = GPUImage::create(cell)->getTextureID();
        const ImageDescriptionEx compound = numeric.renderText(TextDescription(text, {}, {}, {}, hostFont));
        ASSERT_TRUE(compound.image);
        EXPECT_EQ(GPUImage::create(cell)->getTextureID() != waiting, drawsOnHost);
        EXPECT_EQ(compound.image->getSize(), XY<int>(height * int(std::wcslen(text)), height));

        const ReadBack pixels(compound.image);
        int pen = 0;
        for (const wchar_t* character = text; *character != 0; ++character) {
            EXPECT_TRUE(numeric.isCached(*character));
            const bool blank = *character == L' ';
            const int width = blank ? spaceWidth : hostFont->measure(LightweightString<wchar_t>(character, 1), -1).x;
            const Bgra brightest = pixels.maxima(pen, pen + width);
            if (blank)
                EXPECT_EQ(brightest, kOpaqueBlack) << "gap at " << pen;
            else
                EXPECT_GT(*std::ranges::min_element(brightest), 192) << "character at " << pen;
            pen += width;
        }
        EXPECT_EQ(compound.source, (Kv::Rectangle<float>{0, 0, float(pen), float(height)}));
    }
}

} // namespace
