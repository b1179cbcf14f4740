#include <gtest/gtest.h>

#include "frame/progress.h"
#include "matting/sparse_solver.h"
#include "solver/grid_system.h"

using namespace qx;

TEST(SparseCG, AgreesWithTheDirectSolveAndStopsAtTheLimit) {
    GridSystem g = makeGridSystem(40, 30, 5, 255.0f);
    std::vector<double> values(g.values.begin(), g.values.end()), x(g.order, 0.0), work(4 * g.order);
    std::vector<double> b = smoothField(g.order);
    std::vector<float> direct(b.begin(), b.end()), scratch(g.order);
    auto cg = [&](std::vector<double>& start, int limit, double tolerance) {
        return solveSparseCG(g.order, values.data(), g.rowStart.data(), g.columns.data(), b.data(), start.data(),
                             limit, tolerance, work.data());
    };
    int iterations = cg(x, g.order, 1e-10);
    EXPECT_GT(iterations, 1);
    EXPECT_LT(iterations, g.order);
    ASSERT_EQ(solveSparseDirect(g.order, g.values.data(), g.rowStart.data(), g.columns.data(), direct.data(),
                                scratch.data()), 1);
    EXPECT_LT(relativeDistance(direct, x), 1e-5);
    EXPECT_EQ(cg(x, 50, 1e-6), 0);  // already there

    // Weakly pinned: far more than 45 steps needed. The limit comes back,
    // x has moved, and ticks fall on steps 21 and 42.
    g = makeGridSystem(40, 30, 211, 0.5f);
    values.assign(g.values.begin(), g.values.end());
    std::vector<double> y(g.order, 0.0), zero(g.order, 0.0);
    std::fill(x.begin(), x.end(), 0.0);
    EXPECT_GT(cg(x, g.order, 1e-12), 90);
    int ticks = 0;
    startProgress(countTicks, &ticks, 1000, 0, 1);
    EXPECT_EQ(cg(y, 45, 1e-14), 45);
    startProgress(nullptr, nullptr, 0, 0, 0);
    EXPECT_EQ(ticks, 2);
    EXPECT_LT(relativeDistance(y, x), 0.7 * relativeDistance(zero, x));
}

TEST(SparseCG, RefusesBadParametersAndSolvesOrderOne) {
    double v[] = {2.0}, b[] = {1.0}, x[] = {0.0}, work[4];
    int r[] = {1, 2}, c[] = {1};
    EXPECT_EQ(solveSparseCG(0, v, r, c, b, x, 10, 1e-6, work), -1);
    EXPECT_EQ(solveSparseCG(1, v, r, c, b, x, 0, 1e-6, work), -1);
    EXPECT_EQ(solveSparseCG(1, v, r, c, nullptr, x, 10, 1e-6, work), -1);
    EXPECT_EQ(solveSparseCG(1, v, r, c, b, x, 10, 1e-6, nullptr), -1);
    EXPECT_EQ(solveSparseCG(1, v, r, c, b, x, 10, 1e-6, work), 1);
    EXPECT_DOUBLE_EQ(x[0], 0.5);
}
