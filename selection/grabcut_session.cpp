// Sizes, region checks and the lifetime of the GrabCut session.
#include "selection/grabcut_session.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace qx {

int grabCutLevels(int side) {
    // Aims the coarse level at a larger side of about 100 to 400 pixels.
    const int levels = static_cast<int>(std::log(side * 0.0025) / std::log(2.0)) + 1;
    return std::min(levels, 5);
}

int grabCutCoarseSide(int side, int levels) {
    for (int l = 0; l < levels; ++l) side = side / 2 + (side & 1);
    return side;
}

bool grabCutSizeAccepted(int width, int height) {
    const int side = std::max(width, height);
    if (side < 101 || side > 3199) return false;
    const int levels = grabCutLevels(side);
    // The definite-background frame of 5 pixels needs room inside it.
    return grabCutCoarseSide(width, levels) > 10 && grabCutCoarseSide(height, levels) > 10;
}

bool grabRegionInside(const QxJob* job) {
    if (!job || !job->imagePixels || !job->maskPixels || !job->auxPixels) return false;
    if (job->grabWidth <= 0 || job->grabHeight <= 0 || job->grabX < 0 || job->grabY < 0) return false;
    if (static_cast<long long>(job->grabX) + job->grabWidth > job->width) return false;
    if (static_cast<long long>(job->grabY) + job->grabHeight > job->height) return false;
    return job->imageStep >= 4LL * job->width && job->maskStep >= job->width && job->auxStep >= job->width;
}

GrabCutSession* makeGrabCutSession(int width, int height) {
    // Owned by the guard until complete, so that a failed allocation leaks nothing.
    std::unique_ptr<GrabCutSession, void (*)(GrabCutSession*)> session(
        new GrabCutSession{width, height, 0.0, nullptr, nullptr, nullptr, 0}, releaseGrabCutSession);
    session->bgdModel = new cv::Mat();
    session->fgdModel = new cv::Mat();
    session->levelMask = new cv::Mat(height, width, CV_8UC1);
    return session.release();
}

void releaseGrabCutSession(GrabCutSession* session) {
    if (!session) return;
    for (cv::Mat* matrix : {session->fgdModel, session->bgdModel, session->levelMask}) {
        if (!matrix) continue;
        matrix->release();
        delete matrix;
    }
    delete session;
}

}  // namespace qx
