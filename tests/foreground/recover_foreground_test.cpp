// The two foreground exports on synthetic composites with known foreground:
// accuracy on semi-transparent pixels, definite pixels, untouched bytes,
// skipped tiles and the failure values.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "foreground/foreground_driver.h"
#include "frame/progress.h"
#include "qxmatte.h"
#include "support/composite.h"

namespace {

constexpr unsigned char kOutFill = 0x5A;

// A host's buffers for one job over the whole image.
struct HostJob {
    cv::Mat image, alpha, aux, out;
    QxJob job{};

    HostJob(const cv::Mat& bgr, const cv::Mat& a) : alpha(a.clone()), aux(a.size(), CV_8UC1, cv::Scalar(9)) {
        cv::cvtColor(bgr, image, cv::COLOR_BGR2BGRA);
        out = cv::Mat(bgr.size(), CV_8UC4, cv::Scalar(kOutFill, kOutFill, kOutFill, kOutFill));
        job.imagePixels = image.data, job.imageStep = static_cast<int>(image.step);
        job.maskPixels = alpha.data, job.maskStep = static_cast<int>(alpha.step);
        job.outPixels = out.data, job.outStep = static_cast<int>(out.step);
        job.auxPixels = aux.data, job.auxStep = static_cast<int>(aux.step);
        job.width = bgr.cols, job.height = bgr.rows;
        job.roiWidth = bgr.cols, job.roiHeight = bgr.rows;
    }
};

// Alpha-weighted colour error of out against the true foreground over pixels
// with alpha 11..249 inside the written part, divided by the same for the
// plain image colour. With a blend plane T (out held the image before), the
// target is T F + (1 - T) I, so that the ratio measures the blended share.
double errorRatio(const HostJob& h, const qxtest::Composite& c, int frame, const cv::Mat& blend = cv::Mat()) {
    double recovered = 0.0, naive = 0.0;
    for (int y = frame; y < h.out.rows - frame; ++y)
        for (int x = frame; x < h.out.cols - frame; ++x) {
            const int a = c.alpha.at<uchar>(y, x);
            if (a <= 10 || a >= 250) continue;
            const double t = blend.empty() ? 1.0 : blend.at<float>(y, x);
            for (int k = 0; k < 3; ++k) {
                const int image = c.image.at<cv::Vec3b>(y, x)[k];
                const double target = t * c.foreground.at<cv::Vec3b>(y, x)[k] + (1 - t) * image;
                recovered += a * std::abs(h.out.at<cv::Vec4b>(y, x)[k] - target);
                naive += a * std::abs(image - target);
            }
        }
    return recovered / naive;
}

// Bytes of out that must keep the fill: byte 3 everywhere, all four outside
// the rectangle less its frame.
int disturbedBytes(const HostJob& h, int frame) {
    int n = 0;
    for (int y = 0; y < h.out.rows; ++y)
        for (int x = 0; x < h.out.cols; ++x) {
            const bool inside = x >= h.job.roiX + frame && x < h.job.roiX + h.job.roiWidth - frame &&
                                y >= h.job.roiY + frame && y < h.job.roiY + h.job.roiHeight - frame;
            for (int k = inside ? 3 : 0; k < 4; ++k) n += h.out.at<cv::Vec4b>(y, x)[k] != kOutFill;
        }
    return n;
}

int ticks = 0;
int countTick(int, int, void*) { return ++ticks, 0; }

TEST(RecoverForeground, BeatsTheImageColourAndKeepsDefinitePixels) {
    const qxtest::Composite c = qxtest::makeComposite(640, 480, 6, 3);
    HostJob h(c.image, c.alpha);
    ASSERT_EQ(qxRecoverForeground(&h.job, 0), 0);
    const double ratio = errorRatio(h, c, 3);
    std::cout << "[ accuracy ] qxRecoverForeground error / image colour error = " << ratio << "\n";
    RecordProperty("error_ratio", std::to_string(ratio));
    EXPECT_LT(ratio, 0.8);
    EXPECT_EQ(disturbedBytes(h, 3), 0);
    int wrong = 0;
    for (int y = 3; y < 477; ++y)
        for (int x = 3; x < 637; ++x) {
            const int a = c.alpha.at<uchar>(y, x);
            if (a <= 4 || a >= 251)
                for (int k = 0; k < 3; ++k) wrong += h.out.at<cv::Vec4b>(y, x)[k] != h.image.at<cv::Vec4b>(y, x)[k];
        }
    EXPECT_EQ(wrong, 0);
}

TEST(RecoverForeground, CellBeatsTheImageColourUnderItsTaper) {
    // 400 x 300 = 120000 pixels: with roiBorder set the cell is worked at full
    // scale, in tiles of at most 100 pixels.
    const qxtest::Composite c = qxtest::makeComposite(400, 300, 6, 4);
    HostJob h(c.image, c.alpha);
    cv::cvtColor(c.image, h.out, cv::COLOR_BGR2BGRA);  // the host's output starts as the image
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 400; ++x) h.out.at<cv::Vec4b>(y, x)[3] = kOutFill;
    h.job.outPixels = h.out.data;
    h.job.roiBorder = 1;
    ticks = 0;
    h.job.progressCallback = countTick, h.job.progressCookie = &ticks;
    ASSERT_EQ(qxRecoverForegroundCell(&h.job, 1), 1);
    EXPECT_GT(ticks, 15);
    const double ratio = errorRatio(h, c, 3, qx::cellTaperPlane(400, 300));
    std::cout << "[ accuracy ] qxRecoverForegroundCell error / image colour error = " << ratio << "\n";
    RecordProperty("cell_error_ratio", std::to_string(ratio));
    EXPECT_LT(ratio, 0.8);
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 400; ++x) ASSERT_EQ(h.out.at<cv::Vec4b>(y, x)[3], kOutFill);
}

TEST(RecoverForeground, NothingUnknownSolvesNoTile) {
    const qxtest::Composite c = qxtest::makeComposite(200, 160, 6, 5);
    cv::Mat hard, odd;
    cv::threshold(c.alpha, hard, 127, 255, cv::THRESH_BINARY);
    HostJob h(c.image, hard);
    qx::startProgress(countTick, &ticks, 20000, 0, 0);
    ticks = 0;
    ASSERT_EQ(qxRecoverForeground(&h.job, 0), 0);
    EXPECT_EQ(ticks, 2);  // one tile, visited twice, never solved
    EXPECT_EQ(disturbedBytes(h, 3), 0);
    for (int y = 3; y < 157; ++y)
        for (int x = 3; x < 197; ++x)
            for (int k = 0; k < 3; ++k) ASSERT_EQ(h.out.at<cv::Vec4b>(y, x)[k], h.image.at<cv::Vec4b>(y, x)[k]);

    // With the edge blend, 3 pixels from the left edge the result weighs 3/64
    // against 61/64 of what out held.
    HostJob blended(c.image, hard);
    ASSERT_EQ(qxRecoverForeground(&blended.job, 0x100 | 1), 0);
    for (int k = 0; k < 3; ++k) {
        const int expected = static_cast<int>((1.0f - 3 / 64.0f) * kOutFill + 3 / 64.0f * h.image.at<cv::Vec4b>(80, 3)[k]);
        EXPECT_EQ(blended.out.at<cv::Vec4b>(80, 3)[k], expected);
    }

    // The cell counts only even unknown values: odd ones are fixed marks.
    c.alpha.copyTo(odd);
    odd.forEach<uchar>([](uchar& v, const int*) { v = (v > 5 && v < 250) ? (v | 1) : (v < 128 ? 0 : 255); });
    HostJob cell(c.image, odd);
    cell.job.roiBorder = 1;  // 32000 pixels: worked at full scale, so the values stay odd
    cell.job.progressCallback = countTick, cell.job.progressCookie = &ticks;
    ticks = 0;
    ASSERT_EQ(qxRecoverForegroundCell(&cell.job, 0), 1);
    EXPECT_EQ(ticks, 5);  // the entry tick and four tiles (2 x 2 of 103 x 82), none solved
    qx::startProgress(nullptr, nullptr, 0, 0, 0);
}

TEST(RecoverForeground, FailureValuesLeaveTheOutputAlone) {
    // A region 8 pixels wide reduces to a tile 2 wide: with an unknown pixel
    // in it the diagonal filter refuses the tile.
    cv::Mat bgr(40, 60, CV_8UC3, cv::Scalar(10, 200, 90)), a(40, 60, CV_8UC1, cv::Scalar(128));
    HostJob h(bgr, a);
    h.job.roiX = 20, h.job.roiY = 0, h.job.roiWidth = 8, h.job.roiHeight = 40;
    EXPECT_EQ(qxRecoverForeground(&h.job, 1), -1);
    h.job.roiWidth = 12;  // 12 * 0.18 is 2 as well
    EXPECT_EQ(qxRecoverForegroundCell(&h.job, 0), -1000);
    EXPECT_EQ(disturbedBytes(h, 1000), 0);

    // A region of 3 pixels (nothing left when reduced) writes nothing and succeeds.
    h.job.roiWidth = 3;
    EXPECT_EQ(qxRecoverForeground(&h.job, 0), 0);
    EXPECT_EQ(disturbedBytes(h, 1000), 0);
}

TEST(RecoverForegroundSteps, GridRampTaperAndEvenCount) {
    const qx::TileGrid g = qx::tileGrid(500, 500, 3500000, qx::kForegroundGridRule);
    EXPECT_EQ(g.tileWidth, 375);  // side 384: 2 tiles of 750 / 2, step 250 - 93
    EXPECT_EQ(g.tileStepX, 157);
    EXPECT_EQ(g.tileMarginX, 54);
    const qx::TileGrid cellGrid = qx::tileGrid(250, 90, 3500000, qx::kCellGridRule);
    EXPECT_EQ(cellGrid.tilesX, 3);  // trunc(250 * 1.03 / 100 + 0.75)
    EXPECT_EQ(cellGrid.tileWidth, 85);
    EXPECT_EQ(cellGrid.tileStepX, 83);  // 250 / 3 less trunc(85 * 0.03 / 3) = 0
    EXPECT_EQ(cellGrid.tilesY, 1);      // 90 fits under the side of 100
    EXPECT_EQ(cellGrid.tileHeight, 90);

    const cv::Mat ramp = qx::edgeRampPlane(300, 300);
    EXPECT_FLOAT_EQ(ramp.at<float>(150, 3), 3.0f / 64);
    EXPECT_FLOAT_EQ(ramp.at<float>(150, 150), 1.0f);
    EXPECT_FLOAT_EQ(ramp.at<float>(298, 150), 2.0f / 64);

    const cv::Mat taper = qx::cellTaperPlane(130, 130);
    EXPECT_NEAR(taper.at<float>(65, 65), 1.0f, 0.02);
    EXPECT_NEAR(taper.at<float>(0, 65), 0.0f, 0.02);
    EXPECT_NEAR(taper.at<float>(65, 0), taper.at<float>(65, 129), 1e-4);  // mirrored columns

    const unsigned char plane[8] = {4, 6, 7, 128, 248, 249, 250, 255};
    EXPECT_EQ(qx::countEvenUnknown(plane, 4, 4, 2), 3);
}

}  // namespace
