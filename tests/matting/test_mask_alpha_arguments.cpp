// qxMaskAlpha's front door: sizes, missing planes and absurd estimates are
// refused before anything is made or written; huge finite estimates still
// solve at a workable size.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

#include "frame/progress.h"
#include "qxmatte.h"
#include "support/composite.h"

namespace {

struct Job {
    std::array<cv::Mat, 3> planes;
    unsigned char* planePointers[3];
    cv::Mat marks;
    QxMaskJob job{};
    Job(const cv::Mat& image, const cv::Mat& trimap) : planes(qxtest::splitPlanes(image)), marks(trimap.clone()) {
        for (int c = 0; c < 3; ++c) planePointers[c] = planes[c].data;
        job.planes = planePointers, job.planeStep = int(planes[0].step);
        job.marksPixels = marks.data, job.marksStep = int(marks.step);
        job.width = image.cols, job.height = image.rows;
    }
    int run(float estimate) { return qxMaskAlpha(&job, 0, estimate, 255, 0, 255, 0); }
};

TEST(MaskAlphaArguments, BadSizesFailAndEmptyImagesDoNothing) {
    const qxtest::Composite comp = qxtest::makeComposite(40, 30, 4, 5);
    for (int w : {-1, 0, 1})
        for (int h : {-1, 0, 1, 30}) {
            SCOPED_TRACE(testing::Message() << w << "x" << h);
            Job j(comp.image, comp.trimap);
            j.job.width = w, j.job.height = h;
            const int expected = (w < 0 || h < 0) ? -1000 : 1;
            EXPECT_EQ(j.run(100.0f), expected);
            if (w <= 0 || h <= 0) {
                EXPECT_EQ(cv::norm(j.marks, comp.trimap, cv::NORM_INF), 0.0);
            }
        }
    EXPECT_EQ(qxMaskAlpha(nullptr, 0, 1.0f, 255, 0, 255, 0), -1000);
    Job shortStep(comp.image, comp.trimap);
    shortStep.job.marksStep = 39;
    EXPECT_EQ(shortStep.run(100.0f), -1000);
    Job missingPlane(comp.image, comp.trimap);
    missingPlane.planePointers[2] = nullptr;
    EXPECT_EQ(missingPlane.run(100.0f), -1000);
}

TEST(MaskAlphaArguments, AbsurdEstimatesFailHugeOnesStillSolve) {
    const qxtest::Composite comp = qxtest::makeComposite(192, 144, 4, 9);
    const float inf = std::numeric_limits<float>::infinity();
    for (float bad : {inf, -inf, std::nanf(""), -1.0f, -1e30f}) {
        Job j(comp.image, comp.trimap);
        EXPECT_EQ(j.run(bad), -1000) << bad;
        EXPECT_EQ(cv::norm(j.marks, comp.trimap, cv::NORM_INF), 0.0) << bad;
    }
    // A finite estimate too large for any memory: the reduced solve keeps a
    // workable size (before, a side of 0 left the alpha undefined). Well
    // inside the marks the alpha stands, and every run gives the same.
    cv::Mat keepInside, cutInside, first;
    const cv::Mat block = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(21, 21));
    cv::erode(comp.trimap == 255, keepInside, block);
    cv::erode(comp.trimap == 0, cutInside, block);
    ASSERT_GT(cv::countNonZero(keepInside), 100);
    ASSERT_GT(cv::countNonZero(cutInside), 100);
    for (int run = 0; run < 2; ++run) {
        Job j(comp.image, comp.trimap);
        ASSERT_EQ(j.run(1e30f), 1);
        EXPECT_EQ(cv::countNonZero(keepInside & (j.marks < 250)), 0);
        EXPECT_EQ(cv::countNonZero(cutInside & (j.marks > 5)), 0);
        if (run == 0) first = j.marks.clone();
        else EXPECT_EQ(cv::norm(first, j.marks, cv::NORM_INF), 0.0);
    }
}

}  // namespace
