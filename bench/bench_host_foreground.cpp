// Full-resolution foreground estimate (host layer): time and extra memory at
// 0.5, 4 and 30 Mpx, and its colour error next to the plain image colour and
// qxRecoverForeground on textured composites and on the two sample photographs
// composited over each other. Prints two tables.
//
// Extra memory is the peak resident size during the call minus the resident
// size before it and the result image, per pixel. Times are wall clock and CPU
// (all threads); on a busy machine the CPU time is the steadier figure.
#include <omp.h>
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cmath>
#include <ctime>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "qxhost.h"
#include "support/textured_composite.h"
#include "measure.h"

namespace {

void timeSize(double megapixels, const qxtest::TexturedComposite& tile) {
    const int w = static_cast<int>(std::sqrt(megapixels * 1e6 * 4 / 3)), h = static_cast<int>(megapixels * 1e6 / w);
    cv::Mat image, alpha;
    cv::repeat(tile.image, h / tile.image.rows + 1, w / tile.image.cols + 1, image);
    cv::repeat(tile.alpha, h / tile.alpha.rows + 1, w / tile.alpha.cols + 1, alpha);
    image = image(cv::Rect(0, 0, w, h)).clone();
    alpha = alpha(cv::Rect(0, 0, w, h)).clone();
    malloc_trim(0);  // freed work memory leaves, so that the peak counts only this call
    std::ofstream("/proc/self/clear_refs") << "5";  // restart the peak count
    const long before = statusKb("VmRSS:");
    const double cpu0 = cpuSeconds();
    const auto t0 = std::chrono::steady_clock::now();
    cv::Mat fg = qxhost::estimateForeground(image, alpha);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    const double cpu = cpuSeconds() - cpu0;
    const long peak = statusKb("VmHWM:");
    const double px = static_cast<double>(w) * h;
    const double extra = ((peak - before) * 1024.0 - fg.total() * fg.elemSize()) / px;
    std::printf("| %dx%d | %.1f Mpx | %.3f s | %.3f s/Mpx | %.3f s | %.3f s/Mpx | %.1f B |\n", w, h, px / 1e6, wall,
                wall / (px / 1e6), cpu, cpu / (px / 1e6), extra);
    std::fflush(stdout);
}

void accuracy(const char* name, const qxtest::TexturedComposite& c) {
    const double plain = qxtest::softColourError(c.image, c.foreground, c.alpha);
    const double design = qxtest::softColourError(
        qxhost::recoverColours(c.image, c.alpha, qxhost::ColourMethod::Design), c.foreground, c.alpha);
    const double full = qxtest::softColourError(qxhost::estimateForeground(c.image, c.alpha), c.foreground, c.alpha);
    std::printf("| %s | %.2f | %.2f | %.2f | %+.0f%% |\n", name, plain, design, full, 100 * (full / plain - 1));
}

}  // namespace

int main(int argc, char** argv) {
    // "quick": only the 4 Mpx timing.
    const bool quick = argc > 1 && std::string(argv[1]) == "quick";
    if (!quick) {
    std::printf("Colour error on 0 < alpha < 1 (alpha-weighted mean, 8-bit levels), 640x480:\n\n");
    std::printf("| composite | plain image colour | qxRecoverForeground | full resolution | vs plain |\n|---|---|---|---|---|\n");
    for (unsigned seed = 1; seed <= 3; ++seed)
        accuracy(("textured, seed " + std::to_string(seed)).c_str(), qxtest::makeTexturedComposite(640, 480, seed));
    const char* samples = std::getenv("QX_SAMPLES");
    const std::string dir = samples ? samples : "samples";
    cv::Mat astronaut = cv::imread(dir + "/astronaut.png"), coffee = cv::imread(dir + "/coffee.png");
    if (!astronaut.empty() && !coffee.empty()) {
        accuracy("astronaut over coffee", qxtest::compositeLayers(astronaut, coffee, 640, 480, 7));
        accuracy("coffee over astronaut", qxtest::compositeLayers(coffee, astronaut, 640, 480, 8));
    }
    }
    std::printf("\nestimateForeground on %d threads (extra memory per pixel beyond image, alpha and result):\n\n",
                omp_get_max_threads());
    std::printf("| size | pixels | wall | wall per Mpx | CPU | CPU per Mpx | extra memory |\n|---|---|---|---|---|---|---|\n");
    const qxtest::TexturedComposite tile = qxtest::makeTexturedComposite(1024, 768, 5);
    for (double mpx : {0.5, 4.0, 30.0})
        if (!quick || mpx == 4.0) timeSize(mpx, tile);
    return 0;
}
