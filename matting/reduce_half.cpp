// The two reductions that lead down to a solve at smaller size. Neither
// averages: a smoothed (planes) or raw (marks) image is decimated to its even
// pixels, and the marks stay sharp 0/255 wherever the user drew them.
#include "matting/joint_upsample.h"
#include "matting/solve_matte.h"

namespace qx {

void reduceHalf(Plane& source, Plane& destination, bool smooth) {
    if (!smooth) {
        decimateTwo(source, destination, 0, 0);
        return;
    }
    Plane blurred(source.width, source.height);
    // The 3x3 filter reads one pixel around its rectangle, so it runs on the
    // inset view and the outer frame is copied unfiltered.
    blurred.status = ippiFilterGauss_8u_C1R(source.row(1) + 1, source.step, blurred.row(1) + 1, blurred.step,
                                            source.width - 2, source.height - 2, ippMskSize3x3);
    copyImageBorder(source, blurred, 1, 1);
    decimateTwo(blurred, destination, 0, 0);
}

void reduceToSize(Plane& source, Plane& destination, bool smooth) {
    const int halfWidth = source.width / 2, halfHeight = source.height / 2;
    if (halfWidth == destination.width && halfHeight == destination.height) {
        reduceHalf(source, destination, smooth);
        return;
    }
    Plane half(halfWidth, halfHeight);
    reduceHalf(source, half, smooth);
    // Cubic: the reduced marks may ring a little; any value that is no longer
    // exactly 0 or 255 simply becomes unknown in the reduced solve.
    destination.status = ippiResize_8u_C1R(half.pixels, halfWidth, halfHeight, half.step, 0, 0, halfWidth,
                                           halfHeight, destination.pixels, destination.step, destination.width,
                                           destination.height, double(destination.width) / halfWidth,
                                           double(destination.height) / halfHeight, IPPI_INTER_CUBIC);
}

}  // namespace qx
