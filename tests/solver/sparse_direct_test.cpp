#include <gtest/gtest.h>

#include "frame/progress.h"
#include "frame/status.h"
#include "matting/sparse_solver.h"
#include "solver/grid_system.h"

using namespace qx;

namespace {

int thrownBy(int order, float* v, int* r, int* c, float* b, float* scratch) {
    try {
        solveSparseDirect(order, v, r, c, b, scratch);
    } catch (int e) {
        return e;
    }
    return 0;
}

}  // namespace

TEST(SparseDirect, SmallSystemsWithWorkedSolutions) {
    float v1[] = {4.0f}, b1[] = {2.0f}, s1[1];
    int r1[] = {1, 2}, c1[] = {1};
    EXPECT_EQ(solveSparseDirect(1, v1, r1, c1, b1, s1), 1);
    EXPECT_FLOAT_EQ(b1[0], 0.5f);

    // [[4 1 0] [1 3 1] [0 1 2]] x = [6 10 8] gives [1 2 3], one tick per phase.
    float v[] = {4, 1, 3, 1, 2}, b[] = {6, 10, 8}, scratch[3];
    int r[] = {1, 3, 5, 6}, c[] = {1, 2, 2, 3, 3}, ticks = 0;
    startProgress(countTicks, &ticks, 1000, 0, 1);
    EXPECT_EQ(solveSparseDirect(3, v, r, c, b, scratch), 1);
    startProgress(nullptr, nullptr, 0, 0, 0);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(std::vector<float>(b, b + 3), (std::vector<float>{1, 2, 3}));
}

TEST(SparseDirect, GridLaplacianInASessionWithTwoRightSides) {
    GridSystem g = makeGridSystem(120, 90, 7, 255.0f);
    std::vector<double> truth = smoothField(g.order), bd = symmetricTimes(g, truth);
    std::vector<float> b(bd.begin(), bd.end()), x(g.order);
    for (int ordering : {CHOLMOD_AMD, CHOLMOD_NESDIS}) {
        SparseSession s;
        s.ordering = ordering;
        ASSERT_EQ(sparseAnalyse(s, g.order, g.values.data(), g.rowStart.data(), g.columns.data()), kSparseOk);
        ASSERT_EQ(sparseFactorise(s), kSparseOk);
        ASSERT_EQ(sparseSolve(s, b.data(), x.data()), kSparseOk);
        EXPECT_LT(relativeDistance(x, truth), 2e-6);
        std::vector<float> y(b), x2(x);
        for (size_t i = 0; i < y.size(); ++i) y[i] *= 2.0f, x2[i] *= 2.0f;
        ASSERT_EQ(sparseSolve(s, y.data(), y.data()), kSparseOk);  // in place
        EXPECT_LT(relativeDistance(y, x2), 1e-6);
    }
}

TEST(SparseDirect, SingularMatricesAreFactorisedWithAPerturbation) {
    // All pixels unknown: a pure Laplacian, singular. A consistent right
    // side gets a finite solution satisfying the system, a zero one zero.
    GridSystem g = makeGridSystem(60, 50, 0, 0.0f);
    std::vector<double> bd = symmetricTimes(g, smoothField(g.order));
    std::vector<float> b(bd.begin(), bd.end()), zero(g.order, 0.0f), scratch(g.order);
    ASSERT_EQ(solveSparseDirect(g.order, g.values.data(), g.rowStart.data(), g.columns.data(), b.data(),
                                scratch.data()), 1);
    EXPECT_LT(relativeDistance(symmetricTimes(g, std::vector<double>(b.begin(), b.end())), bd), 1e-3);
    ASSERT_EQ(solveSparseDirect(g.order, g.values.data(), g.rowStart.data(), g.columns.data(), zero.data(),
                                scratch.data()), 1);
    for (float v : zero) ASSERT_LT(std::fabs(v), 1e-3f);

    // Normal-equation blocks: [[1 1] [1 1]] (rank one), a stored zero
    // diagonal, and [[2 1] [1 2]] x = [3 3] with solution [1 1].
    float v[] = {1, 1, 1, 0, 2, 1, 2}, rhs[] = {2, 2, 0, 3, 3}, s5[5];
    int r[] = {1, 3, 4, 5, 7, 8}, c[] = {1, 2, 2, 3, 4, 5, 5};
    EXPECT_EQ(solveSparseDirect(5, v, r, c, rhs, s5), 1);
    EXPECT_NEAR(rhs[0] + rhs[1], 2.0f, 1e-4);
    EXPECT_NEAR(rhs[2], 0.0f, 1e-4);
    EXPECT_NEAR(rhs[3], 1.0f, 1e-5);
    EXPECT_NEAR(rhs[4], 1.0f, 1e-5);
}

TEST(SparseDirect, FailedPhasesThrowTheirCodeAndReleaseSafely) {
    // An entry left of the diagonal is no upper triangle: analysis refuses.
    float v[] = {2, 1, 2}, b[2] = {1, 1}, scratch[2];
    int r[] = {1, 2, 4}, c[] = {1, 1, 2};
    SparseSession s;
    int analysed = sparseAnalyse(s, 2, v, r, c);
    EXPECT_TRUE(analysed < 0 && analysed != kSparseOutOfMemory);
    EXPECT_LT(sparseFactorise(s), 0);
    EXPECT_LT(sparseSolve(s, b, b), 0);
    sparseRelease(s);
    sparseRelease(s);
    EXPECT_EQ(thrownBy(2, v, r, c, b, scratch), kAnalysisFailed);
    // Negative definite: no perturbation helps.
    float minusOne[] = {-1.0f};
    int r1[] = {1, 2}, c1[] = {1};
    EXPECT_EQ(thrownBy(1, minusOne, r1, c1, b, scratch), kFactorisationFailed);

    // The session is usable again: [[2 1] [1 2]] x = [1 1] gives [1/3 1/3].
    int rg[] = {1, 3, 4}, cg[] = {1, 2, 2};
    ASSERT_EQ(sparseAnalyse(s, 2, v, rg, cg), kSparseOk);
    ASSERT_EQ(sparseFactorise(s), kSparseOk);
    ASSERT_EQ(sparseSolve(s, b, b), kSparseOk);
    EXPECT_NEAR(b[0], 1.0f / 3.0f, 1e-6);
}
