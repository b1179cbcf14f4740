// Neighbourhood filters: Gaussian, cross median, erosion/dilation, float convolutions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "primitives/primitives.h"

using namespace qx;

namespace {

// A w by h byte plane with random content and a step wider than the row.
struct Plane {
    int w, h, step;
    std::vector<Ipp8u> px;
    Plane(int w_, int h_, unsigned seed) : w(w_), h(h_), step(w_ + 7), px(static_cast<size_t>(step) * h_) {
        std::mt19937 rng(seed);
        for (auto& v : px) v = static_cast<Ipp8u>(rng() & 255);
    }
    Ipp8u& at(int x, int y) { return px[static_cast<size_t>(y) * step + x]; }
    Ipp8u* ptr(int x, int y) { return &at(x, y); }
};

// Direct Gaussian sums: 3x3 is r / 16 rounded ties to even; 5x5 is r / 571
// rounded through the fixed-point reciprocal.
int gaussRef(Plane& s, int x, int y, int mask) {
    static const int g3[3][3] = {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}};
    static const int g5[5][5] = {{2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7},
                                 {2, 7, 12, 7, 2}};
    const int a = mask == ippMskSize3x3 ? 1 : 2;
    int r = 0;
    for (int j = -a; j <= a; ++j)
        for (int i = -a; i <= a; ++i) r += (a == 1 ? g3[j + 1][i + 1] : g5[j + 2][i + 2]) * s.at(x + i, y + j);
    if (a == 1) return static_cast<int>(std::nearbyint(r / 16.0));
    const int v = static_cast<int>((static_cast<uint64_t>(r + 286) * 29382) >> 24);
    EXPECT_NEAR(r / 571.0, v, 0.5 + 1e-3);
    return v;
}

}  // namespace

TEST(FilterGauss, MatchesDirectSumsAndKeepsConstantsForBothMasks) {
    const int w = 66, h = 36;  // wide enough for the vector paths
    Plane src(70, 40, 3), dst(70, 40, 4);
    EXPECT_EQ(ippStsMaskSizeErr, ippiFilterGauss_8u_C1R(src.ptr(2, 2), src.step, dst.ptr(2, 2), dst.step, w, h, 44));
    for (int c : {-1, 0, 1, 7, 128, 254, 255}) {  // -1: the random content
        if (c >= 0) std::fill(src.px.begin(), src.px.end(), static_cast<Ipp8u>(c));
        for (int mask : {ippMskSize3x3, ippMskSize5x5}) {
            ASSERT_EQ(0, ippiFilterGauss_8u_C1R(src.ptr(2, 2), src.step, dst.ptr(2, 2), dst.step, w, h, mask));
            for (int y = 2; y < 2 + h; ++y)
                for (int x = 2; x < 2 + w; ++x)
                    ASSERT_EQ(c < 0 ? gaussRef(src, x, y, mask) : c, dst.at(x, y)) << x << "," << y << " mask " << mask;
        }
    }
}

TEST(FilterMedianCross, MatchesMedianOfPlusShapes) {
    Plane rnd(45, 20, 7), out(45, 20, 8);
    for (int arm : {1, 2}) {
        ASSERT_EQ(0, ippiFilterMedianCross_8u_C1R(rnd.ptr(2, 2), rnd.step, out.ptr(2, 2), out.step, 41, 16,
                                                  arm == 1 ? ippMskSize3x3 : ippMskSize5x5));
        for (int y = 2; y < 18; ++y)
            for (int x = 2; x < 43; ++x) {
                std::vector<int> v{rnd.at(x, y)};
                for (int s = -arm; s <= arm; ++s)
                    if (s) v.insert(v.end(), {rnd.at(x + s, y), rnd.at(x, y + s)});
                std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
                ASSERT_EQ(v[v.size() / 2], out.at(x, y)) << arm;
            }
    }
}

TEST(Morphology, SquaresAndMasksMatchDirectExtremes) {
    // The 3x3 forms write another image; the masked forms work in place with
    // a disc-like 7 x 5 mask anchored at (3, 2) and must read the original
    // values: had reads seen rows already written, extremes would smear.
    const Plane ref(40, 30, 13);
    std::vector<Ipp8u> disc(7 * 5);
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 7; ++i) disc[j * 7 + i] = (i - 3) * (i - 3) + 2 * (j - 2) * (j - 2) <= 9;
    auto extreme = [&](int x, int y, bool erode, bool square) {
        int m = erode ? 255 : 0;
        for (int j = -2; j <= 2; ++j)
            for (int i = -3; i <= 3; ++i)
                if (square ? std::abs(i) <= 1 && std::abs(j) <= 1 : disc[(j + 2) * 7 + i + 3] != 0) {
                    const int v = ref.px[static_cast<size_t>(y + j) * ref.step + x + i];
                    m = erode ? std::min(m, v) : std::max(m, v);
                }
        return m;
    };
    for (bool erode : {true, false}) {
        Plane img = ref, out(40, 30, 14);
        auto masked = erode ? ippiErode_8u_C1IR : ippiDilate_8u_C1IR;
        auto square = erode ? ippiErode3x3_8u_C1R : ippiDilate3x3_8u_C1R;
        ASSERT_EQ(0, masked(img.ptr(3, 2), img.step, 34, 26, disc.data(), 7, 5, 3, 2));
        ASSERT_EQ(0, square(ref.px.data() + ref.step + 1, ref.step, out.ptr(1, 1), out.step, 38, 28));
        for (int y = 2; y < 28; ++y)
            for (int x = 3; x < 37; ++x) ASSERT_EQ(extreme(x, y, erode, false), img.at(x, y)) << erode;
        for (int y = 1; y < 29; ++y)
            for (int x = 1; x < 39; ++x) ASSERT_EQ(extreme(x, y, erode, true), out.at(x, y)) << erode;
        EXPECT_EQ(ippStsAnchorErr, masked(img.ptr(3, 2), img.step, 4, 4, disc.data(), 7, 5, 7, 0));
        // The source step must hold w + 2, the destination step w.
        EXPECT_EQ(ippStsStepMarginErr, square(ref.px.data(), 9, out.px.data(), 10, 8, 8));
        EXPECT_EQ(ippStsStepMarginErr, square(ref.px.data(), 10, out.px.data(), 7, 8, 8));
        EXPECT_EQ(0, square(ref.px.data() + 11, 10, out.px.data(), 8, 8, 8));
    }
}

TEST(Filter32f, ConvolutionOrientation) {
    // a(x, y) = x * x + 10 * y * y, so every difference below is distinct.
    const int W = 9, H = 7, step = W * 4, w = W - 2, h = H - 2;
    std::vector<float> a(W * H), out(W * H, -1.0f);
    for (int i = 0; i < W * H; ++i) a[i] = float((i % W) * (i % W) + 10 * (i / W) * (i / W));
    const float* in = &a[W + 1];
    float* o = &out[W + 1];
    // Value before any mask at p: a(p) - a(q) with q = p + (dx, dy).
    auto expectDifference = [&](IppStatus st, int dx, int dy) {
        ASSERT_EQ(0, st);
        for (int y = 1; y < H - 1; ++y)
            for (int x = 1; x < W - 1; ++x)
                ASSERT_EQ(a[y * W + x] - a[(y + dy) * W + x + dx], out[y * W + x]) << dx << dy;
    };
    const float row[3] = {-1, 1, 0}, d1[9] = {-1, 0, 0, 0, 1, 0, 0, 0, 0}, d2[9] = {0, 0, 0, 0, 1, 0, -1, 0, 0};
    expectDifference(ippiFilterRow_32f_C1R(in, step, o, step, w, h, row, 3, 1), 1, 0);
    expectDifference(ippiFilterColumn_32f_C1R(in, step, o, step, w, h, row, 3, 1), 0, 1);
    expectDifference(ippiFilter_32f_C1R(in, step, o, step, w, h, d1, 3, 3, 1, 1), 1, 1);
    expectDifference(ippiFilter_32f_C1R(in, step, o, step, w, h, d2, 3, 3, 1, 1), 1, -1);
    // An off-centre anchor moves the kernel's origin: (1, 0) anchored at 1 picks the right neighbour.
    const float pick[2] = {1, 0};
    ASSERT_EQ(0, ippiFilterRow_32f_C1R(in, step, o, step, w, h, pick, 2, 1));
    EXPECT_EQ(a[2 * W + 3], out[2 * W + 2]);

    EXPECT_EQ(ippStsAnchorErr, ippiFilter_32f_C1R(in, step, o, step, w, h, d1, 3, 3, 3, 1));
    EXPECT_LT(ippiFilterRow_32f_C1R(in, step, o, step, w, h, row, 0, 0), 0);
}
