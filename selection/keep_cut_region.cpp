#include "selection/keep_cut_region.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

#include "frame/progress.h"
#include "frame/status.h"

namespace qx {

KeepCutRegion::KeepCutRegion(const QxJob& job)
    : width(job.roiWidth),
      height(job.roiHeight),
      mask(width, height, pixelAt(job.maskPixels, job.maskStep, job.roiX, job.roiY), job.maskStep),
      plane0(width, height),
      plane1(width, height),
      plane2(width, height),
      fixedMap(width, height),
      savedMarks(width, height),
      planes{&plane0, &plane1, &plane2} {
    // One parallel pass instead of a four-plane split whose fourth plane is
    // dropped: the same bytes land in the same planes.
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        const unsigned char* s = pixelAt(job.imagePixels, job.imageStep, job.roiX, job.roiY + y, 4);
        unsigned char* p0 = plane0.row(y);
        unsigned char* p1 = plane1.row(y);
        unsigned char* p2 = plane2.row(y);
        for (int x = 0; x < width; ++x) p0[x] = s[4 * x], p1[x] = s[4 * x + 1], p2[x] = s[4 * x + 2];
    }
}

void takeMarks(KeepCutRegion& region) {
    copyImage(region.mask, region.savedMarks);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < region.height; ++y) {
        unsigned char* m = region.mask.row(y);
        unsigned char* f = region.fixedMap.row(y);
        for (int x = 0; x < region.width; ++x) {
            f[x] = (m[x] & 1) ? 0xFF : 0;
            m[x] = static_cast<unsigned char>((m[x] & 0xFE) | ((m[x] >> 1) & 1));
        }
    }
}

void requireSolvable(const Plane& fixedMap, const Plane& mask, KeepCutRegion& region) {
    long long unknown = 0, cut = 0, keep = 0;
#pragma omp parallel for schedule(static) reduction(+ : unknown, cut, keep)
    for (int y = 0; y < fixedMap.height; ++y) {
        const unsigned char* f = fixedMap.row(y);
        const unsigned char* m = mask.row(y);
        for (int x = 0; x < fixedMap.width; ++x) {
            if (f[x] == 0) ++unknown;
            else if (m[x] == 0) ++cut;
            else if (m[x] == 255) ++keep;
        }
    }
    if (unknown >= 3 && cut >= 1 && keep >= 1) return;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < region.height; ++y) {
        unsigned char* m = region.mask.row(y);
        const unsigned char* s = region.savedMarks.row(y);
        for (int x = 0; x < region.width; ++x) m[x] = static_cast<unsigned char>((m[x] & 0xFE) | (s[x] & 1));
    }
    throw static_cast<int>(kMarksUnsolvable);
}

void solveTileTree(TileJob& tiles, int range) {
    buildTileTree(tiles);
    checkLeaves(tiles);
    progressTotal = 20000;
    progressStep = range / (9 * std::max(tiles.leafCount, 1));
    solveLeaves(tiles);
}

void finishRegion(const QxJob& job, KeepCutRegion& region) {
#pragma omp parallel for schedule(static)
    for (int y = 0; y < region.height; ++y) {
        unsigned char* m = region.mask.row(y);
        const unsigned char* s = region.savedMarks.row(y);
        const unsigned char* source = pixelAt(job.imagePixels, job.imageStep, job.roiX, job.roiY + y, 4);
        unsigned char* out = pixelAt(job.outPixels, job.outStep, job.roiX, job.roiY + y, 4);
        for (int x = 0; x < region.width; ++x) {
            if ((s[x] & 1) == 0) {
                m[x] &= 0xFE;
                continue;
            }
            m[x] = s[x];
            if (s[x] == 0xFF || s[x] == 0x01)
                for (int b = 0; b < 4; ++b) out[4 * x + b] = source[4 * x + b];
        }
    }
}

void restoreMarkBits(const QxJob& job) {
#pragma omp parallel for schedule(static)
    for (int y = 0; y < job.roiHeight; ++y) {
        unsigned char* m = pixelAt(job.maskPixels, job.maskStep, job.roiX, job.roiY + y);
        const unsigned char* a = pixelAt(job.auxPixels, job.auxStep, job.roiX, job.roiY + y);
        for (int x = 0; x < job.roiWidth; ++x) m[x] = static_cast<unsigned char>((m[x] & 0xFE) | (a[x] & 1));
    }
}

void paintFrame(Plane& plane, long long thickness) {
    cv::Mat view(plane.height, plane.width, CV_8UC1, plane.pixels, plane.step);
    const int t = static_cast<int>(std::clamp(thickness, -1LL, 32767LL));
    cv::rectangle(view, cv::Point(0, 0), cv::Point(plane.width - 1, plane.height - 1), cv::Scalar(255), t, 8, 0);
}

}  // namespace qx
