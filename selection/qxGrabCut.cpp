// Export: one GrabCut pass. The graph cut runs on the coarsest level of a
// pyramid over the grab rectangle, the state (level mask and colour models)
// stays in the session between passes, and the binary result returns to full
// size by colour-guided doubling. Fixed marks leave the call unchanged.
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "frame/export_frame.h"
#include "frame/progress.h"
#include "matting/joint_upsample.h"
#include "selection/grabcut_session.h"
#include "qxmatte.h"

namespace qx {
namespace {

// Releases the reduced levels however the pass ends.
struct PyramidScope {
    ImagePyramid pyramid;
    PyramidScope() { initPyramid(pyramid); }
    ~PyramidScope() { releasePyramid(pyramid); }
};

// Marks to segmentation states: a fixed mark is definite, a soft one
// probable; a coarse value between the thresholds (unknown, soft alpha)
// keeps what the last pass decided.
void transferMarks(const Plane& coarseMask, const Plane& coarseFixed, cv::Mat& levelMask) {
    for (int y = 0; y < levelMask.rows; ++y) {
        const unsigned char* v = coarseMask.row(y);
        const unsigned char* f = coarseFixed.row(y);
        unsigned char* state = levelMask.ptr<unsigned char>(y);
        for (int x = 0; x < levelMask.cols; ++x) {
            const unsigned char base = f[x] ? cv::GC_BGD : cv::GC_PR_BGD;
            if (v[x] < 10) state[x] = base;
            else if (v[x] > 0xF5) state[x] = base + 1;  // GC_FGD or GC_PR_FGD
        }
    }
}

// One segmentation on the coarse level; writes 0 or 0xFF into its mask.
void segmentCoarse(GrabCutSession& session, Plane* const planes[3], Plane& coarseMask, const Plane& coarseFixed) {
    const int w = session.levelWidth, h = session.levelHeight;
    IMG3<unsigned char> colour(w, h);
    const Ipp8u* const sources[3] = {planes[0]->pixels, planes[1]->pixels, planes[2]->pixels};
    colour.status = ippiCopy_8u_P3C3R(sources, planes[0]->step, colour.pixels, colour.step, w, h);
    const cv::Mat image(h, w, CV_8UC3, colour.pixels, static_cast<size_t>(colour.step));
    cv::Mat& levelMask = *session.levelMask;
    const cv::Rect frame(5, 5, w - 10, h - 10);  // a 5-pixel frame of definite background

    if (!session.initialised) {
        levelMask.setTo(cv::Scalar(cv::GC_BGD));
        levelMask(frame).setTo(cv::Scalar(cv::GC_PR_FGD));
        session.initialised = 1;
    }
    transferMarks(coarseMask, coarseFixed, levelMask);

    // New fixed marks rebuild the colour models; a pass that only moved soft
    // marks reuses them.
    Ipp64f sum = 0.0;
    ippiSum_8u_C1R(coarseFixed.pixels, coarseFixed.step, w, h, &sum);
    int mode = cv::GC_EVAL;
    if (std::llround(sum) != std::llround(session.markSum)) {
        session.markSum = sum;
        mode = cv::GC_INIT_WITH_MASK;
    }
    // The colour models are seeded from the calling thread's generator: start
    // it afresh so a pass depends only on its arguments, and give the host its
    // own state back.
    const cv::RNG hostState = cv::theRNG();
    cv::theRNG() = cv::RNG();
    try {
        cv::grabCut(image, levelMask, frame, *session.bgdModel, *session.fgdModel, 3, mode);
    } catch (...) {
        cv::theRNG() = hostState;
        throw;
    }
    cv::theRNG() = hostState;

    for (int y = 0; y < h; ++y) {
        const unsigned char* state = levelMask.ptr<unsigned char>(y);
        unsigned char* v = coarseMask.row(y);
        for (int x = 0; x < w; ++x) v[x] = (state[x] & 1) ? 0xFF : 0;
    }
}

void multiScalePass(QxJob* job, Plane* const planes[3], Plane& fixedMap, Plane& workMask) {
    const int levels = grabCutLevels(std::max(workMask.width, workMask.height));
    startProgress(job->progressCallback, job->progressCookie, 10000, 0, 0);
    PyramidScope scope;
    ImagePyramid& pyramid = scope.pyramid;
    buildPyramid(pyramid, planes, &fixedMap, &workMask, levels);
    Plane* const coarsePlanes[3] = {pyramid.planes[0][levels], pyramid.planes[1][levels], pyramid.planes[2][levels]};
    Plane& coarseMask = *pyramid.masks[levels];

    auto* session = static_cast<GrabCutSession*>(job->grabCutSession);
    if (!session) {
        session = makeGrabCutSession(coarseMask.width, coarseMask.height);
        job->grabCutSession = session;
    }
    segmentCoarse(*session, coarsePlanes, coarseMask, *pyramid.guides[levels]);
    tickProgress();
    upsampleAllLevels(pyramid);
}

int grabCutPass(QxJob* job) {
    startProgress(job->progressCallback, job->progressCookie, 10000, 0, 10);
    const int w = job->grabWidth, h = job->grabHeight;
    const unsigned char* image = job->imagePixels + static_cast<ptrdiff_t>(job->grabY) * job->imageStep + 4 * job->grabX;
    Plane plane0(w, h), plane1(w, h), plane2(w, h);
    Plane* const planes[3] = {&plane0, &plane1, &plane2};
    // Plane 0 takes byte 2, plane 2 byte 0; byte 3 is not read.
    for (int c = 0; c < 3; ++c)
        planes[c]->status = ippiCopy_8u_C4C1R(image + 2 - c, job->imageStep, planes[c]->pixels, planes[c]->step, w, h);

    Plane workMask(w, h, job->maskPixels + static_cast<ptrdiff_t>(job->grabY) * job->maskStep + job->grabX,
                   job->maskStep);
    Plane fixedMap(w, h), savedMarks(w, h);
    copyImage(workMask, savedMarks);
    // fixedMap says which marks are fixed; the mark keeps only its side:
    // bit 0 takes bit 1 (0xFE -> 0xFF, 0x01 -> 0x00, 0x7E -> 0x7F).
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        unsigned char* m = workMask.row(y);
        unsigned char* f = fixedMap.row(y);
        for (int x = 0; x < w; ++x) {
            f[x] = (m[x] & 1) ? 0xFF : 0;
            m[x] = static_cast<unsigned char>((m[x] & 0xFE) | ((m[x] >> 1) & 1));
        }
    }

    multiScalePass(job, planes, fixedMap, workMask);

    workMask.status = ippiAndC_8u_C1IR(0xFE, workMask.pixels, workMask.step, w, h);
    workMask.status = ippiCopy_8u_C1MR(savedMarks.pixels, savedMarks.step, workMask.pixels, workMask.step, w, h,
                                       fixedMap.pixels, fixedMap.step);
    Plane aux(w, h, job->auxPixels + static_cast<ptrdiff_t>(job->grabY) * job->auxStep + job->grabX, job->auxStep);
    copyImage(workMask, aux);
    return 1;
}

// A session made for another coarse size cannot take this region.
bool sessionFits(const QxJob* job) {
    const auto* session = static_cast<const GrabCutSession*>(job->grabCutSession);
    if (!session) return true;
    const int levels = grabCutLevels(std::max(job->grabWidth, job->grabHeight));
    return session->levelWidth == grabCutCoarseSide(job->grabWidth, levels) &&
           session->levelHeight == grabCutCoarseSide(job->grabHeight, levels);
}

}  // namespace
}  // namespace qx

QX_EXPORT int qxGrabCut(QxJob* job, int /*fastLadder*/) {
    if (!qx::grabRegionInside(job) || !qx::grabCutSizeAccepted(job->grabWidth, job->grabHeight) ||
        !qx::sessionFits(job))
        return -2;
    return qx::runExport(qx::kGrabCutColumn, [&] { return qx::grabCutPass(job); });
}
