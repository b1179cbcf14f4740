#include "matting/solve_matte.h"

namespace qx {

namespace {

unsigned char* inset(GIMG<unsigned char>& image, int margin) {
    return image.row(margin) + margin;
}

}  // namespace

// out = blur + gain * (m - blur) in saturating 8-bit steps, with the gain
// from 4 in flat regions down to 1 at strong edges (local contrast 255).
void sharpenAlpha(MatteState& state, GIMG<unsigned char>& work) {
    GIMG<unsigned char>& m = work;
    const int width = m.width;
    const int height = m.height;
    GIMG<unsigned char> blur(width, height);
    GIMG<unsigned char> low(width, height);
    GIMG<unsigned char> high(width, height);

    // 5x5 smoothing inside a two-pixel frame that stays unfiltered.
    if (width > 4 && height > 4)
        blur.status = ippiFilterGauss_8u_C1R(inset(m, 2), m.step, inset(blur, 2), blur.step, width - 4, height - 4,
                                             ippMskSize5x5);
    copyImageBorder(m, blur, 2, 2);

    // Local contrast: 3x3 dilation minus 3x3 erosion; the one-pixel frame has 0.
    if (width > 2 && height > 2) {
        low.status = ippiErode3x3_8u_C1R(inset(m, 1), m.step, inset(low, 1), low.step, width - 2, height - 2);
        high.status = ippiDilate3x3_8u_C1R(inset(m, 1), m.step, inset(high, 1), high.step, width - 2, height - 2);
    }
    copyImageBorder(m, low, 1, 1);
    copyImageBorder(m, high, 1, 1);
    ippiSub_8u_C1IRSfs(low.pixels, low.step, high.pixels, high.step, width, height, 0);
    ippiSet_8u_C1R(255, low.pixels, low.step, width, height);
    ippiSub_8u_C1IRSfs(high.pixels, high.step, low.pixels, low.step, width, height, 0);

    // Gain in 1/64 units: 64 + (255 - contrast) * gainByte / 256.
    int gainByte = static_cast<int>(state.sharpenGain * 64.0);
    if (gainByte > 255) gainByte = 255;
    ippiMulC_8u_C1IRSfs(static_cast<Ipp8u>(gainByte), low.pixels, low.step, width, height, 8);
    ippiAddC_8u_C1IRSfs(64, low.pixels, low.step, width, height, 0);

    // The parts below and above the blur, each amplified by the gain.
    ippiSub_8u_C1RSfs(m.pixels, m.step, blur.pixels, blur.step, high.pixels, high.step, width, height, 0);
    ippiMul_8u_C1IRSfs(low.pixels, low.step, high.pixels, high.step, width, height, 6);
    ippiSub_8u_C1IRSfs(blur.pixels, blur.step, m.pixels, m.step, width, height, 0);
    ippiMul_8u_C1IRSfs(low.pixels, low.step, m.pixels, m.step, width, height, 6);
    ippiAdd_8u_C1IRSfs(m.pixels, m.step, blur.pixels, blur.step, width, height, 0);
    ippiSub_8u_C1IRSfs(high.pixels, high.step, blur.pixels, blur.step, width, height, 0);
    copyImage(blur, m);
}

}  // namespace qx
