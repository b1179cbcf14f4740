// A one-line progress bar on stderr, driven by the library's callback. The
// library calls it from any thread but never twice at once. Its value falls
// back to half way on long runs, so the bar is a sign of life more than an
// estimate.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "cli.h"

namespace qxcli {

namespace {

int draw(int value, int total, void* cookie) {
    auto* bar = static_cast<ProgressBar*>(cookie);
    int percent = total > 0 ? static_cast<int>(100.0 * value / total) : 0;
    if (percent < 0) percent = 0;
    if (percent > 100) percent = 100;
    if (percent == bar->lastShown) return 0;
    bar->lastShown = percent;
    const int width = 30;
    const int filled = percent * width / 100;
    std::fprintf(stderr, "\r%-12s [%.*s%*s] %3d%%", bar->label.c_str(), filled,
                 "##############################", width - filled, "", percent);
    std::fflush(stderr);
    bar->drawn = true;
    return 0;
}

}  // namespace

// A batch's job draws into its log, from which the batch reads how far it is.
void initProgress(ProgressBar& bar, bool quiet) {
    bar.enabled = (!quiet && isatty(STDERR_FILENO)) || std::getenv("QXMATTE_BATCH_JOB") != nullptr;
}

void beginProgress(ProgressBar& bar, const std::string& label) {
    endProgress(bar);
    bar.label = label;
    bar.lastShown = -1;
}

void endProgress(ProgressBar& bar, bool complete) {
    // The library's last report may fall short of its total: a finished
    // stage shows as finished.
    if (bar.drawn && complete && bar.lastShown < 100) draw(100, 100, &bar);
    if (bar.drawn) std::fputc('\n', stderr);
    bar.drawn = false;
}

qxhost::Progress progressOf(ProgressBar& bar) {
    if (!bar.enabled) return {};
    return {draw, &bar};
}

}  // namespace qxcli
