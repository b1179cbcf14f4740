// A system shaped like the matting matrix: pixels of a w x h grid within two
// of each other share a 3x3 window and are linked by a smooth positive
// affinity, summed into a Laplacian, plus knownWeight on the diagonal where
// (x + 3 y) % knownEvery == 0 (knownEvery 0: singular). Upper triangle,
// one-based compressed rows, float values.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

struct GridSystem {
    int order = 0;
    std::vector<float> values;
    std::vector<int> rowStart, columns;
};

inline GridSystem makeGridSystem(int w, int h, int knownEvery, float knownWeight) {
    GridSystem s{w * h, {}, {1}, {}};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t diagonal = s.values.size();
            double sum = knownEvery > 0 && (x + 3 * y) % knownEvery == 0 ? knownWeight : 0.0;
            s.values.push_back(0.0f), s.columns.push_back(y * w + x + 1);
            for (int v = std::max(0, y - 2); v <= std::min(h - 1, y + 2); ++v)
                for (int u = std::max(0, x - 2); u <= std::min(w - 1, x + 2); ++u) {
                    if (u == x && v == y) continue;
                    const double a = (0.6 + 0.4 * std::sin(0.05 * (x + u) + 0.03 * (y + v) + (u - x) * (v - y))) / 9;
                    sum += a;
                    if (v * w + u > y * w + x) s.values.push_back(float(-a)), s.columns.push_back(v * w + u + 1);
                }
            s.values[diagonal] = float(sum);
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
