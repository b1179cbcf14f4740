// Export: the GrabCut selection (auxPixels) as a keep / unknown / cut band in
// maskPixels. The band is what a disc of the band's width takes off the
// selection (erosion) and adds to it (dilation); fixed marks stay.
#include <opencv2/imgproc.hpp>

#include <algorithm>

#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "selection/grabcut_session.h"
#include "selection/mark_coding.h"
#include "qxmatte.h"

namespace qx {
namespace {

// The binary plane on a frame of r pixels of `border`, eroded or dilated in
// place over the centre. A frame of 255 keeps the erosion from eating in from
// the region's edge.
cv::Mat morphed(const GIMG<unsigned char>& binary, int r, unsigned char border, const cv::Mat& kernel, bool erode) {
    cv::Mat framed(binary.height + 2 * r, binary.width + 2 * r, CV_8UC1, cv::Scalar(border));
    const cv::Mat header(binary.height, binary.width, CV_8UC1, binary.pixels, static_cast<size_t>(binary.step));
    header.copyTo(framed(cv::Rect(r, r, binary.width, binary.height)));
    unsigned char* centre = framed.ptr<unsigned char>(r) + r;
    const int step = static_cast<int>(framed.step);
    if (erode)
        ippiErode_8u_C1IR(centre, step, binary.width, binary.height, kernel.data, kernel.cols, kernel.rows, r, r);
    else
        ippiDilate_8u_C1IR(centre, step, binary.width, binary.height, kernel.data, kernel.cols, kernel.rows, r, r);
    return framed;
}

void edgeGen(QxJob* job, int bandWidth) {
    const int w = job->grabWidth, h = job->grabHeight;
    // Beyond the region's width plus height the disc covers the whole region
    // from any pixel, so a wider band gives the same result.
    const int r = std::min(bandWidth / 2, w + h);
    cv::Mat kernel = cv::Mat::zeros(2 * r + 1, 2 * r + 1, CV_8UC1);
    cv::circle(kernel, cv::Point(r, r), r, cv::Scalar(255), -1, cv::LINE_8, 0);

    GIMG<unsigned char> mask(w, h, job->maskPixels + static_cast<ptrdiff_t>(job->grabY) * job->maskStep + job->grabX,
                             job->maskStep);
    const GIMG<unsigned char> aux(w, h, job->auxPixels + static_cast<ptrdiff_t>(job->grabY) * job->auxStep + job->grabX,
                                  job->auxStep);
    for (int y = 0; y < h; ++y) {
        const unsigned char* a = aux.row(y);
        unsigned char* m = mask.row(y);
        for (int x = 0; x < w; ++x) m[x] = a[x] >= 0xFE ? 0xFF : 0;
    }
    const cv::Mat inner = morphed(mask, r, 255, kernel, true);
    const cv::Mat outer = morphed(mask, r, 0, kernel, false);

#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        const unsigned char* e = inner.ptr<unsigned char>(y + r) + r;
        const unsigned char* d = outer.ptr<unsigned char>(y + r) + r;
        const unsigned char* a = aux.row(y);
        unsigned char* m = mask.row(y);
        for (int x = 0; x < w; ++x) {
            const int spread = d[x] - e[x];
            unsigned char v = d[x];
            if (spread == 255) v = 0x7F;
            else if (spread < 0x82 && e[x] == 0) v = 0;
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
