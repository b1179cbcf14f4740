// Integer and float arithmetic, logic and statistics of the primitives.
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

namespace {

// Independent reference of the scale rule: exact r * 2^-s, rounded to nearest
// with ties to even by the FPU, then saturated.
int scaled(int r, int s) {
    const double v = std::nearbyint(std::ldexp(static_cast<double>(r), -s));
    return v < 0 ? 0 : (v > 255 ? 255 : static_cast<int>(v));
}

const int kScales[] = {-9, -2, -1, 0, 1, 2, 3, 7, 8, 15, 16, 17, 40};

// 256 x 256 planes holding every pair of operands: a = column, b = row.
struct OperandPlanes {
    std::vector<Ipp8u> a, b;
    OperandPlanes() : a(65536), b(65536) {
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x) a[y * 256 + x] = Ipp8u(x), b[y * 256 + x] = Ipp8u(y);
    }
};

}  // namespace

TEST(ScaledArithmetic, EveryOperandPairMatchesTheExactRoundingRule) {
    const OperandPlanes ops;
    for (int s : kScales) {
        std::vector<Ipp8u> add = ops.b, sub = ops.b, mul = ops.b, diff(65536);
        ASSERT_EQ(ippiAdd_8u_C1IRSfs(ops.a.data(), 256, add.data(), 256, 256, 256, s), 0);
        ASSERT_EQ(ippiSub_8u_C1IRSfs(ops.a.data(), 256, sub.data(), 256, 256, 256, s), 0);
        ASSERT_EQ(ippiMul_8u_C1IRSfs(ops.a.data(), 256, mul.data(), 256, 256, 256, s), 0);
        ASSERT_EQ(ippiSub_8u_C1RSfs(ops.a.data(), 256, ops.b.data(), 256, diff.data(), 256, 256, 256, s), 0);
        for (int i = 0; i < 65536; ++i) {
            const int a = ops.a[i], b = ops.b[i];
            ASSERT_EQ(add[i], scaled(b + a, s)) << a << "+" << b << " s=" << s;
            ASSERT_EQ(sub[i], scaled(b - a, s)) << b << "-" << a << " s=" << s;
            ASSERT_EQ(mul[i], scaled(b * a, s)) << a << "*" << b << " s=" << s;
            ASSERT_EQ(diff[i], sub[i]);
        }
        // Constant forms: the column index is the pixel, the row index the constant.
        for (int v = 0; v < 256; v += 17) {
            std::vector<Ipp8u> addC(ops.a.begin(), ops.a.begin() + 256), subC = addC, mulC = addC, subCR(256);
            ippiAddC_8u_C1IRSfs(Ipp8u(v), addC.data(), 256, 256, 1, s);
            ippiSubC_8u_C1IRSfs(Ipp8u(v), subC.data(), 256, 256, 1, s);
            ippiMulC_8u_C1IRSfs(Ipp8u(v), mulC.data(), 256, 256, 1, s);
            ippiSubC_8u_C1RSfs(ops.a.data(), 256, Ipp8u(v), subCR.data(), 256, 256, 1, s);
            for (int x = 0; x < 256; ++x) {
                ASSERT_EQ(addC[x], scaled(x + v, s));
                ASSERT_EQ(subC[x], scaled(x - v, s));
                ASSERT_EQ(mulC[x], scaled(x * v, s));
                ASSERT_EQ(subCR[x], subC[x]);
            }
        }
    }
}

TEST(ScaledArithmetic, WorkedNumbers) {
    Ipp8u p[3] = {1, 3, 5};
    ippiMulC_8u_C1IRSfs(3, p, 3, 3, 1, 1);  // 1.5, 4.5, 7.5 all tie to even
    EXPECT_EQ(p[0], 2);
    EXPECT_EQ(p[1], 4);
    EXPECT_EQ(p[2], 8);

    // The first argument is the subtrahend.
    Ipp8u ten = 10, three = 3, out = 99;
    ippiSub_8u_C1RSfs(&ten, 1, &three, 1, &out, 1, 1, 1, 0);
    EXPECT_EQ(out, 0);
    ippiSub_8u_C1RSfs(&three, 1, &ten, 1, &out, 1, 1, 1, 0);
    EXPECT_EQ(out, 7);

    // Per channel on three- and four-byte pixels; byte 3 keeps its value.
    const Ipp8u values[3] = {2, 0, 255};
    Ipp8u rgb[6] = {10, 20, 30, 200, 1, 1};
    ippiMulC_8u_C3IRSfs(values, rgb, 6, 2, 1, 0);
    EXPECT_EQ(std::vector<Ipp8u>(rgb, rgb + 6), (std::vector<Ipp8u>{20, 0, 255, 255, 0, 255}));
    Ipp8u rgba[8] = {10, 20, 30, 77, 1, 2, 0, 78};
    ippiMulC_8u_AC4IRSfs(values, rgba, 8, 2, 1, 1);
    EXPECT_EQ(std::vector<Ipp8u>(rgba, rgba + 8), (std::vector<Ipp8u>{10, 0, 255, 77, 1, 0, 0, 78}));
}

TEST(ByteLogic, CompareLutMaskAndBitwise) {
    const Ipp8u src[5] = {0, 99, 100, 101, 255};
    const int expect[5][5] = {{255, 255, 0, 0, 0},
                              {255, 255, 255, 0, 0},
                              {0, 0, 255, 0, 0},
                              {0, 0, 255, 255, 255},
                              {0, 0, 0, 255, 255}};
    for (int op = 0; op < 5; ++op) {
        Ipp8u dst[5];
        ASSERT_EQ(ippiCompareC_8u_C1R(src, 5, 100, dst, 5, 5, 1, op), 0);
        for (int i = 0; i < 5; ++i) EXPECT_EQ(dst[i], expect[op][i]) << "op " << op << " value " << int(src[i]);
    }

    // Only the low nBitSize bits index the table.
    const Ipp8u table[4] = {10, 11, 12, 13};
    const Ipp8u idx[4] = {0, 5, 0xFE, 0xFF};
    Ipp8u looked[4];
    ippiLUTPalette_8u_C1R(idx, 4, looked, 4, 4, 1, table, 2);
    EXPECT_EQ(std::vector<Ipp8u>(looked, looked + 4), (std::vector<Ipp8u>{10, 11, 12, 13}));

    Ipp8u plane[4] = {1, 2, 3, 4};
    const Ipp8u mask[4] = {0, 1, 0, 200};
    ippiSet_8u_C1MR(9, plane, 4, 4, 1, mask, 4);
    EXPECT_EQ(std::vector<Ipp8u>(plane, plane + 4), (std::vector<Ipp8u>{1, 9, 3, 9}));

    Ipp8u bits[2] = {0xF0, 0x0F}, orBits[2] = {0xF0, 0x0F};
    const Ipp8u other[2] = {0x3C, 0x3C};
    ippiAnd_8u_C1IR(other, 2, bits, 2, 2, 1);
    ippiOr_8u_C1IR(other, 2, orBits, 2, 2, 1);
    ippiAndC_8u_C1IR(0x1F, orBits, 2, 2, 1);
    EXPECT_EQ(std::vector<Ipp8u>(bits, bits + 2), (std::vector<Ipp8u>{0x30, 0x0C}));
    EXPECT_EQ(std::vector<Ipp8u>(orBits, orBits + 2), (std::vector<Ipp8u>{0x1C, 0x1F}));

    Ipp8u d[2];
    const Ipp8u x[2] = {3, 250}, y[2] = {10, 5};
    ippiAbsDiff_8u_C1R(x, 2, y, 2, d, 2, 2, 1);
    EXPECT_EQ(std::vector<Ipp8u>(d, d + 2), (std::vector<Ipp8u>{7, 245}));
}

TEST(RectangleArguments, ViewsStayInsideTheirRectangleAndBadArgumentsAreRefused) {
    // A 37 x 5 view at (3, 2) of a 64 x 9 image: odd width exercises the
    // vector loops' tails, the step leaves a margin that must stay untouched.
    const int step = 64, w = 37, h = 5;
    std::vector<Ipp8u> src(step * 9, 200), dst(step * 9, 7);
    Ipp8u* view = dst.data() + 2 * step + 3;
    ASSERT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, step, w, h, 1), 0);
    ASSERT_EQ(ippiCompareC_8u_C1R(view, step, 104, view, step, w, h, ippCmpLess), 0);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < step; ++x) {
            const bool inside = y >= 2 && y < 2 + h && x >= 3 && x < 3 + w;
            // 207 / 2 = 103.5 rounds to the even 104, which is not below 104.
            ASSERT_EQ(dst[y * step + x], inside ? 0 : 7) << x << "," << y;
        }

    EXPECT_EQ(ippiAdd_8u_C1IRSfs(nullptr, step, view, step, w, h, 0), ippStsNullPtrErr);
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, step, 0, h, 0), ippStsSizeErr);
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, step, w, -1, 0), ippStsSizeErr);
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(src.data(), 0, view, step, w, h, 0), ippStsStepErr);
    EXPECT_EQ(ippiAdd_8u_C1IRSfs(src.data(), step, view, w - 1, w, h, 0), ippStsStepErr);
    EXPECT_EQ(ippiAdd_32f_C1IR(reinterpret_cast<Ipp32f*>(src.data()), 4 * 10 - 1,
                               reinterpret_cast<Ipp32f*>(dst.data()), 40, 10, 1),
              ippStsStepErr);
}

TEST(FloatArithmetic, DivisionSquareRootAndThresholds) {
    const float inf = std::numeric_limits<float>::infinity();
    float num[6] = {1, -1, 0, 1, 6, -2};
    const float den[6] = {0, 0, 0, -0.0f, 3, 4};
    // Zero divisors give the dividend's sign whatever the zero's sign, and the
    // whole row is still divided before the status is reported.
    EXPECT_EQ(ippiDiv_32f_C1IR(den, 24, num, 24, 6, 1), ippStsDivByZero);
    EXPECT_TRUE(std::isnan(num[2]));
    num[2] = 0;
    EXPECT_EQ(std::vector<float>(num, num + 6), (std::vector<float>{inf, -inf, 0, inf, 2, -0.5f}));
    EXPECT_EQ(ippiDiv_32f_C1IR(den + 4, 8, num + 4, 8, 2, 1), ippStsNoErr);

    const float roots[5] = {4, 2.25f, -1, 0, 9};
    float r[5];
    EXPECT_EQ(ippiSqrt_32f_C1R(roots, 20, r, 20, 5, 1), ippStsSqrtNegArg);
    EXPECT_TRUE(std::isnan(r[2]));
    r[2] = -1;
    EXPECT_EQ(std::vector<float>(r, r + 5), (std::vector<float>{2, 1.5f, -1, 0, 3}));
    EXPECT_EQ(ippiSqrt_32f_C1R(roots, 8, r, 8, 2, 1), ippStsNoErr);

    float t[4] = {-3, 0.5f, 2, 7};
    ippiThreshold_GT_32f_C1IR(t, 16, 4, 1, 1.0f);
    ippiThreshold_LT_32f_C1IR(t, 16, 4, 1, 0.0f);
    EXPECT_EQ(std::vector<float>(t, t + 4), (std::vector<float>{0, 0.5f, 1, 1}));
    t[0] = -2.5f;
    ippiAbs_32f_C1IR(t, 16, 1, 1);
    ippiMulC_32f_C1IR(2.0f, t, 16, 4, 1);
    EXPECT_EQ(std::vector<float>(t, t + 4), (std::vector<float>{5, 1, 2, 2}));

    // srcDst + a * b with byte factors; the largest product stays exact.
    const Ipp8u a[2] = {255, 3}, b[2] = {255, 4};
    float acc[2] = {0.5f, -12};
    ippiAddProduct_8u32f_C1IR(a, 2, b, 2, acc, 8, 2, 1);
    EXPECT_EQ(acc[0], 65025.5f);
    EXPECT_EQ(acc[1], 0.0f);
}

TEST(Statistics, SumsAndMeansOverViews) {
    const int step = 40, w = 33, h = 7;
    std::vector<Ipp8u> img(step * h, 255);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) img[y * step + x] = Ipp8u(x + y);
    double sum = 0, mean = 0;
    ASSERT_EQ(ippiSum_8u_C1R(img.data(), step, w, h, &sum), 0);
    EXPECT_EQ(sum, 7.0 * (32 * 33 / 2) + 33.0 * (6 * 7 / 2));
    ippiMean_8u_C1R(img.data(), step, w, h, &mean);
    EXPECT_DOUBLE_EQ(mean, sum / (w * h));

    const Ipp8u rgb[6] = {1, 2, 3, 5, 6, 250};
    double m3[3];
    ippiMean_8u_C3R(rgb, 6, 2, 1, m3);
    EXPECT_EQ(std::vector<double>(m3, m3 + 3), (std::vector<double>{3, 4, 126.5}));

    // A float sum is carried in double: 2^24 + many ones would stall in float.
    std::vector<float> f(1001, 1.0f);
    f[0] = 16777216.0f;
    double fs = 0;
    ippiSum_32f_C1R(f.data(), 4 * 1001, 1001, 1, &fs, 0);
    EXPECT_EQ(fs, 16777216.0 + 1000);
}
