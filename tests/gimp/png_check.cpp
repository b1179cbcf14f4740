// Reads the PNGs of the plug-in test back as pixels (GIMP's files carry time
// and profile chunks, so files are never compared as bytes) and checks them.
//   png_check alpha-equal RGBA.png ALPHA.png   alpha of a cut-out equals a grey alpha
//   png_check colours RGBA.png ORIGINAL.png    colours unchanged where alpha is 255 (GIMP
//                                              saves transparent pixels black); prints how
//                                              many edge pixels changed colour
//   png_check same RESULT.png ORIGINAL.png     same channels and pixels
//   png_check levels GREY.png                  counts of 0, 128, 255 and other values
// Exit 0 when the check holds, 1 when not, 2 for unreadable files.
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

cv::Mat load(const char* path) {
    cv::Mat m = cv::imread(path, cv::IMREAD_UNCHANGED);
    if (m.empty() || m.depth() != CV_8U) {
        std::fprintf(stderr, "png_check: cannot read %s as 8-bit\n", path);
        std::exit(2);
    }
    return m;
}

int alphaEqual(const cv::Mat& rgba, const cv::Mat& alpha) {
    if (rgba.channels() != 4 || alpha.channels() != 1 || rgba.size() != alpha.size()) {
        std::printf("shapes differ: %d channels %dx%d against %d channels %dx%d\n", rgba.channels(), rgba.cols,
                    rgba.rows, alpha.channels(), alpha.cols, alpha.rows);
        return 1;
    }
    cv::Mat a;
    cv::extractChannel(rgba, a, 3);
    const int differ = cv::countNonZero(a != alpha);
    double maxDiff = 0;
    cv::minMaxLoc(cv::abs(a - alpha) + cv::abs(alpha - a), nullptr, &maxDiff);
    const int soft = cv::countNonZero((alpha > 0) & (alpha < 255));
    std::printf("alpha: %d of %d pixels differ (largest difference %.0f); %d soft pixels\n", differ,
                static_cast<int>(alpha.total()), maxDiff, soft);
    return differ == 0 && soft > 0 ? 0 : 1;
}

int colours(const cv::Mat& rgba, const cv::Mat& original) {
    if (rgba.channels() != 4 || original.channels() != 3 || rgba.size() != original.size()) return 1;
    cv::Mat alpha, parts[4], was[3];
    cv::split(rgba, parts);
    cv::split(original, was);
    alpha = parts[3];
    const cv::Mat changed = (parts[0] != was[0]) | (parts[1] != was[1]) | (parts[2] != was[2]);
    const cv::Mat edge = (alpha > 0) & (alpha < 255);
    const int outside = cv::countNonZero(changed & (alpha == 255)), inside = cv::countNonZero(changed & edge);
    std::printf("colours: %d of %d edge pixels changed, %d opaque pixels changed\n", inside,
                cv::countNonZero(edge), outside);
    return outside == 0 && inside > 0 ? 0 : 1;
}

int same(const cv::Mat& a, const cv::Mat& b) {
    const bool equal = a.size() == b.size() && a.channels() == b.channels() &&
                       cv::norm(a, b, cv::NORM_INF) == 0;
    std::printf("same: %s (%d and %d channels)\n", equal ? "yes" : "no", a.channels(), b.channels());
    return equal ? 0 : 1;
}

int levels(const cv::Mat& grey) {
    if (grey.channels() != 1) return 1;
    const int zero = cv::countNonZero(grey == 0), mid = cv::countNonZero(grey == 128),
              full = cv::countNonZero(grey == 255);
    std::printf("levels: 0 %d, 128 %d, 255 %d, other %d\n", zero, mid, full,
                static_cast<int>(grey.total()) - zero - mid - full);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && !std::strcmp(argv[1], "alpha-equal")) return alphaEqual(load(argv[2]), load(argv[3]));
    if (argc == 4 && !std::strcmp(argv[1], "colours")) return colours(load(argv[2]), load(argv[3]));
    if (argc == 4 && !std::strcmp(argv[1], "same")) return same(load(argv[2]), load(argv[3]));
    if (argc == 3 && !std::strcmp(argv[1], "levels")) return levels(load(argv[2]));
    std::fprintf(stderr, "usage: png_check alpha-equal|colours|same A B, or png_check levels GREY\n");
    return 2;
}
