// The GrabCut session: sizes it accepts, the mark coding through a pass, the
// mark-change test, the band and the ending pass, and the quality of the
// selection on a textured scene.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "selection/grabcut_session.h"
#include "selection_fixtures.h"

namespace {

using qx::GrabCutSession;
using seltest::HostPlanes;

GrabCutSession* sessionOf(const QxJob& job) { return static_cast<qx::GrabCutSession*>(job.grabCutSession); }

// The textured scene without its truth.
cv::Mat scene(int width, int height) {
    cv::Mat truth;
    return seltest::texturedScene(width, height, truth, 3);
}

TEST(GrabCutSizes, HalvingRuleAndRefusedRegions) {
    const std::vector<std::pair<int, int>> levels = {{100, -1}, {101, 0}, {200, 0}, {201, 1}, {799, 1},
                                                     {800, 2}, {1599, 2}, {1600, 3}, {3199, 3}, {3200, 4}};
    for (auto [side, expected] : levels) EXPECT_EQ(qx::grabCutLevels(side), expected) << side;
    EXPECT_TRUE(qx::grabCutSizeAccepted(101, 11));
    EXPECT_FALSE(qx::grabCutSizeAccepted(101, 10));   // no room inside the 5-pixel frame
    EXPECT_TRUE(qx::grabCutSizeAccepted(400, 21));    // coarse 200 x 11
    EXPECT_FALSE(qx::grabCutSizeAccepted(400, 20));   // coarse 200 x 10
    EXPECT_FALSE(qx::grabCutSizeAccepted(100, 100));
    EXPECT_FALSE(qx::grabCutSizeAccepted(3200, 500));

    // Refused before anything is touched: bad sizes, rectangles leaving the
    // planes, a session made for another size.
    HostPlanes host(scene(240, 160), 0x7E);
    const cv::Mat before = host.mask.clone();
    auto refused = [&](auto change) {
        QxJob job = host.job;
        change(job);
        const int rc = qxGrabCut(&job, 0);
        EXPECT_EQ(job.grabCutSession, nullptr);
        return rc;
    };
    for (int size : {-1, 0, 1}) {
        EXPECT_EQ(refused([&](QxJob& j) { j.grabWidth = size; }), -2) << size;
        EXPECT_EQ(refused([&](QxJob& j) { j.grabHeight = size; }), -2) << size;
    }
    EXPECT_EQ(refused([](QxJob& j) { j.grabX = -1; }), -2);
    EXPECT_EQ(refused([](QxJob& j) { j.grabX = 1; }), -2);   // one column past the planes
    EXPECT_EQ(refused([](QxJob& j) { j.grabY = 1; }), -2);
    EXPECT_EQ(refused([](QxJob& j) { j.auxPixels = nullptr; }), -2);
    EXPECT_EQ(cv::countNonZero(before != host.mask), 0);

    QxJob job = host.job;
    ASSERT_EQ(qxGrabCut(&job, 0), 1);
    job.grabWidth = 230;  // same levels, other coarse size
    EXPECT_EQ(qxGrabCut(&job, 0), -2);
    qxGrabCutDeleteBuf(&job);
}

TEST(GrabCutPass, FixedMarksSurviveAndTheMarkSumChoosesTheMode) {
    // 160 x 120: no halving, so the result is binary before bit 0 is cleared.
    HostPlanes host(scene(160, 120), 0x7E);
    cv::Mat& mask = host.mask;
    mask(cv::Rect(75, 55, 6, 6)).setTo(0x01);   // fixed cut in the middle of the object
    mask(cv::Rect(10, 10, 4, 4)).setTo(0xFF);   // fixed keep in the background
    std::vector<std::pair<int, int>> ticks;
    host.job.progressCallback = [](int value, int total, void* cookie) {
        static_cast<std::vector<std::pair<int, int>>*>(cookie)->push_back({value, total});
        return 1;
    };
    host.job.progressCookie = &ticks;
    QxJob& job = host.job;
    ASSERT_EQ(qxGrabCut(&job, 0), 1);
    EXPECT_EQ(ticks, (std::vector<std::pair<int, int>>{{0, 10000}}));

    GrabCutSession* session = sessionOf(job);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->markSum, 255.0 * (36 + 16));  // fixed marks: GC_INIT_WITH_MASK
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x) {
            const int m = mask.at<uchar>(y, x), a = host.aux.at<uchar>(y, x);
            EXPECT_EQ(m, a);
            if (cv::Rect(75, 55, 6, 6).contains({x, y})) EXPECT_EQ(m, 0x01);
            else if (cv::Rect(10, 10, 4, 4).contains({x, y})) EXPECT_EQ(m, 0xFF);
            else EXPECT_TRUE(m == 0xFE || m == 0x00) << m << " at " << x << "," << y;
            if (::testing::Test::HasFailure()) return;
        }
    // The 5-pixel frame is definite background whatever the colours.
    EXPECT_EQ(mask.at<uchar>(2, 80), 0x00);

    // Same fixed marks again: GC_EVAL, the sum stays.
    ASSERT_EQ(qxGrabCut(&job, 0), 1);
    EXPECT_EQ(session->markSum, 255.0 * 52);
    // One fixed mark moved: the same sum, still no change.
    mask.at<uchar>(10, 10) = 0xFE;
    mask.at<uchar>(100, 20) = 0x01;
    ASSERT_EQ(qxGrabCut(&job, 0), 1);
    EXPECT_EQ(session->markSum, 255.0 * 52);
    // A new fixed mark: the models are rebuilt and the sum stored.
    mask(cv::Rect(30, 100, 3, 3)).setTo(0x01);
    ASSERT_EQ(qxGrabCut(&job, 0), 1);
    EXPECT_EQ(session->markSum, 255.0 * 61);
    EXPECT_EQ(sessionOf(job), session);
    qxGrabCutDeleteBuf(&job);
}

// The colour models start from a random draw: the same arguments must give the
// same selection whatever state the host left its generator in, and the host
// gets that state back.
TEST(GrabCutPass, ResultDependsOnlyOnTheArguments) {
    cv::Mat first;
    for (int run = 0; run < 3; ++run) {
        // Noise: the models fitted to it depend on where their draw starts.
        cv::Mat noise(120, 160, CV_8UC4);
        cv::RNG(7).fill(noise, cv::RNG::UNIFORM, 0, 256);
        HostPlanes host(noise, 0x7E);
        host.mask(cv::Rect(60, 40, 30, 30)).setTo(0xFF);
        host.mask(cv::Rect(10, 10, 20, 4)).setTo(0x01);
        cv::theRNG().state = 0x9E3779B97F4A7C15ull * (run + 1);
        const uint64 hostState = cv::theRNG().state;
        ASSERT_EQ(qxGrabCut(&host.job, 0), 1);
        EXPECT_EQ(cv::theRNG().state, hostState);
        if (run == 0) first = host.mask.clone();
        else EXPECT_EQ(cv::countNonZero(first != host.mask), 0) << "run " << run;
        qxGrabCutDeleteBuf(&host.job);
    }
}

TEST(GrabCutPass, FirstPassWithoutFixedMarksKeepsTheZeroSum) {
    HostPlanes host(scene(300, 200), 0x7E);  // one halving: coarse 150 x 100
    ASSERT_EQ(qxGrabCut(&host.job, 1), 1);
    GrabCutSession* session = sessionOf(host.job);
    EXPECT_EQ(session->levelWidth, 150);
    EXPECT_EQ(session->levelHeight, 100);
    EXPECT_EQ(session->markSum, 0.0);
    EXPECT_FALSE(session->bgdModel->empty());
    // After the ladder every value is even: a soft selection.
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x) ASSERT_EQ(host.mask.at<uchar>(y, x) & 1, 0);
    qxGrabCutDeleteBuf(&host.job);
}

TEST(GrabCutEnd, EdgeBandAndFixingPass) {
    // A 200 x 150 region at (20, 10) of a 260 x 180 plane; the selection is
    // the region's left half, touching its left, top and bottom edges.
    HostPlanes host(scene(260, 180), 0x33);
    QxJob& job = host.job;
    job.grabX = 20, job.grabY = 10, job.grabWidth = 200, job.grabHeight = 150;
    const cv::Rect region(20, 10, 200, 150);
    host.aux(region).setTo(0x00);
    host.aux(cv::Rect(20, 10, 100, 150)).setTo(0xFE);
    host.aux.at<uchar>(50, 60) = 0xFF;  // a fixed mark inside the selection
    const cv::Mat auxBefore = host.aux.clone();

    qxGrabCutEdgeGen(&job, -4);
    EXPECT_EQ(cv::countNonZero(host.mask != 0x33), 0);  // a negative width does nothing

    qxGrabCutEdgeGen(&job, 11);  // radius 5
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 260; ++x) {
            const int m = host.mask.at<uchar>(y, x);
            int expected = 0x33;
            if (region.contains({x, y})) expected = x < 115 ? 0xFE : x < 125 ? 0x7E : 0x00;
            if (x == 60 && y == 50) expected = 0xFF;
            ASSERT_EQ(m, expected) << x << "," << y;
        }
    EXPECT_EQ(cv::countNonZero(auxBefore != host.aux), 0);

    qxGrabCutEdgeGen(&job, 1);  // no band: the plain selection
    EXPECT_EQ(host.mask.at<uchar>(80, 119), 0xFE);
    EXPECT_EQ(host.mask.at<uchar>(80, 120), 0x00);

    // The ending pass, without a session: certain pixels become fixed.
    const unsigned char in[] = {0x00, 0x01, 0xFE, 0xFF, 0x7E, 0x7F, 0x80, 0x81};
    const unsigned char out[] = {0x01, 0x01, 0xFF, 0xFF, 0x7E, 0x7E, 0x80, 0x80};
    for (int i = 0; i < 8; ++i) host.mask.at<uchar>(20, 30 + i) = in[i];
    host.mask.at<uchar>(5, 5) = 0x7F;  // outside the region
    qxGrabCutDeleteBuf(&job);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(host.mask.at<uchar>(20, 30 + i), out[i]) << i;
        EXPECT_EQ(host.aux.at<uchar>(20, 30 + i), out[i]) << i;
    }
    EXPECT_EQ(host.mask.at<uchar>(5, 5), 0x7F);

    // Regions of size -1 and 0, or leaving the planes, change nothing; one of
    // 1 x 1 has no room for a band.
    const cv::Mat maskBefore = host.mask.clone();
    QxJob bad[3] = {job, job, job};
    bad[0].grabWidth = -1, bad[1].grabWidth = 0, bad[2].grabX = 100;
    for (QxJob& b : bad) qxGrabCutEdgeGen(&b, 5), qxGrabCutDeleteBuf(&b);
    EXPECT_EQ(cv::countNonZero(maskBefore != host.mask), 0);
    QxJob one = job;
    one.grabWidth = one.grabHeight = 1;
    host.aux.at<uchar>(10, 20) = 0xFE;
    qxGrabCutEdgeGen(&one, 9);
    EXPECT_EQ(host.mask.at<uchar>(10, 20), 0xFE);
}

TEST(GrabCutQuality, RectangleAroundATexturedObject) {
    // The host's rectangle road: fixed cut outside, no mark inside.
    cv::Mat truth;
    HostPlanes host(seltest::texturedScene(480, 360, truth), 0x01);
    const cv::Rect around = cv::boundingRect(truth);
    host.mask(cv::Rect(around.x - 12, around.y - 12, around.width + 24, around.height + 24)).setTo(0x7E);
    ASSERT_EQ(qxGrabCut(&host.job, 0), 1);
    const double score = seltest::iou(host.aux >= 0x80, truth);
    // A full-size cv::grabCut with the same rectangle reaches 0.996 on this
    // scene and the coarse pass about 0.992.
    EXPECT_GT(score, 0.97) << score;
    qxGrabCutDeleteBuf(&host.job);
}

TEST(GrabCutEnd, BandAgreesWithTheDiscAtEveryWidth) {
    // Blobs and specks on a 120 x 104 region, whose edges the selection
    // touches. The band is the selection dilated but not eroded by the disc
    // cv::circle draws, pixels beyond the region counting for neither side;
    // a disc past the region's diagonal makes every pixel band.
    cv::Mat selected = cv::Mat::zeros(104, 120, CV_8UC1);
    cv::circle(selected, {30, 40}, 22, cv::Scalar(1), -1);
    cv::rectangle(selected, cv::Rect(70, 0, 30, 60), cv::Scalar(1), -1);
    cv::RNG rng(5);
    for (int i = 0; i < 40; ++i) selected.at<uchar>(rng.uniform(0, 104), rng.uniform(0, 120)) ^= 1;
    HostPlanes host(scene(120, 104), 0x33);
    host.aux.setTo(0x00);
    host.aux.setTo(0xFE, selected);
    for (int bandWidth : {0, 1, 2, 3, 9, 40, 448, 449, 100000, 2147483647}) {
        const int r = std::min(bandWidth / 2, 224);
        cv::Mat disc = cv::Mat::zeros(2 * r + 1, 2 * r + 1, CV_8UC1), grown, shrunk;
        cv::circle(disc, {r, r}, r, cv::Scalar(1), -1, cv::LINE_8, 0);
        cv::Mat expected(selected.size(), CV_8UC1, cv::Scalar(0x7E));
        if (r < 160) {
            cv::dilate(selected, grown, disc);
            cv::erode(selected, shrunk, disc);
            expected.setTo(0x00, grown == 0);
            expected.setTo(0xFE, shrunk);
        }
        qxGrabCutEdgeGen(&host.job, bandWidth);
        ASSERT_EQ(cv::countNonZero(expected != host.mask), 0) << "band width " << bandWidth;
    }
}

TEST(GrabCutEnd, EndingClearsTheSessionSoRepeatsAndReuseAreHarmless) {
    HostPlanes host(scene(160, 120), 0x7E);
    host.mask(cv::Rect(60, 40, 30, 30)).setTo(0xFF);
    ASSERT_EQ(qxGrabCut(&host.job, 0), 1);
    ASSERT_NE(host.job.grabCutSession, nullptr);
    qxGrabCutDeleteBuf(&host.job);
    EXPECT_EQ(host.job.grabCutSession, nullptr);
    qxGrabCutDeleteBuf(&host.job);  // a second end frees nothing twice
    EXPECT_EQ(host.job.grabCutSession, nullptr);
    // A pass on the ended record starts a session of its own.
    host.mask.setTo(0x7E, host.mask != 0xFF);
    ASSERT_EQ(qxGrabCut(&host.job, 0), 1);
    EXPECT_NE(host.job.grabCutSession, nullptr);
    qxGrabCutDeleteBuf(&host.job);
    EXPECT_EQ(host.job.grabCutSession, nullptr);
}

}  // namespace
