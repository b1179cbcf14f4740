// The two foreground exports on composites with known foreground: accuracy,
// definite pixels, untouched bytes, skipped tiles and the failure values.
#include <gtest/gtest.h>

#include "foreground/foreground_driver.h"
#include "support/composite.h"
#include "support/foreground_job.h"
#include "support/test_helpers.h"

namespace {

using qxtest::kOutFill;

// A job whose progress goes to log.
struct HostJob : qxtest::ForegroundJob {
    HostJob(const cv::Mat& bgr, const cv::Mat& a, qxtest::ProgressLog& log, bool imageOut = false)
        : ForegroundJob(bgr, a, imageOut) {
        job.progressCallback = qxtest::ProgressLog::record, job.progressCookie = &log;
    }
};

// Alpha-weighted colour error of out against the true foreground (alpha 11..249,
// 3 from the edge) over the same for the image colour. With a blend plane T (out
// held the image before) the target is T F + (1 - T) I: the blended share.
double errorRatio(const HostJob& h, const qxtest::Composite& c, const cv::Mat& blend = cv::Mat()) {
    double recovered = 0.0, naive = 0.0;
    for (int y = 3; y < h.out.rows - 3; ++y)
        for (int x = 3; x < h.out.cols - 3; ++x) {
            const int a = c.alpha.at<uchar>(y, x);
            if (a <= 10 || a >= 250) continue;
            const double t = blend.empty() ? 1.0 : blend.at<float>(y, x);
            for (int k = 0; k < 3; ++k) {
                const int image = c.image.at<cv::Vec3b>(y, x)[k];
                const double target = t * c.foreground.at<cv::Vec3b>(y, x)[k] + (1 - t) * image;
                recovered += a * std::abs(h.at(x, y)[k] - target);
                naive += a * std::abs(image - target);
            }
        }
    return recovered / naive;
}

// Bytes of out that lost the fill: byte 3 anywhere, all four outside the
// region less a frame of `frame` pixels.
int disturbedBytes(const HostJob& h, int frame) {
    const QxJob& j = h.job;
    const cv::Rect inside(j.roiX + frame, j.roiY + frame, j.roiWidth - 2 * frame, j.roiHeight - 2 * frame);
    int n = 0;
    for (int y = 0; y < h.out.rows; ++y)
        for (int x = 0; x < h.out.cols; ++x)
            for (int k = inside.contains({x, y}) ? 3 : 0; k < 4; ++k) n += h.at(x, y)[k] != kOutFill;
    return n;
}

// Pixels with alpha at most `low` or at least `high` whose colour is not the source's.
int changedDefinite(const HostJob& h, const cv::Mat& alpha, int low, int high) {
    int n = 0;
    for (int y = 3; y < h.out.rows - 3; ++y)
        for (int x = 3; x < h.out.cols - 3; ++x)
            if (alpha.at<uchar>(y, x) <= low || alpha.at<uchar>(y, x) >= high)
                for (int k = 0; k < 3; ++k) n += h.at(x, y)[k] != h.image.at<cv::Vec4b>(y, x)[k];
    return n;
}

TEST(RecoverForeground, BothExportsBeatTheImageColourAndKeepDefinitePixels) {
    // 400 x 300 = 120000 pixels: the whole image in tiles; with roiBorder set
    // the cell is worked at full scale, in tiles of at most 100 pixels, and
    // fades in under its taper.
    qxtest::ProgressLog log;
    const qxtest::Composite c = qxtest::makeComposite(400, 300, 6, 4);
    HostJob h(c.image, c.alpha, log), cell(c.image, c.alpha, log, true);
    ASSERT_EQ(qxRecoverForeground(&h.job, 0), 0);
    cell.job.roiBorder = 1;
    ASSERT_EQ(qxRecoverForegroundCell(&cell.job, 1), 1);
    const double ratio = errorRatio(h, c), cellRatio = errorRatio(cell, c, qx::cellTaperPlane(400, 300));
    std::cout << "[ accuracy ] error / image colour error: qxRecoverForeground " << ratio
              << ", qxRecoverForegroundCell " << cellRatio << "\n";
    EXPECT_LT(ratio, 0.8);
    EXPECT_LT(cellRatio, 0.8);
    EXPECT_EQ(disturbedBytes(h, 3), 0);
    EXPECT_EQ(changedDefinite(h, c.alpha, 4, 251), 0);
    EXPECT_EQ(disturbedBytes(cell, 0), 0);  // byte 3 only: the colours started as the image
}

TEST(RecoverForeground, NothingUnknownSolvesNoTile) {
    qxtest::ProgressLog log;
    const qxtest::Composite c = qxtest::makeComposite(200, 160, 6, 5);
    const cv::Mat hard = c.alpha >= 128;
    HostJob h(c.image, hard, log);
    ASSERT_EQ(qxRecoverForeground(&h.job, 0), 0);
    EXPECT_EQ(log.ticks(), 2);  // one tile, visited twice, never solved
    EXPECT_EQ(disturbedBytes(h, 3), 0);
    EXPECT_EQ(changedDefinite(h, hard, 255, 0), 0);

    // With the edge blend, 3 pixels from the left edge the result weighs 3/64
    // against 61/64 of what out held.
    HostJob blended(c.image, hard, log);
    ASSERT_EQ(qxRecoverForeground(&blended.job, 0x100 | 1), 0);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(blended.at(3, 80)[k], int((1.0f - 3 / 64.0f) * kOutFill + 3 / 64.0f * h.at(3, 80)[k]));

    // The cell counts only even unknown values: odd ones are fixed marks.
    cv::Mat odd = c.alpha.clone();
    odd.forEach<uchar>([](uchar& v, const int*) { v = (v > 5 && v < 250) ? (v | 1) : (v < 128 ? 0 : 255); });
    HostJob cell(c.image, odd, log);
    cell.job.roiBorder = 1;  // 32000 pixels: worked at full scale, so the values stay odd
    log.clear();
    ASSERT_EQ(qxRecoverForegroundCell(&cell.job, 0), 1);
    EXPECT_EQ(log.ticks(), 5);  // the entry tick and four tiles (2 x 2 of 103 x 82), none solved
}

TEST(RecoverForeground, ProgressBarsOfTheTwoExports) {
    // Alpha 255 everywhere: no tile needs solving, so only the loop ticks.
    qxtest::ProgressLog log;
    HostJob cell(cv::Mat(160, 300, CV_8UC3, cv::Scalar(1, 2, 3)), cv::Mat(160, 300, CV_8UC1, cv::Scalar(255)), log);
    cell.job.roiBorder = 1;
    ASSERT_EQ(qxRecoverForegroundCell(&cell.job, 1), 1);
    // First tick 0 of 20000; 3 x 2 tiles give a step of 20000 / 6 = 3333
    // whole ticks, times 0.065 is 216.6, truncated.
    EXPECT_EQ(log.values, (std::vector<int>{0, 216, 432, 648, 864, 1080, 1296}));
    EXPECT_EQ(log.totals, std::vector<int>(7, 20000));

    // No callback of its own: the cell's bar goes on from 1296. Reduced to
    // 400 x 100, two tiles of 300 x 100: step 10000 / (40000 / 67500) = 16875.
    HostJob wide(cv::Mat(400, 1600, CV_8UC3, cv::Scalar(1, 2, 3)), cv::Mat(400, 1600, CV_8UC1, cv::Scalar(255)), log);
    wide.job.progressCallback = nullptr;
    log.clear();
    ASSERT_EQ(qxRecoverForeground(&wide.job, 0), 0);
    EXPECT_EQ(log.values, (std::vector<int>{18171, 10000}));
    EXPECT_EQ(log.totals, std::vector<int>(2, 20000));
}

TEST(RecoverForeground, FailureValuesLeaveTheOutputAlone) {
    // A region 8 pixels wide reduces to a tile 2 wide: with an unknown pixel
    // in it the diagonal filter refuses the tile; 12 * 0.18 is 2 as well.
    qxtest::ProgressLog log;
    HostJob h(cv::Mat(40, 60, CV_8UC3, cv::Scalar(10, 200, 90)), cv::Mat(40, 60, CV_8UC1, cv::Scalar(128)), log);
    h.job.roiX = 20, h.job.roiWidth = 8;
    EXPECT_EQ(qxRecoverForeground(&h.job, 1), -1);
    h.job.roiWidth = 12;
    EXPECT_EQ(qxRecoverForegroundCell(&h.job, 0), -1000);
    h.job.roiWidth = 3;  // nothing left when reduced: nothing written, success
    EXPECT_EQ(qxRecoverForeground(&h.job, 0), 0);
    EXPECT_EQ(disturbedBytes(h, 1000), 0);
}

}  // namespace
