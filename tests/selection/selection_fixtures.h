// Host-side images and job records for the selection tests.
#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

#include "qxmatte.h"

namespace seltest {

// A job over a 4-byte image and two mark planes of the same size, with the
// grab rectangle set to the whole image.
struct HostPlanes {
    cv::Mat image;  // CV_8UC4
    cv::Mat mask, aux;
    QxJob job{};

    HostPlanes(const cv::Mat& bgra, unsigned char mark) {
        image = bgra.clone();
        mask = cv::Mat(bgra.size(), CV_8UC1, cv::Scalar(mark));
        aux = cv::Mat(bgra.size(), CV_8UC1, cv::Scalar(0x55));
        job.imagePixels = image.data;
        job.imageStep = static_cast<int>(image.step);
        job.maskPixels = mask.data;
        job.maskStep = static_cast<int>(mask.step);
        job.auxPixels = aux.data;
        job.auxStep = static_cast<int>(aux.step);
        job.width = job.grabWidth = bgra.cols;
        job.height = job.grabHeight = bgra.rows;
    }
};

// A textured object on a textured background, 4-byte pixels: the object is
// an ellipse and a bar of warm, noisy colours, the background a cool noisy
// pattern with soft stripes. truth: 255 on the object.
inline cv::Mat texturedScene(int width, int height, cv::Mat& truth, unsigned seed = 7) {
    cv::RNG rng(seed);
    cv::Mat noise(height, width, CV_16SC3);
    rng.fill(noise, cv::RNG::NORMAL, cv::Scalar::all(0), cv::Scalar::all(40));
    cv::Mat scene(height, width, CV_8UC3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double stripe = 40.0 * std::sin((x + 2 * y) * 0.09);
            scene.at<cv::Vec3b>(y, x) = cv::Vec3b(cv::saturate_cast<uchar>(150 + stripe), cv::saturate_cast<uchar>(120 - stripe / 2),
                                                  cv::saturate_cast<uchar>(60 + stripe / 3));
        }
    truth = cv::Mat::zeros(height, width, CV_8UC1);
    const cv::Point centre(width / 2, height / 2);
    cv::ellipse(truth, centre, cv::Size(width / 5, height / 4), 20, 0, 360, cv::Scalar(255), -1);
    cv::rectangle(truth, cv::Rect(width / 2 - width / 30, height / 2, width / 15, height / 3), cv::Scalar(255), -1);
    cv::Mat object(height, width, CV_8UC3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double spot = 35.0 * std::sin(x * 0.21) * std::cos(y * 0.17);
            object.at<cv::Vec3b>(y, x) = cv::Vec3b(cv::saturate_cast<uchar>(110 + spot), cv::saturate_cast<uchar>(130 + spot),
                                                   cv::saturate_cast<uchar>(150 - spot));
        }
    object.copyTo(scene, truth);
    cv::add(scene, noise, scene, cv::noArray(), CV_8UC3);  // grain, saturating
    cv::Mat bgra;
    cv::cvtColor(scene, bgra, cv::COLOR_BGR2BGRA);
    return bgra;
}

// Intersection over union of two 0/non-zero masks.
inline double iou(const cv::Mat& a, const cv::Mat& b) {
    const double both = cv::countNonZero((a != 0) & (b != 0));
    const double either = cv::countNonZero((a != 0) | (b != 0));
    return either > 0 ? both / either : 1.0;
}

}  // namespace seltest
