// Hue, lightness, saturation of four-byte pixels (bytes 0, 1, 2 = R, G, B;
// byte 3 is never touched). The model is the usual double hexcone, computed in
// single precision on values scaled to 0..1:
//   L = (max + min) / 2;  S = (max - min) / (max + min) for L <= 1/2,
//   (max - min) / (2 - max - min) above;  H in degrees 0..360.
// Stored as H * 255 / 360, L * 255, S * 255, each rounded to nearest.
#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr long long kParallelPixels = 4097;

inline Ipp8u toByte(float v) {
    if (v <= 0.0f) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<Ipp8u>(static_cast<int>(v + 0.5f));
}

void rgbToHlsRow(const Ipp8u* s, Ipp8u* d, int w) {
    for (int x = 0; x < w; ++x, s += 4, d += 4) {
        const float r = s[0] / 255.0f, g = s[1] / 255.0f, b = s[2] / 255.0f;
        const float mx = r > g ? (r > b ? r : b) : (g > b ? g : b);
        const float mn = r < g ? (r < b ? r : b) : (g < b ? g : b);
        const float l = (mx + mn) * 0.5f;
        float hue = 0.0f, sat = 0.0f;
        if (mx != mn) {
            const float delta = mx - mn;
            sat = l <= 0.5f ? delta / (mx + mn) : delta / (2.0f - mx - mn);
            // Sector by the largest channel; (g - b) / delta equals the usual
            // (mx - b) / delta - (mx - g) / delta, and likewise for the others.
            if (r == mx) {
                hue = (g - b) / delta;
            } else if (g == mx) {
                hue = 2.0f + (b - r) / delta;
            } else {
                hue = 4.0f + (r - g) / delta;
            }
            hue *= 60.0f;
            if (hue < 0.0f) hue += 360.0f;
        }
        d[0] = toByte(hue * 255.0f / 360.0f);
        d[1] = toByte(l * 255.0f);
        d[2] = toByte(sat * 255.0f);
    }
}

// One channel of the inverse: hue h in degrees relative to the channel.
inline float hueChannel(float m1, float m2, float h) {
    if (h < 0.0f) h += 360.0f;
    if (h >= 360.0f) h -= 360.0f;
    if (h < 60.0f) return m1 + (m2 - m1) * h / 60.0f;
    if (h < 180.0f) return m2;
    if (h < 240.0f) return m1 + (m2 - m1) * (240.0f - h) / 60.0f;
    return m1;
}

void hlsToRgbRow(const Ipp8u* s, Ipp8u* d, int w) {
    for (int x = 0; x < w; ++x, s += 4, d += 4) {
        const float hue = s[0] * 360.0f / 255.0f, l = s[1] / 255.0f, sat = s[2] / 255.0f;
        float r, g, b;
        if (sat == 0.0f) {
            r = g = b = l;  // no saturation: grey of the lightness
        } else {
            const float m2 = l <= 0.5f ? l * (1.0f + sat) : l + sat - l * sat;
            const float m1 = 2.0f * l - m2;
            r = hueChannel(m1, m2, hue + 120.0f);
            g = hueChannel(m1, m2, hue);
            b = hueChannel(m1, m2, hue - 120.0f);
        }
        d[0] = toByte(r * 255.0f);
        d[1] = toByte(g * 255.0f);
        d[2] = toByte(b * 255.0f);
    }
}

}  // namespace

IppStatus ippiRGBToHLS_8u_AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    const IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 4, w, h);
    if (st != ippStsNoErr) return st;
#pragma omp parallel for schedule(static) if (static_cast<long long>(w) * h >= kParallelPixels)
    for (int y = 0; y < h; ++y) rgbToHlsRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), w);
    return ippStsNoErr;
}

IppStatus ippiHLSToRGB_8u_AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    const IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 4, w, h);
    if (st != ippStsNoErr) return st;
#pragma omp parallel for schedule(static) if (static_cast<long long>(w) * h >= kParallelPixels)
    for (int y = 0; y < h; ++y) hlsToRgbRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), w);
    return ippStsNoErr;
}

}  // namespace qx
