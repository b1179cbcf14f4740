// Export: brighten a three-byte image so that its strongest channel mean
// reaches the target; never darkens.
#include <algorithm>

#include "frame/export_frame.h"
#include "primitives/primitives.h"
#include "qxmatte.h"

using namespace qx;

QX_EXPORT int qxPreviewAutoLevel(unsigned char* pixels, int step, int width, int height, float target) {
    if (!pixels || width < 1 || height < 1 || step / 3 < width) return -1;
    Ipp64f mean[3] = {0, 0, 0};
    ippiMean_8u_C3R(pixels, step, width, height, mean);
    const double m = std::max({mean[0], mean[1], mean[2]});
    const double gain = static_cast<double>(target) / (m + 0.0001);
    if (!(gain > 1.0)) return 1;
    // Each byte becomes saturate(round(v * n / 8)).
    const Ipp8u n = gain * 8 >= 250 ? 250 : static_cast<Ipp8u>(gain * 8);
    const Ipp8u values[3] = {n, n, n};
    ippiMulC_8u_C3IRSfs(values, pixels, step, width, height, 3);
    return 1;
}
