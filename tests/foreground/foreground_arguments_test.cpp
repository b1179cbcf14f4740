// The foreground exports' front door and their reproducibility: bad regions
// fail before anything is made, memory running out anywhere in the cell gives
// -1 (but for the solver's own float planes and vectors), and results don't
// depend on the thread count.
#include <gtest/gtest.h>

#include "foreground/foreground_driver.h"
#include "support/allocation_faults.h"
#include "support/composite.h"
#include "support/foreground_job.h"
#include "support/test_helpers.h"

namespace {

using Host = qxtest::ForegroundJob;

TEST(ForegroundArguments, BadRegionsFailEmptyAndTinyOnesWriteNothing) {
    const qxtest::Composite c = qxtest::makeComposite(64, 48, 4, 7);
    for (int w : {-1, 0, 1})
        for (int h : {-1, 0, 1}) {
            SCOPED_TRACE(testing::Message() << w << "x" << h);
            const bool bad = w < 0 || h < 0;
            // Definite alpha: a 1-pixel cell worked at full scale has no tile to solve.
            Host host(c.image, c.alpha >= 128);
            host.job.roiX = 10, host.job.roiY = 10, host.job.roiWidth = w, host.job.roiHeight = h;
            EXPECT_EQ(qxRecoverForeground(&host.job, 1), bad ? -1000 : 0);
            for (int border : {0, 1}) {
                host.job.roiBorder = border;
                EXPECT_EQ(qxRecoverForegroundCell(&host.job, 0), bad ? -1000 : 1);
            }
            EXPECT_TRUE(host.outUntouched());
        }
    // Regions reaching outside the image, a missing plane, a short step.
    Host host(c.image, c.alpha);
    for (cv::Rect r : {cv::Rect(60, 0, 8, 10), cv::Rect(-1, 0, 8, 10), cv::Rect(0, 40, 8, 9),
                       cv::Rect(0x7FFFFFF0, 0, 0x20, 10)}) {
        host.job.roiX = r.x, host.job.roiY = r.y, host.job.roiWidth = r.width, host.job.roiHeight = r.height;
        EXPECT_EQ(qxRecoverForeground(&host.job, 0), -1000) << r;
        EXPECT_EQ(qxRecoverForegroundCell(&host.job, 0), -1000) << r;
    }
    host.job.roiX = host.job.roiY = 0, host.job.roiWidth = 64, host.job.roiHeight = 48;
    host.job.auxPixels = nullptr;
    EXPECT_EQ(qxRecoverForeground(&host.job, 0), -1000);
    host.job.imageStep = 64 * 4 - 1;
    EXPECT_EQ(qxRecoverForegroundCell(&host.job, 0), -1000);
    EXPECT_TRUE(host.outUntouched());
    EXPECT_EQ(qxRecoverForeground(nullptr, 0), -1000);
    EXPECT_EQ(qxRecoverForegroundCell(nullptr, 0), -1000);

    // A cell 4 rows high reduces to no rows at scale 0.18; its two inner rows
    // are still written, with the source colours where the alpha is definite.
    Host thin(c.image, cv::Mat(48, 64, CV_8UC1, cv::Scalar(255)));
    thin.job.roiY = 20, thin.job.roiHeight = 4;
    EXPECT_EQ(qxRecoverForegroundCell(&thin.job, 0), 1);
    EXPECT_GT(cv::countNonZero(thin.out.reshape(1) != qxtest::kOutFill), 0);
}

TEST(ForegroundArguments, CellScaleCountsTheAreaIn64Bits) {
    EXPECT_EQ(qx::cellScale(0, 65536, 65536), 0.18f);
    EXPECT_EQ(qx::cellScale(1, 400, 500), 1.0f);
    EXPECT_EQ(qx::cellScale(1, 400, 501), 0.33f);
    EXPECT_EQ(qx::cellScale(1, 2000, 2000), 0.2f);
    EXPECT_EQ(qx::cellScale(1, 65536, 65536), 0.2f);  // 2^32 pixels, 0 in 32 bits
    EXPECT_EQ(qx::cellScale(1, 70000, 70000), 0.2f);
}

TEST(ForegroundArguments, CellOutOfMemoryIsMinusOneSaveForTheSolversOwnValues) {
    // Every allocation of one cell call refused in turn, all buffers on the
    // plain allocator. The tile's three colour planes (1) and its five
    // vectors (9) report the solver's status, which the cell turns into
    // -1000; every other refusal is -1. The output is never touched.
    const qxtest::Composite c = qxtest::makeComposite(30, 24, 3, 3);
    qx::imageAllocFailuresForTesting = 1 << 30;
    int minusOne = 0, solverValues = 0, other = 0;
    for (long k = 0;; ++k) {
        Host host(c.image, c.alpha);
        host.job.roiBorder = 1;  // 720 pixels: worked at full scale, one tile
        int rc;
        bool refused;
        {
            qxtest::AllocationFaults faults(k);
            rc = qxRecoverForegroundCell(&host.job, 0);
            refused = faults.failed();
        }
        if (!refused) {
            EXPECT_EQ(rc, 1);
            break;
        }
        EXPECT_TRUE(host.outUntouched()) << k;
        if (rc == -1) ++minusOne;
        else if (rc == -1000) ++solverValues;
        else ++other;
    }
    qx::imageAllocFailuresForTesting = 0;
    EXPECT_EQ(solverValues, 3 + 5);
    EXPECT_EQ(other, 0);
    EXPECT_GT(minusOne, 20);
}

TEST(ForegroundArguments, ResultsDoNotDependOnTheThreadCount) {
    const qxtest::Composite c = qxtest::makeComposite(120, 90, 5, 6);
    qxtest::ProgressLog log;
    cv::Mat reference;
    for (int threads : {1, 4, 2}) {
        qxtest::ThreadCount t(threads);
        Host whole(c.image, c.alpha), cell(c.image, c.alpha);
        ASSERT_EQ(qxRecoverForeground(&whole.job, 1), 0);
        cell.job.roiBorder = 1;
        ASSERT_EQ(qxRecoverForegroundCell(&cell.job, 0), 1);
        cv::Mat both;
        cv::vconcat(whole.out, cell.out, both);
        if (reference.empty()) reference = both;
        else EXPECT_EQ(cv::norm(reference, both, cv::NORM_INF), 0.0) << threads;
    }
}

}  // namespace
