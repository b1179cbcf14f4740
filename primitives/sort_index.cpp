// Ascending in-place sorts that also report each element's position before
// the sort. Equal keys keep their original order: not required of the
// operation, but it makes the result deterministic.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "primitives/primitives.h"

namespace qx {

namespace {

constexpr int kInsertionSortMax = 32;
constexpr int kRadixSortMin = 4096;

// Stable insertion sort of keys with their indices; the indices start as
// 0..n-1. Best for the short runs (a few dozen) sorted in bulk elsewhere.
template <class Key, class Less>
void insertionSort(Key* keys, int* idx, int n, Less less) {
    for (int i = 0; i < n; ++i) idx[i] = i;
    for (int i = 1; i < n; ++i) {
        const Key k = keys[i];
        int j = i;
        for (; j > 0 && less(k, keys[j - 1]); --j) {
            keys[j] = keys[j - 1];
            idx[j] = idx[j - 1];
        }
        keys[j] = k;
        idx[j] = i;
    }
}

// Stable counting sort for keys whose range (max - min) is below n, the
// usual case of row indices repeated a few times each: one pass of counts and
// one of placement.
void countingSort(std::int32_t* keys, int* idx, int n, std::int32_t lo, std::int32_t hi) {
    const std::size_t buckets = static_cast<std::size_t>(static_cast<std::int64_t>(hi) - lo) + 1;
    std::vector<std::uint32_t> start(buckets + 1, 0);
    for (int i = 0; i < n; ++i) ++start[static_cast<std::size_t>(keys[i] - lo) + 1];
    for (std::size_t b = 1; b <= buckets; ++b) start[b] += start[b - 1];
    for (int i = 0; i < n; ++i) idx[start[static_cast<std::size_t>(keys[i] - lo)]++] = i;
    // start[b] now ends bucket b, so bucket b spans start[b-1]..start[b).
    std::size_t pos = 0;
    for (std::size_t b = 0; b < buckets; ++b)
        for (; pos < start[b]; ++pos) keys[pos] = static_cast<std::int32_t>(lo + static_cast<std::int64_t>(b));
}

// Order-preserving map of a 32-bit signed key to unsigned.
inline std::uint32_t unsignedKey(std::int32_t k) { return static_cast<std::uint32_t>(k) ^ 0x80000000u; }

// Sort of medium arrays: (key, position) packed into one 64-bit word, so that a
// plain integer sort orders by key and then by original position.
void packedSort(std::int32_t* keys, int* idx, int n) {
    std::vector<std::uint64_t> packed(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        packed[i] = (static_cast<std::uint64_t>(unsignedKey(keys[i])) << 32) | static_cast<std::uint32_t>(i);
    std::sort(packed.begin(), packed.end());
    for (int i = 0; i < n; ++i) {
        keys[i] = static_cast<std::int32_t>(static_cast<std::uint32_t>(packed[i] >> 32) ^ 0x80000000u);
        idx[i] = static_cast<int>(packed[i] & 0xFFFFFFFFu);
    }
}

// Least-significant-digit radix sort over four bytes, stable, skipping the
// byte positions on which all keys agree (row indices of an image rarely use
// the top byte).
void radixSort(std::int32_t* keys, int* idx, int n) {
    std::vector<std::uint32_t> keyA(static_cast<std::size_t>(n)), keyB(static_cast<std::size_t>(n));
    std::vector<int> idxA(static_cast<std::size_t>(n)), idxB(static_cast<std::size_t>(n));
    std::uint32_t counts[4][256] = {};
    for (int i = 0; i < n; ++i) {
        const std::uint32_t k = unsignedKey(keys[i]);
        keyA[i] = k;
        idxA[i] = i;
        for (int b = 0; b < 4; ++b) ++counts[b][(k >> (8 * b)) & 0xFF];
    }
    std::uint32_t *srcK = keyA.data(), *dstK = keyB.data();
    int *srcI = idxA.data(), *dstI = idxB.data();
    for (int b = 0; b < 4; ++b) {
        std::uint32_t* count = counts[b];
        const int shift = 8 * b;
        if (count[(srcK[0] >> shift) & 0xFF] == static_cast<std::uint32_t>(n)) continue;
        std::uint32_t offset = 0;
        for (int d = 0; d < 256; ++d) {
            const std::uint32_t c = count[d];
            count[d] = offset;
            offset += c;
        }
        for (int i = 0; i < n; ++i) {
            const std::uint32_t pos = count[(srcK[i] >> shift) & 0xFF]++;
            dstK[pos] = srcK[i];
            dstI[pos] = srcI[i];
        }
        std::swap(srcK, dstK);
        std::swap(srcI, dstI);
    }
    for (int i = 0; i < n; ++i) keys[i] = static_cast<std::int32_t>(srcK[i] ^ 0x80000000u);
    std::memcpy(idx, srcI, static_cast<std::size_t>(n) * sizeof(int));
}

// Total order on doubles as unsigned integers: negatives reversed below the
// positives; NaNs sort to the ends by their sign instead of breaking the order.
inline std::uint64_t orderedBits(double v) {
    std::uint64_t u;
    std::memcpy(&u, &v, sizeof u);
    return (u & 0x8000000000000000ull) ? ~u : (u | 0x8000000000000000ull);
}

}  // namespace

IppStatus ippsSortIndexAscend_32s_I(int32_t* pSrcDst, int* pDstIdx, int len) {
    if (!pSrcDst || !pDstIdx) return ippStsNullPtrErr;
    if (len < 1) return ippStsSizeErr;
    if (len <= kInsertionSortMax) {
        insertionSort(pSrcDst, pDstIdx, len, [](std::int32_t a, std::int32_t b) { return a < b; });
        return ippStsNoErr;
    }
    try {
        const auto range = std::minmax_element(pSrcDst, pSrcDst + len);
        const std::int64_t spread = static_cast<std::int64_t>(*range.second) - *range.first;
        if (spread < len)
            countingSort(pSrcDst, pDstIdx, len, *range.first, *range.second);
        else if (len < kRadixSortMin)
            packedSort(pSrcDst, pDstIdx, len);
        else
            radixSort(pSrcDst, pDstIdx, len);
    } catch (const std::bad_alloc&) {
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

IppStatus ippsSortIndexAscend_64f_I(Ipp64f* pSrcDst, int* pDstIdx, int len) {
    if (!pSrcDst || !pDstIdx) return ippStsNullPtrErr;
    if (len < 1) return ippStsSizeErr;
    const auto less = [](double a, double b) { return orderedBits(a) < orderedBits(b); };
    if (len <= kInsertionSortMax) {
        insertionSort(pSrcDst, pDstIdx, len, less);
        return ippStsNoErr;
    }
    try {
        struct Entry {
            std::uint64_t key;
            int index;
        };
        std::vector<Entry> entries(static_cast<std::size_t>(len));
        for (int i = 0; i < len; ++i) entries[i] = {orderedBits(pSrcDst[i]), i};
        std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
            return a.key != b.key ? a.key < b.key : a.index < b.index;
        });
        std::vector<Ipp64f> sorted(static_cast<std::size_t>(len));
        for (int i = 0; i < len; ++i) {
            sorted[i] = pSrcDst[entries[i].index];
            pDstIdx[i] = entries[i].index;
        }
        std::copy(sorted.begin(), sorted.end(), pSrcDst);
    } catch (const std::bad_alloc&) {
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

}  // namespace qx
