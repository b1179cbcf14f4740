#include "selection/solve_local.h"

#include <algorithm>

#include "frame/export_frame.h"
#include "frame/progress.h"
#include "frame/status.h"
#include "selection/keep_cut_region.h"
#include "selection/serial_when_small.h"

namespace qx {

LocalBox localFrame(const QxJob& job) {
    LocalBox box;
    const int b = job.roiBorder;
    if (b > 0) {
        box.frameLeft = std::min(b, job.roiX);
        box.x = job.roiX - box.frameLeft;
        box.frameTop = std::min(b, job.roiY);
        box.y = job.roiY - box.frameTop;
        box.frameRight = std::min(b, job.width - job.roiWidth - job.roiX);
        box.frameBottom = std::min(b, job.height - job.roiHeight - job.roiY);
    } else {
        box.x = job.roiX, box.y = job.roiY;
    }
    box.width = job.roiWidth + box.frameLeft + box.frameRight;
    box.height = job.roiHeight + box.frameTop + box.frameBottom;
    return box;
}

namespace {

int solveLocalWork(QxJob& job) {
    startProgress(job.progressCallback, job.progressCookie, 10000, 0, 1);
    LocalBox box = localFrame(job);
    if (job.roiBorder <= 0 ||
        (box.frameLeft == 0 && box.frameRight == 0 && box.frameTop == 0 && box.frameBottom == 0)) {
        // No frame to lean on: solve the box around what is not marked.
        int x = 0, w = 0, y = 0, h = 0, keep = 0, cut = 0;
        qxMaskBBox(0, pixelAt(job.maskPixels, job.maskStep, job.roiX, job.roiY), job.maskStep, job.roiWidth,
                   job.roiHeight, &x, &w, &y, &h, &keep, &cut, 0, 0xFF, 1);
        box = LocalBox{job.roiX + x, job.roiY + y, w, h};
        if (w <= 0 || h <= 0) return restoreMarkBits(job), kMarksUnsolvable;
        if (static_cast<long long>(w) * h - keep - cut < 3) return restoreMarkBits(job), 1;
        if (keep < 1 || cut < 1) return restoreMarkBits(job), kMarksUnsolvable;
    }

    const int w = box.width, h = box.height;
    SerialWhenSmall serial(static_cast<long long>(w) * h);
    Plane mask(w, h, pixelAt(job.maskPixels, job.maskStep, box.x, box.y), job.maskStep);
    Plane plane0(w, h), plane1(w, h), plane2(w, h), fixedMap(w, h), savedMarks(w, h);
    Plane* const planes[3] = {&plane0, &plane1, &plane2};
    // This road takes plane 0 from byte 2 and plane 2 from byte 0.
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        const unsigned char* s = pixelAt(job.imagePixels, job.imageStep, box.x, box.y + y, 4);
        unsigned char* p0 = plane0.row(y);
        unsigned char* p1 = plane1.row(y);
        unsigned char* p2 = plane2.row(y);
        for (int x = 0; x < w; ++x) p0[x] = s[4 * x + 2], p1[x] = s[4 * x + 1], p2[x] = s[4 * x];
    }
    copyImage(mask, savedMarks);

    // Frame and fixed pixels are known. Among the known, a fixed cut reads as
    // certain background; among those to solve, a soft 0 is moved off 0 (the
    // two compare-and-set passes done in one loop).
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        unsigned char* m = mask.row(y);
        unsigned char* f = fixedMap.row(y);
        const bool frameRow = y < box.frameTop || y >= h - box.frameBottom;
        for (int x = 0; x < w; ++x) {
            const bool known = frameRow || x < box.frameLeft || x >= w - box.frameRight || (m[x] & 1);
            f[x] = known ? 255 : 0;
            if (known && m[x] == 1) m[x] = 0;
            else if (!known && m[x] == 0) m[x] = 2;
        }
    }

    solveReducedWithBlocks(fixedMap, planes, mask);

    ippiAndC_8u_C1IR(0xFE, mask.pixels, mask.step, w, h);
    ippiCopy_8u_C1MR(savedMarks.pixels, savedMarks.step, mask.pixels, mask.step, w, h, fixedMap.pixels,
                     fixedMap.step);
    return 1;
}

}  // namespace

int solveLocal(QxJob* job) {
    return runExport(kSolveLocalColumn, [&] { return solveLocalWork(*job); });
}

}  // namespace qx
