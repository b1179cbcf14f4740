// Synthetic composites with exact ground truth for the matting and foreground tests.
#pragma once

#include <opencv2/core.hpp>

#include <array>

namespace qxtest {

struct Composite {
    cv::Mat image, foreground, background;  // CV_8UC3
    cv::Mat alpha;                          // CV_8UC1, exact ground truth
    cv::Mat trimap;                         // CV_8UC1: 0 background, 255 foreground, 128 unknown
    int unknownCount = 0;                   // pixels marked 128 in trimap
};

// Anti-aliased shapes, thin semi-transparent strands and a soft gradient edge over a
// smoothly textured background; image = round(a*F + (1-a)*B) with a = alpha/255.
// The trimap marks unknown every pixel within bandRadius of a pixel with 0 < alpha < 255.
// Deterministic for given arguments.
Composite makeComposite(int width, int height, int bandRadius = 6, unsigned seed = 1);

// The three colour planes of a CV_8UC3 image, each CV_8UC1 (continuous copies).
std::array<cv::Mat, 3> splitPlanes(const cv::Mat& image);

// Sum of |a-b|/255 in thousands, as matting benchmarks quote it, and the mean of
// ((a-b)/255)^2, both over the pixels where mask != 0 (all pixels if mask is empty).
double sadThousands(const cv::Mat& a, const cv::Mat& b, const cv::Mat& mask = cv::Mat());
double meanSquaredError(const cv::Mat& a, const cv::Mat& b, const cv::Mat& mask = cv::Mat());

// The unknown band of a trimap (255 where trimap == 128), for the two measures above.
inline cv::Mat unknownBand(const cv::Mat& trimap) { return trimap == 128; }

}  // namespace qxtest
