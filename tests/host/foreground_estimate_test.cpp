// The full-resolution foreground estimate: accuracy against known layers,
// what it must give exactly, and that it works on any size and thread count.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "qxhost.h"
#include "support/test_helpers.h"
#include "support/textured_composite.h"

namespace {

using qxtest::softColourError;

// Well below both the plain image colour and the library's recovery on
// textured layers and on the two sample photographs over each other.
TEST(ForegroundEstimate, BeatsPlainColourAndLibraryRecovery) {
    std::vector<std::pair<std::string, qxtest::TexturedComposite>> cases;
    for (unsigned seed : {1u, 2u}) cases.emplace_back("textured " + std::to_string(seed),
                                                       qxtest::makeTexturedComposite(320, 240, seed));
    const std::string samples = std::getenv("QX_SAMPLES") ? std::getenv("QX_SAMPLES") : "samples";
    const cv::Mat astronaut = cv::imread(samples + "/astronaut.png"), coffee = cv::imread(samples + "/coffee.png");
    ASSERT_FALSE(astronaut.empty() || coffee.empty()) << "QX_SAMPLES must name the samples folder";
    cases.emplace_back("photographs", qxtest::compositeLayers(astronaut, coffee, 320, 240, 7));
    for (const auto& [name, c] : cases) {
        const double plain = softColourError(c.image, c.foreground, c.alpha);
        const double design = softColourError(
            qxhost::recoverColours(c.image, c.alpha, qxhost::ColourMethod::Design), c.foreground, c.alpha);
        cv::Mat background;
        cv::Mat fg = qxhost::estimateForeground(c.image, c.alpha, qxhost::ForegroundParams(), {}, &background);
        const double full = softColourError(fg, c.foreground, c.alpha);
        EXPECT_LT(full, 0.6 * plain) << name << ": plain " << plain;
        EXPECT_LT(full, 0.6 * design) << name << ": design " << design;
        // The two layers still explain the image, to about a level.
        cv::Mat a, f, b, i, recomposed;
        c.alpha.convertTo(a, CV_32F, 1 / 255.0);
        cv::merge(std::vector<cv::Mat>(3, a), a);
        fg.convertTo(f, CV_32FC3), background.convertTo(b, CV_32FC3), c.image.convertTo(i, CV_32FC3);
        recomposed = a.mul(f) + (cv::Scalar::all(1) - a).mul(b);
        EXPECT_LT(cv::norm(recomposed, i, cv::NORM_L1) / (3.0 * i.total()), 1.0) << name;
    }
}

// Any size, pixel layout and thread count gives the same result; a
// one-colour image is its own foreground and background under any alpha.
TEST(ForegroundEstimate, AnySizeLayoutAndThreadCount) {
    const qxtest::TexturedComposite c = qxtest::makeTexturedComposite(203, 157, 4);
    cv::Mat one = qxhost::estimateForeground(c.image, c.alpha);
    {
        qxtest::ThreadCount t(3);
        EXPECT_EQ(0, cv::norm(one, qxhost::estimateForeground(c.image, c.alpha), cv::NORM_INF));
    }
    // Four-byte pixels and a view into a larger image.
    cv::Mat big(300, 300, CV_8UC4, cv::Scalar::all(77)), bigAlpha(300, 300, CV_8UC1, cv::Scalar(9));
    cv::Mat view = big(cv::Rect(50, 60, 203, 157)), alphaView = bigAlpha(cv::Rect(50, 60, 203, 157));
    cv::cvtColor(c.image, view, cv::COLOR_BGR2BGRA);
    c.alpha.copyTo(alphaView);
    EXPECT_EQ(0, cv::norm(qxhost::estimateForeground(view, alphaView), one, cv::NORM_INF));
    for (cv::Size s : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1), cv::Size(2, 3)}) {
        cv::Mat image(s, CV_8UC3), alpha(s, CV_8UC1);
        cv::randu(image, 0, 256), cv::randu(alpha, 0, 256);
        EXPECT_EQ(s, qxhost::estimateForeground(image, alpha).size());
    }
    cv::Mat flat(c.alpha.size(), CV_8UC3, cv::Scalar(10, 140, 250)), background;
    cv::Mat fg = qxhost::estimateForeground(flat, c.alpha, qxhost::ForegroundParams(), {}, &background);
    EXPECT_LE(cv::norm(fg, flat, cv::NORM_INF), 1);
    EXPECT_LE(cv::norm(background, flat, cv::NORM_INF), 1);
    EXPECT_THROW(qxhost::estimateForeground(c.image, cv::Mat(10, 10, CV_8UC1)), std::invalid_argument);
    EXPECT_THROW(qxhost::estimateForeground(c.alpha, c.alpha), std::invalid_argument);
}

TEST(ForegroundEstimate, ProgressRisesToTheTotal) {
    std::vector<std::pair<int, int>> seen;  // (value, total)
    auto record = [](int value, int total, void* cookie) {
        return static_cast<std::vector<std::pair<int, int>>*>(cookie)->emplace_back(value, total), 0;
    };
    const qxtest::TexturedComposite c = qxtest::makeTexturedComposite(100, 80, 5);
    qxhost::estimateForeground(c.image, c.alpha, qxhost::ForegroundParams(), {record, &seen});
    ASSERT_GT(seen.size(), 5u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    for (const auto& s : seen) EXPECT_EQ(100, s.second);
    EXPECT_EQ(100, seen.back().first);
}

}  // namespace
