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
    for (const char* sub : {"", "bbox", "stroke", "matte", "foreground", "composite", "fill", "stretch", "smooth",
                            "show", "level"}) {
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

// The mask tool subcommands: bad input in words, with the usual exit codes.
TEST_F(Cli, MaskToolsRefuseBadInput) {
    const std::string mask = write("mask.png", cv::Mat(20, 30, CV_8UC1, cv::Scalar(1)));
    const std::string image = write("image.png", cv::Mat(20, 30, CV_8UC3, cv::Scalar::all(80)));
    const std::string other = write("other.png", cv::Mat(21, 30, CV_8UC1, cv::Scalar(0)));
    const std::string out = " -o " + file("out.png");
    expectFailures(1, {{"fill " + mask + " --seed 30,5 --as keep" + out, "outside the 30x20 mask"},
                       {"fill " + mask + " --seed -1,5 --as keep" + out, "outside"},
                       {"fill " + mask + " --seed 3,5 --as paint" + out, "--as"},
                       {"stretch " + mask + " --low 7 --high 7" + out, "below"},
                       {"stretch " + mask + " --low 9 --high 7" + out, "below"},
                       {"stretch " + mask + " --low 0 --high 256" + out, "--high"},
                       {"smooth " + mask + " --strength 2" + out, "--strength"},
                       {"show " + image + " " + mask + " --mode sparkle" + out, "--mode"},
                       {"show " + image + " " + mask + " --mode over --colour 12345" + out, "RRGGBB"},
                       {"show " + image + " " + mask + " --mode grey --low 5 --high 5" + out, "below"},
                       {"level " + image + " --target 40 --show hue" + out, "--show"},
                       {"level " + image + " --show cb" + out, "--target"},
                       {"fill " + mask + " --seed 1,1 --as cut -o " + mask, "overwrite"}});
    expectFailures(2, {{"show " + image + " " + other + " --mode tint" + out, "same size"},
                       {"stretch " + file("none.png") + " --low 0 --high 9" + out, "none.png"}});
}

TEST_F(Cli, FillStretchSmoothWorkedRuns) {
    // A soft block in fixed cut, filled as keep; the rectangle is printed.
    cv::Mat marks(20, 30, CV_8UC1, cv::Scalar(1));
    marks(cv::Rect(4, 2, 3, 3)).setTo(0x80);
    ASSERT_EQ(0, run("fill " + write("m.png", marks) + " --seed 5,3 --as keep -o " + file("f.png"))) << output;
    EXPECT_EQ("x=4 y=2 width=3 height=3\n", output);
    cv::Mat filled = cv::imread(file("f.png"), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(9, cv::countNonZero(filled == 255));
    ASSERT_EQ(0, run("fill " + file("f.png") + " --seed 0,0 --as unknown -o " + file("u.png"))) << output;
    EXPECT_EQ("x=0 y=0 width=30 height=20\n", output);

    // 200/100 turns 150 into 127, or 126 with protection; odd 151 then stays.
    cv::Mat alpha(1, 3, CV_8UC1);
    alpha.at<uchar>(0) = 150, alpha.at<uchar>(1) = 151, alpha.at<uchar>(2) = 90;
    const std::string a = write("a.png", alpha);
    ASSERT_EQ(0, run("stretch " + a + " --low 100 --high 200 -o " + file("s.png"))) << output;
    EXPECT_EQ(0, cv::norm(cv::imread(file("s.png"), cv::IMREAD_UNCHANGED), cv::Mat(cv::Matx<uchar, 1, 3>(127, 129, 0)),
                          cv::NORM_INF));
    ASSERT_EQ(0, run("stretch " + a + " --low 100 --high 200 --protect -o " + file("p.png"))) << output;
    EXPECT_EQ(0, cv::norm(cv::imread(file("p.png"), cv::IMREAD_UNCHANGED), cv::Mat(cv::Matx<uchar, 1, 3>(126, 151, 0)),
                          cv::NORM_INF));

    // A lone spike is smoothed away; on the border band it stays.
    cv::Mat flat(16, 16, CV_8UC1, cv::Scalar(60));
    flat.at<uchar>(8, 8) = flat.at<uchar>(0, 5) = 250;
    ASSERT_EQ(0, run("smooth " + write("flat.png", flat) + " --strength 1 -o " + file("sm.png"))) << output;
    cv::Mat smooth = cv::imread(file("sm.png"), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(60, smooth.at<uchar>(8, 8));
    EXPECT_EQ(250, smooth.at<uchar>(0, 5));
}

TEST_F(Cli, ShowAndLevelPictures) {
    cv::Mat image(2, 3, CV_8UC3, cv::Scalar(10, 20, 200));  // B, G, R
    cv::Mat mask(2, 3, CV_8UC1, cv::Scalar(0));
    mask.at<uchar>(0, 1) = 255;
    mask.at<uchar>(0, 2) = 0x7E;
    const std::string img = write("img.png", image), m = write("m.png", mask);
    ASSERT_EQ(0, run("show " + img + " " + m + " --mode classes -o " + file("c.png"))) << output;
    cv::Mat c = cv::imread(file("c.png"));
    EXPECT_EQ(cv::Vec3b(0, 0, 255), c.at<cv::Vec3b>(0, 0));  // cut red
    EXPECT_EQ(cv::Vec3b(0, 255, 0), c.at<cv::Vec3b>(0, 1));  // keep green
    EXPECT_EQ(cv::Vec3b(255, 0, 0), c.at<cv::Vec3b>(0, 2));  // other blue
    // Over a colour: clear pixels take it (in 256ths), opaque ones keep the image.
    ASSERT_EQ(0, run("show " + img + " " + m + " --mode over --colour 0080FF -o " + file("o.png"))) << output;
    cv::Mat o = cv::imread(file("o.png"));
    EXPECT_EQ(cv::Vec3b(254, 128, 0), o.at<cv::Vec3b>(0, 0));
    EXPECT_EQ(cv::Vec3b(10, 20, 199), o.at<cv::Vec3b>(0, 1));

    // Grey has Cb 128; levelled to 40 it shows 120.
    const std::string grey = write("grey.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(128)));
    ASSERT_EQ(0, run("level " + grey + " --target 40 --show cb -o " + file("l.png"))) << output;
    EXPECT_EQ(0, cv::norm(cv::imread(file("l.png")), cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(120)), cv::NORM_INF));
    // A dark image is brightened by its strongest channel: 50 * 15 / 8 rounds to 94.
    const std::string dark = write("dark.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar(10, 20, 50)));
    ASSERT_EQ(0, run("level " + dark + " --target 100 -o " + file("d.png"))) << output;
    EXPECT_EQ(cv::Vec3b(19, 38, 94), cv::imread(file("d.png")).at<cv::Vec3b>(3, 3));
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
