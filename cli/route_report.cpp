// The route the road took, on stderr: always when it worked at a reduced
// scale (with the reason), and with -v in any case.
#include <cstdio>

#include "cli.h"

namespace qxcli {

void reportRoute(const qxhost::RoadResult& solved, bool verbose) {
    if (verbose)
        std::fprintf(stderr, "qxmatte: route %s: %s\n", qxhost::routeName(solved.plan.route),
                     solved.plan.reason.c_str());
    if (!solved.notice.empty()) std::fprintf(stderr, "qxmatte: note: %s\n", solved.notice.c_str());
}

}  // namespace qxcli
