// A system shaped like the matting matrix: the 3x3-window affinities of a w x h
// grid summed into a Laplacian, plus knownWeight on the diagonal where
// (x + 3 y) % knownEvery == 0 (knownEvery 0: singular). Upper triangle,
// one-based compressed rows, float values.
#pragma once

#include <cmath>
#include <vector>

struct GridSystem {
    int order = 0;
    std::vector<float> values;
    std::vector<int> rowStart, columns;
};

inline GridSystem makeGridSystem(int w, int h, int knownEvery, float knownWeight) {
    // 13 upper slots per pixel: offsets 0..2 on its row, -2..2 on each of the two rows below.
    auto slotOf = [](int ox, int oy) { return oy == 0 ? ox : 3 + (oy - 1) * 5 + (ox + 2); };
    std::vector<double> acc(static_cast<size_t>(w) * h * 13, 0.0);
    for (int cy = 1; cy + 1 < h; ++cy)
        for (int cx = 1; cx + 1 < w; ++cx)
            for (int p = 0; p < 9; ++p)
                for (int q = p + 1; q < 9; ++q) {
                    // Smoothly varying positive affinity, as from an image.
                    double a = (0.6 + 0.4 * std::sin(0.05 * cx + 0.03 * cy + p - q)) / 9.0;
                    size_t ip = static_cast<size_t>(cy - 1 + p / 3) * w + cx - 1 + p % 3;
                    size_t iq = static_cast<size_t>(cy - 1 + q / 3) * w + cx - 1 + q % 3;
                    acc[ip * 13 + slotOf(q % 3 - p % 3, q / 3 - p / 3)] -= a;
                    acc[ip * 13] += a;
                    acc[iq * 13] += a;
                }
    GridSystem s{w * h, {}, {1}, {}};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            double* slots = &acc[(static_cast<size_t>(y) * w + x) * 13];
            if (knownEvery > 0 && (x + 3 * y) % knownEvery == 0) slots[0] += knownWeight;
            for (int k = 0; k < 13; ++k) {
                int nx = x + (k < 3 ? k : (k - 3) % 5 - 2), ny = y + (k < 3 ? 0 : (k - 3) / 5 + 1);
                if (nx < 0 || nx >= w || ny >= h || (k > 0 && slots[k] == 0.0)) continue;
                s.values.push_back(static_cast<float>(slots[k]));
                s.columns.push_back(ny * w + nx + 1);
            }
            s.rowStart.push_back(static_cast<int>(s.values.size()) + 1);
        }
    return s;
}

// y = A x in double from the upper triangle.
inline std::vector<double> symmetricTimes(const GridSystem& s, const std::vector<double>& x) {
    std::vector<double> y(s.order, 0.0);
    for (int i = 0; i < s.order; ++i)
        for (int e = s.rowStart[i] - 1; e < s.rowStart[i + 1] - 1; ++e) {
            int j = s.columns[e] - 1;
            y[i] += s.values[e] * x[j];
            if (j != i) y[j] += s.values[e] * x[i];
        }
    return y;
}

// ||x - y|| / ||y||.
template <class X, class Y>
double relativeDistance(const std::vector<X>& x, const std::vector<Y>& y) {
    double d = 0.0, n = 0.0;
    for (size_t i = 0; i < y.size(); ++i) d += (x[i] - y[i]) * (x[i] - y[i]), n += double(y[i]) * y[i];
    return std::sqrt(d / n);
}

// A smooth field in (0.1, 0.9), the kind of solution a matte has.
inline std::vector<double> smoothField(int n) {
    std::vector<double> x(n);
    for (int i = 0; i < n; ++i) x[i] = 0.5 + 0.4 * std::sin(0.013 * i);
    return x;
}
