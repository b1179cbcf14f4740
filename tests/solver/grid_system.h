// A symmetric system shaped like the matting matrix: a w x h pixel grid, the
// affinities of every 3x3 window summed into a Laplacian (so each pixel is
// coupled to its 5x5 neighbourhood), plus a diagonal term on "known" pixels.
// Stored as the upper triangle in one-based compressed rows, float values.
#pragma once

#include <cmath>
#include <vector>

struct GridSystem {
    int order = 0;
    std::vector<float> values;
    std::vector<int> rowStart, columns;
};

// knownWeight is added to the diagonal of every pixel with (x + 3 y) % knownEvery == 0;
// knownEvery 0 gives the pure Laplacian (singular).
inline GridSystem makeGridSystem(int w, int h, int knownEvery, float knownWeight) {
    // Upper neighbours of a pixel: same row to the right, then two rows below.
    static const int dx[13] = {0, 1, 2, -2, -1, 0, 1, 2, -2, -1, 0, 1, 2};
    static const int dy[13] = {0, 0, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2};
    auto slotOf = [](int ox, int oy) { return oy == 0 ? ox : 3 + (oy - 1) * 5 + (ox + 2); };
    int n = w * h;
    std::vector<double> acc(static_cast<size_t>(n) * 13, 0.0);
    for (int cy = 1; cy + 1 < h; ++cy) {
        for (int cx = 1; cx + 1 < w; ++cx) {
            for (int p = 0; p < 9; ++p) {
                for (int q = p + 1; q < 9; ++q) {
                    int px = cx - 1 + p % 3, py = cy - 1 + p / 3;
                    int qx = cx - 1 + q % 3, qy = cy - 1 + q / 3;
                    // Smoothly varying positive affinity, as from an image.
                    double a = (0.6 + 0.4 * std::sin(0.05 * cx + 0.03 * cy + p - q)) / 9.0;
                    size_t ip = static_cast<size_t>(py) * w + px, iq = static_cast<size_t>(qy) * w + qx;
                    acc[ip * 13 + slotOf(qx - px, qy - py)] -= a;
                    acc[ip * 13] += a;
                    acc[iq * 13] += a;
                }
            }
        }
    }
    GridSystem s;
    s.order = n;
    s.rowStart.push_back(1);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            size_t i = static_cast<size_t>(y) * w + x;
            double diagonal = acc[i * 13];
            if (knownEvery > 0 && (x + 3 * y) % knownEvery == 0) diagonal += knownWeight;
            for (int k = 0; k < 13; ++k) {
                int nx = x + dx[k], ny = y + dy[k];
                if (nx < 0 || nx >= w || ny >= h) continue;
                double v = k == 0 ? diagonal : acc[i * 13 + k];
                if (k > 0 && v == 0.0) continue;
                s.values.push_back(static_cast<float>(v));
                s.columns.push_back(ny * w + nx + 1);
            }
            s.rowStart.push_back(static_cast<int>(s.values.size()) + 1);
        }
    }
    return s;
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

// Progress callback counting its calls in an int.
inline int countTicks(int, int, void* cookie) { return ++*static_cast<int*>(cookie), 1; }

// y = A x in double from the upper triangle.
inline std::vector<double> symmetricTimes(const GridSystem& s, const std::vector<double>& x) {
    std::vector<double> y(s.order, 0.0);
    for (int i = 0; i < s.order; ++i) {
        for (int e = s.rowStart[i] - 1; e < s.rowStart[i + 1] - 1; ++e) {
            int j = s.columns[e] - 1;
            y[i] += s.values[e] * x[j];
            if (j != i) y[j] += s.values[e] * x[i];
        }
    }
    return y;
}
