// Argument checks of the host layer.
#include "argument_checks.h"

#include <stdexcept>

namespace qxhost {

void requireDepth8(const cv::Mat& image, const char* what, unsigned channelCounts) {
    if (image.empty()) throw std::invalid_argument(std::string(what) + " is empty");
    if (image.dims != 2) throw std::invalid_argument(std::string(what) + " must be a two-dimensional image");
    if (image.depth() != CV_8U || !(channelCounts & (1u << image.channels()))) {
        std::string counts;
        for (int c = 1; c <= 4; ++c)
            if (channelCounts & (1u << c)) counts += (counts.empty() ? "" : " or ") + std::to_string(c);
        throw std::invalid_argument(std::string(what) + " must be 8-bit with " + counts + " channel(s), not " +
                                    (image.depth() == CV_8U ? "" : "another depth with ") +
                                    std::to_string(image.channels()));
    }
}

void requireSameSize(const cv::Mat& a, const char* aWhat, const cv::Mat& b, const char* bWhat) {
    if (a.size() == b.size()) return;
    throw std::invalid_argument(std::string(aWhat) + " is " + std::to_string(a.cols) + "x" + std::to_string(a.rows) +
                                " but " + bWhat + " is " + std::to_string(b.cols) + "x" + std::to_string(b.rows) +
                                "; both must have the same size");
}

}  // namespace qxhost
