#include <gtest/gtest.h>

#include <vector>

#include "matting/sparse_csr.h"

using namespace qx;
using Dense = std::vector<std::vector<float>>;

struct Csr {
    std::vector<float> v;
    std::vector<int> col, start{1};
};

static Csr fromDense(const Dense& d) {
    Csr m;
    for (const auto& row : d) {
        for (size_t j = 0; j < row.size(); ++j)
            if (row[j] != 0.0f) m.v.push_back(row[j]), m.col.push_back(int(j) + 1);
        m.start.push_back(int(m.v.size()) + 1);
    }
    return m;
}

static Dense toDense(const float* c, const int* jc, const int* ic, int rows, int cols) {
    Dense d(rows, std::vector<float>(cols, 0.0f));
    for (int i = 0; i < rows; ++i)
        for (int e = ic[i] - 1; e < ic[i + 1] - 1; ++e) d[i][jc[e] - 1] += c[e];
    return d;
}

template <class T>
static std::vector<T> vec(const T* p, int n) {
    return std::vector<T>(p, p + n);
}

TEST(SparseCsr, TransposeWithEmptyRowsAndColumns) {
    // [0 1 0 2; 0 0 0 0; 3 0 0 4]: row 2 and column 3 empty. The transpose's
    // rows: [3 at 3], [1 at 1], [stored 0 at 1], [2 at 1, 4 at 3].
    float a[] = {1, 2, 3, 4}, v[5];
    int ja[] = {2, 4, 1, 4}, ia[] = {1, 3, 3, 5}, col[5], start[5], one[] = {1, 1};
    ASSERT_EQ(transposeCsr(a, ja, ia, 3, 4, v, col, start), 0);
    EXPECT_EQ(vec(v, 5), (std::vector<float>{3, 1, 0, 2, 4}));
    EXPECT_EQ(vec(col, 5), (std::vector<int>{3, 1, 1, 1, 3}));
    EXPECT_EQ(vec(start, 5), (std::vector<int>{1, 2, 3, 4, 6}));
    // 2^25 rows or columns need 26 binary digits: refused before any array is read.
    EXPECT_EQ(transposeCsr(v, col, one, 33554432, 1, v, col, start), -1);
    EXPECT_EQ(transposeCsr(v, col, one, 1, 33554432, v, col, start), -1);
}

TEST(SparseCsr, ProductsInEveryRequestFormAndMatrixVector) {
    Dense ad = {{1, 0, 2, 0, 0}, {0, 0, 0, 0, 0}, {0, 3, 0, 0, 1}, {4, 5, 6, 0, 0}};
    Dense bd = {{0, 1, 0}, {2, 0, 0}, {1, 0, 3}, {0, 0, 7}, {0, 4, 1}};
    Dense expect(4, std::vector<float>(3, 0.0f));
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k)
            for (int j = 0; j < 5; ++j) expect[i][k] += ad[i][j] * bd[j][k];
    Csr a = fromDense(ad), b = fromDense(bd);
    float c[9], c2[9];
    int jc[9], ic[5], jc2[9], ic2[5], info = -7;
    auto product = [&](int request, float* cv, int* cj, int* ci, int nzmax) {
        csrMultCsr('N', request, 0, 4, 5, 3, a.v.data(), a.col.data(), a.start.data(), b.v.data(), b.col.data(),
                   b.start.data(), cv, cj, ci, nzmax, &info);
    };
    product(0, c, jc, ic, 9);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(vec(ic, 5), (std::vector<int>{1, 4, 4, 7, 10}));
    EXPECT_EQ(toDense(c, jc, ic, 4, 3), expect);
    // Columns in the order found: row 1 meets column 2 (b row 1) before 1 and 3 (b row 3).
    EXPECT_EQ(vec(jc, 3), (std::vector<int>{2, 1, 3}));
    // Request 1 gives the row starts alone, request 2 then the same entries.
    product(1, nullptr, nullptr, ic2, 0);
    EXPECT_EQ(vec(ic2, 5), vec(ic, 5));
    product(2, c2, jc2, ic2, 0);
    EXPECT_EQ(toDense(c2, jc2, ic2, 4, 3), expect);
    // Room for 7: rows 1 to 3 hold 6 entries, row 4 would end at 9.
    product(0, c2, jc2, ic2, 7);
    EXPECT_EQ(info, 4);
    EXPECT_EQ(toDense(c2, jc2, ic2, 3, 3), Dense(expect.begin(), expect.begin() + 3));

    float ones[] = {1, 1, 1, 1, 1}, y[4] = {9, 9, 9, 9};
    csrMultVec('N', 4, a.v.data(), a.start.data(), a.col.data(), ones, y);
    EXPECT_EQ(vec(y, 4), (std::vector<float>{3, 0, 4, 15}));  // the row sums
}
