// Results that must not depend on the thread count: the matting system is
// the same bit for bit on 1, 2 and 4 threads, and the refinement's scratch
// does not grow with the threads.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "matte_fixtures.h"
#include "matting/matting_system.h"
#include "matting/refine_alpha.h"
#include "support/allocation_faults.h"
#include "support/composite.h"
#include "support/test_helpers.h"

namespace {

using namespace mattest;
using qxtest::ThreadCount;

TEST(Reproducibility, MatrixIsTheSameOnAnyThreadCount) {
    // A wide band of unknown windows over a textured image, so that float
    // sums taken in another order would differ somewhere.
    const qxtest::Composite comp = qxtest::makeComposite(160, 120, 8, 4);
    std::array<cv::Mat, 3> planes = qxtest::splitPlanes(comp.image);
    unsigned char* pixels[3] = {planes[0].data, planes[1].data, planes[2].data};
    cv::Mat solveMask = (comp.trimap == 0) | (comp.trimap == 255);
    Plane m = attach(solveMask);
    qx::erodeKnown(m);
    std::vector<char> reference;
    for (int threads : {1, 2, 4}) {
        SCOPED_TRACE(threads);
        ThreadCount t(threads);
        qx::MatteState state;
        int count = 0;
        ASSERT_EQ(qx::buildWindowAffinities(state, m, pixels, int(planes[0].step), count), 0);
        ASSERT_GT(count, 100000);
        std::vector<char> bits;
        auto add = [&bits](const void* p, size_t bytes) {
            bits.insert(bits.end(), static_cast<const char*>(p), static_cast<const char*>(p) + bytes);
        };
        add(state.tripletRows, count * sizeof(int32_t));
        add(state.tripletColumns, count * sizeof(int32_t));
        add(state.tripletValues, count * sizeof(float));
        add(state.diagonalSums, comp.image.total() * sizeof(float));
        qx::releaseMatteState(state);
        if (reference.empty()) reference = bits;
        else EXPECT_TRUE(bits == reference);
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
        ThreadCount t(8);
        qxtest::AllocationFaults faults(-1, scratchBytes);
        EXPECT_EQ(qx::refineAlphaBilateral(width, height, a, int(alpha.step), planes.pixels, planes.step, 10.0f), 1);
        scratch = faults.counted();
    }
    qx::imageAllocFailuresForTesting = 0;
    EXPECT_EQ(scratch, 6);
}

}  // namespace
