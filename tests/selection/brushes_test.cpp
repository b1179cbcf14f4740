// The hair and colour-range brushes and desaturation, through their exports.
#include <gtest/gtest.h>

#include "primitives/primitives.h"
#include "selection_fixtures.h"

namespace {

using seltest::HostPlanes;

cv::Mat uniform(int width, int height, cv::Vec4b pixel) { return cv::Mat(height, width, CV_8UC4, cv::Scalar(pixel)); }

// A grey image whose level is base + 3 * (kx * x + ky * y).
cv::Mat ramp(int width, int height, int kx, int ky) {
    cv::Mat image(height, width, CV_8UC4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const uchar g = cv::saturate_cast<uchar>(128 + 3 * (kx * (x - 30) + ky * (y - 30)));
            image.at<cv::Vec4b>(y, x) = cv::Vec4b(g, g, g, 9);
        }
    return image;
}

TEST(HairSelect, ExtremesOfTheMeasureBecomeFixedMarks) {
    // Left half the strand colour, right half the backdrop's; pixel bytes run
    // in the reverse order of the colour bytes.
    const unsigned char hair[3] = {200, 180, 40}, backdrop[3] = {20, 60, 90};
    cv::Mat image = uniform(80, 40, cv::Vec4b(40, 180, 200, 0));
    image.colRange(40, 80).setTo(cv::Scalar(90, 60, 20, 0));
    HostPlanes host(image, 0x7E);
    host.job.hairColour = hair;
    host.job.backdropColour = backdrop;
    // A stroke away from the edges is one dot of the brush's diameter: a
    // 5 x 5 rectangle whose 3 x 3 inside is all under the brush.
    EXPECT_EQ(qxHairSelect(&host.job, 20, 15, 20, 15, 2), 1);
    EXPECT_EQ(qxHairSelect(&host.job, 60, 15, 60, 15, 2), 1);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 80; ++x) {
            int expected = 0x7E;
            if (std::abs(x - 20) <= 1 && std::abs(y - 15) <= 1) expected = 0xFF;  // measure 255
            if (std::abs(x - 60) <= 1 && std::abs(y - 15) <= 1) expected = 0x01;  // measure 0
            ASSERT_EQ(host.mask.at<uchar>(y, x), expected) << x << "," << y;
        }

    // A flat patch between the two colours: every inside pixel is its own
    // extreme; the measure 80/180 gives 113, already odd. The outer ring of
    // the rectangle stays, though under the brush.
    HostPlanes flat(uniform(40, 30, cv::Vec4b(100, 100, 100, 0)), 0x7E);
    const unsigned char light[3] = {200, 200, 200}, dark[3] = {20, 20, 20};
    flat.job.hairColour = light;
    flat.job.backdropColour = dark;
    qxHairSelect(&flat.job, 20, 15, 20, 15, 2);
    EXPECT_EQ(cv::countNonZero(flat.mask == 113), 9);
    EXPECT_EQ(flat.mask.at<uchar>(16, 21), 113);
    EXPECT_EQ(flat.mask.at<uchar>(13, 20), 0x7E);

    // An end outside the image, a negative radius or a rectangle under 3
    // pixels a side (no inside to mark) changes nothing.
    QxJob thin = flat.job;
    thin.width = 2;
    for (auto [x, y] : {std::pair{-1, 5}, {40, 5}, {5, -1}, {5, 30}})
        EXPECT_EQ(qxHairSelect(&flat.job, x, y, 10, 10, 2) + qxHairSelect(&flat.job, 10, 10, x, y, 2), 2);
    EXPECT_EQ(qxHairSelect(&flat.job, 5, 5, 5, 5, -1) + qxHairSelect(&thin, 0, 5, 1, 25, 3), 2);
    EXPECT_EQ(cv::countNonZero(flat.mask != 0x7E), 9);
}

TEST(HairSelect, SampleSetLeansLeftInTheRowBelow) {
    // White strands on black: the measure is the grey level. A dot of radius
    // 10 at (30, 30). On a ramp rising to the right and down every pixel is a
    // maximum of its seven samples; on a ramp rising to the right only none
    // is an extreme (the full 3 x 3 neighbourhood would give none either way).
    const unsigned char white[3] = {255, 255, 255}, black[3] = {0, 0, 0};
    auto marked = [&](int kx, int ky) {
        HostPlanes host(ramp(60, 60, kx, ky), 0x7E);
        host.job.hairColour = white;
        host.job.backdropColour = black;
        qxHairSelect(&host.job, 30, 30, 30, 30, 10);
        return host.mask.clone();
    };
    // Only pixels whose seven samples all lie under the brush (within 7 of
    // the centre); the others also see the marks around the dot.
    const cv::Mat diagonal = marked(1, 1), across = marked(1, 0), down = marked(0, 1);
    for (int y = 21; y <= 39; ++y)
        for (int x = 21; x <= 39; ++x) {
            if ((x - 30) * (x - 30) + (y - 30) * (y - 30) > 49) continue;
            EXPECT_EQ(diagonal.at<uchar>(y, x) & 1, 1) << x << "," << y;
            EXPECT_EQ(across.at<uchar>(y, x), 0x7E) << x << "," << y;
            EXPECT_EQ(down.at<uchar>(y, x), 0x7E) << x << "," << y;
        }
    EXPECT_EQ(diagonal.at<uchar>(30, 30), 128 + 1);
    EXPECT_EQ(diagonal.at<uchar>(21, 21), 0x7E);  // corner: outside the dot
    EXPECT_EQ(diagonal.at<uchar>(20, 30), 0x7E);  // the rectangle's outer ring
}

TEST(ColorRangeSelect, StrictToleranceUnderTheBrushOnly) {
    // Pixel bytes (10, 20, 30) match the colour {30, 20, 10}; the next
    // column is one off in one byte.
    cv::Mat image = uniform(30, 20, cv::Vec4b(10, 20, 30, 0));
    image.colRange(15, 30).setTo(cv::Scalar(10, 20, 31, 0));
    const unsigned char colour[3] = {30, 20, 10};
    auto select = [&](int tolerance, int keep, unsigned char start) {
        HostPlanes host(image, start);
        host.mask.at<uchar>(10, 12) = 0x01;  // fixed marks stay
        host.mask.at<uchar>(10, 13) = 0xFF;
        EXPECT_EQ(qxColorRangeSelect(&host.job, 3, 10, 26, 10, 1, colour, tolerance, keep), 1);
        return host.mask.clone();
    };
    EXPECT_EQ(cv::countNonZero(select(0, 1, 0x7E) != 0x7E), 2);  // 0: nothing, not even the colour
    const cv::Mat exact = select(1, 1, 0x7E);
    EXPECT_EQ(exact.at<uchar>(10, 3), 0xFF);
    EXPECT_EQ(exact.at<uchar>(9, 14), 0xFF);
    EXPECT_EQ(exact.at<uchar>(10, 15), 0x7E);  // one off
    EXPECT_EQ(exact.at<uchar>(12, 5), 0x7E);   // beside the brush
    EXPECT_EQ(exact.at<uchar>(10, 12), 0x01);
    EXPECT_EQ(exact.at<uchar>(10, 13), 0xFF);
    const cv::Mat cut = select(2, 0, 0x80);
    for (int y = 7; y <= 13; ++y)
        for (int x = 0; x < 30; ++x) {
            // A 3-wide brush from column 3 to 26, its ends one pixel longer.
            int expected = y >= 9 && y <= 11 && x >= 2 && x <= 27 ? 0x01 : 0x80;
            if (y == 10 && x == 13) expected = 0xFF;
            EXPECT_EQ(cut.at<uchar>(y, x), expected) << x << "," << y;
        }

    // Ends a billion pixels off the image mark what near ends on the same
    // line do (a row and a diagonal, whose slopes clipping keeps exactly).
    for (const int far : {-2147483647, 2000000000}) {
        const int near = far < 0 ? -40 : 70;
        HostPlanes a(image, 0x7E), b(image, 0x7E);
        qxColorRangeSelect(&a.job, far, 10, 5, 10, 2, colour, 2, 1);
        qxColorRangeSelect(&a.job, 5, 5, far, far, 1, colour, 2, 0);
        qxColorRangeSelect(&b.job, near, 10, 5, 10, 2, colour, 2, 1);
        qxColorRangeSelect(&b.job, 5, 5, near, near, 1, colour, 2, 0);
        EXPECT_EQ(cv::countNonZero(a.mask != b.mask), 0) << far;
        EXPECT_GT(cv::countNonZero(a.mask != 0x7E), 40) << far;
    }

    // Ends far off the image, a negative radius or no width mark nothing; a
    // 1 x 1 image takes the mark in its one pixel.
    HostPlanes host(image, 0x7E);
    QxJob none = host.job, less = host.job, one = host.job;
    none.width = 0, less.width = -1, one.width = one.height = 1;
    qxColorRangeSelect(&host.job, 100, 100, 200, 200, 3, colour, 50, 1);
    qxColorRangeSelect(&host.job, 3, 5, 20, 12, -1, colour, 50, 1);
    for (QxJob* job : {&none, &less}) EXPECT_EQ(qxColorRangeSelect(job, 0, 0, 0, 0, 1, colour, 50, 1), 1);
    EXPECT_EQ(cv::countNonZero(host.mask != 0x7E), 0);
    EXPECT_EQ(qxColorRangeSelect(&one, 0, 0, 0, 0, 4, colour, 1, 1), 1);
    EXPECT_EQ(host.mask.at<uchar>(0, 0), 0xFF);
    EXPECT_EQ(cv::countNonZero(host.mask != 0x7E), 1);
}

// Saturation byte (HLS) of a 4-byte pixel.
int saturation(cv::Vec4b pixel) {
    cv::Vec4b hls;
    qx::ippiRGBToHLS_8u_AC4R(pixel.val, 4, hls.val, 4, 1, 1);
    return hls[2];
}

TEST(Desaturation, AlphaToTheFourthScalesTheSaturation) {
    const cv::Vec4b orange(30, 140, 230, 77);
    cv::Mat pixels = uniform(6, 2, orange);
    const cv::Mat alpha = (cv::Mat_<uchar>(2, 6) << 0x00, 0x80, 0xFE, 0xFF, 0x01, 0x81,  //
                           0x00, 0x00, 0x00, 0x00, 0x00, 0x00);
    ASSERT_EQ(qxDesaturation(pixels.data, static_cast<int>(pixels.step), 6, 2, alpha.data,
                             static_cast<int>(alpha.step), 1.0f), 1);
    const int s = saturation(orange);
    for (int x = 0; x < 6; ++x) EXPECT_EQ(pixels.at<cv::Vec4b>(0, x)[3], 77);  // byte 3 stays
    const cv::Vec4b grey = pixels.at<cv::Vec4b>(0, 0);                         // alpha 0, amount 1
    EXPECT_TRUE(grey[0] == grey[1] && grey[1] == grey[2]);
    EXPECT_NEAR(saturation(pixels.at<cv::Vec4b>(0, 1)), int(0.0635f * s), 1);  // (128/255)^4
    EXPECT_NEAR(saturation(pixels.at<cv::Vec4b>(0, 2)), int(0.9844f * s), 1);
    for (int x : {3, 4, 5}) EXPECT_EQ(pixels.at<cv::Vec4b>(0, x), orange) << x;  // fixed: untouched

    // amount 0: only the colour round trip; a refused size changes nothing.
    cv::Mat kept = uniform(6, 2, orange);
    qxDesaturation(kept.data, static_cast<int>(kept.step), 6, 2, alpha.data, static_cast<int>(alpha.step), 0.0f);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(kept.at<cv::Vec4b>(1, 0)[c], orange[c], 2);
    cv::Mat untouched = uniform(6, 2, orange);
    for (int size : {-1, 0}) {
        EXPECT_EQ(qxDesaturation(untouched.data, 24, size, 2, alpha.data, 6, 1.0f), 1);
        EXPECT_EQ(qxDesaturation(untouched.data, 24, 6, size, alpha.data, 6, 1.0f), 1);
    }
    EXPECT_EQ(qxDesaturation(untouched.data, 20, 6, 2, alpha.data, 6, 1.0f), 1);  // step too short
    EXPECT_EQ(cv::countNonZero(untouched.reshape(1) != uniform(6, 2, orange).reshape(1)), 0);
    qxDesaturation(untouched.data, 24, 1, 1, alpha.data, 6, 1.0f);  // one pixel
    EXPECT_EQ(saturation(untouched.at<cv::Vec4b>(0, 0)), 0);
}

}  // namespace
