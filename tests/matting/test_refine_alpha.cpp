// The joint bilateral refinement over the eight neighbours.
#include <gtest/gtest.h>

#include <cmath>

#include "matte_fixtures.h"
#include "matting/refine_alpha.h"

namespace {

using mattest::Planes;

int refine(Planes& planes, cv::Mat& alpha) {
    unsigned char* a[1] = {alpha.data};
    return qx::refineAlphaBilateral(alpha.cols, alpha.rows, a, int(alpha.step), planes.pixels, planes.step, 10.0f);
}

cv::Mat pattern(int width, int height) {
    cv::Mat alpha(height, width, CV_8UC1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) alpha.at<uchar>(y, x) = uchar((x * 37 + y * 91 + x * y * 13) % 256);
    return alpha;
}

TEST(RefineAlpha, BelowFourPixelsNothingHappens) {
    for (cv::Size size : {cv::Size(3, 10), cv::Size(10, 3)}) {
        Planes planes = Planes::uniform(size.width, size.height, 5, 5, 5);
        cv::Mat alpha = pattern(size.width, size.height);
        EXPECT_EQ(refine(planes, alpha), 0);
        EXPECT_EQ(cv::countNonZero(alpha != pattern(size.width, size.height)), 0);
    }
}

TEST(RefineAlpha, UniformColourGivesTheWeightedMeanAndKeepsTheFrame) {
    // Weights 255 * 61 / 128 -> 122 beside and 255 * 29 / 128 -> 58 across,
    // plus the pixel's own 0.000255.
    const int width = 9, height = 8;
    Planes planes = Planes::uniform(width, height, 70, 140, 210);
    cv::Mat alpha = pattern(width, height);
    const cv::Mat before = alpha.clone();
    EXPECT_EQ(refine(planes, alpha), 1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            if (x == 0 || y == 0 || x == width - 1 || y == height - 1) {
                EXPECT_EQ(alpha.at<uchar>(y, x), before.at<uchar>(y, x)) << "frame " << x << "," << y;
                continue;
            }
            double sum = 0.000255 * before.at<uchar>(y, x), weights = 0.000255;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    if (dx == 0 && dy == 0) continue;
                    const double w = dx != 0 && dy != 0 ? 58 : 122;
                    sum += w * before.at<uchar>(y + dy, x + dx);
                    weights += w;
                }
            EXPECT_NEAR(alpha.at<uchar>(y, x), std::nearbyint(sum / weights), 0.5) << x << "," << y;
        }
}

TEST(RefineAlpha, ColourIsolatedPixelKeepsItsAlpha) {
    // 86 per plane sums to 258, which saturates at 255: weight 0 for all
    // eight neighbours (a wrapped sum of 2 would weigh 226).
    Planes planes = Planes::uniform(7, 7, 100, 100, 100);
    for (auto& m : planes.mats) m.at<uchar>(3, 3) = 186;
    cv::Mat alpha(7, 7, CV_8UC1, cv::Scalar(200));
    alpha.at<uchar>(3, 3) = 77;
    EXPECT_EQ(refine(planes, alpha), 1);
    EXPECT_EQ(alpha.at<uchar>(3, 3), 77);
    EXPECT_EQ(alpha.at<uchar>(3, 2), 200);  // its neighbours don't see it either
}

}  // namespace
