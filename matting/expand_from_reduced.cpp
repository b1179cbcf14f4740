// Brings a mask solved at an arbitrary reduced size back to full size: a
// cubic resize to exactly half, then the colour-guided doubling.
#include "matting/joint_upsample.h"

namespace qx {

void expandFromReduced(Plane& smallMask, Plane& fullMask, Plane* const fullPlanes[3]) {
    const int halfWidth = fullMask.width / 2, halfHeight = fullMask.height / 2;
    Plane* full = &fullMask;
    if (smallMask.width == halfWidth && smallMask.height == halfHeight) {
        Plane* small = &smallMask;
        jointUpsample(&small, &full, fullPlanes, 10.0f);
        return;
    }
    Plane half(halfWidth, halfHeight);
    half.status = ippiResize_8u_C1R(smallMask.pixels, smallMask.width, smallMask.height, smallMask.step, 0, 0,
                                    smallMask.width, smallMask.height, half.pixels, half.step, halfWidth, halfHeight,
                                    double(halfWidth) / smallMask.width, double(halfHeight) / smallMask.height,
                                    IPPI_INTER_CUBIC);
    Plane* small = &half;
    jointUpsample(&small, &full, fullPlanes, 10.0f);
}

}  // namespace qx
