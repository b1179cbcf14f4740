// The mask box and the pen at their front door: negative sizes, short steps,
// missing buffers and impossible pens are refused with 0 and nothing written;
// an empty mask has nothing marked and nothing to draw on.
#include <gtest/gtest.h>

#include <vector>

#include "qxmatte.h"

namespace {

TEST(MaskToolArguments, SizesOfMinusOneZeroAndOne) {
    std::vector<unsigned char> mask(40 * 40, 255);
    mask[0] = 128;  // a mark at (0, 0)
    for (int w : {-1, 0, 1})
        for (int h : {-1, 0, 1}) {
            SCOPED_TRACE(testing::Message() << w << "x" << h);
            const bool bad = w < 0 || h < 0;
            int r[6] = {77, 77, 77, 77, 77, 77};
            EXPECT_EQ(qxMaskBBox(0, mask.data(), 40, w, h, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], 0, 255, 1),
                      bad ? 0 : 1);
            // Refused: nothing written. Else 1 row of marks is under 24: the empty box.
            const int expected[6] = {bad ? 77 : 0, bad ? 77 : 0, bad ? 77 : 0, bad ? 77 : 0, bad ? 77 : -1,
                                     bad ? 77 : -1};
            for (int k = 0; k < 6; ++k) EXPECT_EQ(r[k], expected[k]) << k;

            std::vector<unsigned char> canvas(9, 0);
            EXPECT_EQ(qxDrawLine8u(canvas.data(), 3, w, h, 0, 0, 2, 2, 1, 1, 0), bad ? 0 : 1);
            // A 1x1 mask takes the pen in its single pixel, nothing beyond it.
            EXPECT_EQ(canvas[0], w == 1 && h == 1 ? 255 : 0);
            for (int k = 1; k < 9; ++k) EXPECT_EQ(canvas[k], 0);
        }
}

TEST(MaskToolArguments, ShortStepsMissingBuffersAndImpossiblePens) {
    std::vector<unsigned char> mask(40 * 40, 255);
    int r[6] = {77, 77, 77, 77, 77, 77};
    EXPECT_EQ(qxMaskBBox(0, mask.data(), 39, 40, 40, &r[0], &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(qxMaskBBox(1, mask.data(), 60, 40, 20, &r[0], &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(qxMaskBBox(0, nullptr, 40, 40, 40, &r[0], &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(qxMaskBBox(0, mask.data(), 40, 40, 40, nullptr, &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(r[0], 77);
    const std::vector<unsigned char> before = mask;
    EXPECT_EQ(qxDrawLine8u(mask.data(), 39, 40, 40, 0, 0, 30, 30, 2, 0, 0), 0);
    EXPECT_EQ(qxDrawLine8u(nullptr, 40, 40, 40, 0, 0, 30, 30, 2, 0, 0), 0);
    EXPECT_EQ(qxDrawLine8u(mask.data(), 40, 40, 40, 0, 0, 30, 30, -1, 0, 0), 0);
    EXPECT_EQ(qxDrawLine8u(mask.data(), 40, 40, 40, 0, 0, 30, 30, 0x40000000, 0, 0), 0);
    EXPECT_EQ(mask, before);
    EXPECT_EQ(qxDrawLine8u(mask.data(), 40, 40, 40, 0, 0, 30, 30, 16383, 0, 0), 1);  // the widest pen
    EXPECT_EQ(mask, std::vector<unsigned char>(40 * 40, 1));
}

}  // namespace
