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
#include "support/test_helpers.h"

namespace {

struct Cli : ::testing::Test {
    qxtest::TempDir dir;
    std::string output;
    std::string file(const std::string& name) const { return dir.file(name); }
    std::string write(const std::string& name, const cv::Mat& m) const {
        EXPECT_TRUE(cv::imwrite(file(name), m));
        return file(name);
    }
    // Runs the tool; returns its exit code and puts stdout and stderr in output.
    int run(const std::string& args) {
        return qxtest::runTool(args, output);
    }
};

TEST_F(Cli, HelpAndBadInputInWordsNeverOverwritingAnInput) {
    for (const char* sub : {"", "bbox", "stroke", "matte", "foreground", "composite", "fill", "stretch", "smooth",
                            "show", "level"}) {
        EXPECT_EQ(0, run(std::string(sub) + " --help")) << sub;
        EXPECT_NE(std::string::npos, output.find("Usage")) << sub;
    }
    const cv::Mat zeros(20, 30, CV_8UC1, cv::Scalar(0)), grey(20, 30, CV_8UC3, cv::Scalar::all(80));
    const std::string mask = write("mask.png", zeros), image = write("image.png", grey);
    const std::string other = write("other.png", cv::Mat(21, 30, CV_8UC1, cv::Scalar(0)));
    const std::string small = write("small.png", cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(9)));
    const std::string missing = file("missing.png"), alias = dir.path + "/../" +
                                dir.path.substr(dir.path.rfind('/') + 1) + "/mask.png";
    std::ofstream(file("text.png")) << "not an image";
    const std::string out = " -o " + file("out.png"), matte = "matte " + image + " " + mask;
    // Usage errors exit with 1, unreadable or mismatched files with 2.
    const struct { int code; std::string args, says; } cases[] = {
        {1, "frobnicate", "subcommand"},
        {1, "stroke " + mask + " --from 1x2 --to 3,4" + out, "--from"},
        {1, "stroke " + mask + " --from 1,2 --to 3,4 --mode paint" + out, "--mode"},
        {1, matte + " --in-high 300" + out, "--in-high"},
        {1, matte, "--output"},
        {1, matte + " --in-high 7 --in-low 7" + out, "differ"},
        {1, matte + " --over GG0000 --preview " + file("p.png") + out, "RRGGBB"},
        {1, matte + " --colours cell --foreground " + file("f.png") + out, "--colours"},
        {1, "fill " + mask + " --seed 30,5 --as keep" + out, "outside the 30x20 mask"},
        {1, "fill " + mask + " --seed -1,5 --as keep" + out, "outside"},
        {1, "fill " + mask + " --seed 3,5 --as paint" + out, "--as"},
        {1, "stretch " + mask + " --low 7 --high 7" + out, "below"},
        {1, "stretch " + mask + " --low 9 --high 7" + out, "below"},
        {1, "stretch " + mask + " --low 0 --high 256" + out, "--high"},
        {1, "smooth " + mask + " --strength 2" + out, "--strength"},
        {1, "show " + image + " " + mask + " --mode sparkle" + out, "--mode"},
        {1, "show " + image + " " + mask + " --mode over --colour 12345" + out, "RRGGBB"},
        {1, "show " + image + " " + mask + " --mode grey --low 5 --high 5" + out, "below"},
        {1, "level " + image + " --target 40 --show hue" + out, "--show"},
        {1, "level " + image + " --show cb" + out, "--target"},
        {1, "fill " + mask + " --seed 1,1 --as keep -o " + mask, "overwrite"},
        {1, "stroke " + mask + " --from 1,1 --to 20,20 -o " + alias, "overwrite"},
        {1, matte + " -o " + file("a.png") + " --preview " + image, "overwrite"},
        {2, "bbox " + missing, missing},
        {2, "bbox " + file("text.png"), "text.png"},
        {2, "matte " + small + " " + other + out, "same size"},
        {2, "foreground " + small + " " + missing + out, missing},
        {2, "composite " + small + " --over 000000" + out, "alpha channel"},
        {2, "show " + image + " " + other + " --mode tint" + out, "same size"},
        {2, "stretch " + missing + " --low 0 --high 9" + out, missing},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.code, run(c.args)) << c.args << "\n" << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << c.args << "\n" << output;
    }
    EXPECT_EQ(0, cv::norm(cv::imread(mask, cv::IMREAD_UNCHANGED), zeros, cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(cv::imread(image), grey, cv::NORM_INF));
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

// Each mask-tool subcommand on a tiny input: the pixel that shows its option
// took effect, and what it prints.
TEST_F(Cli, MaskToolWorkedRuns) {
    cv::Mat marks(20, 30, CV_8UC1, cv::Scalar(1)), flat(16, 16, CV_8UC1, cv::Scalar(60));
    marks(cv::Rect(4, 2, 3, 3)).setTo(0x80);  // a soft block in fixed cut
    flat.at<uchar>(8, 8) = flat.at<uchar>(0, 5) = 250;  // spikes inside and on the border band
    cv::Mat mask(2, 3, CV_8UC1, cv::Scalar(0));
    mask.at<uchar>(0, 1) = 255, mask.at<uchar>(0, 2) = 0x7E;
    const std::string m = write("m.png", marks), f = write("flat.png", flat), k = write("k.png", mask);
    const std::string a = write("a.png", cv::Mat(cv::Matx<uchar, 1, 3>(150, 151, 90)));
    const std::string img = write("img.png", cv::Mat(2, 3, CV_8UC3, cv::Scalar(10, 20, 200))) + " " + k;  // B, G, R
    const std::string grey = write("grey.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(128)));
    const std::string dark = write("dark.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar(10, 20, 50)));
    const struct { std::string args; cv::Point at; cv::Scalar want; std::string prints; } runs[] = {
        {"fill " + m + " --seed 5,3 --as keep", {6, 4}, {255}, "x=4 y=2 width=3 height=3\n"},
        {"fill " + m + " --seed 0,0 --as unknown", {29, 19}, {0x7E}, "x=0 y=0 width=30 height=20\n"},
        // 200/100 turns 150 into 127, or 126 with protection; odd 151 then stays.
        {"stretch " + a + " --low 100 --high 200", {0, 0}, {127}, ""},
        {"stretch " + a + " --low 100 --high 200", {1, 0}, {129}, ""},
        {"stretch " + a + " --low 100 --high 200 --protect", {0, 0}, {126}, ""},
        {"stretch " + a + " --low 100 --high 200 --protect", {1, 0}, {151}, ""},
        {"smooth " + f + " --strength 1", {8, 8}, {60}, ""},
        {"smooth " + f + " --strength 1", {5, 0}, {250}, ""},
        {"show " + img + " --mode classes", {0, 0}, {0, 0, 255}, ""},  // cut red
        {"show " + img + " --mode classes", {1, 0}, {0, 255, 0}, ""},  // keep green
        {"show " + img + " --mode classes", {2, 0}, {255, 0, 0}, ""},  // other blue
        // Over a colour: clear pixels take it (in 256ths), opaque ones keep the image.
        {"show " + img + " --mode over --colour 0080FF", {0, 0}, {254, 128, 0}, ""},
        {"show " + img + " --mode over --colour 0080FF", {1, 0}, {10, 20, 199}, ""},
        // Grey has Cb 128, levelled to 40 it shows 120; a dark image is
        // brightened by its strongest channel: 50 * 15 / 8 rounds to 94.
        {"level " + grey + " --target 40 --show cb", {3, 3}, {120, 120, 120}, ""},
        {"level " + dark + " --target 100", {3, 3}, {19, 38, 94}, ""},
    };
    for (const auto& r : runs) {
        ASSERT_EQ(0, run(r.args + " -o " + file("o.png"))) << r.args << "\n" << output;
        EXPECT_EQ(r.prints, output) << r.args;
        const cv::Mat o = cv::imread(file("o.png"), cv::IMREAD_UNCHANGED);
        cv::Scalar got;
        for (int c = 0; c < o.channels(); ++c) got[c] = o.ptr<uchar>(r.at.y)[r.at.x * o.channels() + c];
        EXPECT_EQ(r.want, got) << r.args;
    }
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
