// The joint bilateral refinement over the eight neighbours, and its scratch.
#include <gtest/gtest.h>

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

TEST(RefineAlpha, UniformColourWeighsSidesAndCornersAndKeepsTheFrame) {
    // Weights 255 * 61 / 128 -> 122 beside and 255 * 29 / 128 -> 58 across,
    // 720 in all plus the pixel's own 0.000255: a lone 255 among zeros gives
    // its side neighbours 255 * 122 / 720 = 43.2 -> 43, its corners 20.5 -> 21
    // and keeps almost nothing itself. Spikes on the first and last inner
    // pixels: the frame (the bottom row and right column here) stays 0.
    Planes planes(10, 8, 70, 140, 210);
    cv::Mat alpha = flat(10, 8, 0), want = flat(10, 8, 0);
    for (cv::Point c : {cv::Point(1, 1), cv::Point(8, 6)}) {
        alpha.at<uchar>(c) = 255;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if (c.x + dx > 0 && c.x + dx < 9 && c.y + dy > 0 && c.y + dy < 7)
                    want.at<uchar>(c.y + dy, c.x + dx) = dx && dy ? 21 : dx || dy ? 43 : 0;
    }
    EXPECT_EQ(refine(planes, alpha), 1);
    EXPECT_EQ(cv::norm(alpha, want, cv::NORM_INF), 0.0) << alpha;
    // Below 4 pixels either way nothing happens.
    for (cv::Size size : {cv::Size(3, 10), cv::Size(10, 3)}) {
        Planes thin(size.width, size.height, 70, 140, 210);
        cv::Mat random(size, CV_8UC1);
        cv::randu(random, 0, 256);
        cv::Mat same = random.clone();
        EXPECT_EQ(refine(thin, same), 0);
        EXPECT_EQ(cv::norm(same, random, cv::NORM_INF), 0.0);
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
