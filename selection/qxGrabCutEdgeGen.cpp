// Export: the GrabCut selection (auxPixels) as a keep / unknown / cut band in
// maskPixels. The band is what a disc of the band's width takes off the
// selection (erosion) and adds to it (dilation); fixed marks stay.
//
// On a two-valued plane both are covering questions: a pixel is eroded when
// some cut pixel lies under the disc around it, dilated when some selected
// one does. Row by row the nearest such pixel is a horizontal distance g; it
// lies under the disc from every row within reach(g) of its own, the rows
// whose half width is at least g. So each pixel casts one interval of rows
// down its column, and a sweep of the columns answers every pixel at once:
// the cost is a few passes over the region whatever the band's width.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "selection/grabcut_session.h"
#include "selection/mark_coding.h"
#include "qxmatte.h"

namespace qx {
namespace {

// For a filled disc of radius r as cv::circle draws it (8-connected, no
// sub-pixel shift): reach[g], g = 0 .. columns - 1, is the largest row offset
// below `rows` whose half width is at least g, or -1. The disc is drawn as its
// lower right quadrant only, clipped to rows x columns, so a huge radius costs
// no more than the region.
std::vector<int> discReach(int r, int rows, int columns) {
    cv::Mat quadrant = cv::Mat::zeros(rows, columns, CV_8UC1);
    cv::circle(quadrant, cv::Point(0, 0), r, cv::Scalar(255), -1, cv::LINE_8, 0);
    std::vector<int> reach(static_cast<size_t>(columns), -1);
    for (int d = 0; d < rows; ++d) {
        const unsigned char* q = quadrant.ptr<unsigned char>(d);
        int half = columns - 1;
        while (half >= 0 && !q[half]) --half;
        // A disc's half widths shrink away from its centre row, so row d is
        // the farthest so far for every g up to its half width.
        for (int g = 0; g <= half; ++g) reach[g] = d;
    }
    return reach;
}

// covered(x, y) = 255 where a pixel of `binary` equal to `target` lies under
// the disc around (x, y), else 0.
cv::Mat coveredBy(const GIMG<unsigned char>& binary, unsigned char target, const std::vector<int>& reach) {
    const int w = binary.width, h = binary.height;
    const int columns = static_cast<int>(reach.size());
    // lastRow[y * w + x]: the lowest row reached by an interval that starts at
    // row y in column x, or -1.
    std::vector<int> lastRow(static_cast<size_t>(w) * h, -1);
    std::vector<int> distance(static_cast<size_t>(w));
    for (int y = 0; y < h; ++y) {
        const unsigned char* b = binary.row(y);
        // Horizontal distance to the nearest target pixel of the row; w or
        // more when there is none.
        int last = -2 * w;
        for (int x = 0; x < w; ++x) {
            if (b[x] == target) last = x;
            distance[x] = x - last;
        }
        last = 3 * w;
        for (int x = w - 1; x >= 0; --x) {
            if (b[x] == target) last = x;
            distance[x] = std::min(distance[x], last - x);
        }
        for (int x = 0; x < w; ++x) {
            if (distance[x] >= columns) continue;
            const int rows = reach[distance[x]];
            if (rows < 0) continue;
            const int first = std::max(0, y - rows);
            int& end = lastRow[static_cast<size_t>(first) * w + x];
            end = std::max(end, std::min(h - 1, y + rows));
        }
    }
    cv::Mat covered(h, w, CV_8UC1);
    std::vector<int> openUntil(static_cast<size_t>(w), -1);
    for (int y = 0; y < h; ++y) {
        const int* starts = &lastRow[static_cast<size_t>(y) * w];
        unsigned char* c = covered.ptr<unsigned char>(y);
        for (int x = 0; x < w; ++x) {
            openUntil[x] = std::max(openUntil[x], starts[x]);
            c[x] = openUntil[x] >= y ? 255 : 0;
        }
    }
    return covered;
}

void edgeGen(QxJob* job, int bandWidth) {
    const int w = job->grabWidth, h = job->grabHeight;
    // Beyond the region's width plus height the disc covers the whole region
    // from any pixel, so a wider band gives the same result.
    const int r = std::min(bandWidth / 2, w + h);
    GIMG<unsigned char> mask(w, h, job->maskPixels + static_cast<ptrdiff_t>(job->grabY) * job->maskStep + job->grabX,
                             job->maskStep);
    const GIMG<unsigned char> aux(w, h, job->auxPixels + static_cast<ptrdiff_t>(job->grabY) * job->auxStep + job->grabX,
                                  job->auxStep);
    for (int y = 0; y < h; ++y) {
        const unsigned char* a = aux.row(y);
        unsigned char* m = mask.row(y);
        for (int x = 0; x < w; ++x) m[x] = a[x] >= 0xFE ? 0xFF : 0;
    }
    // Offsets beyond the region's own size never join two of its pixels.
    const std::vector<int> reach = discReach(r, std::min(r, h - 1) + 1, std::min(r, w - 1) + 1);
    const cv::Mat eroded = coveredBy(mask, 0, reach);    // 255: some cut pixel under the disc
    const cv::Mat dilated = coveredBy(mask, 255, reach);  // 255: some selected pixel under it

#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        const unsigned char* cut = eroded.ptr<unsigned char>(y);
        const unsigned char* kept = dilated.ptr<unsigned char>(y);
        const unsigned char* a = aux.row(y);
        unsigned char* m = mask.row(y);
        for (int x = 0; x < w; ++x) {
            // Both sides under the disc: the band; the disc always covers its
            // own centre, so a pixel is at least on one side.
            const unsigned char v = cut[x] && kept[x] ? 0x7F : kept[x];
            // Fixed marks come back; everything else loses bit 0, so the band
            // ends as 0x7E and the inside as 0xFE.
            m[x] = isFixedMark(a[x]) ? a[x] : softMark(v);
        }
    }
}

}  // namespace
}  // namespace qx

QX_EXPORT void qxGrabCutEdgeGen(QxJob* job, int bandWidth) {
    if (bandWidth < 0 || !qx::grabRegionInside(job)) return;
    qx::edgeGen(job, bandWidth);
}
