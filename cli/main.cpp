// qxmatte: command-line front end of the library. It links libqxmatte and the
// host layer and calls the exports exactly as a host editor would.
//
// Exit codes: 0 success, 1 bad usage or arguments, 2 a file problem,
// 3 the library returned a failure value.
#include <cstdio>

#include "cli.h"

int main(int argc, char** argv) {
    using namespace qxcli;
    CLI::App app{"qxmatte: soft alpha mattes, foreground colours and mask strokes from the command line"};
    app.set_version_flag("--version", "qxmatte 0.1");
    app.require_subcommand(1);
    app.fallthrough();
    bool quiet = false;
    app.add_flag("-q,--quiet", quiet, "No progress bar on stderr");
    const std::vector<Command> commands = addCommands(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }

    Context context;
    initProgress(context.bar, quiet);
    auto fail = [&](int code, const char* message) {
        endProgress(context.bar);
        std::fprintf(stderr, "qxmatte: %s\n", message);
        return code;
    };
    try {
        for (const Command& c : commands)
            if (*c.app) return c.run(context);
    } catch (const Failure& f) {
        return fail(f.code, f.message.c_str());
    } catch (const qxhost::LibraryFailure& f) {
        return fail(kExitLibrary, f.what());
    } catch (const std::invalid_argument& e) {
        return fail(kExitUsage, e.what());
    } catch (const std::exception& e) {
        // An export that lets failures pass (or OpenCV) ended the command.
        return fail(kExitLibrary, e.what());
    }
    return kExitUsage;
}
