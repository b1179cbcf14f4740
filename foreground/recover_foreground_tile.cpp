// One tile's foreground colours: a weighted least-squares fit of foreground
// and background to the compositing equation, solved through its normal
// equations with a sparse direct solver.
#include "foreground/foreground_system.h"
#include "foreground/foreground_tile.h"
#include "frame/progress.h"
#include "matting/sparse_csr.h"

namespace qx {

int recoverForegroundTile(GIMG<unsigned char>* const planes[3], GIMG<unsigned char>& alpha) {
    const int w = planes[0]->width, h = planes[0]->height;
    const std::size_t n = static_cast<std::size_t>(w) * h;

    // Inputs to float: colours 0..255, alpha 0..1. Only the colour planes'
    // images report their failure as the solver's status; the others, like
    // every plain array, let the allocation failure pass.
    GIMG<float> colour[3] = {makeColourImage(w, h), makeColourImage(w, h), makeColourImage(w, h)};
    for (int c = 0; c < 3; ++c)
        ippiConvert_8u32f_C1R(planes[c]->pixels, planes[c]->step, colour[c].pixels, colour[c].step, w, h);
    GIMG<float> alphaF(w, h);
    ippiScale_8u32f_C1R(alpha.pixels, alpha.step, alphaF.pixels, alphaF.step, w, h, 0.0f, 1.0f);

    std::vector<float> dataWeightF, dataWeightB;
    CsrMatrix system;
    {
        GIMG<float> maskImages[4] = {GIMG<float>(w, h), GIMG<float>(w, h), GIMG<float>(w, h), GIMG<float>(w, h)};
        GIMG<float>* const masks[4] = {&maskImages[0], &maskImages[1], &maskImages[2], &maskImages[3]};
        gradientMasks(alphaF, masks);
        tickProgress();

        std::vector<float> g = alphaGradients(alphaF, masks);
        tickProgress();

        std::vector<float> gradWeightF, gradWeightB;
        smoothnessWeights(g, alphaF, gradWeightF, gradWeightB);
        dataWeights(alphaF, dataWeightF, dataWeightB);
        tickProgress();

        const CsrMatrix grad = gradientMatrix(masks);
        tickProgress();

        CsrMatrix smooth;
        if (smoothnessMatrix(grad, gradWeightF, gradWeightB, smooth) != 0) return QxBase::QXRC_PRODUCT;
        tickProgress();

        system = systemMatrix(dataWeightF, dataWeightB, alphaF, smooth);
    }

    // The normal matrix doesn't depend on the channel: it is built and
    // factorised once, with channel 0, and the three right sides are solved on
    // that factor. Each channel still gives its three ticks at the same points.
    SparseSession session;
    // Pixels with neither a data nor a smoothness row leave singular 2x2
    // blocks, so the factorisation starts with the pivot perturbation.
    session.perturbFromStart = true;
    CsrMatrix transpose;
    std::vector<float> rhs, normalRhs(2 * n), solution;
    for (int c = 0; c < 3; ++c) {
        systemRightSide(colour[c], alphaF, dataWeightF, dataWeightB, rhs);
        tickProgress();

        if (c == 0) {
            transpose = transposeSystem(system);
            CsrMatrix normal;
            if (normalMatrix(transpose, system, normal) != 0) return QxBase::QXRC_PRODUCT;
            system = CsrMatrix();
            csrMultVec('N', transpose.rows, transpose.values.data(), transpose.rowStart.data(),
                       transpose.columns.data(), rhs.data(), normalRhs.data());
            tickProgress();

            const CsrMatrix upper = upperTriangle(normal);
            normal = CsrMatrix();
            tickProgress();
            factoriseNormal(session, upper);
        } else {
            csrMultVec('N', transpose.rows, transpose.values.data(), transpose.rowStart.data(),
                       transpose.columns.data(), rhs.data(), normalRhs.data());
            tickProgress();
            tickProgress();
        }
        solveNormal(session, normalRhs, solution);
        writeForeground(solution, *planes[c]);
    }
    sparseRelease(session);
    tickProgress();
    return 0;
}

}  // namespace qx
