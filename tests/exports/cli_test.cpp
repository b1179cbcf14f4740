// The command-line tool: help, exit codes, messages, and a few worked runs that
// show each option reaching the library (the numbers themselves are the unit
// tests' and the Python module's comparisons with the tool).
#include <opencv2/imgproc.hpp>

#include "cli_fixture.h"
#include "support/composite.h"

namespace {

TEST_F(Cli, HelpAndBadInputInWordsNeverOverwritingAnInput) {
    for (const char* sub : {"", "bbox", "stroke", "matte", "cutout", "foreground", "composite", "grabcut", "desaturate",
                            "fill", "stretch", "smooth", "show", "level", "batch"})
        EXPECT_TRUE(run(std::string(sub) + " --help") == 0 && says("Usage")) << sub;
    const cv::Mat zeros(20, 30, CV_8UC1, cv::Scalar(0)), grey(20, 30, CV_8UC3, cv::Scalar::all(80));
    const std::string mask = write("mask.png", zeros), image = write("image.png", grey);
    const std::string other = write("other.png", cv::Mat(21, 30, CV_8UC1, cv::Scalar(0)));
    const std::string small = write("small.png", cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(9)));
    const std::string rgba = write("rgba.png", cv::Mat(20, 30, CV_8UC4, cv::Scalar::all(9)));
    const std::string grab = "grabcut " + write("scene.png", cv::Mat(160, 240, CV_8UC3, cv::Scalar::all(80)));
    const std::string missing = file("missing.png"), dir = tmp.path,
                      alias = dir + "/../" + dir.substr(dir.rfind('/') + 1) + "/mask.png";
    std::ofstream(file("text.png")) << "not an image";
    const std::string out = " -o " + file("out.png"), matte = "matte " + image + " " + mask;
    // Usage errors exit with 1, unreadable or mismatched files with 2, marks
    // that allow no solve with 3; none of them writes the output.
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
        {1, "fill " + mask + " --seed 3,5 --as paint" + out, "--as"},
        {1, "stretch " + mask + " --low 7 --high 7" + out, "below"},
        {1, "stretch " + mask + " --low 0 --high 256" + out, "--high"},
        {1, "smooth " + mask + " --strength 2" + out, "--strength"},
        {1, "show " + image + " " + mask + " --mode sparkle" + out, "--mode"},
        {1, "show " + image + " " + mask + " --mode over --colour 12345" + out, "RRGGBB"},
        {1, "show " + image + " " + mask + " --mode grey --low 5 --high 5" + out, "below"},
        {1, "level " + image + " --target 40 --show hue" + out, "--show"},
        {1, "level " + image + " --show cb" + out, "--target"},
        {1, "foreground " + image + " " + mask + " --cell --colours design" + out, "--colours excludes --cell"},
        {1, "cutout " + image + " " + mask + " --edit 4,3,7 --previous " + rgba + out, "X,Y,W,H"},
        {3, "cutout " + image + " " + mask + out, "no foreground (keep)"},
        {1, grab + " --rect 200,0,100,100" + out, "leaves the 240x160 image"},
        {1, grab + " --rect 0,0,-5,200" + out, "empty"},
        {1, grab + " --rect 10,10,90,90" + out, "90x90 is too small"},
        {1, grab + " --rect 0,0,240,15" + out, "240x15 is too small"},  // 120 x 7 after halving
        {1, grab + " --rect 0,0,240,160 --band -3" + out, "--band"},
        {2, grab + " --rect 0,0,240,160 --marks " + other + out, "same size"},
        {1, "desaturate " + rgba + " --amount 1.5" + out, "--amount"},
        {2, "desaturate " + image + out, "alpha channel"},
        {1, "fill " + mask + " --seed 1,1 --as keep -o " + mask, "overwrite"},
        {1, "stroke " + mask + " --from 1,1 --to 20,20 -o " + alias, "overwrite"},
        {1, matte + " -o " + file("a.png") + " --preview " + image, "overwrite"},
        {2, "bbox " + missing, missing},
        {2, "bbox " + file("text.png"), "text.png"},
        {2, "matte " + small + " " + other + out, "same size"},
        {2, "composite " + small + " --over 000000" + out, "alpha channel"},
        {2, "show " + image + " " + other + " --mode tint" + out, "same size"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.code, run(c.args)) << c.args << "\n" << output;
        EXPECT_TRUE(says(c.says)) << c.args << "\n" << output;
        EXPECT_FALSE(std::ifstream(file("out.png")).good()) << c.args;
    }
    EXPECT_EQ(0, cv::norm(read("mask.png"), zeros, cv::NORM_INF));
    EXPECT_EQ(0, cv::norm(cv::imread(image), grey, cv::NORM_INF));
}

// A radius-0 unknown stroke over (50..150, 50): the box adds 12 on each side.
// In a 16-bit mask 30000 lies between the thresholds 0 and 255 * 128.
TEST_F(Cli, StrokeThenBox) {
    const std::string blank = write("blank.png", cv::Mat(100, 200, CV_8UC1, cv::Scalar(0)));
    ASSERT_EQ(0, run("stroke " + blank + " --from 50,50 --to 150,50 --radius 0 --mode unknown -o " + file("s.png")));
    EXPECT_EQ(101, cv::countNonZero(read("s.png") == 126));
    EXPECT_EQ(101, cv::countNonZero(read("s.png")));
    EXPECT_EQ(0, run("bbox " + file("s.png")));
    EXPECT_EQ("x=38 y=38 width=125 height=25 keep=0 cut=3024\n", output);
    // From no mark at an image's size, several strokes in order: a keep
    // polyline (two lines of 101 and 51 pixels sharing one) and a cut of 10
    // over its end.
    const std::string image = write("img.png", cv::Mat(100, 200, CV_8UC3, cv::Scalar::all(90)));
    ASSERT_EQ(0, run("stroke --like " + image + " --radius 0 --stroke keep:50,50,150,50,150,0 --stroke cut:150,0,150,9 -o " +
                     file("n.png"))) << output;
    const cv::Mat n = read("n.png");
    EXPECT_EQ(cv::Vec3i(141, 10, 200 * 100 - 151), cv::Vec3i(cv::countNonZero(n == 255), cv::countNonZero(n == 1),
                                                              cv::countNonZero(n == 128)));
    EXPECT_NE(0, run("stroke --like " + image + " -o " + file("n.png")));
    EXPECT_NE(0, run("stroke --like " + image + " --stroke keep:1,2,3 -o " + file("n.png")));
    cv::Mat deep(200, 200, CV_16UC1, cv::Scalar(0));
    deep.at<uint16_t>(100, 100) = 30000;
    run("bbox " + write("deep.png", deep));
    EXPECT_EQ("x=88 y=88 width=25 height=25 keep=0 cut=624\n", output);
}

// The alpha, the cut-out's alpha channel and the preview agree: opaque pixels
// show the image, clear ones the --over colour, and both occur.
TEST_F(Cli, MatteAndCutoutWriteConsistentOutputs) {
    qxtest::Composite c = qxtest::makeComposite(96, 64);
    const std::string image = write("image.png", c.image), trimap = write("trimap.png", c.trimap);
    ASSERT_EQ(0, run("matte " + image + " " + trimap + " -o " + file("alpha.png") + " --preview " + file("p.png") +
                     " --over 2E7D32 --cutout " + file("cut.png")))
        << output;
    EXPECT_FALSE(says("#"));  // no bar without a terminal
    const cv::Mat alpha = read("alpha.png"), preview = read("p.png"), cut = read("cut.png");
    ASSERT_TRUE(alpha.type() == CV_8UC1 && cut.type() == CV_8UC4 && alpha.size() == c.image.size());
    cv::Mat cutAlpha;
    cv::extractChannel(cut, cutAlpha, 3);
    EXPECT_EQ(0, cv::countNonZero(cutAlpha != alpha));
    const cv::Mat opaque = alpha == 255, clear = alpha == 0;
    EXPECT_TRUE(cv::countNonZero(opaque) > 0 && cv::countNonZero(clear) > 0);
    EXPECT_EQ(0, cv::norm(preview, c.image, cv::NORM_INF, opaque));
    const cv::Mat over(preview.size(), CV_8UC3, cv::Scalar(0x32, 0x7D, 0x2E));
    EXPECT_EQ(0, cv::norm(preview, over, cv::NORM_INF, clear));
    ASSERT_EQ(0, run("cutout " + image + " " + trimap + " -o " + file("c.png") + " --alpha " + file("a.png")));
    cv::extractChannel(read("c.png"), cutAlpha, 3);
    EXPECT_EQ(0, cv::norm(cutAlpha, read("a.png"), cv::NORM_INF));
}

// Each mask-tool subcommand on a tiny input: the pixel that shows its option
// took effect, and what it prints.
TEST_F(Cli, MaskToolWorkedRuns) {
    cv::Mat marks(20, 30, CV_8UC1, cv::Scalar(1)), flat(16, 16, CV_8UC1, cv::Scalar(60));
    cv::Mat mask(2, 3, CV_8UC1, cv::Scalar(0));
    marks(cv::Rect(4, 2, 3, 3)).setTo(0x80);  // a soft block in fixed cut
    flat.at<uchar>(8, 8) = 250;  // a spike
    mask.at<uchar>(0, 1) = 255, mask.at<uchar>(0, 2) = 0x7E;
    const std::string m = write("m.png", marks), f = write("flat.png", flat), k = write("k.png", mask);
    const std::string a = write("a.png", cv::Mat(cv::Matx<uchar, 1, 3>(150, 151, 90)));
    const std::string img = write("img.png", cv::Mat(2, 3, CV_8UC3, cv::Scalar(10, 20, 200))) + " " + k;  // B, G, R
    const std::string grey = write("grey.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(128)));
    const std::string dark = write("dark.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar(10, 20, 50)));
    const struct { std::string args; cv::Point at; cv::Scalar want; std::string prints; } runs[] = {
        {"fill " + m + " --seed 5,3 --as keep", {6, 4}, {255}, "x=4 y=2 width=3 height=3\n"},
        {"fill " + m + " --seed 0,0 --as unknown", {29, 19}, {0x7E}, "x=0 y=0 width=30 height=20\n"},
        // 200/100 turns 150 into 127; with protection odd 151 stays.
        {"stretch " + a + " --low 100 --high 200", {0, 0}, {127}, ""},
        {"stretch " + a + " --low 100 --high 200 --protect", {1, 0}, {151}, ""},
        {"smooth " + f + " --strength 1", {8, 8}, {60}, ""},
        {"show " + img + " --mode classes", {1, 0}, {0, 255, 0}, ""},  // keep green
        // Over a colour: clear pixels take it (in 256ths).
        {"show " + img + " --mode over --colour 0080FF", {0, 0}, {254, 128, 0}, ""},
        // Grey has Cb 128, levelled to 40 it shows 120; a dark image is
        // brightened by its strongest channel: 50 * 15 / 8 rounds to 94.
        {"level " + grey + " --target 40 --show cb", {3, 3}, {120, 120, 120}, ""},
        {"level " + dark + " --target 100", {3, 3}, {19, 38, 94}, ""},
    };
    for (const auto& r : runs) {
        ASSERT_EQ(0, run(r.args + " -o " + file("o.png"))) << r.args << "\n" << output;
        EXPECT_EQ(r.prints, output) << r.args;
        const cv::Mat o = read("o.png");
        cv::Scalar got;
        for (int c = 0; c < o.channels(); ++c) got[c] = o.ptr<uchar>(r.at.y)[r.at.x * o.channels() + c];
        EXPECT_EQ(r.want, got) << r.args;
    }
}

// A long rectangle runs on a reduced copy and comes back at full size;
// desaturation keeps the alpha and the opaque pixels and greys the clear ones.
TEST_F(Cli, GrabCutOfALongRectangleAndDesaturation) {
    // 3400 x 140: one session takes 3199 at most, so the work is reduced.
    cv::Mat bgr(140, 3400, CV_8UC3, cv::Scalar(40, 120, 30));
    cv::rectangle(bgr, cv::Rect(1000, 40, 1400, 60), cv::Scalar(200, 60, 220), -1);
    ASSERT_EQ(0, run("-q grabcut " + write("long.png", bgr) + " --rect 0,0,3400,140 --band 4 -o " + file("t.png")));
    const cv::Mat trimap = read("t.png");
    ASSERT_EQ(trimap.size(), bgr.size());
    // Inside, outside, and the band straddling the edge.
    EXPECT_EQ(cv::Vec3b(255, 0, 128), cv::Vec3b(trimap.at<uchar>(70, 1700), trimap.at<uchar>(70, 300),
                                                 trimap.at<uchar>(70, 1000)));
    cv::Mat cutout(1, 3, CV_8UC4, cv::Scalar(30, 140, 230, 0));
    cutout.at<cv::Vec4b>(0, 1)[3] = 255, cutout.at<cv::Vec4b>(0, 2)[3] = 127;
    ASSERT_EQ(0, run("desaturate " + write("cut.png", cutout) + " --amount 1 -o " + file("d.png"))) << output;
    const cv::Mat d = read("d.png");
    ASSERT_EQ(d.type(), CV_8UC4);
    const cv::Vec4b grey = d.at<cv::Vec4b>(0, 0), half = d.at<cv::Vec4b>(0, 2);
    EXPECT_TRUE(grey[0] == grey[1] && grey[1] == grey[2] && grey[3] == 0);
    EXPECT_EQ(d.at<cv::Vec4b>(0, 1), cutout.at<cv::Vec4b>(0, 1));
    EXPECT_TRUE(half[3] == 127 && half[2] - half[0] < 200) << half;  // less colourful
}

}  // namespace
