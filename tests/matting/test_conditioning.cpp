// The solve at one size: the input stretch and split, the sharpening, the
// output stretch and the statuses that skip the solve.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "matte_fixtures.h"
#include "matting/solve_matte.h"

namespace {

using mattest::attach;
using mattest::Planes;
using mattest::Plane;

// Splits one row of marks; returns the stretched marks, the known and the
// foreground masks as 0/1 digits, e.g. "0 0 1 127 253 254 | 110000 | 000000".
std::string split(std::vector<uchar> marks, int inHigh, int inLow) {
    cv::Mat w(1, int(marks.size()), CV_8UC1, marks.data()), k(w.size(), CV_8UC1), f(w.size(), CV_8UC1);
    Plane wp = attach(w), kp = attach(k), fp = attach(f);
    qx::MatteState state;
    state.inHigh = uchar(inHigh);
    state.inLow = uchar(inLow);
    qx::splitMarks(state, wp, kp, fp);
    std::string out;
    for (uchar v : marks) out += std::to_string(v) + " ";
    out += "|";
    for (const cv::Mat* m : {&k, &f}) {
        out += " ";
        for (int x = 0; x < m->cols; ++x) out += m->at<uchar>(0, x) ? '1' : '0';
    }
    return out;
}

TEST(SplitMarks, StretchesInEightBitFixedPointAndMarksTheEnds) {
    // 254 steps: multiplier 64, a plain subtraction of 1; nothing stays foreground.
    EXPECT_EQ(split({0, 1, 2, 128, 254, 255}, 255, 1), "0 0 1 127 253 254 | 110000 000000");
    // 100 steps: multiplier 163, (v - 100) * 163 / 64 rounded, saturating.
    EXPECT_EQ(split({50, 100, 150, 199, 200, 255}, 200, 100), "0 0 127 252 255 255 | 110011 000011");
    EXPECT_EQ(split({0, 3, 255}, 255, 0), "0 3 255 | 101 001");
}

// solveMatte on a 3x3 constant mask, too small to solve, sharpen or refine:
// only the output stretch acts, after the three ticks of the callers.
int stretchedConstant(int value, int outHigh, int outLow) {
    Planes planes = Planes::uniform(3, 3, 10, 20, 30);
    Plane p0 = attach(planes.mats[0]), p1 = attach(planes.mats[1]), p2 = attach(planes.mats[2]);
    Plane* const p[3] = {&p0, &p1, &p2};
    cv::Mat m(3, 3, CV_8UC1, cv::Scalar(value));
    Plane mask = attach(m);
    mattest::TickCounter counter;
    EXPECT_EQ(qx::solveMatte(p, mask, 255, 1, outHigh, outLow), 1);
    EXPECT_EQ(counter.ticks, 3);
    EXPECT_EQ(cv::countNonZero(m != m.at<uchar>(0, 0)), 0);
    return m.at<uchar>(0, 0);
}

TEST(SolveMatte, OutputStretch) {
    EXPECT_EQ(stretchedConstant(150, 200, 100), 127);  // multiplier 163
    EXPECT_EQ(stretchedConstant(90, 200, 100), 0);
    EXPECT_EQ(stretchedConstant(150, 255, 0), 150);    // no stretch at all, nor by inLow 1
    EXPECT_EQ(stretchedConstant(150, 100, 100), 199);  // range 1: multiplier capped at 255
}

// Colour blended linearly over columns 12..19; marks 0 left of column 10,
// 255 from column 22 on, unknown (128) between: a soft solved edge.
struct SoftEdge {
    Planes planes = Planes::uniform(32, 20, 0, 0, 0);
    cv::Mat marks{20, 32, CV_8UC1, cv::Scalar(128)};
    SoftEdge() {
        const int left[3] = {200, 40, 40}, right[3] = {30, 60, 210};
        for (int x = 0; x < 32; ++x) {
            const double t = x < 12 ? 0.0 : x >= 20 ? 1.0 : (x - 11) / 9.0;
            for (int c = 0; c < 3; ++c) planes.mats[c].col(x).setTo(int(left[c] + t * (right[c] - left[c]) + 0.5));
        }
        marks.colRange(0, 10).setTo(0);
        marks.colRange(22, 32).setTo(255);
    }
};

TEST(SolveMatte, TicksOfAFullSolveAndTheSharpeningSwitch) {
    SoftEdge edge;
    Plane p0 = attach(edge.planes.mats[0]), p1 = attach(edge.planes.mats[1]), p2 = attach(edge.planes.mats[2]);
    Plane* const p[3] = {&p0, &p1, &p2};
    cv::Mat m = edge.marks.clone();
    Plane mask = attach(m);
    mattest::TickCounter counter;
    qx::solveMatte(p, mask, 255, 0, 255, 0);
    // split, windows, sort, merge, matrix, three solver phases, solve,
    // conditioning, solveMatte twice.
    EXPECT_EQ(counter.ticks, 12);
    EXPECT_LT(m.at<uchar>(10, 13), m.at<uchar>(10, 18));

    Plane raw(32, 20);
    qx::copyImage(attach(edge.marks), raw);
    qx::MatteState state;
    ASSERT_EQ(qx::solveMatteFromMarks(state, edge.planes.pixels, edge.planes.step, 32, 20, raw), 0);
    qx::releaseMatteState(state);
    const cv::Mat solved(20, 32, CV_8UC1, raw.pixels, raw.step);
    for (float gain : {0.2f, 0.25f}) {
        cv::Mat out = edge.marks.clone();
        state.sharpenGain = gain;
        qx::conditionAndSolve(state, edge.planes.pixels, edge.planes.step, 32, 20, out.data, int(out.step));
        qx::releaseMatteState(state);
        EXPECT_EQ(cv::countNonZero(out != solved) > 0, gain > 0.2f) << gain;
    }
}

TEST(SolveMatte, StatusesThatSkipTheSolve) {
    mattest::TickCounter counter;
    Planes planes = Planes::uniform(6, 6, 1, 2, 3);
    qx::MatteState state;
    state.inHigh = 200;
    state.inLow = 100;
    // Status 4: the marks stretch to 0 and 255 only and come back stretched.
    cv::Mat w(6, 6, CV_8UC1, cv::Scalar(50));
    w.colRange(3, 6).setTo(250);
    Plane work = attach(w);
    EXPECT_EQ(qx::solveMatteFromMarks(state, planes.pixels, planes.step, 6, 6, work), 4);
    EXPECT_EQ(w.at<uchar>(2, 0) + w.at<uchar>(2, 5), 255);
    // Status 2 below 10 and above 25000000 pixels, with nothing touched.
    w.at<uchar>(1, 1) = 150;
    Plane tinyWork = attach(w(cv::Rect(0, 0, 3, 3)));
    EXPECT_EQ(qx::solveMatteFromMarks(state, planes.pixels, planes.step, 3, 3, tinyWork), 2);
    EXPECT_EQ(qx::solveMatteFromMarks(state, planes.pixels, planes.step, 5000, 5001, tinyWork), 2);
    EXPECT_EQ(w.at<uchar>(1, 1), 150);
    EXPECT_EQ(counter.ticks, 1);  // the split of the status-4 call only
}

cv::Mat sharpened(cv::Mat m, float gain = 3.0f) {
    Plane image = attach(m);
    qx::MatteState state;
    state.sharpenGain = gain;
    qx::sharpenAlpha(state, image);
    return m;
}

TEST(SharpenAlpha, ConstantStaysAndWorkedBump) {
    for (int v : {0, 77, 255}) EXPECT_EQ(cv::countNonZero(sharpened(cv::Mat(10, 12, CV_8UC1, cv::Scalar(v))) != v), 0);
    // 120 in 100: blur 104, contrast 20, gain (64 + 235 * 192 / 256) / 64 =
    // 240 / 64, so 104 + 16 * 240 / 64 = 164. Gain 5 caps the byte at 255:
    // 64 + 234 saturates at 255, and 104 + 16 * 255 / 64 = 168.
    cv::Mat bump(9, 9, CV_8UC1, cv::Scalar(100));
    bump.at<uchar>(4, 4) = 120;
    EXPECT_EQ(sharpened(bump.clone()).at<uchar>(4, 4), 164);
    EXPECT_EQ(sharpened(bump.clone(), 5.0f).at<uchar>(4, 4), 168);
}

TEST(SharpenAlpha, SoftStepSteepensAndTheTwoPixelFrameStays) {
    // A logistic step over a few pixels (a straight ramp is its own blur).
    cv::Mat step(16, 40, CV_8UC1);
    for (int x = 0; x < 40; ++x) step.col(x).setTo(int(255.0 / (1.0 + std::exp(-(x - 19.5) / 2.0)) + 0.5));
    const cv::Mat out = sharpened(step.clone());
    const auto at = [](const cv::Mat& m, int x) { return int(m.at<uchar>(8, x)); };
    EXPECT_LT(at(out, 16), at(step, 16));
    EXPECT_GT(at(out, 23), at(step, 23));
    EXPECT_GT(at(out, 21) - at(out, 18), at(step, 21) - at(step, 18));

    cv::Mat noise(12, 14, CV_8UC1);
    cv::randu(noise, 0, 256);
    const cv::Mat s = sharpened(noise.clone());
    cv::Mat frame(noise.size(), CV_8UC1, cv::Scalar(255));
    frame(cv::Rect(2, 2, 10, 8)).setTo(0);
    EXPECT_EQ(cv::countNonZero((s != noise) & frame), 0);
    EXPECT_GT(cv::countNonZero(s != noise), 0);
}

}  // namespace
