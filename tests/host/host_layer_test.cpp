// The host layer's small pieces: marks, byte orders, compositing, the
// sentences for failure values, keep/cut to alpha and the GrabCut size rule.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdlib>

#include "qxhost.h"

namespace {

TEST(HostMarks, TrimapAndSelectionCoding) {
    // 1 is the brushes' cut, so their masks read as drawn.
    cv::Mat trimap = (cv::Mat_<unsigned char>(1, 6) << 0, 1, 2, 128, 254, 255);
    cv::Mat marks = qxhost::marksFromTrimap(trimap);
    const cv::Mat expected = (cv::Mat_<unsigned char>(1, 6) << 0x01, 0x01, 0x7E, 0x7E, 0x7E, 0xFF);
    EXPECT_EQ(0, cv::norm(marks, expected, cv::NORM_INF));
    EXPECT_EQ(4, qxhost::trimapUnknownCount(trimap));  // for the solver 1 stays unknown

    // A 20x20 square in 60x60; band 6 runs a radius-3 pen along its edge.
    cv::Mat selection(60, 60, CV_8UC1, cv::Scalar(0));
    selection(cv::Rect(20, 20, 20, 20)).setTo(200);
    cv::Mat m = qxhost::marksFromSelection(selection, 6);
    // Along row 30: far outside, 4 and 3 outside the left edge, 3 and 4 inside
    // (column 20 is the first inside), deep inside.
    const int columns[] = {5, 16, 17, 22, 23, 30}, want[] = {0x01, 0x01, 0x7E, 0x7E, 0xFF, 0xFF};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(want[i], m.at<unsigned char>(30, columns[i])) << columns[i];
    EXPECT_EQ(0, cv::countNonZero((m != 0x01) & (m != 0xFF) & (m != 0x7E)));
    // Widths 0 and 1 give no band: the selection itself.
    for (int band : {0, 1})
        EXPECT_EQ(0, cv::countNonZero(qxhost::marksFromSelection(selection, band) == 0x7E)) << band;
    EXPECT_THROW(qxhost::marksFromSelection(selection, -2), std::invalid_argument);
    EXPECT_THROW(qxhost::marksFromTrimap(cv::Mat(3, 3, CV_8UC3)), std::invalid_argument);
}

TEST(HostPixels, ByteOrdersRoundTrip) {
    cv::Mat rgb(7, 5, CV_8UC3);
    cv::randu(rgb, 0, 256);
    cv::Mat four = qxhost::toFourByte(rgb, qxhost::ChannelOrder::RGB, 9);
    const cv::Vec3b p = rgb.at<cv::Vec3b>(3, 2);
    EXPECT_EQ(cv::Vec4b(p[2], p[1], p[0], 9), four.at<cv::Vec4b>(3, 2));  // blue, green, red, fourth
    EXPECT_EQ(0, cv::norm(qxhost::toThreeByte(four, qxhost::ChannelOrder::RGB), rgb, cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(qxhost::toFourByte(four), four, cv::NORM_INF));  // a fourth byte of its own stays
    qxhost::Planes planes = qxhost::splitPlanes(four);
    EXPECT_EQ(p[0], planes.pointers[2][3 * planes.step + 2]);
    EXPECT_EQ(0, cv::norm(qxhost::mergePlanes(planes, 5, 7), qxhost::toThreeByte(four), cv::NORM_INF));
    const auto colour = qxhost::parseHexColour("#2E7D32");
    EXPECT_EQ((std::array<unsigned char, 3>{0x2E, 0x7D, 0x32}), colour);
    EXPECT_EQ(cv::Scalar(0x32, 0x7D, 0x2E), qxhost::colourScalar(colour));
    for (const char* bad : {"", "12345", "GG0000", "1234567"})
        EXPECT_THROW(qxhost::parseHexColour(bad), std::invalid_argument) << bad;
}

TEST(HostCompositing, RoundedBlendAndCutout) {
    cv::Mat fg(2, 2, CV_8UC4, cv::Scalar(200, 100, 0, 7));
    cv::Mat alpha = (cv::Mat_<unsigned char>(2, 2) << 0, 255, 128, 64);
    cv::Mat out = qxhost::compositeOverColour(fg, alpha, cv::Scalar(0, 50, 255));
    EXPECT_EQ(cv::Vec3b(0, 50, 255), out.at<cv::Vec3b>(0, 0));
    EXPECT_EQ(cv::Vec3b(200, 100, 0), out.at<cv::Vec3b>(0, 1));
    // (200*128 + 0*127 + 127) / 255 = 100, (100*128 + 50*127 + 127)/255 = 75, (255*127 + 127)/255 = 127
    EXPECT_EQ(cv::Vec3b(100, 75, 127), out.at<cv::Vec3b>(1, 0));
    cv::Mat cut = qxhost::makeCutout(fg, alpha);
    EXPECT_EQ(cv::Vec4b(200, 100, 0, 64), cut.at<cv::Vec4b>(1, 1));
    EXPECT_THROW(qxhost::compositeOverImage(fg, alpha, cv::Mat(3, 2, CV_8UC3)), std::invalid_argument);
}

// A 60x40 background (3:2) with a disc of radius 15 at its centre, behind a
// 50x50 frame. Fill scales by 1.25 to 75x50 and cuts 12 and 13 columns off;
// fit scales by 5/6 to 50x33 with bars of 9 and 8 rows.
TEST(HostCompositing, BackgroundKeepsItsProportions) {
    cv::Mat bg(40, 60, CV_8UC3, cv::Scalar(200, 200, 200));
    cv::circle(bg, {30, 20}, 15, cv::Scalar(0, 0, 255), cv::FILLED);
    auto discBox = [](const cv::Mat& m) {
        cv::Mat red;
        cv::inRange(m, cv::Scalar(0, 0, 128), cv::Scalar(100, 100, 255), red);
        return cv::boundingRect(red);
    };
    const cv::Mat filled = qxhost::fitBackground(bg, {50, 50}, qxhost::BackgroundFit::Fill);
    const cv::Rect d = discBox(filled);
    EXPECT_NEAR(d.width, d.height, 1);  // round stays round
    EXPECT_NEAR(d.width, 37.5, 1.5);
    EXPECT_NEAR(d.x + d.width / 2.0, 25, 1);  // centred
    EXPECT_NEAR(d.y + d.height / 2.0, 25, 1);

    const cv::Scalar bar(10, 20, 30);
    const cv::Mat fitted = qxhost::fitBackground(bg, {50, 50}, qxhost::BackgroundFit::Fit, {0.5, 0.5}, bar);
    for (int y : {0, 8, 42, 49}) EXPECT_EQ(cv::Vec3b(10, 20, 30), fitted.at<cv::Vec3b>(y, 25)) << y;
    for (int y : {9, 41}) EXPECT_EQ(cv::Vec3b(200, 200, 200), fitted.at<cv::Vec3b>(y, 1)) << y;
    const cv::Rect f = discBox(fitted);
    EXPECT_NEAR(f.width, f.height, 1);
    // Top-left alignment keeps the left edge of the cover: the disc moves right by 12.5.
    const cv::Rect l = discBox(qxhost::fitBackground(bg, {50, 50}, qxhost::BackgroundFit::Fill, {0, 0}));
    EXPECT_NEAR(l.x - d.x, 12.5, 1);
    // Stretch distorts, as asked.
    const cv::Rect s = discBox(qxhost::fitBackground(bg, {50, 50}, qxhost::BackgroundFit::Stretch));
    EXPECT_GT(s.height - s.width, 8);
}

// A trimap's 0 and the brushes' 1 are one class, cut, for the fill and the
// marks pictures. Columns 0-9 cut, 10-19 unknown, 20-29 keep.
TEST(HostMarks, ZeroAndOneBothReadAsCut) {
    cv::Mat trimap(12, 30, CV_8UC1, cv::Scalar(128));
    trimap.colRange(0, 10).setTo(0);
    trimap.colRange(20, 30).setTo(255);
    cv::Mat filled = trimap.clone();
    EXPECT_EQ(cv::Rect(0, 0, 10, 12), qxhost::floodFillMarks(filled, {2, 2}, qxhost::FillClass::Keep));
    EXPECT_EQ(0, cv::countNonZero(filled.colRange(0, 10) != 255));
    EXPECT_EQ(0, cv::countNonZero(filled.colRange(10, 20) != 128));  // the unknown band is another class
    // Cut filled into a trimap is written as a trimap's cut.
    filled = trimap.clone();
    qxhost::floodFillMarks(filled, {15, 2}, qxhost::FillClass::Cut);
    EXPECT_EQ(0, cv::countNonZero(filled.colRange(0, 20) != 0));
    // Marks drawn with 1 beside a trimap's 0: the 0 left alone stays 0.
    cv::Mat mixed = trimap.clone();
    mixed.colRange(0, 3).setTo(qxhost::kMarkCut);
    qxhost::floodFillMarks(mixed, {25, 2}, qxhost::FillClass::Unknown);
    EXPECT_EQ(0, cv::countNonZero(mixed.colRange(3, 10) != 0));
    EXPECT_EQ(0, cv::countNonZero(mixed.colRange(0, 3) != qxhost::kMarkCut));

    cv::Mat image(12, 30, CV_8UC3, cv::Scalar(90, 120, 150)), ones = trimap.clone();
    ones.setTo(qxhost::kMarkCut, trimap == 0);
    for (auto mode : {qxhost::ShowMode::Tint, qxhost::ShowMode::Classes}) {
        const cv::Mat a = qxhost::showMask(image, trimap, mode, {255, 255, 255});
        const cv::Mat b = qxhost::showMask(image, ones, mode, {255, 255, 255});
        EXPECT_EQ(0, cv::norm(a, b, cv::NORM_INF)) << int(mode);
        EXPECT_NE(a.at<cv::Vec3b>(2, 2), a.at<cv::Vec3b>(2, 15)) << int(mode);  // cut is not shown as unknown
    }
}

TEST(HostFailures, EveryExportSaysWhatItsValueMeans) {
    using qxhost::describeFailure;
    auto says = [](const std::string& name, int value, const char* text) {
        const std::string s = describeFailure(name, value);
        EXPECT_NE(std::string::npos, s.find(text)) << s;
        EXPECT_NE(std::string::npos, s.find(name + " returned " + std::to_string(value))) << s;
    };
    // One value of each way of failing: biased internal codes, per-export
    // refusals, unbiased codes, the foreground's 0 for success, the checked
    // and exception-passing exports, the trace switch.
    const char* const rows[][3] = {
        {"qxMaskAlpha", "1", "success"},          {"qxMaskAlpha", "-1001", "too large"},
        {"qxMaskAlpha", "-870", "internal code 130"}, {"qxMaskAlpha", "-1000", "unexpected"},
        {"qxGrabCut", "-2", "grab rectangle"},    {"qxKeepCutToAlpha", "-5", "marks do not allow"},
        {"qxKeepCutToAlpha", "103", "guard row"}, {"qxRecoverForeground", "0", "success"},
        {"qxRecoverForeground", "1", "does not document"}, {"qxRecoverForeground", "-1", "out of memory"},
        {"qxFloodFillAlpha", "-3", "seed"},       {"qxRGB2YCbCrAutoLevel", "0", "mode"},
        {"qxScaleAlpha", "-1", "equal"},          {"qxSetupLib", "0", "negative mask"},
        {"setDebugTrace", "1", "tracing is on"},  {"qxDrawLine8u", "0", "radius outside"},
        {"qxGrabCutEdgeGen", "0", "exceptions"},
    };
    for (const auto& r : rows) says(r[0], std::stoi(r[1]), r[2]);
    EXPECT_NE(std::string::npos, describeFailure("qxNoSuch", 5).find("not one of the library's exports"));
    EXPECT_EQ(0, qxhost::successValue("qxRecoverForeground"));
    EXPECT_EQ(1, qxhost::successValue("qxScaleAlpha"));
    try {
        qxhost::checkReturn("qxMaskAlpha", -1001);
        ADD_FAILURE() << "no throw";
    } catch (const qxhost::LibraryFailure& f) {
        EXPECT_TRUE(f.exportName == "qxMaskAlpha" && f.value == -1001);
    }
    EXPECT_NO_THROW(qxhost::checkReturn("qxRecoverForeground", 0));
}

// Keep on the left, cut on the right, a band between: the fixed cut comes
// back as alpha 0 (not its mark 1), and an edit must lie inside the image.
TEST(HostKeepCut, AlphaFromMarksAndRefusedEdits) {
    cv::Mat image(40, 60, CV_8UC3, cv::Scalar::all(90)), trimap(40, 60, CV_8UC1, cv::Scalar(128));
    trimap.colRange(0, 15).setTo(255);
    trimap.colRange(45, 60).setTo(0);
    qxhost::CutoutSettings settings;
    const cv::Mat alpha = qxhost::keepCutToAlpha(image, qxhost::marksFromTrimap(trimap), settings);
    EXPECT_EQ(255, alpha.at<unsigned char>(20, 5));
    EXPECT_EQ(0, alpha.at<unsigned char>(20, 55));
    settings.edit = cv::Rect(50, 30, 20, 20), settings.border = 4;
    EXPECT_THROW(qxhost::keepCutToAlpha(image, qxhost::marksFromTrimap(trimap), settings), std::invalid_argument);
    try {
        qxhost::keepCutToAlpha(image, qxhost::marksFromTrimap(cv::Mat(40, 60, CV_8UC1, cv::Scalar(255))));
        ADD_FAILURE() << "no cut marks must fail";
    } catch (const qxhost::LibraryFailure& f) {
        EXPECT_TRUE(f.value == -5 && std::string(f.what()).find("no background (cut) is marked") != std::string::npos);
    }
}

// An edit of pixels 0..2 of a strip: the library sees the earlier alpha with
// its lowest bit cleared, but --only holds against all 8 bits of it, and the
// pixel outside the rectangle comes back byte for byte.
TEST(HostKeepCut, EditsMergeAgainstAllEightBitsOfTheEarlierAlpha) {
    const cv::Mat marks = (cv::Mat_<unsigned char>(1, 4) << 0x7E, 0xFF, 0x7E, 0x7E);
    cv::Mat previous(1, 4, CV_8UC4, cv::Scalar(10, 20, 30, 0));
    const unsigned char earlier[4] = {201, 201, 0x40, 77}, solved[4] = {200, 250, 0x50, 10};
    for (int i = 0; i < 4; ++i) previous.at<cv::Vec4b>(0, i)[3] = earlier[i];
    qxhost::CutoutSettings settings;
    const cv::Mat prepared = qxhost::prepareEdit(marks, previous, settings);
    EXPECT_EQ(0, cv::norm(prepared, cv::Mat_<unsigned char>({1, 4}, {200, 0xFF, 0x40, 76}), cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(settings.hostMarks, marks, cv::NORM_INF));
    settings.edit = cv::Rect(0, 0, 3, 1);
    // Mode 0 only removes, 1 only adds, 2 takes the solve; the fixed keep is the solve's.
    const int want[3][3] = {{200, 250, 0x40}, {201, 250, 0x50}, {200, 250, 0x50}};
    for (int mode : {0, 1, 2}) {
        settings.mode = mode;
        cv::Mat cutout(1, 4, CV_8UC4, cv::Scalar(1, 2, 3, 0));
        for (int i = 0; i < 4; ++i) cutout.at<cv::Vec4b>(0, i)[3] = solved[i];
        qxhost::finishEdit(previous, prepared, settings, cutout);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(cv::Vec4b(1, 2, 3, want[mode][i]), cutout.at<cv::Vec4b>(0, i)) << mode;
        EXPECT_EQ(previous.at<cv::Vec4b>(0, 3), cutout.at<cv::Vec4b>(0, 3)) << mode;
    }
}

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
    const cv::Rect whole(0, 0, 150, 150);
    for (cv::Rect bad : {cv::Rect(-1, 0, 120, 120), cv::Rect(40, 0, 120, 120), cv::Rect(0, 0, 0, 120),
                         cv::Rect(0, 0, 100, 100)})
        EXPECT_THROW(qxhost::grabCutTrimap(image, cv::Mat(), bad, settings), std::invalid_argument);
    EXPECT_THROW(qxhost::grabCutTrimap(image, cv::Mat(10, 10, CV_8UC1), whole, settings), std::invalid_argument);
    settings.iterations = 0;
    EXPECT_THROW(qxhost::grabCutTrimap(image, cv::Mat(), whole, settings), std::invalid_argument);
    cv::Mat cutout(2, 2, CV_8UC4), three(2, 2, CV_8UC3);
    EXPECT_THROW(qxhost::desaturateCutout(cutout, 1.5f), std::invalid_argument);
    EXPECT_THROW(qxhost::desaturateCutout(three, 0.5f), std::invalid_argument);
}

// The rectangle road on the astronaut: the figure is selected, the flag and
// the shuttle are not; a rectangle on the bottom edge keeps the body down to
// that edge (the coarse level's frame falls beyond the image); equal
// arguments give equal selections.
TEST(HostGrabCut, RectangleAloneSelectsTheFigure) {
    const std::string samples = std::getenv("QX_SAMPLES") ? std::getenv("QX_SAMPLES") : "samples";
    const cv::Mat image = cv::imread(samples + "/astronaut.png");
    const cv::Mat trimap = cv::imread(samples + "/astronaut_trimap.png", cv::IMREAD_GRAYSCALE);
    ASSERT_FALSE(image.empty() || trimap.empty()) << "QX_SAMPLES must name the samples folder";
    const cv::Mat truth = trimap >= 128;
    auto iou = [&](const cv::Mat& s) { return double(cv::countNonZero(s & truth)) / cv::countNonZero(s | truth); };

    const cv::Mat inside = qxhost::grabCutSelection(image, cv::Mat(), cv::Rect(40, 20, 440, 490));
    const cv::Mat onEdge = qxhost::grabCutSelection(image, cv::Mat(), cv::Rect(40, 20, 440, 492));
    for (const cv::Mat& s : {inside, onEdge}) {
        EXPECT_GT(iou(s), 0.6);
        // Face and suit in; flag, shuttle and everything outside the rectangle out.
        EXPECT_EQ(cv::Vec4b(255, 255, 0, 0), cv::Vec4b(s.at<uchar>(120, 222), s.at<uchar>(330, 230),
                                                       s.at<uchar>(100, 60), s.at<uchar>(100, 450)));
        EXPECT_EQ(0, cv::countNonZero(s.colRange(0, 40)));
        // The dark case behind the helmet stays out: models that learnt the
        // edge's unsure pixels as object took it in (and opened the hair).
        EXPECT_EQ(0, s.at<uchar>(300, 420));
    }
    // The body reaches the bottom row only when the rectangle does.
    EXPECT_GT(cv::countNonZero(onEdge.row(511).colRange(60, 260)), 160);
    EXPECT_EQ(0, cv::countNonZero(inside.row(511)));
    EXPECT_EQ(0, cv::norm(onEdge, qxhost::grabCutSelection(image, cv::Mat(), cv::Rect(40, 20, 440, 492)),
                          cv::NORM_INF));

    // The trimap: a band where the selection changes side, fixed marks kept.
    cv::Mat marks(image.size(), CV_8UC1, cv::Scalar(128));
    cv::circle(marks, cv::Point(100, 100), 5, cv::Scalar(255), -1);  // the flag, forced in
    qxhost::GrabCutSettings settings;
    settings.bandWidth = 6;
    const cv::Mat t = qxhost::grabCutTrimap(image, marks, cv::Rect(40, 20, 440, 490), settings);
    EXPECT_EQ(cv::Vec3b(255, 255, 0), cv::Vec3b(t.at<uchar>(100, 100), t.at<uchar>(120, 222), t.at<uchar>(10, 10)));
    EXPECT_GT(cv::countNonZero(t == 128), 1000);
}

// The full-size edge: two flat colours split at x = 40 with a little noise,
// a selection 4 pixels off the edge comes back to it exactly (those 4 columns
// disagree with their side, inside the zone only; with a margin of -1e9 the
// whole zone); a locked column keeps its side, models of one side change nothing.
TEST(HostGrabCut, EdgeRefinementFindsTheColourEdge) {
    cv::Mat bgr(60, 80, CV_8UC3, cv::Scalar(40, 160, 60));
    bgr.colRange(40, 80).setTo(cv::Scalar(200, 60, 190));
    cv::Mat noise(bgr.size(), CV_8UC3);
    cv::theRNG().state = 7;
    cv::randu(noise, 0, 12);
    bgr += noise;
    cv::Mat states(bgr.size(), CV_8UC1, cv::Scalar(cv::GC_PR_BGD));
    states.colRange(40, 80).setTo(cv::GC_PR_FGD);
    const qxhost::GrabCutModels models = qxhost::grabCutModels(bgr, states);
    cv::Mat selection = cv::Mat::zeros(bgr.size(), CV_8UC1);
    selection.colRange(44, 80).setTo(255);
    cv::Mat locked = cv::Mat::zeros(bgr.size(), CV_8UC1);
    locked.col(41).setTo(1);
    cv::Mat zone = cv::Mat::zeros(bgr.size(), CV_8UC1), strip = zone.clone();
    zone.rowRange(0, 30).setTo(255);
    strip(cv::Rect(40, 0, 4, 30)).setTo(255);
    EXPECT_EQ(0, cv::norm(qxhost::grabCutDisagreement(bgr, selection, zone, models), strip, cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(qxhost::grabCutDisagreement(bgr, selection, zone, models, -1e9), zone, cv::NORM_INF));
    EXPECT_GT(qxhost::refineGrabCutEdge(bgr, selection, locked, models, 6), 0);
    cv::Mat want = cv::Mat::zeros(bgr.size(), CV_8UC1);
    want.colRange(40, 80).setTo(255);
    want.col(41).setTo(0);
    EXPECT_EQ(0, cv::norm(selection, want, cv::NORM_INF));

    cv::Mat oneSide(bgr.size(), CV_8UC1, cv::Scalar(cv::GC_PR_FGD));
    const qxhost::GrabCutModels none = qxhost::grabCutModels(bgr, oneSide);
    EXPECT_TRUE(none.background.empty());
    EXPECT_EQ(0, qxhost::refineGrabCutEdge(bgr, selection, locked, none, 6) +
                     cv::countNonZero(qxhost::grabCutDisagreement(bgr, selection, zone, none)));
    EXPECT_EQ(0, cv::norm(selection, want, cv::NORM_INF));
}

}  // namespace
