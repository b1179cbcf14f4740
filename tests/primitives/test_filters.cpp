// Neighbourhood filters: Gaussian, cross median, erosion/dilation, float convolutions.
#include <gtest/gtest.h>

#include <algorithm>
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

const int kGauss5[5][5] = {{2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7},
                           {2, 7, 12, 7, 2}};

}  // namespace

TEST(FilterGauss, ConstantImageStaysConstantForBothMasks) {
    for (int c : {0, 1, 7, 128, 200, 254, 255}) {
        for (int mask : {ippMskSize3x3, ippMskSize5x5}) {
            Plane src(12, 9, 1), dst(12, 9, 2);
            std::fill(src.px.begin(), src.px.end(), static_cast<Ipp8u>(c));
            ASSERT_EQ(0, ippiFilterGauss_8u_C1R(src.ptr(2, 2), src.step, dst.ptr(2, 2), dst.step, 8, 5, mask));
            for (int y = 2; y < 7; ++y)
                for (int x = 2; x < 10; ++x) EXPECT_EQ(c, dst.at(x, y)) << "mask " << mask;
        }
    }
}

TEST(FilterGauss, RandomImagesMatchDirectSums) {
    Plane src(70, 40, 3), dst(70, 40, 4);  // wide enough for the vector paths
    const int w = 66, h = 36;
    ASSERT_EQ(0, ippiFilterGauss_8u_C1R(src.ptr(2, 2), src.step, dst.ptr(2, 2), dst.step, w, h, ippMskSize3x3));
    for (int y = 2; y < 2 + h; ++y)
        for (int x = 2; x < 2 + w; ++x) {
            int r = 0;
            for (int j = -1; j <= 1; ++j)
                for (int i = -1; i <= 1; ++i) r += (2 - std::abs(i)) * (2 - std::abs(j)) * src.at(x + i, y + j);
            // r / 16 rounded to nearest, ties to even.
            const int q = r / 16, rem = r % 16;
            const int want = rem > 8 || (rem == 8 && (q & 1)) ? q + 1 : q;
            ASSERT_EQ(want, dst.at(x, y)) << x << "," << y;
        }
    ASSERT_EQ(0, ippiFilterGauss_8u_C1R(src.ptr(2, 2), src.step, dst.ptr(2, 2), dst.step, w, h, ippMskSize5x5));
    for (int y = 2; y < 2 + h; ++y)
        for (int x = 2; x < 2 + w; ++x) {
            int r = 0;
            for (int j = -2; j <= 2; ++j)
                for (int i = -2; i <= 2; ++i) r += kGauss5[j + 2][i + 2] * src.at(x + i, y + j);
            ASSERT_EQ(static_cast<int>((static_cast<uint64_t>(r + 286) * 29382) >> 24), dst.at(x, y));
            ASSERT_NEAR(r / 571.0, dst.at(x, y), 0.5 + 1e-3);  // the fixed point is r / 571 rounded
        }
    EXPECT_EQ(ippStsMaskSizeErr, ippiFilterGauss_8u_C1R(src.ptr(2, 2), src.step, dst.ptr(2, 2), dst.step, w, h, 44));
}

TEST(FilterMedianCross, MatchesMedianOfPlusShapes) {
    Plane rnd(45, 20, 7), out(45, 20, 8);
    for (int mask : {33, 55}) {
        const int arm = mask == 33 ? 1 : 2;
        ASSERT_EQ(0, ippiFilterMedianCross_8u_C1R(rnd.ptr(2, 2), rnd.step, out.ptr(2, 2), out.step, 41, 16, mask));
        for (int y = 2; y < 18; ++y)
            for (int x = 2; x < 43; ++x) {
                std::vector<int> v{rnd.at(x, y)};
                for (int k = 1; k <= arm; ++k)
                    for (int s : {-k, k}) {
                        v.push_back(rnd.at(x + s, y));
                        v.push_back(rnd.at(x, y + s));
                    }
                std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
                ASSERT_EQ(v[v.size() / 2], out.at(x, y)) << mask;
            }
    }
}

TEST(Morphology, ThreeByThreeAndStepMargin) {
    Plane src(10, 10, 9), lo(10, 10, 10), hi(10, 10, 11);
    std::fill(src.px.begin(), src.px.end(), 100);
    src.at(4, 4) = 0;
    src.at(7, 7) = 250;
    ASSERT_EQ(0, ippiErode3x3_8u_C1R(src.ptr(1, 1), src.step, lo.ptr(1, 1), lo.step, 8, 8));
    ASSERT_EQ(0, ippiDilate3x3_8u_C1R(src.ptr(1, 1), src.step, hi.ptr(1, 1), hi.step, 8, 8));
    for (int y = 1; y < 9; ++y)
        for (int x = 1; x < 9; ++x) {
            const bool nearDark = std::abs(x - 4) <= 1 && std::abs(y - 4) <= 1;
            const bool nearBright = std::abs(x - 7) <= 1 && std::abs(y - 7) <= 1;
            EXPECT_EQ(nearDark ? 0 : 100, lo.at(x, y));
            EXPECT_EQ(nearBright ? 250 : 100, hi.at(x, y));
        }
    EXPECT_EQ(ippStsStepMarginErr, ippiErode3x3_8u_C1R(src.px.data(), 9, lo.px.data(), 10, 8, 8));
    EXPECT_EQ(ippStsStepMarginErr, ippiDilate3x3_8u_C1R(src.px.data(), 10, lo.px.data(), 7, 8, 8));
    EXPECT_EQ(0, ippiDilate3x3_8u_C1R(src.px.data() + src.step + 1, 10, lo.px.data(), 8, 8, 8));
}

TEST(Morphology, InPlaceMaskReadsOriginalValues) {
    // Erosion and dilation with a disc-like mask against a direct extreme over
    // the original: had reads seen rows already written, extremes would smear
    // downwards. Mask element (i, j) covers pixel (x + i - 3, y + j - 2).
    const Plane ref(40, 30, 13);
    std::vector<Ipp8u> disc(7 * 5);
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 7; ++i) disc[j * 7 + i] = (i - 3) * (i - 3) + 2 * (j - 2) * (j - 2) <= 9;
    for (bool erode : {true, false}) {
        Plane img = ref;
        ASSERT_EQ(0, (erode ? ippiErode_8u_C1IR : ippiDilate_8u_C1IR)(img.ptr(3, 2), img.step, 34, 26, disc.data(),
                                                                      7, 5, 3, 2));
        for (int y = 2; y < 28; ++y)
            for (int x = 3; x < 37; ++x) {
                int m = erode ? 255 : 0;
                for (int j = 0; j < 5; ++j)
                    for (int i = 0; i < 7; ++i) {
                        const int v = ref.px[(y + j - 2) * ref.step + x + i - 3];
                        if (disc[j * 7 + i]) m = erode ? std::min(m, v) : std::max(m, v);
                    }
                ASSERT_EQ(m, img.at(x, y)) << erode;
            }
        EXPECT_EQ(ippStsAnchorErr, ippiErode_8u_C1IR(img.ptr(3, 2), img.step, 4, 4, disc.data(), 7, 5, 7, 0));
    }
}

TEST(Filter32f, ConvolutionOrientation) {
    // a(x, y) = x * x + 10 * y * y, so every difference below is distinct.
    const int W = 9, H = 7;
    std::vector<float> a(W * H), out(W * H, -1.0f);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) a[y * W + x] = float(x * x + 10 * y * y);
    auto A = [&](int x, int y) { return a[y * W + x]; };
    const int step = W * 4, w = W - 2, h = H - 2;
    const float* in = &a[W + 1];
    float* o = &out[W + 1];

    // Value before any mask at p: a(p) - a(q) with q = p + (dx, dy).
    auto expectDifference = [&](int dx, int dy) {
        for (int y = 1; y < H - 1; ++y)
            for (int x = 1; x < W - 1; ++x) ASSERT_EQ(A(x, y) - A(x + dx, y + dy), out[y * W + x]) << dx << dy;
    };
    const float row[3] = {-1, 1, 0};
    ASSERT_EQ(0, ippiFilterRow_32f_C1R(in, step, o, step, w, h, row, 3, 1));
    expectDifference(1, 0);
    ASSERT_EQ(0, ippiFilterColumn_32f_C1R(in, step, o, step, w, h, row, 3, 1));
    expectDifference(0, 1);
    float d1[9] = {-1, 0, 0, 0, 1, 0, 0, 0, 0}, d2[9] = {0, 0, 0, 0, 1, 0, -1, 0, 0};
    ASSERT_EQ(0, ippiFilter_32f_C1R(in, step, o, step, w, h, d1, 3, 3, 1, 1));
    expectDifference(1, 1);
    ASSERT_EQ(0, ippiFilter_32f_C1R(in, step, o, step, w, h, d2, 3, 3, 1, 1));
    expectDifference(1, -1);

    // An off-centre anchor moves the kernel's origin: kernel (1, 0) anchored
    // at 1 picks the pixel to the right.
    const float pick[2] = {1, 0};
    ASSERT_EQ(0, ippiFilterRow_32f_C1R(in, step, o, step, w, h, pick, 2, 1));
    EXPECT_EQ(A(3, 2), out[2 * W + 2]);

    EXPECT_NE(0, ippiFilter_32f_C1R(in, step, o, step, 0, h, d1, 3, 3, 1, 1));
    EXPECT_NE(0, ippiFilter_32f_C1R(in, step, o, step, w, -1, d1, 3, 3, 1, 1));
    EXPECT_EQ(ippStsAnchorErr, ippiFilter_32f_C1R(in, step, o, step, w, h, d1, 3, 3, 3, 1));
    EXPECT_LT(ippiFilterRow_32f_C1R(in, step, o, step, w, h, row, 0, 0), 0);
}
