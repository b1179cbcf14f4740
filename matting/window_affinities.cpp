#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "matting/matting_system.h"
#include "matting/window_arithmetic.h"

namespace qx {

namespace {

constexpr double kInv255 = kWindowInv255;
constexpr int kTripletsPerWindow = 45;
constexpr int kCapacityPerWindow = 50;
constexpr long long kCapacityLimit = 100000000;

// Place of affinity (i, j) among a window's 45 triplets (its upper triangle,
// row by row); the matrix is symmetric, so (j, i) has the same place.
struct TripletPlaces {
    int at[9][9];
    TripletPlaces() {
        int t = 0;
        for (int i = 0; i < 9; ++i)
            for (int j = i; j < 9; ++j) at[i][j] = at[j][i] = t++;
    }
};

// The inverse that a serial walk would hold on reaching the window at (x, y)
// with a singular S: that of the nearest window before it in reading order
// whose S inverts, or zeros if there is none.
void inverseBefore(WindowArithmetic& window, const GIMG<unsigned char>& solveMask,
                   unsigned char* const planePixels[3], int planeStep, int x, int y) {
    const int width = solveMask.width;
    for (auto& r : window.inverse)
        for (double& v : r) v = 0.0;
    for (int wy = y; wy >= 1; --wy) {
        const unsigned char* mask = solveMask.row(wy);
        for (int wx = wy == y ? x - 1 : width - 2; wx >= 1; --wx) {
            if (mask[wx] != 0) continue;
            int32_t index[9];
            double colour[3][9], mean[3];
            windowPixels(planePixels, planeStep, width, wx, wy, index, colour);
            if (window.invert(colour, mean)) return;
        }
    }
}

}  // namespace

int buildWindowAffinities(MatteState& state, GIMG<unsigned char>& solveMask, unsigned char* const planePixels[3],
                          int planeStep, int& count) {
    const int width = solveMask.width;
    const int height = solveMask.height;
    count = 0;
    if (width < 3 || height < 3) return 4;

    double maskSum = 0.0;
    ippiSum_8u_C1R(solveMask.row(1) + 1, solveMask.step, width - 2, height - 2, &maskSum);
    const long long erodedCount = static_cast<long long>(maskSum * kInv255 + 0.4);
    const long long capacity =
        (static_cast<long long>(height - 2) * (width - 2) - erodedCount) * kCapacityPerWindow;
    if (capacity <= 0) return 4;
    if (capacity > kCapacityLimit) failMatte(state, kSystemTooLarge);

    // Windows are appended in reading order; counting them per row first
    // gives every row its place in the triplet arrays, so rows can be built
    // in any order with the same result.
    std::vector<long long> windowsBefore(height, 0);  // windows in the rows above y
    for (int y = 1; y < height - 1; ++y) {
        const unsigned char* mask = solveMask.row(y);
        int windows = 0;
        for (int x = 1; x < width - 1; ++x) windows += mask[x] == 0;
        windowsBefore[y + 1] = windowsBefore[y] + windows;
    }
    const long long windowCount = windowsBefore[height - 1];
    if (windowCount * kTripletsPerWindow > capacity) failMatte(state, kSystemAllocFailed);  // cannot happen

    // Only the values are stored, 45 a window in reading order of the
    // windows: a value's row and column follow from its window and place,
    // and the assembly reads them from there (matting/assemble_and_solve.cpp).
    const std::size_t pixelCount = static_cast<std::size_t>(width) * height;
    state.tripletValues =
        static_cast<float*>(std::malloc(std::max<std::size_t>(windowCount * kTripletsPerWindow, 1) * sizeof(float)));
    state.diagonalSums = static_cast<float*>(std::calloc(pixelCount, sizeof(float)));
    if (!state.tripletValues || !state.diagonalSums) failMatte(state, kSystemAllocFailed);

    float* values = state.tripletValues;
    float* diagonal = state.diagonalSums;
    bool anySingular = false;

    // First the windows, rows in parallel, each into its place among the
    // triplets. Dynamic scheduling since the unknown band is spread unevenly
    // over rows.
#pragma omp parallel reduction(|| : anySingular)
    {
        WindowArithmetic window{state.epsilon};
#pragma omp for schedule(dynamic, 4)
        for (int y = 1; y < height - 1; ++y) {
            const unsigned char* mask = solveMask.row(y);
            long long t = windowsBefore[y] * kTripletsPerWindow;
            bool inverseOfThisRow = false;
            for (int x = 1; x < width - 1; ++x) {
                if (mask[x] != 0) continue;
                int32_t index[9];
                double colour[3][9], mean[3];
                windowPixels(planePixels, planeStep, width, x, y, index, colour);
                if (window.invert(colour, mean)) {
                    inverseOfThisRow = true;
                } else {
                    window.singular = true;
                    if (!inverseOfThisRow) inverseBefore(window, solveMask, planePixels, planeStep, x, y);
                    inverseOfThisRow = true;
                }
                double affinity[9][9];
                window.affinitiesWith(colour, mean, affinity);
                for (int i = 0; i < 9; ++i)
                    for (int j = i; j < 9; ++j) values[t++] = static_cast<float>(affinity[i][j]);
            }
        }
        anySingular = anySingular || window.singular;
    }

    // Then the diagonal sums, pixel rows in parallel. Each sum takes its
    // windows in reading order (window rows y-1, y, y+1, each left to right)
    // and each window's nine values in order, as a serial walk over the
    // windows adds them: the float sums are bit for bit the serial ones.
    static const TripletPlaces places;
#pragma omp parallel for schedule(static)
    for (int py = 0; py < height; ++py) {
        float* sums = diagonal + static_cast<std::ptrdiff_t>(py) * width;
        const int firstRow = py - 1 > 1 ? py - 1 : 1;
        const int lastRow = py + 1 < height - 2 ? py + 1 : height - 2;
        for (int y = firstRow; y <= lastRow; ++y) {
            const int r = py - (y - 1);  // the pixel row's place in the window
            const unsigned char* mask = solveMask.row(y);
            const float* window = values + windowsBefore[y] * kTripletsPerWindow;
            for (int x = 1; x < width - 1; ++x) {
                if (mask[x] != 0) continue;
                for (int q = 0; q < 3; ++q) {
                    const int* at = places.at[3 * r + q];
                    float sum = sums[x - 1 + q];
                    for (int j = 0; j < 9; ++j) sum += window[at[j]];
                    sums[x - 1 + q] = sum;
                }
                window += kTripletsPerWindow;
            }
        }
    }
    state.lastStatus = anySingular ? ippStsSingularErr : ippStsNoErr;
    count = static_cast<int>(windowCount * kTripletsPerWindow);
    return 0;
}

}  // namespace qx
