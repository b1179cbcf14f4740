// Aligned blocks for images and signals. Image rows are padded to a multiple
// of 32 bytes and blocks are aligned to 64 bytes (a cache line, which also
// serves every SIMD width in use).
#include <climits>
#include <cstdlib>

#include "primitives/primitives.h"

namespace qx {

int imageAllocFailuresForTesting = 0;

namespace {

constexpr std::size_t kBlockAlignment = 64;

void* alignedBlock(std::size_t bytes) {
    void* p = nullptr;
    if (posix_memalign(&p, kBlockAlignment, bytes ? bytes : 1) != 0) return nullptr;
    return p;
}

// Consumes one forced failure if any are pending; safe against concurrent callers.
bool takeForcedFailure() {
    int pending = __atomic_load_n(&imageAllocFailuresForTesting, __ATOMIC_RELAXED);
    while (pending > 0) {
        if (__atomic_compare_exchange_n(&imageAllocFailuresForTesting, &pending, pending - 1, false,
                                        __ATOMIC_RELAXED, __ATOMIC_RELAXED))
            return true;
    }
    return false;
}

}  // namespace

Ipp8u* ippiMalloc_8u_C1(int widthBytes, int height, int* pStep) {
    if (!pStep) return nullptr;
    if (widthBytes < 1 || height < 1) {
        *pStep = 0;
        return nullptr;
    }
    const long long step = (static_cast<long long>(widthBytes) + 31) / 32 * 32;
    if (step > INT_MAX) {
        *pStep = 0;
        return nullptr;
    }
    *pStep = static_cast<int>(step);
    if (takeForcedFailure()) return nullptr;
    return static_cast<Ipp8u*>(alignedBlock(static_cast<std::size_t>(step) * static_cast<std::size_t>(height)));
}

void ippiFree(void* ptr) { std::free(ptr); }

Ipp8u* ippsMalloc_8u(int len) {
    if (len < 1) return nullptr;
    return static_cast<Ipp8u*>(alignedBlock(static_cast<std::size_t>(len)));
}

void ippsFree(void* ptr) { std::free(ptr); }

}  // namespace qx
