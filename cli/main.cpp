// qxmatte: command-line front end of the library. It links libqxmatte and the
// host layer and calls the exports exactly as a host editor would.
//
// Exit codes: 0 success, 1 bad usage or arguments, 2 a file problem,
// 3 the library returned a failure value, 4 some jobs of a batch failed.
#include <cstdio>
#include <cstring>

#include "cli.h"

namespace {

int run(int argc, char** argv) {
    using namespace qxcli;
    CLI::App app{"qxmatte: soft alpha mattes, foreground colours, mask tools and previews from the command line"};
    app.set_version_flag("--version", "qxmatte 0.1");
    app.require_subcommand(1);
    app.fallthrough();
    bool quiet = false;
    app.add_flag("-q,--quiet", quiet, "No progress bar on stderr");
    const std::vector<Command> commands = addCommands(app);

    // A batch passes the options of the subcommand it runs through to its
    // jobs, so its arguments are read by the batch itself, not by the parser.
    std::vector<std::string> batchArgs;
    int first = 1;
    while (first < argc && (std::strcmp(argv[first], "-q") == 0 || std::strcmp(argv[first], "--quiet") == 0))
        quiet = true, ++first;
    const bool batch = first < argc && std::strcmp(argv[first], "batch") == 0;
    if (batch) {
        batchArgs.assign(argv + first + 1, argv + argc);
        for (const std::string& a : batchArgs)
            if (a == "-h" || a == "--help") {
                std::printf("%s", batchHelp());
                return kExitOk;
            }
    } else {
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& e) {
            return app.exit(e) == 0 ? kExitOk : kExitUsage;
        }
    }

    Context context;
    initProgress(context.bar, quiet);
    auto fail = [&](int code, const char* message) {
        endProgress(context.bar, false);
        std::fprintf(stderr, "qxmatte: %s\n", message);
        return code;
    };
    try {
        if (batch) return runBatch(batchArgs, context, app);
        for (const Command& c : commands)
            if (*c.app) return c.run(context);
    } catch (const Failure& f) {
        return fail(f.code, f.message.c_str());
    } catch (const qxhost::FileError& e) {
        return fail(kExitFile, e.what());
    } catch (const qxhost::LibraryFailure& f) {
        return fail(kExitLibrary, f.what());
    } catch (const std::invalid_argument& e) {
        return fail(kExitUsage, e.what());
    } catch (const std::bad_alloc&) {
        return fail(kExitLibrary, "out of memory");
    } catch (const cv::Exception& e) {
        return fail(kExitLibrary, e.code == cv::Error::StsNoMem ? "out of memory" : e.what());
    } catch (const std::exception& e) {
        // An export that lets failures pass (or OpenCV) ended the command.
        return fail(kExitLibrary, qxhost::isOutOfMemory(e) ? "out of memory" : e.what());
    }
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    // Whatever escapes the commands' own handlers (a failed allocation while
    // the parser is built, a failure value thrown through an export) still
    // ends the run with a message rather than an abort.
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "qxmatte: out of memory\n");
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qxmatte: %s\n", e.what());
    } catch (...) {
        std::fprintf(stderr, "qxmatte: the run ended on an unexpected failure\n");
    }
    return qxcli::kExitLibrary;
}
