#include "OS.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
    // Records the left edge of each rectangle in each batch it is handed.
    class BatchRecorder : public iGraphicPrimitivesRenderer
    {
    public:
        void setClipRegion(Kv::Ptr<iRegion>) override {}
        void setAntialiasingEnabled(bool) override {}
        unsigned int getCaps() const override { return 0; }
        void renderMulti(const RectDescription* records, unsigned int count) override
        {
            batches.emplace_back();
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

    std::vector<size_t> batchSizesOf(int records)
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
        std::vector<size_t> sizes;
        for (size_t index = 0; index < target.batches.size(); ++index) {
            EXPECT_EQ(target.batches[index].front(), int(index * 20)) << "in order";
            sizes.push_back(target.batches[index].size());
        }
        return sizes;
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
    EXPECT_EQ(TextDescription().getBounds(), Kv::Rectangle<int>()) << "no font, no bounds";
}

TEST(GraphicPrimitives, BatchesGoOutTwentyAtATimeAndTheRestFromTheDestructor)
{
    EXPECT_TRUE(batchSizesOf(0).empty());
    EXPECT_EQ(batchSizesOf(20), std::vector<size_t>{20});
    EXPECT_EQ(batchSizesOf(21), (std::vector<size_t>{20, 1}));
    EXPECT_EQ(batchSizesOf(40), (std::vector<size_t>{20, 20}));
}
