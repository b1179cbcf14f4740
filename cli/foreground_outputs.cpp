// Foreground colours written as an image and/or an RGBA cut-out, shared by the
// matte and foreground subcommands.
#include "cli.h"

namespace qxcli {

void writeForegroundOutputs(const cv::Mat& image, const cv::Mat& alpha, qxhost::ColourMethod method,
                            ProgressBar& bar, const std::string& colourPath, const std::string& cutoutPath) {
    if (colourPath.empty() && cutoutPath.empty()) return;
    beginProgress(bar, "foreground");
    cv::Mat fg = qxhost::recoverColours(image, alpha, method, progressOf(bar));
    endProgress(bar);
    if (!colourPath.empty()) writeImage(colourPath, fg);
    if (!cutoutPath.empty()) writeImage(cutoutPath, qxhost::makeCutout(fg, alpha));
}

}  // namespace qxcli
