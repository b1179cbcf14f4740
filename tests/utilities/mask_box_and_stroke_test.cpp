// Bounding box of marks and pen strokes, with worked numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "qxmatte.h"

namespace {

struct Box {
    int x = 77, w = 77, y = 77, h = 77, keep = 77, cut = 77;
};

Box bbox8(const std::vector<unsigned char>& m, int step, int width, int height, int keep = 255, int cut = 1) {
    Box b;
    EXPECT_EQ(1, qxMaskBBox(0, m.data(), step, width, height, &b.x, &b.w, &b.y, &b.h, &b.keep, &b.cut, 0, keep,
                            cut));
    return b;
}

void expectEmpty(const Box& b) {
    EXPECT_EQ(0, b.x + b.w + b.y + b.h);
    EXPECT_EQ(0, b.x | b.w | b.y | b.h);
    EXPECT_EQ(-1, b.keep);
    EXPECT_EQ(-1, b.cut);
}

TEST(MaskBBox, SinglePixelGetsTheMargin) {
    const int w = 300, h = 200, step = 304;
    std::vector<unsigned char> m(h * step, 255);
    m[100 * step + 100] = 128;
    m[95 * step + 90] = 1;    // cut inside the box
    m[150 * step + 150] = 1;  // cut outside it
    Box b = bbox8(m, step, w, h);
    EXPECT_EQ(88, b.x);
    EXPECT_EQ(25, b.w);
    EXPECT_EQ(88, b.y);
    EXPECT_EQ(25, b.h);
    EXPECT_EQ(625 - 2, b.keep);
    EXPECT_EQ(1, b.cut);

    // Near the left edge the box may be narrower than 24 columns.
    m[100 * step + 100] = 255;
    m[100 * step + 5] = 7;
    b = bbox8(m, step, w, h);
    EXPECT_EQ(0, b.x);
    EXPECT_EQ(18, b.w);
    EXPECT_EQ(25, b.h);

    // Marks at the top and bottom rows: the box is clamped to the image.
    m[100 * step + 5] = 255;
    m[10 * step + 40] = m[190 * step + 60] = 0;
    b = bbox8(m, step, w, h);
    EXPECT_EQ(0, b.y);
    EXPECT_EQ(200, b.h);
    EXPECT_EQ(28, b.x);
    EXPECT_EQ(45, b.w);
}

TEST(MaskBBox, TooLowABoxOrNoMarksGivesZeros) {
    const int w = 64, h = 64;
    std::vector<unsigned char> m(w * h, 1);
    for (int i = 0; i < w * h; i += 3) m[i] = 255;
    expectEmpty(bbox8(m, w, w, h));  // only keep and cut
    m[5 * w + 5] = 100;              // rows 0..17 only: 18 < 24
    expectEmpty(bbox8(m, w, w, h));

    // With one count pointer null, neither count is written, the box still is.
    m[5 * w + 5] = 1;
    m[30 * w + 30] = 9;
    Box b;
    qxMaskBBox(0, m.data(), w, w, h, &b.x, &b.w, &b.y, &b.h, &b.keep, nullptr, 0, 255, 1);
    EXPECT_EQ(18, b.x);
    EXPECT_EQ(25, b.w);
    EXPECT_EQ(77, b.keep);
}

TEST(MaskBBox, SixteenBitThresholds) {
    const int w = 120, h = 100, step = 2 * w + 6;  // step in bytes, padded
    std::vector<unsigned char> bytes(h * step);
    auto at = [&](int x, int y) -> uint16_t& { return reinterpret_cast<uint16_t*>(&bytes[y * step])[x]; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) at(x, y) = 30000;
    at(50, 60) = 25599;  // just below keep 200 * 128: marked
    at(60, 70) = 1281;   // just above cut 10 * 128: marked
    at(55, 65) = 1280;   // background (cut)
    at(10, 10) = 25600;  // background (keep)
    Box b;
    EXPECT_EQ(1, qxMaskBBox(1, bytes.data(), step, w, h, &b.x, &b.w, &b.y, &b.h, &b.keep, &b.cut, 0, 200, 10));
    EXPECT_EQ(38, b.x);
    EXPECT_EQ(35, b.w);
    EXPECT_EQ(48, b.y);
    EXPECT_EQ(35, b.h);
    EXPECT_EQ(35 * 35 - 3, b.keep);
    EXPECT_EQ(1, b.cut);
}

int valueAt(const std::vector<unsigned char>& m, int step, int x, int y) { return m[y * step + x]; }

TEST(DrawLine, PenValueOfEachMode) {
    const int w = 40, h = 20, step = 48;
    const struct {
        int mode, value, pen;
    } cases[] = {{0, 9, 1}, {1, 9, 255}, {2, 9, 0x7E}, {3, 200, 201}, {3, 0x1FF, 255}, {7, 200, 0}, {0x101, 0, 255}};
    for (const auto& c : cases) {
        std::vector<unsigned char> m(h * step, 50);
        EXPECT_EQ(1, qxDrawLine8u(m.data(), step, w, h, 5, 10, 30, 10, 0, c.mode, c.value));
        EXPECT_EQ(c.pen, valueAt(m, step, 20, 10)) << "mode " << c.mode;
        EXPECT_EQ(50, valueAt(m, step, 20, 9));
    }
}

TEST(DrawLine, ThicknessAndClipping) {
    const int w = 60, h = 40, step = 64;
    std::vector<unsigned char> m(h * step, 0);
    qxDrawLine8u(m.data(), step, w, h, 10, 20, 50, 20, 0, 1, 0);  // radius 0: one row
    for (int y = 15; y <= 25; ++y) EXPECT_EQ(y == 20 ? 255 : 0, valueAt(m, step, 30, y)) << y;

    // Radius r is an 8-connected line of thickness 2r + 1.
    std::vector<unsigned char> expected(h * step, 0);
    cv::Mat e(h, w, CV_8UC1, expected.data(), step);
    cv::line(e, {12, 7}, {47, 31}, cv::Scalar(255), 5, cv::LINE_8);
    std::fill(m.begin(), m.end(), 0);
    qxDrawLine8u(m.data(), step, w, h, 12, 7, 47, 31, 2, 1, 0);
    EXPECT_EQ(expected, m);

    // A stroke running off the mask is clipped: the row padding stays clean.
    std::vector<unsigned char> c(h * step, 0);
    qxDrawLine8u(c.data(), step, w, h, -20, 5, 100, 5, 3, 2, 0);
    EXPECT_EQ(0x7E, valueAt(c, step, 0, 5));
    EXPECT_EQ(0x7E, valueAt(c, step, w - 1, 5));
    for (int y = 0; y < h; ++y)
        for (int x = w; x < step; ++x) ASSERT_EQ(0, valueAt(c, step, x, y));
}

}  // namespace
