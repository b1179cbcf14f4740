// Operations on general sparse matrices in compressed sparse rows counting
// from 1, single precision: transposition and products.
#pragma once

namespace qx {

// Transposes a rows x cols matrix. The output needs room for the entries plus
// one stored zero (at column 1) for every empty output row, and cols + 1 row
// starts. Returns 0, or -1 if rows or cols need 26 bits or more.
int transposeCsr(const float* values, const int* columns, const int* rowStart, int rows, int cols,
                 float* outValues, int* outColumns, int* outRowStart);

// C = A * B with A m x n and B n x k (trans 'N' or 'n'; no other form is
// needed). request 0: C's values, columns and row starts in one go within
// nzmax entries; request 1: only C's m + 1 row starts; request 2: values and
// columns after a request 1. sort is accepted and not used: within a row the
// columns come out in the order the product finds them. info is 0, or, when
// nzmax ran out, the one-based row at which it did (C then holds the rows
// before it).
void csrMultCsr(char trans, int request, int sort, int m, int n, int k,
                const float* a, const int* ja, const int* ia,
                const float* b, const int* jb, const int* ib,
                float* c, int* jc, int* ic, int nzmax, int* info);

// y = A * x for an m-row matrix A (trans 'N').
void csrMultVec(char trans, int m, const float* a, const int* ia, const int* ja, const float* x, float* y);

}  // namespace qx
