// Depth conversions, range scaling and narrowing of doubles.
#include <cfloat>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

namespace {

// One-row conversion of v to bytes: by rounding mode when lo == hi, else by the range [lo, hi].
std::vector<Ipp8u> toBytes(const std::vector<float>& v, int mode, float lo = 0, float hi = 0) {
    const int n = static_cast<int>(v.size());
    std::vector<Ipp8u> out(n, 77);
    EXPECT_EQ(0, lo == hi ? ippiConvert_32f8u_C1R(v.data(), 4 * n, out.data(), n, n, 1, mode)
                          : ippiScale_32f8u_C1R(v.data(), 4 * n, out.data(), n, n, 1, lo, hi));
    return out;
}

}  // namespace

TEST(FloatToByte, RoundsToEvenOrTruncatesAndSaturates) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> in = {2.5f, 3.5f, 254.9f, -0.1f, 0.5f, 1.5f, 255.0f, 1e30f, -1e30f, nan, 127.49f};
    EXPECT_EQ(toBytes(in, ippRndNear), (std::vector<Ipp8u>{2, 4, 255, 0, 0, 2, 255, 255, 0, 0, 127}));
    EXPECT_EQ(toBytes(in, ippRndZero), (std::vector<Ipp8u>{2, 3, 254, 0, 0, 1, 255, 255, 0, 0, 127}));
    // Long rows go through the vector loops: every half-integer ties to even,
    // and the bytes widened to float keep their values.
    std::vector<float> halves(512), back(512);
    for (int i = 0; i < 512; ++i) halves[i] = i * 0.5f;
    const std::vector<Ipp8u> r = toBytes(halves, ippRndNear);
    ippiConvert_8u32f_C1R(r.data(), 512, back.data(), 4 * 512, 512, 1);
    for (int i = 0; i < 512; ++i) {
        ASSERT_EQ(r[i], std::min(255.0, std::nearbyint(i * 0.5))) << i;
        ASSERT_EQ(back[i], float(r[i]));
    }
}

TEST(RangeScaling, EndsAtTheBoundsTiesToEvenAndRefusesAnEmptyRange) {
    std::vector<Ipp8u> bytes(256);
    std::iota(bytes.begin(), bytes.end(), 0);
    std::vector<float> f(256), rgbOut(6);
    ASSERT_EQ(ippiScale_8u32f_C1R(bytes.data(), 256, f.data(), 1024, 256, 1, -1.0f, 3.0f), 0);
    EXPECT_EQ(std::vector<float>({f[0], f[255]}), (std::vector<float>{-1, 3}));
    ASSERT_EQ(ippiScale_8u32f_C1R(bytes.data(), 256, f.data(), 1024, 256, 1, 0.0f, 1.0f), 0);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(f[i], float(i / 255.0)) << i;
    ASSERT_EQ(ippiScale_8u32f_C3R(bytes.data() + 250, 6, rgbOut.data(), 24, 2, 1, 0.0f, 255.0f), 0);
    EXPECT_EQ(rgbOut, (std::vector<float>{250, 251, 252, 253, 254, 255}));

    EXPECT_EQ(toBytes({2.5f, 3.5f, -5, 255, 300, 254.6f, 0, 128.5f}, 0, 0, 255),
              (std::vector<Ipp8u>{2, 4, 0, 255, 255, 255, 0, 128}));
    // Bounds 0 and 1: 255 * v, with 0.5 of the range at 127.5 -> 128 (even).
    EXPECT_EQ(toBytes({0.0f, 0.5f, 1.0f, 0.25f, -0.5f}, 0, 0, 1), (std::vector<Ipp8u>{0, 128, 255, 64, 0}));
    Ipp8u o[1];
    EXPECT_EQ(ippiScale_8u32f_C1R(bytes.data(), 256, f.data(), 1024, 256, 1, 1.0f, 1.0f), ippStsThresholdErr);
    EXPECT_EQ(ippiScale_32f8u_C1R(f.data(), 4, o, 1, 1, 1, 1.0f, 0.0f), ippStsThresholdErr);
}

TEST(DoubleVectors, NarrowingSaturatesAtTheLargestFloat) {
    const double inf = std::numeric_limits<double>::infinity(), wide[5] = {1e39, -1e300, inf, -inf, 0.1};
    float narrow[5];
    ippsConvert_64f32f(wide, narrow, 5);
    EXPECT_EQ(std::vector<float>(narrow, narrow + 5), (std::vector<float>{FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX, 0.1f}));
}
