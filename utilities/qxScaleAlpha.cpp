// Export: contrast stretch of an alpha plane, [low, high] to [0, 255], on the
// 5-bit fixed-point scale of the multiplication. The protected form keeps the
// fixed (odd) marks and keeps soft values even.
#include <vector>

#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "qxmatte.h"

namespace qx {
namespace {

// Saved odd values come back; scaled values where the saved one was even lose
// bit 0, so they stay soft.
void keepFixedMarks(const unsigned char* saved, int width, GIMG<unsigned char>& image) {
#pragma omp parallel for schedule(static)
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* s = saved + static_cast<std::ptrdiff_t>(y) * width;
        unsigned char* d = image.row(y);
        for (int x = 0; x < image.width; ++x) d[x] = (s[x] & 1) ? s[x] : static_cast<unsigned char>(d[x] & 0xFE);
    }
}

}  // namespace
}  // namespace qx

using namespace qx;

QX_EXPORT int qxScaleAlpha(unsigned char* pixels, int step, int width, int height, int high, int low,
                           int protectHard) {
    if (!pixels || width < 1 || height < 1 || step < width) return -1;
    const int lowByte = low & 0xFF;
    const int span = (high & 0xFF) - lowByte;
    if (span == 255) return 1;
    if (span == 0) return -1;  // nothing to stretch from; the factor would divide by zero
    int factor = 8160 / span;  // 255 * 32 / span, truncated
    if (factor > 255) factor = 255;
    // A negative span gives a negative factor, of which the low byte counts.
    const auto factorByte = static_cast<Ipp8u>(factor & 0xFF);

    // The saved copy of the marks is made before the first write: when it
    // can't be had the call returns -1 with the mask as it was.
    return runExport(kRefuseMinusOneColumn, [&] {
        GIMG<unsigned char> image(width, height, pixels, step);
        std::vector<unsigned char> saved;
        if (protectHard) {
            saved.resize(static_cast<std::size_t>(width) * height);
            image.status = ippiCopy_8u_C1R(image.pixels, image.step, saved.data(), width, width, height);
        }
        image.status = ippiSubC_8u_C1IRSfs(static_cast<Ipp8u>(lowByte), image.pixels, image.step, width, height, 0);
        image.status = ippiMulC_8u_C1IRSfs(factorByte, image.pixels, image.step, width, height, 5);
        // Unprotected, the merge against a copy of the result would change no
        // pixel, so it is left out.
        if (protectHard) keepFixedMarks(saved.data(), width, image);
        return 1;
    });
}
