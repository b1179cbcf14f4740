// Colour-guided doubling, the reductions and the pyramid, on small images
// with hand-worked values.
#include <gtest/gtest.h>

#include "matte_fixtures.h"
#include "matting/joint_upsample.h"

namespace {

using namespace mattest;

// Doubles `small` into an image of the guide's size, pre-filled with 7, with
// the guide as all three planes.
cv::Mat upsample(const cv::Mat& small, const cv::Mat& guide, float sigma = 10.0f) {
    cv::Mat full = flat(guide.cols, guide.rows, 7);
    Plane s = attach(small), f = attach(full), g = attach(guide), *sp = &s, *fp = &f;
    Plane* const planes[3] = {&g, &g, &g};
    EXPECT_EQ(qx::jointUpsample(&sp, &fp, planes, sigma), 1);
    return full;
}

TEST(JointUpsample, UniformGuideGivesThePlainMean) {
    // All weights equal: a linear ramp 10x + 40y comes back as 5X + 20Y. Row
    // and column 10 lean on odd-odd pixels past the first pass, and the first
    // odd row and column are never reached.
    cv::Mat small(6, 6, CV_8UC1);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x) small.at<uchar>(y, x) = uchar(10 * x + 40 * y);
    const cv::Mat full = upsample(small, flat(12, 12, 90));
    for (int Y = 0; Y <= 10; ++Y)
        for (int X = 0; X <= 10; ++X) {
            const bool even = X % 2 == 0 && Y % 2 == 0;
            if (!even && (X == 10 || Y == 10)) continue;
            EXPECT_EQ(full.at<uchar>(Y, X), !even && (X == 0 || Y == 0) ? 7 : 5 * X + 20 * Y) << X << "," << Y;
        }
    EXPECT_EQ(full.at<uchar>(11, 1), 7);
}

TEST(JointUpsample, AlphaFollowsTheColourEdge) {
    // Black left of column 7, white from it; the mask steps at column 8. The
    // white column 7 weighs its black neighbours 1 against 255.
    cv::Mat guide = flat(12, 12, 0), small = flat(6, 6, 0);
    guide.colRange(7, 12).setTo(255);
    small.colRange(4, 6).setTo(255);
    const cv::Mat full = upsample(small, guide), blind = upsample(small, flat(12, 12, 0));
    for (int Y = 1; Y <= 9; ++Y) {
        EXPECT_GE(full.at<uchar>(Y, 7), 253) << Y;
        EXPECT_EQ(full.at<uchar>(Y, 5), 0) << Y;
        EXPECT_NEAR(blind.at<uchar>(Y, 7), 128, 1) << Y;
    }
    // Two neighbours of the centre's colour (alpha 0), two 10 per channel off
    // (alpha 255): weight(30) = 56 at sigma 10 gives 28560 / 622 -> 46; 48 at
    // sigma 9 gives 24480 / 606 -> 40.
    cv::Mat step = flat(4, 4, 100), half = (cv::Mat_<uchar>(2, 2) << 0, 255, 0, 255);
    step.colRange(2, 4).setTo(110);
    EXPECT_EQ(upsample(half, step, 10.0f).at<uchar>(1, 1), 46);
    EXPECT_EQ(upsample(half, step, 9.0f).at<uchar>(1, 1), 40);
}

TEST(JointUpsample, OddSizesAndThePhaseRoundTrip) {
    const cv::Mat one = upsample(flat(1, 1, 200), flat(2, 2, 50));  // no pass has a pixel
    EXPECT_EQ(one.at<uchar>(0, 0), 200);
    EXPECT_EQ(cv::countNonZero(one == 7), 3);
    const cv::Mat odd = upsample(flat(4, 4, 120), flat(9, 8, 30));  // last column in no phase
    EXPECT_EQ(cv::countNonZero(odd.col(8) != 7), 0);
    EXPECT_EQ(cv::countNonZero(odd(cv::Rect(1, 1, 6, 6)) != 120), 0);
    // The four phases of a 9 x 7 image rebuild its even 8 x 6 part; column 8 stays.
    cv::Mat image(7, 9, CV_8UC1), back = flat(9, 7, 0);
    cv::randu(image, 0, 256);
    Plane source = attach(image), rebuilt = attach(back);
    for (int phase = 0; phase < 4; ++phase) {
        Plane part(4, 3);
        qx::decimateTwo(source, part, phase % 2, phase / 2);
        qx::interleaveTwo(part, rebuilt, phase % 2, phase / 2);
    }
    EXPECT_EQ(cv::countNonZero(back(cv::Rect(0, 0, 8, 6)) != image(cv::Rect(0, 0, 8, 6))), 0);
    EXPECT_EQ(cv::countNonZero(back.col(8)), 0);
}

TEST(Pyramid, LevelsPaddingAndTheWayBack) {
    cv::Mat guide(10, 13, CV_8UC1), mask(10, 13, CV_8UC1);
    cv::randu(guide, 0, 256), cv::randu(mask, 0, 256);
    const cv::Mat before = mask.clone();
    Plane g = attach(guide), m = attach(mask);
    Plane* const planes[3] = {&g, &g, &g};
    qx::ImagePyramid pyramid;
    qx::initPyramid(pyramid);
    EXPECT_EQ(qx::buildPyramid(pyramid, planes, &g, &m, 4), 1);  // refused: at most 3 halvings
    EXPECT_EQ(pyramid.masks[0], nullptr);
    ASSERT_EQ(qx::buildPyramid(pyramid, planes, &g, &m, 2), 1);
    EXPECT_EQ(pyramid.masks[1]->width, 7);  // 13 -> 7 -> 4, 10 -> 5 -> 3
    EXPECT_EQ(pyramid.guides[2]->height, 3);
    const Plane& level1 = *pyramid.masks[1];
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x) EXPECT_EQ(level1.row(y)[x], mask.at<uchar>(2 * y, 2 * x));
        EXPECT_EQ(level1.row(y)[6], level1.row(y)[5]);  // padded column
    }
    EXPECT_EQ(pyramid.guides[1]->row(3)[2], guide.at<uchar>(6, 4));
    // Constant coarse masks come back to level 0 over the part the passes cover.
    for (Plane* l : {pyramid.masks[1], pyramid.masks[2]})
        cv::Mat(l->height, l->width, CV_8UC1, l->pixels, l->step) = 90;
    qx::upsampleAllLevels(pyramid);
    EXPECT_EQ(cv::countNonZero(mask(cv::Rect(1, 1, 10, 8)) != 90), 0);
    EXPECT_EQ(cv::countNonZero(mask.colRange(11, 13) != before.colRange(11, 13)), 0);
    qx::releasePyramid(pyramid);  // level 0 is the caller's and is not deleted
    EXPECT_EQ(pyramid.planes[0][0], nullptr);
}

}  // namespace
