// Colour conversions: video colour space in fixed point, hue/lightness/saturation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "primitives/primitives.h"

using namespace qx;

TEST(ColourYCbCr, WorkedColoursAndNearInverse) {
    // Studio range: black (16, 128, 128), white (235, 128, 128); the primaries
    // round their exact values (81.5, 90.3, 239.9 for red) to nearest. Then
    // every 15th level of each channel: 18^3 colours, enough for the
    // row-parallel path, come back within 2 levels.
    std::vector<Ipp8u> rgb = {0, 0, 0, 255, 255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 255, 200, 150, 100};
    const int want[6][3] = {{16, 128, 128}, {235, 128, 128}, {82, 90, 240}, {145, 54, 34}, {41, 240, 110},
                            {153, 99, 153}};
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 15)
            for (int b = 0; b < 256; b += 15) rgb.insert(rgb.end(), {Ipp8u(r), Ipp8u(g), Ipp8u(b)});
    const int w = int(rgb.size() / 3) / 6, h = 6;
    ASSERT_EQ(rgb.size(), size_t(3 * w * h));
    std::vector<Ipp8u> Y(w * h), Cb(w * h), Cr(w * h), back(3 * w * h);
    Ipp8u* planes[3] = {Y.data(), Cb.data(), Cr.data()};
    ASSERT_EQ(0, ippiRGBToYCbCr_8u_C3P3R(rgb.data(), 3 * w, planes, w, w, h));
    ASSERT_EQ(0, ippiYCbCrToRGB_8u_P3C3R(planes, w, back.data(), 3 * w, w, h));
    for (int i = 0; i < 6; ++i)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(want[i][c], planes[c][i]) << i << " " << c;
    for (int i = 0; i < 3 * w * h; ++i) ASSERT_LE(std::abs(back[i] - rgb[i]), 2) << i;
}

TEST(ColourHLS, WorkedValuesAndRoundTrip) {
    // Red, green, blue, grey, a brown, then a colour grid; byte 3 of the
    // destination must keep its marker.
    std::vector<Ipp8u> src = {255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255, 0, 128, 128, 128, 0, 200, 150, 100, 0};
    for (int r = 0; r < 256; r += 17)
        for (int g = 0; g < 256; g += 17)
            for (int b = 0; b < 256; b += 17) src.insert(src.end(), {Ipp8u(r), Ipp8u(g), Ipp8u(b), 0});
    const int n = static_cast<int>(src.size() / 4);
    std::vector<Ipp8u> hls(src.size(), 77), back(src.size(), 66);
    ASSERT_EQ(0, ippiRGBToHLS_8u_AC4R(src.data(), 4 * n, hls.data(), 4 * n, n, 1));
    ASSERT_EQ(0, ippiHLSToRGB_8u_AC4R(hls.data(), 4 * n, back.data(), 4 * n, n, 1));
    // Hues 0, 120, 240 degrees -> 0, 85, 170. Brown: H = 30 deg -> 21.25,
    // L = 150, S = 100 / (510 - 300) -> 121.4.
    const int want[5][3] = {{0, 128, 255}, {85, 128, 255}, {170, 128, 255}, {0, 128, 0}, {21, 150, 121}};
    for (int i = 0; i < 5; ++i)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(want[i][c], hls[4 * i + c]) << i;
    EXPECT_EQ(128, back[12]);  // saturation 0 gives the grey itself
    // The hue byte has steps of 1.41 degrees, worth up to 3 levels on a fully
    // saturated ramp; less saturated colours come back closer.
    for (int i = 0; i < n; ++i) {
        const Ipp8u* p = &src[4 * i];
        const int chroma = std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]});
        for (int c = 0; c < 3; ++c) ASSERT_NEAR(p[c], back[4 * i + c], i < 5 || chroma < 64 ? 2 : 4) << i;
        ASSERT_EQ(77, hls[4 * i + 3]);
        ASSERT_EQ(66, back[4 * i + 3]);
    }
}
