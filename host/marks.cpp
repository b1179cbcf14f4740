// Marks for the library's masks from a grey trimap or a binary selection.
#include <opencv2/imgproc.hpp>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

cv::Mat marksFromTrimap(const cv::Mat& trimap) {
    requireDepth8(trimap, "the trimap", 1u << 1);
    static const cv::Mat table = [] {
        cv::Mat t(1, 256, CV_8U, cv::Scalar(kMarkUnknown));
        // 1 as well: the cut that the stroke and fill tools draw.
        t.at<unsigned char>(0) = t.at<unsigned char>(1) = kMarkCut;
        t.at<unsigned char>(255) = kMarkKeep;
        return t;
    }();
    cv::Mat marks;
    cv::LUT(trimap, table, marks);
    return marks;
}

cv::Mat trimapFromMarks(const cv::Mat& marks) {
    cv::Mat trimap(marks.size(), CV_8UC1, cv::Scalar(128));
    trimap.setTo(0, marks == kMarkCut);
    trimap.setTo(255, marks == kMarkKeep);
    return trimap;
}

cv::Mat trimapRoundingMarks(const cv::Mat& marks) {
    requireDepth8(marks, "the marks", 1u << 1);
    cv::Mat trimap(marks.size(), CV_8UC1, cv::Scalar(128));
    const cv::Mat fixed = (marks & 1) != 0;
    trimap.setTo(0, fixed & (marks < 128));
    trimap.setTo(255, fixed & (marks >= 128));
    return trimap;
}

cv::Mat marksFromSelection(const cv::Mat& selection, int bandWidth) {
    requireDepth8(selection, "the selection", 1u << 1);
    if (bandWidth < 0) throw std::invalid_argument("the band width must not be negative");
    cv::Mat inside = selection != 0;
    cv::Mat marks(selection.size(), CV_8UC1, cv::Scalar(kMarkCut));
    marks.setTo(kMarkKeep, inside);
    const int r = bandWidth / 2;
    if (r > 0) {
        // Within r of the edge on either side: dilated inside minus eroded inside.
        cv::Mat pen = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(2 * r + 1, 2 * r + 1));
        cv::Mat grown, shrunk;
        cv::dilate(inside, grown, pen, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
        cv::erode(inside, shrunk, pen, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
        marks.setTo(kMarkUnknown, grown & ~shrunk);
    }
    return marks;
}

double trimapUnknownCount(const cv::Mat& trimap) {
    requireDepth8(trimap, "the trimap", 1u << 1);
    return static_cast<double>(trimap.total()) - cv::countNonZero(trimap == 0) - cv::countNonZero(trimap == 255);
}

}  // namespace qxhost
