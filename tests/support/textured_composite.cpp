#include "support/textured_composite.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace qxtest {
namespace {

// Gaussian noise blurred to the given scale, normalised to unit spread.
cv::Mat grain(cv::RNG& rng, cv::Size size, double sigma) {
    cv::Mat n(size, CV_32F);
    rng.fill(n, cv::RNG::NORMAL, 0, 1);
    if (sigma > 0) cv::GaussianBlur(n, n, cv::Size(), sigma);
    cv::Scalar mean, dev;
    cv::meanStdDev(n, mean, dev);
    return (n - mean[0]) / std::max(dev[0], 1e-6);
}

// Three channels: a base colour, stripes of a few pixels' period and grain.
cv::Mat texture(cv::RNG& rng, cv::Size size, double stripePeriod, double stripeAmp, double blotchSigma,
                double blotchAmp, double grainAmp) {
    cv::Mat out(size, CV_8UC3);
    const double angle = rng.uniform(0.0, CV_PI);
    const double cx = std::cos(angle), cy = std::sin(angle);
    cv::Mat channels[3];
    for (int c = 0; c < 3; ++c) {
        const double base = rng.uniform(60.0, 200.0), phase = rng.uniform(0.0, 6.28);
        cv::Mat blotch = grain(rng, size, blotchSigma), fine = grain(rng, size, 0.7);
        channels[c].create(size, CV_8UC1);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) {
                const double stripe = std::sin(6.283185 * (x * cx + y * cy) / stripePeriod + phase);
                const double v = base + stripeAmp * stripe + blotchAmp * blotch.at<float>(y, x) +
                                 grainAmp * fine.at<float>(y, x);
                channels[c].at<uchar>(y, x) = cv::saturate_cast<uchar>(v);
            }
    }
    cv::merge(channels, 3, out);
    return out;
}

cv::Mat softAlpha(cv::RNG& rng, cv::Size size) {
    const double m = std::min(size.width, size.height);
    cv::Mat body(size, CV_32F, cv::Scalar(0));
    for (int k = 0; k < 3; ++k) {
        cv::Point centre(static_cast<int>(size.width * rng.uniform(0.3, 0.7)),
                         static_cast<int>(size.height * rng.uniform(0.3, 0.7)));
        cv::Size axes(static_cast<int>(m * rng.uniform(0.12, 0.25)), static_cast<int>(m * rng.uniform(0.12, 0.25)));
        cv::ellipse(body, centre, axes, rng.uniform(0.0, 180.0), 0, 360, cv::Scalar(1), cv::FILLED, cv::LINE_AA);
    }
    cv::GaussianBlur(body, body, cv::Size(), std::max(1.0, m / 200.0));
    // A furry rim: grain decides the opacity just outside the body.
    cv::Mat rim;
    cv::GaussianBlur(body, rim, cv::Size(), std::max(2.0, m / 40.0));
    cv::Mat fur = grain(rng, size, 0.8);
    cv::Mat alpha = cv::max(body, cv::min(1.0, cv::max(0.0, rim.mul(1.2 + 0.5 * fur))));
    // Strands: thin curves leaving the body, each of its own opacity (a later
    // one drawn over an earlier one where they cross).
    cv::Mat strands(size, CV_32F, cv::Scalar(0));
    const int count = static_cast<int>(m / 3);
    for (int k = 0; k < count; ++k) {
        cv::Point2d p(size.width * rng.uniform(0.25, 0.75), size.height * rng.uniform(0.25, 0.75));
        double heading = rng.uniform(0.0, 6.283);
        const double opacity = rng.uniform(0.25, 0.9);
        std::vector<cv::Point> path{cv::Point(p)};
        for (int s = 0; s < 40; ++s) {
            heading += rng.uniform(-0.25, 0.25);
            p += cv::Point2d(std::cos(heading), std::sin(heading)) * (m / 80.0);
            path.emplace_back(p);
        }
        cv::polylines(strands, path, false, cv::Scalar(opacity), 1, cv::LINE_AA);
    }
    alpha = cv::max(alpha, strands);
    cv::Mat out;
    alpha.convertTo(out, CV_8U, 255.0);
    return out;
}

TexturedComposite composite(const cv::Mat& fg, const cv::Mat& bg, const cv::Mat& alpha) {
    TexturedComposite c{cv::Mat(fg.size(), CV_8UC3), fg, bg, alpha};
    for (int y = 0; y < fg.rows; ++y)
        for (int x = 0; x < fg.cols; ++x) {
            const double a = alpha.at<uchar>(y, x) / 255.0;
            const cv::Vec3b f = fg.at<cv::Vec3b>(y, x), b = bg.at<cv::Vec3b>(y, x);
            for (int ch = 0; ch < 3; ++ch)
                c.image.at<cv::Vec3b>(y, x)[ch] = cv::saturate_cast<uchar>(a * f[ch] + (1 - a) * b[ch]);
        }
    return c;
}

}  // namespace

TexturedComposite makeTexturedComposite(int width, int height, unsigned seed) {
    cv::RNG rng(seed);
    const cv::Size size(width, height);
    cv::Mat fg = texture(rng, size, rng.uniform(4.0, 9.0), 35, 6, 25, 12);
    cv::Mat bg = texture(rng, size, rng.uniform(10.0, 20.0), 20, 3, 45, 20);
    return composite(fg, bg, softAlpha(rng, size));
}

TexturedComposite compositeLayers(const cv::Mat& foreground, const cv::Mat& background, int width, int height,
                                  unsigned seed) {
    cv::RNG rng(seed);
    const cv::Size size(width, height);
    cv::Mat fg, bg;
    cv::resize(foreground, fg, size, 0, 0, cv::INTER_AREA);
    cv::resize(background, bg, size, 0, 0, cv::INTER_AREA);
    return composite(fg, bg, softAlpha(rng, size));
}

double softColourError(const cv::Mat& estimate, const cv::Mat& truth, const cv::Mat& alpha) {
    double sum = 0, weight = 0;
    for (int y = 0; y < alpha.rows; ++y)
        for (int x = 0; x < alpha.cols; ++x) {
            const int a = alpha.at<uchar>(y, x);
            if (a == 0 || a == 255) continue;
            const cv::Vec3b e = estimate.at<cv::Vec3b>(y, x), t = truth.at<cv::Vec3b>(y, x);
            sum += a * (std::abs(e[0] - t[0]) + std::abs(e[1] - t[1]) + std::abs(e[2] - t[2]));
            weight += 3.0 * a;
        }
    return weight > 0 ? sum / weight : 0;
}

}  // namespace qxtest
