// The tool's cutout subcommand on a generated composite with exact alpha: the
// whole cut-out, an edit of one rectangle that leaves everything outside it
// as it was and merges by --only, and refusals in words.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "support/composite.h"
#include "support/test_helpers.h"

namespace {

struct CutoutCli : ::testing::Test {
    qxtest::TempDir dir;
    std::string output;
    qxtest::Composite comp = qxtest::makeComposite(160, 120, 3, 5);
    std::string image, trimap;
    void SetUp() override {
        image = write("image.png", comp.image);
        trimap = write("trimap.png", comp.trimap);
    }
    std::string file(const std::string& name) const { return dir.file(name); }
    std::string write(const std::string& name, const cv::Mat& m) const {
        EXPECT_TRUE(cv::imwrite(file(name), m));
        return file(name);
    }
    cv::Mat read(const std::string& name) const { return cv::imread(file(name), cv::IMREAD_UNCHANGED); }
    int run(const std::string& args) {
        return qxtest::runTool("-q " + args, output);
    }
    static cv::Mat alphaOf(const cv::Mat& rgba) {
        cv::Mat a;
        cv::extractChannel(rgba, a, 3);
        return a;
    }
};

TEST_F(CutoutCli, WholeCutoutAndAnEditThatKeepsEverythingOutsideItsRectangle) {
    ASSERT_EQ(0, run("cutout " + image + " " + trimap + " -o " + file("c.png") + " --alpha " + file("a.png")))
        << output;
    const cv::Mat cut = read("c.png"), alpha = read("a.png");
    ASSERT_EQ(CV_8UC4, cut.type());
    ASSERT_EQ(comp.alpha.size(), cut.size());
    EXPECT_EQ(0, cv::countNonZero(alphaOf(cut) != alpha));
    EXPECT_EQ(0, cv::countNonZero((comp.trimap == 255) & (alpha != 255)));
    EXPECT_EQ(0, cv::countNonZero((comp.trimap == 0) & (alpha != 0)));
    EXPECT_LT(qxtest::sadThousands(alpha, comp.alpha, qxtest::unknownBand(comp.trimap)), 0.2);

    // An earlier cut-out with every alpha odd and the band's alpha dimmed by
    // half, so that an edit has something to add and the lowest bit, which
    // the mark coding spends on "fixed", is tested too.
    cv::Mat earlier = cut.clone(), band = qxtest::unknownBand(comp.trimap);
    std::vector<cv::Mat> channels;
    cv::split(earlier, channels);
    cv::Mat dimmed = channels[3] / 2;
    dimmed.copyTo(channels[3], band);
    channels[3] |= 1;
    channels[3].setTo(0, comp.trimap == 0), channels[3].setTo(255, comp.trimap == 255);
    cv::merge(channels, earlier);
    const std::string previous = write("previous.png", earlier);
    const cv::Rect edit(40, 30, 70, 50);
    cv::Mat outside(comp.alpha.size(), CV_8UC1, cv::Scalar(255));
    outside(edit).setTo(0);

    for (const char* only : {"add", "remove", ""}) {
        const std::string mode = *only ? std::string(" --only ") + only : "";
        for (const char* colours : {"", " --no-colours"}) {
            ASSERT_EQ(0, run("cutout " + image + " " + trimap + " --edit 40,30,70,50 --border 6 --previous " +
                             previous + mode + colours + " -o " + file("e.png")))
                << output;
            const cv::Mat e = read("e.png");
            ASSERT_EQ(CV_8UC4, e.type());
            cv::Mat diff, differs;
            cv::absdiff(e, earlier, diff);
            cv::transform(diff, differs, cv::Matx14f(1, 1, 1, 1));
            EXPECT_EQ(0, cv::countNonZero(differs & outside)) << mode << colours;  // byte for byte
            const cv::Mat before = alphaOf(earlier)(edit), after = alphaOf(e)(edit);
            const int raised = cv::countNonZero(after > before), lowered = cv::countNonZero(after < before);
            const std::string merge = only;
            if (merge == "add") {
                EXPECT_EQ(0, lowered) << colours;
            } else if (merge == "remove") {
                EXPECT_EQ(0, raised) << colours;
            } else {
                EXPECT_GT(raised, 100) << colours;  // the dimmed band is solved again
            }
        }
    }
}

TEST_F(CutoutCli, MarksThatAllowNoSolveAreRefusedInWords) {
    cv::Mat noKeep = comp.trimap.clone();
    noKeep.setTo(0, noKeep == 255);
    cv::Mat twoUnknown = comp.trimap.clone();
    twoUnknown.setTo(0, twoUnknown == 128);
    twoUnknown.at<uchar>(60, 10) = twoUnknown.at<uchar>(60, 11) = 128;
    const struct {
        cv::Mat marks;
        const char* says;
    } cases[] = {{noKeep, "no foreground (keep)"},
                 {twoUnknown, "fewer than 3 pixels are left unknown"},
                 {cv::Mat(comp.trimap.size(), CV_8UC1, cv::Scalar(128)), "no foreground (keep)"}};
    for (const auto& c : cases) {
        EXPECT_EQ(3, run("cutout " + image + " " + write("m.png", c.marks) + " -o " + file("x.png"))) << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << output;
        EXPECT_FALSE(std::ifstream(file("x.png")).good());  // nothing written
    }
    EXPECT_EQ(1, run("cutout " + image + " " + trimap + " --edit 40,30,70 --previous " + image + " -o " +
                     file("x.png")));
    EXPECT_NE(std::string::npos, output.find("X,Y,W,H")) << output;
}

}  // namespace
