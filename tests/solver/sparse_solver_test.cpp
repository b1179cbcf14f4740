#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "frame/status.h"
#include "matting/sparse_grid_order.h"
#include "matting/sparse_solver.h"
#include "solver/grid_system.h"
#include "support/test_helpers.h"

using namespace qx;

// Solves in place; returns what solveSparseDirect returned or threw.
static int direct(int order, const float* v, const int* r, const int* c, float* b) {
    std::vector<float> scratch(order);
    int rc = 0;
    const int thrown = qxtest::thrownInt([&] { rc = solveSparseDirect(order, v, r, c, b, scratch.data()); });
    return thrown == INT_MIN ? rc : thrown;
}

static int direct(const GridSystem& g, std::vector<float>& b) {
    return direct(g.order, g.values.data(), g.rowStart.data(), g.columns.data(), b.data());
}

TEST(SparseDirect, OrderOneAndRefusals) {
    float v1[] = {4.0f}, b1[] = {2.0f}, minusOne[] = {-1.0f};
    int r1[] = {1, 2}, c1[] = {1};
    EXPECT_EQ(direct(1, v1, r1, c1, b1), 1);
    EXPECT_FLOAT_EQ(b1[0], 0.5f);
    EXPECT_EQ(direct(1, minusOne, r1, c1, b1), kFactorisationFailed);  // no perturbation helps
    // An entry left of the diagonal is no upper triangle; release may then run twice.
    float v2[] = {2, 1, 2};
    int r2[] = {1, 2, 4}, c2[] = {1, 1, 2};
    EXPECT_EQ(direct(2, v2, r2, c2, b1), kAnalysisFailed);
    SparseSession s;
    EXPECT_LT(sparseAnalyse(s, 2, v2, r2, c2), 0);
    sparseRelease(s);
    sparseRelease(s);
}

// The pixels' coordinates of a w x h grid system and their grid ordering.
static std::vector<int> gridOrderOf(int w, int h) {
    std::vector<int> xs(w * h), ys(w * h), given(w * h);
    for (int i = 0; i < w * h; ++i) xs[i] = i % w, ys[i] = i / w;
    gridNestedDissection(w * h, xs.data(), ys.data(), 2, given.data());
    return given;
}

TEST(SparseDirect, GridSystemInOneSessionWithTwoRightSides) {
    GridSystem g = makeGridSystem(120, 90, 7, 255.0f);
    std::vector<double> truth = smoothField(g.order), bd = symmetricTimes(g, truth);
    std::vector<float> b(bd.begin(), bd.end()), x(g.order), y(b);
    const std::vector<int> given = gridOrderOf(120, 90);
    SparseSession s;
    s.givenOrder = given.data();  // the matting system's ordering
    ASSERT_EQ(sparseAnalyse(s, g.order, g.values.data(), g.rowStart.data(), g.columns.data()), kSparseOk);
    ASSERT_EQ(sparseFactorise(s), kSparseOk);
    ASSERT_EQ(sparseSolve(s, b.data(), x.data()), kSparseOk);
    EXPECT_LT(relativeDistance(x, truth), 2e-6);
    for (float& e : y) e *= -2.0f;
    ASSERT_EQ(sparseSolve(s, y.data(), y.data()), kSparseOk);  // in place
    for (float& e : x) e *= -2.0f;
    EXPECT_LT(relativeDistance(y, x), 1e-6);
}

TEST(GridOrder, APermutationForAnyShapeWithTheFillOfMinimumDegree) {
    // Every unknown once, whatever the shape: a full grid, a thin ring, one
    // row, a single pixel, a scatter with gaps.
    const int w = 90, h = 70;
    for (int shape = 0; shape < 5; ++shape) {
        std::vector<int> xs, ys;
        for (int i = 0; i < w * h; ++i) {
            const int x = i % w, y = i / w, r2 = (x - 45) * (x - 45) + (y - 35) * (y - 35);
            const bool in[] = {true, r2 >= 600 && r2 < 700, y == 3, i == 5, (x * 7 + y * 13) % 5 == 0};
            if (in[shape]) xs.push_back(x), ys.push_back(y);
        }
        const int n = static_cast<int>(xs.size());
        std::vector<int> order(n, -1), all(n);
        gridNestedDissection(n, xs.data(), ys.data(), 2, order.data());
        std::sort(order.begin(), order.end());
        std::iota(all.begin(), all.end(), 0);
        EXPECT_EQ(order, all) << "shape " << shape;
    }
    // On a matting-shaped grid at most a tenth more fill than minimum degree.
    const GridSystem g = makeGridSystem(w, h, 7, 255.0f);
    const std::vector<int> given = gridOrderOf(w, h);
    double fill[2];
    for (int k = 0; k < 2; ++k) {
        SparseSession s;
        s.givenOrder = k == 1 ? given.data() : nullptr;
        ASSERT_EQ(sparseAnalyse(s, g.order, g.values.data(), g.rowStart.data(), g.columns.data()), kSparseOk);
        fill[k] = s.common.lnz;
    }
    EXPECT_LT(fill[1], 1.1 * fill[0]);
}

TEST(SparseDirect, SingularMatricesAreFactorisedWithAPerturbation) {
    // All pixels unknown: a pure Laplacian. A consistent right side gets a
    // solution satisfying the system, a zero one zero.
    GridSystem g = makeGridSystem(60, 50, 0, 0.0f);
    std::vector<double> bd = symmetricTimes(g, smoothField(g.order));
    std::vector<float> b(bd.begin(), bd.end()), zero(g.order, 0.0f);
    ASSERT_EQ(direct(g, b), 1);
    EXPECT_LT(relativeDistance(symmetricTimes(g, std::vector<double>(b.begin(), b.end())), bd), 1e-3);
    ASSERT_EQ(direct(g, zero), 1);
    for (float e : zero) ASSERT_LT(std::fabs(e), 1e-3f);

    // Normal-equation blocks: [[1 1] [1 1]] (rank one), a stored zero
    // diagonal, and [[2 1] [1 2]] x = [3 3] with solution [1 1].
    float v[] = {1, 1, 1, 0, 2, 1, 2}, rhs[] = {2, 2, 0, 3, 3};
    int r[] = {1, 3, 4, 5, 7, 8}, c[] = {1, 2, 2, 3, 4, 5, 5};
    EXPECT_EQ(direct(5, v, r, c, rhs), 1);
    EXPECT_NEAR(rhs[0] + rhs[1], 2.0f, 1e-4);
    EXPECT_NEAR(rhs[2], 0.0f, 1e-4);
    EXPECT_NEAR(rhs[3], 1.0f, 1e-5);
    EXPECT_NEAR(rhs[4], 1.0f, 1e-5);
}

TEST(SparseCG, AgreesWithTheDirectSolveAndStopsAtTheLimit) {
    GridSystem g = makeGridSystem(40, 30, 5, 255.0f);
    std::vector<double> values, x(g.order, 0.0), b = smoothField(g.order), work(4 * g.order);
    auto cg = [&](std::vector<double>& start, int limit, double tolerance) {
        values.assign(g.values.begin(), g.values.end());
        return solveSparseCG(g.order, values.data(), g.rowStart.data(), g.columns.data(), b.data(), start.data(),
                             limit, tolerance, work.data());
    };
    int iterations = cg(x, g.order, 1e-10);
    EXPECT_TRUE(iterations > 1 && iterations < g.order) << iterations;
    std::vector<float> exact(b.begin(), b.end());
    ASSERT_EQ(direct(g, exact), 1);
    EXPECT_LT(relativeDistance(exact, x), 1e-5);
    EXPECT_EQ(cg(x, 50, 1e-6), 0);  // already there

    // Weakly pinned: far more than 45 steps needed. The limit comes back,
    // x has moved, and ticks fall on steps 21 and 42.
    g = makeGridSystem(40, 30, 211, 0.5f);
    std::vector<double> y(g.order, 0.0), zero(g.order, 0.0);
    std::fill(x.begin(), x.end(), 0.0);
    EXPECT_GT(cg(x, g.order, 1e-12), 90);
    {
        qxtest::ProgressLog log(1000);
        EXPECT_EQ(cg(y, 45, 1e-14), 45);
        EXPECT_EQ(log.ticks(), 2);
    }
    EXPECT_LT(relativeDistance(y, x), 0.7 * relativeDistance(zero, x));
    EXPECT_EQ(cg(y, 0, 1e-6), -1);  // no iteration allowed
}
