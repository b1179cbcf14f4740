// The arithmetic of one 3x3 matting window, shared by the system build and
// the tests that rebuild it serially.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qx {

constexpr double kWindowInv255 = 0.00392156862745098;
constexpr double kWindowNinth = 0.1111111111111111;

// One 3x3 window: the affinities (1 + d_i^T inverse(S) d_j) / 9 of its nine
// pixels, d the colour minus the window mean and S the regularised colour
// covariance. This is the generic small-matrix sequence (mean, dot products,
// invert, d^T inverse, times d, +1, /9) done in registers with a closed-form
// symmetric 3x3 inverse: the same values up to rounding.
struct WindowArithmetic {
    double epsilon;
    double inverse[3][3] = {};  // kept from the previous window when S is singular
    bool singular = false;      // some window's S was singular

    // The window's colour means, and the inverse of its S into `inverse`;
    // false, with `inverse` left as it was, when S is singular.
    bool invert(const double (&colour)[3][9], double (&mean)[3]) {
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
                s[c][e] = dot * kWindowNinth - mean[c] * mean[e];
            }
        for (int c = 0; c < 3; ++c) s[c][c] += epsilon * kWindowNinth;

        const double a = s[0][0], b = s[0][1], c = s[0][2], d = s[1][1], e = s[1][2], f = s[2][2];
        const double m00 = d * f - e * e, m01 = c * e - b * f, m02 = b * e - c * d;
        const double m11 = a * f - c * c, m12 = b * c - a * e, m22 = a * d - b * b;
        const double det = a * m00 + b * m01 + c * m02;
        if (det == 0.0) return false;
        const double r = 1.0 / det;
        inverse[0][0] = m00 * r; inverse[0][1] = m01 * r; inverse[0][2] = m02 * r;
        inverse[1][0] = m01 * r; inverse[1][1] = m11 * r; inverse[1][2] = m12 * r;
        inverse[2][0] = m02 * r; inverse[2][1] = m12 * r; inverse[2][2] = m22 * r;
        return true;
    }

    // The affinities with the current `inverse` and the window's means.
    void affinitiesWith(const double (&colour)[3][9], const double (&mean)[3], double (&affinity)[9][9]) const {
        double dev[9][3], product[9][3];
        for (int k = 0; k < 9; ++k)
            for (int c2 = 0; c2 < 3; ++c2) dev[k][c2] = colour[c2][k] - mean[c2];
        for (int k = 0; k < 9; ++k)
            for (int e2 = 0; e2 < 3; ++e2)
                product[k][e2] = dev[k][0] * inverse[0][e2] + dev[k][1] * inverse[1][e2] + dev[k][2] * inverse[2][e2];
        for (int i = 0; i < 9; ++i)
            for (int j = i; j < 9; ++j) {
                const double q = product[i][0] * dev[j][0] + product[i][1] * dev[j][1] + product[i][2] * dev[j][2];
                affinity[i][j] = affinity[j][i] = (q + 1.0) * kWindowNinth;
            }
    }

    // Both steps, windows taken in reading order: a singular S keeps the
    // inverse of the window before.
    void affinities(const double (&colour)[3][9], double (&affinity)[9][9]) {
        double mean[3];
        if (!invert(colour, mean)) singular = true;
        affinitiesWith(colour, mean, affinity);
    }
};

// The pixel indices (y * width + x, reading order) and colours (times 1/255)
// of the window centred on (x, y).
inline void windowPixels(unsigned char* const planePixels[3], int planeStep, int width, int x, int y,
                         int32_t (&index)[9], double (&colour)[3][9]) {
    for (int r = 0; r < 3; ++r)
        for (int q = 0; q < 3; ++q) {
            const int px = x - 1 + q, py = y - 1 + r;
            index[3 * r + q] = py * width + px;
            for (int c = 0; c < 3; ++c)
                colour[c][3 * r + q] = planePixels[c][static_cast<std::ptrdiff_t>(py) * planeStep + px] * kWindowInv255;
        }
}

}  // namespace qx
