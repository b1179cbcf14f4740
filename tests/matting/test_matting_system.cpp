// The closed-form matting system: window affinities, the assembled solve and
// the write-back, on images whose answer is known.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "matte_fixtures.h"
#include "matting/matting_system.h"
#include "matting/window_arithmetic.h"
#include "support/test_helpers.h"

namespace {

using namespace mattest;
using qxtest::thrownInt;

bool allReleased(const qx::MatteState& s) {
    return !s.tripletValues && !s.diagonalSums && !s.tripletRows && !s.tripletColumns && !s.spareArray &&
           !s.variableOfPixel && !s.knownOfVariable && !s.markOfVariable && !s.solution;
}

int affinities(qx::MatteState& state, const cv::Mat& mask, Planes& planes, int& count) {
    Plane m = attach(mask);
    return qx::buildWindowAffinities(state, m, planes.pixels, planes.step, count);
}

// Solves the marks in alpha (0, 255 known; anything else unknown).
int solveKnown(Planes& planes, cv::Mat& alpha, qx::MatteState& state) {
    const cv::Mat known = (alpha == 0) | (alpha == 255);
    Plane k = attach(known), a = attach(alpha);
    return qx::solveMatteWithKnown(state, planes.pixels, planes.step, alpha.cols, alpha.rows, k.pixels, k.step,
                                   a.pixels, a.step);
}

TEST(WindowAffinities, ConstantColourGivesNinthsAndFortyFivePerWindow) {
    Planes planes(7, 6, 90, 150, 30);
    cv::Mat mask = flat(7, 6, 255);
    mask.at<uchar>(2, 2) = mask.at<uchar>(2, 3) = mask.at<uchar>(3, 4) = mask.at<uchar>(0, 0) = 0;  // (0,0): frame
    qx::MatteState state;
    int count = -1;
    ASSERT_EQ(affinities(state, mask, planes, count), 0);
    ASSERT_EQ(count, 3 * 45);
    for (int t = 0; t < count; ++t) EXPECT_FLOAT_EQ(state.tripletValues[t], 1.0f / 9.0f);
    // Each window adds 9 * 1/9 to the sum of each of its pixels.
    EXPECT_FLOAT_EQ(state.diagonalSums[2 * 7 + 3], 3.0f);
    EXPECT_FLOAT_EQ(state.diagonalSums[4 * 7 + 5], 1.0f);
    EXPECT_FLOAT_EQ(state.diagonalSums[0], 0.0f);
    qx::releaseMatteState(state);
    EXPECT_TRUE(allReleased(state));
    // No window: narrower than one, or nothing unknown.
    EXPECT_EQ(affinities(state, flat(2, 8, 0), planes, count), 4);
    EXPECT_EQ(affinities(state, flat(6, 8, 255), planes, count), 4);
}

// The system L + 255 Known built densely, window by window, and solved in
// double: both solvers must give its alpha. Marks are scattered so that no
// 3x3 block is all known: every pixel is a variable, every window is built.
TEST(MatteSolve, BothSolversGiveTheDenseSystemsAlpha) {
    const int w = 13, h = 11, n = w * h;
    Planes planes(w, h, 0, 0, 0);
    cv::RNG rng(5);
    for (cv::Mat& m : planes.mats) rng.fill(m, cv::RNG::UNIFORM, 0, 256);
    cv::Mat marks = flat(w, h, 128);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if ((x + 2 * y) % 5 == 0) marks.at<uchar>(y, x) = x < w / 2 ? 0 : 255;
    cv::Mat system(n, n, CV_64F, cv::Scalar(0)), right(n, 1, CV_64F, cv::Scalar(0));
    qx::WindowArithmetic window{1e-7};
    for (int y = 1; y < h - 1; ++y)
        for (int x = 1; x < w - 1; ++x) {
            int32_t index[9];
            double colour[3][9], affinity[9][9];
            qx::windowPixels(planes.pixels, planes.step, w, x, y, index, colour);
            window.affinities(colour, affinity);
            for (int i = 0; i < 9; ++i)
                for (int j = 0; j < 9; ++j) {
                    system.at<double>(index[i], index[i]) += affinity[i][j];
                    system.at<double>(index[i], index[j]) -= affinity[i][j];
                }
        }
    for (int p = 0; p < n; ++p) {
        const int mark = marks.data[p];
        if (mark == 128) continue;
        system.at<double>(p, p) += 255.0;
        right.at<double>(p) = mark;  // 255 times the mark in 0..1
    }
    cv::Mat exact;
    ASSERT_TRUE(cv::solve(system, right, exact, cv::DECOMP_CHOLESKY));
    for (bool direct : {true, false}) {
        cv::Mat alpha = marks.clone();
        qx::MatteState state;
        state.useDirectSolver = direct;
        ASSERT_EQ(solveKnown(planes, alpha, state), 0);
        qx::releaseMatteState(state);
        for (int p = 0; p < n; ++p) {
            if (marks.data[p] != 128) continue;
            const int expected = static_cast<int>(std::min(std::max(exact.at<double>(p) * 255.0, 0.0), 255.0));
            EXPECT_NEAR(alpha.data[p], expected, direct ? 1 : 2) << "pixel " << p << (direct ? " direct" : " CG");
        }
    }
}

TEST(MatteSolve, AboveTheLimitsThrowsMinusOneAndReleasesTheState) {
    // 1498 * 1498 windows of capacity 50 exceed 100000000, before any pixel is read.
    qx::MatteState state;
    int count = -1;
    Planes none(1, 1, 0, 0, 0);
    for (unsigned char*& p : none.pixels) p = nullptr;
    EXPECT_EQ(thrownInt([&] { affinities(state, flat(1500, 1500, 0), none, count); }), -1);
    EXPECT_TRUE(allReleased(state));
    // A three-pixel wide strip with an unknown pixel every fifth row: three
    // windows per five rows, but every pixel a variable (500010 of them).
    Planes planes(3, 166670, 10, 20, 30);
    cv::Mat alpha = flat(3, 166670, 255);
    for (int y = 2; y < alpha.rows; y += 5) alpha.at<uchar>(y, 0) = 128;
    qxtest::ProgressLog log;
    EXPECT_EQ(thrownInt([&] { solveKnown(planes, alpha, state); }), -1);
    EXPECT_EQ(log.ticks(), 2);  // the assembly's two, no solver phase
    EXPECT_TRUE(allReleased(state));
}

TEST(MatteSolve, WriteBackTruncatesAndSkipsMarksNonVariablesAndNaN) {
    // Every pixel in the solve is a variable (pixel 2 is not): the known
    // pixel 0 keeps its mark, the others take their value truncated, and a
    // NaN of either sign keeps the mark too.
    const cv::Mat known = (cv::Mat_<uchar>(1, 6) << 255, 0, 0, 0, 0, 0);
    const cv::Mat solve = (cv::Mat_<uchar>(1, 6) << 0, 0, 255, 0, 0, 0);
    cv::Mat work = (cv::Mat_<uchar>(1, 6) << 1, 2, 3, 4, 5, 6);
    Plane k = attach(known), s = attach(solve), w = attach(work);
    float solution[5] = {255.0f, 12.9f, std::nanf(""), 200.99f, -std::nanf("")};
    qx::MatteState state;
    state.solution = solution;
    qx::writeSolvedAlpha(state, 6, 1, k, s, w);
    state.solution = nullptr;
    EXPECT_EQ(cv::countNonZero(work != (cv::Mat_<uchar>(1, 6) << 1, 12, 3, 4, 200, 6)), 0) << work;
}

}  // namespace
