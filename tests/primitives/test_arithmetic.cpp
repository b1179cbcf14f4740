// Integer and float arithmetic, logic and statistics of the primitives.
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

namespace {

template <class T, size_t N>
std::vector<T> V(const T (&a)[N]) { return std::vector<T>(a, a + N); }

// Independent reference of the scale rule: exact r * 2^-s, rounded to nearest
// with ties to even by the FPU, then saturated.
int scaled(int r, int s) {
    const double v = std::nearbyint(std::ldexp(static_cast<double>(r), -s));
    return v < 0 ? 0 : (v > 255 ? 255 : static_cast<int>(v));
}

}  // namespace

TEST(ScaledArithmetic, EveryOperandPairMatchesTheExactRoundingRule) {
    // 256 x 256 planes holding every pair of operands: a = column, b = row. The
    // constant forms take row v of a with the constant v, so they meet the same pairs.
    const int N = 65536;
    std::vector<Ipp8u> a(N), b(N);
    for (int i = 0; i < N; ++i) a[i] = Ipp8u(i & 255), b[i] = Ipp8u(i >> 8);
    for (int s : {-9, -2, -1, 0, 1, 2, 3, 7, 8, 15, 16, 17, 40}) {
        std::vector<Ipp8u> add = b, sub = b, mul = b, diff(N), addC = a, subC = a, mulC = a, subCR(N);
        ASSERT_EQ(ippiAdd_8u_C1IRSfs(a.data(), 256, add.data(), 256, 256, 256, s), 0);
        ASSERT_EQ(ippiSub_8u_C1IRSfs(a.data(), 256, sub.data(), 256, 256, 256, s), 0);
        ASSERT_EQ(ippiMul_8u_C1IRSfs(a.data(), 256, mul.data(), 256, 256, 256, s), 0);
        ASSERT_EQ(ippiSub_8u_C1RSfs(b.data(), 256, a.data(), 256, diff.data(), 256, 256, 256, s), 0);  // a - b
        for (int v = 0; v < 256; ++v) {
            ippiAddC_8u_C1IRSfs(Ipp8u(v), &addC[v * 256], 256, 256, 1, s);
            ippiSubC_8u_C1IRSfs(Ipp8u(v), &subC[v * 256], 256, 256, 1, s);
            ippiMulC_8u_C1IRSfs(Ipp8u(v), &mulC[v * 256], 256, 256, 1, s);
            ippiSubC_8u_C1RSfs(&a[v * 256], 256, Ipp8u(v), &subCR[v * 256], 256, 256, 1, s);
        }
        for (int i = 0; i < N; ++i) {
            const int x = a[i], y = b[i];
            ASSERT_EQ(add[i], scaled(y + x, s)) << y << "+" << x << " s=" << s;
            ASSERT_EQ(sub[i], scaled(y - x, s)) << y << "-" << x << " s=" << s;
            ASSERT_EQ(mul[i], scaled(y * x, s)) << y << "*" << x << " s=" << s;
            ASSERT_EQ(diff[i], scaled(x - y, s)) << x << "-" << y << " s=" << s;
            ASSERT_EQ(addC[i], add[i]);
            ASSERT_EQ(mulC[i], mul[i]);
            ASSERT_EQ(subC[i], diff[i]);
            ASSERT_EQ(subCR[i], diff[i]);
        }
    }
}

TEST(ScaledArithmetic, ChannelsOfThreeAndFourBytePixels) {
    // A factor per channel; on the four-byte pixels (scale 1) 10 * 2 / 2 = 10,
    // 30 * 255 / 2 saturates and byte 3 keeps its value.
    const Ipp8u values[3] = {2, 0, 255};
    Ipp8u rgb[6] = {10, 20, 30, 200, 1, 1}, rgba[8] = {10, 20, 30, 77, 1, 2, 0, 78};
    ippiMulC_8u_C3IRSfs(values, rgb, 6, 2, 1, 0);
    ippiMulC_8u_AC4IRSfs(values, rgba, 8, 2, 1, 1);
    EXPECT_EQ(V(rgb), (std::vector<Ipp8u>{20, 0, 255, 255, 0, 255}));
    EXPECT_EQ(V(rgba), (std::vector<Ipp8u>{10, 0, 255, 77, 1, 0, 0, 78}));
}

TEST(ByteLogic, CompareLutAndBitwise) {
    const Ipp8u src[5] = {0, 99, 100, 101, 255};
    for (int op = 0; op < 5; ++op) {
        Ipp8u dst[5];
        ASSERT_EQ(ippiCompareC_8u_C1R(src, 5, 100, dst, 5, 5, 1, op), 0);
        for (int i = 0; i < 5; ++i) {
            const int v = src[i];
            const bool want[5] = {v < 100, v <= 100, v == 100, v >= 100, v > 100};
            EXPECT_EQ(dst[i], want[op] ? 255 : 0) << "op " << op << " value " << v;
        }
    }
    // Only the low nBitSize bits index the table.
    const Ipp8u table[4] = {10, 11, 12, 13}, idx[4] = {0, 5, 0xFE, 0xFF};
    Ipp8u looked[4];
    ippiLUTPalette_8u_C1R(idx, 4, looked, 4, 4, 1, table, 2);
    EXPECT_EQ(V(looked), V(table));
    // Or then AndC, and AbsDiff, side by side in one row.
    Ipp8u bits[4] = {0xF0, 0x0F, 3, 250};
    const Ipp8u other[4] = {0x3C, 0x3C, 10, 5};
    ippiOr_8u_C1IR(other, 2, bits, 2, 2, 1);
    ippiAndC_8u_C1IR(0x1F, bits, 2, 2, 1);
    ippiAbsDiff_8u_C1R(bits + 2, 2, other + 2, 2, bits + 2, 2, 2, 1);
    EXPECT_EQ(V(bits), (std::vector<Ipp8u>{0x1C, 0x1F, 7, 245}));
}

TEST(RectangleArguments, ViewsStayInsideTheirRectangleAndBadArgumentsAreRefused) {
    // A 37 x 5 view at (3, 2) of a 64 x 9 image: odd width exercises the
    // vector loops' tails, the step leaves a margin that must stay untouched.
    const int step = 64, w = 37, h = 5;
    std::vector<Ipp8u> src(step * 9, 200), dst(step * 9, 7);
    Ipp8u* view = dst.data() + 2 * step + 3;
    ASSERT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, step, w, h, 1), 0);
    ASSERT_EQ(ippiCompareC_8u_C1R(view, step, 104, view, step, w, h, ippCmpLess), 0);
    // 207 / 2 = 103.5 rounds to the even 104, which is not below 104.
    for (int i = 0; i < step * 9; ++i)
        ASSERT_EQ(dst[i], i / step >= 2 && i / step < 2 + h && i % step >= 3 && i % step < 3 + w ? 0 : 7) << i;
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(nullptr, step, view, step, w, h, 0), ippStsNullPtrErr);
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, step, 0, h, 0), ippStsSizeErr);
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, w - 1, w, h, 0), ippStsStepErr);
    float f[10] = {};  // a float step counts bytes: 39 cannot hold ten floats
    EXPECT_EQ(ippiAdd_32f_C1IR(f, 39, f, 40, 10, 1), ippStsStepErr);
}

TEST(FloatArithmetic, DivisionThresholdsAndProducts) {
    const float inf = std::numeric_limits<float>::infinity(), den[6] = {0, 0, 0, -0.0f, 3, 4};
    float num[6] = {1, -1, 0, 1, 6, -2};
    // Zero divisors give the dividend's sign whatever the zero's sign, and the
    // whole row is still divided before the status is reported.
    EXPECT_EQ(ippiDiv_32f_C1IR(den, 24, num, 24, 6, 1), ippStsDivByZero);
    EXPECT_TRUE(std::isnan(num[2]));
    num[2] = 0;
    EXPECT_EQ(V(num), (std::vector<float>{inf, -inf, 0, inf, 2, -0.5f}));
    // Thresholds clamp from above and below, then MulC scales all.
    float t[4] = {-3, 0.5f, 2, 7};
    ippiThreshold_GT_32f_C1IR(t, 16, 4, 1, 1.0f);
    ippiThreshold_LT_32f_C1IR(t, 16, 4, 1, -1.0f);
    ippiMulC_32f_C1IR(2.0f, t, 16, 4, 1);
    EXPECT_EQ(V(t), (std::vector<float>{-2, 1, 2, 2}));
    // srcDst + a * b with byte factors; the largest product stays exact.
    const Ipp8u a[2] = {255, 3}, b[2] = {255, 4};
    float acc[2] = {0.5f, -12};
    ippiAddProduct_8u32f_C1IR(a, 2, b, 2, acc, 8, 2, 1);
    EXPECT_EQ(V(acc), (std::vector<float>{65025.5f, 0.0f}));
}

TEST(Statistics, SumsAndMeansOverViews) {
    const int step = 40, w = 33, h = 7;
    std::vector<Ipp8u> img(step * h, 255);  // the margin must not count
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) img[y * step + x] = Ipp8u(x + y);
    const Ipp8u rgb[6] = {1, 2, 3, 5, 6, 250};
    double sum = 0, mean = 0, m3[3];
    ASSERT_EQ(ippiSum_8u_C1R(img.data(), step, w, h, &sum), 0);
    ippiMean_8u_C1R(img.data(), step, w, h, &mean);
    ippiMean_8u_C3R(rgb, 6, 2, 1, m3);
    EXPECT_EQ(sum, 7.0 * (32 * 33 / 2) + 33.0 * (6 * 7 / 2));
    EXPECT_DOUBLE_EQ(mean, sum / (w * h));
    EXPECT_EQ(V(m3), (std::vector<double>{3, 4, 126.5}));
}
