// Composites of two photographs through an exactly rendered matte of fine
// strands (hair, fur) with a wide unknown band, the object touching the
// bottom of the frame: honest cases for the any-size road and its bench.
#pragma once

#include <opencv2/core.hpp>

namespace qxtest {

struct StrandCase {
    cv::Mat image;   // CV_8UC3: round(a F + (1 - a) B)
    cv::Mat alpha;   // CV_8UC1, the exact matte
    cv::Mat trimap;  // CV_8UC1: 0, 255, 128 unknown
    long long unknown = 0;
};

// foreground and background (CV_8UC3, any size: resized to `size`) through a
// body standing on the bottom edge with strands of 1 to 3 pixels and partial
// opacity fanning out of it. The trimap's unknown band grows from the matte's
// soft pixels until about unknownFraction of the image is unknown; keep is
// the solid body beyond it. A fraction smaller than the strands' own hull
// draws them shorter, so the band stays as narrow as asked. Deterministic
// for equal arguments.
StrandCase makeStrandCase(const cv::Mat& foreground, const cv::Mat& background, cv::Size size,
                          double unknownFraction, unsigned seed = 1);

// Two smooth textures standing in for photographs where none are at hand.
cv::Mat makeStandInPhoto(cv::Size size, unsigned seed);

}  // namespace qxtest
