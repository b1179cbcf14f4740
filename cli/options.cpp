// Options that several subcommands share.
#include <cstdio>

#include "cli.h"

namespace qxcli {

cv::Scalar parseColour(const std::string& hex) {
    try {
        return qxhost::colourScalar(qxhost::parseHexColour(hex));
    } catch (const std::invalid_argument& e) {
        throw Failure{kExitUsage, e.what()};
    }
}

CLI::Option* addColoursOption(CLI::App* sub, std::string& method, bool withCell) {
    std::vector<std::string> names{"full", "design"};
    std::string help =
        "How foreground colours are recovered: full (default) estimates foreground and background at full "
        "resolution, sharp on textured edges; design is the library's own recovery (qxRecoverForeground)";
    if (withCell) {
        names.push_back("cell");
        help += "; cell is the library's cell recovery (qxRecoverForegroundCell)";
    }
    return sub->add_option("--colours", method, help)->capture_default_str()->check(CLI::IsMember(names));
}

bool parsePoint(const std::string& text, int& x, int& y) {
    char tail;
    return std::sscanf(text.c_str(), "%d,%d%c", &x, &y, &tail) == 2;
}

const CLI::Validator& pointValidator() {
    static const CLI::Validator point(
        [](std::string& text) {
            int x, y;
            return parsePoint(text, x, y) ? std::string() : "'" + text + "' is not a point X,Y";
        },
        "X,Y");
    return point;
}

qxhost::ColourMethod colourMethod(const std::string& method) { return qxhost::parseColourMethod(method); }

}  // namespace qxcli
