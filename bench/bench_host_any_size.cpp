// The any-size road on honest cases: two photographs composited through an
// exactly rendered matte of fine strands with a wide unknown band, the object
// standing on the frame's edge (tests/support/strand_composite). Prints one
// table: for each case and road the route, wall and CPU time, peak extra
// memory and the SAD against the exact alpha (sum of |a - truth| / 255 over
// the unknown pixels, in thousands).
//
// Roads: "auto" is the road's own choice (the accurate method), "design" the
// same with the library's solve alone; "half" the half-size tiles (the
// tool's --half); "matte" and "tiles" the library's two roads as they are
// (a failure value is printed as such); "pieces" the road's full-size pieces
// where another route would fit.
//
// Photographs: the wallpapers of the Debian package mate-backgrounds
// (apt-get install mate-backgrounds), else QX_BENCH_PHOTOS=FG.jpg,BG.jpg, else
// smooth stand-ins (said in the table).
//
// Usage: bench_host_any_size [targets|24mp|one-sided|compare|all] (default all),
// bench_host_any_size row W H FRACTION ROAD [DIFF.png] for one row (and its
// difference map; QX_BENCH_ALPHA=FILE.png also keeps the alpha), or
// bench_host_any_size write DIR W H FRACTION for one case
// as PNG files. Each road
// runs in a child process of its own, so peak memory is its own.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "qxhost.h"
#include "run_in_child.h"
#include "support/composite.h"
#include "support/strand_composite.h"
#include "measure.h"

namespace {

struct Row {
    char route[16];
    double wall, cpu, sys, peakMb, sad;
    int failure;  // 0, or the failure value
};

struct Photos {
    cv::Mat fg, bg;
    std::string name;
};

Photos findPhotos() {
    Photos p;
    std::string fg = "/usr/share/backgrounds/mate/nature/LadyBird.jpg";
    std::string bg = "/usr/share/backgrounds/mate/nature/Garden.jpg";
    if (const char* env = std::getenv("QX_BENCH_PHOTOS")) {
        const std::string s = env;
        const std::size_t comma = s.find(',');
        if (comma != std::string::npos) fg = s.substr(0, comma), bg = s.substr(comma + 1);
    }
    p.fg = cv::imread(fg), p.bg = cv::imread(bg);
    if (p.fg.empty() || p.bg.empty()) {
        p.fg = qxtest::makeStandInPhoto(cv::Size(2560, 1600), 3);
        p.bg = qxtest::makeStandInPhoto(cv::Size(2560, 1600), 4);
        p.name = "stand-ins (apt-get install mate-backgrounds for photographs)";
    } else {
        p.name = fg.substr(fg.rfind('/') + 1) + " over " + bg.substr(bg.rfind('/') + 1);
    }
    return p;
}

// diffPath: also write |alpha - exact| (times 4) as a PNG, to look at.
Row runRoad(const qxtest::StrandCase& c, const std::string& road, const std::string& diffPath = "") {
    Row row{};
    int status = 0;
    rusage usage{};
    const bool got = runInChild(
        [&] {
            Row r{};
            const long before = statusKb("VmRSS:");
            const auto t0 = std::chrono::steady_clock::now();
            const double c0 = cpuSeconds();
            rusage u0{};
            getrusage(RUSAGE_SELF, &u0);
            cv::Mat alpha;
            std::string route = road;
            try {
                qxhost::RoadSettings s;
                if (road == "half") s.halfTiles = true;
                if (road == "matte") s.choice = qxhost::RouteChoice::LibraryMatte;
                if (road == "tiles") s.choice = qxhost::RouteChoice::LibraryTiles;
                if (road == "pieces") s.choice = qxhost::RouteChoice::Pieces;
                if (road == "design") s.method = qxhost::MatteMethod::Design;
                const qxhost::RoadResult result = qxhost::solveAnySize(c.image, c.trimap, s);
                alpha = result.alpha;
                if (road == "auto" || road == "design") route = qxhost::routeName(result.plan.route);
            } catch (const qxhost::LibraryFailure& f) {
                r.failure = f.value;
            }
            r.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
            r.cpu = cpuSeconds() - c0;
            rusage u1{};
            getrusage(RUSAGE_SELF, &u1);
            r.sys = double(u1.ru_stime.tv_sec - u0.ru_stime.tv_sec) + 1e-6 * double(u1.ru_stime.tv_usec - u0.ru_stime.tv_usec);
            r.peakMb = (statusKb("VmHWM:") - before) / 1024.0 + (c.image.total() * 4.0) / 1048576.0;
            std::snprintf(r.route, sizeof r.route, "%s", route.c_str());
            r.sad = alpha.empty() ? -1 : qxtest::sadThousands(alpha, c.alpha, c.trimap == 128);
            if (!alpha.empty() && !diffPath.empty()) {
                cv::Mat diff;
                cv::absdiff(alpha, c.alpha, diff);
                cv::imwrite(diffPath, diff * 4);
                if (std::getenv("QX_BENCH_ALPHA")) cv::imwrite(std::getenv("QX_BENCH_ALPHA"), alpha);
            }
            return r;
        },
        row, status, &usage);
    if (!got) std::snprintf(row.route, sizeof row.route, "crashed"), row.failure = -99999;
    return row;
}

// oneSided: the user marked background only in the top tenth of the frame;
// the rest of the background is unknown, held by keep marks alone.
void runCase(const char* label, const Photos& photos, cv::Size size, double fraction,
             const std::vector<std::string>& roads, bool oneSided = false, const std::string& diffPath = "") {
    qxtest::StrandCase c = qxtest::makeStrandCase(photos.fg, photos.bg, size, fraction, 1);
    if (oneSided) {
        c.trimap.rowRange(size.height / 10, size.height).setTo(128, c.trimap.rowRange(size.height / 10, size.height) == 0);
        c.unknown = cv::countNonZero(c.trimap == 128);
    }
    const double mp = size.area() / 1e6;
    for (const std::string& road : roads) {
        const Row r = runRoad(c, road, diffPath);
        char sad[32];
        if (r.failure) std::snprintf(sad, sizeof sad, "fails (%d)", r.failure);
        else std::snprintf(sad, sizeof sad, "%.1f", r.sad);
        std::printf("| %-22s | %5.1f | %4.1f%% | %-6s | %-10s | %7.1f | %7.1f | %6.1f | %7.0f | %12s |\n", label,
                    mp, 100.0 * double(c.unknown) / double(size.area()), road.c_str(), r.route, r.wall, r.cpu, r.sys,
                    r.peakMb, sad);
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "all";
    const Photos photos = findPhotos();
    if (mode == "write" && argc == 6) {
        // One case as files, to look at or feed to the tool: DIR W H FRACTION.
        const std::string dir = argv[2];
        const qxtest::StrandCase c = qxtest::makeStrandCase(
            photos.fg, photos.bg, cv::Size(std::atoi(argv[3]), std::atoi(argv[4])), std::atof(argv[5]), 1);
        const bool ok = cv::imwrite(dir + "/image.png", c.image) && cv::imwrite(dir + "/trimap.png", c.trimap) &&
                        cv::imwrite(dir + "/alpha.png", c.alpha);
        return ok ? 0 : 1;
    }
    double load[3] = {0, 0, 0};
    if (getloadavg(load, 3) < 1) load[0] = -1;
    std::printf("photographs: %s; load average %.1f; OMP_NUM_THREADS=%s\n\n", photos.name.c_str(), load[0],
                std::getenv("OMP_NUM_THREADS") ? std::getenv("OMP_NUM_THREADS") : "(unset)");
    std::printf("| case                   |    MP | unkn. | road   | route      | wall, s |  CPU, s | of it sys | peak MB | SAD vs exact |\n");
    std::printf("|------------------------|-------|-------|--------|------------|---------|---------|--------|---------|--------------|\n");
    if (mode == "row" && argc >= 6) {
        // One row: W H FRACTION ROAD [DIFF.png].
        runCase("one row", photos, cv::Size(std::atoi(argv[2]), std::atoi(argv[3])), std::atof(argv[4]), {argv[5]},
                false, argc > 6 ? argv[6] : "");
        return 0;
    }
    if (mode == "targets" || mode == "all") {
        runCase("hair, wide band", photos, cv::Size(3200, 2376), 0.40, {"auto", "half", "tiles"});
        runCase("hair, wider band", photos, cv::Size(3200, 2376), 0.49, {"auto", "half"});
    }
    if (mode == "targets" || mode == "24mp" || mode == "all")
        runCase("hair, narrow band", photos, cv::Size(6000, 4000), 0.10, {"auto", "half"});
    if (mode == "one-sided" || mode == "all")
        runCase("hair, cut marks on top", photos, cv::Size(3200, 2376), 0.10, {"auto", "half", "tiles"}, true);
    if (mode == "compare" || mode == "all") {
        // The library's two roads where both work, and the road's choice.
        runCase("fur, wide band", photos, cv::Size(1100, 800), 0.30, {"auto", "matte", "tiles", "pieces", "half"});
        runCase("fur, 1.9 MP", photos, cv::Size(1600, 1200), 0.12, {"auto", "matte", "tiles", "pieces", "half"});
    }
    return 0;
}
