// Shared pieces of the qxmatte command-line tool: exit codes, the failure it
// throws, image files, the progress bar, and the shape of a subcommand. The
// pixel work and the library calls live in the host layer (host/qxhost.h).
//
// Adding a subcommand: one file cli/<name>_command.cpp defining
// `Command addName(CLI::App& app)`, and two lines in commands.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>

#include <functional>
#include <string>
#include <vector>

#include "qxhost.h"
#include "qxmatte.h"

namespace qxcli {

enum ExitCode : int {
    kExitOk = 0,
    kExitUsage = 1,    // bad usage or arguments
    kExitFile = 2,     // an input (or output) file problem
    kExitLibrary = 3,  // the library returned a failure value
    kExitBatchFailures = 4,  // a batch ran, and some of its jobs failed
};

// Thrown by the commands; main prints the message and exits with the code.
// (qxhost::LibraryFailure exits with kExitLibrary, std::invalid_argument from
// the host layer with kExitUsage.)
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
// skipped), and any the work could not write (a missing or read-only folder, a
// device), before the work; removes leftovers of killed writers there.
void checkOutputs(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs);
// Refuses an RGBA cut-out output in a format that drops the alpha (.jpg).
void checkCutoutOutput(const std::string& path, const std::string& option);
// Refuses, from the files' headers and before decoding, inputs whose size
// differs from the image's (an empty list or an unknown format: no check).
void checkSizesBeforeReading(const std::string& image, const std::vector<std::string>& others);
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
// Ends the bar's line; complete (the stage finished) first fills it to 100%.
void endProgress(ProgressBar& bar, bool complete = true);
// What to put in a job record's callback and cookie (both null when silent).
qxhost::Progress progressOf(ProgressBar& bar);

// ---- options shared by subcommands (options.cpp) ----
// "RRGGBB" to a BGR scalar; throws a usage failure for anything else.
cv::Scalar parseColour(const std::string& hex);
// --colours full|design (and cell when withCell): how foreground colours are
// recovered; default full.
CLI::Option* addColoursOption(CLI::App* sub, std::string& method, bool withCell = false);
qxhost::ColourMethod colourMethod(const std::string& method);
// "X,Y" with integers, and the validator of such an option.
bool parsePoint(const std::string& text, int& x, int& y);
const CLI::Validator& pointValidator();

// ---- foreground outputs (foreground_outputs.cpp) ----
// Foreground colours of image (BGR) under alpha by the method, written as BGR
// to colourPath and as an RGBA cut-out with the alpha to cutoutPath; an empty
// path is skipped.
void writeForegroundOutputs(const cv::Mat& image, const cv::Mat& alpha, qxhost::ColourMethod method,
                            ProgressBar& bar, const std::string& colourPath, const std::string& cutoutPath);

// ---- the road's route (route_report.cpp) ----
// "qxmatte: route NAME: reason" on stderr with verbose, and the road's
// notice (a reduced scale and why) always.
void reportRoute(const qxhost::RoadResult& solved, bool verbose);

// ---- subcommands (registered in commands.cpp) ----
struct Context {
    ProgressBar bar;
};
struct Command {
    CLI::App* app;                       // the parsed subcommand
    std::function<int(Context&)> run;    // its work; returns the exit code
};
std::vector<Command> addCommands(CLI::App& app);
// qxmatte batch ...: its arguments after the word batch (batch_command.cpp);
// app, the tool's parser, checks the options passed on to the jobs.
int runBatch(const std::vector<std::string>& args, Context& context, CLI::App& app);
const char* batchHelp();

}  // namespace qxcli
