// The command-line tool: help, exit codes, messages, and a few worked runs.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "support/composite.h"

namespace {

struct Outcome {
    int code;
    std::string output;  // stdout and stderr
};

Outcome run(const std::string& args) {
    const char* cli = std::getenv("QX_CLI");
    std::string cmd = std::string("'") + (cli ? cli : "qxmatte") + "' " + args + " 2>&1 </dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    Outcome r{-1, ""};
    if (!p) return r;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.output.append(buf, n);
    int status = pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

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
};

TEST_F(Cli, HelpForEachSubcommand) {
    for (const char* sub : {"", "bbox", "stroke", "matte", "foreground", "composite"}) {
        Outcome r = run(std::string(sub) + " --help");
        EXPECT_EQ(0, r.code) << sub;
        EXPECT_NE(std::string::npos, r.output.find("Usage")) << sub;
    }
}

TEST_F(Cli, BadArgumentsExitWithOne) {
    const std::string mask = write("mask.png", cv::Mat(40, 40, CV_8UC1, cv::Scalar(0)));
    const std::string out = " -o " + file("out.png");
    const struct {
        std::string args, says;
    } cases[] = {
        {"", "subcommand"},
        {"frobnicate", "subcommand"},
        {"stroke " + mask + " --from 1x2 --to 3,4" + out, "--from"},
        {"stroke " + mask + " --from 1,2 --to 3,4 --mode paint" + out, "--mode"},
        {"stroke " + mask + " --from 1,2" + out, "--to"},
        {"matte " + mask + " " + mask + " --in-high 300" + out, "--in-high"},
        {"matte " + mask + " " + mask, "--output"},
        {"matte " + mask + " " + mask + " --in-high 7 --in-low 7" + out, "differ"},
        {"matte " + mask + " " + mask + " --over GG0000 --preview " + file("p.png") + out, "RRGGBB"},
    };
    for (const auto& c : cases) {
        Outcome r = run(c.args);
        EXPECT_EQ(1, r.code) << c.args << "\n" << r.output;
        EXPECT_NE(std::string::npos, r.output.find(c.says)) << c.args << "\n" << r.output;
    }
}

TEST_F(Cli, FileProblemsExitWithTwo) {
    const std::string missing = file("missing.png");
    std::ofstream(file("text.png")) << "not an image";
    const std::string small = write("small.png", cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(9)));
    const std::string other = write("other.png", cv::Mat(12, 10, CV_8UC1, cv::Scalar(0)));
    const struct {
        std::string args, says;
    } cases[] = {
        {"bbox " + missing, missing},
        {"bbox " + file("text.png"), "text.png"},
        {"matte " + small + " " + other + " -o " + file("a.png"), "same size"},
        {"foreground " + small + " " + missing + " -o " + file("f.png"), missing},
        {"composite " + small + " --over 000000 -o " + file("c.png"), "alpha channel"},
    };
    for (const auto& c : cases) {
        Outcome r = run(c.args);
        EXPECT_EQ(2, r.code) << c.args << "\n" << r.output;
        EXPECT_NE(std::string::npos, r.output.find(c.says)) << c.args << "\n" << r.output;
    }
}

TEST_F(Cli, NeverOverwritesAnInput) {
    const std::string mask = write("mask.png", cv::Mat(30, 30, CV_8UC1, cv::Scalar(0)));
    const std::string image = write("image.png", cv::Mat(30, 30, CV_8UC3, cv::Scalar::all(50)));
    const std::string before = slurp(mask);
    const std::string aliases[] = {mask, dir + "/../" + dir.substr(dir.rfind('/') + 1) + "/mask.png"};
    for (const std::string& target : aliases) {
        Outcome r = run("stroke " + mask + " --from 1,1 --to 20,20 -o " + target);
        EXPECT_EQ(1, r.code) << r.output;
        EXPECT_NE(std::string::npos, r.output.find("overwrite")) << r.output;
    }
    Outcome r = run("matte " + image + " " + mask + " -o " + file("a.png") + " --preview " + image);
    EXPECT_EQ(1, r.code) << r.output;
    EXPECT_EQ(before, slurp(mask));
}

// A radius-0 unknown stroke over (50..150, 50): the box adds 12 on each side.
TEST_F(Cli, StrokeThenBox) {
    const std::string blank = write("blank.png", cv::Mat(100, 200, CV_8UC1, cv::Scalar(0)));
    Outcome r = run("stroke " + blank + " --from 50,50 --to 150,50 --radius 0 --mode unknown -o " + file("s.png"));
    ASSERT_EQ(0, r.code) << r.output;
    cv::Mat s = cv::imread(file("s.png"), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(101, cv::countNonZero(s == 126));
    EXPECT_EQ(101, cv::countNonZero(s));
    r = run("bbox " + file("s.png"));
    EXPECT_EQ(0, r.code);
    EXPECT_EQ("x=38 y=38 width=125 height=25 keep=0 cut=3024\n", r.output);

    // A 16-bit mask: 30000 lies between the thresholds 0 and 255 * 128.
    cv::Mat deep(200, 200, CV_16UC1, cv::Scalar(0));
    deep.at<uint16_t>(100, 100) = 30000;
    r = run("bbox " + write("deep.png", deep));
    EXPECT_EQ("x=88 y=88 width=25 height=25 keep=0 cut=624\n", r.output);
}

TEST_F(Cli, MatteWritesConsistentOutputs) {
    qxtest::Composite c = qxtest::makeComposite(96, 64);
    const std::string image = write("image.png", c.image);
    const std::string trimap = write("trimap.png", c.trimap);
    Outcome r = run("matte " + image + " " + trimap + " -o " + file("alpha.png") + " --preview " + file("p.png") +
                " --over 2E7D32 --cutout " + file("cut.png"));
    ASSERT_EQ(0, r.code) << r.output;
    EXPECT_EQ(std::string::npos, r.output.find('#'));  // no bar without a terminal
    cv::Mat alpha = cv::imread(file("alpha.png"), cv::IMREAD_UNCHANGED);
    cv::Mat preview = cv::imread(file("p.png"), cv::IMREAD_UNCHANGED);
    cv::Mat cut = cv::imread(file("cut.png"), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(CV_8UC1, alpha.type());
    ASSERT_EQ(CV_8UC4, cut.type());
    ASSERT_EQ(c.image.size(), alpha.size());
    int opaque = 0, clear = 0;
    for (int y = 0; y < alpha.rows; ++y)
        for (int x = 0; x < alpha.cols; ++x) {
            const int a = alpha.at<uint8_t>(y, x);
            ASSERT_EQ(a, cut.at<cv::Vec4b>(y, x)[3]);
            if (a == 255) {
                ++opaque;
                ASSERT_EQ(c.image.at<cv::Vec3b>(y, x), preview.at<cv::Vec3b>(y, x));
            } else if (a == 0) {
                ++clear;
                ASSERT_EQ(cv::Vec3b(0x32, 0x7D, 0x2E), preview.at<cv::Vec3b>(y, x));
            }
        }
    EXPECT_GT(opaque, 0);
    EXPECT_GT(clear, 0);
}

}  // namespace
