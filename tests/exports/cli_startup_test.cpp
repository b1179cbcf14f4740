// What the tool maps at start-up: runs that touch no image file (help,
// version, refusals of the arguments) leave OpenCV's codecs and the hundred
// libraries behind them unloaded; the first image read or written loads them
// through the codec module, and a tool without that module says so in words.
#include <filesystem>

#include "cli_fixture.h"

namespace {

// Runs the tool with the dynamic loader's trace of the files it maps (dlopen
// included) going to files of their own: the tool hides stderr while it
// decodes, which would hide the trace of a load made then. Returns how many
// shared objects were mapped; *names gets the trace.
int mapped(Cli& cli, const std::string& args, std::string* names = nullptr) {
    namespace fs = std::filesystem;
    const std::string dir = cli.file("trace");
    fs::remove_all(dir);
    fs::create_directories(dir);
    cli.run(args, "LD_DEBUG=files LD_DEBUG_OUTPUT='" + dir + "/ld' ");
    std::string trace;
    for (const auto& entry : fs::directory_iterator(dir)) trace += cli.text(entry.path().string());
    int n = 0;
    for (std::size_t at = 0; (at = trace.find("generating link map", at)) != std::string::npos; ++at) ++n;
    if (names) *names = trace;
    return n;
}

TEST_F(Cli, StartsWithoutTheCodecsUntilAnImageFileIsUsed) {
    const std::string image = write("image.png", cv::Mat(20, 30, CV_8UC3, cv::Scalar::all(80)));
    const std::string trimap = write("trimap.png", cv::Mat(20, 30, CV_8UC1, cv::Scalar(128)));
    const std::string refusals[] = {"--version", "--help", "matte --help", "frobnicate",
                                    "matte " + file("missing.png") + " " + trimap + " -o " + file("a.png"),
                                    "stroke " + trimap + " --from 1x2 --to 3,4 -o " + file("s.png")};
    for (const std::string& args : refusals) {
        std::string trace;
        EXPECT_LE(mapped(*this, args, &trace), 60) << args;
        EXPECT_EQ(trace.find("imgcodecs"), std::string::npos) << args;
    }
    // The same count sees what a read loads later: the module and the codecs behind it.
    std::string trace;
    EXPECT_GT(mapped(*this, "bbox " + trimap, &trace), 60);
    EXPECT_NE(trace.find("qxmatte-codecs.so"), std::string::npos);
    EXPECT_NE(trace.find("libopencv_imgcodecs"), std::string::npos);
    EXPECT_EQ(0, run("bbox " + trimap));
    EXPECT_TRUE(says("(no marked region)")) << output;  // all 128: nothing kept or cut

    // A copy of the tool with no module beside it (the build tree's run path
    // still finds the library) refuses a read in words and writes nothing.
    const std::string alone = file("alone/qxmatte");
    std::filesystem::create_directories(file("alone"));
    std::filesystem::copy_file(std::getenv("QX_CLI"), alone);
    const std::string tool = std::getenv("QX_CLI");
    setenv("QX_CLI", alone.c_str(), 1);
    const int code = run("matte " + image + " " + trimap + " -o " + file("b.png"));
    setenv("QX_CLI", tool.c_str(), 1);
    EXPECT_NE(0, code);
    EXPECT_TRUE(says("codec module qxmatte-codecs.so was not found")) << output;
    EXPECT_FALSE(std::filesystem::exists(file("b.png")));
}

}  // namespace
