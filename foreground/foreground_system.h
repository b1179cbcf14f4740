// The stages of one tile's foreground solve (recoverForegroundTile): the
// least-squares system over foreground F and background B of every tile
// pixel, its normal equations and their direct solve. A tile of N pixels has
// 2N unknowns, F of pixel p = y * width + x at column p + 1 and B at N + p + 1.
#pragma once

#include <cstddef>
#include <vector>

#include "foreground/csr_matrix.h"
#include "frame/image_buffer.h"
#include "matting/sparse_solver.h"

namespace qx {

// A vector of n floats, zeroed; allocation failure throws QxBase::QXRC_VECTOR.
std::vector<float> makeTileVector(std::size_t n);
// A colour plane's float image of tile size; its allocation failure throws
// QxBase::QXRC_FLOAT_IMAGE. (Other tile images let std::bad_alloc pass.)
GIMG<float> makeColourImage(int width, int height);

// ---- Assembly, from the alpha alone ----------------------------------------

// masks: maskX, maskY, maskD1, maskD2 (1.0 or 0.0). 0.0 on the outer ring; an
// inner pixel is set when its alpha lies in 0.01..0.99, and maskX also when its
// right neighbour's does.
void gradientMasks(const GIMG<float>& alphaF, GIMG<float>* const masks[4]);

// The masked alpha differences a(p) - a(q) towards the right, down, down-right
// and up-right neighbours, stacked into 4N entries. Throws QXRC_FILTER when
// the diagonal filter refuses the tile (less than 3 pixels wide or high).
std::vector<float> alphaGradients(const GIMG<float>& alphaF, GIMG<float>* const masks[4]);

// gradWeightF = sqrt|g| + 0.003 (1 - a), gradWeightB = sqrt|g| + 0.003 a, per
// block of N. g is replaced by its absolute values.
void smoothnessWeights(std::vector<float>& g, const GIMG<float>& alphaF, std::vector<float>& gradWeightF,
                       std::vector<float>& gradWeightB);

// dataWeightF = 0.03 a [a > 0.7] + 0.01 [a < 0.01] + 100 [a > 0.99],
// dataWeightB = 0.03 (1 - a) [a < 0.3] + 0.01 [a > 0.99] + 100 [a < 0.01].
void dataWeights(const GIMG<float>& alphaF, std::vector<float>& dataWeightF, std::vector<float>& dataWeightB);

// 4N x N neighbour differences; a row whose mask is not set holds one stored
// zero at column 1.
CsrMatrix gradientMatrix(GIMG<float>* const masks[4]);

// 8N x 2N: diag(gradWeightF) grad on the F columns over diag(gradWeightB) grad
// on the B columns. Returns 0, or QXRC_PRODUCT when a sparse product failed.
int smoothnessMatrix(const CsrMatrix& grad, const std::vector<float>& gradWeightF,
                     const std::vector<float>& gradWeightB, CsrMatrix& smooth);

// 11N x 2N: the priors (diagonal dataWeightF, dataWeightB), the compositing
// rows (a at F, 1 - a at B), then the smoothness rows.
CsrMatrix systemMatrix(const std::vector<float>& dataWeightF, const std::vector<float>& dataWeightB,
                       const GIMG<float>& alphaF, const CsrMatrix& smooth);

// ---- Normal equations and solve, per colour channel ------------------------

// 11N entries: [a > 0.1] dataWeightF I, [a < 0.9] dataWeightB I, I, then zeros.
void systemRightSide(const GIMG<float>& colour, const GIMG<float>& alphaF, const std::vector<float>& dataWeightF,
                     const std::vector<float>& dataWeightB, std::vector<float>& rhs);

// The transposed system; throws QxBase::QXRC_TRANSPOSE when it can't be made.
CsrMatrix transposeSystem(const CsrMatrix& system);

// transpose * system. Returns 0, or QXRC_PRODUCT when the product ran out of
// its room.
int normalMatrix(const CsrMatrix& transpose, const CsrMatrix& system, CsrMatrix& normal);

// The upper triangle of the normal matrix, columns ascending within a row. A
// row that holds a single stored zero becomes a zero on the diagonal.
CsrMatrix upperTriangle(const CsrMatrix& normal);

// Analysis and factorisation of the upper triangle; a solver failure prints
// its message and ends the process.
void factoriseNormal(SparseSession& session, const CsrMatrix& upper);
// One right side; a solver failure prints its message and ends the process.
void solveNormal(SparseSession& session, const std::vector<float>& normalRhs, std::vector<float>& solution);

// The interior of plane gets F clamped to 0..255 and truncated; the outer ring
// keeps its bytes.
void writeForeground(const std::vector<float>& solution, GIMG<unsigned char>& plane);

}  // namespace qx
