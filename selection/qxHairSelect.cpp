// Export: the hair brush. Under the brush, each pixel's colour is measured
// along the line from the backdrop colour (0) to the strand colour (1), and
// only the local extremes of that measure (crests of strands, troughs between
// them) are fixed as marks; the matting solves everything else.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <new>

#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "selection/brush_rectangle.h"
#include "selection/mark_coding.h"
#include "qxmatte.h"

namespace qx {
namespace {

// hairPlane under the brush receives the measure as 0..255. Colour bytes run
// in the reverse order of the pixel's: colour byte 0 goes with pixel byte 2.
// Catches its own failures; the result is not looked at, and a failed measure
// leaves hairPlane the plain copy of the marks.
int measureAlongColourLine(const cv::Mat& brushMap, const cv::Mat& colourCopy, cv::Mat& hairPlane,
                           const unsigned char* hair, const unsigned char* backdrop) {
    try {
        const int w = hairPlane.cols, h = hairPlane.rows;
        float a[3], b[3];
        for (int i = 0; i < 3; ++i) {
            a[i] = hair[i] * 0.003921569f;
            b[i] = backdrop[i] * 0.003921569f;
        }
        GIMG<float> measure(w, h);
        IMG3<float> colourFloat(w, h);
        measure.status = ippiScale_8u32f_C1R(hairPlane.data, static_cast<int>(hairPlane.step), measure.pixels,
                                             measure.step, w, h, 0.0f, 1.0f);
        colourFloat.status = ippiScale_8u32f_C3R(colourCopy.data, static_cast<int>(colourCopy.step),
                                                 colourFloat.pixels, colourFloat.step, w, h, 0.0f, 1.0f);
        // Equal colours make the denominator 0 and the measure not a number,
        // which the scaling back turns into 0.
        const float denominator = (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]) +
                                  (a[0] - b[0]) * (a[0] - b[0]);
        for (int y = 0; y < h; ++y) {
            const unsigned char* brush = brushMap.ptr<unsigned char>(y);
            const float* p = colourFloat.row(y);
            float* m = measure.row(y);
            for (int x = 0; x < w; ++x, p += 3) {
                if (!brush[x]) continue;
                const float numerator =
                    (p[1] - b[1]) * (a[1] - b[1]) + (p[2] - b[0]) * (a[0] - b[0]) + (p[0] - b[2]) * (a[2] - b[2]);
                const float t = numerator / denominator;
                m[x] = t < 0.0f ? 0.0f : (t > 1.0f ? 1.0f : t);
            }
        }
        ippiScale_32f8u_C1R(measure.pixels, measure.step, hairPlane.data, static_cast<int>(hairPlane.step), w, h,
                            0.0f, 1.0f);
        return 1;
    } catch (int e) {
        return e == kAllocFailed ? -1 : 0;
    } catch (const std::bad_alloc&) {
        return -1;
    } catch (...) {
        return -1;
    }
}

// A pixel under the brush that equals the least or the greatest of its seven
// samples is fixed. The sample set leans left in the row below; hairPlane is
// continuous, so at column 1 the sample (-2, +1) is the current row's last
// pixel. The outer ring of the rectangle is never tested.
void fixExtremes(const cv::Mat& brushMap, const cv::Mat& hairPlane, unsigned char* mask, int maskStep) {
    const int w = hairPlane.cols, h = hairPlane.rows;
    const unsigned char* plane = hairPlane.data;
#pragma omp parallel for schedule(static)
    for (int y = 1; y < h - 1; ++y) {
        const unsigned char* brush = brushMap.ptr<unsigned char>(y);
        unsigned char* out = mask + static_cast<ptrdiff_t>(y) * maskStep;
        for (int x = 1; x < w - 1; ++x) {
            if (!brush[x]) continue;
            const unsigned char* p = plane + static_cast<ptrdiff_t>(y) * w + x;
            const unsigned char v = *p;
            const unsigned char samples[7] = {p[-w - 1], p[-w], p[-w + 1], p[-1], v, p[w - 2], p[w - 1]};
            const unsigned char low = *std::min_element(samples, samples + 7);
            const unsigned char high = *std::max_element(samples, samples + 7);
            if (v == low || v == high) out[x] = fixedMark(v);
        }
    }
}

int hairSelect(QxJob* job, int x1, int y1, int x2, int y2, int radius) {
    radius = std::min(radius, kMaxBrushRadius);
    const BrushRectangle rect = brushRectangle(x1, y1, x2, y2, radius, job->width, job->height);
    const int w = rect.w, h = rect.h;
    // The second end is measured from the rectangle's far corner: away from
    // the image's edges both ends meet at (radius, radius).
    cv::Mat brushMap = cv::Mat::zeros(h, w, CV_8UC1);
    cv::line(brushMap, cv::Point(std::min(x1, x2) - rect.left, std::min(y1, y2) - rect.top),
             cv::Point(rect.right - std::max(x1, x2), rect.bottom - std::max(y1, y2)), cv::Scalar(255),
             2 * radius + 1, cv::LINE_8, 0);
    cv::Mat colourCopy(h, w, CV_8UC3);
    const unsigned char* image = job->imagePixels + static_cast<ptrdiff_t>(rect.top) * job->imageStep + 4 * rect.left;
    ippiCopy_8u_AC4C3R(image, job->imageStep, colourCopy.data, static_cast<int>(colourCopy.step), w, h);
    unsigned char* mask = job->maskPixels + static_cast<ptrdiff_t>(rect.top) * job->maskStep + rect.left;
    cv::Mat hairPlane;
    cv::Mat(h, w, CV_8UC1, mask, static_cast<size_t>(job->maskStep)).copyTo(hairPlane);

    measureAlongColourLine(brushMap, colourCopy, hairPlane, job->hairColour, job->backdropColour);
    fixExtremes(brushMap, hairPlane, mask, job->maskStep);
    return 1;
}

bool insideImage(const QxJob* job, int x, int y) { return x >= 0 && y >= 0 && x < job->width && y < job->height; }

}  // namespace
}  // namespace qx

QX_EXPORT int qxHairSelect(QxJob* job, int x1, int y1, int x2, int y2, int radius) {
    if (!job || !job->imagePixels || !job->maskPixels || !job->hairColour || !job->backdropColour) return 1;
    if (radius < 0 || !qx::insideImage(job, x1, y1) || !qx::insideImage(job, x2, y2)) return 1;
    if (job->imageStep < 4LL * job->width || job->maskStep < job->width) return 1;
    // The brush's work planes are made before the mask is written.
    return qx::runExport(qx::kRefuseMinusOneColumn, [&] { return qx::hairSelect(job, x1, y1, x2, y2, radius); });
}
