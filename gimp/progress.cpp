// The library's progress callback, forwarded to GIMP's progress bar.
#include "plugin.h"

namespace qxgimp {

int progressToGimp(int value, int total, void* cookie) {
    auto* span = static_cast<ProgressSpan*>(cookie);
    if (!span || total <= 0) return 0;
    double share = static_cast<double>(value) / total;
    share = share < 0 ? 0 : share > 1 ? 1 : share;
    // The library ticks thousands of times; GIMP hears of whole permille only.
    const int permille = static_cast<int>(1000 * (span->from + share * (span->to - span->from)));
    if (permille != span->lastPermille) {
        span->lastPermille = permille;
        gimp_progress_update(permille / 1000.0);
    }
    return 0;
}

}  // namespace qxgimp
