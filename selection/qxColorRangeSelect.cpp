// Export: the colour-range brush. Under the brush, every pixel strictly
// closer than `tolerance` to the picked colour is fixed as keep or cut; fixed
// pixels are never overwritten.
#include <opencv2/imgproc.hpp>

#include <algorithm>

#include "frame/export_frame.h"
#include "primitives/segment_reach.h"
#include "selection/brush_rectangle.h"
#include "selection/mark_coding.h"
#include "qxmatte.h"

namespace qx {
namespace {

void colourRangeSelect(QxJob* job, int x1, int y1, int x2, int y2, int radius, const unsigned char* colour,
                       int tolerance, bool keep) {
    radius = std::min(radius, kMaxBrushRadius);
    const BrushRectangle rect = brushRectangle(x1, y1, x2, y2, radius, job->width, job->height);
    if (rect.w <= 0 || rect.h <= 0) return;
    // The brush is the zero pixels of the band map. The ends are first brought
    // near the image, so that the drawing is bounded by the image's size.
    cv::Point from(x1, y1), to(x2, y2);
    if (!clipSegmentToReach(job->width, job->height, from, to)) return;
    cv::Mat band(rect.h, rect.w, CV_8UC1, cv::Scalar(255));
    const cv::Point origin(rect.left, rect.top);
    cv::line(band, from - origin, to - origin, cv::Scalar(0), 2 * radius + 1, cv::LINE_8, 0);
    const unsigned char mark = keep ? kFixedKeep : kFixedCut;
    // Squared in 64 bits: a tolerance beyond 46340 would overflow 32 and
    // takes every colour anyway, as the largest distance is 3 * 255^2.
    const long long limit = static_cast<long long>(tolerance) * tolerance;
    for (int y = 0; y < rect.h; ++y) {
        const unsigned char* b = band.ptr<unsigned char>(y);
        const unsigned char* p = job->imagePixels + static_cast<ptrdiff_t>(rect.top + y) * job->imageStep + 4 * rect.left;
        unsigned char* m = job->maskPixels + static_cast<ptrdiff_t>(rect.top + y) * job->maskStep + rect.left;
        for (int x = 0; x < rect.w; ++x, p += 4) {
            if (b[x] || isFixedMark(m[x])) continue;
            // Colour bytes run in the reverse order of the pixel's.
            const int d0 = p[2] - colour[0], d1 = p[1] - colour[1], d2 = p[0] - colour[2];
            if (d0 * d0 + d1 * d1 + d2 * d2 < limit) m[x] = mark;
        }
    }
}

}  // namespace
}  // namespace qx

QX_EXPORT int qxColorRangeSelect(QxJob* job, int x1, int y1, int x2, int y2, int radius, const unsigned char* colour,
                                 int tolerance, int keep) {
    if (!job || !job->imagePixels || !job->maskPixels || !colour || radius < 0 || job->width <= 0 ||
        job->height <= 0 || job->imageStep < 4LL * job->width || job->maskStep < job->width)
        return 1;
    // The brush map is made before the mask is written.
    return qx::runExport(qx::kRefuseMinusOneColumn, [&] {
        qx::colourRangeSelect(job, x1, y1, x2, y2, radius, colour, tolerance, keep != 0);
        return 1;
    });
}
