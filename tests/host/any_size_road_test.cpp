// The any-size road: the route it plans from the marks and the memory, and a
// region marked on one side only, larger than one solve may be, coming out
// at full size through the road and the tool.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

#include "qxhost.h"
#include "support/strand_composite.h"
#include "support/test_helpers.h"

namespace {

constexpr double kBudget = 3.5e9;  // the most the library ever reckons with

// w x h, cut in the left `strip` columns, keep in the right ones, unknown
// between: the library's tile tree keeps all of it as one tile.
cv::Mat stripTrimap(int w, int h, int strip) {
    cv::Mat t(h, w, CV_8UC1, cv::Scalar(128));
    t.colRange(0, strip).setTo(0);
    t.colRange(w - strip, w).setTo(255);
    return t;
}

// Two stand-in photographs mixed by a soft ramp with strands across it.
struct StripCase {
    cv::Mat image, alpha, trimap;
};
StripCase makeStripCase(int w, int h) {
    StripCase c;
    c.trimap = stripTrimap(w, h, 20);
    c.alpha.create(h, w, CV_8UC1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double ramp = std::clamp((x - 0.3 * w) / (0.4 * w), 0.0, 1.0);
            const double strand = (x / 7 + y / 40) % 5 == 0 ? 0.5 : 0.0;
            c.alpha.at<unsigned char>(y, x) = cv::saturate_cast<unsigned char>(255 * std::min(1.0, ramp + strand));
        }
    c.alpha.colRange(0, 20).setTo(0);
    c.alpha.colRange(w - 20, w).setTo(255);
    const cv::Mat f = qxtest::makeStandInPhoto(c.trimap.size(), 3), b = qxtest::makeStandInPhoto(c.trimap.size(), 4);
    cv::Mat weight, mixed;
    c.alpha.convertTo(weight, CV_32F, 1.0 / 255);
    cv::blendLinear(f, b, weight, cv::Mat(1.0 - weight), mixed);
    c.image = mixed;
    return c;
}

double meanError(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat d;
    cv::absdiff(a, b, d);
    return cv::mean(d)[0];
}

TEST(AnySizeRoute, PlansTheMostAccurateRouteThatFits) {
    qxhost::RoadSettings auto_;
    // 1000 x 1000 with 300000 unknown: one full-size solve.
    cv::Mat small = stripTrimap(1000, 1000, 350);
    qxhost::RoutePlan plan = qxhost::planRoute(small, auto_, kBudget);
    EXPECT_EQ(qxhost::Route::Matte, plan.route);
    EXPECT_EQ(300000, plan.unknown);
    EXPECT_EQ(300000, plan.estimate);

    // 2000 x 1000: too many pixels for a full-size matte. The tree would cut
    // the tall band across until its tiles are wide (none near 500000), but
    // full-size pieces are taken: every unknown pixel in one piece.
    const cv::Mat tall = stripTrimap(2000, 1000, 850);
    plan = qxhost::planRoute(tall, auto_, kBudget);
    EXPECT_EQ(qxhost::Route::Pieces, plan.route);
    EXPECT_GT(plan.largestLeaf, 0);
    EXPECT_LT(plan.largestLeaf, 150000);

    // The same size with a band 30 pixels wide: every unknown pixel within
    // 16 of a mark, so the accurate road takes the library's tiles, the
    // design road pieces; with two pixels of the band 17 from any mark, the
    // accurate road takes pieces too.
    cv::Mat narrow(1000, 2000, CV_8UC1, cv::Scalar(0));
    narrow.colRange(1000, 2000).setTo(255);
    narrow.colRange(985, 1015).setTo(128);
    plan = qxhost::planRoute(narrow, auto_, kBudget);
    EXPECT_EQ(qxhost::Route::Tiles, plan.route) << plan.reason;
    EXPECT_TRUE(plan.narrow);
    qxhost::RoadSettings design;
    design.method = qxhost::MatteMethod::Design;
    EXPECT_EQ(qxhost::Route::Pieces, qxhost::planRoute(narrow, design, kBudget).route);
    narrow.colRange(983, 1017).setTo(128);
    EXPECT_EQ(qxhost::Route::Pieces, qxhost::planRoute(narrow, auto_, kBudget).route);

    // 1000 x 640: the band is wider than tall, so the first cut runs down it
    // and leaves a cut-only and a keep-only half, which the tree takes back
    // as one tile of all 614400 unknown pixels. Pieces, each within the
    // limits once grown by its overlap, keeping every unknown pixel once.
    const cv::Mat strip = stripTrimap(1000, 640, 20);
    plan = qxhost::planRoute(strip, auto_, kBudget);
    ASSERT_EQ(qxhost::Route::Pieces, plan.route);
    EXPECT_EQ(614400, plan.largestLeaf);
    cv::Mat covered(strip.size(), CV_8UC1, cv::Scalar(0));
    const int g = plan.pieceOverlap;
    for (const cv::Rect& r : plan.pieces) {
        const cv::Rect grown = (r + cv::Point(-g, -g) + cv::Size(2 * g, 2 * g)) & cv::Rect(0, 0, 1000, 640);
        EXPECT_LE(cv::countNonZero(strip(grown) == 128), 60000);
        covered(r) += 1;
    }
    EXPECT_EQ(0, cv::countNonZero((strip == 128) & (covered != 1)));
    // The first matte keeps about 120000: estimate (614400 / 120000 * 3.5e9 - 12 * 640000) / 1920.
    EXPECT_NEAR((614400.0 / 120000 * kBudget - 12.0 * 640000) / 1920, plan.estimate, 1.0);

    // With 20 MB of memory no piece fits: the smallest reduction that does,
    // and the estimate takes qxMaskAlpha there. The factor is the larger of
    // sqrt(614400 / 400000) and sqrt((614400 * 1920 + 12 * 640000) / 2e7) = 7.69.
    plan = qxhost::planRoute(strip, auto_, 2e7);
    ASSERT_EQ(qxhost::Route::Reduced, plan.route);
    const double factor = std::sqrt((614400.0 * 1920 + 12.0 * 640000) / 2e7) * 1.05;
    EXPECT_NEAR(1 / factor, plan.scale, 1e-9);
    EXPECT_NEAR(factor, std::sqrt((plan.estimate * 1920 + 12.0 * 640000) / 2e7), 1e-6);

    // Asked for: the library's own roads, and stretch bounds only a matte takes.
    qxhost::RoadSettings asked;
    asked.choice = qxhost::RouteChoice::LibraryTiles;
    EXPECT_EQ(qxhost::Route::Tiles, qxhost::planRoute(strip, asked, kBudget).route);
    asked.choice = qxhost::RouteChoice::Pieces;
    EXPECT_EQ(qxhost::Route::Pieces, qxhost::planRoute(small, asked, kBudget).route);
    asked.choice = qxhost::RouteChoice::Auto, asked.halfTiles = true;
    EXPECT_EQ(0.5, qxhost::planRoute(strip, asked, kBudget).scale);
    asked.halfTiles = false, asked.bounds.inHigh = 200;
    EXPECT_EQ(qxhost::Route::Reduced, qxhost::planRoute(strip, asked, kBudget).route);
}

TEST(AnySizeRoad, OneSidedRegionOverTheLimitComesOutAtFullSize) {
    const StripCase c = makeStripCase(1000, 640);
    // The library's tiles refuse it: one tile of 614400 unknown pixels.
    try {
        qxhost::keepCutToAlpha(c.image, qxhost::marksFromTrimap(c.trimap));
        ADD_FAILURE() << "the tiles took a tile over the limit";
    } catch (const qxhost::LibraryFailure& f) {
        EXPECT_EQ(-1, f.value);
    }
    // Through the tool: full size, the route said with -v, nothing said of a
    // reduced scale, certain pixels exactly as marked, the rest near the matte.
    qxtest::TempDir dir;
    cv::imwrite(dir.file("image.png"), c.image);
    cv::imwrite(dir.file("trimap.png"), c.trimap);
    std::string out;
    ASSERT_EQ(0, qxtest::runTool("-q cutout -v --no-colours " + dir.file("image.png") + " " + dir.file("trimap.png") +
                                     " -o " + dir.file("cut.png") + " --alpha " + dir.file("alpha.png"),
                                 out))
        << out;
    EXPECT_NE(std::string::npos, out.find("route pieces")) << out;
    EXPECT_EQ(std::string::npos, out.find("note:")) << out;
    const cv::Mat alpha = cv::imread(dir.file("alpha.png"), cv::IMREAD_GRAYSCALE);
    ASSERT_EQ(c.image.size(), alpha.size());
    EXPECT_EQ(0, cv::countNonZero((c.trimap == 0) & (alpha != 0)));
    EXPECT_EQ(0, cv::countNonZero((c.trimap == 255) & (alpha != 255)));
    // A band this wide leaves the matte much to guess: the library's own
    // matte at half size is off by 41.4 levels on the mean here.
    EXPECT_LT(meanError(alpha, c.alpha), 43.0) << "mean error in levels";
}

// Discs with soft rims over a noisy background and a band 12 pixels wide
// round each rim: narrow enough that the quick solve frames the pieces.
TEST(AnySizeRoad, NarrowBandPiecesCloseToTheTruthWithProgressToTheEnd) {
    const cv::Size size(1200, 800);
    cv::Mat truth(size, CV_8UC1, cv::Scalar(0)), trimap(size, CV_8UC1, cv::Scalar(0));
    for (int k = 0; k < 6; ++k) {
        const cv::Point centre(200 + 400 * (k % 3), 200 + 400 * (k / 3));
        cv::circle(truth, centre, 140, cv::Scalar(255), cv::FILLED, cv::LINE_AA);
        cv::circle(trimap, centre, 146, cv::Scalar(128), cv::FILLED);
        cv::circle(trimap, centre, 134, cv::Scalar(255), cv::FILLED);
    }
    cv::GaussianBlur(truth, truth, cv::Size(5, 5), 1.0);
    const cv::Mat f = qxtest::makeStandInPhoto(size, 3), b = qxtest::makeStandInPhoto(size, 4);
    cv::Mat weight, image, noise(size, CV_8UC3);
    truth.convertTo(weight, CV_32F, 1.0 / 255);
    cv::blendLinear(f, b, weight, cv::Mat(1.0 - weight), image);
    cv::randn(noise, cv::Scalar::all(0), cv::Scalar::all(3));
    image += noise;

    std::vector<std::pair<int, int>> seen;  // (value, total)
    auto record = [](int value, int total, void* cookie) {
        return static_cast<std::vector<std::pair<int, int>>*>(cookie)->emplace_back(value, total), 0;
    };
    qxhost::RoadSettings pieces;
    pieces.choice = qxhost::RouteChoice::Pieces;
    const qxhost::RoadResult r = qxhost::solveAnySize(image, trimap, pieces, {record, &seen});
    ASSERT_EQ(qxhost::Route::Pieces, r.plan.route);
    ASSERT_GT(r.plan.pieces.size(), 1u);
    const cv::Mat band = trimap == 128;
    cv::Mat d;
    cv::absdiff(r.alpha, truth, d);
    EXPECT_LT(cv::mean(d, band)[0], 9.0) << "mean error in levels over the band (design road 8.3)";

    EXPECT_EQ(0, cv::countNonZero((trimap != 128) & (r.alpha != trimap)));
    // One bar over the quick solve and every piece, rising to its end.
    ASSERT_FALSE(seen.empty());
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.back().second, seen.back().first);
    EXPECT_EQ(static_cast<int>(1000 * (2 + r.plan.pieces.size())), seen.back().second);
}

TEST(AnySizeRoad, CertainPixelsStayAndAReducedScaleIsSaid) {
    const std::string samples = std::getenv("QX_SAMPLES") ? std::getenv("QX_SAMPLES") : "samples";
    const cv::Mat image = cv::imread(samples + "/astronaut.png"), trimap =
                                                                     cv::imread(samples + "/astronaut_trimap.png", 0);
    ASSERT_FALSE(image.empty());
    const qxhost::RoadResult r = qxhost::solveAnySize(image, trimap);
    EXPECT_EQ(qxhost::Route::Matte, r.plan.route);
    EXPECT_EQ(0, cv::countNonZero((trimap == 0) & (r.alpha != 0)));
    EXPECT_EQ(0, cv::countNonZero((trimap == 255) & (r.alpha != 255)));
    // Asked for half-size tiles: said in one line, with the reason.
    qxhost::RoadSettings half;
    half.halfTiles = true;
    const qxhost::RoadResult h = qxhost::solveAnySize(image, trimap, half);
    EXPECT_NE(std::string::npos, h.notice.find("50% scale")) << h.notice;
    EXPECT_EQ(std::string::npos, h.notice.find('\n'));
    EXPECT_LT(meanError(h.alpha, r.alpha), 10.0);
}

}  // namespace
