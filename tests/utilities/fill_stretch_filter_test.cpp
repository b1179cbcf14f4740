// Flood fill, stretch and smoothing of masks, with worked numbers.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "qxmatte.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Rect = std::vector<int>;

// 20 x 10 mask (step 24, padding 1) of fixed cut with a soft block at x 4..6,
// y 2..4 that mixes 0, 0xFE and 0x7E, a diagonal neighbour at (7, 5), a lone
// soft pixel at (15, 8) and a keep pixel at (0, 9).
Bytes fillMask() {
    Bytes m(10 * 24, 1);
    for (int y = 2; y <= 4; ++y)
        for (int x = 4; x <= 6; ++x) m[y * 24 + x] = (x + y) % 3 == 0 ? 0 : (x + y) % 3 == 1 ? 0xFE : 0x7E;
    m[5 * 24 + 7] = 0x40, m[8 * 24 + 15] = 0x80, m[9 * 24] = 255;
    return m;
}

TEST(FloodFill, EightConnectedRegionTakesTheClassOfTheMode) {
    // Seed, mode, result, rectangle, then (x, y, value) after the fill. An
    // empty rectangle, a refusal or a mode outside 0..2 leaves the mask as it was.
    const struct { int x, y, mode, rc; Rect rect; std::vector<std::array<int, 3>> after; } rows[] = {
        // Keep: the block and its diagonal neighbour, not the lone pixel.
        {5, 3, 1, 1, {4, 2, 4, 4}, {{4, 2, 255}, {7, 5, 255}, {15, 8, 0x80}, {7, 2, 1}}},
        {6, 4, 0, 1, {4, 2, 4, 4}, {{5, 3, 1}, {7, 5, 1}, {15, 8, 0x80}}},  // cut joins the surrounding cut
        {6, 4, 0x100, 1, {4, 2, 4, 4}, {{5, 3, 1}}},  // only the low byte of the mode counts
        {0, 9, 1, 1, {0, 0, 0, 0}, {}},               // seeded on keep in keep mode: nothing to do
        // Unknown on the cut background turns it to 0x7E and reports the whole image.
        {0, 0, 2, 1, {0, 0, 20, 10}, {{0, 0, 0x7E}, {19, 9, 0x7E}, {4, 3, 0xFE}, {0, 9, 255}, {20, 0, 1}}},
        {4, 4, 2, 1, {0, 0, 0, 0}, {}},       // seeded on 0x7E: nothing to do
        {15, 8, 9, 1, {15, 8, 1, 1}, {}},     // another mode reports the region only
        {20, 0, 1, -3, {0, 0, 0, 0}, {}},
        {0, 10, 1, -3, {0, 0, 0, 0}, {}},
        {-1, 0, 1, -3, {0, 0, 0, 0}, {}},
        {0, -1, 1, -3, {0, 0, 0, 0}, {}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "seed " << r.x << "," << r.y << " mode " << r.mode);
        const Bytes before = fillMask();
        Bytes m = before;
        Rect rect(4, 77);
        EXPECT_EQ(r.rc, qxFloodFillAlpha(m.data(), 24, 20, 10, r.x, r.y, 0, 0, r.mode, 0, rect.data()));
        EXPECT_EQ(r.rect, rect);
        if (r.after.empty()) {
            EXPECT_EQ(before, m);
        }
        for (const auto& p : r.after) EXPECT_EQ(p[2], m[p[1] * 24 + p[0]]) << p[0] << "," << p[1];
    }
    // Sizes below one are refused; a one-pixel mask is filled.
    Bytes m = fillMask();
    Rect r(4, 77);
    for (int size : {0, -1}) {
        EXPECT_EQ(-3, qxFloodFillAlpha(m.data(), 24, size, 10, 0, 0, 0, 0, 1, 0, r.data()));
        EXPECT_EQ(-3, qxFloodFillAlpha(m.data(), 24, 20, size, 0, 0, 0, 0, 1, 0, r.data()));
    }
    EXPECT_EQ(fillMask(), m);
    unsigned char one = 0;
    EXPECT_EQ(1, qxFloodFillAlpha(&one, 1, 1, 1, 0, 0, 0, 0, 1, 0, r.data()));
    EXPECT_EQ(255, one);
    EXPECT_EQ(r, (Rect{0, 0, 1, 1}));
}

TEST(ScaleAlpha, WorkedNumbersProtectedMarksAndRefusals) {
    // The last byte of each row is padding. Only the low bytes of the bounds
    // count; protection keeps odd values (fixed marks) and clears bit 0 of
    // the rest; a reversed range uses the low byte of the negative factor.
    const Bytes in = {0, 100, 150, 151, 200, 201, 255, 42};
    const struct { int high, low, protect, rc; Bytes out; } rows[] = {
        {200, 100, 0, 1, {0, 0, 127, 129, 253, 255, 255, 42}},  // factor 81
        {200 + 256, 100 - 256, 1, 1, {0, 0, 126, 151, 252, 201, 255, 42}},
        {100, 200, 0, 1, {0, 0, 0, 0, 0, 5, 255, 42}},  // -81: 175
        {255, 0, 1, 1, in},                            // the full range
        {0x1FF, 0x100, 0, 1, in},
        {300, 44, 0, -1, in},  // equal low bytes
    };
    for (const auto& r : rows) {
        Bytes a = in;
        EXPECT_EQ(r.rc, qxScaleAlpha(a.data(), 8, 7, 1, r.high, r.low, r.protect)) << r.high << " " << r.low;
        EXPECT_EQ(r.out, a) << r.high << " " << r.low;
    }
    Bytes a = in;
    EXPECT_EQ(-1, qxScaleAlpha(a.data(), 8, 0, 1, 200, 100, 0));
    EXPECT_EQ(-1, qxScaleAlpha(a.data(), 8, 7, -1, 200, 100, 0));
    EXPECT_EQ(-1, qxScaleAlpha(a.data(), 6, 7, 1, 200, 100, 0));  // step shorter than a row
    EXPECT_EQ(in, a);
}

Bytes noise(int n, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& v : b) v = static_cast<unsigned char>(rng());
    return b;
}

TEST(FilterMask, EdgeBandsKeepTheirValuesAndSpikesVanish) {
    const int w = 16, h = 14, step = 20;
    for (int mode : {0, 1}) {
        const int band = mode == 0 ? 3 : 4;
        const Bytes in = noise(h * step, 7 + mode);
        Bytes m = in;
        EXPECT_EQ(1, qxfilterIm8u(m.data(), step, w, h, mode));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < step; ++x)
                if (x < band || x >= w - band || y < band || y >= h - band) {
                    ASSERT_EQ(in[y * step + x], m[y * step + x]) << x << "," << y;
                }
        // A lone spike on a flat mask is removed by the median.
        Bytes flat(h * step, 90);
        flat[7 * step + 8] = 255;
        EXPECT_EQ(1, qxfilterIm8u(flat.data(), step, w, h, mode));
        EXPECT_EQ(Bytes(h * step, 90), flat);
    }
    // Other modes, a 6 x 6 image in mode 0 and a 8 x 8 in mode 1 stay as they were.
    const Bytes in = noise(h * step, 3);
    Bytes m = in;
    EXPECT_EQ(1, qxfilterIm8u(m.data(), step, w, h, 2));
    EXPECT_EQ(1, qxfilterIm8u(m.data(), step, 6, 6, 0));
    EXPECT_EQ(1, qxfilterIm8u(m.data(), step, 8, 8, 1));
    EXPECT_EQ(1, qxfilterIm8u(m.data(), step, 1, 1, 0));
    EXPECT_EQ(-1, qxfilterIm8u(m.data(), step, 0, 8, 0));
    EXPECT_EQ(-1, qxfilterIm8u(m.data(), step, 8, -1, 0));
    EXPECT_EQ(in, m);
}

}  // namespace
