// A host's buffers for one foreground job over a whole image.
#pragma once

#include <opencv2/imgproc.hpp>

#include "qxmatte.h"

namespace qxtest {

constexpr unsigned char kOutFill = 0x5A;

// out starts as kOutFill or, with imageOut, as the image with byte 3 kOutFill;
// aux holds 9.
struct ForegroundJob {
    cv::Mat image, alpha, aux, out;
    QxJob job{};
    ForegroundJob(const cv::Mat& bgr, const cv::Mat& a, bool imageOut = false)
        : alpha(a.clone()), aux(a.size(), CV_8UC1, cv::Scalar(9)), out(a.size(), CV_8UC4, cv::Scalar::all(kOutFill)) {
        cv::cvtColor(bgr, image, cv::COLOR_BGR2BGRA);
        if (imageOut) cv::mixChannels(image, out, {0, 0, 1, 1, 2, 2});
        job.imagePixels = image.data, job.imageStep = int(image.step);
        job.maskPixels = alpha.data, job.maskStep = int(alpha.step);
        job.outPixels = out.data, job.outStep = int(out.step);
        job.auxPixels = aux.data, job.auxStep = int(aux.step);
        job.width = job.roiWidth = bgr.cols, job.height = job.roiHeight = bgr.rows;
    }
    const cv::Vec4b& at(int x, int y) const { return out.at<cv::Vec4b>(y, x); }
    bool outUntouched() const { return cv::countNonZero(out.reshape(1) != kOutFill) == 0; }
};

}  // namespace qxtest
