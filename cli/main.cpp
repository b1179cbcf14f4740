// qxmatte: command-line front end of the library. It links libqxmatte and
// calls its exports exactly as a host editor would.
//
// Exit codes: 0 success, 1 bad usage or arguments, 2 a file problem,
// 3 the library returned a failure value.
#include <cstdio>
#include <cstdlib>

#include "cli.h"

namespace qxcli {

cv::Scalar parseColour(const std::string& hex) {
    bool ok = hex.size() == 6;
    for (char ch : hex) ok = ok && std::isxdigit(static_cast<unsigned char>(ch));
    if (!ok) throw Failure{kExitUsage, "colour '" + hex + "' is not of the form RRGGBB (hex digits)"};
    long v = std::strtol(hex.c_str(), nullptr, 16);
    return cv::Scalar(v & 0xFF, (v >> 8) & 0xFF, (v >> 16) & 0xFF);  // B, G, R
}

void libraryFailed(const std::string& exportName, int returned) {
    std::string message = exportName + " failed, returned " + std::to_string(returned);
    // Internal codes come back biased by -1000 from some exports.
    if (returned < -800 && returned > -1000)
        message += " (internal code " + std::to_string(returned + 1000) + ")";
    throw Failure{kExitLibrary, message};
}

}  // namespace qxcli

int main(int argc, char** argv) {
    using namespace qxcli;
    CLI::App app{"qxmatte: soft alpha mattes, foreground colours and mask strokes from the command line"};
    app.set_version_flag("--version", "qxmatte 0.1");
    app.require_subcommand(1);
    app.fallthrough();
    bool quiet = false;
    app.add_flag("-q,--quiet", quiet, "No progress bar on stderr");

    BboxCommand bbox;
    StrokeCommand stroke;
    MatteCommand matte;
    ForegroundCommand foreground;
    CompositeCommand composite;
    CLI::App* bboxApp = addBbox(app, bbox);
    CLI::App* strokeApp = addStroke(app, stroke);
    CLI::App* matteApp = addMatte(app, matte);
    CLI::App* foregroundApp = addForeground(app, foreground);
    CLI::App* compositeApp = addComposite(app, composite);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }

    ProgressBar bar;
    initProgress(bar, quiet);
    try {
        if (*bboxApp) return runBbox(bbox);
        if (*strokeApp) return runStroke(stroke);
        if (*matteApp) return runMatte(matte, bar);
        if (*foregroundApp) return runForeground(foreground, bar);
        if (*compositeApp) return runComposite(composite);
    } catch (const Failure& f) {
        endProgress(bar);
        std::fprintf(stderr, "qxmatte: %s\n", f.message.c_str());
        return f.code;
    } catch (const std::exception& e) {
        // An export that lets failures pass (or OpenCV) ended the command.
        endProgress(bar);
        std::fprintf(stderr, "qxmatte: %s\n", e.what());
        return kExitLibrary;
    }
    return kExitUsage;
}
