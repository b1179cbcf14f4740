// Small-matrix products and inverse, and the index sorts.
#include <algorithm>
#include <cfloat>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

TEST(SmallMatrix, ProductsOfWorkedMatrices) {
    // A: 2 rows x 3 columns, B: 3 rows x 2 columns, both row-major.
    const double a[6] = {1, 2, 3, 4, 5, 6};
    const double b[6] = {7, 8, 9, 10, 11, 12};
    double ab[4];
    ASSERT_EQ(ippmMul_mm_64f(a, 24, 8, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), 0);
    EXPECT_EQ(std::vector<double>(ab, ab + 4), (std::vector<double>{58, 64, 139, 154}));

    // transpose(A) * C with C 2 x 2: 3 x 2 result; here written column-major
    // through swapped destination strides.
    const double c[4] = {1, 0, 1, 1};
    double atc[6];
    ASSERT_EQ(ippmMul_tm_64f(a, 24, 8, 3, 2, c, 16, 8, 2, 2, atc, 8, 24), 0);
    // A^T C = [[1+4, 4], [2+5, 5], [3+6, 6]]; column-major: 5 7 9 | 4 5 6.
    EXPECT_EQ(std::vector<double>(atc, atc + 6), (std::vector<double>{5, 7, 9, 4, 5, 6}));

    EXPECT_EQ(ippmMul_mm_64f(a, 24, 8, 3, 2, c, 16, 8, 2, 2, ab, 16, 8), ippStsSizeMatchMatrixErr);
    EXPECT_EQ(ippmMul_tm_64f(a, 24, 8, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), ippStsSizeMatchMatrixErr);
    EXPECT_EQ(ippmMul_mm_64f(a, 20, 8, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), ippStsStrideMatrixErr);
    EXPECT_EQ(ippmMul_mm_64f(a, 24, 0, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), ippStsStrideMatrixErr);
}

TEST(SmallMatrix, InverseTimesMatrixIsIdentityAndSingularLeavesDestination) {
    // Needs a row exchange: the first pivot is zero.
    const double m[9] = {0, 2, 1, 1, 1, 0, 3, 0, 1};
    double inv[9], prod[9];
    double buffer[12];
    ASSERT_EQ(ippmInvert_m_64f(m, 24, 8, buffer, inv, 24, 8, 3), 0);
    ASSERT_EQ(ippmMul_mm_64f(m, 24, 8, 3, 3, inv, 24, 8, 3, 3, prod, 24, 8), 0);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(prod[3 * r + c], r == c ? 1.0 : 0.0, 1e-14);

    const double singular[9] = {1, 2, 3, 2, 4, 6, 1, 0, 1};
    double untouched[9] = {7, 7, 7, 7, 7, 7, 7, 7, 7};
    EXPECT_EQ(ippmInvert_m_64f(singular, 24, 8, buffer, untouched, 24, 8, 3), ippStsSingularErr);
    EXPECT_EQ(std::count(untouched, untouched + 9, 7.0), 9);

    double one = 2 * DBL_MIN, r = 5;
    EXPECT_EQ(ippmInvert_m_64f(&one, 8, 8, buffer, &r, 8, 8, 1), ippStsSingularErr);
    one = -0.25;
    EXPECT_EQ(ippmInvert_m_64f(&one, 8, 8, buffer, &r, 8, 8, 1), 0);
    EXPECT_EQ(r, -4.0);
}

namespace {

// Checks a sort result: ascending, and each key is the one that stood at its index.
template <class T>
void expectSortedWithOrigins(const std::vector<T>& before, const std::vector<T>& after, const std::vector<int>& idx) {
    std::vector<T> expect = before;
    std::sort(expect.begin(), expect.end());
    ASSERT_EQ(after, expect);
    std::vector<int> seen = idx;
    std::sort(seen.begin(), seen.end());
    for (size_t i = 0; i < idx.size(); ++i) {
        ASSERT_EQ(seen[i], int(i));  // a permutation
        ASSERT_EQ(before[idx[i]], after[i]);
    }
}

}  // namespace

TEST(IndexSort, DuplicatesAndRandomArraysOfEverySize) {
    std::vector<int32_t> keys = {5, -1, 5, 3, -1, 7, 5};
    const std::vector<int32_t> before = keys;
    std::vector<int> idx(keys.size());
    ASSERT_EQ(ippsSortIndexAscend_32s_I(keys.data(), idx.data(), int(keys.size())), 0);
    expectSortedWithOrigins(before, keys, idx);

    std::mt19937 rng(7);
    for (int n : {1, 31, 33, 1000, 5000, 200000}) {
        // Narrow range: many duplicates; wide range: all four byte positions.
        for (int range : {10, 1 << 30}) {
            std::uniform_int_distribution<int32_t> dist(-range, range);
            std::vector<int32_t> k(n);
            for (auto& x : k) x = dist(rng);
            const std::vector<int32_t> orig = k;
            std::vector<int> ix(n);
            ASSERT_EQ(ippsSortIndexAscend_32s_I(k.data(), ix.data(), n), 0);
            expectSortedWithOrigins(orig, k, ix);
            // Repeating the sort gives the same order: deterministic.
            std::vector<int32_t> again = orig;
            std::vector<int> ix2(n);
            ippsSortIndexAscend_32s_I(again.data(), ix2.data(), n);
            ASSERT_EQ(ix, ix2);
        }
    }

    for (int n : {9, 500}) {
        std::uniform_real_distribution<double> dist(-1, 1);
        std::vector<double> d(n);
        for (auto& x : d) x = std::round(dist(rng) * 8) / 8;  // duplicates
        const std::vector<double> orig = d;
        std::vector<int> ix(n);
        ASSERT_EQ(ippsSortIndexAscend_64f_I(d.data(), ix.data(), n), 0);
        expectSortedWithOrigins(orig, d, ix);
    }
    EXPECT_EQ(ippsSortIndexAscend_32s_I(keys.data(), idx.data(), 0), ippStsSizeErr);
}
