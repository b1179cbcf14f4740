// Geometry: resize on the pixel grid, and the 8-connected flood fill.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "primitives/primitives.h"

using namespace qx;

namespace {

std::vector<Ipp8u> randomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<Ipp8u> v(n);
    for (auto& b : v) b = static_cast<Ipp8u>(rng() & 255);
    return v;
}

// Resizes a whole w x h plane (step w) by fx, fy into dst of dw x dh.
IppStatus resize(const std::vector<Ipp8u>& src, int w, int h, std::vector<Ipp8u>& dst, int dw, int dh, double fx,
                 double fy, int interp) {
    return ippiResize_8u_C1R(src.data(), w, h, w, 0, 0, w, h, dst.data(), dw, dw, dh, fx, fy, interp);
}

}  // namespace

TEST(Resize, ConstantStaysConstantAndFactorOneCopies) {
    const int W = 37, H = 23;
    std::vector<Ipp8u> flat(W * H, 173), out(300 * 300, 0);
    for (int interp : {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC, IPPI_INTER_SUPER})
        for (double f : {0.25, 0.18, 0.7, 4.0, 1 / 0.18}) {
            if (interp == IPPI_INTER_SUPER && f > 1) break;
            const int dw = int(W * f), dh = int(H * f);
            ASSERT_EQ(0, resize(flat, W, H, out, dw, dh, f, f, interp));
            for (int i = 0; i < dw * dh; ++i) ASSERT_EQ(173, out[i]) << interp << " " << f;
        }
    // Factor 1.0 over a rectangle inside a random image is a plain copy, and
    // the AC4 form leaves byte 3 of the destination alone.
    const auto img = randomBytes(4 * W * H, 1);
    std::vector<Ipp8u> dst(4 * 20 * 10, 55);
    ASSERT_EQ(0, ippiResize_8u_AC4R(img.data(), W, H, 4 * W, 5, 7, 20, 10, dst.data(), 80, 20, 10, 1.0, 1.0,
                                    IPPI_INTER_CUBIC));
    for (int i = 0; i < 4 * 20 * 10; ++i)
        ASSERT_EQ(i % 4 == 3 ? 55 : img[4 * ((i / 80 + 7) * W + i % 80 / 4 + 5) + i % 4], dst[i]) << i;
}

TEST(Resize, GridMappingAndInterpolationWorkedNumbers) {
    // Ramp 3x + 2y + 10: the cubic reproduces it, so an enlargement by 4 gives
    // 10 + (3x + 2y) / 4 rounded wherever no tap is clamped at the edge.
    const int W = 16, H = 12;
    std::vector<Ipp8u> ramp(W * H), big(64 * 48), small(3 * 2), two(3), cells(2);
    for (int i = 0; i < W * H; ++i) ramp[i] = Ipp8u(3 * (i % W) + 2 * (i / W) + 10);
    ASSERT_EQ(0, resize(ramp, W, H, big, 64, 48, 4.0, 4.0, IPPI_INTER_CUBIC));
    for (int y = 4; y < 40; ++y)
        for (int x = 4; x < 52; ++x) ASSERT_NEAR(10 + (3 * x + 2 * y) / 4.0, big[y * 64 + x], 0.5 + 1e-4) << x << y;
    // A reduction by 0.25 of the rectangle at (2, 1) samples its nodes 4k
    // exactly with every kernel (taps outside the rectangle are allowed).
    const auto img = randomBytes(W * H, 2);
    for (int interp : {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
        ASSERT_EQ(0, ippiResize_8u_C1R(img.data(), W, H, W, 2, 1, 12, 8, small.data(), 3, 3, 2, 0.25, 0.25, interp));
        for (int i = 0; i < 6; ++i) ASSERT_EQ(img[(1 + 4 * (i / 3)) * W + 2 + 4 * (i % 3)], small[i]) << interp;
    }
    // Linear halfway between nodes: the mean of two neighbours; super-sampling
    // by 0.5: the mean of each 2 by 2 cell.
    ASSERT_EQ(0, resize({0, 100, 50, 51}, 4, 1, two, 3, 1, 2.0, 1.0, IPPI_INTER_LINEAR));
    EXPECT_EQ((std::vector<Ipp8u>{0, 50, 100}), two);
    ASSERT_EQ(0, resize({0, 100, 50, 50, 20, 40, 50, 54}, 4, 2, cells, 2, 1, 0.5, 0.5, IPPI_INTER_SUPER));
    EXPECT_EQ((std::vector<Ipp8u>{40, 51}), cells);

    EXPECT_LT(resize(img, W, H, big, 32, 24, 2.0, 2.0, IPPI_INTER_SUPER), 0);  // super only reduces
    EXPECT_LT(resize(img, W, H, big, 32, 24, 2.0, 2.0, 3), 0);
}

TEST(FloodFill, EightConnectedRegionAndRectangle) {
    // Two blobs of value 5 that touch only at a corner, plus a separate blob.
    const std::string pic = ".........."
                            ".55......."
                            ".55......."
                            "...55....."
                            "...565...."
                            ".........."
                            ".......55.";
    const int w = 10, h = 7, step = 12;
    std::vector<Ipp8u> img(step * h, 0);
    for (int i = 0; i < w * h; ++i) img[i / w * step + i % w] = pic[i] == '.' ? 0 : Ipp8u(pic[i] - '0');
    int size = 0;
    ASSERT_EQ(0, ippiFloodFillGetSize(w, h, &size));
    std::vector<Ipp8u> buf(size);
    IppiConnectedComp cc{};
    auto fill = [&](int x, int y, int value, int lo, int hi, int st = 12) {
        return ippiFloodFill_Range8Con_8u_C1IR(img.data(), st, w, h, x, y, value, lo, hi, &cc, buf.data());
    };
    // Deltas 0: the 6 in the lower blob is a boundary; the corner joins the blobs.
    ASSERT_EQ(0, fill(1, 1, 9, 0, 0));
    EXPECT_EQ(8, cc.area);
    EXPECT_EQ(9, cc.value[0]);
    EXPECT_EQ((std::vector<int>{1, 1, 5, 4}), (std::vector<int>{cc.x, cc.y, cc.width, cc.height}));
    EXPECT_EQ(9, img[4 * step + 5]);  // reached only diagonally through (4, 3) -> (5, 4)
    EXPECT_EQ(6, img[4 * step + 4]);
    EXPECT_EQ(5, img[6 * step + 7]);  // the separate blob stays
    // From the background with maxDelta 6: the 6 and the other blob join (not the 9s).
    ASSERT_EQ(0, fill(0, 0, 7, 0, 6));
    EXPECT_EQ(70 - 8, cc.area);
    EXPECT_EQ((std::vector<int>{7, 7, 9}), (std::vector<int>{img[4 * step + 4], img[6 * step + 7], img[step + 1]}));
    // Seed already at the new value: nothing to do, though deltas of 255 would reach everything.
    EXPECT_EQ(0, fill(1, 1, 9, 255, 255));
    EXPECT_EQ(7, img[0]);
    EXPECT_EQ(ippStsStepErr, fill(1, 1, 3, 0, 0, 9));
    EXPECT_EQ(ippStsOutOfRangeErr, fill(10, 0, 3, 0, 0));
}
