// The tool's subcommands, in the order of its help text. A new subcommand adds
// its declaration and one entry in the list.
#include "cli.h"

namespace qxcli {

Command addMatte(CLI::App& app);
Command addCutout(CLI::App& app);
Command addForeground(CLI::App& app);
Command addComposite(CLI::App& app);
Command addStroke(CLI::App& app);
Command addBbox(CLI::App& app);
Command addGrabcut(CLI::App& app);
Command addDesaturate(CLI::App& app);
Command addBatch(CLI::App& app);
Command addFill(CLI::App& app);
Command addStretch(CLI::App& app);
Command addSmooth(CLI::App& app);
Command addShow(CLI::App& app);
Command addLevel(CLI::App& app);

std::vector<Command> addCommands(CLI::App& app) {
    return {
        addMatte(app),
        addCutout(app),
        addForeground(app),
        addComposite(app),
        addStroke(app),
        addBbox(app),
        addGrabcut(app),
        addDesaturate(app),
        addBatch(app),
        addFill(app),
        addStretch(app),
        addSmooth(app),
        addShow(app),
        addLevel(app),
    };
}

}  // namespace qxcli
