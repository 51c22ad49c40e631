#include "OS.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
    // Records the batches it is handed, as a drawing surface would receive them.
    class BatchRecorder : public iGraphicPrimitivesRenderer
    {
    public:
        void setClipRegion(Kv::Ptr<iRegion>) override {}
        void setAntialiasingEnabled(bool) override {}
        unsigned int getCaps() const override { return 0; }
        void renderMulti(const RectDescription* records, unsigned int count) override
        {
            batches.push_back(std::vector<int>());
            for (unsigned int i = 0; i < count; ++i)
                batches.back().push_back(records[i].rect.left);
        }
        void renderMulti(const EllipseDescription*, unsigned int) override {}
        void renderMulti(const LineDescription*, unsigned int) override {}
        void renderMulti(const TextDescription*, unsigned int) override {}
        void renderMulti(const AlphaRectDescription*, unsigned int) override {}
        void renderMulti(const BezierCurveDescription*, unsigned int) override {}
        void renderMulti(const ImageDescription*, unsigned int) override {}
        void renderMulti(const ImageDescriptionEx*, unsigned int) override {}

        std::vector<std::vector<int>> batches;
    };

    std::vector<std::vector<int>> batchesOf(int records)
    {
        BatchRecorder target;
        {
            BatchPrimitivesRenderer<RectDescription> batch(&target);
            for (int i = 0; i < records; ++i) {
                RectDescription rect;
                rect.rect.left = i;
                batch.render(rect);
            }
        }
        return target.batches;
    }
}

TEST(GraphicPrimitives, BoundsOfTheRecordsThatHaveThem)
{
    LineDescription line;
    line.start = XY<int>(10, 20);
    line.end = XY<int>(5, 30);
    EXPECT_EQ(line.getBounds(), (Kv::Rectangle<int>{5, 20, 10, 30}));

    ImageDescriptionEx drawn;
    drawn.dest = {1.2f, 1.2f, 3.1f, 3.1f};
    EXPECT_EQ(drawn.getBounds(), (Kv::Rectangle<int>{1, 1, 4, 4}));

    const ImageDescription image(Kv::Ptr<iImageBase>(), XY<int>(100, 50), {40, 30, 10, 10}, true);
    EXPECT_EQ(image.getBounds(), (Kv::Rectangle<int>{100, 50, 130, 70})) << "swapped source, positive size";
    EXPECT_FLOAT_EQ(image.alpha, 1.0f);

    EXPECT_EQ(TextDescription().getBounds(), Kv::Rectangle<int>()) << "no font, no bounds";
    EXPECT_EQ(EllipseDescription().getBounds(), Kv::Rectangle<int>());
    const RectDescription rect;
    EXPECT_EQ(rect.colour, NormalisedRGB(0, 0, 0, 1));
    EXPECT_EQ(ImageDescriptionEx().blend, 1);
}

TEST(GraphicPrimitives, BatchesGoOutTwentyAtATime)
{
    EXPECT_TRUE(batchesOf(0).empty());
    const auto twenty = batchesOf(20);
    ASSERT_EQ(twenty.size(), 1u) << "sent once, by the destructor";
    EXPECT_EQ(twenty[0].size(), 20u);
    const auto twentyOne = batchesOf(21);
    ASSERT_EQ(twentyOne.size(), 2u);
    EXPECT_EQ(twentyOne[0].size(), 20u);
    EXPECT_EQ(twentyOne[1], std::vector<int>{20});
    const auto forty = batchesOf(40);
    ASSERT_EQ(forty.size(), 2u);
    EXPECT_EQ(forty[1].front(), 20) << "the last twenty from the destructor";
}
