// Layered display: tints, class colours, alpha layers and the keep blend.
#include <gtest/gtest.h>

#include <vector>

#include "qxmatte.h"

namespace {

using Bytes = std::vector<unsigned char>;

// One row of four-byte pixels and its mask.
struct Row {
    Bytes px, alpha;
    int w() const { return static_cast<int>(alpha.size()); }
    int show(int mode, int high = 255, int low = 0, const unsigned char* colour = nullptr) {
        return qxShowImageAlpha(px.data(), 4 * w(), w(), 1, alpha.data(), w(), high, low, mode, colour);
    }
};

TEST(ShowImageAlpha, TintRaisesBytesByMarkAndClassColoursTakeExactValues) {
    // 194 and 193 darken to 170 and 169, which rise to 255 and 254; 255
    // darkens to 223, whose rise saturates at 255; byte 3 stays.
    Row r{{255, 193, 194, 33, 193, 193, 193, 33, 194, 193, 193, 33, 193, 194, 193, 33, 193, 193, 194, 33},
          {0x80, 0x00, 0x01, 0xFF, 0x33}};
    EXPECT_EQ(1, r.show(1, 7, 7));  // the stretch bounds are not used here
    EXPECT_EQ(r.px, (Bytes{255, 169, 170, 33, 254, 169, 169, 33, 170, 169, 254, 33, 169, 255, 169, 33, 169, 254, 255, 33}));
    Row c{Bytes(20, 77), {0, 255, 1, 0xFE, 0x7E}};
    EXPECT_EQ(1, c.show(2));
    EXPECT_EQ(c.px, (Bytes{0, 0, 255, 255, 0, 255, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255}));
}

TEST(ShowImageAlpha, AlphaLayersInTwoHundredFiftySixths) {
    const unsigned char colour[3] = {0, 100, 200};  // byte 0 gets 200
    const Row start{{200, 200, 200, 5, 200, 200, 200, 5, 200, 200, 200, 5}, {255, 0, 150}};
    Row over = start, overToo = start, overlay = start, grey = start;
    EXPECT_EQ(1, over.show(3, 255, 0, colour));
    // 255/256 of the image where alpha is 255, of the colour where it is 0.
    EXPECT_EQ(over.px, (Bytes{199, 199, 199, 255, 199, 100, 0, 255, 199, 158, 117, 255}));
    EXPECT_EQ(1, overToo.show(6, 255, 0, colour));
    EXPECT_EQ(over.px, overToo.px);
    EXPECT_EQ(1, overlay.show(4, 255, 0, colour));
    EXPECT_EQ(Bytes(overlay.px.begin(), overlay.px.begin() + 8), (Bytes{199, 100, 0, 255, 199, 199, 199, 255}));
    // Grey: the stretched alpha (200/100 turns 150 into 127), fixed values too.
    grey.alpha = {151, 0, 150};
    EXPECT_EQ(1, grey.show(5, 200, 100));
    EXPECT_EQ(grey.px, (Bytes{129, 129, 129, 255, 0, 0, 0, 255, 127, 127, 127, 255}));
}

TEST(ShowImageAlpha, UnknownModesZeroSpanAndBadSizesLeaveThePixels) {
    const unsigned char colour[3] = {1, 2, 3};
    Row r{Bytes(12, 60), {0, 128, 255}};
    EXPECT_EQ(1, r.show(0));
    EXPECT_EQ(1, r.show(7));
    EXPECT_EQ(-1, r.show(3, 100, 100, colour));
    EXPECT_EQ(-1, r.show(4, 255, 0, nullptr));
    for (int size : {0, -1}) {
        EXPECT_EQ(-1, qxShowImageAlpha(r.px.data(), 12, size, 1, r.alpha.data(), 3, 255, 0, 2, colour));
        EXPECT_EQ(-1, qxShowImageAlpha(r.px.data(), 12, 3, size, r.alpha.data(), 3, 255, 0, 5, colour));
    }
    EXPECT_EQ(-1, qxShowImageAlpha(r.px.data(), 11, 3, 1, r.alpha.data(), 3, 255, 0, 2, colour));
    EXPECT_EQ(Bytes(12, 60), r.px);
}

TEST(ShowKeepBlend, TruncatedMixKeepsByteThree) {
    const Bytes other = {200, 50, 0, 9, 255, 255, 255, 9};
    auto blend = [&](float amount, int w = 2, int otherW = 2) {
        Bytes px = {10, 101, 255, 3, 0, 0, 0, 4};
        qxShowKeepBlend(px.data(), 8, w, 1, other.data(), 8, otherW, 1, amount);
        return px;
    };
    EXPECT_EQ(blend(0.0f), (Bytes{10, 101, 255, 3, 0, 0, 0, 4}));
    EXPECT_EQ(blend(1.0f), (Bytes{200, 50, 0, 3, 255, 255, 255, 4}));
    EXPECT_EQ(blend(0.5f), (Bytes{105, 75, 127, 3, 127, 127, 127, 4}));  // 75.5 and 127.5 truncate
    EXPECT_EQ(blend(2.0f)[0], 134);  // -10 + 400 wraps in the byte store
    for (int w : {0, -1}) EXPECT_EQ(blend(1.0f, w), blend(0.0f));
    EXPECT_EQ(blend(1.0f, 2, 1), blend(0.0f));  // other narrower than the image
}

}  // namespace
