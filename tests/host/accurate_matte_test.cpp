// Colour sampling and the default matte around the library's solve.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "qxhost.h"

namespace {

const cv::Vec3b kFore(200, 100, 50), kBack(20, 40, 60);

cv::Vec3b mix(double a) {
    cv::Vec3b c;
    for (int k = 0; k < 3; ++k) c[k] = cv::saturate_cast<unsigned char>(a * kFore[k] + (1 - a) * kBack[k]);
    return c;
}

// Foreground on the left 10 columns, background on the right 10, and a ramp
// from alpha 1 to 0 across the 20 unknown columns between them.
struct Ramp {
    cv::Mat image, trimap;
    Ramp() : image(9, 40, CV_8UC3), trimap(9, 40, CV_8UC1, cv::Scalar(128)) {
        trimap.colRange(0, 10).setTo(255);
        trimap.colRange(30, 40).setTo(0);
        for (int x = 0; x < 40; ++x) image.col(x).setTo(mix(truth(x)));
    }
    static double truth(int x) { return std::min(1.0, std::max(0.0, (29.5 - x) / 20.0)); }
};

TEST(ColourSampling, RampAlphaConfidenceAndKnownPixels) {
    Ramp r;
    // A pixel off the line between the two colours, and one whose colour no
    // pair explains at all.
    r.image.at<cv::Vec3b>(4, 20) = cv::Vec3b(30, 230, 240);
    const qxhost::SampledAlpha s = qxhost::sampleAlpha(r.image, r.trimap);
    for (int x = 10; x < 30; ++x) {
        if (x == 20) continue;
        EXPECT_NEAR(255 * Ramp::truth(x), s.alpha.at<unsigned char>(2, x), 3) << x;
        EXPECT_GT(s.confidence.at<float>(2, x), 0.9f) << x;  // exact fit, colours far apart
    }
    EXPECT_LT(s.confidence.at<float>(4, 20), 0.05f);
    // Known pixels keep the trimap's value.
    EXPECT_EQ(0, cv::norm(s.alpha, r.trimap, cv::NORM_INF, r.trimap != 128));

    // Near colours give an ill-posed alpha: little confidence however good the
    // fit. Exact fits 4 levels apart in each channel: |F - B| / 60 = 0.1155.
    cv::Mat flat = r.image.clone();
    flat.setTo(cv::Scalar(100, 100, 100));
    flat.colRange(0, 10).setTo(cv::Scalar(104, 104, 104));
    EXPECT_NEAR(0.1155, cv::mean(qxhost::sampleAlpha(flat, r.trimap).confidence, r.trimap == 128)[0], 0.001);
    // No background anywhere: nothing to pair with.
    cv::Mat noBack = r.trimap.clone();
    noBack.setTo(128, noBack == 0);
    EXPECT_EQ(0, cv::countNonZero(qxhost::sampleAlpha(r.image, noBack).confidence.colRange(10, 40)));
    EXPECT_THROW(qxhost::sampleAlpha(r.image, r.trimap.colRange(0, 20)), std::invalid_argument);
}

TEST(ColourSampling, EachPixelTakesThePairOfItsOwnColours) {
    // Bands of four rows, each band a ramp between its own two colours (every
    // channel different), so a pixel's neighbours and rays offer pairs of the
    // other band too: only its own explains it.
    const cv::Vec3b fore[2] = {kFore, cv::Vec3b(40, 210, 120)}, back[2] = {kBack, cv::Vec3b(230, 60, 170)};
    cv::Mat image(16, 40, CV_8UC3), trimap(16, 40, CV_8UC1, cv::Scalar(128));
    trimap.colRange(0, 10).setTo(255);
    trimap.colRange(30, 40).setTo(0);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 40; ++x) {
            const int band = (y / 4) % 2;
            const double a = Ramp::truth(x);
            for (int k = 0; k < 3; ++k)
                image.at<cv::Vec3b>(y, x)[k] =
                    cv::saturate_cast<unsigned char>(a * fore[band][k] + (1 - a) * back[band][k]);
        }
    const cv::Mat alpha = qxhost::sampleAlpha(image, trimap).alpha;
    for (int y = 0; y < 16; ++y)
        for (int x = 10; x < 30; ++x)
            EXPECT_NEAR(255 * Ramp::truth(x), alpha.at<unsigned char>(y, x), 5) << x << "," << y;
}

// A disc of foreground with a soft rim and a background hole in its middle;
// the trimap leaves a ring around the disc and the whole hole unknown, so no
// mark reaches the hole.
struct Hole {
    cv::Mat image, trimap;
    Hole() : image(80, 80, CV_8UC3, cv::Scalar(kBack)), trimap(80, 80, CV_8UC1, cv::Scalar(0)) {
        cv::circle(image, {40, 40}, 30, cv::Scalar(kFore), cv::FILLED, cv::LINE_AA);
        cv::circle(image, {40, 40}, 6, cv::Scalar(kBack), cv::FILLED);
        cv::circle(trimap, {40, 40}, 34, cv::Scalar(128), cv::FILLED);
        cv::circle(trimap, {40, 40}, 26, cv::Scalar(255), cv::FILLED);
        cv::circle(trimap, {40, 40}, 10, cv::Scalar(128), cv::FILLED);
    }
};

TEST(AccurateMatte, EnclosedHoleBecomesCutAndCertainPixelsStay) {
    Hole h;
    const cv::Mat marks = qxhost::marksFromTrimap(h.trimap);
    const qxhost::AccurateMarks prepared = qxhost::prepareAccurateMarks(h.image, marks);
    EXPECT_EQ(qxhost::kMarkCut, prepared.marks.at<unsigned char>(40, 40));  // the hole's centre
    EXPECT_EQ(qxhost::kMarkKeep, prepared.marks.at<unsigned char>(40, 20));  // foreground between hole and ring
    const cv::Mat fixed = (marks == qxhost::kMarkCut) | (marks == qxhost::kMarkKeep);
    EXPECT_EQ(0, cv::norm(prepared.marks, marks, cv::NORM_INF, fixed));

    // Through the road: certain pixels as marked, the hole clear.
    qxhost::RoadSettings accurate;
    accurate.method = qxhost::MatteMethod::Accurate;
    const cv::Mat road = qxhost::solveAnySize(h.image, h.trimap, accurate).alpha;
    EXPECT_EQ(0, cv::norm(road, h.trimap, cv::NORM_INF, fixed));
    EXPECT_LT(cv::norm(road(cv::Rect(37, 37, 7, 7)), cv::NORM_INF), 8);
    EXPECT_GT(road.at<unsigned char>(40, 30), 247);

    // The tile road alike; an odd (fixed) soft mark comes back as its value.
    cv::Mat soft = marks.clone();
    soft.at<unsigned char>(40, 12) = 0x81;
    const cv::Mat tiled = qxhost::finishAccurateAlpha(qxhost::keepCutToAlpha(h.image, soft), soft);
    EXPECT_EQ(0, cv::norm(tiled, h.trimap, cv::NORM_INF, fixed));
    EXPECT_EQ(0x81, tiled.at<unsigned char>(40, 12));
}

// A band of background holding a faint strand (alpha 0.08, 15 levels off)
// and a patch across a strong edge: only the plain background becomes cut.
TEST(AccurateMatte, FixesOnlyWhatTheBackgroundExplains) {
    Ramp r;
    r.image.colRange(10, 30).setTo(cv::Scalar(kBack));
    r.image.col(24).setTo(mix(0.08));
    r.image(cv::Rect(14, 3, 3, 3)).setTo(cv::Scalar(kFore));
    const cv::Mat fixed = qxhost::prepareAccurateMarks(r.image, qxhost::marksFromTrimap(r.trimap)).marks;
    EXPECT_EQ(qxhost::kMarkCut, fixed.at<unsigned char>(4, 27));
    EXPECT_EQ(0, cv::countNonZero(fixed.col(24) == qxhost::kMarkCut));
    EXPECT_EQ(0, cv::countNonZero(fixed(cv::Rect(14, 3, 3, 3)) == qxhost::kMarkCut));
}

// A solve that keeps half of the sampled ramp has faded; then the sampled
// alpha is fixed (odd, within a level) where sampling was sure, and planning
// rounds those fixed values to a side.
TEST(AccurateMatte, FadedSolveHandsOverToTheSampledAlpha) {
    Ramp r;
    r.image.at<cv::Vec3b>(4, 20) = cv::Vec3b(30, 230, 240);  // no pair explains it
    const cv::Mat marks = qxhost::marksFromTrimap(r.trimap);
    const qxhost::SampledAlpha s = qxhost::sampleAlpha(r.image, r.trimap);
    EXPECT_DOUBLE_EQ(1.0, qxhost::keptShare(s.alpha, marks, s));
    EXPECT_NEAR(0.5, qxhost::keptShare(s.alpha / 2, marks, s), 0.01);
    const cv::Mat allFixed(marks.size(), CV_8UC1, cv::Scalar(qxhost::kMarkCut));  // nothing to compare
    EXPECT_DOUBLE_EQ(1.0, qxhost::keptShare(s.alpha / 2, allFixed, s));
    const cv::Mat fixedMarks = qxhost::fixSampledAlpha(marks, s);
    cv::Mat off;
    cv::absdiff(fixedMarks, s.alpha, off);
    const cv::Mat sure = (r.trimap == 128) & (s.confidence > 0.3f);
    EXPECT_LE(cv::norm(off, cv::NORM_INF, sure), 1);
    EXPECT_EQ(0, cv::countNonZero(((fixedMarks & 1) == 0) & sure));
    EXPECT_EQ(qxhost::kMarkUnknown, fixedMarks.at<unsigned char>(4, 20));
    const cv::Mat rounded = qxhost::trimapRoundingMarks(fixedMarks);
    EXPECT_EQ(255, rounded.at<unsigned char>(2, 12));
    EXPECT_EQ(0, rounded.at<unsigned char>(2, 27));
    EXPECT_EQ(128, rounded.at<unsigned char>(4, 20));
    EXPECT_EQ(qxhost::MatteMethod::Design, qxhost::parseMatteMethod("design"));
    EXPECT_THROW(qxhost::parseMatteMethod("Design"), std::invalid_argument);
}

}  // namespace
