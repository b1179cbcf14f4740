#include <cstdint>
#include <cstdlib>
#include <vector>

#include "matting/matting_system.h"

namespace qx {

namespace {

constexpr double kInv255 = 0.00392156862745098;
constexpr double kNinth = 0.1111111111111111;
constexpr int kTripletsPerWindow = 45;
constexpr int kCapacityPerWindow = 50;
constexpr long long kCapacityLimit = 100000000;

// One 3x3 window: the affinities (1 + d_i^T inverse(S) d_j) / 9 of its nine
// pixels, d the colour minus the window mean and S the regularised colour
// covariance. This is the generic small-matrix sequence (mean, dot products,
// invert, d^T inverse, times d, +1, /9) done in registers with a closed-form
// symmetric 3x3 inverse: the same values up to rounding.
struct WindowArithmetic {
    double epsilon;
    double inverse[3][3] = {};  // kept from the previous window when S is singular
    bool singular = false;

    void affinities(const double (&colour)[3][9], double (&affinity)[9][9]) {
        double mean[3];
        for (int c = 0; c < 3; ++c) {
            double sum = 0.0;
            for (int k = 0; k < 9; ++k) sum += colour[c][k];
            mean[c] = sum / 9.0;
        }
        double s[3][3];
        for (int c = 0; c < 3; ++c)
            for (int e = c; e < 3; ++e) {
                double dot = 0.0;
                for (int k = 0; k < 9; ++k) dot += colour[c][k] * colour[e][k];
                s[c][e] = dot * kNinth - mean[c] * mean[e];
            }
        for (int c = 0; c < 3; ++c) s[c][c] += epsilon * kNinth;

        const double a = s[0][0], b = s[0][1], c = s[0][2], d = s[1][1], e = s[1][2], f = s[2][2];
        const double m00 = d * f - e * e, m01 = c * e - b * f, m02 = b * e - c * d;
        const double m11 = a * f - c * c, m12 = b * c - a * e, m22 = a * d - b * b;
        const double det = a * m00 + b * m01 + c * m02;
        if (det != 0.0) {
            const double r = 1.0 / det;
            inverse[0][0] = m00 * r; inverse[0][1] = m01 * r; inverse[0][2] = m02 * r;
            inverse[1][0] = m01 * r; inverse[1][1] = m11 * r; inverse[1][2] = m12 * r;
            inverse[2][0] = m02 * r; inverse[2][1] = m12 * r; inverse[2][2] = m22 * r;
        } else {
            singular = true;
        }

        double dev[9][3], product[9][3];
        for (int k = 0; k < 9; ++k)
            for (int c2 = 0; c2 < 3; ++c2) dev[k][c2] = colour[c2][k] - mean[c2];
        for (int k = 0; k < 9; ++k)
            for (int e2 = 0; e2 < 3; ++e2)
                product[k][e2] = dev[k][0] * inverse[0][e2] + dev[k][1] * inverse[1][e2] + dev[k][2] * inverse[2][e2];
        for (int i = 0; i < 9; ++i)
            for (int j = i; j < 9; ++j) {
                const double q = product[i][0] * dev[j][0] + product[i][1] * dev[j][1] + product[i][2] * dev[j][2];
                affinity[i][j] = affinity[j][i] = (q + 1.0) * kNinth;
            }
    }
};

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

    const std::size_t pixelCount = static_cast<std::size_t>(width) * height;
    state.tripletValues = static_cast<float*>(std::malloc(capacity * sizeof(float)));
    state.tripletRows = static_cast<int32_t*>(std::malloc(capacity * sizeof(int32_t)));
    state.tripletColumns = static_cast<int32_t*>(std::malloc(capacity * sizeof(int32_t)));
    state.diagonalSums = static_cast<float*>(std::calloc(pixelCount, sizeof(float)));
    if (!state.tripletValues || !state.tripletRows || !state.tripletColumns || !state.diagonalSums)
        failMatte(state, kSystemAllocFailed);

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

    float* values = state.tripletValues;
    int32_t* rows = state.tripletRows;
    int32_t* columns = state.tripletColumns;
    float* diagonal = state.diagonalSums;
    bool anySingular = false;

    // A window of row y adds to the diagonal sums of pixel rows y-1..y+1, so
    // rows three apart never touch the same sum: three race-free passes.
    // Dynamic scheduling since the unknown band is spread unevenly over rows.
    for (int phase = 0; phase < 3; ++phase) {
        const int first = 1 + phase;
        const int passRows = first <= height - 2 ? (height - 2 - first) / 3 + 1 : 0;
#pragma omp parallel reduction(|| : anySingular)
        {
            WindowArithmetic window{state.epsilon};
#pragma omp for schedule(dynamic, 4)
            for (int k = 0; k < passRows; ++k) {
                const int y = first + 3 * k;
                const unsigned char* mask = solveMask.row(y);
                long long t = windowsBefore[y] * kTripletsPerWindow;
                for (int x = 1; x < width - 1; ++x) {
                    if (mask[x] != 0) continue;
                    int32_t index[9];
                    double colour[3][9];
                    for (int r = 0; r < 3; ++r)
                        for (int q = 0; q < 3; ++q) {
                            const int px = x - 1 + q, py = y - 1 + r;
                            index[3 * r + q] = py * width + px;
                            for (int c = 0; c < 3; ++c)
                                colour[c][3 * r + q] =
                                    planePixels[c][static_cast<std::ptrdiff_t>(py) * planeStep + px] * kInv255;
                        }
                    double affinity[9][9];
                    window.affinities(colour, affinity);
                    for (int i = 0; i < 9; ++i) {
                        float sum = diagonal[index[i]];
                        for (int j = 0; j < 9; ++j) sum += static_cast<float>(affinity[i][j]);
                        diagonal[index[i]] = sum;
                        for (int j = i; j < 9; ++j) {
                            rows[t] = index[i];
                            columns[t] = index[j];
                            values[t] = static_cast<float>(affinity[i][j]);
                            ++t;
                        }
                    }
                }
            }
            anySingular = anySingular || window.singular;
        }
    }
    state.lastStatus = anySingular ? ippStsSingularErr : ippStsNoErr;
    count = static_cast<int>(windowCount * kTripletsPerWindow);
    return 0;
}

}  // namespace qx
