// One tile's foreground system: weights, masks, the stacked matrix, the normal
// equations and the solve, checked against worked numbers and a dense
// least-squares reference.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <random>

#include "foreground/foreground_system.h"
#include "foreground/foreground_tile.h"
#include "support/test_helpers.h"

namespace qx {
namespace {

// Float alpha of a tile from bytes, row-major.
struct AlphaImage : GIMG<float> {
    AlphaImage(int w, int h, const std::vector<int>& bytes) : GIMG<float>(w, h) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) row(y)[x] = bytes[y * w + x] / 255.0f;
    }
};

TEST(ForegroundWeights, DataWeightsAtTheByteThresholds) {
    std::vector<float> wf, wb;
    dataWeights(AlphaImage(4, 1, {0, 2, 3, 253}), wf, wb);
    // Certain background (up to byte 2): B pinned, F barely held.
    EXPECT_NEAR(wb[0], 100.03f, 1e-4);
    EXPECT_NEAR(wb[1], 100.0f + 0.03f * (1 - 2 / 255.0f), 1e-4);
    EXPECT_NEAR(wf[1], 0.01f, 1e-7);
    EXPECT_NEAR(wb[2], 0.03f * (1 - 3 / 255.0f), 1e-6);  // byte 3: no pin any more
    EXPECT_EQ(wf[2], 0.0f);
    EXPECT_NEAR(wf[3], 100.0f + 0.03f * 253 / 255.0f, 1e-4);
    EXPECT_NEAR(wb[3], 0.01f, 1e-7);
}

TEST(ForegroundWeights, MasksGradientsAndDifferenceRows) {
    // 4 x 4, alpha 0 but for byte 128 right of and below pixel (1, 1), and a
    // soft pixel at (2, 2).
    const int w = 4, h = 4, n = w * h;
    const AlphaImage alpha(w, h, {0, 0, 0, 0, 0, 0, 128, 0, 0, 128, 64, 0, 0, 0, 0, 0});
    GIMG<float> m0(w, h), m1(w, h), m2(w, h), m3(w, h);
    GIMG<float>* const masks[4] = {&m0, &m1, &m2, &m3};
    gradientMasks(alpha, masks);
    // Only the horizontal mask of (1, 1) looks at its soft neighbour.
    EXPECT_EQ(cv::Vec3f(m0.row(1)[1], m1.row(1)[1], m2.row(1)[1]), cv::Vec3f(1, 0, 0));
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(masks[k]->row(2)[2], 1.0f);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(masks[k]->row(0)[i] + masks[k]->row(i)[3], 0.0f);  // no ring rows
    }
    const std::vector<float> g = alphaGradients(alpha, masks);
    EXPECT_FLOAT_EQ(g[3 * n + 2 * w + 2], 64 / 255.0f);  // up-right of (2, 2): (3, 1) is 0
    EXPECT_FLOAT_EQ(g[w + 1], -128 / 255.0f);            // (1, 1) to (2, 1)

    // Set rows: the soft pixels (2,1), (1,2), (2,2) in all blocks, (1,1) in
    // block 0; every other row holds a lone zero at column 1.
    const CsrMatrix grad = gradientMatrix(masks);
    ASSERT_EQ(grad.rows, 4 * n);
    EXPECT_EQ(csrEntries(grad), 4 * n + 13);
    const int at = grad.rowStart[3 * n + 2 * w + 2] - 1;  // up-right row of (2, 2): neighbour first
    EXPECT_EQ(cv::Vec3i(grad.columns[at], int(grad.values[at]), grad.columns[at + 1]), cv::Vec3i(8, -1, 11));
    const int zeroRow = grad.rowStart[n + 5] - 1;  // block 1, pixel (1, 1)
    EXPECT_EQ(cv::Vec2f(float(grad.columns[zeroRow]), grad.values[zeroRow]), cv::Vec2f(1, 0));
    EXPECT_THROW(alphaGradients(AlphaImage(2, 4, std::vector<int>(8, 128)), masks), QxBase::QXRC);
}

TEST(ForegroundNormal, UpperTriangleAndTruncatingWriteBack) {
    // 3 x 3: row 1 full, row 2 a single stored zero at column 1 (kept: the
    // row would be empty), row 3 with its columns out of order.
    const CsrMatrix u = upperTriangle({3, 3, {4, 1, 2, 0, 5, 2, 7}, {1, 3, 2, 1, 3, 1, 2}, {1, 4, 5, 8}});
    EXPECT_EQ(u.rowStart, (std::vector<int>{1, 4, 5, 6}));
    EXPECT_EQ(u.columns, (std::vector<int>{1, 2, 3, 2, 3}));
    EXPECT_EQ(u.values, (std::vector<float>{4, 2, 1, 0, 5}));

    GIMG<unsigned char> plane(4, 4);
    for (int y = 0; y < 4; ++y) std::fill(plane.row(y), plane.row(y) + 4, 77);
    std::vector<float> solution(16, 0.0f);
    solution[5] = -3.2f, solution[6] = 255.7f, solution[9] = 17.9f;
    writeForeground(solution, plane);
    // Clamped, truncated (not rounded), the ring untouched.
    const cv::Vec<int, 5> got(plane.row(1)[1], plane.row(1)[2], plane.row(2)[1], plane.row(0)[1], plane.row(1)[3]);
    EXPECT_EQ(got, (cv::Vec<int, 5>(0, 255, 17, 77, 77)));
}

TEST(ForegroundNormalDeathTest, SolverFailureEndsTheProcessWithThePhaseCode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const CsrMatrix lower{2, 2, {1, 1, 1}, {1, 1, 2}, {1, 2, 4}};  // left of the diagonal: the analysis refuses it
    SparseSession session;
    EXPECT_EXIT(factoriseNormal(session, lower), testing::ExitedWithCode(1), "");
}

TEST(ForegroundTile, SolveMatchesDenseLeastSquaresAndTicksFifteenTimes) {
    const int w = 7, h = 6;
    std::mt19937 rng(5);
    GIMG<unsigned char> alpha(w, h), p0(w, h), p1(w, h), p2(w, h);
    GIMG<unsigned char>* const planes[3] = {&p0, &p1, &p2};
    GIMG<float> s0(w, h), s1(w, h), s2(w, h);
    GIMG<float>* const source[3] = {&s0, &s1, &s2};
    std::vector<int> bytes(w * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool ring = x == 0 || y == 0 || x == w - 1 || y == h - 1;
            bytes[y * w + x] = alpha.row(y)[x] = static_cast<unsigned char>(ring ? (x < 3 ? 0 : 255) : rng() % 256);
            for (int c = 0; c < 3; ++c) planes[c]->row(y)[x] = uchar(source[c]->row(y)[x] = float(rng() % 256));
        }

    // The reference: the same system, solved densely in double, channel by channel.
    const AlphaImage alphaF(w, h, bytes);
    GIMG<float> m0(w, h), m1(w, h), m2(w, h), m3(w, h);
    GIMG<float>* const masks[4] = {&m0, &m1, &m2, &m3};
    gradientMasks(alphaF, masks);
    std::vector<float> g = alphaGradients(alphaF, masks), gf, gb, df, db, rhs;
    smoothnessWeights(g, alphaF, gf, gb);
    dataWeights(alphaF, df, db);
    CsrMatrix smooth;
    ASSERT_EQ(smoothnessMatrix(gradientMatrix(masks), gf, gb, smooth), 0);
    const CsrMatrix system = systemMatrix(df, db, alphaF, smooth);
    EXPECT_EQ(system.rows, 11 * w * h);
    EXPECT_EQ(csrEntries(system), 4 * w * h + csrEntries(smooth));
    cv::Mat dense = cv::Mat::zeros(system.rows, system.cols, CV_64F), b, x;
    for (int r = 0; r < system.rows; ++r)
        for (int i = system.rowStart[r] - 1; i < system.rowStart[r + 1] - 1; ++i)
            dense.at<double>(r, system.columns[i] - 1) += system.values[i];

    {
        qxtest::ProgressLog log;
        ASSERT_EQ(recoverForegroundTile(planes, alpha), 0);
        EXPECT_EQ(log.ticks(), 15);
    }

    int mismatches = 0;
    for (int c = 0; c < 3; ++c) {
        systemRightSide(*source[c], alphaF, df, db, rhs);
        cv::Mat(rhs).convertTo(b, CV_64F);
        cv::solve(dense, b, x, cv::DECOMP_NORMAL | cv::DECOMP_CHOLESKY);
        for (int y = 0; y < h; ++y)
            for (int xx = 0; xx < w; ++xx) {  // the ring keeps the source
                const bool ring = xx == 0 || y == 0 || xx == w - 1 || y == h - 1;
                const int got = planes[c]->row(y)[xx];
                const int want = int(ring ? source[c]->row(y)[xx] : std::clamp(x.at<double>(y * w + xx), 0.0, 255.0));
                EXPECT_NEAR(got, want, ring ? 0 : 1) << c << ": " << xx << "," << y;
                mismatches += got != want;
            }
    }
    EXPECT_LE(mismatches, 3);  // single precision may tip a truncation
}

}  // namespace
}  // namespace qx
