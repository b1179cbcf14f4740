// Colour-guided doubling of a mask. Every new pixel is a weighted mean of four
// known neighbours, the weight falling exponentially with the summed colour
// distance between the new pixel and the neighbour. Three phases of new
// pixels: odd-odd pixels from the even-even ones, then the two mixed phases
// from both.
//
// Each phase is one parallel loop over rows that reads the guide planes at
// the neighbours' places and writes the result into the full mask. Weights
// are bytes and alphas are bytes, so the weighted sums are exact integers:
// summed in int they equal the float sums of a pass per operation over
// phase images, and only the final division and rounding are in float.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "matting/joint_upsample.h"

namespace qx {
namespace {

using Table = std::array<unsigned char, 256>;

// exp(-i / (2 sigma)) * 255, never below 1, so that a mean always exists.
Table rangeWeight(float sigma) {
    Table t{};
    for (int i = 0; i < 256; ++i) {
        double v = std::exp(-0.5 * i / double(sigma)) * 255.0;
        if (v < 1.4) v = 1.0;
        t[i] = static_cast<unsigned char>(v);
    }
    return t;
}

// Below this many new pixels a phase runs on the calling thread.
constexpr long long kParallelPixels = 1 << 15;

// One neighbour of a new pixel at (2x + cx, 2y + cy) of the full planes: the
// neighbour sits at (2x + gx, 2y + gy) of the planes, and its alpha at
// (x + ax, y + ay) of either the small mask or the odd-odd results.
struct Neighbour {
    int gx, gy, ax, ay;
    bool fromOddOdd;
};

struct Phase {
    int cx, cy;
    Neighbour nb[4];
};

// round(sum w * alpha / sum w) of the four neighbours, saturated to a byte,
// with w = table[min(255, colour distance)].
void runPhase(const Phase& phase, Plane* const planes[3], const Plane& small, const Plane& oddOdd,
              const Table& weight, int n, int m, Plane* oddOut, Plane* fullOut) {
#pragma omp parallel for schedule(static) if (static_cast<long long>(n) * m >= kParallelPixels)
    for (int y = 0; y < m; ++y) {
        const unsigned char* centre[3];
        const unsigned char* guide[4][3];
        const unsigned char* alpha[4];
        for (int c = 0; c < 3; ++c) {
            centre[c] = planes[c]->row(2 * y + phase.cy) + phase.cx;
            for (int k = 0; k < 4; ++k) guide[k][c] = planes[c]->row(2 * y + phase.nb[k].gy) + phase.nb[k].gx;
        }
        for (int k = 0; k < 4; ++k) {
            const Neighbour& b = phase.nb[k];
            alpha[k] = (b.fromOddOdd ? oddOdd : small).row(y + b.ay) + b.ax;
        }
        unsigned char* out = oddOut ? oddOut->row(y) : nullptr;
        unsigned char* full = fullOut->row(2 * y + phase.cy) + phase.cx;
        for (int x = 0; x < n; ++x) {
            int numerator = 0, denominator = 0;
            for (int k = 0; k < 4; ++k) {
                int distance = 0;
                for (int c = 0; c < 3; ++c) distance += std::abs(int(centre[c][2 * x]) - int(guide[k][c][2 * x]));
                const int w = weight[std::min(distance, 255)];
                numerator += w * alpha[k][x];
                denominator += w;
            }
            float v = static_cast<float>(numerator) * (1.0f / static_cast<float>(denominator));
            v = std::min(std::max(v, 0.0f), 255.0f);
            const unsigned char result = static_cast<unsigned char>(static_cast<int>(std::rint(v)));
            if (out) out[x] = result;
            full[2 * x] = result;
        }
    }
}

}  // namespace

int jointUpsample(Plane* const* smallMask, Plane* const* fullMask, Plane* const fullPlanes[3], float sigma) {
    Plane& small = **smallMask;
    Plane& full = **fullMask;
    const int columns = std::min(small.width, full.width / 2);
    const int rows = std::min(small.height, full.height / 2);
    // The odd-odd results, with one more row and column for the later phases.
    Plane oddOdd(columns, rows);
    const Table weight = rangeWeight(sigma);

    // Even-even pixels are the small mask's, unchanged.
    interleaveTwo(small, full, 0, 0);
    const int n = columns - 1, m = rows - 1;
    if (n < 1 || m < 1) return 1;

    // Odd-odd pixels (2x + 1, 2y + 1) from their four even-even neighbours.
    const Phase first{1, 1, {{0, 0, 0, 0, false}, {2, 0, 1, 0, false}, {0, 2, 0, 1, false}, {2, 2, 1, 1, false}}};
    runPhase(first, fullPlanes, small, oddOdd, weight, n, m, &oddOdd, &full);
    // The later phases read odd-odd results one row below and one column
    // right of the first phase's; those repeat their inner neighbours, so
    // that the last row and column are defined (the driver's border repair
    // overwrites them in any case).
    std::memcpy(oddOdd.row(m), oddOdd.row(m - 1), n);
    for (int y = 0; y <= m; ++y) oddOdd.row(y)[n] = oddOdd.row(y)[n - 1];

    // (2x + 1, 2y + 2): left and right even-even, above and below odd-odd.
    const Phase second{1, 2, {{0, 2, 0, 1, false}, {2, 2, 1, 1, false}, {1, 1, 0, 0, true}, {1, 3, 0, 1, true}}};
    runPhase(second, fullPlanes, small, oddOdd, weight, n, m, nullptr, &full);
    // (2x + 2, 2y + 1): above and below even-even, left and right odd-odd.
    const Phase third{2, 1, {{2, 0, 1, 0, false}, {2, 2, 1, 1, false}, {1, 1, 0, 0, true}, {3, 1, 1, 0, true}}};
    runPhase(third, fullPlanes, small, oddOdd, weight, n, m, nullptr, &full);
    return 1;
}

}  // namespace qx
