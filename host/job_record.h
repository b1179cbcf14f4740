// The QxJob record over the host's own buffers, shared by every job-form
// export the host layer calls.
#pragma once

#include <opencv2/core.hpp>

#include "qxhost.h"

namespace qxhost {

// A job over four-byte pixels, the mark mask, the output (null: none) and the
// aux mask, all of the pixels' size, reporting to progress; the caller sets
// the rectangle and mode fields its export reads.
inline QxJob jobOver(cv::Mat& pixels, cv::Mat& mask, cv::Mat* out, cv::Mat& aux, Progress progress) {
    QxJob job{};
    job.imagePixels = pixels.data;
    job.imageStep = static_cast<int>(pixels.step);
    job.maskPixels = mask.data;
    job.maskStep = static_cast<int>(mask.step);
    if (out) {
        job.outPixels = out->data;
        job.outStep = static_cast<int>(out->step);
    }
    job.auxPixels = aux.data;
    job.auxStep = static_cast<int>(aux.step);
    job.width = pixels.cols;
    job.height = pixels.rows;
    job.progressCallback = progress.function;
    job.progressCookie = progress.cookie;
    return job;
}

}  // namespace qxhost
