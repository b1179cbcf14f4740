// The solve at one size: the input stretch and split, the output stretch,
// and the sharpening with its switch.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "matte_fixtures.h"
#include "matting/solve_matte.h"

namespace {

using namespace mattest;

// Splits one row of marks; returns the stretched marks, the known and the
// foreground masks as 0/1 digits, e.g. "0 0 1 127 253 254 | 110000 000000".
std::string split(std::vector<uchar> marks, int inHigh, int inLow) {
    cv::Mat w(1, int(marks.size()), CV_8UC1, marks.data()), k = w.clone(), f = w.clone();
    Plane wp = attach(w), kp = attach(k), fp = attach(f);
    qx::MatteState state;
    state.inHigh = uchar(inHigh), state.inLow = uchar(inLow);
    qx::splitMarks(state, wp, kp, fp);
    std::string out;
    for (uchar v : marks) out += std::to_string(v) + " ";
    out += "|";
    for (const cv::Mat* m : {&k, &f}) {
        out += " ";
        for (int x = 0; x < m->cols; ++x) out += m->data[x] ? '1' : '0';
    }
    return out;
}

TEST(SplitMarks, StretchesInEightBitFixedPointAndMarksTheEnds) {
    // 254 steps: multiplier 64, a plain subtraction of 1; nothing stays foreground.
    EXPECT_EQ(split({0, 1, 2, 128, 254, 255}, 255, 1), "0 0 1 127 253 254 | 110000 000000");
    // 100 steps: multiplier 163, (v - 100) * 163 / 64 rounded, saturating.
    EXPECT_EQ(split({50, 100, 150, 199, 200, 255}, 200, 100), "0 0 127 252 255 255 | 110011 000011");
    // 30 steps: multiplier 544 held to 255, so the top bound stops at 120.
    EXPECT_EQ(split({100, 115, 130}, 130, 100), "0 60 120 | 100 000");
    EXPECT_EQ(split({0, 3, 255}, 255, 0), "0 3 255 | 101 001");
}

TEST(SolveMatte, OutputStretchOfAMaskTooSmallToSolve) {
    // A 3x3 mask is not solved, sharpened or refined: only the output stretch
    // acts on 150. Range 100..200: multiplier 163; 255..0: no stretch at all,
    // nor by inLow 1; range 1: multiplier capped at 255.
    const cv::Mat plane = flat(3, 3, 10);
    Plane p = attach(plane);
    Plane* const planes[3] = {&p, &p, &p};
    for (const cv::Vec3i& c : {cv::Vec3i(200, 100, 127), cv::Vec3i(255, 0, 150), cv::Vec3i(100, 100, 199)}) {
        cv::Mat m = flat(3, 3, 150);
        Plane mask = attach(m);
        EXPECT_EQ(qx::solveMatte(planes, mask, 255, 1, c[0], c[1]), 1);
        EXPECT_EQ(cv::countNonZero(m != c[2]), 0) << c;
    }
}

TEST(SolveMatte, SharpeningIsOffUpToGainPointTwo) {
    // Colour blended linearly over columns 12..19; marks 0 left of column 10,
    // 255 from column 22 on, unknown between: a soft solved edge.
    Planes planes(32, 20, 0, 0, 0);
    const int left[3] = {200, 40, 40}, right[3] = {30, 60, 210};
    for (int x = 0; x < 32; ++x)
        for (int c = 0; c < 3; ++c)
            planes.mats[c].col(x) = int(left[c] + std::clamp((x - 11) / 9.0, 0.0, 1.0) * (right[c] - left[c]) + 0.5);
    cv::Mat marks = flat(32, 20, 128);
    marks.colRange(0, 10).setTo(0);
    marks.colRange(22, 32).setTo(255);
    cv::Mat out[3];
    const float gains[3] = {0.0f, 0.2f, 0.25f};
    for (int i = 0; i < 3; ++i) {
        out[i] = marks.clone();
        qx::MatteState state;
        state.sharpenGain = gains[i];
        qx::conditionAndSolve(state, planes.pixels, planes.step, 32, 20, out[i].data, int(out[i].step));
        qx::releaseMatteState(state);
    }
    EXPECT_LT(out[0].at<uchar>(10, 13), out[0].at<uchar>(10, 18));  // a soft edge
    EXPECT_EQ(cv::countNonZero(out[1] != out[0]), 0);
    EXPECT_GT(cv::countNonZero(out[2] != out[0]), 0);
}

cv::Mat sharpened(cv::Mat m, float gain = 3.0f) {
    Plane image = attach(m);
    qx::MatteState state;
    state.sharpenGain = gain;
    qx::sharpenAlpha(state, image);
    return m;
}

TEST(SharpenAlpha, ConstantStaysBumpSteepensFrameStays) {
    for (int v : {0, 77, 255}) EXPECT_EQ(cv::countNonZero(sharpened(flat(12, 10, v)) != v), 0);
    // 120 in 100: blur 104, contrast 20, gain (64 + 235 * 192 / 256) / 64 =
    // 240 / 64, so 104 + 16 * 240 / 64 = 164. Gain 5 caps the byte at 255:
    // 64 + 234 saturates at 255, and 104 + 16 * 255 / 64 = 168.
    cv::Mat bump = flat(9, 9, 100);
    bump.at<uchar>(4, 4) = 120;
    EXPECT_EQ(sharpened(bump.clone()).at<uchar>(4, 4), 164);
    EXPECT_EQ(sharpened(bump.clone(), 5.0f).at<uchar>(4, 4), 168);

    // Only the inner pixels change: the two-pixel frame keeps its values.
    cv::Mat noise(12, 14, CV_8UC1), frame = flat(14, 12, 255);
    cv::randu(noise, 0, 256);
    frame(cv::Rect(2, 2, 10, 8)).setTo(0);
    const cv::Mat s = sharpened(noise.clone());
    EXPECT_EQ(cv::countNonZero((s != noise) & frame), 0);
    EXPECT_GT(cv::countNonZero(s != noise), 0);
}

}  // namespace
