// qxMaskAlpha on synthetic composites of about 0.25, 1 and 4 megapixels with
// unknown bands of about 10% and 30% of the pixels: total time, time per
// stage and peak memory. Each configuration runs in its own forked process,
// so that its peak memory is its own. Stage times come from timestamping the
// progress callback: every tick ends one stage.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "run_in_child.h"
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "qxmatte.h"
#include "support/composite.h"

namespace {

using Clock = std::chrono::steady_clock;

// The stage that each tick ends, for a scaled solve (13 ticks); the full-size
// path has no reduction tick. What follows the last tick is the doubling
// back to full size, the border repair and the final merge.
const char* const kStages[] = {"reduce", "split", "affin", "sort", "merge", "assem", "analyse",
                               "factor", "solve", "finish", "write", "sharpen", "refine"};
constexpr int kStageCount = 13;

struct Result {
    int rc = 0;
    int ticks = 0;
    int unknown = 0;
    double total = 0, stage[kStageCount + 1] = {};  // + the tail after the last tick
    double peakMb = 0, callMb = 0;                  // process peak, and its rise during the call
    double sad = 0, mse = 0;
};

std::vector<Clock::time_point>* tickTimes = nullptr;

int onTick(int, int, void*) {
    tickTimes->push_back(Clock::now());
    return 1;
}

long statusKb(const char* key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind(key, 0) == 0) return std::atol(line.c_str() + std::strlen(key));
    return -1;
}

// A trimap whose unknown band covers `fraction` of the pixels: all pixels
// nearest to a partially transparent one.
cv::Mat trimapWithFraction(const cv::Mat& alpha, double fraction, int& unknown) {
    cv::Mat distance;
    cv::distanceTransform((alpha == 0) | (alpha == 255), distance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    std::vector<float> sorted(distance.begin<float>(), distance.end<float>());
    const size_t k = std::min(sorted.size() - 1, size_t(fraction * sorted.size()));
    std::nth_element(sorted.begin(), sorted.begin() + k, sorted.end());
    cv::Mat trimap = cv::Mat::zeros(alpha.size(), CV_8UC1);
    trimap.setTo(255, alpha == 255);
    trimap.setTo(128, distance <= sorted[k]);
    unknown = cv::countNonZero(trimap == 128);
    return trimap;
}

Result runConfiguration(int width, int height, double fraction) {
    Result r;
    const qxtest::Composite comp = qxtest::makeComposite(width, height, 0);
    const cv::Mat trimap = trimapWithFraction(comp.alpha, fraction, r.unknown);
    std::array<cv::Mat, 3> planes = qxtest::splitPlanes(comp.image);
    cv::Mat marks = trimap.clone();
    unsigned char* planePixels[3] = {planes[0].data, planes[1].data, planes[2].data};

    std::vector<Clock::time_point> times;
    times.reserve(64);
    tickTimes = &times;
    QxMaskJob job{};
    job.planes = planePixels;
    job.planeStep = int(planes[0].step);
    job.marksPixels = marks.data;
    job.marksStep = int(marks.step);
    job.width = width;
    job.height = height;
    job.progressCallback = onTick;
    job.progressCookie = &times;

    const long before = statusKb("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << "5";  // restart the peak count here, where allowed
    const Clock::time_point start = Clock::now();
    // The unknown estimate is the trimap's own count, as a host would pass it.
    r.rc = qxMaskAlpha(&job, 0, float(r.unknown), 255, 0, 255, 0);
    const Clock::time_point end = Clock::now();
    const long peak = statusKb("VmHWM:");
    r.peakMb = peak / 1024.0;
    r.callMb = (peak - before) / 1024.0;

    auto seconds = [](Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); };
    r.total = seconds(start, end);
    r.ticks = int(times.size());
    const int first = kStageCount - r.ticks;  // the full path has no reduction stage
    Clock::time_point last = start;
    for (int i = 0; i < r.ticks && first >= 0; ++i) {
        r.stage[first + i] = seconds(last, times[i]);
        last = times[i];
    }
    r.stage[kStageCount] = seconds(last, end);
    const cv::Mat band = trimap == 128;
    r.sad = qxtest::sadThousands(marks, comp.alpha, band);
    r.mse = qxtest::meanSquaredError(marks, comp.alpha, band);
    return r;
}

}  // namespace

int main() {
    struct Config {
        int width, height;
        double fraction;
    };
    // 776x582 at 16%: the size of a common reference photo for closed-form matting.
    const Config configs[] = {{576, 432, 0.1},  {576, 432, 0.3},   {776, 582, 0.16},  {1152, 864, 0.1},
                              {1152, 864, 0.3}, {2304, 1728, 0.1}, {2304, 1728, 0.3}};
    std::printf("qxMaskAlpha: seconds per stage (each ends at a progress tick; 'upsample' is the rest),\n"
                "peak resident memory of the process and its rise during the call, SAD (thousands) and MSE "
                "on the unknown band.\n\n");
    std::printf("%-10s %5s %8s %2s %7s", "size", "unkn", "unknown", "rc", "total");
    for (const char* s : kStages) std::printf(" %7s", s);
    std::printf(" %8s %8s %8s %7s %7s\n", "upsample", "peak MB", "call MB", "SAD k", "MSE");
    for (const Config& c : configs) {
        Result r;
        int status = 0;
        rusage usage{};
        const bool received = runInChild([&] { return runConfiguration(c.width, c.height, c.fraction); }, r, status, &usage);
        char size[32];
        std::snprintf(size, sizeof size, "%dx%d", c.width, c.height);
        if (!received) {
            std::printf("%-10s %4.0f%%  (child failed, status %d)\n", size, c.fraction * 100, status);
            continue;
        }
        if (r.peakMb <= 0) r.peakMb = usage.ru_maxrss / 1024.0;  // no /proc: the child's whole peak
        std::printf("%-10s %4.0f%% %8d %2d %7.3f", size, c.fraction * 100, r.unknown, r.rc, r.total);
        for (int i = 0; i < kStageCount; ++i) std::printf(" %7.3f", r.stage[i]);
        std::printf(" %8.3f %8.0f %8.0f %7.2f %7.4f\n", r.stage[kStageCount], r.peakMb, r.callMb, r.sad, r.mse);
        std::fflush(stdout);
    }
    return 0;
}
