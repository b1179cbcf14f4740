// The command-line tool: help, exit codes, messages, and a few worked runs.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "support/composite.h"

namespace {

struct Cli : ::testing::Test {
    std::string dir;
    void SetUp() override {
        char tmpl[] = "/tmp/qxcliXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(tmpl));
        dir = tmpl;
    }
    void TearDown() override { std::system(("rm -rf '" + dir + "'").c_str()); }
    std::string file(const std::string& name) const { return dir + "/" + name; }
    std::string write(const std::string& name, const cv::Mat& m) const {
        EXPECT_TRUE(cv::imwrite(file(name), m));
        return file(name);
    }
    // Runs the tool; returns its exit code and puts stdout and stderr in output.
    int run(const std::string& args) {
        const char* cli = std::getenv("QX_CLI");
        FILE* p = popen((std::string("'") + (cli ? cli : "qxmatte") + "' " + args + " 2>&1 </dev/null").c_str(), "r");
        output.clear();
        char buf[4096];
        for (std::size_t n; p && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) output.append(buf, n);
        int status = p ? pclose(p) : -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Each case must exit with code and say something containing its text.
    void expectFailures(int code, const std::vector<std::pair<std::string, std::string>>& cases) {
        for (const auto& c : cases) {
            EXPECT_EQ(code, run(c.first)) << c.first << "\n" << output;
            EXPECT_NE(std::string::npos, output.find(c.second)) << c.first << "\n" << output;
        }
    }
    std::string output;
};

TEST_F(Cli, HelpAndFailureExitCodes) {
    for (const char* sub : {"", "bbox", "stroke", "matte", "foreground", "composite"}) {
        EXPECT_EQ(0, run(std::string(sub) + " --help")) << sub;
        EXPECT_NE(std::string::npos, output.find("Usage")) << sub;
    }
    const std::string mask = write("mask.png", cv::Mat(40, 40, CV_8UC1, cv::Scalar(0)));
    const std::string out = " -o " + file("out.png"), matte = "matte " + mask + " " + mask;
    expectFailures(1, {{"frobnicate", "subcommand"},
                       {"stroke " + mask + " --from 1x2 --to 3,4" + out, "--from"},
                       {"stroke " + mask + " --from 1,2 --to 3,4 --mode paint" + out, "--mode"},
                       {matte + " --in-high 300" + out, "--in-high"},
                       {matte, "--output"},
                       {matte + " --in-high 7 --in-low 7" + out, "differ"},
                       {matte + " --over GG0000 --preview " + file("p.png") + out, "RRGGBB"},
                       {matte + " --colours cell --foreground " + file("f.png") + out, "--colours"}});

    const std::string missing = file("missing.png");
    std::ofstream(file("text.png")) << "not an image";
    const std::string small = write("small.png", cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(9)));
    const std::string other = write("other.png", cv::Mat(12, 10, CV_8UC1, cv::Scalar(0)));
    expectFailures(2, {{"bbox " + missing, missing},
                       {"bbox " + file("text.png"), "text.png"},
                       {"matte " + small + " " + other + out, "same size"},
                       {"foreground " + small + " " + missing + out, missing},
                       {"composite " + small + " --over 000000" + out, "alpha channel"}});
}

TEST_F(Cli, NeverOverwritesAnInput) {
    const std::string mask = write("mask.png", cv::Mat(30, 30, CV_8UC1, cv::Scalar(0)));
    const std::string image = write("image.png", cv::Mat(30, 30, CV_8UC3, cv::Scalar::all(50)));
    const std::string alias = dir + "/../" + dir.substr(dir.rfind('/') + 1) + "/mask.png";
    expectFailures(1, {{"stroke " + mask + " --from 1,1 --to 20,20 -o " + mask, "overwrite"},
                       {"stroke " + mask + " --from 1,1 --to 20,20 -o " + alias, "overwrite"},
                       {"matte " + image + " " + mask + " -o " + file("a.png") + " --preview " + image, "overwrite"}});
    EXPECT_EQ(0, cv::countNonZero(cv::imread(mask, cv::IMREAD_UNCHANGED)));
    EXPECT_EQ(0, cv::norm(cv::imread(image), cv::Mat(30, 30, CV_8UC3, cv::Scalar::all(50)), cv::NORM_INF));
}

// A radius-0 unknown stroke over (50..150, 50): the box adds 12 on each side.
TEST_F(Cli, StrokeThenBox) {
    const std::string blank = write("blank.png", cv::Mat(100, 200, CV_8UC1, cv::Scalar(0)));
    ASSERT_EQ(0, run("stroke " + blank + " --from 50,50 --to 150,50 --radius 0 --mode unknown -o " + file("s.png")))
        << output;
    cv::Mat s = cv::imread(file("s.png"), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(101, cv::countNonZero(s == 126));
    EXPECT_EQ(101, cv::countNonZero(s));
    EXPECT_EQ(0, run("bbox " + file("s.png")));
    EXPECT_EQ("x=38 y=38 width=125 height=25 keep=0 cut=3024\n", output);

    // A 16-bit mask: 30000 lies between the thresholds 0 and 255 * 128.
    cv::Mat deep(200, 200, CV_16UC1, cv::Scalar(0));
    deep.at<uint16_t>(100, 100) = 30000;
    run("bbox " + write("deep.png", deep));
    EXPECT_EQ("x=88 y=88 width=25 height=25 keep=0 cut=624\n", output);
}

TEST_F(Cli, MatteWritesConsistentOutputs) {
    qxtest::Composite c = qxtest::makeComposite(96, 64);
    const std::string image = write("image.png", c.image), trimap = write("trimap.png", c.trimap);
    ASSERT_EQ(0, run("matte " + image + " " + trimap + " -o " + file("alpha.png") + " --preview " + file("p.png") +
                     " --over 2E7D32 --cutout " + file("cut.png")))
        << output;
    EXPECT_EQ(std::string::npos, output.find('#'));  // no bar without a terminal
    cv::Mat alpha = cv::imread(file("alpha.png"), cv::IMREAD_UNCHANGED);
    cv::Mat preview = cv::imread(file("p.png"), cv::IMREAD_UNCHANGED);
    cv::Mat cut = cv::imread(file("cut.png"), cv::IMREAD_UNCHANGED), cutAlpha;
    ASSERT_EQ(CV_8UC1, alpha.type());
    ASSERT_EQ(CV_8UC4, cut.type());
    ASSERT_EQ(c.image.size(), alpha.size());
    cv::extractChannel(cut, cutAlpha, 3);
    EXPECT_EQ(0, cv::countNonZero(cutAlpha != alpha));
    // Opaque pixels show the image, clear ones the colour; both occur.
    cv::Mat opaque = alpha == 255, clear = alpha == 0;
    EXPECT_GT(cv::countNonZero(opaque), 0);
    EXPECT_GT(cv::countNonZero(clear), 0);
    EXPECT_EQ(0, cv::norm(preview, c.image, cv::NORM_INF, opaque));
    const cv::Mat over(preview.size(), CV_8UC3, cv::Scalar(0x32, 0x7D, 0x2E));
    EXPECT_EQ(0, cv::norm(preview, over, cv::NORM_INF, clear));
}

// The three colour methods all run; full resolution and the library's own
// recovery give different colours, and both keep the image where alpha is 255.
TEST_F(Cli, ForegroundColourMethods) {
    qxtest::Composite c = qxtest::makeComposite(96, 64);
    const std::string image = write("image.png", c.image), alpha = write("alpha.png", c.alpha);
    std::vector<cv::Mat> results;
    for (const char* method : {"full", "design", "cell"}) {
        ASSERT_EQ(0, run("foreground " + image + " " + alpha + " --colours " + method + " -o " + file("f.png")))
            << method << "\n" << output;
        results.push_back(cv::imread(file("f.png"), cv::IMREAD_UNCHANGED));
    }
    EXPECT_GT(cv::norm(results[0], results[1], cv::NORM_INF), 0);
    cv::Mat opaque = c.alpha == 255;
    EXPECT_LE(cv::norm(results[0], c.image, cv::NORM_INF, opaque), 2);
    EXPECT_EQ(1, run("foreground " + image + " " + alpha + " --cell --colours design -o " + file("g.png")));
}

}  // namespace
