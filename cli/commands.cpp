// The tool's subcommands, in the order of its help text. A new subcommand adds
// its declaration and one entry in the list.
#include "cli.h"

namespace qxcli {

Command addMatte(CLI::App& app);
Command addForeground(CLI::App& app);
Command addComposite(CLI::App& app);
Command addStroke(CLI::App& app);
Command addBbox(CLI::App& app);
Command addGrabcut(CLI::App& app);
Command addDesaturate(CLI::App& app);
Command addBatch(CLI::App& app);

std::vector<Command> addCommands(CLI::App& app) {
    return {
        addMatte(app),
        addForeground(app),
        addComposite(app),
        addStroke(app),
        addBbox(app),
        addGrabcut(app),
        addDesaturate(app),
        addBatch(app),
    };
}

}  // namespace qxcli
