#include "matting/refine_alpha.h"

#include <cmath>
#include <exception>
#include <memory>

#include "frame/image_buffer.h"

namespace qx {

namespace {

constexpr float kSelfWeight = 0.000255f;
constexpr float kSpatialSigma = 0.825f;

// Scratch of one thread: the weight of one neighbour over the inner area.
struct NeighbourWeights {
    GIMG<unsigned char> distance;
    GIMG<unsigned char> colourDistance;
    NeighbourWeights(int w, int h) : distance(w, h), colourDistance(w, h) {}

    // 8-bit weight of the neighbour at (dx, dy): range weight of the summed
    // colour distance times the spatial byte, scale factor 7.
    void compute(unsigned char* const planePixels[3], int planeStep, int w, int h, int dx, int dy,
                 const unsigned char (&rangeWeight)[256]) {
        for (int c = 0; c < 3; ++c) {
            const unsigned char* centre = planePixels[c] + planeStep + 1;
            const unsigned char* neighbour = centre + static_cast<std::ptrdiff_t>(dy) * planeStep + dx;
            GIMG<unsigned char>& target = c == 0 ? distance : colourDistance;
            ippiAbsDiff_8u_C1R(neighbour, planeStep, centre, planeStep, target.pixels, target.step, w, h);
            if (c > 0)
                ippiAdd_8u_C1IRSfs(colourDistance.pixels, colourDistance.step, distance.pixels, distance.step, w, h,
                                   0);
        }
        ippiLUTPalette_8u_C1R(distance.pixels, distance.step, colourDistance.pixels, colourDistance.step, w, h,
                              rangeWeight, 8);
        const float spatial =
            std::exp(-static_cast<float>(dx * dx + dy * dy) / (kSpatialSigma * kSpatialSigma * 2.0f));
        const auto spatialByte = static_cast<Ipp8u>(static_cast<int>(spatial * 128.0f));
        ippiMulC_8u_C1IRSfs(spatialByte, colourDistance.pixels, colourDistance.step, w, h, 7);
    }
};

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

    // One thread per row offset; only the accumulation into the shared sums
    // takes the lock (the progress lock, the library's one lock).
    std::exception_ptr failure;
#pragma omp parallel
    {
        // Every thread reaches the loop even if its scratch could not be
        // made, so that no thread waits at a barrier that another skipped.
        std::unique_ptr<NeighbourWeights> scratch;
        try {
            scratch = std::make_unique<NeighbourWeights>(w, h);
        } catch (...) {
#pragma omp critical(refineFailure)
            if (!failure) failure = std::current_exception();
        }
#pragma omp for schedule(static)
        for (int dy = -1; dy <= 1; ++dy) {
            if (!scratch) continue;
            for (int dx = -1; dx <= 1; ++dx) {
                if (dx == 0 && dy == 0) continue;
                scratch->compute(planePixels, planeStep, w, h, dx, dy, rangeWeight);
                const unsigned char* neighbourAlpha = alphaInner + static_cast<std::ptrdiff_t>(dy) * alphaStep + dx;
                const GIMG<unsigned char>& weight = scratch->colourDistance;
#pragma omp critical(progressLock)
                {
                    ippiAddProduct_8u32f_C1IR(weight.pixels, weight.step, neighbourAlpha, alphaStep, weighted.pixels,
                                              weighted.step, w, h);
                    ippiConvert_8u32f_C1R(weight.pixels, weight.step, reciprocal.pixels, reciprocal.step, w, h);
                    ippiAdd_32f_C1IR(reciprocal.pixels, reciprocal.step, weightSum.pixels, weightSum.step, w, h);
                }
            }
        }
        try {
            scratch.reset();
        } catch (...) {
#pragma omp critical(refineFailure)
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);

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
