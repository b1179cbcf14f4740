// Tone previews: channel gain, YCbCr components and chroma levelling.
#include <gtest/gtest.h>

#include <vector>

#include "qxmatte.h"
#include "utilities/chroma_level.h"

namespace {

using Bytes = std::vector<unsigned char>;

// w x h three-byte image, step padded by 2 bytes (padding 9), every pixel rgb.
Bytes image3(int w, int h, Bytes rgb) {
    Bytes b(h * (3 * w + 2), 9);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c) b[y * (3 * w + 2) + 3 * x + c] = rgb[c];
    return b;
}

TEST(PreviewAutoLevel, GainFromTheStrongestChannelNeverDarkens) {
    const int w = 5, h = 3, step = 17;
    Bytes black = image3(w, h, {0, 0, 0});
    EXPECT_EQ(1, qxPreviewAutoLevel(black.data(), step, w, h, 100.0f));  // n capped at 250
    EXPECT_EQ(image3(w, h, {0, 0, 0}), black);
    Bytes bright = image3(w, h, {120, 30, 5});
    EXPECT_EQ(1, qxPreviewAutoLevel(bright.data(), step, w, h, 100.0f));
    EXPECT_EQ(image3(w, h, {120, 30, 5}), bright);
    // Gain just under 2: n 15, bytes v * 15 / 8 rounded half to even.
    Bytes dim = image3(w, h, {50, 20, 10});
    EXPECT_EQ(1, qxPreviewAutoLevel(dim.data(), step, w, h, 100.0f));
    EXPECT_EQ(image3(w, h, {94, 38, 19}), dim);
    EXPECT_EQ(-1, qxPreviewAutoLevel(dim.data(), step, 0, h, 100.0f));
    EXPECT_EQ(-1, qxPreviewAutoLevel(dim.data(), step, w, -1, 100.0f));
    EXPECT_EQ(-1, qxPreviewAutoLevel(dim.data(), 14, w, h, 100.0f));
}

TEST(YCbCrAutoLevel, ModesAndSizes) {
    const int w = 4, h = 2, step = 14;
    const Bytes grey = image3(w, h, {128, 128, 128});
    Bytes b = grey;
    for (int mode : {5, -1, 1 << 30}) EXPECT_EQ(0, qxRGB2YCbCrAutoLevel(b.data(), step, w, h, mode, 50));
    EXPECT_EQ(0, qxRGB2YCbCrAutoLevel(b.data(), step, 0, h, 1, 50));
    EXPECT_EQ(0, qxRGB2YCbCrAutoLevel(b.data(), step, w, -1, 3, 50));
    EXPECT_EQ(1, qxRGB2YCbCrAutoLevel(b.data(), step, w, h, 0, 1));
    EXPECT_EQ(grey, b);
    // Grey has Cb 128: levelled to 40 the middle moves to 120 (1024 / 120 truncates).
    EXPECT_EQ(1, qxRGB2YCbCrAutoLevel(b.data(), step, w, h, 3, 40));
    EXPECT_EQ(image3(w, h, {120, 120, 120}), b);
    // Without levelling, Cr of grey is shown as it is.
    b = grey;
    EXPECT_EQ(1, qxRGB2YCbCrAutoLevel(b.data(), step, w, h, 4, 1));
    EXPECT_EQ(image3(w, h, {128, 128, 128}), b);
    // Luminance and chroma of a colour come back grey-balanced in all channels.
    for (int mode : {1, 2}) {
        b = image3(w, h, {200, 60, 30});
        EXPECT_EQ(1, qxRGB2YCbCrAutoLevel(b.data(), step, w, h, mode, 0));
        if (mode == 1) EXPECT_TRUE(b[0] == b[1] && b[1] == b[2]) << int(b[0]) << " " << int(b[1]);
        else EXPECT_GT(b[0], b[2]);  // red stays redder than blue
        EXPECT_EQ(9, b[12]);  // padding
    }
}

TEST(ChromaLevel, PlaneBothSidesPairOnlyAbove) {
    // Mean distance 10 and target 22: gain 2, n 16, offset 64.
    Bytes above(6, 138), below(6, 118);
    qx::levelPlane(above.data(), 3, 22, 3, 2);
    qx::levelPlane(below.data(), 3, 22, 3, 2);
    EXPECT_EQ(Bytes(6, 148), above);
    EXPECT_EQ(Bytes(6, 108), below);
    // The pair measures only the excess above mid-grey: Cr decides n, Cb follows.
    Bytes cb(6, 118), cr(6, 138);
    EXPECT_EQ(1, qx::levelChromaPair(cb.data(), cr.data(), 3, 22, 3, 2));
    EXPECT_EQ(Bytes(6, 108), cb);
    EXPECT_EQ(Bytes(6, 148), cr);
    // Below mid-grey only: gain 22, n capped at 120, offset 120 clips both to 0.
    Bytes cb2(6, 118), cr2(6, 118);
    qx::levelChromaPair(cb2.data(), cr2.data(), 3, 22, 3, 2);
    EXPECT_EQ(Bytes(6, 0), cb2);
    // Gain not above 1.12: untouched.
    Bytes flat(6, 148);
    qx::levelPlane(flat.data(), 3, 23, 3, 2);
    EXPECT_EQ(Bytes(6, 148), flat);
}

}  // namespace
