// Reads the PNGs of the plug-in test back as pixels (GIMP's files carry time
// and profile chunks, so files are never compared as bytes) and checks them.
//   png_check alpha-equal RGBA.png ALPHA.png   alpha of a cut-out equals a grey alpha with soft pixels
//   png_check colours RGBA.png ORIGINAL.png    colours unchanged where alpha is 255 (GIMP saves
//                                              transparent pixels black), changed on some edge pixels
//   png_check same RESULT.png ORIGINAL.png     same channels and pixels
//   png_check levels GREY.png                  counts of 0, 128, 255 and other values
//   png_check strip IMAGE.png TRIMAP.png       writes a 1000x640 image and a trimap whose
//                                              614400 unknown pixels make one tile (cut
//                                              left, keep right): over the library's limit
// Exit 0 when the check holds, 1 when not, 2 for unreadable files.
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

cv::Mat load(const char* path) {
    cv::Mat m = cv::imread(path, cv::IMREAD_UNCHANGED);
    if (m.empty() || m.depth() != CV_8U) {
        std::fprintf(stderr, "png_check: cannot read %s as 8-bit\n", path);
        std::exit(2);
    }
    return m;
}

int check(const std::string& what, const cv::Mat& a, const cv::Mat& b) {
    if (what == "same") {
        const bool equal = a.size() == b.size() && a.channels() == b.channels() && cv::norm(a, b, cv::NORM_INF) == 0;
        std::printf("same: %s (%d and %d channels)\n", equal ? "yes" : "no", a.channels(), b.channels());
        return !equal;
    }
    if (a.channels() != 4 || b.channels() != (what == "colours" ? 3 : 1) || a.size() != b.size())
        return std::printf("%s: shapes differ (%d and %d channels)\n", what.c_str(), a.channels(), b.channels()), 1;
    cv::Mat parts[4];
    cv::split(a, parts);
    const cv::Mat soft = (parts[3] > 0) & (parts[3] < 255);
    if (what == "alpha-equal") {
        const int differ = cv::countNonZero(parts[3] != b), edge = cv::countNonZero(soft);
        std::printf("alpha: %d of %d pixels differ; %d soft pixels\n", differ, int(b.total()), edge);
        return !(differ == 0 && edge > 0);
    }
    cv::Mat was[3];
    cv::split(b, was);
    const cv::Mat changed = (parts[0] != was[0]) | (parts[1] != was[1]) | (parts[2] != was[2]);
    const int inside = cv::countNonZero(changed & soft), outside = cv::countNonZero(changed & (parts[3] == 255));
    std::printf("colours: %d of %d edge pixels changed, %d opaque pixels changed\n", inside, cv::countNonZero(soft),
                outside);
    return !(outside == 0 && inside > 0);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (argc == 3 && what == "levels") {
        const cv::Mat grey = load(argv[2]);
        if (grey.channels() != 1) return 1;
        const int zero = cv::countNonZero(grey == 0), mid = cv::countNonZero(grey == 128);
        const int full = cv::countNonZero(grey == 255), other = int(grey.total()) - zero - mid - full;
        return std::printf("levels: 0 %d, 128 %d, 255 %d, other %d\n", zero, mid, full, other), 0;
    }
    if (argc == 4 && what == "strip") {
        cv::Mat small(10, 16, CV_8UC3), image, trimap(640, 1000, CV_8UC1, cv::Scalar(128));
        cv::RNG(7).fill(small, cv::RNG::UNIFORM, 30, 230);
        cv::resize(small, image, trimap.size(), 0, 0, cv::INTER_CUBIC);
        trimap.colRange(0, 20).setTo(0);
        trimap.colRange(980, 1000).setTo(255);
        return cv::imwrite(argv[2], image) && cv::imwrite(argv[3], trimap) ? 0 : 2;
    }
    if (argc == 4 && (what == "alpha-equal" || what == "colours" || what == "same"))
        return check(what, load(argv[2]), load(argv[3]));
    std::fprintf(stderr, "usage: png_check alpha-equal|colours|same A B, or png_check levels GREY\n");
    return 2;
}
