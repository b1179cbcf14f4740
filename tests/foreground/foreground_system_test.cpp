// One tile's foreground system: weights, masks, the stacked matrix, the normal
// equations and the solve, checked against worked numbers and a dense
// least-squares reference.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "foreground/foreground_system.h"
#include "foreground/foreground_tile.h"
#include "frame/progress.h"

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
    const AlphaImage a(5, 1, {0, 2, 3, 128, 253});
    std::vector<float> wf, wb;
    dataWeights(a, wf, wb);
    EXPECT_NEAR(wb[0], 100.03f, 1e-4);  // certain background: B pinned, F barely held
    EXPECT_NEAR(wf[0], 0.01f, 1e-7);
    EXPECT_NEAR(wb[1], 100.0f + 0.03f * (1 - 2 / 255.0f), 1e-4);
    EXPECT_NEAR(wf[1], 0.01f, 1e-7);
    EXPECT_NEAR(wb[2], 0.03f * (1 - 3 / 255.0f), 1e-6);  // byte 3: no pin any more
    EXPECT_EQ(wf[2], 0.0f);
    EXPECT_EQ(wf[3], 0.0f);  // mid alpha rests on compositing and smoothness alone
    EXPECT_EQ(wb[3], 0.0f);
    EXPECT_NEAR(wf[4], 100.0f + 0.03f * 253 / 255.0f, 1e-4);
    EXPECT_NEAR(wb[4], 0.01f, 1e-7);
}

TEST(ForegroundWeights, MasksGradientsAndDifferenceRows) {
    // 4 x 4, alpha 0 but for byte 128 right of and below pixel (1, 1), and a
    // soft pixel at (2, 2).
    const int w = 4, h = 4, n = w * h;
    AlphaImage alpha(w, h, {0, 0, 0, 0, 0, 0, 128, 0, 0, 128, 64, 0, 0, 0, 0, 0});
    GIMG<float> m0(w, h), m1(w, h), m2(w, h), m3(w, h);
    GIMG<float>* const masks[4] = {&m0, &m1, &m2, &m3};
    gradientMasks(alpha, masks);
    EXPECT_EQ(m0.row(1)[1], 1.0f);  // only the horizontal mask looks at the neighbour
    EXPECT_EQ(m1.row(1)[1], 0.0f);
    EXPECT_EQ(m2.row(1)[1], 0.0f);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(masks[k]->row(2)[2], 1.0f);
        for (int i = 0; i < 4; ++i) {  // the ring has no difference rows of its own
            EXPECT_EQ(masks[k]->row(0)[i], 0.0f);
            EXPECT_EQ(masks[k]->row(i)[3], 0.0f);
        }
    }
    const std::vector<float> g = alphaGradients(alpha, masks);
    const float a22 = 64 / 255.0f, a12 = 128 / 255.0f;
    const int p = 2 * w + 2;
    EXPECT_FLOAT_EQ(g[p], a22);                 // right neighbour (3, 2) is 0
    EXPECT_FLOAT_EQ(g[n + p], a22);             // below
    EXPECT_FLOAT_EQ(g[2 * n + p], a22);         // below right
    EXPECT_FLOAT_EQ(g[3 * n + p], a22);         // above right
    EXPECT_FLOAT_EQ(g[w + 1], -a12);            // (1, 1) to (2, 1)

    const CsrMatrix grad = gradientMatrix(masks);
    ASSERT_EQ(grad.rows, 4 * n);
    // Set rows: the soft pixels (2,1), (1,2), (2,2) in all blocks, (1,1) in
    // block 0; every other row holds a zero at column 1.
    EXPECT_EQ(csrEntries(grad), 4 * n + 13);
    const int r = 3 * n + p;  // up-right row of (2, 2): neighbour first
    const int at = grad.rowStart[r] - 1;
    EXPECT_EQ(grad.columns[at], p - w + 2);
    EXPECT_EQ(grad.values[at], -1.0f);
    EXPECT_EQ(grad.columns[at + 1], p + 1);
    const int zeroRow = grad.rowStart[n + 5] - 1;  // block 1, pixel (1, 1)
    EXPECT_EQ(grad.columns[zeroRow], 1);
    EXPECT_EQ(grad.values[zeroRow], 0.0f);

    EXPECT_THROW(alphaGradients(AlphaImage(2, 4, std::vector<int>(8, 128)), masks), QxBase::QXRC);
}

TEST(ForegroundNormal, UpperTriangleAndTruncatingWriteBack) {
    // 3 x 3 matrix: row 1 full, row 2 a single stored zero at column 1, row 3
    // with its columns out of order.
    CsrMatrix m;
    m.rows = m.cols = 3;
    m.values = {4, 1, 2, 0, 5, 2, 1};
    m.columns = {1, 3, 2, 1, 3, 1, 2};
    m.rowStart = {1, 4, 5, 8};
    m.values[6] = 7;  // (3, 2) is below the diagonal
    const CsrMatrix u = upperTriangle(m);
    EXPECT_EQ(u.rowStart, (std::vector<int>{1, 4, 5, 6}));
    EXPECT_EQ(u.columns, (std::vector<int>{1, 2, 3, 2, 3}));
    EXPECT_EQ(u.values, (std::vector<float>{4, 2, 1, 0, 5}));

    GIMG<unsigned char> plane(4, 4);
    for (int y = 0; y < 4; ++y) std::fill(plane.row(y), plane.row(y) + 4, 77);
    std::vector<float> solution(16, 0.0f);
    solution[5] = -3.2f, solution[6] = 255.7f, solution[9] = 17.9f;
    writeForeground(solution, plane);
    EXPECT_EQ(plane.row(1)[1], 0);
    EXPECT_EQ(plane.row(1)[2], 255);
    EXPECT_EQ(plane.row(2)[1], 17);  // truncated, not rounded
    EXPECT_EQ(plane.row(0)[1], 77);  // ring untouched
    EXPECT_EQ(plane.row(1)[3], 77);
}

TEST(ForegroundNormalDeathTest, SolverFailureEndsTheProcessWithThePhaseCode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CsrMatrix lower;  // an entry left of the diagonal: the analysis refuses it
    lower.rows = lower.cols = 2;
    lower.values = {1, 1, 1};
    lower.columns = {1, 1, 2};
    lower.rowStart = {1, 2, 4};
    SparseSession session;
    EXPECT_EXIT(factoriseNormal(session, lower), testing::ExitedWithCode(1), "");
}

int ticks = 0;
int countTick(int, int, void*) { return ++ticks, 0; }

// Dense least squares on the stacked system, in double.
std::vector<double> denseSolve(const CsrMatrix& s, const std::vector<float>& rhs) {
    const int n = s.cols;
    std::vector<double> ata(n * n, 0.0), atb(n, 0.0);
    for (int r = 0; r < s.rows; ++r)
        for (int i = s.rowStart[r] - 1; i < s.rowStart[r + 1] - 1; ++i) {
            atb[s.columns[i] - 1] += s.values[i] * double(rhs[r]);
            for (int j = s.rowStart[r] - 1; j < s.rowStart[r + 1] - 1; ++j)
                ata[(s.columns[i] - 1) * n + s.columns[j] - 1] += double(s.values[i]) * s.values[j];
        }
    for (int k = 0; k < n; ++k) {  // symmetric positive definite: no pivoting
        for (int r = k + 1; r < n; ++r) {
            const double f = ata[r * n + k] / ata[k * n + k];
            for (int c = k; c < n; ++c) ata[r * n + c] -= f * ata[k * n + c];
            atb[r] -= f * atb[k];
        }
    }
    std::vector<double> x(n);
    for (int k = n - 1; k >= 0; --k) {
        double v = atb[k];
        for (int c = k + 1; c < n; ++c) v -= ata[k * n + c] * x[c];
        x[k] = v / ata[k * n + k];
    }
    return x;
}

TEST(ForegroundTile, SolveMatchesDenseLeastSquaresAndTicksFifteenTimes) {
    const int w = 7, h = 6;
    std::mt19937 rng(5);
    GIMG<unsigned char> alpha(w, h), p0(w, h), p1(w, h), p2(w, h), orig(w * 3, h);
    GIMG<unsigned char>* const planes[3] = {&p0, &p1, &p2};
    std::vector<int> bytes(w * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool ring = x == 0 || y == 0 || x == w - 1 || y == h - 1;
            alpha.row(y)[x] = static_cast<unsigned char>(ring ? (x < 3 ? 0 : 255) : rng() % 256);
            bytes[y * w + x] = alpha.row(y)[x];
            for (int c = 0; c < 3; ++c) planes[c]->row(y)[x] = orig.row(y)[3 * x + c] = rng() % 256;
        }

    // The reference: the same system, solved densely, channel by channel.
    const AlphaImage alphaF(w, h, bytes);
    GIMG<float> m0(w, h), m1(w, h), m2(w, h), m3(w, h), colour(w, h);
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

    startProgress(countTick, &ticks, 1000000, 0, 1);
    ticks = 0;
    ASSERT_EQ(recoverForegroundTile(planes, alpha), 0);
    EXPECT_EQ(ticks, 15);
    startProgress(nullptr, nullptr, 0, 0, 0);

    int mismatches = 0;
    for (int c = 0; c < 3; ++c) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) colour.row(y)[x] = orig.row(y)[3 * x + c];
        systemRightSide(colour, alphaF, df, db, rhs);
        const std::vector<double> x = denseSolve(system, rhs);
        for (int yy = 0; yy < h; ++yy)
            for (int xx = 0; xx < w; ++xx) {
                const unsigned char got = planes[c]->row(yy)[xx];
                if (xx == 0 || yy == 0 || xx == w - 1 || yy == h - 1) {
                    EXPECT_EQ(got, orig.row(yy)[3 * xx + c]);  // ring keeps the source
                    continue;
                }
                const double f = std::min(255.0, std::max(0.0, x[yy * w + xx]));
                EXPECT_NEAR(got, std::floor(f), 1.0);
                mismatches += got != static_cast<int>(f);
            }
    }
    EXPECT_LE(mismatches, 3);  // single precision may tip a truncation
}

}  // namespace
}  // namespace qx
