// The host layer's GrabCut size rule and its refusals.
#include <gtest/gtest.h>

#include "qxhost.h"

namespace {

TEST(HostGrabCut, SizeRuleAndRefusals) {
    // Longer side 101 to 3199; the reduced copy more than 10 pixels each way.
    const struct { int w, h; bool accepted; } sizes[] = {{100, 100, false}, {101, 11, true},  {200, 10, false},
                                                         {21, 201, true},   {20, 201, false}, {3199, 81, true},
                                                         {3199, 80, false}, {3200, 3200, false}};
    for (const auto& s : sizes) EXPECT_EQ(s.accepted, qxhost::grabCutAccepts(s.w, s.h)) << s.w << "x" << s.h;
    EXPECT_EQ(qxhost::defaultGrabCutBand(cv::Size(300, 200)), 4);
    EXPECT_EQ(qxhost::defaultGrabCutBand(cv::Size(2000, 3000)), 30);

    const cv::Mat image(150, 150, CV_8UC3, cv::Scalar::all(80));
    qxhost::GrabCutSettings settings;
    for (cv::Rect bad : {cv::Rect(-1, 0, 120, 120), cv::Rect(40, 0, 120, 120), cv::Rect(0, 0, 0, 120),
                         cv::Rect(0, 0, 100, 100)})
        EXPECT_THROW(qxhost::grabCutTrimap(image, cv::Mat(), bad, settings), std::invalid_argument);
    EXPECT_THROW(qxhost::grabCutTrimap(image, cv::Mat(10, 10, CV_8UC1), cv::Rect(0, 0, 150, 150), settings),
                 std::invalid_argument);
    settings.iterations = 0;
    EXPECT_THROW(qxhost::grabCutTrimap(image, cv::Mat(), cv::Rect(0, 0, 150, 150), settings), std::invalid_argument);

    cv::Mat cutout(2, 2, CV_8UC4, cv::Scalar(10, 20, 30, 40));
    EXPECT_THROW(qxhost::desaturateCutout(cutout, 1.5f), std::invalid_argument);
    cv::Mat three(2, 2, CV_8UC3);
    EXPECT_THROW(qxhost::desaturateCutout(three, 0.5f), std::invalid_argument);
}

}  // namespace
