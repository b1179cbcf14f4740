// qxKeepCutToAlpha on synthetic photographs of 1, 4, 12 and 30 megapixels
// with an unknown band of about 3% and 10% of the pixels: the full-size and
// half-size tile roads and a local edit of 300 by 300 pixels, with colour
// recovery off and on. Per run: seconds, leaves of the tile tree, pixels to
// solve in the largest leaf, the process's peak resident memory and its rise
// during the call. Each run is its own forked process, so that its peak is
// its own.
//
//   bench_keep_cut            1 and 4 megapixels, every road, band and colour
//   bench_keep_cut --big      12 and 30 megapixels, every road, band and colour
//   bench_keep_cut --quick    1 megapixel, 3% band, colours off only
//   bench_keep_cut --row MP BAND ROAD COLOURS   one row, e.g. --row 12 3 full off
#include <sys/resource.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "frame/progress.h"
#include "run_in_child.h"
#include "matting/joint_upsample.h"
#include "qxmatte.h"
#include "selection/keep_cut_region.h"

namespace {

using Clock = std::chrono::steady_clock;

enum class Road { full, half, local };
const char* roadName(Road r) { return r == Road::full ? "full" : r == Road::half ? "half" : "local"; }

struct Config {
    int width, height;
    double band;  // share of unknown pixels
    Road road;
    bool colours;
};

struct Result {
    int rc = 0, leaves = 0;
    long long unknown = 0, largestLeaf = 0;
    double seconds = 0, cpuSeconds = 0, kernelSeconds = 0, peakMb = 0, callMb = 0;
    long minorFaults = 0;
};

long statusKb(const char* key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind(key, 0) == 0) return std::atol(line.c_str() + std::strlen(key));
    return -1;
}

// User and system time of all the process's threads, the system time alone
// and the minor page faults.
struct Usage {
    double cpu, kernel;
    long minorFaults;
};
Usage usage() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    const double kernel = u.ru_stime.tv_sec + 1e-6 * u.ru_stime.tv_usec;
    return {u.ru_utime.tv_sec + 1e-6 * u.ru_utime.tv_usec + kernel, kernel, u.ru_minflt};
}

// Discs on a grid of 400-pixel cells over a textured background, with a soft
// edge two pixels wide; the band is every pixel within `r` of an edge, r
// chosen so that the band covers the asked share.
void makePhoto(int w, int h, double band, cv::Mat& image, cv::Mat& marks) {
    const double cell = 400.0, radius = 0.35 * cell;
    const double r = band * cell * cell / (2.0 * 2.0 * M_PI * radius);
    image.create(h, w, CV_8UC4);
    marks.create(h, w, CV_8UC1);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        unsigned char* p = image.ptr<unsigned char>(y);
        unsigned char* m = marks.ptr<unsigned char>(y);
        const double cy = (std::floor(y / cell) + 0.5) * cell;
        for (int x = 0; x < w; ++x) {
            const double cx = (std::floor(x / cell) + 0.5) * cell;
            const double wobble = 6.0 * std::sin(std::atan2(y - cy, x - cx) * 7.0);
            const double d = radius + wobble - std::hypot(x - cx, y - cy);  // inside: positive
            const double a = std::clamp(0.5 + d / 2.0, 0.0, 1.0);
            const double bg[3] = {60 + 40 * std::sin(x * 0.013), 90 + 30 * std::cos(y * 0.011), 120.0};
            const double fg[3] = {200.0, 150 + 40 * std::sin((x + y) * 0.007), 40.0};
            for (int c = 0; c < 3; ++c) p[4 * x + c] = static_cast<unsigned char>(a * fg[c] + (1 - a) * bg[c] + 0.5);
            p[4 * x + 3] = 255;
            m[x] = std::abs(d) <= r ? 0x7E : d > 0 ? 0xFF : 0x01;
        }
    }
}

// Leaves of the tree that the road would build, outside the timed call.
void treeFigures(QxJob& job, Road road, Result& r) {
    if (road == Road::local) return;
    qx::KeepCutRegion region(job);
    qx::takeMarks(region);
    qx::TileJob tiles;
    qx::ImagePyramid pyramid;
    qx::initPyramid(pyramid);
    qx::Plane* fixedMap = &region.fixedMap;
    qx::Plane* mask = &region.mask;
    qx::Plane* const* planes = region.planes;
    qx::Plane* levelPlanes[3];
    if (road == Road::half) {
        qx::buildPyramid(pyramid, region.planes, &region.fixedMap, &region.mask, 1);
        fixedMap = pyramid.guides[1], mask = pyramid.masks[1];
        for (int c = 0; c < 3; ++c) levelPlanes[c] = pyramid.planes[c][1];
        planes = levelPlanes;
    }
    tiles.fixedData = fixedMap->pixels, tiles.fixedStep = fixedMap->step;
    tiles.maskData = mask->pixels, tiles.maskStep = mask->step;
    for (int c = 0; c < 3; ++c) tiles.planeData[c] = planes[c]->pixels;
    tiles.planeStep = planes[0]->step;
    tiles.width = mask->width, tiles.height = mask->height;
    qx::buildTileTree(tiles);
    r.leaves = tiles.leafCount;
    std::vector<const qx::TileNode*> stack{tiles.root.get()};
    while (!stack.empty()) {
        const qx::TileNode* n = stack.back();
        stack.pop_back();
        if (n->left) {
            stack.push_back(n->left.get()), stack.push_back(n->right.get());
            continue;
        }
        long long count = 0;
        for (int y = n->y0; y <= n->y1; ++y)
            for (int x = n->x0; x <= n->x1; ++x) count += fixedMap->row(y)[x] == 0;
        r.largestLeaf = std::max(r.largestLeaf, count);
    }
    qx::releasePyramid(pyramid);
    // The region's mask is the job's own: put the marks back as they came.
    qx::copyImage(region.savedMarks, region.mask);
}

Result run(const Config& c) {
    Result r;
    cv::Mat image, marks;
    makePhoto(c.width, c.height, c.band, image, marks);
    r.unknown = cv::countNonZero(marks == 0x7E);
    cv::Mat aux = marks.clone(), out = image.clone();
    QxJob job{};
    job.imagePixels = image.data, job.imageStep = int(image.step);
    job.maskPixels = marks.data, job.maskStep = int(marks.step);
    job.outPixels = out.data, job.outStep = int(out.step);
    job.auxPixels = aux.data, job.auxStep = int(aux.step);
    job.width = c.width, job.height = c.height;
    job.roiWidth = c.width, job.roiHeight = c.height;
    job.recoverColors = c.colours ? 1 : 0;
    if (c.road == Road::local) {
        // An edit across the edge of the disc of the first cell.
        job.roiX = 400 - 150 - 140, job.roiY = 200 - 150, job.roiWidth = 300, job.roiHeight = 300;
        job.roiBorder = 10;
    }
    treeFigures(job, c.road, r);

    const long before = statusKb("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << "5";  // restart the peak count here, where allowed
    const Usage usageBefore = usage();
    const Clock::time_point start = Clock::now();
    r.rc = qxKeepCutToAlpha(&job, c.road == Road::half ? 0 : 1);
    r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const Usage usageAfter = usage();
    r.cpuSeconds = usageAfter.cpu - usageBefore.cpu;
    r.kernelSeconds = usageAfter.kernel - usageBefore.kernel;
    r.minorFaults = usageAfter.minorFaults - usageBefore.minorFaults;
    const long peak = statusKb("VmHWM:");
    r.peakMb = peak / 1024.0;
    r.callMb = (peak - before) / 1024.0;
    return r;
}

}  // namespace

Config sized(int mp, double band, Road road, bool colours) {
    const int w = int(std::sqrt(mp * 1e6 * 4 / 3)), h = int(mp * 1e6 / w);
    return {w, h, band, road, colours};
}

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    std::vector<Config> configs;
    if (mode == "--quick") {
        for (Road road : {Road::full, Road::half, Road::local}) configs.push_back(sized(1, 0.03, road, false));
    } else if (mode == "--row" && argc == 6) {
        const std::string road = argv[4];
        configs.push_back(sized(std::atoi(argv[2]), std::atof(argv[3]) / 100.0,
                                road == "half" ? Road::half : road == "local" ? Road::local : Road::full,
                                std::strcmp(argv[5], "on") == 0));
    } else if (mode.empty() || mode == "--big") {
        const std::vector<int> sizes = mode.empty() ? std::vector<int>{1, 4} : std::vector<int>{12, 30};
        for (int mp : sizes)
            for (double band : {0.03, 0.10})
                for (Road road : {Road::full, Road::half, Road::local})
                    for (bool colours : {false, true}) configs.push_back(sized(mp, band, road, colours));
    } else {
        std::fprintf(stderr, "usage: bench_keep_cut [--quick | --big | --row MP BAND full|half|local on|off]\n");
        return 1;
    }
    std::printf("qxKeepCutToAlpha: seconds (wall clock, and the CPU time of all threads), leaves, pixels to\n"
                "solve in the largest leaf, peak resident memory of the process (image, marks, output and aux\n"
                "included) and its rise in the call, that rise per megapixel, the kernel's share of the CPU and the\n"
                "minor page faults of the call. The local road re-solves 300x300 pixels with a border\n"
                "of 10. The machine's load shows in the wall clock: compare with uptime.\n\n");
    std::printf("%-11s %4s %-5s %7s %2s %9s %8s %8s %6s %9s %8s %8s %6s %8s %9s\n", "size", "band", "road", "colours",
                "rc", "unknown", "seconds", "cpu s", "leaves", "largest", "peak MB", "call MB", "MB/MP", "kernel %",
                "faults");
    for (const Config& c : configs) {
        Result r;
        int status = 0;
        const bool received = runInChild([&] { return run(c); }, r, status);
        char size[32];
        std::snprintf(size, sizeof size, "%dx%d", c.width, c.height);
        if (!received) {
            std::printf("%-11s %3.0f%% %-5s  (child failed, status %d)\n", size, c.band * 100, roadName(c.road),
                        status);
            continue;
        }
        const double megapixels = 1e-6 * c.width * c.height;
        std::printf("%-11s %3.0f%% %-5s %7s %2d %9lld %8.2f %8.2f %6d %9lld %8.0f %8.0f %6.1f %8.0f %9ld\n", size,
                    c.band * 100, roadName(c.road), c.colours ? "on" : "off", r.rc, r.unknown, r.seconds,
                    r.cpuSeconds, r.leaves, r.largestLeaf, r.peakMb, r.callMb, r.callMb / megapixels,
                    100.0 * r.kernelSeconds / std::max(r.cpuSeconds, 1e-9), r.minorFaults);
        std::fflush(stdout);
    }
    return 0;
}
