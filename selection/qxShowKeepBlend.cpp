// Export: mix a second four-byte image into the display image, colour bytes
// only, in single precision with truncation.
#include <cstddef>

#include "frame/export_frame.h"
#include "qxmatte.h"

namespace {

// Truncation toward zero, then the low byte: amounts outside 0 to 1 wrap
// rather than saturate. Values beyond the int range (or NaN) store 0 instead of
// converting out of range.
inline unsigned char truncatedByte(float v) {
    if (!(v > -2147483648.0f && v < 2147483648.0f)) return 0;
    return static_cast<unsigned char>(static_cast<int>(v) & 0xFF);
}

}  // namespace

QX_EXPORT void qxShowKeepBlend(unsigned char* pixels, int step, int width, int height, const unsigned char* other,
                               int otherStep, int otherWidth, int otherHeight, float amount) {
    if (!pixels || !other || width < 1 || height < 1 || step / 4 < width || otherStep / 4 < width) return;
    if (otherWidth < width || otherHeight < height) return;
    const float keep = 1.0f - amount;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        unsigned char* p = pixels + static_cast<std::ptrdiff_t>(y) * step;
        const unsigned char* o = other + static_cast<std::ptrdiff_t>(y) * otherStep;
        for (int x = 0; x < width; ++x, p += 4, o += 4)
            for (int c = 0; c < 3; ++c) p[c] = truncatedByte(p[c] * keep + o[c] * amount);
    }
}
