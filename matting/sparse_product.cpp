// Products of matrices in one-based compressed sparse rows, single precision.
//
// C = A B runs row by row over A: for each entry a(i, j) in stored order it
// walks row j of B, and each column of C's row is placed where it is first
// met. A per-thread map from column to position finds an existing entry in
// constant time. Rows are shared out in contiguous static blocks, so the
// positions a thread writes rise, and a map entry at or past the current
// row's first position belongs to the current row: the map needs no reset.
#include <omp.h>

#include <climits>
#include <cstddef>
#include <vector>

#include "matting/sparse_csr.h"

namespace qx {

namespace {

struct ProductInput {
    int m, k;
    const float *a, *b;
    const int *ja, *ia, *jb, *ib;
};

// Number of distinct columns of each row of C, into count[i].
void countProductRows(const ProductInput& in, long long* count, std::vector<int>& maps) {
#pragma omp parallel
    {
        int* seen = maps.data() + static_cast<std::size_t>(omp_get_thread_num()) * in.k;
#pragma omp for schedule(static)
        for (int i = 0; i < in.m; ++i) {
            long long n = 0;
            for (int e = in.ia[i] - 1; e < in.ia[i + 1] - 1; ++e) {
                int j = in.ja[e] - 1;
                for (int f = in.ib[j] - 1; f < in.ib[j + 1] - 1; ++f) {
                    int col = in.jb[f] - 1;
                    if (seen[col] != i) {
                        seen[col] = i;
                        ++n;
                    }
                }
            }
            count[i] = n;
        }
    }
}

// Values and columns of rows [0, rows) of C at the positions ic gives.
void fillProductRows(const ProductInput& in, int rows, const int* ic, float* c, int* jc,
                     std::vector<int>& maps) {
#pragma omp parallel
    {
        int* where = maps.data() + static_cast<std::size_t>(omp_get_thread_num()) * in.k;
#pragma omp for schedule(static)
        for (int i = 0; i < rows; ++i) {
            int start = ic[i] - 1, position = start;
            for (int e = in.ia[i] - 1; e < in.ia[i + 1] - 1; ++e) {
                int j = in.ja[e] - 1;
                float av = in.a[e];
                for (int f = in.ib[j] - 1; f < in.ib[j + 1] - 1; ++f) {
                    int col = in.jb[f] - 1;
                    float product = av * in.b[f];
                    int slot = where[col];
                    if (slot >= start) {
                        c[slot] += product;
                    } else {
                        where[col] = position;
                        jc[position] = col + 1;
                        c[position] = product;
                        ++position;
                    }
                }
            }
        }
    }
}

}  // namespace

void csrMultCsr(char trans, int request, int /*sort*/, int m, int /*n*/, int k, const float* a, const int* ja,
                const int* ia, const float* b, const int* jb, const int* ib, float* c, int* jc, int* ic, int nzmax,
                int* info) {
    *info = 0;
    if ((trans != 'N' && trans != 'n') || request < 0 || request > 2 || m < 0 || k < 0) {
        *info = -1;
        return;
    }
    ProductInput in{m, k, a, b, ja, ia, jb, ib};
    std::vector<int> maps(static_cast<std::size_t>(omp_get_max_threads()) * k, -1);
    if (request == 2) {
        fillProductRows(in, m, ic, c, jc, maps);
        return;
    }
    std::vector<long long> count(static_cast<std::size_t>(m));
    countProductRows(in, count.data(), maps);
    // Row starts; with request 0 also the first row that doesn't fit in
    // nzmax entries (C then holds the rows before it).
    int fitting = m;
    long long end = 0;
    ic[0] = 1;
    for (int i = 0; i < m; ++i) {
        end += count[i];
        if (fitting == m && ((request == 0 && end > nzmax) || end >= INT_MAX)) fitting = i;
        ic[i + 1] = end < INT_MAX ? static_cast<int>(end) + 1 : INT_MAX;
    }
    if (fitting < m) *info = fitting + 1;
    if (request == 1) return;
    maps.assign(maps.size(), -1);
    fillProductRows(in, fitting, ic, c, jc, maps);
}

void csrMultVec(char trans, int m, const float* a, const int* ia, const int* ja, const float* x, float* y) {
    if (trans != 'N' && trans != 'n') return;
#pragma omp parallel for schedule(static)
    for (int i = 0; i < m; ++i) {
        double sum = 0.0;
        for (int e = ia[i] - 1; e < ia[i + 1] - 1; ++e) sum += static_cast<double>(a[e]) * x[ja[e] - 1];
        y[i] = static_cast<float>(sum);
    }
}

}  // namespace qx
