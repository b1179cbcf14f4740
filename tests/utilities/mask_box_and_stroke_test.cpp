// Bounding box of marks and pen strokes, with worked numbers, and their front
// door: negative sizes, short steps, missing buffers and impossible pens are
// refused with 0 and nothing written; an empty mask has nothing marked and
// nothing to draw on.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "qxmatte.h"

namespace {

using Ints = std::vector<int>;
using Bytes = std::vector<unsigned char>;

// x, width, y, height, keep count, cut count; 77 marks "not written".
Ints bbox(int depth, const Bytes& m, int step, int width, int height, int keep = 255, int cut = 1) {
    Ints r(6, 77);
    EXPECT_EQ(1, qxMaskBBox(depth, m.data(), step, width, height, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], 0, keep,
                            cut));
    return r;
}

const Ints kEmpty = {0, 0, 0, 0, -1, -1};

TEST(MaskBBox, MarginAndClampingAroundMarks) {
    const int w = 300, h = 200, step = 304;
    Bytes m(h * step, 255);
    m[100 * step + 100] = 128;
    m[95 * step + 90] = 1;    // cut inside the box
    m[150 * step + 150] = 1;  // cut outside it
    EXPECT_EQ(bbox(0, m, step, w, h), (Ints{88, 25, 88, 25, 625 - 2, 1}));
    // Near the left edge the box may be narrower than 24 columns.
    m[100 * step + 100] = 255;
    m[100 * step + 5] = 7;
    EXPECT_EQ(bbox(0, m, step, w, h), (Ints{0, 18, 88, 25, 18 * 25 - 1, 0}));
    // Marks at the top and bottom rows: the box is clamped to the image.
    m[100 * step + 5] = 255;
    m[10 * step + 40] = m[190 * step + 60] = 0;
    const Ints b = bbox(0, m, step, w, h);
    EXPECT_EQ(Ints(b.begin(), b.begin() + 4), (Ints{28, 45, 0, 200}));
}

TEST(MaskBBox, TooLowABoxOrNoMarksGivesZeros) {
    const int w = 64, h = 64;
    Bytes m(w * h, 1);
    for (int i = 0; i < w * h; i += 3) m[i] = 255;
    EXPECT_EQ(bbox(0, m, w, w, h), kEmpty);  // only keep and cut
    m[5 * w + 5] = 100;                      // rows 0..17 only: 18 < 24
    EXPECT_EQ(bbox(0, m, w, w, h), kEmpty);
    // With one count pointer null, neither count is written; the box still is.
    m[5 * w + 5] = 1;
    m[30 * w + 30] = 9;
    Ints r(6, 77);
    qxMaskBBox(0, m.data(), w, w, h, &r[0], &r[1], &r[2], &r[3], &r[4], nullptr, 0, 255, 1);
    EXPECT_EQ(r, (Ints{18, 25, 18, 25, 77, 77}));
}

TEST(MaskBBox, SixteenBitThresholds) {
    const int w = 120, h = 100, step = 2 * w + 6;  // step in bytes, padded
    Bytes bytes(h * step);
    auto at = [&](int x, int y) -> uint16_t& { return reinterpret_cast<uint16_t*>(&bytes[y * step])[x]; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) at(x, y) = 30000;
    at(50, 60) = 25599;  // just below keep 200 * 128: marked
    at(60, 70) = 1281;   // just above cut 10 * 128: marked
    at(55, 65) = 1280;   // background (cut)
    at(10, 10) = 25600;  // background (keep)
    EXPECT_EQ(bbox(1, bytes, step, w, h, 200, 10), (Ints{38, 35, 48, 35, 35 * 35 - 3, 1}));
}

TEST(DrawLine, PenValueOfEachMode) {
    const int w = 40, h = 20, step = 48;
    const Ints cases[] = {{0, 9, 1}, {1, 9, 255}, {2, 9, 0x7E}, {3, 200, 201}, {3, 0x1FF, 255}, {7, 200, 0},
                          {0x101, 0, 255}};  // mode, value, pen
    for (const auto& c : cases) {
        Bytes m(h * step, 50);
        EXPECT_EQ(1, qxDrawLine8u(m.data(), step, w, h, 5, 10, 30, 10, 0, c[0], c[1]));
        EXPECT_EQ(c[2], m[10 * step + 20]) << "mode " << c[0];
        EXPECT_EQ(50, m[9 * step + 20]);
    }
}

TEST(DrawLine, ThicknessAndClipping) {
    // Radius r is an 8-connected line of thickness 2r + 1 (radius 0 a plain
    // line), clipped to the mask: the row padding stays clean.
    const int w = 60, h = 40, step = 64;
    for (const auto& s : {std::array<int, 5>{12, 7, 47, 31, 2}, {-20, 5, 100, 5, 3}, {10, 20, 50, 20, 0}}) {
        Bytes m(h * step, 0), expected(h * step, 0);
        cv::line(cv::Mat(h, w, CV_8UC1, expected.data(), step), {s[0], s[1]}, {s[2], s[3]}, cv::Scalar(255),
                 2 * s[4] + 1, cv::LINE_8);
        qxDrawLine8u(m.data(), step, w, h, s[0], s[1], s[2], s[3], s[4], 1, 0);
        EXPECT_EQ(expected, m) << "radius " << s[4];
    }

    // An end far off the canvas paints what a near end on the same line does
    // (vertical and diagonal strokes, where moving the end changes nothing).
    for (const int far : {-2147483647, -2000000, 2147483000}) {
        Bytes a(h * step, 0), b(h * step, 0);
        qxDrawLine8u(a.data(), step, w, h, 30, 20, 30, far, 2, 1, 0);
        qxDrawLine8u(b.data(), step, w, h, 30, 20, 30, far < 0 ? -50 : 90, 2, 1, 0);
        EXPECT_EQ(b, a) << far;
        qxDrawLine8u(a.data(), step, w, h, 10, 10, far, far, 1, 0, 0);
        qxDrawLine8u(b.data(), step, w, h, 10, 10, far < 0 ? -90 : 90, far < 0 ? -90 : 90, 1, 0, 0);
        EXPECT_EQ(b, a) << far;
    }
}

TEST(MaskToolArguments, BadSizesStepsBuffersAndPensWriteNothing) {
    Bytes mask(40 * 40, 255);
    mask[0] = 128;  // a mark at (0, 0)
    for (int w : {-1, 0, 1})
        for (int h : {-1, 0, 1}) {
            SCOPED_TRACE(testing::Message() << w << "x" << h);
            const bool bad = w < 0 || h < 0;
            // Refused: nothing written. Else 1 row of marks is under 24: the empty box.
            Ints r(6, 77);
            EXPECT_EQ(qxMaskBBox(0, mask.data(), 40, w, h, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], 0, 255, 1),
                      bad ? 0 : 1);
            EXPECT_EQ(r, bad ? Ints(6, 77) : kEmpty);
            // A 1 x 1 mask takes the pen in its single pixel, nothing beyond it.
            Bytes canvas(9, 0), expected(9, 0);
            expected[0] = w == 1 && h == 1 ? 255 : 0;
            EXPECT_EQ(qxDrawLine8u(canvas.data(), 3, w, h, 0, 0, 2, 2, 1, 1, 0), bad ? 0 : 1);
            EXPECT_EQ(canvas, expected);
        }
    int r[6] = {77, 77, 77, 77, 77, 77};
    EXPECT_EQ(qxMaskBBox(0, mask.data(), 39, 40, 40, &r[0], &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(qxMaskBBox(1, mask.data(), 60, 40, 20, &r[0], &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(qxMaskBBox(0, nullptr, 40, 40, 40, &r[0], &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(qxMaskBBox(0, mask.data(), 40, 40, 40, nullptr, &r[1], &r[2], &r[3], nullptr, nullptr, 0, 255, 1), 0);
    EXPECT_EQ(r[0], 77);
    const Bytes before = mask;
    EXPECT_EQ(qxDrawLine8u(mask.data(), 39, 40, 40, 0, 0, 30, 30, 2, 0, 0), 0);
    EXPECT_EQ(qxDrawLine8u(nullptr, 40, 40, 40, 0, 0, 30, 30, 2, 0, 0), 0);
    EXPECT_EQ(qxDrawLine8u(mask.data(), 40, 40, 40, 0, 0, 30, 30, -1, 0, 0), 0);
    EXPECT_EQ(qxDrawLine8u(mask.data(), 40, 40, 40, 0, 0, 30, 30, 0x40000000, 0, 0), 0);
    EXPECT_EQ(mask, before);
    EXPECT_EQ(qxDrawLine8u(mask.data(), 40, 40, 40, 0, 0, 30, 30, 16383, 0, 0), 1);  // the widest pen
    EXPECT_EQ(mask, Bytes(40 * 40, 1));
}

}  // namespace
