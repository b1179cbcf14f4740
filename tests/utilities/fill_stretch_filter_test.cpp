// Flood fill, stretch and smoothing of masks, with worked numbers.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "qxmatte.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Rect = std::vector<int>;

// 20 x 10 mask (step 24) of fixed cut with a soft block at x 4..6, y 2..4 that
// mixes three soft values, a diagonal neighbour at (7, 5), and a lone soft
// pixel at (15, 8).
struct FillMask {
    static constexpr int w = 20, h = 10, step = 24;
    Bytes m = Bytes(h * step, 1);
    FillMask() {
        for (int y = 2; y <= 4; ++y)
            for (int x = 4; x <= 6; ++x) at(x, y) = (x + y) % 3 == 0 ? 0 : (x + y) % 3 == 1 ? 0xFE : 0x7E;
        at(7, 5) = 0x40;
        at(15, 8) = 0x80;
    }
    unsigned char& at(int x, int y) { return m[y * step + x]; }
    Rect fill(int x, int y, int mode, int expect = 1) {
        Rect r(4, 77);
        EXPECT_EQ(expect, qxFloodFillAlpha(m.data(), step, w, h, x, y, 0, 0, mode, 0, r.data()));
        return r;
    }
};

TEST(FloodFill, EightConnectedRegionTakesTheClass) {
    FillMask keep;
    EXPECT_EQ(keep.fill(5, 3, 1), (Rect{4, 2, 4, 4}));
    EXPECT_EQ(255, keep.at(4, 2));
    EXPECT_EQ(255, keep.at(7, 5));   // reached diagonally
    EXPECT_EQ(0x80, keep.at(15, 8)); // not connected
    EXPECT_EQ(1, keep.at(7, 2));
    // Seeded on keep in keep mode: nothing to do, empty rectangle.
    const Bytes before = keep.m;
    EXPECT_EQ(keep.fill(5, 3, 0x101), (Rect{0, 0, 0, 0}));  // the low byte of the mode counts
    EXPECT_EQ(before, keep.m);

    // Cut mode on the soft block: it joins the surrounding cut.
    FillMask cut;
    EXPECT_EQ(cut.fill(6, 4, 0), (Rect{4, 2, 4, 4}));
    EXPECT_EQ(1, cut.at(5, 3));
    EXPECT_EQ(0x80, cut.at(15, 8));
}

TEST(FloodFill, UnknownModeReportsTheWholeImage) {
    // Seeded on the cut background: it turns to 0x7E, the soft pixels stay.
    FillMask f;
    f.at(0, 9) = 255;
    EXPECT_EQ(f.fill(0, 0, 2), (Rect{0, 0, 20, 10}));
    EXPECT_EQ(0x7E, f.at(0, 0));
    EXPECT_EQ(0x7E, f.at(19, 9));
    EXPECT_EQ(0xFE, f.at(4, 3));
    EXPECT_EQ(255, f.at(0, 9));
    EXPECT_EQ(1, f.m[20]);  // row padding untouched
    // Seeded on 0x7E: nothing to do.
    const Bytes before = f.m;
    EXPECT_EQ(f.fill(0, 0, 2), (Rect{0, 0, 0, 0}));
    EXPECT_EQ(before, f.m);
    // Another mode writes nothing and reports the region.
    FillMask other;
    const Bytes untouched = other.m;
    EXPECT_EQ(other.fill(15, 8, 9), (Rect{15, 8, 1, 1}));
    EXPECT_EQ(untouched, other.m);
}

TEST(FloodFill, SeedsAndSizesOutsideTheImage) {
    FillMask f;
    const Bytes before = f.m;
    for (const Rect& seed : {Rect{20, 0}, Rect{0, 10}, Rect{-1, 0}, Rect{0, -1}})
        EXPECT_EQ(f.fill(seed[0], seed[1], 1, -3), (Rect{0, 0, 0, 0}));
    Rect r(4, 77);
    for (int size : {0, -1}) {
        EXPECT_EQ(-3, qxFloodFillAlpha(f.m.data(), 24, size, 10, 0, 0, 0, 0, 1, 0, r.data()));
        EXPECT_EQ(-3, qxFloodFillAlpha(f.m.data(), 24, 20, size, 0, 0, 0, 0, 1, 0, r.data()));
    }
    EXPECT_EQ(before, f.m);
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
        int changed = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < step; ++x) {
                const bool inner = x >= band && x < w - band && y >= band && y < h - band;
                if (!inner) {
                    ASSERT_EQ(in[y * step + x], m[y * step + x]) << x << "," << y;
                }
                changed += m[y * step + x] != in[y * step + x];
            }
        EXPECT_GT(changed, 0);
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
