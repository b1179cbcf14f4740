// Small-matrix products and inverse, and the index sorts.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

TEST(SmallMatrix, ProductsInverseAndSingular) {
    // A: 2 x 3, B: 3 x 2, C: 2 x 2, row-major (strides: row bytes, then element bytes).
    const double a[6] = {1, 2, 3, 4, 5, 6}, b[6] = {7, 8, 9, 10, 11, 12}, c[4] = {1, 0, 1, 1};
    double ab[4], atc[6];
    ASSERT_EQ(ippmMul_mm_64f(a, 24, 8, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), 0);
    EXPECT_EQ(std::vector<double>(ab, ab + 4), (std::vector<double>{58, 64, 139, 154}));
    // A^T C = [[5, 4], [7, 5], [9, 6]], written column-major through swapped strides.
    ASSERT_EQ(ippmMul_tm_64f(a, 24, 8, 3, 2, c, 16, 8, 2, 2, atc, 8, 24), 0);
    EXPECT_EQ(std::vector<double>(atc, atc + 6), (std::vector<double>{5, 7, 9, 4, 5, 6}));
    EXPECT_EQ(ippmMul_mm_64f(a, 24, 8, 3, 2, c, 16, 8, 2, 2, ab, 16, 8), ippStsSizeMatchMatrixErr);
    EXPECT_EQ(ippmMul_tm_64f(a, 24, 8, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), ippStsSizeMatchMatrixErr);
    EXPECT_EQ(ippmMul_mm_64f(a, 20, 8, 3, 2, b, 16, 8, 2, 3, ab, 16, 8), ippStsStrideMatrixErr);
    // The first pivot is zero, so the inverse needs a row exchange.
    const double m[9] = {0, 2, 1, 1, 1, 0, 3, 0, 1}, singular[9] = {1, 2, 3, 2, 4, 6, 1, 0, 1};
    double inv[9], prod[9], buffer[12], untouched[9] = {7, 7, 7, 7, 7, 7, 7, 7, 7};
    ASSERT_EQ(ippmInvert_m_64f(m, 24, 8, buffer, inv, 24, 8, 3), 0);
    ASSERT_EQ(ippmMul_mm_64f(m, 24, 8, 3, 3, inv, 24, 8, 3, 3, prod, 24, 8), 0);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(prod[i], i % 4 == 0 ? 1.0 : 0.0, 1e-14) << i;
    EXPECT_EQ(ippmInvert_m_64f(singular, 24, 8, buffer, untouched, 24, 8, 3), ippStsSingularErr);
    EXPECT_EQ(std::count(untouched, untouched + 9, 7.0), 9);

    double one = 2 * DBL_MIN, r = 5;  // a pivot this small counts as singular
    EXPECT_EQ(ippmInvert_m_64f(&one, 8, 8, buffer, &r, 8, 8, 1), ippStsSingularErr);
    one = -0.25;
    EXPECT_EQ(ippmInvert_m_64f(&one, 8, 8, buffer, &r, 8, 8, 1), 0);
    EXPECT_EQ(r, -4.0);
}

TEST(IndexSort, MatchesStdSortAndPointsAtOriginsOnDuplicates) {
    // Ascending like std::sort, and the index is a permutation naming where each key stood.
    auto check = [](auto keys, auto sortFn) {
        const auto before = keys;
        std::vector<int> idx(keys.size());
        ASSERT_EQ(sortFn(keys.data(), idx.data(), int(keys.size())), 0);
        auto expect = before;
        std::sort(expect.begin(), expect.end());
        ASSERT_EQ(keys, expect);
        std::vector<int> seen = idx;
        std::sort(seen.begin(), seen.end());
        for (size_t i = 0; i < idx.size(); ++i) {
            ASSERT_EQ(seen[i], int(i));
            ASSERT_EQ(before[idx[i]], keys[i]);
        }
    };
    check(std::vector<int32_t>{5, -1, 5, 3, -1, 7, 5}, ippsSortIndexAscend_32s_I);
    std::mt19937 rng(7);
    for (int n : {1, 31, 33, 1000, 200000})
        for (int range : {10, 1 << 30}) {  // many duplicates; all four byte positions
            std::uniform_int_distribution<int32_t> dist(-range, range);
            std::vector<int32_t> k(n);
            for (auto& x : k) x = dist(rng);
            check(k, ippsSortIndexAscend_32s_I);
        }
    for (int n : {9, 500}) {
        std::vector<double> d(n);
        for (auto& x : d) x = std::round(std::uniform_real_distribution<double>(-1, 1)(rng) * 8) / 8;
        check(d, ippsSortIndexAscend_64f_I);
    }
    int32_t key = 1;
    int idx = 0;
    EXPECT_EQ(ippsSortIndexAscend_32s_I(&key, &idx, 0), ippStsSizeErr);
}
