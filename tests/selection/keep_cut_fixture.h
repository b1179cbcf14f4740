// A keep/cut job over cv::Mat buffers of the selection tests: a 4-byte image,
// the mark mask, the output, and the host's copy of the marks in aux.
#pragma once

#include <opencv2/imgproc.hpp>

#include "frame/progress.h"
#include "qxmatte.h"
#include "support/composite.h"

namespace seltest {

struct KeepCutJob {
    cv::Mat image, mask, out, aux;  // CV_8UC4, CV_8UC1, CV_8UC4, CV_8UC1
    QxJob job{};
    KeepCutJob(const cv::Mat& bgr, const cv::Mat& marks) {
        cv::cvtColor(bgr, image, cv::COLOR_BGR2BGRA);
        // Rows longer than the pixels: every buffer keeps its own step.
        mask = cv::Mat(marks.rows, marks.cols + 7, CV_8UC1, cv::Scalar(0)).colRange(0, marks.cols);
        marks.copyTo(mask);
        aux = marks.clone();
        out = cv::Mat(marks.rows, marks.cols, CV_8UC4, cv::Scalar(9, 9, 9, 77));
        job.imagePixels = image.data, job.imageStep = int(image.step);
        job.maskPixels = mask.data, job.maskStep = int(mask.step);
        job.outPixels = out.data, job.outStep = int(out.step);
        job.auxPixels = aux.data, job.auxStep = int(aux.step);
        job.width = marks.cols, job.height = marks.rows;
        job.roiWidth = marks.cols, job.roiHeight = marks.rows;
    }
    int run(int fullSize) {
        const int rc = qxKeepCutToAlpha(&job, fullSize);
        qx::startProgress(nullptr, nullptr, 0, 0, 0);
        return rc;
    }
};

// Trimap (0, 255, else unknown) to the mark coding: fixed cut, fixed keep, band.
inline cv::Mat marksOf(const cv::Mat& trimap) {
    cv::Mat marks(trimap.size(), CV_8UC1, cv::Scalar(0x7E));
    marks.setTo(0x01, trimap == 0);
    marks.setTo(0xFF, trimap == 255);
    return marks;
}

}  // namespace seltest
