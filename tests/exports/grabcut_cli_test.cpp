// The tool's GrabCut and desaturation subcommands: a trimap from a rectangle
// (also through the reduced copy of a long rectangle), a cut-out losing its
// colour by its alpha, and the refusals of bad input.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/imgcodecs.hpp>

#include <cstdlib>
#include <string>

#include "selection/selection_fixtures.h"
#include "support/test_helpers.h"

namespace {

struct GrabcutCli : ::testing::Test {
    std::string dir, output;
    void SetUp() override {
        char tmpl[] = "/tmp/qxgrabcutXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(tmpl));
        dir = tmpl;
    }
    void TearDown() override { std::system(("rm -rf '" + dir + "'").c_str()); }
    std::string write(const std::string& name, const cv::Mat& m) const {
        EXPECT_TRUE(cv::imwrite(dir + "/" + name, m));
        return dir + "/" + name;
    }
    cv::Mat read(const std::string& name) const { return cv::imread(dir + "/" + name, cv::IMREAD_UNCHANGED); }
    int run(const std::string& args) {
        return qxtest::runTool("-q " + args, output);
    }
};

TEST_F(GrabcutCli, TrimapFromARectangle) {
    cv::Mat truth, bgr;
    cv::cvtColor(seltest::texturedScene(320, 240, truth), bgr, cv::COLOR_BGRA2BGR);
    const std::string image = write("scene.png", bgr);
    const cv::Rect box = cv::boundingRect(truth);
    const std::string rect = std::to_string(box.x - 15) + "," + std::to_string(box.y - 15) + "," +
                             std::to_string(box.width + 30) + "," + std::to_string(box.height + 30);
    ASSERT_EQ(0, run("grabcut " + image + " --rect " + rect + " --band 6 --iterations 2 -o " + dir + "/t.png")) << output;
    const cv::Mat trimap = read("t.png");
    ASSERT_EQ(trimap.size(), truth.size());
    EXPECT_EQ(0, cv::countNonZero((trimap != 0) & (trimap != 128) & (trimap != 255)));
    EXPECT_GT(seltest::iou(trimap >= 128, truth), 0.9);
    EXPECT_GT(seltest::iou(trimap == 255, truth), 0.9);
    EXPECT_GT(cv::countNonZero(trimap == 128), 0);
    cv::Mat outside = trimap.clone();
    outside(cv::Rect(box.x - 15, box.y - 15, box.width + 30, box.height + 30)).setTo(0);
    EXPECT_EQ(0, cv::countNonZero(outside));

    // A keep mark in the background comes back as foreground.
    cv::Mat marks(truth.size(), CV_8UC1, cv::Scalar(128));
    marks(cv::Rect(box.x - 10, box.y - 10, 3, 3)).setTo(255);
    ASSERT_EQ(0, run("grabcut " + image + " --rect " + rect + " --marks " + write("m.png", marks) + " -o " + dir +
                     "/k.png"))
        << output;
    EXPECT_EQ(read("k.png").at<uchar>(box.y - 9, box.x - 9), 255);

    // Refusals, with exit code 1 and a sentence naming the problem.
    const std::string other = write("other.png", cv::Mat(10, 10, CV_8UC1, cv::Scalar(0)));
    for (auto [args, text] : {std::pair<std::string, std::string>{"--rect 300,0,100,100", "leaves"},
                              {"--rect 10,10,90,90", "too small"},
                              {"--rect 0,0,300,15", "too small"},
                              {"--rect 10,10,100", "X,Y,W,H"},
                              {"--rect 0,0,-5,200", "empty"},
                              {"--rect " + rect + " --marks " + other, "same size"},
                              {"--rect " + rect + " --band -3", "--band"}}) {
        const int code = run("grabcut " + image + " " + args + " -o " + dir + "/x.png");
        EXPECT_TRUE(code == 1 || code == 2) << args << "\n" << output;
        EXPECT_NE(std::string::npos, output.find(text)) << args << "\n" << output;
    }
}

TEST_F(GrabcutCli, LongRectangleRunsOnAReducedCopy) {
    // 3400 x 140: one session takes 3199 at most, so the work is reduced.
    cv::Mat bgr(140, 3400, CV_8UC3, cv::Scalar(40, 120, 30));
    cv::rectangle(bgr, cv::Rect(1000, 40, 1400, 60), cv::Scalar(200, 60, 220), -1);
    const std::string image = write("long.png", bgr);
    ASSERT_EQ(0, run("grabcut " + image + " --rect 0,0,3400,140 --band 4 -o " + dir + "/t.png")) << output;
    const cv::Mat trimap = read("t.png");
    ASSERT_EQ(trimap.size(), bgr.size());
    EXPECT_EQ(trimap.at<uchar>(70, 1700), 255);
    EXPECT_EQ(trimap.at<uchar>(70, 300), 0);
    EXPECT_EQ(trimap.at<uchar>(70, 1000), 128);  // the band straddles the edge
}

TEST_F(GrabcutCli, DesaturateByAlpha) {
    cv::Mat cutout(1, 3, CV_8UC4, cv::Scalar(30, 140, 230, 0));
    cutout.at<cv::Vec4b>(0, 1)[3] = 255;
    cutout.at<cv::Vec4b>(0, 2)[3] = 127;
    const std::string in = write("cut.png", cutout);
    ASSERT_EQ(0, run("desaturate " + in + " --amount 1 -o " + dir + "/d.png")) << output;
    const cv::Mat out = read("d.png");
    ASSERT_EQ(out.type(), CV_8UC4);
    const cv::Vec4b grey = out.at<cv::Vec4b>(0, 0), opaque = out.at<cv::Vec4b>(0, 1), half = out.at<cv::Vec4b>(0, 2);
    EXPECT_TRUE(grey[0] == grey[1] && grey[1] == grey[2] && grey[3] == 0);
    EXPECT_EQ(opaque, cutout.at<cv::Vec4b>(0, 1));
    EXPECT_EQ(half[3], 127);
    EXPECT_LT(half[2] - half[0], 230 - 30);  // less colourful, though not grey
    EXPECT_GT(half[2] - half[0], 0);

    for (const char* amount : {"1.5", "-0.1"}) {
        EXPECT_EQ(1, run("desaturate " + in + " --amount " + amount + " -o " + dir + "/e.png")) << amount;
        EXPECT_NE(std::string::npos, output.find("--amount")) << output;
    }
    const std::string grey3 = write("grey.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(9)));
    EXPECT_EQ(2, run("desaturate " + grey3 + " -o " + dir + "/e.png"));
    EXPECT_NE(std::string::npos, output.find("alpha channel")) << output;
}

}  // namespace
