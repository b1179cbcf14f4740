// qxGrabCut on a textured object over a textured background at about 0.5, 2,
// 8 and 10 megapixels (larger side within the 3199 one session takes): time
// of the first pass (colour models built from the fixed marks), of a later
// pass that only moved soft marks (models reused), peak memory, and the
// selection's intersection over union with the true object. With --full, a
// full-size cv::grabCut on the same image and rectangle at the 2 megapixel
// size is timed and compared too (it takes tens of seconds).
// Each configuration runs in its own forked process, so that its peak memory
// is its own.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/imgproc.hpp>

#include <chrono>
#include <cstdio>

#include "run_in_child.h"
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include "qxmatte.h"
#include "selection/selection_fixtures.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Result {
    int rc1 = 0, rc2 = 0;
    double first = 0, later = 0, edge = 0;  // seconds
    double firstCpu = 0, laterCpu = 0;      // processor seconds, all threads
    double callMb = 0;                      // rise of the peak during the passes
    double iou = 0, iouFull = 0, iouBoth = 0, fullSeconds = 0;
};

long statusKb(const char* key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind(key, 0) == 0) return std::atol(line.c_str() + std::strlen(key));
    return -1;
}

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Processor time of the whole process: on a shared machine the wall time
// also counts the waits for a core.
double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

Result runConfiguration(int width, int height, bool full) {
    Result r;
    cv::Mat truth;
    const cv::Mat image = seltest::texturedScene(width, height, truth);
    // The host's rectangle road: fixed cut outside a margin around the object.
    const cv::Rect box = cv::boundingRect(truth);
    const int margin = std::max(width, height) / 40;
    const cv::Rect around(box.x - margin, box.y - margin, box.width + 2 * margin, box.height + 2 * margin);
    seltest::HostPlanes host(image, 0x01);
    host.mask(around).setTo(0x7E);

    const long before = statusKb("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << "5";  // restart the peak count here, where allowed
    Clock::time_point start = Clock::now();
    double cpu = cpuSeconds();
    r.rc1 = qxGrabCut(&host.job, 0);
    r.first = since(start);
    r.firstCpu = cpuSeconds() - cpu;
    r.iou = seltest::iou(host.aux >= 0x80, truth);
    // A soft keep stroke inside the object: the fixed marks are unchanged.
    cv::line(host.mask, box.tl() + cv::Point(box.width / 3, box.height / 2),
             box.tl() + cv::Point(2 * box.width / 3, box.height / 2), cv::Scalar(0xFE), 5);
    start = Clock::now();
    cpu = cpuSeconds();
    r.rc2 = qxGrabCut(&host.job, 0);
    r.later = since(start);
    r.laterCpu = cpuSeconds() - cpu;
    start = Clock::now();
    qxGrabCutEdgeGen(&host.job, std::max(4, std::max(width, height) / 100));
    r.edge = since(start);
    qxGrabCutDeleteBuf(&host.job);
    r.callMb = (statusKb("VmHWM:") - before) / 1024.0;

    if (full) {
        cv::Mat bgr, states, bgd, fgd;
        cv::cvtColor(image, bgr, cv::COLOR_BGRA2BGR);
        start = Clock::now();
        cv::grabCut(bgr, states, around, bgd, fgd, 3, cv::GC_INIT_WITH_RECT);
        r.fullSeconds = since(start);
        const cv::Mat selected = (states & 1) != 0;
        r.iouFull = seltest::iou(selected, truth);
        seltest::HostPlanes again(image, 0x01);
        again.mask(around).setTo(0x7E);
        qxGrabCut(&again.job, 0);
        r.iouBoth = seltest::iou(again.aux >= 0x80, selected);
        qxGrabCutDeleteBuf(&again.job);
    }
    return r;
}

// qxGrabCutEdgeGen alone on a 1000 x 800 selection (an ellipse and a bar) at
// band widths from narrow to far beyond the rectangle: the cost should stay
// flat. Best of three runs.
void bandWidthTable() {
    cv::Mat truth;
    seltest::HostPlanes host(seltest::texturedScene(1000, 800, truth), 0x00);
    host.aux.setTo(0x00);
    host.aux.setTo(0xFE, truth);
    std::printf("\nqxGrabCutEdgeGen on 1000x800 by band width: seconds (wall, processor), best of 3\n");
    std::printf("%12s %9s %9s %10s\n", "band width", "wall", "cpu", "band px");
    for (int bandWidth : {4, 16, 64, 256, 1024, 4096, 2147483647}) {
        double wall = 1e9, cpu = 1e9;
        for (int run = 0; run < 3; ++run) {
            const Clock::time_point start = Clock::now();
            const double cpu0 = cpuSeconds();
            qxGrabCutEdgeGen(&host.job, bandWidth);
            wall = std::min(wall, since(start));
            cpu = std::min(cpu, cpuSeconds() - cpu0);
        }
        std::printf("%12d %9.4f %9.4f %10d\n", bandWidth, wall, cpu, cv::countNonZero(host.mask == 0x7E));
    }
}

}  // namespace

int main(int argc, char** argv) {
    const bool full = argc > 1 && std::strcmp(argv[1], "--full") == 0;
    struct Config {
        int width, height;
        bool full;
    };
    const Config configs[] = {{816, 612, false}, {1632, 1224, full}, {3190, 2508, false}, {3190, 3135, false}};
    std::printf("qxGrabCut: seconds (wall, then processor) of the first pass and of a later pass that moved\n"
                "only soft marks, of qxGrabCutEdgeGen (band 1%% of the larger side), peak memory rise during the\n"
                "session, and the selection's IoU with the true object.%s\n\n",
                full ? " 'full': cv::grabCut on the whole image, its IoU with the truth and with ours." : "");
    std::printf("%-10s %6s %3s %7s %7s %7s %7s %7s %8s %7s", "size", "Mpx", "rc", "first", "cpu", "later", "cpu",
                "band", "call MB", "IoU");
    if (full) std::printf(" %8s %8s %8s", "full s", "IoU full", "vs full");
    std::printf("\n");
    for (const Config& c : configs) {
        Result r;
        int status = 0;
        rusage usage{};
        const bool received = runInChild([&] { return runConfiguration(c.width, c.height, c.full); }, r, status, &usage);
        char size[32];
        std::snprintf(size, sizeof size, "%dx%d", c.width, c.height);
        if (!received) {
            std::printf("%-10s (child failed, status %d)\n", size, status);
            continue;
        }
        std::printf("%-10s %6.2f %3d %7.3f %7.3f %7.3f %7.3f %7.3f %8.0f %7.4f", size, c.width * double(c.height) / 1e6,
                    r.rc1 == 1 ? r.rc2 : r.rc1, r.first, r.firstCpu, r.later, r.laterCpu, r.edge, r.callMb, r.iou);
        if (full && c.full) std::printf(" %8.1f %8.4f %8.4f", r.fullSeconds, r.iouFull, r.iouBoth);
        std::printf("\n");
        std::fflush(stdout);
    }
    bandWidthTable();
    return 0;
}
