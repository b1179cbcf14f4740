// Results that must not depend on the thread count: the matting system is
// the one a serial walk over the windows builds, and the export's alpha is
// the same byte for byte on 1, 2 and 4 threads and on every run.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "frame/progress.h"
#include "matte_fixtures.h"
#include "matting/matting_system.h"
#include "matting/refine_alpha.h"
#include "matting/window_arithmetic.h"
#include "qxmatte.h"
#include "support/allocation_faults.h"
#include "support/composite.h"

namespace {

using namespace mattest;

// Restores the thread count when it goes.
struct Threads {
    int before = omp_get_max_threads();
    explicit Threads(int n) { omp_set_num_threads(n); }
    ~Threads() { omp_set_num_threads(before); }
};

struct SerialSystem {
    std::vector<int32_t> rows, columns;
    std::vector<float> values, diagonal;
};

// The plain serial build: windows in reading order, each adding its
// affinities to the diagonal sums of its pixels one after the other.
SerialSystem serialBuild(const cv::Mat& solveMask, unsigned char* const planes[3], int planeStep) {
    const int width = solveMask.cols, height = solveMask.rows;
    SerialSystem s;
    s.diagonal.assign(size_t(width) * height, 0.0f);
    qx::WindowArithmetic window{1e-07};
    for (int y = 1; y < height - 1; ++y)
        for (int x = 1; x < width - 1; ++x) {
            if (solveMask.at<uchar>(y, x) != 0) continue;
            int32_t index[9];
            double colour[3][9], affinity[9][9];
            qx::windowPixels(planes, planeStep, width, x, y, index, colour);
            window.affinities(colour, affinity);
            for (int i = 0; i < 9; ++i)
                for (int j = 0; j < 9; ++j) {
                    s.diagonal[index[i]] += static_cast<float>(affinity[i][j]);
                    if (index[i] <= index[j]) {
                        s.rows.push_back(index[i]);
                        s.columns.push_back(index[j]);
                        s.values.push_back(static_cast<float>(affinity[i][j]));
                    }
                }
        }
    return s;
}

bool sameBits(const float* a, const float* b, size_t n) { return std::memcmp(a, b, n * sizeof(float)) == 0; }

TEST(Reproducibility, MatrixIsTheSerialOneOnAnyThreadCount) {
    // A wide band of unknown windows over a textured image, so that float
    // sums taken in another order would differ somewhere.
    const qxtest::Composite comp = qxtest::makeComposite(160, 120, 8, 4);
    std::array<cv::Mat, 3> planes = qxtest::splitPlanes(comp.image);
    unsigned char* pixels[3] = {planes[0].data, planes[1].data, planes[2].data};
    cv::Mat solveMask = (comp.trimap == 0) | (comp.trimap == 255);
    Plane m = attach(solveMask);
    qx::erodeKnown(m);
    const SerialSystem serial = serialBuild(solveMask, pixels, int(planes[0].step));
    ASSERT_GT(serial.values.size(), 100000u);

    for (int threads : {1, 2, 4}) {
        SCOPED_TRACE(threads);
        Threads t(threads);
        qx::MatteState state;
        int count = 0;
        ASSERT_EQ(qx::buildWindowAffinities(state, m, pixels, int(planes[0].step), count), 0);
        ASSERT_EQ(size_t(count), serial.values.size());
        EXPECT_EQ(std::memcmp(state.tripletRows, serial.rows.data(), count * sizeof(int32_t)), 0);
        EXPECT_EQ(std::memcmp(state.tripletColumns, serial.columns.data(), count * sizeof(int32_t)), 0);
        EXPECT_TRUE(sameBits(state.tripletValues, serial.values.data(), count));
        EXPECT_TRUE(sameBits(state.diagonalSums, serial.diagonal.data(), serial.diagonal.size()));
        qx::releaseMatteState(state);
    }
}

TEST(Reproducibility, MaskAlphaIsTheSameOnEveryThreadCountAndRun) {
    const qxtest::Composite comp = qxtest::makeComposite(200, 150, 6, 2);
    std::array<cv::Mat, 3> planes = qxtest::splitPlanes(comp.image);
    unsigned char* pixels[3] = {planes[0].data, planes[1].data, planes[2].data};
    cv::Mat reference;
    for (int threads : {1, 2, 4, 4, 2}) {
        SCOPED_TRACE(threads);
        Threads t(threads);
        cv::Mat marks = comp.trimap.clone();
        QxMaskJob job{};
        job.planes = pixels, job.planeStep = int(planes[0].step);
        job.marksPixels = marks.data, job.marksStep = int(marks.step);
        job.width = marks.cols, job.height = marks.rows;
        // Full size, then a half-size solve through the upsampler.
        for (float estimate : {float(comp.unknownCount), 400000.0f}) {
            cv::Mat m = comp.trimap.clone();
            job.marksPixels = m.data;
            ASSERT_EQ(qxMaskAlpha(&job, 0, estimate, 255, 0, 255, 0), 1);
            marks.push_back(m);
        }
        if (reference.empty()) reference = marks;
        else EXPECT_EQ(cv::norm(reference, marks, cv::NORM_INF), 0.0);
    }
}

TEST(Reproducibility, RefinementScratchOnlyInThreadsWithWork) {
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
        Threads t(8);
        qxtest::AllocationFaults faults(-1, scratchBytes);
        EXPECT_EQ(qx::refineAlphaBilateral(width, height, a, int(alpha.step), planes.pixels, planes.step, 10.0f), 1);
        scratch = faults.counted();
    }
    qx::imageAllocFailuresForTesting = 0;
    EXPECT_EQ(scratch, 6);
}

TEST(Reproducibility, NaNSolutionKeepsTheMark) {
    // Three unknown pixels in a row of variables; the middle one has no number.
    cv::Mat known = flat(5, 1, 0), work = flat(5, 1, 126), solveMask = flat(5, 1, 0);
    known.at<uchar>(0, 0) = 255;
    qx::MatteState state;
    float solution[5] = {255.0f, 10.5f, std::nanf(""), 200.9f, -std::nanf("")};
    state.solution = solution;
    Plane k = attach(known), s = attach(solveMask), wk = attach(work);
    qx::writeSolvedAlpha(state, 5, 1, k, s, wk);
    state.solution = nullptr;
    const uchar expected[5] = {126, 10, 126, 200, 126};
    for (int x = 0; x < 5; ++x) EXPECT_EQ(work.at<uchar>(0, x), expected[x]) << x;
}

}  // namespace
