// Colour sampling: an alpha and a confidence for every unknown pixel of a
// trimap from foreground and background colours found along rays.
//
// From each small block of unknown pixels a fan of rays runs out in
// directions turned by a per-block pattern, so that neighbouring blocks look
// along different lines; half of them first, the other half only where the
// first half leaves a pixel poorly explained. Rays leap over the pixels
// nearer than any known pixel of the kinds they still look for. The first known foreground pixel
// and the first known background pixel a ray meets are candidates; a ray
// runs on through known pixels of the other kind, so a background hole
// enclosed by foreground still finds background beyond it. For each pixel of
// the block every candidate pair gives the alpha that best explains its
// colour on the line between them, a = (I - B).(F - B) / |F - B|^2, and the
// pair with the least colour distortion |I - (a F + (1 - a) B)| (plus a little
// for far samples) wins. A second pass lets each pixel try the winning pairs
// of its neighbours and averages the three that explain it best, which takes
// most of the noise out of single rays. The confidence falls with the
// remaining distortion and with how close the two colours are.
#include <omp.h>
#include <xmmintrin.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

namespace {

inline std::array<float, 3> colourAt(const cv::Mat& image, int x, int y) {
    const unsigned char* p = image.ptr<unsigned char>(y) + x * image.channels();
    return {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
}

// The alpha a pair gives colour c, in 0..1, and its distortion in levels.
inline float fitAlpha(const std::array<float, 3>& c, const std::array<float, 3>& f, const std::array<float, 3>& b,
                      float* distortion) {
    float fb2 = 0, dot = 0;
    for (int k = 0; k < 3; ++k) {
        const float d = f[k] - b[k];
        fb2 += d * d;
        dot += (c[k] - b[k]) * d;
    }
    const float a = std::min(1.0f, std::max(0.0f, dot / std::max(fb2, 1.0f)));
    float e = 0;
    for (int k = 0; k < 3; ++k) {
        const float r = c[k] - (a * f[k] + (1 - a) * b[k]);
        e += r * r;
    }
    *distortion = std::sqrt(e);
    return a;
}

struct Hit {
    std::array<float, 3> colour;
    float distance;
};

// A foreground and background colour with what a fit needs worked out once.
struct Fit {
    std::array<float, 3> b{}, d{};  // d = f - b
    float inverse = 0;              // 1 / |f - b|^2
};

// The pair a pixel picked.
struct Pair {
    Fit fit;
    float cost = 1e30f;  // distortion of the pixel's own colour; 1e30: no pair
};

// A candidate pair of a block's rays.
struct BlockPair {
    Fit fit;
    float penalty;  // the cost of the samples' distances
};

BlockPair blockPair(const Hit& f, const Hit& b, float distanceWeight) {
    BlockPair p{{b.colour, {}, 0}, distanceWeight * (f.distance + b.distance)};
    float fb2 = 0;
    for (int k = 0; k < 3; ++k) {
        p.fit.d[k] = f.colour[k] - b.colour[k];
        fb2 += p.fit.d[k] * p.fit.d[k];
    }
    p.fit.inverse = 1.0f / std::max(fb2, 1.0f);
    return p;
}

// For four fits at once, their fields in lanes: |c - (a f + (1 - a) b)|^2
// at the best alpha a in 0..1, as fitAlpha (squared: comparisons need no
// root); with c - b = cb, a = min(1, max(0, (cb . d) inverse)) and the
// misfit cb - a d. Each lane rounds as one float at a time would (no fused
// operations), so a pair's distortion is the same in both passes, whatever
// lane it falls in.
inline __m128 distortions4(__m128 c0, __m128 c1, __m128 c2, __m128 b0, __m128 b1, __m128 b2, __m128 d0,
                           __m128 d1, __m128 d2, __m128 inverse) {
    const __m128 cb0 = _mm_sub_ps(c0, b0), cb1 = _mm_sub_ps(c1, b1), cb2 = _mm_sub_ps(c2, b2);
    const __m128 dot = _mm_add_ps(_mm_add_ps(_mm_mul_ps(cb0, d0), _mm_mul_ps(cb1, d1)), _mm_mul_ps(cb2, d2));
    const __m128 a = _mm_min_ps(_mm_max_ps(_mm_mul_ps(dot, inverse), _mm_setzero_ps()), _mm_set1_ps(1.0f));
    const __m128 r0 = _mm_sub_ps(cb0, _mm_mul_ps(a, d0)), r1 = _mm_sub_ps(cb1, _mm_mul_ps(a, d1)),
                 r2 = _mm_sub_ps(cb2, _mm_mul_ps(a, d2));
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r0, r0), _mm_mul_ps(r1, r1)), _mm_mul_ps(r2, r2));
}

// A block's pairs field by field, padded to whole lanes of four, so that
// one pixel's distortions against all of them run four at a time.
struct PairLanes {
    std::vector<float> b0, b1, b2, d0, d1, d2, inverse, penalty, e2;
    void fill(const std::vector<BlockPair>& pairs) {
        const std::size_t n = pairs.size();
        for (auto* v : {&b0, &b1, &b2, &d0, &d1, &d2, &inverse, &penalty, &e2}) v->assign((n + 3) / 4 * 4, 0.0f);
        for (std::size_t i = 0; i < n; ++i) {
            const Fit& f = pairs[i].fit;
            b0[i] = f.b[0], b1[i] = f.b[1], b2[i] = f.b[2];
            d0[i] = f.d[0], d1[i] = f.d[1], d2[i] = f.d[2];
            inverse[i] = f.inverse;
            penalty[i] = pairs[i].penalty;
        }
    }
    // Whether any of the four pairs from g on passes both of the pick's
    // tests against bestCost (after distortions()): penalty < bestCost and
    // e2 < (bestCost - penalty)^2, computed as the pick computes them.
    bool mayWin(std::size_t g, float bestCost) const {
        const __m128 cost = _mm_set1_ps(bestCost), p = _mm_loadu_ps(&penalty[g]);
        const __m128 margin = _mm_sub_ps(cost, p);
        const __m128 pass =
            _mm_and_ps(_mm_cmplt_ps(p, cost), _mm_cmplt_ps(_mm_loadu_ps(&e2[g]), _mm_mul_ps(margin, margin)));
        return _mm_movemask_ps(pass) != 0;
    }
    void distortions(const std::array<float, 3>& c) {
        const __m128 c0 = _mm_set1_ps(c[0]), c1 = _mm_set1_ps(c[1]), c2 = _mm_set1_ps(c[2]);
        for (std::size_t i = 0; i < e2.size(); i += 4)
            _mm_storeu_ps(&e2[i], distortions4(c0, c1, c2, _mm_loadu_ps(&b0[i]), _mm_loadu_ps(&b1[i]),
                                               _mm_loadu_ps(&b2[i]), _mm_loadu_ps(&d0[i]), _mm_loadu_ps(&d1[i]),
                                               _mm_loadu_ps(&d2[i]), _mm_loadu_ps(&inverse[i])));
    }
};

// Colour c's distortions against n pairs (n a multiple of four, the pairs'
// eight floats b, d, inverse, cost each), four at a time: each four pairs
// are turned into lanes of their fields.
static_assert(sizeof(Pair) == 8 * sizeof(float), "a pair is eight floats");
inline void pairDistortions(const std::array<float, 3>& c, const Pair* const* pairs, std::size_t n, float* e2) {
    const __m128 c0 = _mm_set1_ps(c[0]), c1 = _mm_set1_ps(c[1]), c2 = _mm_set1_ps(c[2]);
    for (std::size_t i = 0; i < n; i += 4) {
        const float* p[4];
        for (int k = 0; k < 4; ++k) p[k] = reinterpret_cast<const float*>(pairs[i + k]);
        __m128 b0 = _mm_loadu_ps(p[0]), b1 = _mm_loadu_ps(p[1]), b2 = _mm_loadu_ps(p[2]), d0 = _mm_loadu_ps(p[3]);
        __m128 d1 = _mm_loadu_ps(p[0] + 4), d2 = _mm_loadu_ps(p[1] + 4), inverse = _mm_loadu_ps(p[2] + 4),
               cost = _mm_loadu_ps(p[3] + 4);
        _MM_TRANSPOSE4_PS(b0, b1, b2, d0);       // rows b0 b1 b2 d0 of each pair
        _MM_TRANSPOSE4_PS(d1, d2, inverse, cost);  // rows d1 d2 inverse cost
        _mm_storeu_ps(e2 + i, distortions4(c0, c1, c2, b0, b1, b2, d0, d1, d2, inverse));
    }
}

// For every pixel, its distances (whole pixels, rounded down, at most 255)
// to the nearest foreground and the nearest background pixel of the trimap,
// side by side so that a ray's step reads one place (the steps' reads are
// most of the sampling's time): a ray leaps over as much as lies closer than
// either kind it still looks for, which cannot miss one. A distance of 0 is a
// pixel of that kind.
struct Cell {
    unsigned char toFore, toBack;
};

std::vector<Cell> knownCells(const cv::Mat& trimap) {
    cv::Mat toFore, toBack;
    cv::distanceTransform(trimap != 255, toFore, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::distanceTransform(trimap != 0, toBack, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    std::vector<Cell> cells(trimap.total());
    for (int y = 0; y < trimap.rows; ++y) {
        const float* f = toFore.ptr<float>(y);
        const float* b = toBack.ptr<float>(y);
        Cell* c = &cells[static_cast<std::size_t>(y) * trimap.cols];
        for (int x = 0; x < trimap.cols; ++x)
            c[x] = {static_cast<unsigned char>(std::min(f[x], 255.0f)),
                    static_cast<unsigned char>(std::min(b[x], 255.0f))};
    }
    return cells;
}

// One ray on its way: where it is, how far it has come and its next leap,
// and the first foreground and background pixels it has met.
struct Ray {
    float px, py, dx, dy, travelled = 0, leap = 1;
    bool haveF = false, haveB = false, live = true;
    Hit f{}, b{};
};

// Marches the rays in step, one leap of each in turn, so that the reads of
// different rays overlap in the memory system (each ray's next leap waits on
// its own read), until each has met both kinds or left the image or
// maxDistance; then their hits go to fg and bg in the rays' order.
void castRays(const cv::Mat& image, const std::vector<Cell>& cells, std::vector<Ray>& rays, float maxDistance,
              std::vector<Hit>& fg, std::vector<Hit>& bg) {
    std::size_t live = rays.size();
    while (live > 0) {
        for (Ray& r : rays) {
            if (!r.live) continue;
            r.px += r.leap * r.dx;
            r.py += r.leap * r.dy;
            r.travelled += r.leap;
            const int ix = static_cast<int>(r.px), iy = static_cast<int>(r.py);
            if (r.travelled > maxDistance || r.px < 0 || r.py < 0 || ix >= image.cols || iy >= image.rows) {
                r.live = false;
                --live;
                continue;
            }
            const Cell cell = cells[static_cast<std::size_t>(iy) * image.cols + ix];
            if (cell.toFore == 0 && !r.haveF) {
                r.f = {colourAt(image, ix, iy), r.travelled};
                r.haveF = true;
            } else if (cell.toBack == 0 && !r.haveB) {
                r.b = {colourAt(image, ix, iy), r.travelled};
                r.haveB = true;
            }
            if (r.haveF && r.haveB) {
                r.live = false;
                --live;
                continue;
            }
            // Every pixel whose centre lies within the nearest distance of the
            // kinds still missing is neither; 1.5 covers the ray point's offset
            // from the centres on both ends, and one more the rounding down.
            int clear = 255;
            if (!r.haveF) clear = cell.toFore;
            if (!r.haveB) clear = std::min(clear, static_cast<int>(cell.toBack));
            r.leap = static_cast<float>(std::max(1, clear - 2));
        }
    }
    for (const Ray& r : rays) {
        if (r.haveF) fg.push_back(r.f);
        if (r.haveB) bg.push_back(r.b);
    }
}

}  // namespace

SampledAlpha sampleAlpha(const cv::Mat& image, const cv::Mat& trimap, const SamplingParams& params) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(trimap, "the trimap", 1u << 1);
    requireSameSize(image, "the image", trimap, "the trimap");
    if (params.rays < 1 || params.maxDistance < 1)
        throw std::invalid_argument("colour sampling needs at least one ray of at least one pixel");
    const int w = image.cols, h = image.rows;
    SampledAlpha out;
    out.alpha = trimap.clone();
    out.confidence = cv::Mat(trimap.size(), CV_32FC1, cv::Scalar(1.0f));
    out.fromBackground = cv::Mat(trimap.size(), CV_32FC1, cv::Scalar(0.0f));
    // The pair each unknown pixel picked, kept for the unknown pixels only
    // (a pair is 32 bytes: for every pixel of a 12 MP image that was 380 MB).
    std::vector<int> slot(static_cast<std::size_t>(w) * h);
    int unknownCount = 0;
    for (int y = 0; y < h; ++y) {
        const unsigned char* t = trimap.ptr<unsigned char>(y);
        int* s = &slot[static_cast<std::size_t>(y) * w];
        for (int x = 0; x < w; ++x) s[x] = t[x] != 0 && t[x] != 255 ? unknownCount++ : -1;
    }
    std::vector<Pair> best(static_cast<std::size_t>(unknownCount));

    // First pass: the rays of each block of gridStep x gridStep pixels start
    // from its corner and are shared by its unknown pixels (rays are most of
    // the cost, as they read the image far apart); each pixel picks from the
    // candidates the pair that best explains its own colour.
    const float turn = 2 * static_cast<float>(CV_PI) / params.rays;
    const int step = std::max(1, params.gridStep);
    const std::vector<Cell> cells = knownCells(trimap);
    auto unknownAt = [&](int x, int y) { return slot[static_cast<std::size_t>(y) * w + x] >= 0; };
#pragma omp parallel for schedule(static)
    for (int by = 0; by < h; by += step) {
        std::vector<Hit> fg, bg;
        std::vector<BlockPair> pairs;
        PairLanes lanes;
        std::vector<Ray> rays;
        std::vector<float> blockCost(static_cast<std::size_t>(step) * step);  // each pixel's best cost so far
        // Each unknown pixel of the block keeps, of the pairs of foreground
        // hits from newF on or background hits from newB on (the pairs not
        // tried yet), the one that explains its own colour best if it beats
        // its best so far; returns the worst distortion of the block's picks.
        const auto fitBlock = [&](int bx, int by, int ex, int ey, std::size_t newF, std::size_t newB) {
            pairs.clear();
            for (std::size_t i = 0; i < fg.size(); ++i)
                for (std::size_t j = i < newF ? newB : 0; j < bg.size(); ++j)
                    pairs.push_back(blockPair(fg[i], bg[j], params.distanceWeight));
            lanes.fill(pairs);
            float worst = 0;
            for (int y = by; y < ey; ++y)
                for (int x = bx; x < ex; ++x) {
                    if (!unknownAt(x, y)) continue;
                    float& bestCost = blockCost[static_cast<std::size_t>(y - by) * step + (x - bx)];
                    if (newF == 0 && newB == 0) bestCost = 1e30f;
                    Pair& p = best[static_cast<std::size_t>(slot[static_cast<std::size_t>(y) * w + x])];
                    lanes.distortions(colourAt(image, x, y));
                    for (std::size_t g = 0; g < pairs.size(); g += 4) {
                        // Four pairs that cannot win against the best cost so
                        // far cannot win against a later, lower one either.
                        if (!lanes.mayWin(g, bestCost)) continue;
                        for (std::size_t k = g; k < std::min(g + 4, pairs.size()); ++k) {
                            const BlockPair& q = pairs[k];
                            if (q.penalty >= bestCost) continue;  // its distance alone costs more
                            // Only a distortion below bestCost - penalty can win:
                            // compared squared, the root is taken for winners only.
                            const float margin = bestCost - q.penalty, e2 = lanes.e2[k];
                            if (e2 >= margin * margin) continue;
                            const float e = std::sqrt(e2);
                            if (e + q.penalty < bestCost) bestCost = e + q.penalty, p = {q.fit, e};
                        }
                    }
                    worst = std::max(worst, p.cost);  // the distortion alone; 1e30 when no pair
                }
            return worst;
        };
        for (int bx = 0; bx < w; bx += step) {
            const int ex = std::min(w, bx + step), ey = std::min(h, by + step);
            bool any = false;
            for (int y = by; y < ey && !any; ++y)
                for (int x = bx; x < ex && !any; ++x) any = unknownAt(x, y);
            if (!any) continue;
            fg.clear();
            bg.clear();
            // A 3 x 3 pattern of turns so that neighbouring blocks' rays interleave.
            const float offset = (((bx / step) % 3) * 3 + ((by / step) % 3)) / 9.0f;
            // Every other ray first; the rest only when some pixel of the block
            // is still explained worse than params.enoughFit by the pairs found.
            const auto cast = [&](int first) {
                rays.clear();
                for (int r = first; r < params.rays; r += 2) {
                    const float angle = (r + offset) * turn;
                    Ray ray;
                    ray.px = bx + 0.5f;
                    ray.py = by + 0.5f;
                    ray.dx = std::cos(angle);
                    ray.dy = std::sin(angle);
                    rays.push_back(ray);
                }
                castRays(image, cells, rays, static_cast<float>(params.maxDistance), fg, bg);
            };
            cast(0);
            if (fitBlock(bx, by, ex, ey, 0, 0) >= params.enoughFit) {
                const std::size_t oldF = fg.size(), oldB = bg.size();
                cast(1);
                fitBlock(bx, by, ex, ey, oldF, oldB);
            }
        }
    }

    // Second pass: the three pairs of the neighbourhood that explain the
    // pixel best, averaged.
    const int r = params.gatherRadius;
    const std::size_t most = static_cast<std::size_t>(2 * r + 1) * (2 * r + 1);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        std::vector<const Pair*> around((most + 3) / 4 * 4);
        std::vector<float> e2s(around.size());
        for (int x = 0; x < w; ++x) {
            if (!unknownAt(x, y)) continue;
            const auto c = colourAt(image, x, y);
            // The neighbours' pairs in order, padded to whole lanes with the
            // first one (the padding's distortions are not read).
            std::size_t found = 0;
            for (int v = std::max(0, y - r); v <= std::min(h - 1, y + r); ++v)
                for (int u = std::max(0, x - r); u <= std::min(w - 1, x + r); ++u) {
                    const int k = slot[static_cast<std::size_t>(v) * w + u];
                    if (k >= 0 && best[static_cast<std::size_t>(k)].cost < 1e30f)
                        around[found++] = &best[static_cast<std::size_t>(k)];
                }
            for (std::size_t i = found; i % 4 != 0; ++i) around[i] = around[0];
            if (found > 0) pairDistortions(c, around.data(), (found + 3) / 4 * 4, e2s.data());
            std::array<std::pair<float, const Pair*>, 3> top;
            top.fill({1e30f, nullptr});
            for (std::size_t i = 0; i < found; ++i) {
                if (e2s[i] < top[2].first) {
                    top[2] = {e2s[i], around[i]};
                    if (top[2].first < top[1].first) std::swap(top[1], top[2]);
                    if (top[1].first < top[0].first) std::swap(top[0], top[1]);
                }
            }
            std::array<float, 3> f{}, b{};
            int n = 0;
            for (const auto& [e, q] : top) {
                if (!q) continue;
                for (int k = 0; k < 3; ++k) {
                    f[k] += q->fit.b[k] + q->fit.d[k];
                    b[k] += q->fit.b[k];
                }
                ++n;
            }
            if (n == 0) {  // no ray met both kinds: nothing known here
                out.confidence.at<float>(y, x) = 0;
                out.fromBackground.at<float>(y, x) = 255;
                out.alpha.at<unsigned char>(y, x) = 128;
                continue;
            }
            float sep = 0;
            for (int k = 0; k < 3; ++k) {
                f[k] /= n;
                b[k] /= n;
                sep += (f[k] - b[k]) * (f[k] - b[k]);
            }
            float e;
            const float a = fitAlpha(c, f, b, &e);
            out.alpha.at<unsigned char>(y, x) = static_cast<unsigned char>(std::lround(a * 255));
            // Low for a poor fit and for near colours, whose alpha is ill-posed.
            const float fit = std::exp(-e * e / (params.distortionScale * params.distortionScale));
            const float separation = std::min(1.0f, std::sqrt(sep) / params.separationScale);
            out.confidence.at<float>(y, x) = fit * separation;
            float toBack = 0;
            for (int k = 0; k < 3; ++k) toBack += (c[k] - b[k]) * (c[k] - b[k]);
            out.fromBackground.at<float>(y, x) = std::sqrt(toBack);
        }
    }
    return out;
}

}  // namespace qxhost
