// Jacobi-preconditioned conjugate gradient in double precision on a
// symmetric matrix stored as its upper triangle in one-based compressed rows.
#include <cmath>

#include "frame/progress.h"
#include "matting/sparse_solver.h"

namespace qx {

namespace {

// y = A x with A given by its upper triangle: each stored entry above the
// diagonal acts once for its row and once, mirrored, for its column. The
// mirrored half scatters, so this stays on one thread.
void symmetricProduct(int order, const double* values, const int* rowStart, const int* columns,
                      const double* x, double* y) {
    for (int i = 0; i < order; ++i) y[i] = 0.0;
    for (int i = 0; i < order; ++i) {
        double sum = 0.0, xi = x[i];
        for (int e = rowStart[i] - 1; e < rowStart[i + 1] - 1; ++e) {
            int j = columns[e] - 1;
            double a = values[e];
            sum += a * x[j];
            if (j != i) y[j] += a * xi;
        }
        y[i] += sum;
    }
}

// z = D^-1 r with D the stored diagonal; a row without a usable diagonal
// entry is left unscaled.
void jacobi(int order, const double* values, const int* rowStart, const int* columns, const double* r,
            double* z) {
    for (int i = 0; i < order; ++i) {
        double d = 0.0;
        for (int e = rowStart[i] - 1; e < rowStart[i + 1] - 1; ++e)
            if (columns[e] - 1 == i) { d = values[e]; break; }
        z[i] = d != 0.0 ? r[i] / d : r[i];
    }
}

double dot(int n, const double* a, const double* b) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

}  // namespace

int solveSparseCG(int order, const double* values, const int* rowStart, const int* columns,
                  const double* rightSide, double* x, int iterationLimit, double tolerance, double* work) {
    if (order < 1 || !values || !rowStart || !columns || !rightSide || !x || !work || iterationLimit < 1)
        return -1;
    double* p = work;              // search direction, input of the product
    double* q = work + order;      // A p
    double* r = work + 2 * order;  // residual
    double* z = work + 3 * order;  // preconditioned residual

    symmetricProduct(order, values, rowStart, columns, x, q);
    for (int i = 0; i < order; ++i) r[i] = rightSide[i] - q[i];
    double limit = tolerance * std::sqrt(dot(order, rightSide, rightSide));
    if (std::sqrt(dot(order, r, r)) <= limit) return 0;
    jacobi(order, values, rowStart, columns, r, z);
    for (int i = 0; i < order; ++i) p[i] = z[i];
    double rz = dot(order, r, z);

    int sinceTick = 0;
    for (int iteration = 1; iteration <= iterationLimit; ++iteration) {
        // One progress tick on every 21st step of the loop.
        if (++sinceTick > 20) {
            tickProgress();
            sinceTick = 0;
        }
        symmetricProduct(order, values, rowStart, columns, p, q);
        double pq = dot(order, p, q);
        // A direction without positive curvature ends the walk; x is the
        // best iterate so far.
        if (!(pq > 0.0) || !std::isfinite(pq)) return iteration - 1;
        double alpha = rz / pq;
        for (int i = 0; i < order; ++i) {
            x[i] += alpha * p[i];
            r[i] -= alpha * q[i];
        }
        if (std::sqrt(dot(order, r, r)) <= limit) return iteration;
        jacobi(order, values, rowStart, columns, r, z);
        double next = dot(order, r, z);
        double beta = next / rz;
        rz = next;
        for (int i = 0; i < order; ++i) p[i] = z[i] + beta * p[i];
    }
    return iterationLimit;
}

}  // namespace qx
