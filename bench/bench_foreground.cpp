// Foreground recovery timings: both exports on 1 and 4 Mpx composites, with
// the composite's own alpha and with a widened soft band. Each configuration
// runs in a child process, so that its peak memory is its own.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "foreground/foreground_driver.h"
#include "frame/progress.h"
#include "qxmatte.h"
#include "support/composite.h"

namespace {

struct Result {
    double seconds;
    int status;
    int ticks;
    long baselineKb;
    double softShare;
};

int tickCount = 0;
int countTick(int, int, void*) { return ++tickCount, 0; }

// Tile visits of the loop along one axis, and whether the grid is one column.
int visits(int size, int tile, int step) {
    int n = 1;
    for (int x = 0; size - x > tile; ++n) x += step > 0 ? step : 1;
    return n;
}

long residentKb() {
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

Result runOnce(const cv::Mat& bgr, const cv::Mat& alpha, bool cell) {
    cv::Mat image, out(bgr.size(), CV_8UC4, cv::Scalar::all(0)), aux(alpha.size(), CV_8UC1, cv::Scalar(0));
    cv::cvtColor(bgr, image, cv::COLOR_BGR2BGRA);
    QxJob job{};
    job.imagePixels = image.data, job.imageStep = static_cast<int>(image.step);
    job.maskPixels = alpha.data, job.maskStep = static_cast<int>(alpha.step);
    job.outPixels = out.data, job.outStep = static_cast<int>(out.step);
    job.auxPixels = aux.data, job.auxStep = static_cast<int>(aux.step);
    job.width = job.roiWidth = bgr.cols;
    job.height = job.roiHeight = bgr.rows;
    job.roiBorder = 1;
    job.progressCallback = countTick, job.progressCookie = &tickCount;
    Result r{0, 0, 0, residentKb(), 0.0};
    qx::startProgress(countTick, &tickCount, 20000, 0, 0);
    tickCount = 0;
    const auto start = std::chrono::steady_clock::now();
    r.status = cell ? qxRecoverForegroundCell(&job, 1) : qxRecoverForeground(&job, 0);
    r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    r.ticks = tickCount;
    return r;
}

double softShare(const cv::Mat& alpha) {
    cv::Mat soft = (alpha > 10) & (alpha < 250);
    return static_cast<double>(cv::countNonZero(soft)) / static_cast<double>(alpha.total());
}

// The composite and its alpha are made in the child: the thread pools of the
// parent would not survive the fork.
Result generateAndRun(int width, int height, bool wide, bool cell) {
    const qxtest::Composite c = qxtest::makeComposite(width, height, 6, 7);
    cv::Mat alpha = c.alpha;
    if (wide) cv::GaussianBlur(c.alpha, alpha, cv::Size(0, 0), width / 115.0);  // about a tenth soft
    Result r = runOnce(c.image, alpha, cell);
    r.softShare = softShare(alpha);
    return r;
}

void runConfiguration(int width, int height, bool wide, bool cell) {
    int fds[2];
    if (pipe(fds) != 0) return;
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        const Result r = generateAndRun(width, height, wide, cell);
        if (write(fds[1], &r, sizeof r) != static_cast<ssize_t>(sizeof r)) _exit(1);
        _exit(0);
    }
    close(fds[1]);
    Result r{};
    const bool got = read(fds[0], &r, sizeof r) == static_cast<ssize_t>(sizeof r);
    close(fds[0]);
    int wstatus = 0;
    rusage usage{};
    wait4(pid, &wstatus, 0, &usage);
    char name[96];
    std::snprintf(name, sizeof name, "%s %.1fMpx %s alpha %2.0f%% soft", cell ? "cell   " : "recover",
                  width * height / 1e6, wide ? "wide" : "own ", 100.0 * r.softShare);
    if (!got) {
        std::printf("%-34s child failed (status %d)\n", name, wstatus);
        return;
    }

    // Tile visits from the grid the export lays out; each solved tile adds 15 ticks.
    const int area = width * height;
    const float scale = cell ? (area >= 4000000 ? 0.2f : area <= 200000 ? 1.0f : 0.33f) : 0.25f;
    const int w = static_cast<int>(width * scale), h = static_cast<int>(height * scale);
    const qx::TileGrid g =
        qx::tileGrid(w, h, qx::memoryBudgetK(), cell ? qx::kCellGridRule : qx::kForegroundGridRule);
    const int nx = visits(w, g.tileWidth, g.tileStepX), ny = visits(h, g.tileHeight, g.tileStepY);
    const int passes = nx * ny + (nx == 1 ? 1 : 0);
    const int solved = (r.ticks - passes - (cell ? 1 : 0)) / 15;
    std::printf("%-34s %7.2f s  %4d/%-4d  %4dx%-4d %8.1f ms  %6ld MB  status %d\n", name, r.seconds, solved, passes,
                g.tileWidth, g.tileHeight, solved > 0 ? 1000.0 * r.seconds / solved : 0.0,
                (usage.ru_maxrss - r.baselineKb) / 1024, r.status);
}

}  // namespace

int main() {
    std::printf("%-34s %9s  %9s  %9s %11s  %9s\n", "configuration", "total", "tiles", "tile", "per tile",
                "peak+");
    std::fflush(stdout);
    const int sizes[2][2] = {{1155, 866}, {2310, 1732}};
    for (const auto& size : sizes)
        for (int wide = 0; wide < 2; ++wide)
            for (int cell = 0; cell < 2; ++cell) {
                runConfiguration(size[0], size[1], wide != 0, cell != 0);
                std::fflush(stdout);
            }
    std::printf("tiles: solved/visited; tile: reduced tile size; peak+: peak resident memory above the start\n");
    return 0;
}
