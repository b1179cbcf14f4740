// Export: take the colour out of semi-transparent pixels of a cut-out, where
// the backdrop still shows. Saturation is scaled by alpha^4 * amount +
// (1 - amount), so full alpha keeps its colour and low alpha loses a share
// `amount` of it. Pixels whose alpha byte is a fixed mark are left exactly as
// they are: they do not even pass through the colour conversion's rounding.
#include <opencv2/core.hpp>

#include <cmath>
#include <cstring>

#include "frame/export_frame.h"
#include "primitives/primitives.h"
#include "selection/mark_coding.h"
#include "qxmatte.h"

QX_EXPORT int qxDesaturation(unsigned char* pixels, int step, int width, int height, const unsigned char* alphaPlane,
                             int alphaStep, float amount) {
    if (!pixels || !alphaPlane || width <= 0 || height <= 0 || step < 4LL * width || alphaStep < width) return 1;
    // Both work images are made before the first pixel is written: when they
    // can't be had the call returns -1 with the image as it was.
    return qx::runExport(qx::kRefuseMinusOneColumn, [&] {
        cv::Mat hls(height, width, CV_8UC4), rgb(height, width, CV_8UC4);
        const int hlsStep = static_cast<int>(hls.step);
        qx::ippiRGBToHLS_8u_AC4R(pixels, step, hls.data, hlsStep, width, height);
#pragma omp parallel for schedule(static)
        for (int y = 0; y < height; ++y) {
            const unsigned char* a = alphaPlane + static_cast<ptrdiff_t>(y) * alphaStep;
            unsigned char* p = hls.ptr<unsigned char>(y);
            for (int x = 0; x < width; ++x, p += 4) {
                if (qx::isFixedMark(a[x])) continue;
                const float t = a[x] * 0.003921569f;
                const float factor = ((t * t) * t) * t * amount + (1.0f - amount);
                // Byte 2 is the saturation. An amount outside 0..1 wraps the
                // byte; a product beyond the int range (which has no defined
                // conversion) gives 0.
                const float product = factor * p[2];
                p[2] = std::fabs(product) < 2147483520.0f ? static_cast<unsigned char>(static_cast<int>(product))
                                                          : 0;
            }
        }
        qx::ippiHLSToRGB_8u_AC4R(hls.data, hlsStep, rgb.data, static_cast<int>(rgb.step), width, height);
        // Colour bytes back where the pixel is not fixed; byte 3 stays.
#pragma omp parallel for schedule(static)
        for (int y = 0; y < height; ++y) {
            const unsigned char* a = alphaPlane + static_cast<ptrdiff_t>(y) * alphaStep;
            const unsigned char* in = rgb.ptr<unsigned char>(y);
            unsigned char* out = pixels + static_cast<ptrdiff_t>(y) * step;
            for (int x = 0; x < width; ++x)
                if (!qx::isFixedMark(a[x])) std::memcpy(out + 4 * x, in + 4 * x, 3);
        }
        return 1;
    });
}
