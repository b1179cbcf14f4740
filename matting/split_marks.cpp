#include <stdexcept>

#include "matting/solve_matte.h"

namespace qx {

// Stretches the marks from inLow..inHigh to 0..255 in 8-bit fixed point
// (16320 = 255 * 64, scale factor 6), then marks 0 and 255 as known.
void splitMarks(MatteState& state, GIMG<unsigned char>& work, GIMG<unsigned char>& knownMask,
                GIMG<unsigned char>& foregroundMask) {
    const int width = work.width;
    const int height = work.height;
    const int range = static_cast<int>(state.inHigh) - static_cast<int>(state.inLow);
    if (range < 255) {
        // Equal bounds leave nothing to stretch by; the caller must not pass them.
        if (range == 0) throw std::domain_error("equal input stretch bounds");
        int multiplier = 16320 / range;
        if (multiplier > 255) multiplier = 255;
        ippiSubC_8u_C1IRSfs(state.inLow, work.pixels, work.step, width, height, 0);
        work.status = ippiMulC_8u_C1IRSfs(static_cast<Ipp8u>(multiplier), work.pixels, work.step, width, height, 6);
    }
    knownMask.status = ippiCompareC_8u_C1R(work.pixels, work.step, 0, knownMask.pixels, knownMask.step, width,
                                           height, ippCmpLessEq);
    foregroundMask.status = ippiCompareC_8u_C1R(work.pixels, work.step, 255, foregroundMask.pixels,
                                                foregroundMask.step, width, height, ippCmpGreaterEq);
    knownMask.status = ippiOr_8u_C1IR(foregroundMask.pixels, foregroundMask.step, knownMask.pixels, knownMask.step,
                                      width, height);
}

}  // namespace qx
