// Export: paint the state of a cut-out into a four-byte display image: the
// marks as tints, the three classes as flat colours, the stretched alpha
// over or under a solid colour, or the alpha as grey.
#include <cstddef>

#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "qxmatte.h"
#include "selection/mark_coding.h"

namespace qx {
namespace {

enum Mode { kTint = 1, kClasses = 2, kOverColour = 3, kColourOverlay = 4, kGreyAlpha = 5, kOverColourToo = 6 };

inline unsigned char* pixelRow(unsigned char* pixels, int step, int y) {
    return pixels + static_cast<std::ptrdiff_t>(y) * step;
}
inline const unsigned char* alphaRow(const unsigned char* alpha, int step, int y) {
    return alpha + static_cast<std::ptrdiff_t>(y) * step;
}

inline void raise(unsigned char& b) { b = static_cast<unsigned char>(b > 170 ? 255 : b + 85); }

// Darken to seven eighths, then lift one or two bytes by the mark: soft
// (even) values byte 0, fixed cut byte 2, fixed keep byte 1, other fixed
// values bytes 2 and 1.
void tintMarks(unsigned char* pixels, int step, int width, int height, const unsigned char* alpha, int alphaStep) {
    const Ipp8u sevenEighths[3] = {7, 7, 7};
    ippiMulC_8u_AC4IRSfs(sevenEighths, pixels, step, width, height, 3);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        unsigned char* p = pixelRow(pixels, step, y);
        const unsigned char* a = alphaRow(alpha, alphaStep, y);
        for (int x = 0; x < width; ++x, p += 4) {
            const unsigned char v = a[x];
            if (!isFixedMark(v)) {
                raise(p[0]);
            } else if (v == kFixedCut) {
                raise(p[2]);
            } else if (v == kFixedKeep) {
                raise(p[1]);
            } else {
                raise(p[2]);
                raise(p[1]);
            }
        }
    }
}

// Exact 0 and 255 get their own colours, everything else a third one.
void classColours(unsigned char* pixels, int step, int width, int height, const unsigned char* alpha,
                  int alphaStep) {
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        unsigned char* p = pixelRow(pixels, step, y);
        const unsigned char* a = alphaRow(alpha, alphaStep, y);
        for (int x = 0; x < width; ++x, p += 4) {
            const unsigned char v = a[x];
            p[0] = v != 0 && v != 255 ? 255 : 0;
            p[1] = v == 255 ? 255 : 0;
            p[2] = v == 0 ? 255 : 0;
            p[3] = 255;
        }
    }
}

void opaque(unsigned char* pixels, int step, int width, int height) {
    for (int y = 0; y < height; ++y) {
        unsigned char* p = pixelRow(pixels, step, y);
        for (int x = 0; x < width; ++x) p[4 * x + 3] = 255;
    }
}

// Blend of each colour byte with the solid colour by the stretched alpha,
// products in 256ths (so an alpha of 255 keeps 255/256 of a byte), or the
// stretched alpha itself as grey.
void alphaLayers(unsigned char* pixels, int step, int width, int height, const unsigned char* alpha, int alphaStep,
                 int high, int low, int mode, const unsigned char* colour) {
    GIMG<unsigned char> scaled(width, height);
    scaled.status = ippiCopy_8u_C1R(alpha, alphaStep, scaled.pixels, scaled.step, width, height);
    qxScaleAlpha(scaled.pixels, scaled.step, width, height, high, low, 0);
    if (mode == kGreyAlpha) {
        for (int c = 0; c < 3; ++c) ippiCopy_8u_C1C4R(scaled.pixels, scaled.step, pixels + c, step, width, height);
        opaque(pixels, step, width, height);
        return;
    }
    GIMG<unsigned char> inverse(width, height), colourPlane(width, height), work(width, height);
    inverse.status = ippiSet_8u_C1R(255, inverse.pixels, inverse.step, width, height);
    inverse.status = ippiSub_8u_C1IRSfs(scaled.pixels, scaled.step, inverse.pixels, inverse.step, width, height, 0);
    // Over colour: the image weighs by alpha, the colour by its inverse; the
    // overlay the other way round.
    const GIMG<unsigned char>& imageWeight = mode == kColourOverlay ? inverse : scaled;
    const GIMG<unsigned char>& colourWeight = mode == kColourOverlay ? scaled : inverse;
    for (int c = 0; c < 3; ++c) {
        colourPlane.status = ippiSet_8u_C1R(colour[2 - c], colourPlane.pixels, colourPlane.step, width, height);
        work.status = ippiCopy_8u_C4C1R(pixels + c, step, work.pixels, work.step, width, height);
        colourPlane.status = ippiMul_8u_C1IRSfs(colourWeight.pixels, colourWeight.step, colourPlane.pixels,
                                                colourPlane.step, width, height, 8);
        work.status = ippiMul_8u_C1IRSfs(imageWeight.pixels, imageWeight.step, work.pixels, work.step, width, height,
                                         8);
        work.status = ippiAdd_8u_C1IRSfs(colourPlane.pixels, colourPlane.step, work.pixels, work.step, width, height,
                                         0);
        work.status = ippiCopy_8u_C1C4R(work.pixels, work.step, pixels + c, step, width, height);
    }
    opaque(pixels, step, width, height);
}

}  // namespace
}  // namespace qx

using namespace qx;

QX_EXPORT int qxShowImageAlpha(unsigned char* pixels, int step, int width, int height, const unsigned char* alpha,
                               int alphaStep, int high, int low, int mode, const unsigned char* colour) {
    if (mode < kTint || mode > kOverColourToo) return 1;
    if (!pixels || !alpha || width < 1 || height < 1 || step / 4 < width || alphaStep < width) return -1;
    // The work planes of modes 3 to 6 are all made before the first pixel is
    // written, so a failure to make them leaves the image as it was.
    return runExport(kRefuseMinusOneColumn, [&] {
        switch (mode) {
            case kTint:
                tintMarks(pixels, step, width, height, alpha, alphaStep);
                return 1;
            case kClasses:
                classColours(pixels, step, width, height, alpha, alphaStep);
                return 1;
            default:
                // The stretch needs a span, and the colour layers a colour.
                if ((high & 0xFF) == (low & 0xFF)) return -1;
                if (!colour && mode != kGreyAlpha) return -1;
                alphaLayers(pixels, step, width, height, alpha, alphaStep, high, low, mode, colour);
                return 1;
        }
    });
}
