// The mask tools, the layered display and the tone preview on cv::Mat images.
#include <opencv2/imgproc.hpp>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

namespace {

int step(const cv::Mat& m) { return static_cast<int>(m.step); }

void requireRange(int low, int high) {
    if (low < 0 || low > 255 || high < 0 || high > 255)
        throw std::invalid_argument("the stretch bounds must lie in 0 to 255, not low " + std::to_string(low) +
                                    " and high " + std::to_string(high));
    if (low >= high)
        throw std::invalid_argument("the low stretch bound (" + std::to_string(low) +
                                    ") must be below the high one (" + std::to_string(high) + ")");
}

template <class E, std::size_t N>
E parseName(const std::string& name, const char* what, const char* const (&names)[N], const E (&values)[N]) {
    std::string list;
    for (std::size_t i = 0; i < N; ++i) {
        if (name == names[i]) return values[i];
        list += (i ? ", " : "") + std::string(names[i]);
    }
    throw std::invalid_argument(std::string(what) + " '" + name + "' is not one of " + list);
}

}  // namespace

FillClass parseFillClass(const std::string& name) {
    static const char* const names[] = {"cut", "keep", "unknown"};
    static const FillClass values[] = {FillClass::Cut, FillClass::Keep, FillClass::Unknown};
    return parseName(name, "fill class", names, values);
}

ShowMode parseShowMode(const std::string& name) {
    static const char* const names[] = {"tint", "classes", "over", "overlay", "grey"};
    static const ShowMode values[] = {ShowMode::Tint, ShowMode::Classes, ShowMode::OverColour,
                                      ShowMode::ColourOverlay, ShowMode::GreyAlpha};
    return parseName(name, "display mode", names, values);
}

LevelShow parseLevelShow(const std::string& name) {
    static const char* const names[] = {"image", "luma", "chroma", "cb", "cr"};
    static const LevelShow values[] = {LevelShow::Image, LevelShow::Luma, LevelShow::Chroma, LevelShow::Cb,
                                       LevelShow::Cr};
    return parseName(name, "preview component", names, values);
}

cv::Rect floodFillMarks(cv::Mat& marks, cv::Point seed, FillClass as) {
    requireDepth8(marks, "the marks", 1u << 1);
    if (!cv::Rect(0, 0, marks.cols, marks.rows).contains(seed))
        throw std::invalid_argument("the seed " + std::to_string(seed.x) + "," + std::to_string(seed.y) +
                                    " lies outside the " + std::to_string(marks.cols) + "x" +
                                    std::to_string(marks.rows) + " mask");
    // A trimap codes cut as 0, the brushes and fills as 1: both are cut here.
    // The fill runs on 1; pixels it leaves keep their 0, and in a trimap (no
    // 1 before) the filled cut is written as 0 too.
    const cv::Mat zeros = marks == 0;
    const bool trimapCoding = cv::countNonZero(marks == kMarkCut) == 0;
    marks.setTo(kMarkCut, zeros);
    int rect[4];
    const int status = qxFloodFillAlpha(marks.data, step(marks), marks.cols, marks.rows, seed.x,
                                                     seed.y, 0, 0, static_cast<int>(as), 0, rect);
    marks.setTo(0, trimapCoding ? cv::Mat(marks == kMarkCut) : cv::Mat(zeros & (marks == kMarkCut)));
    checkReturn("qxFloodFillAlpha", status);
    return cv::Rect(rect[0], rect[1], rect[2], rect[3]);
}

void stretchAlpha(cv::Mat& alpha, int low, int high, bool protectFixed) {
    requireDepth8(alpha, "the alpha", 1u << 1);
    requireRange(low, high);
    checkReturn("qxScaleAlpha", qxScaleAlpha(alpha.data, step(alpha), alpha.cols, alpha.rows, high, low,
                                             protectFixed ? 1 : 0));
}

void smoothMask(cv::Mat& mask, int strength) {
    requireDepth8(mask, "the mask", 1u << 1);
    if (strength != 0 && strength != 1)
        throw std::invalid_argument("the smoothing strength must be 0 or 1, not " + std::to_string(strength));
    checkReturn("qxfilterIm8u", qxfilterIm8u(mask.data, step(mask), mask.cols, mask.rows, strength));
}

cv::Mat showMask(const cv::Mat& image, const cv::Mat& mask, ShowMode mode, const std::array<unsigned char, 3>& colour,
                 int low, int high) {
    requireDepth8(mask, "the mask", 1u << 1);
    requireSameSize(image, "the image", mask, "the mask");
    requireRange(low, high);
    cv::Mat pixels = toFourByte(image);
    // The marks pictures show 0 (a trimap's cut) and 1 (the brushes' cut)
    // alike as cut: tint reads cut as 1, classes as 0.
    cv::Mat marks = mask;
    if (mode == ShowMode::Tint || mode == ShowMode::Classes) {
        marks = mask.clone();
        if (mode == ShowMode::Tint) marks.setTo(kMarkCut, mask == 0);
        else marks.setTo(0, mask == kMarkCut);
    }
    checkReturn("qxShowImageAlpha", qxShowImageAlpha(pixels.data, step(pixels), pixels.cols, pixels.rows, marks.data,
                                                     step(marks), high, low, static_cast<int>(mode), colour.data()));
    return toThreeByte(pixels);
}

cv::Mat levelPreview(const cv::Mat& image, int target, LevelShow show) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    if (target < 0 || target > 255)
        throw std::invalid_argument("the level target must lie in 0 to 255, not " + std::to_string(target));
    // The YCbCr conversion reads byte 0 as red.
    cv::Mat rgb = toThreeByte(image, ChannelOrder::RGB);
    checkReturn("qxRGB2YCbCrAutoLevel",
                qxRGB2YCbCrAutoLevel(rgb.data, step(rgb), rgb.cols, rgb.rows, static_cast<int>(show), target));
    cv::Mat out;
    cv::cvtColor(rgb, out, cv::COLOR_RGB2BGR);
    return out;
}

}  // namespace qxhost
