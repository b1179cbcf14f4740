#include "support/strand_composite.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace qxtest {

namespace {

// Alpha of strands over a body: each strand a random walk of anti-aliased
// segments whose opacity fades along it, reaching up to `reach` of the
// image's shorter side beyond the body.
cv::Mat strandMatte(cv::Size size, double reachShare, cv::RNG& rng) {
    const double m = std::min(size.width, size.height);
    cv::Mat body(size, CV_32F, cv::Scalar(0));
    const cv::Point centre(size.width / 2, size.height);
    const cv::Size axes(static_cast<int>(size.width * 0.3), static_cast<int>(size.height * 0.55));
    cv::ellipse(body, centre, axes, 0, 0, 360, cv::Scalar(1), cv::FILLED, cv::LINE_AA);
    cv::Mat alpha = body.clone();
    const int count = static_cast<int>(m * 1.5);
    const double reach = m * reachShare;
    for (int i = 0; i < count; ++i) {
        const double t = rng.uniform(CV_PI * 1.02, CV_PI * 1.98);
        cv::Point2d p(centre.x + axes.width * 0.97 * std::cos(t), centre.y + axes.height * 0.97 * std::sin(t));
        double heading = t + rng.uniform(-0.4, 0.4);
        const double opacity = rng.uniform(0.3, 1.0);
        const int thickness = rng.uniform(1, 3);
        const int steps = rng.uniform(8, 24);
        const double stepLength = reach * rng.uniform(0.3, 1.0) / steps;
        // The walk first, then the strand drawn only over its own box: a
        // full-size canvas per strand made 24 MP cases take many minutes.
        std::vector<cv::Point2d> walk{p};
        std::vector<double> fades;
        for (int s = 0; s < steps; ++s) {
            heading += rng.uniform(-0.15, 0.15);
            p = cv::Point2d(p.x + stepLength * std::cos(heading), p.y + stepLength * std::sin(heading));
            walk.push_back(p);
            fades.push_back(opacity * (1.0 - 0.7 * s / steps));
        }
        std::vector<cv::Point> corners;
        for (const cv::Point2d& w : walk) corners.emplace_back(cvFloor(w.x), cvFloor(w.y));
        const cv::Rect box = (cv::boundingRect(corners) + cv::Size(2, 2) - cv::Point(thickness + 2, thickness + 2) +
                              cv::Size(2 * thickness + 4, 2 * thickness + 4)) &
                             cv::Rect(0, 0, size.width, size.height);
        if (box.empty()) continue;
        cv::Mat strand(box.size(), CV_32F, cv::Scalar(0));
        for (int s = 0; s < steps; ++s) {
            const cv::Point2d a = walk[s] - cv::Point2d(box.x, box.y), b = walk[s + 1] - cv::Point2d(box.x, box.y);
            cv::line(strand, cv::Point(cvRound(a.x * 16), cvRound(a.y * 16)),
                     cv::Point(cvRound(b.x * 16), cvRound(b.y * 16)), cv::Scalar(fades[s]), thickness, cv::LINE_AA, 4);
        }
        cv::Mat target = alpha(box);
        cv::max(target, strand, target);
    }
    cv::Mat out;
    alpha.convertTo(out, CV_8U, 255.0);
    return out;
}

}  // namespace

cv::Mat makeStandInPhoto(cv::Size size, unsigned seed) {
    cv::RNG rng(seed);
    cv::Mat small(std::max(2, size.height / 64), std::max(2, size.width / 64), CV_8UC3);
    rng.fill(small, cv::RNG::UNIFORM, 30, 230);
    cv::Mat photo, grain(size, CV_8UC3);
    cv::resize(small, photo, size, 0, 0, cv::INTER_CUBIC);
    rng.fill(grain, cv::RNG::NORMAL, 0, 6);
    cv::add(photo, grain, photo);
    return photo;
}

// The unknown band: every pixel within `limit` of the matte's soft and solid
// pixels, less the keep region.
cv::Mat bandWithin(const cv::Mat& distance, const cv::Mat& keep, float limit) {
    return (distance <= limit) & ~keep;
}

StrandCase makeStrandCase(const cv::Mat& foreground, const cv::Mat& background, cv::Size size,
                          double unknownFraction, unsigned seed) {
    StrandCase c;
    const double target = unknownFraction * double(size.area());
    // Strands reach 0.35 of the shorter side; when their hull (2 pixels
    // round every strand) already holds more than the fraction asked, they
    // are drawn again shorter, a hairline band about as wide as the fraction.
    cv::Mat keep, distance;
    double reach = 0.35;
    for (int attempt = 0; attempt < 4; ++attempt) {
        cv::RNG rng(seed);
        c.alpha = strandMatte(size, reach, rng);
        cv::erode(c.alpha == 255, keep, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(7, 7)));
        cv::distanceTransform(c.alpha == 0, distance, cv::DIST_L2, 3);
        const double hull = double(cv::countNonZero(bandWithin(distance, keep, 2.0f)));
        if (hull <= target * 1.05) break;
        reach *= std::max(0.05, target / hull);
    }

    cv::Mat f, b;
    cv::resize(foreground, f, size, 0, 0, cv::INTER_CUBIC);
    cv::resize(background, b, size, 0, 0, cv::INTER_CUBIC);
    cv::Mat a, af, ab;
    c.alpha.convertTo(a, CV_32F, 1.0 / 255);
    cv::cvtColor(a, a, cv::COLOR_GRAY2BGR);
    f.convertTo(af, CV_32FC3);
    b.convertTo(ab, CV_32FC3);
    cv::Mat mixed = af.mul(a) + ab.mul(cv::Scalar::all(1.0) - a);
    mixed.convertTo(c.image, CV_8UC3);  // rounds

    // Keep: the solid body, shrunk by a few pixels; unknown: everything within
    // a distance of the soft pixels, the distance chosen for the fraction.
    std::vector<float> d;
    d.reserve(c.alpha.total());
    for (int y = 0; y < distance.rows; ++y) {
        const float* r = distance.ptr<float>(y);
        const unsigned char* k = keep.ptr<unsigned char>(y);
        for (int x = 0; x < distance.cols; ++x)
            if (!k[x]) d.push_back(r[x]);
    }
    const std::size_t n = std::min(d.size() - 1, static_cast<std::size_t>(std::max(0.0, target)));
    std::nth_element(d.begin(), d.begin() + static_cast<long>(n), d.end());
    const float limit = std::max(d[n], 2.0f);
    c.trimap = cv::Mat(size, CV_8UC1, cv::Scalar(0));
    c.trimap.setTo(128, distance <= limit);
    c.trimap.setTo(255, keep);
    c.unknown = cv::countNonZero(c.trimap == 128);
    return c;
}

}  // namespace qxtest
