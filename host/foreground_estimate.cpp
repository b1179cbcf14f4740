// Full-resolution foreground estimate.
//
// For each pixel i we look for a foreground colour F_i and a background colour
// B_i that explain the image, a_i F_i + (1 - a_i) B_i = I_i, and that change
// little between 4-neighbours i, j, with a weight w_ij = c + k |a_i - a_j|
// that grows across alpha edges, where the colours of the two layers are
// least certain. Per colour channel the energy
//   sum_i (a_i F_i + (1 - a_i) B_i - I_i)^2 + sum_ij w_ij ((F_i - F_j)^2 + (B_i - B_j)^2)
// is minimised pixel by pixel: with the neighbours held, F_i and B_i solve a
// 2 x 2 system whose matrix is the same for the three channels. Sweeps alternate
// between the two colours of a chequerboard, so a sweep reads only pixels it
// does not write, and its result does not depend on the thread count.
//
// The sweeps only smooth locally, so the solve runs coarse to fine: from one
// pixel up to full size, halving the image's sides at each level, each level
// started from the one below. Small levels get many sweeps, the large ones one
// or two. A level samples the image and alpha at the nearest full-size pixel,
// so it needs no copies of them; it holds F and B in 16 bits, and the full-size
// level keeps F in the result and B in a byte image. Peak extra memory: the
// full-size B (3 bytes a pixel) plus the half-size level (3 bytes a pixel).
#include <omp.h>

#include <algorithm>
#include <cstdlib>
#include <cstdint>
#include <vector>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

namespace {

// One level's F and B: three channels a pixel, rows of 3 * width values.
template <typename T>
struct LayerPair {
    T* f;
    T* b;
    std::size_t rowStride;  // values between rows
};

template <typename T>
constexpr float kScale = sizeof(T) == 1 ? 255.0f : 65535.0f;

template <typename T>
inline T store(float v) {
    v = std::min(1.0f, std::max(0.0f, v));  // clamp to the valid range
    return static_cast<T>(v * kScale<T> + 0.5f);
}

// Where a level's pixels sample the full-size image: nearest pixel centres.
std::vector<int> sampleMap(int levelSize, int fullSize) {
    std::vector<int> map(levelSize);
    for (int i = 0; i < levelSize; ++i)
        map[i] = std::min(fullSize - 1, static_cast<int>((i + 0.5) * fullSize / levelSize));
    return map;
}

struct Source {
    const cv::Mat& image;  // 8-bit, 3 or 4 channels
    const cv::Mat& alpha;
    float smoothConstant, smoothAlpha;
};

// One sweep over the pixels of one chequerboard colour. Full: the level is the
// full-size image, so a pixel is its own sample.
template <typename T, bool Full>
void halfSweep(const Source& src, const LayerPair<T>& layer, int w, int h, const std::vector<int>& mapX,
               const std::vector<int>& mapY, int parity) {
    const float inv = 1.0f / kScale<T>;
    const float c = src.smoothConstant, k = src.smoothAlpha / 255.0f;
    const int channels = src.image.channels();
    const std::size_t stride = layer.rowStride;
#pragma omp parallel for schedule(static) if (static_cast<long>(w) * h > 20000)
    for (int y = 0; y < h; ++y) {
        const int sy = Full ? y : mapY[y];
        const unsigned char* aRow = src.alpha.ptr<unsigned char>(sy);
        const unsigned char* aUp = y > 0 ? src.alpha.ptr<unsigned char>(Full ? y - 1 : mapY[y - 1]) : nullptr;
        const unsigned char* aDown = y + 1 < h ? src.alpha.ptr<unsigned char>(Full ? y + 1 : mapY[y + 1]) : nullptr;
        const unsigned char* iRow = src.image.ptr<unsigned char>(sy);
        T* fRow = layer.f + y * stride;
        T* bRow = layer.b + y * stride;
        for (int x = (y + parity) & 1; x < w; x += 2) {
            const int sx = Full ? x : mapX[x];
            const int own = aRow[sx];
            // Weights of the four neighbours; 0 outside the level.
            const float wl = x > 0 ? c + k * std::abs(aRow[Full ? x - 1 : mapX[x - 1]] - own) : 0.0f;
            const float wr = x + 1 < w ? c + k * std::abs(aRow[Full ? x + 1 : mapX[x + 1]] - own) : 0.0f;
            const float wu = aUp ? c + k * std::abs(aUp[sx] - own) : 0.0f;
            const float wd = aDown ? c + k * std::abs(aDown[sx] - own) : 0.0f;
            const float weight = wl + wr + wu + wd;
            if (weight <= 0) continue;  // a lone pixel: F and B are not determined
            const T* f = fRow + 3 * x;
            const T* b = bRow + 3 * x;
            const std::ptrdiff_t left = x > 0 ? -3 : 0, right = x + 1 < w ? 3 : 0;
            const std::ptrdiff_t up = aUp ? -static_cast<std::ptrdiff_t>(stride) : 0;
            const std::ptrdiff_t down = aDown ? static_cast<std::ptrdiff_t>(stride) : 0;
            const float a = own * (1.0f / 255.0f);
            const float m00 = a * a + weight, m01 = a * (1 - a), m11 = (1 - a) * (1 - a) + weight;
            const float invDet = 1.0f / (m00 * m11 - m01 * m01);
            const unsigned char* pixel = iRow + channels * sx;
            T* fOut = fRow + 3 * x;
            T* bOut = bRow + 3 * x;
            for (int ch = 0; ch < 3; ++ch) {
                // (Absent neighbours point at the pixel itself with weight 0.)
                const float sf = wl * f[left + ch] + wr * f[right + ch] + wu * f[up + ch] + wd * f[down + ch];
                const float sb = wl * b[left + ch] + wr * b[right + ch] + wu * b[up + ch] + wd * b[down + ch];
                const float i = pixel[ch] * (1.0f / 255.0f);
                const float r0 = a * i + sf * inv, r1 = (1 - a) * i + sb * inv;
                fOut[ch] = store<T>((m11 * r0 - m01 * r1) * invDet);
                bOut[ch] = store<T>((m00 * r1 - m01 * r0) * invDet);
            }
        }
    }
}

// Level `to` (w x h) from level `from` (fw x fh): nearest pixel.
template <typename S, typename T>
void enlarge(const LayerPair<S>& from, int fw, int fh, const LayerPair<T>& to, int w, int h) {
    const std::vector<int> mapX = sampleMap(w, fw), mapY = sampleMap(h, fh);
    const float factor = kScale<T> / kScale<S>;
#pragma omp parallel for schedule(static) if (static_cast<long>(w) * h > 20000)
    for (int y = 0; y < h; ++y) {
        const S* f = from.f + mapY[y] * from.rowStride;
        const S* b = from.b + mapY[y] * from.rowStride;
        T* tf = to.f + y * to.rowStride;
        T* tb = to.b + y * to.rowStride;
        for (int x = 0; x < w; ++x)
            for (int ch = 0; ch < 3; ++ch) {
                tf[3 * x + ch] = static_cast<T>(f[3 * mapX[x] + ch] * factor + 0.5f);
                tb[3 * x + ch] = static_cast<T>(b[3 * mapX[x] + ch] * factor + 0.5f);
            }
    }
}

struct Tracker {
    Progress progress;
    double total = 0, done = 0;
    void tick(double work) {
        done += work;
        if (progress.function && progress.cookie)
            progress.function(static_cast<int>(100.0 * done / total), 100, progress.cookie);
    }
};

template <typename T>
void solveLevel(const Source& src, const LayerPair<T>& layer, int w, int h, int sweeps, Tracker& tracker) {
    const bool full = w == src.image.cols && h == src.image.rows;
    const std::vector<int> mapX = full ? std::vector<int>() : sampleMap(w, src.image.cols);
    const std::vector<int> mapY = full ? std::vector<int>() : sampleMap(h, src.image.rows);
    for (int s = 0; s < sweeps; ++s) {
        for (int parity = 0; parity < 2; ++parity) {
            if (full) halfSweep<T, true>(src, layer, w, h, mapX, mapY, parity);
            else halfSweep<T, false>(src, layer, w, h, mapX, mapY, parity);
        }
        tracker.tick(static_cast<double>(w) * h);
    }
}

}  // namespace

cv::Mat estimateForeground(const cv::Mat& image, const cv::Mat& alpha, const ForegroundParams& params,
                           Progress progress, cv::Mat* background) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(alpha, "the alpha", 1u << 1);
    requireSameSize(image, "the image", alpha, "the alpha");
    const Source src{image, alpha, params.smoothConstant, params.smoothAlpha};

    // Level sizes, full size first, down to one pixel.
    std::vector<cv::Size> sizes{image.size()};
    while (sizes.back().width > 1 || sizes.back().height > 1)
        sizes.push_back(cv::Size((sizes.back().width + 1) / 2, (sizes.back().height + 1) / 2));
    const int levels = static_cast<int>(sizes.size());
    auto sweepsAt = [&](int level) {
        if (level == 0) return params.finestSweeps;
        return std::max(sizes[level].width, sizes[level].height) <= params.smallSize ? params.smallSweeps
                                                                                      : params.largeSweeps;
    };
    Tracker tracker{progress};
    for (int l = 0; l < levels; ++l) tracker.total += static_cast<double>(sweepsAt(l)) * sizes[l].area();
    tracker.total = std::max(tracker.total, 1.0);

    // The one-pixel level starts from the image's mean colour for both layers.
    const cv::Scalar mean = cv::mean(image);
    std::vector<uint16_t> below(6);
    for (int ch = 0; ch < 3; ++ch) below[ch] = below[3 + ch] = store<uint16_t>(static_cast<float>(mean[ch] / 255));
    cv::Size belowSize(1, 1);
    for (int l = levels - 1; l >= 1; --l) {  // (a one-pixel image has no level here)
        const cv::Size s = sizes[l];
        std::vector<uint16_t> here(static_cast<std::size_t>(s.area()) * 6);
        const LayerPair<uint16_t> from{below.data(), below.data() + 3 * belowSize.area(),
                                       static_cast<std::size_t>(3 * belowSize.width)};
        const LayerPair<uint16_t> to{here.data(), here.data() + 3 * s.area(), static_cast<std::size_t>(3 * s.width)};
        enlarge(from, belowSize.width, belowSize.height, to, s.width, s.height);
        solveLevel(src, to, s.width, s.height, sweepsAt(l), tracker);
        below.swap(here);
        belowSize = s;
    }

    // Full size: F straight into the result, B in bytes (both continuous).
    cv::Mat fg(image.size(), CV_8UC3), bg(image.size(), CV_8UC3);
    const LayerPair<uint16_t> from{below.data(), below.data() + 3 * belowSize.area(),
                                   static_cast<std::size_t>(3 * belowSize.width)};
    const LayerPair<unsigned char> to{fg.data, bg.data, static_cast<std::size_t>(3 * image.cols)};
    enlarge(from, belowSize.width, belowSize.height, to, image.cols, image.rows);
    std::vector<uint16_t>().swap(below);
    if (levels > 1) solveLevel(src, to, image.cols, image.rows, sweepsAt(0), tracker);
    if (background) *background = bg;
    return fg;
}

}  // namespace qxhost
