// Export: one component of a three-byte image in YCbCr, levelled for a
// preview: the image itself, luminance, chroma alone (luminance set to
// mid-grey), Cb or Cr.
#include <climits>
#include <memory>

#include "frame/export_frame.h"
#include "primitives/primitives.h"
#include "qxmatte.h"
#include "utilities/chroma_level.h"

using namespace qx;

namespace {

// Plane into each of the three channels.
void fillChannels(const Ipp8u* plane, int planeStep, unsigned char* pixels, int step, int width, int height) {
    for (int c = 0; c < 3; ++c) ippiCopy_8u_C1C3R(plane, planeStep, pixels + c, step, width, height);
}

}  // namespace

QX_EXPORT int qxRGB2YCbCrAutoLevel(unsigned char* pixels, int step, int width, int height, int mode,
                                   int target) {
    if (static_cast<unsigned>(mode) > 4) return 0;
    if (!pixels || width < 1 || height < 1 || height > INT_MAX / 3 || step / 3 < width) return 0;
    if (mode == 0) {
        if (target > 1) qxPreviewAutoLevel(pixels, step, width, height, static_cast<float>(target));
        return 1;
    }
    // Every work plane is made before the image is written: when one can't
    // be had the call returns 0 with the image as it was.
    return runExport(kRefuseZeroColumn, [&] {
        // The three planes as one block of 3 * height rows.
        int planeStep = 0;
        std::unique_ptr<Ipp8u, void (*)(void*)> owner(ippiMalloc_8u_C1(width, 3 * height, &planeStep), ippiFree);
        Ipp8u* block = owner.get();
        if (!block) return 0;
        Ipp8u* const planes[3] = {block, block + static_cast<std::ptrdiff_t>(planeStep) * height,
                                  block + 2 * static_cast<std::ptrdiff_t>(planeStep) * height};
        ippiRGBToYCbCr_8u_C3P3R(pixels, step, planes, planeStep, width, height);
        if (mode == 1) {
            fillChannels(planes[0], planeStep, pixels, step, width, height);
            if (target > 1) qxPreviewAutoLevel(pixels, step, width, height, static_cast<float>(target));
        } else if (mode == 2) {
            ippiSet_8u_C1R(128, planes[0], planeStep, width, height);
            if (target > 1) levelChromaPair(planes[1], planes[2], planeStep, target, width, height);
            ippiYCbCrToRGB_8u_P3C3R(planes, planeStep, pixels, step, width, height);
        } else {
            Ipp8u* plane = planes[mode == 3 ? 1 : 2];
            if (target > 1) levelPlane(plane, planeStep, target, width, height);
            fillChannels(plane, planeStep, pixels, step, width, height);
        }
        return 1;
    });
}
