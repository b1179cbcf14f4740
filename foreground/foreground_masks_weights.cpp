// Assembly of a tile's foreground system, first half: from the alpha alone,
// the gradient masks, the alpha gradients and the smoothness and data weights.
#include <cmath>
#include <new>

#include "foreground/foreground_system.h"

namespace qx {

std::vector<float> makeTileVector(std::size_t n) {
    try {
        return std::vector<float>(n, 0.0f);
    } catch (const std::bad_alloc&) {
        throw QxBase::QXRC_VECTOR;
    }
}

GIMG<float> makeColourImage(int width, int height) {
    try {
        return GIMG<float>(width, height);
    } catch (const std::bad_alloc&) {
        throw QxBase::QXRC_FLOAT_IMAGE;
    } catch (int) {
        throw QxBase::QXRC_FLOAT_IMAGE;
    }
}

namespace {

bool softAlpha(float a) { return a >= 0.01f && a <= 0.99f; }

// Pixel (1, 1) of an image: the origin of its interior.
float* inner(const GIMG<float>& image) { return image.row(1) + 1; }

}  // namespace

void gradientMasks(const GIMG<float>& alphaF, GIMG<float>* const masks[4]) {
    const int w = alphaF.width, h = alphaF.height;
    for (int k = 0; k < 4; ++k) ippiSet_32f_C1R(0.0f, masks[k]->pixels, masks[k]->step, w, h);
    for (int y = 1; y < h - 1; ++y) {
        const float* a = alphaF.row(y);
        float* mx = masks[0]->row(y);
        float* my = masks[1]->row(y);
        float* m1 = masks[2]->row(y);
        float* m2 = masks[3]->row(y);
        for (int x = 1; x < w - 1; ++x) {
            const bool here = softAlpha(a[x]);
            // Only the horizontal mask looks at the neighbour as well.
            mx[x] = (here || softAlpha(a[x + 1])) ? 1.0f : 0.0f;
            my[x] = m1[x] = m2[x] = here ? 1.0f : 0.0f;
        }
    }
}

std::vector<float> alphaGradients(const GIMG<float>& alphaF, GIMG<float>* const masks[4]) {
    const int w = alphaF.width, h = alphaF.height;
    const int n = w * h;
    GIMG<float> grad[4] = {GIMG<float>(w, h), GIMG<float>(w, h), GIMG<float>(w, h), GIMG<float>(w, h)};
    for (auto& g : grad) ippiSet_32f_C1R(0.0f, g.pixels, g.step, w, h);

    // Convolutions: the kernels stand reversed, so each gives a(p) - a(q) for
    // the neighbour q to the right, below, below right and above right.
    const float line[3] = {-1.0f, 1.0f, 0.0f};
    const float downRight[9] = {-1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    const float upRight[9] = {0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, -1.0f, 0.0f, 0.0f};
    const int src = alphaF.step;
    ippiFilterRow_32f_C1R(inner(alphaF), src, inner(grad[0]), grad[0].step, w - 2, h - 2, line, 3, 1);
    ippiFilterColumn_32f_C1R(inner(alphaF), src, inner(grad[1]), grad[1].step, w - 2, h - 2, line, 3, 1);
    if (ippiFilter_32f_C1R(inner(alphaF), src, inner(grad[2]), grad[2].step, w - 2, h - 2, downRight, 3, 3, 1, 1) != 0)
        throw QxBase::QXRC_FILTER;
    if (ippiFilter_32f_C1R(inner(alphaF), src, inner(grad[3]), grad[3].step, w - 2, h - 2, upRight, 3, 3, 1, 1) != 0)
        throw QxBase::QXRC_FILTER;

    std::vector<float> g = makeTileVector(4 * static_cast<std::size_t>(n));
    for (int k = 0; k < 4; ++k) {
        ippiMul_32f_C1IR(masks[k]->pixels, masks[k]->step, grad[k].pixels, grad[k].step, w, h);
        for (int y = 0; y < h; ++y) {
            const float* r = grad[k].row(y);
            float* out = g.data() + static_cast<std::size_t>(k) * n + static_cast<std::size_t>(y) * w;
            for (int x = 0; x < w; ++x) out[x] = r[x];
        }
    }
    return g;
}

void smoothnessWeights(std::vector<float>& g, const GIMG<float>& alphaF, std::vector<float>& gradWeightF,
                       std::vector<float>& gradWeightB) {
    const int w = alphaF.width, h = alphaF.height;
    const std::size_t n = static_cast<std::size_t>(w) * h;
    gradWeightF = makeTileVector(4 * n);
    gradWeightB = makeTileVector(4 * n);
    for (float& v : g) v = std::fabs(v);
    for (int k = 0; k < 4; ++k) {
        for (int y = 0; y < h; ++y) {
            const float* a = alphaF.row(y);
            const std::size_t base = k * n + static_cast<std::size_t>(y) * w;
            for (int x = 0; x < w; ++x) {
                const float root = std::sqrt(g[base + x]);
                gradWeightF[base + x] = root + (1.0f - a[x]) * 0.003f;
                gradWeightB[base + x] = root + a[x] * 0.003f;
            }
        }
    }
}

void dataWeights(const GIMG<float>& alphaF, std::vector<float>& dataWeightF, std::vector<float>& dataWeightB) {
    const int w = alphaF.width, h = alphaF.height;
    const std::size_t n = static_cast<std::size_t>(w) * h;
    dataWeightF = makeTileVector(n);
    dataWeightB = makeTileVector(n);
    for (int y = 0; y < h; ++y) {
        const float* alpha = alphaF.row(y);
        for (int x = 0; x < w; ++x) {
            const float a = alpha[x];
            const std::size_t p = static_cast<std::size_t>(y) * w + x;
            // Terms summed in this order, as the vectors are built up.
            float f = (a > 0.7f) ? 0.03f * a : 0.0f;
            f += (a < 0.01f) ? 0.01f : 0.0f;
            f += (a > 0.99f) ? 100.0f : 0.0f;
            float b = (a < 0.3f) ? 0.03f * (1.0f - a) : 0.0f;
            b += (a > 0.99f) ? 0.01f : 0.0f;
            b += (a < 0.01f) ? 100.0f : 0.0f;
            dataWeightF[p] = f;
            dataWeightB[p] = b;
        }
    }
}

}  // namespace qx
