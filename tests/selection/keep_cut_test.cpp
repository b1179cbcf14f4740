// The keep/cut export and its local solve: refused jobs, the -5 rule with
// the mark bits given back, the leaf limit, the merge of an edit by mode, the
// frame of an edit and its corner rule.
#include <gtest/gtest.h>
#include <omp.h>

#include "keep_cut_fixture.h"
#include "selection/solve_local.h"

namespace {

using seltest::KeepCutJob;
using seltest::marksOf;

cv::Mat grey(int w, int h, int v) { return cv::Mat(h, w, CV_8UC3, cv::Scalar(v, v, v)); }

// Keep on the left, cut on the right, `unknown` band pixels in column 20.
cv::Mat twoSided(int unknown) {
    cv::Mat marks(30, 40, CV_8UC1, cv::Scalar(0xFF));
    marks.colRange(20, 40).setTo(0x01);
    for (int i = 0; i < unknown; ++i) marks.at<unsigned char>(10 + i, 20) = 0x7E;
    return marks;
}

TEST(KeepCutToAlpha, RefusesJobsOutsideTheirBuffersBeforeTouchingThem) {
    KeepCutJob base(grey(10, 8, 100), twoSided(0).rowRange(0, 8).colRange(15, 25).clone());
    const cv::Mat before = base.mask.clone();
    struct Bad { const char* what; void (*spoil)(QxJob&); };
    const Bad cases[] = {
        {"width -1", [](QxJob& j) { j.width = -1; }},
        {"height 0", [](QxJob& j) { j.height = 0; }},
        {"roiWidth 0", [](QxJob& j) { j.roiWidth = 0; }},
        {"roiHeight -1", [](QxJob& j) { j.roiHeight = -1; }},
        {"roiX -1", [](QxJob& j) { j.roiX = -1; }},
        {"roiX 1 past the edge", [](QxJob& j) { j.roiX = 1; }},
        {"roiY 1 past the edge", [](QxJob& j) { j.roiY = 1; }},
        {"short image step", [](QxJob& j) { j.imageStep = 4 * j.width - 1; }},
        {"short mask step", [](QxJob& j) { j.maskStep = j.width - 1; }},
        {"no aux plane", [](QxJob& j) { j.auxPixels = nullptr; }},
    };
    for (const Bad& c : cases) {
        KeepCutJob k(grey(10, 8, 100), base.mask);
        c.spoil(k.job);
        EXPECT_EQ(-3, k.run(1)) << c.what;
        EXPECT_EQ(0, cv::norm(k.mask, before, cv::NORM_INF)) << c.what;
    }
    EXPECT_EQ(-3, qxKeepCutToAlpha(nullptr, 1));
    KeepCutJob one(grey(1, 1, 100), cv::Mat(1, 1, CV_8UC1, cv::Scalar(0x7E)));
    EXPECT_EQ(-5, one.run(1));  // a 1 by 1 job is sound: it just has nothing to solve with
}

// Marks that allow no solve give -5 (a soft keep's bit 1 must not leak into
// bit 0), a leaf above the limit -1; either way the marks come back as given.
TEST(KeepCutToAlpha, FailuresGiveTheMarkBitsBackAndThreeUnknownPixelsSolve) {
    cv::Mat soft(30, 40, CV_8UC1, cv::Scalar(0x7E)), huge(600, 1000, CV_8UC1, cv::Scalar(0x7E));
    soft.colRange(0, 10).setTo(0xFE);
    huge.at<unsigned char>(0, 0) = 0xFF, huge.at<unsigned char>(599, 999) = 0x01;
    const struct { cv::Mat image, marks; int fullSize, rc; } rows[] = {
        {grey(40, 30, 90), soft, 1, -5}, {grey(40, 30, 90), soft, 0, -5},
        {grey(40, 30, 90), twoSided(2), 1, -5}, {grey(1000, 600, 50), huge, 1, -1}};
    for (const auto& r : rows) {
        KeepCutJob k(r.image, r.marks);
        EXPECT_EQ(r.rc, k.run(r.fullSize)) << r.marks.size();
        EXPECT_EQ(0, cv::norm(k.mask, r.marks, cv::NORM_INF)) << r.marks.size();
    }
    KeepCutJob three(grey(40, 30, 90), twoSided(3));
    EXPECT_EQ(1, three.run(1));
    // Fixed keep and cut come back with their source colour, bit 0 clear elsewhere.
    EXPECT_EQ(0xFF, three.mask.at<unsigned char>(0, 0));
    EXPECT_EQ(0x01, three.mask.at<unsigned char>(0, 39));
    EXPECT_EQ(0, three.mask.at<unsigned char>(11, 20) & 1);
    EXPECT_EQ(cv::Vec4b(90, 90, 90, 255), three.out.at<cv::Vec4b>(0, 0));
}

// An earlier cut-out (even alpha, fixed marks odd) and an edit of its middle.
struct Edit {
    qxtest::Composite comp = qxtest::makeComposite(160, 120, 6, 7);
    cv::Mat marks;
    Edit() {
        marks = comp.alpha & 0xFE;
        marks.setTo(0x01, comp.trimap == 0);
        marks.setTo(0xFF, comp.trimap == 255);
    }
    KeepCutJob job(int mode) const {
        KeepCutJob k(comp.image, marks);
        k.job.roiX = 50, k.job.roiY = 30, k.job.roiWidth = 60, k.job.roiHeight = 50;
        k.job.roiBorder = 6, k.job.keepCutMode = mode;
        return k;
    }
};

TEST(KeepCutToAlpha, ALocalEditKeepsItsFrameAndMergesByMode) {
    const Edit edit;
    KeepCutJob plain = edit.job(2), removing = edit.job(0), adding = edit.job(1);
    ASSERT_EQ(1, plain.run(1));
    ASSERT_EQ(1, removing.run(1));
    ASSERT_EQ(1, adding.run(1));
    const cv::Rect rect(50, 30, 60, 50);
    cv::Mat outside(edit.marks.size(), CV_8UC1, cv::Scalar(255));
    outside(rect).setTo(0);
    // Frame and everything beyond the rectangle hold exactly their old values.
    EXPECT_EQ(0, cv::norm(plain.mask, edit.marks, cv::NORM_INF, outside));
    EXPECT_GT(cv::norm(plain.mask(rect), edit.marks(rect), cv::NORM_L1), 0);  // something was solved
    // Mode 2 is the solve as it stands; 0 and 1 take the lower and the higher
    // of it and the old alpha where the old one was not fixed.
    const cv::Mat soft = (edit.marks & 1) == 0;
    cv::Mat lower = plain.mask.clone(), higher = plain.mask.clone();
    cv::Mat(cv::min(plain.mask, edit.marks)).copyTo(lower, soft);
    cv::Mat(cv::max(plain.mask, edit.marks)).copyTo(higher, soft);
    EXPECT_EQ(0, cv::norm(removing.mask, lower, cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(adding.mask, higher, cv::NORM_INF));
}

TEST(LocalSolve, FramesStopAtTheImageEdges) {
    QxJob job{};
    job.width = 50, job.height = 40, job.roiBorder = 1;
    job.roiX = 0, job.roiY = 0, job.roiWidth = 10, job.roiHeight = 10;
    qx::LocalBox b = qx::localFrame(job);
    EXPECT_EQ(0, b.frameLeft); EXPECT_EQ(0, b.frameTop); EXPECT_EQ(1, b.frameRight); EXPECT_EQ(1, b.frameBottom);
    EXPECT_EQ(0, b.x); EXPECT_EQ(0, b.y); EXPECT_EQ(11, b.width); EXPECT_EQ(11, b.height);
    job.roiX = 40, job.roiY = 30;
    b = qx::localFrame(job);
    EXPECT_EQ(1, b.frameLeft); EXPECT_EQ(1, b.frameTop); EXPECT_EQ(0, b.frameRight); EXPECT_EQ(0, b.frameBottom);
    EXPECT_EQ(39, b.x); EXPECT_EQ(29, b.y);
    job.roiX = 0, job.roiY = 0, job.roiWidth = 50, job.roiHeight = 40, job.roiBorder = 5;
    b = qx::localFrame(job);
    EXPECT_EQ(0, b.frameLeft + b.frameTop + b.frameRight + b.frameBottom);
}

TEST(LocalSolve, AWholeImageEditFallsBackOnTheMarkedBox) {
    // Two pixels to solve and no cut mark: nothing to do, result 1, bits back.
    cv::Mat marks(40, 50, CV_8UC1, cv::Scalar(0xFF));
    marks.at<unsigned char>(20, 20) = marks.at<unsigned char>(20, 21) = 0x7E;
    KeepCutJob k(grey(50, 40, 70), marks);
    k.job.roiBorder = 5;
    k.aux.at<unsigned char>(20, 21) = 0x7F;  // the host's marks: bit 0 comes from here
    EXPECT_EQ(1, qx::solveLocal(&k.job));
    marks.at<unsigned char>(20, 21) = 0x7F;
    EXPECT_EQ(0, cv::norm(k.mask, marks, cv::NORM_INF));
    // With nothing but marks the box is empty: -5.
    KeepCutJob none(grey(50, 40, 70), cv::Mat(40, 50, CV_8UC1, cv::Scalar(0xFF)));
    none.job.roiBorder = 5;
    EXPECT_EQ(-5, qx::solveLocal(&none.job));
    qx::startProgress(nullptr, nullptr, 0, 0, 0);
}

// A noisy strip of thickness n with keep at one end, cut at the other and
// the band between; `along` pixels long, across rows (horizontal) or columns.
KeepCutJob strip(int along, int thickness, bool horizontal) {
    cv::Mat image(horizontal ? thickness : along, horizontal ? along : thickness, CV_8UC3);
    cv::RNG(9).fill(image, cv::RNG::UNIFORM, 0, 256);
    cv::Mat marks(image.size(), CV_8UC1, cv::Scalar(0x7E));
    const cv::Rect first = horizontal ? cv::Rect(0, 0, 8, thickness) : cv::Rect(0, 0, thickness, 8);
    const cv::Rect last = horizontal ? cv::Rect(along - 8, 0, 8, thickness) : cv::Rect(0, along - 8, thickness, 8);
    marks(first).setTo(0xFF);
    marks(last).setTo(0x01);
    return KeepCutJob(image, marks);
}

// 3 x 3 windows need three lines each way: thinner rectangles are refused as
// unsolvable on both roads (never 1 with the band unsolved), rectangles whose
// half-size copy would be that thin are solved at full size, and no answer
// depends on the thread count.
TEST(KeepCutToAlpha, ThinRectanglesAreRefusedOrSolvedAtFullSize) {
    for (bool horizontal : {true, false})
        for (int thickness : {1, 2})
            for (int fullSize : {1, 0})
                for (int threads : {1, 2}) {
                    omp_set_num_threads(threads);
                    KeepCutJob k = strip(40, thickness, horizontal);
                    const cv::Mat marks = k.mask.clone();
                    EXPECT_EQ(-5, k.run(fullSize)) << thickness << (horizontal ? " rows" : " columns");
                    EXPECT_EQ(0, cv::norm(k.mask, marks, cv::NORM_INF));
                }
    omp_set_num_threads(omp_get_num_procs());
    for (int thickness : {3, 4}) {
        KeepCutJob half = strip(40, thickness, true), full = strip(40, thickness, true);
        ASSERT_EQ(1, half.run(0)) << thickness;
        ASSERT_EQ(1, full.run(1));
        EXPECT_EQ(0, cv::norm(half.mask, full.mask, cv::NORM_INF)) << thickness;
        // The band is solved: the alpha falls from the keep end to the cut end.
        EXPECT_GT(cv::mean(half.mask.colRange(8, 14))[0], cv::mean(half.mask.colRange(26, 32))[0] + 20) << thickness;
    }
}

// The doubling of the half-size road does not reach the first line and the
// last three: they take the nearest reached line (row 1, row h - 4, column 1,
// column w - 4) wherever neither pixel is a fixed mark.
TEST(KeepCutToAlpha, HalfSizeBorderLinesTakeTheirNearestSolvedLine) {
    const qxtest::Composite comp = qxtest::makeComposite(90, 70, 6, 3);
    // Marks as the composite's trimap, but an unknown ring of 6 pixels, so
    // that every border line has soft pixels.
    cv::Mat marks = marksOf(comp.trimap);
    cv::rectangle(marks, cv::Rect(0, 0, 90, 70), cv::Scalar(0x7E), 12);
    KeepCutJob k(comp.image, marks);
    ASSERT_EQ(1, k.run(0));
    const cv::Mat& m = k.mask;
    const int w = m.cols, h = m.rows;
    auto soft = [&](int x, int y) { return (k.aux.at<uchar>(y, x) & 1) == 0; };
    int compared = 0;
    for (int x = 0; x < w; ++x)
        for (auto [to, from] : {std::pair{0, 1}, {h - 3, h - 4}, {h - 2, h - 4}, {h - 1, h - 4}})
            if (soft(x, to) && soft(x, from)) {
                EXPECT_EQ(m.at<uchar>(to, x), m.at<uchar>(from, x)) << x << "," << to;
                ++compared;
            }
    for (int y = 0; y < h; ++y)
        for (auto [to, from] : {std::pair{0, 1}, {w - 3, w - 4}, {w - 2, w - 4}, {w - 1, w - 4}})
            if (soft(to, y) && soft(from, y)) {
                EXPECT_EQ(m.at<uchar>(y, to), m.at<uchar>(y, from)) << to << "," << y;
                ++compared;
            }
    EXPECT_GT(compared, 300);
}

}  // namespace
