// The GrabCut session: the one record that outlives a call. qxGrabCut makes
// it on its first pass at the size of the coarse level, the host keeps it in
// QxJob::grabCutSession, and qxGrabCutDeleteBuf frees it.
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>

#include "qxmatte.h"

namespace qx {

struct GrabCutSession {
    int32_t levelWidth;     // size of the coarse level the segmentation runs on
    int32_t levelHeight;
    double markSum;         // sum of the coarse fixed-mark map at the last change
    cv::Mat* bgdModel;      // colour models, empty until cv::grabCut fills them
    cv::Mat* fgdModel;
    cv::Mat* levelMask;     // CV_8UC1, levelHeight x levelWidth: GC_BGD .. GC_PR_FGD
    unsigned char initialised;  // 0 until the first pass laid out levelMask
};

// Number of halvings for a region whose larger side is `side`: 0 for 101 to
// 200, 1 for 201 to 799, 2 for 800 to 1599, 3 for 1600 to 3199; negative
// below 101 and above 3 from 3200 on.
int grabCutLevels(int side);

// Side of the coarse level after `levels` halvings, each rounding an odd
// size up as the pyramid does.
int grabCutCoarseSide(int side, int levels);

// True when a grab rectangle of this size can run a session: larger side from
// 101 to 3199 and a coarse level over 10 pixels each way.
bool grabCutSizeAccepted(int width, int height);

// True when the job's plane pointers are set and its grab rectangle has a
// positive size and lies inside width x height.
bool grabRegionInside(const QxJob* job);

// A new session for a coarse level of width x height: empty models, an
// unlaid level mask, markSum 0.
GrabCutSession* makeGrabCutSession(int width, int height);

// Releases the models and the level mask (data, then the matrix) and the
// session, each pointer tested.
void releaseGrabCutSession(GrabCutSession* session);

}  // namespace qx
