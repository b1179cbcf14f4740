// Fading the recovered colours into what the output held, and the final copy.
#include <opencv2/imgproc.hpp>

#include "foreground/foreground_driver.h"

namespace qx {

void blendWithOutput(const QxJob& job, const cv::Mat& weights, GIMG<unsigned char>& upImage) {
    const int rw = job.roiWidth, rh = job.roiHeight;
    // The three channels are independent per pixel: one pass over the rows
    // does what three passes, one per channel, would.
#pragma omp parallel for schedule(static)
    for (int y = 0; y < rh; ++y) {
        const float* t = weights.ptr<float>(y);
        const unsigned char* out = job.outPixels + static_cast<std::ptrdiff_t>(job.roiY + y) * job.outStep +
                                   static_cast<std::ptrdiff_t>(job.roiX) * 4;
        unsigned char* up = upImage.row(y);
        for (int x = 0; x < rw; ++x) {
            for (int c = 0; c < 3; ++c) {
                const float v = (1.0f - t[x]) * out[4 * x + c] + up[4 * x + c] * t[x];
                // The low byte of the truncated value; a taper's overshoot is
                // not clamped.
                up[4 * x + c] = static_cast<unsigned char>(static_cast<int>(v));
            }
        }
    }
}

cv::Mat edgeRampPlane(int width, int height) {
    cv::Mat ramp(height, width, CV_32F);
    auto share = [](int i, int size) {
        if (i < 64) return static_cast<float>(i) / 64.0f;  // the leading edge wins on narrow regions
        if (i > size - 64) return static_cast<float>(size - i) / 64.0f;
        return 1.0f;
    };
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        float* r = ramp.ptr<float>(y);
        const float fy = share(y, height);
        for (int x = 0; x < width; ++x) r[x] = share(x, width) * fy;
    }
    return ramp;
}

cv::Mat cellTaperPlane(int width, int height) {
    // Upper left quadrant; the table is mirrored in rows and in columns. Row 1
    // and column 1 differ on purpose.
    static const float quadrant[7][7] = {
        {0, 0, 0, 0, 0, 0, 0},
        {0, 0, 0.001f, 0.003f, 0.005f, 0.009f, 0.01f},
        {0, 0, 0.0108f, 0.0292f, 0.0592f, 0.0904f, 0.1041f},
        {0, 0, 0.0292f, 0.0785f, 0.1592f, 0.2432f, 0.2802f},
        {0, 0, 0.0592f, 0.1592f, 0.3227f, 0.4932f, 0.5681f},
        {0, 0, 0.0904f, 0.2432f, 0.4932f, 0.7537f, 0.8682f},
        {0, 0, 0.1041f, 0.2802f, 0.5681f, 0.8682f, 1.0f},
    };
    cv::Mat table(13, 13, CV_32F);
    for (int r = 0; r < 13; ++r)
        for (int c = 0; c < 13; ++c) table.at<float>(r, c) = quadrant[r < 7 ? r : 12 - r][c < 7 ? c : 12 - c];
    cv::Mat plane;
    cv::resize(table, plane, cv::Size(width, height), 0, 0, cv::INTER_LANCZOS4);
    return plane;
}

void copyToOutput(const QxJob& job, const GIMG<unsigned char>& upImage, int frame) {
    const int w = job.roiWidth - 2 * frame, h = job.roiHeight - 2 * frame;
    if (w <= 0 || h <= 0) return;
    unsigned char* out = job.outPixels + static_cast<std::ptrdiff_t>(job.roiY + frame) * job.outStep +
                         static_cast<std::ptrdiff_t>(job.roiX + frame) * 4;
    ippiCopy_8u_AC4R(upImage.row(frame) + frame * 4, upImage.step, out, job.outStep, w, h);
}

}  // namespace qx
