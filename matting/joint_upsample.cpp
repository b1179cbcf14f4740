// Colour-guided doubling of a mask. Every new pixel is a weighted mean of four
// known neighbours, the weight falling exponentially with the summed colour
// distance between the new pixel and the neighbour. Three passes over the
// pixel phases: odd-odd pixels from the even-even ones, then the two mixed
// phases from both. All per-pixel work runs as whole-image primitives on the
// phase images, with shifted views standing in for the neighbour gathers.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "matting/joint_upsample.h"

namespace qx {
namespace {

using Table = std::array<Ipp8u, 256>;

// exp(-i / (2 sigma)) * 255, never below 1, so that a mean always exists.
Table rangeWeight(float sigma) {
    Table t{};
    for (int i = 0; i < 256; ++i) {
        double v = std::exp(-0.5 * i / double(sigma)) * 255.0;
        if (v < 1.4) v = 1.0;
        t[i] = static_cast<Ipp8u>(v);
    }
    return t;
}

// A pixel position inside an 8-bit image: the origin of a shifted view.
struct At {
    const Ipp8u* p;
    int step;
};

At at(const Plane& image, int x, int y) { return {image.row(y) + x, image.step}; }

// The working images of one call; all passes run over their n-by-m view.
struct Work {
    int n, m;
    GIMG<float> numerator, denominator, scratch;
    Plane oddOdd, difference, distance;
    Table weight;

    Work(int columns, int rows, float sigma)
        : n(columns - 1), m(rows - 1),
          numerator(columns, rows), denominator(columns, rows), scratch(columns, rows),
          oddOdd(columns, rows), difference(columns, rows), distance(columns, rows),
          weight(rangeWeight(sigma)) {
        for (IMG<float, 1>* f : {static_cast<IMG<float, 1>*>(&numerator), static_cast<IMG<float, 1>*>(&denominator),
                                 static_cast<IMG<float, 1>*>(&scratch)}) {
            f->width = n;
            f->height = m;
        }
        for (Plane* p : {&oddOdd, &difference, &distance}) {
            p->width = n;
            p->height = m;
        }
    }

    void zeroSums() {
        numerator.status = ippiSet_32f_C1R(0.0f, numerator.pixels, numerator.step, n, m);
        denominator.status = ippiSet_32f_C1R(0.0f, denominator.pixels, denominator.step, n, m);
    }

    // Adds one neighbour: weight = table(sum over channels |centre - colour|),
    // numerator += weight * alpha, denominator += weight.
    void accumulate(const At centre[3], const At colour[3], At alpha) {
        distance.status = ippiSet_8u_C1R(0, distance.pixels, distance.step, n, m);
        for (int c = 0; c < 3; ++c) {
            difference.status = ippiAbsDiff_8u_C1R(centre[c].p, centre[c].step, colour[c].p, colour[c].step,
                                                   difference.pixels, difference.step, n, m);
            distance.status =
                ippiAdd_8u_C1IRSfs(difference.pixels, difference.step, distance.pixels, distance.step, n, m, 0);
        }
        difference.status = ippiLUTPalette_8u_C1R(distance.pixels, distance.step, difference.pixels,
                                                  difference.step, n, m, weight.data(), 8);
        numerator.status = ippiAddProduct_8u32f_C1IR(difference.pixels, difference.step, alpha.p, alpha.step,
                                                     numerator.pixels, numerator.step, n, m);
        scratch.status =
            ippiConvert_8u32f_C1R(difference.pixels, difference.step, scratch.pixels, scratch.step, n, m);
        denominator.status =
            ippiAdd_32f_C1IR(scratch.pixels, scratch.step, denominator.pixels, denominator.step, n, m);
    }

    // The later passes read odd-odd pixels one row below and one column right
    // of the first pass's view; those repeat their inner neighbours, so that
    // the last pass row and column are defined (the driver's border repair
    // overwrites them in any case).
    void extendOddOdd() {
        if (n < 1 || m < 1) return;
        std::memcpy(oddOdd.row(m), oddOdd.row(m - 1), n);
        for (int y = 0; y <= m; ++y) oddOdd.row(y)[n] = oddOdd.row(y)[n - 1];
    }

    // result = round(numerator / denominator), saturated to 8 bits.
    void finish(Plane& result) {
        scratch.status = ippiSet_32f_C1R(1.0f, scratch.pixels, scratch.step, n, m);
        scratch.status = ippiDiv_32f_C1IR(denominator.pixels, denominator.step, scratch.pixels, scratch.step, n, m);
        numerator.status = ippiMul_32f_C1IR(scratch.pixels, scratch.step, numerator.pixels, numerator.step, n, m);
        result.status = ippiConvert_32f8u_C1R(numerator.pixels, numerator.step, result.pixels, result.step, n, m,
                                              ippRndNear);
    }
};

}  // namespace

int jointUpsample(Plane* const* smallMask, Plane* const* fullMask, Plane* const fullPlanes[3], float sigma) {
    Plane& small = **smallMask;
    Plane& full = **fullMask;
    const int columns = std::min(small.width, full.width / 2);
    const int rows = std::min(small.height, full.height / 2);

    // phase[ox][oy][c](x, y) = plane c at (2x + ox, 2y + oy). Members of a
    // struct rather than an array of pointers, so unwinding releases them.
    struct Phases {
        Plane p000, p001, p002, p010, p011, p012, p100, p101, p102, p110, p111, p112;
        Plane* at[2][2][3];
        Phases(int w, int h)
            : p000(w, h), p001(w, h), p002(w, h), p010(w, h), p011(w, h), p012(w, h),
              p100(w, h), p101(w, h), p102(w, h), p110(w, h), p111(w, h), p112(w, h),
              at{{{&p000, &p001, &p002}, {&p010, &p011, &p012}}, {{&p100, &p101, &p102}, {&p110, &p111, &p112}}} {}
    } phases(columns, rows);
    for (int ox = 0; ox < 2; ++ox)
        for (int oy = 0; oy < 2; ++oy)
            for (int c = 0; c < 3; ++c) decimateTwo(*fullPlanes[c], *phases.at[ox][oy][c], ox, oy);
    Work work(columns, rows, sigma);

    auto colours = [&](int ox, int oy, int x, int y, At out[3]) {
        for (int c = 0; c < 3; ++c) out[c] = at(*phases.at[ox][oy][c], x, y);
    };
    At centre[3], colour[3];

    // Even-even pixels are the small mask's, unchanged.
    interleaveTwo(small, full, 0, 0);

    // Odd-odd pixels from their four even-even neighbours.
    work.zeroSums();
    colours(1, 1, 0, 0, centre);
    for (int s = 0; s < 2; ++s)
        for (int t = 0; t < 2; ++t) {
            colours(0, 0, s, t, colour);
            work.accumulate(centre, colour, at(small, s, t));
        }
    work.finish(work.oddOdd);
    work.extendOddOdd();
    interleaveTwo(work.oddOdd, full, 1, 1);

    // A neighbour: its colour phase and position, and whether its alpha is
    // the small mask's or the first pass's.
    struct Neighbour {
        int ox, oy, x, y;
        bool fromOddOdd;
    };
    auto pass = [&](int centreOx, int centreOy, int centreX, int centreY, const Neighbour (&nb)[4], int xOffset,
                    int yOffset) {
        work.zeroSums();
        colours(centreOx, centreOy, centreX, centreY, centre);
        for (const Neighbour& k : nb) {
            colours(k.ox, k.oy, k.x, k.y, colour);
            work.accumulate(centre, colour, k.fromOddOdd ? at(work.oddOdd, k.x, k.y) : at(small, k.x, k.y));
        }
        work.finish(work.distance);
        interleaveTwo(work.distance, full, xOffset, yOffset);
    };
    // (2x + 1, 2y + 2): left and right even-even, above and below odd-odd.
    const Neighbour second[4] = {{0, 0, 0, 1, false}, {0, 0, 1, 1, false}, {1, 1, 0, 0, true}, {1, 1, 0, 1, true}};
    pass(1, 0, 0, 1, second, 1, 2);
    // (2x + 2, 2y + 1): above and below even-even, left and right odd-odd.
    const Neighbour third[4] = {{0, 0, 1, 0, false}, {0, 0, 1, 1, false}, {1, 1, 0, 0, true}, {1, 1, 1, 0, true}};
    pass(0, 1, 1, 0, third, 2, 1);
    return 1;
}

}  // namespace qx
