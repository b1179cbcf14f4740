// Composites with textured layers and a known soft alpha, for measuring how
// well foreground colours are recovered where the old background shows
// through.
#pragma once

#include <opencv2/core.hpp>

namespace qxtest {

struct TexturedComposite {
    cv::Mat image, foreground, background;  // CV_8UC3
    cv::Mat alpha;                          // CV_8UC1
};

// A foreground with fine stripes and grain over a background with blotches
// and grain; the alpha is a soft-edged body with thin strands and a furry
// rim. image = round(a F + (1 - a) B), a = alpha / 255. Deterministic.
TexturedComposite makeTexturedComposite(int width, int height, unsigned seed = 1);

// The same alpha over two given layers (CV_8UC3, resized to width x height).
TexturedComposite compositeLayers(const cv::Mat& foreground, const cv::Mat& background, int width, int height,
                                  unsigned seed = 1);

// Alpha-weighted mean absolute colour error, in 8-bit levels, of estimate
// against truth over the pixels with 0 < alpha < 255.
double softColourError(const cv::Mat& estimate, const cv::Mat& truth, const cv::Mat& alpha);

}  // namespace qxtest
