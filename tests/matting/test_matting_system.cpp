// The closed-form matting system: window affinities, the assembled solve and
// the write-back, on images whose answer is known.
#include <gtest/gtest.h>

#include <cmath>

#include "matte_fixtures.h"
#include "matting/matting_system.h"
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

TEST(MatteSolve, TwoColourBandSplitsAtTheColourEdgeBothSolvers) {
    for (bool direct : {true, false}) {
        Planes planes(32, 20, 200, 40, 40);
        for (int c = 0; c < 3; ++c) planes.mats[c].colRange(16, 32).setTo((c + 1) * 60);
        cv::Mat alpha = flat(32, 20, 128);
        alpha.colRange(0, 10).setTo(0);
        alpha.colRange(22, 32).setTo(255);
        qx::MatteState state;
        state.useDirectSolver = direct;
        ASSERT_EQ(solveKnown(planes, alpha, state), 0);
        EXPECT_EQ(state.solution, nullptr);  // the rest is the caller's to release
        qx::releaseMatteState(state);
        EXPECT_LE(cv::norm(alpha.colRange(0, 16), cv::NORM_INF), 3) << direct;
        EXPECT_LE(cv::norm(255 - alpha.colRange(16, 32), cv::NORM_INF), 3) << direct;
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
