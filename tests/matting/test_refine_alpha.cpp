// The joint bilateral refinement over the eight neighbours, and its scratch.
#include <gtest/gtest.h>

#include <cmath>

#include "matte_fixtures.h"
#include "matting/refine_alpha.h"
#include "support/allocation_faults.h"
#include "support/test_helpers.h"

namespace {

using namespace mattest;

int refine(Planes& planes, cv::Mat& alpha) {
    unsigned char* a[1] = {alpha.data};
    return qx::refineAlphaBilateral(alpha.cols, alpha.rows, a, int(alpha.step), planes.pixels, planes.step, 10.0f);
}

TEST(RefineAlpha, UniformColourGivesTheWeightedMeanAndKeepsTheFrame) {
    // Weights 255 * 61 / 128 -> 122 beside and 255 * 29 / 128 -> 58 across,
    // plus the pixel's own 0.000255. Below 4 pixels either way nothing happens.
    for (cv::Size size : {cv::Size(9, 8), cv::Size(3, 10), cv::Size(10, 3)}) {
        Planes planes(size.width, size.height, 70, 140, 210);
        cv::Mat before(size, CV_8UC1);
        cv::randu(before, 0, 256);
        cv::Mat alpha = before.clone();
        EXPECT_EQ(refine(planes, alpha), size.area() == 72 ? 1 : 0);
        for (int y = 0; y < alpha.rows; ++y)
            for (int x = 0; x < alpha.cols; ++x) {
                double sum = 0.000255 * before.at<uchar>(y, x), weights = 0.000255;
                const bool frame = x == 0 || y == 0 || x == alpha.cols - 1 || y == alpha.rows - 1;
                for (int dy = -1; dy <= 1 && !frame && alpha.cols > 3 && alpha.rows > 3; ++dy)
                    for (int dx = -1; dx <= 1; ++dx) {
                        const double w = dx != 0 && dy != 0 ? 58 : dx == dy ? 0 : 122;
                        sum += w * before.at<uchar>(y + dy, x + dx);
                        weights += w;
                    }
                EXPECT_NEAR(alpha.at<uchar>(y, x), std::nearbyint(sum / weights), 0.5) << x << "," << y;
            }
    }
}

TEST(RefineAlpha, ColourIsolatedPixelKeepsItsAlpha) {
    // 86 per plane sums to 258, which saturates at 255: weight 0 for all
    // eight neighbours (a wrapped sum of 2 would weigh 226).
    Planes planes(7, 7, 100, 100, 100);
    for (auto& m : planes.mats) m.at<uchar>(3, 3) = 186;
    cv::Mat alpha = flat(7, 7, 200);
    alpha.at<uchar>(3, 3) = 77;
    EXPECT_EQ(refine(planes, alpha), 1);
    EXPECT_EQ(alpha.at<uchar>(3, 3), 77);
    EXPECT_EQ(alpha.at<uchar>(3, 2), 200);  // its neighbours don't see it either
}

TEST(RefineAlpha, ScratchOnlyInThreadsWithWork) {
    // Two scratch images per row offset (three of them), whatever the number
    // of threads: counted as the plain allocations of their size.
    const int width = 40, height = 30, w = width - 2, h = height - 2;
    Planes planes(width, height, 70, 140, 210);
    cv::Mat alpha(height, width, CV_8UC1);
    cv::randu(alpha, 0, 256);
    unsigned char* a[1] = {alpha.data};
    const size_t scratchBytes = size_t(h + 1) * ((w + 31) / 32 * 32 / 16 + 1) * 16;
    qx::imageAllocFailuresForTesting = 1000;  // every buffer takes the plain allocator
    long scratch = 0;
    {
        qxtest::ThreadCount t(8);
        qxtest::AllocationFaults faults(-1, scratchBytes);
        EXPECT_EQ(qx::refineAlphaBilateral(width, height, a, int(alpha.step), planes.pixels, planes.step, 10.0f), 1);
        scratch = faults.counted();
    }
    qx::imageAllocFailuresForTesting = 0;
    EXPECT_EQ(scratch, 6);
}

}  // namespace
