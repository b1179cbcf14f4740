// Depth conversions, range scaling and double vectors.
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

namespace {

std::vector<Ipp8u> toBytes(const std::vector<float>& v, int mode) {
    std::vector<Ipp8u> out(v.size(), 77);
    const int n = static_cast<int>(v.size());
    EXPECT_EQ(ippiConvert_32f8u_C1R(v.data(), 4 * n, out.data(), n, n, 1, mode), 0);
    return out;
}

}  // namespace

TEST(FloatToByte, RoundsToEvenOrTruncatesAndSaturates) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> in = {2.5f, 3.5f, 254.9f, -0.1f, 0.5f, 1.5f, 255.0f, 1e30f, -1e30f, nan, 127.49f};
    EXPECT_EQ(toBytes(in, ippRndNear), (std::vector<Ipp8u>{2, 4, 255, 0, 0, 2, 255, 255, 0, 0, 127}));
    EXPECT_EQ(toBytes(in, ippRndZero), (std::vector<Ipp8u>{2, 3, 254, 0, 0, 1, 255, 255, 0, 0, 127}));

    // Long rows go through the vector loops: every half-integer ties to even.
    std::vector<float> halves(512);
    for (int i = 0; i < 512; ++i) halves[i] = i * 0.5f;
    const std::vector<Ipp8u> r = toBytes(halves, ippRndNear);
    for (int i = 0; i < 512; ++i) ASSERT_EQ(r[i], std::min(255.0, std::nearbyint(i * 0.5))) << i;

    std::vector<Ipp8u> bytes(256);
    std::vector<float> back(256);
    for (int i = 0; i < 256; ++i) bytes[i] = Ipp8u(i);
    ippiConvert_8u32f_C1R(bytes.data(), 256, back.data(), 1024, 256, 1);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(back[i], float(i));
    EXPECT_EQ(toBytes(back, ippRndNear), bytes);
}

TEST(RangeScaling, ByteToFloatEndsAtTheBoundsAndRefusesAnEmptyRange) {
    Ipp8u bytes[256];
    for (int i = 0; i < 256; ++i) bytes[i] = Ipp8u(i);
    std::vector<float> f(256);
    ASSERT_EQ(ippiScale_8u32f_C1R(bytes, 256, f.data(), 1024, 256, 1, -1.0f, 3.0f), 0);
    EXPECT_EQ(f[0], -1.0f);
    EXPECT_EQ(f[255], 3.0f);
    EXPECT_FLOAT_EQ(f[51], -1.0f + 51 * 4.0f / 255);
    ASSERT_EQ(ippiScale_8u32f_C1R(bytes, 256, f.data(), 1024, 256, 1, 0.0f, 1.0f), 0);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(f[i], float(i / 255.0)) << i;

    const Ipp8u rgb[6] = {0, 255, 51, 1, 2, 3};
    float out[6];
    ASSERT_EQ(ippiScale_8u32f_C3R(rgb, 6, out, 24, 2, 1, 0.0f, 255.0f), 0);
    EXPECT_EQ(std::vector<float>(out, out + 6), (std::vector<float>{0, 255, 51, 1, 2, 3}));

    EXPECT_EQ(ippiScale_8u32f_C1R(bytes, 256, f.data(), 1024, 256, 1, 1.0f, 1.0f), ippStsThresholdErr);
    EXPECT_EQ(ippiScale_8u32f_C1R(bytes, 256, f.data(), 1024, 256, 1, 2.0f, 1.0f), ippStsThresholdErr);
}

TEST(RangeScaling, FloatToByteRoundsTiesToEvenInsideTheRange) {
    const float in[8] = {2.5f, 3.5f, -5, 255, 300, 254.6f, 0, 128.5f};
    Ipp8u out[8];
    ASSERT_EQ(ippiScale_32f8u_C1R(in, 32, out, 8, 8, 1, 0.0f, 255.0f), 0);
    EXPECT_EQ(std::vector<Ipp8u>(out, out + 8), (std::vector<Ipp8u>{2, 4, 0, 255, 255, 255, 0, 128}));

    // Bounds 0 and 1: 255 * v, with 0.5 of the range at 127.5 -> 128 (even).
    const float unit[5] = {0.0f, 0.5f, 1.0f, 0.25f, -0.5f};
    ASSERT_EQ(ippiScale_32f8u_C1R(unit, 20, out, 5, 5, 1, 0.0f, 1.0f), 0);
    EXPECT_EQ(std::vector<Ipp8u>(out, out + 5), (std::vector<Ipp8u>{0, 128, 255, 64, 0}));
    EXPECT_EQ(ippiScale_32f8u_C1R(unit, 20, out, 5, 5, 1, 1.0f, 0.0f), ippStsThresholdErr);
}

TEST(DoubleVectors, ArithmeticAndSaturatingNarrowing) {
    std::vector<double> v = {1, 2, 3, 4};
    const std::vector<double> u = {4, 3, 2, 1};
    double dot = 0, mean = 0;
    ippsDotProd_64f(v.data(), u.data(), 4, &dot);
    ippsMean_64f(v.data(), 4, &mean);
    EXPECT_EQ(dot, 20.0);
    EXPECT_EQ(mean, 2.5);
    ippsAddC_64f_I(1, v.data(), 4);
    ippsMulC_64f_I(2, v.data(), 4);
    ippsSubC_64f_I(4, v.data(), 4);
    EXPECT_EQ(v, (std::vector<double>{0, 2, 4, 6}));
    EXPECT_EQ(ippsMean_64f(v.data(), 0, &mean), ippStsSizeErr);

    const double inf = std::numeric_limits<double>::infinity();
    const double wide[5] = {1e39, -1e300, inf, -inf, 0.1};
    float narrow[5];
    ippsConvert_64f32f(wide, narrow, 5);
    EXPECT_EQ(std::vector<float>(narrow, narrow + 5), (std::vector<float>{FLT_MAX, -FLT_MAX, FLT_MAX, -FLT_MAX, 0.1f}));
}
