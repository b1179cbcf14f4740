#include "matting/refine_alpha.h"

#include <cmath>
#include <exception>

#include "frame/image_buffer.h"

namespace qx {

namespace {

constexpr float kSelfWeight = 0.000255f;
constexpr float kSpatialSigma = 0.825f;

// The 8-bit weight of the neighbour at (dx, dy) over the inner area, into
// weight: range weight of the summed colour distance times the spatial byte,
// scale factor 7. distance and colourDistance are the caller's scratch.
void neighbourWeight(unsigned char* const planePixels[3], int planeStep, int w, int h, int dx, int dy,
                     const unsigned char (&rangeWeight)[256], GIMG<unsigned char>& distance,
                     GIMG<unsigned char>& colourDistance, unsigned char* weight, int weightStep) {
    for (int c = 0; c < 3; ++c) {
        const unsigned char* centre = planePixels[c] + planeStep + 1;
        const unsigned char* neighbour = centre + static_cast<std::ptrdiff_t>(dy) * planeStep + dx;
        GIMG<unsigned char>& target = c == 0 ? distance : colourDistance;
        ippiAbsDiff_8u_C1R(neighbour, planeStep, centre, planeStep, target.pixels, target.step, w, h);
        if (c > 0)
            ippiAdd_8u_C1IRSfs(colourDistance.pixels, colourDistance.step, distance.pixels, distance.step, w, h, 0);
    }
    ippiLUTPalette_8u_C1R(distance.pixels, distance.step, weight, weightStep, w, h, rangeWeight, 8);
    const float spatial = std::exp(-static_cast<float>(dx * dx + dy * dy) / (kSpatialSigma * kSpatialSigma * 2.0f));
    const auto spatialByte = static_cast<Ipp8u>(static_cast<int>(spatial * 128.0f));
    ippiMulC_8u_C1IRSfs(spatialByte, weight, weightStep, w, h, 7);
}

// Neighbours numbered 0..7 in reading order of (dx, dy), the centre left out.
int neighbourIndex(int dx, int dy) {
    const int k = (dy + 1) * 3 + (dx + 1);
    return k < 4 ? k : k - 1;
}

}  // namespace

int refineAlphaBilateral(int width, int height, unsigned char* const alphaPixels[], int alphaStep,
                         unsigned char* const planePixels[3], int planeStep, float sigma) {
    const int w = width - 2;
    const int h = height - 2;
    if (w < 2 || h < 2) return 0;

    GIMG<float> weightSum(w, h);
    GIMG<float> reciprocal(w, h);
    GIMG<float> weighted(w, h);
    unsigned char* alphaInner = alphaPixels[0] + alphaStep + 1;
    ippiSet_32f_C1R(kSelfWeight, weightSum.pixels, weightSum.step, w, h);
    ippiConvert_8u32f_C1R(alphaInner, alphaStep, weighted.pixels, weighted.step, w, h);
    ippiMulC_32f_C1IR(kSelfWeight, weighted.pixels, weighted.step, w, h);

    unsigned char rangeWeight[256];
    for (int i = 0; i < 256; ++i) {
        const double ratio = i / static_cast<double>(sigma);
        rangeWeight[i] = static_cast<unsigned char>(static_cast<int>(std::exp(-3.0 * ratio * ratio) * 255.0));
    }

    // The weights of all eight neighbours, one row offset per thread, each
    // neighbour into its own band of rows. The scratch lives in the loop's
    // body, so only threads with work make it, and its release (where a guard
    // fault shows) lies inside the body's catch.
    GIMG<unsigned char> weights(w, 8 * h);
    auto weightRow = [&](int neighbour, int y) { return weights.row(neighbour * h + y); };
    std::exception_ptr failure[3];
#pragma omp parallel for schedule(static)
    for (int dy = -1; dy <= 1; ++dy) {
        try {
            GIMG<unsigned char> distance(w, h), colourDistance(w, h);
            for (int dx = -1; dx <= 1; ++dx) {
                if (dx == 0 && dy == 0) continue;
                neighbourWeight(planePixels, planeStep, w, h, dx, dy, rangeWeight, distance, colourDistance,
                                weightRow(neighbourIndex(dx, dy), 0), weights.step);
            }
        } catch (...) {
            failure[dy + 1] = std::current_exception();
        }
    }
    for (const std::exception_ptr& f : failure)
        if (f) std::rethrow_exception(f);

    // The sums, row by row, each pixel taking its neighbours in one fixed
    // order: the result doesn't depend on the threads or their timing, and
    // no lock is needed.
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                if (dx == 0 && dy == 0) continue;
                const unsigned char* weight = weightRow(neighbourIndex(dx, dy), y);
                const unsigned char* neighbourAlpha =
                    alphaInner + static_cast<std::ptrdiff_t>(y + dy) * alphaStep + dx;
                ippiAddProduct_8u32f_C1IR(weight, weights.step, neighbourAlpha, alphaStep, weighted.row(y),
                                          weighted.step, w, 1);
                ippiConvert_8u32f_C1R(weight, weights.step, reciprocal.row(y), reciprocal.step, w, 1);
                ippiAdd_32f_C1IR(reciprocal.row(y), reciprocal.step, weightSum.row(y), weightSum.step, w, 1);
            }
    }

    ippiSet_32f_C1R(1.0f, reciprocal.pixels, reciprocal.step, w, h);
    ippiDiv_32f_C1IR(weightSum.pixels, weightSum.step, reciprocal.pixels, reciprocal.step, w, h);
    for (int image = 0; image < 1; ++image) {
        ippiMul_32f_C1IR(reciprocal.pixels, reciprocal.step, weighted.pixels, weighted.step, w, h);
        ippiConvert_32f8u_C1R(weighted.pixels, weighted.step, alphaPixels[image] + alphaStep + 1, alphaStep, w, h,
                              ippRndNear);
    }
    return 1;
}

}  // namespace qx
