// The closed-form matting system: window affinities, the assembled solve and
// the write-back, on images whose answer is known.
#include <gtest/gtest.h>

#include "matte_fixtures.h"
#include "matting/matting_system.h"

namespace {

using mattest::attach;
using mattest::Planes;
using mattest::Plane;

bool allReleased(const qx::MatteState& s) {
    return !s.tripletValues && !s.diagonalSums && !s.tripletRows && !s.tripletColumns && !s.spareArray &&
           !s.variableOfPixel && !s.knownOfVariable && !s.markOfVariable && !s.solution;
}

TEST(ErodeKnown, ImageEdgeCountsAsReplicatedNotBackground) {
    cv::Mat m(4, 5, CV_8UC1, cv::Scalar(255));
    Plane image = attach(m);
    qx::erodeKnown(image);
    EXPECT_EQ(cv::countNonZero(m), 20);
    m.at<uchar>(0, 0) = 0;
    qx::erodeKnown(image);
    EXPECT_EQ(cv::countNonZero(m(cv::Rect(0, 0, 2, 2))), 0);
    EXPECT_EQ(cv::countNonZero(m), 16);
}

TEST(WindowAffinities, ConstantColourGivesNinthsAndFortyFivePerWindow) {
    Planes planes = Planes::uniform(7, 6, 90, 150, 30);
    cv::Mat mask(6, 7, CV_8UC1, cv::Scalar(255));
    mask.at<uchar>(2, 2) = mask.at<uchar>(2, 3) = mask.at<uchar>(3, 4) = mask.at<uchar>(0, 0) = 0;  // (0,0): frame
    Plane solveMask = attach(mask);
    qx::MatteState state;
    int count = -1;
    ASSERT_EQ(qx::buildWindowAffinities(state, solveMask, planes.pixels, planes.step, count), 0);
    ASSERT_EQ(count, 3 * 45);
    for (int t = 0; t < count; ++t) EXPECT_FLOAT_EQ(state.tripletValues[t], 1.0f / 9.0f);
    // Each window adds 9 * 1/9 to the sum of each of its pixels.
    EXPECT_FLOAT_EQ(state.diagonalSums[2 * 7 + 3], 3.0f);
    EXPECT_FLOAT_EQ(state.diagonalSums[4 * 7 + 5], 1.0f);
    EXPECT_FLOAT_EQ(state.diagonalSums[0], 0.0f);
    qx::releaseMatteState(state);
    EXPECT_TRUE(allReleased(state));
}

TEST(WindowAffinities, WindowReproducesColourLinearAlphaAndRowsSumToOne) {
    // sum_j A_ij x_j = x_i for x affine in the colour (up to epsilon), and
    // every row of A sums to 1.
    const int colours[3][9] = {{10, 200, 35, 90, 140, 250, 0, 60, 120},
                               {80, 20, 220, 130, 40, 90, 200, 170, 5},
                               {30, 90, 60, 240, 10, 150, 100, 50, 210}};
    Planes planes = Planes::uniform(3, 3, 0, 0, 0);
    for (int c = 0; c < 3; ++c)
        for (int k = 0; k < 9; ++k) planes.mats[c].at<uchar>(k / 3, k % 3) = uchar(colours[c][k]);
    cv::Mat mask(3, 3, CV_8UC1, cv::Scalar(255));
    mask.at<uchar>(1, 1) = 0;
    Plane solveMask = attach(mask);
    qx::MatteState state;
    int count = 0;
    ASSERT_EQ(qx::buildWindowAffinities(state, solveMask, planes.pixels, planes.step, count), 0);
    ASSERT_EQ(count, 45);
    double a[9][9];
    for (int t = 0; t < count; ++t)
        a[state.tripletRows[t]][state.tripletColumns[t]] = a[state.tripletColumns[t]][state.tripletRows[t]] =
            state.tripletValues[t];
    const auto x = [&](int k) { return 0.3 * colours[0][k] - 0.5 * colours[1][k] + 0.2 * colours[2][k] + 40; };
    for (int i = 0; i < 9; ++i) {
        EXPECT_NEAR(state.diagonalSums[i], 1.0, 1e-5);
        double reproduced = 0.0;
        for (int j = 0; j < 9; ++j) reproduced += a[i][j] * x(j);
        EXPECT_NEAR(reproduced, x(i), 1e-2) << i;
    }
    qx::releaseMatteState(state);
}

TEST(WindowAffinities, NoWindowGivesStatusFourAndTooManyThrows) {
    qx::MatteState state;
    int count = -1;
    Planes planes = Planes::uniform(6, 8, 1, 2, 3);
    cv::Mat thin(8, 2, CV_8UC1, cv::Scalar(0)), known(8, 6, CV_8UC1, cv::Scalar(255));
    Plane thinMask = attach(thin), knownMask = attach(known);
    EXPECT_EQ(qx::buildWindowAffinities(state, thinMask, planes.pixels, planes.step, count), 4);
    EXPECT_EQ(qx::buildWindowAffinities(state, knownMask, planes.pixels, planes.step, count), 4);
    // 1498 * 1498 windows of capacity 50 exceed 100000000, before any pixel is read.
    cv::Mat all(1500, 1500, CV_8UC1, cv::Scalar(0));
    Plane allMask = attach(all);
    unsigned char* none[3] = {nullptr, nullptr, nullptr};
    EXPECT_EQ(mattest::thrownInt([&] { qx::buildWindowAffinities(state, allMask, none, 1500, count); }), -1);
    EXPECT_TRUE(allReleased(state));
}

// Solves the marks in alpha (0, 255 known; anything else unknown).
void solveKnown(Planes& planes, cv::Mat& alpha, bool direct = true) {
    mattest::TickCounter ticks;
    cv::Mat known = (alpha == 0) | (alpha == 255);
    Plane k = attach(known), a = attach(alpha);
    qx::MatteState state;
    state.useDirectSolver = direct ? 1 : 0;
    ASSERT_EQ(qx::solveMatteWithKnown(state, planes.pixels, planes.step, alpha.cols, alpha.rows, k.pixels, k.step,
                                      a.pixels, a.step),
              0);
    EXPECT_EQ(state.solution, nullptr);  // the rest is the caller's to release
    qx::releaseMatteState(state);
}

TEST(MatteSolve, TwoColourBandSplitsAtTheColourEdgeBothSolvers) {
    for (bool direct : {true, false}) {
        Planes planes = Planes::uniform(32, 20, 200, 40, 40);
        for (int c = 0; c < 3; ++c) planes.mats[c].colRange(16, 32).setTo((c + 1) * 60);
        cv::Mat alpha(20, 32, CV_8UC1, cv::Scalar(128));
        alpha.colRange(0, 10).setTo(0);
        alpha.colRange(22, 32).setTo(255);
        solveKnown(planes, alpha, direct);
        EXPECT_LE(cv::norm(alpha.colRange(0, 16), cv::NORM_INF), 3) << direct;
        EXPECT_LE(cv::norm(255 - alpha.colRange(16, 32), cv::NORM_INF), 3) << direct;
    }
}

TEST(MatteSolve, TooManyVariablesThrowsAfterTheMergeAndBeforeTheSolve) {
    // A three-pixel wide strip with an unknown pixel every fifth row: three
    // windows per five rows, but every pixel a variable (500010 of them).
    const int width = 3, height = 166670;
    Planes planes = Planes::uniform(width, height, 10, 20, 30);
    cv::Mat alpha(height, width, CV_8UC1, cv::Scalar(255));
    for (int y = 2; y < height; y += 5) alpha.at<uchar>(y, 0) = 128;
    cv::Mat known = alpha == 255;
    Plane k = attach(known), a = attach(alpha);
    qx::MatteState state;
    mattest::TickCounter counter;
    EXPECT_EQ(mattest::thrownInt([&] {
                  qx::solveMatteWithKnown(state, planes.pixels, planes.step, width, height, k.pixels, k.step,
                                          a.pixels, a.step);
              }),
              -1);
    EXPECT_EQ(counter.ticks, 2);  // the sort and the merge, no solver phase
    EXPECT_TRUE(allReleased(state));
}

TEST(MatteSolve, WriteBackTruncatesAndSkipsMarksAndNonVariables) {
    cv::Mat solve = (cv::Mat_<uchar>(1, 4) << 0, 255, 0, 0), known = (cv::Mat_<uchar>(1, 4) << 0, 0, 255, 0);
    cv::Mat work = (cv::Mat_<uchar>(1, 4) << 1, 2, 3, 4);
    Plane s = attach(solve), k = attach(known), w = attach(work);
    float solution[3] = {12.9f, 50.0f, 200.99f};
    qx::MatteState state;
    state.solution = solution;
    qx::writeSolvedAlpha(state, 4, 1, k, s, w);
    EXPECT_EQ(cv::countNonZero(work != (cv::Mat_<uchar>(1, 4) << 12, 2, 3, 200)), 0);
}

}  // namespace
