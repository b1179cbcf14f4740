// Shared pieces of the qxmatte command-line tool: exit codes, the failure it
// throws, image files, the progress bar and the subcommands.
#pragma once

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>

#include <string>
#include <vector>

#include "qxmatte.h"

namespace qxcli {

enum ExitCode : int {
    kExitOk = 0,
    kExitUsage = 1,    // bad usage or arguments
    kExitFile = 2,     // an input (or output) file problem
    kExitLibrary = 3,  // the library returned a failure value
};

// Thrown by the commands; main prints the message and exits with the code.
struct Failure {
    int code;
    std::string message;
};

// ---- image files (image_io.cpp) ----
cv::Mat readColour(const std::string& path);        // CV_8UC3, BGR
cv::Mat readMask(const std::string& path);          // CV_8UC1
cv::Mat readMaskAnyDepth(const std::string& path);  // CV_8UC1 or CV_16UC1
cv::Mat readWithAlpha(const std::string& path);     // CV_8UC4, BGRA
void writeImage(const std::string& path, const cv::Mat& image);
// Refuses outputs that name one of the inputs or each other (empty names are
// skipped).
void checkOutputs(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs);
void checkSameSize(const cv::Mat& a, const std::string& aPath, const cv::Mat& b, const std::string& bPath);

// ---- progress (progress_bar.cpp) ----
struct ProgressBar {
    bool enabled = false;
    bool drawn = false;
    std::string label;
    int lastShown = -1;
};
// A bar on stderr, unless quiet or stderr is not a terminal.
void initProgress(ProgressBar& bar, bool quiet);
void beginProgress(ProgressBar& bar, const std::string& label);
void endProgress(ProgressBar& bar);
// What to put in a job record's callback and cookie (both null when silent).
QxProgressFn progressFunction(const ProgressBar& bar);
void* progressCookie(ProgressBar& bar);

// ---- shared helpers (main.cpp) ----
// "RRGGBB" to a BGR scalar; throws a usage failure for anything else.
cv::Scalar parseColour(const std::string& hex);
// Library failure: exit 3 with the export's name and returned value.
[[noreturn]] void libraryFailed(const std::string& exportName, int returned);

// ---- subcommands: each adds its options, then runs when chosen ----
struct BboxCommand {
    std::string mask;
    int keep = 255, cut = 0;
};
CLI::App* addBbox(CLI::App& app, BboxCommand& c);
int runBbox(const BboxCommand& c);

struct StrokeCommand {
    std::string mask, output, from, to, mode = "keep";
    int radius = 2, value = 255;
};
CLI::App* addStroke(CLI::App& app, StrokeCommand& c);
int runStroke(const StrokeCommand& c);

struct MatteCommand {
    std::string image, trimap, output, preview, over = "FFFFFF", foreground, cutout;
    int inHigh = 255, inLow = 0, outHigh = 255, outLow = 0;
    double unknown = -1;  // negative: count the trimap's unknown pixels
};
CLI::App* addMatte(CLI::App& app, MatteCommand& c);
int runMatte(const MatteCommand& c, ProgressBar& bar);

struct ForegroundCommand {
    std::string image, alpha, output, cutout;
    bool cell = false;
};
CLI::App* addForeground(CLI::App& app, ForegroundCommand& c);
int runForeground(const ForegroundCommand& c, ProgressBar& bar);
// Foreground colours of image (BGR) under alpha by qxRecoverForeground (or the
// cell form), written as BGR to colourPath and as an RGBA cut-out with the
// alpha to cutoutPath (recover_foreground.cpp); an empty path is skipped.
void writeRecoveredForeground(const cv::Mat& image, const cv::Mat& alpha, bool cell, ProgressBar& bar,
                              const std::string& colourPath, const std::string& cutoutPath);

struct CompositeCommand {
    std::string cutout, background, output, over;
};
CLI::App* addComposite(CLI::App& app, CompositeCommand& c);
int runComposite(const CompositeCommand& c);
// fg (3 or 4 channels, colour in bytes 0..2) over bg (BGR, same size) by alpha.
cv::Mat compositeOver(const cv::Mat& fg, const cv::Mat& alpha, const cv::Mat& bg);

}  // namespace qxcli
