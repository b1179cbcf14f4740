// Argument checks and row addressing shared by the rectangle primitives.
// Checks run in a fixed order: null pointers (-8), then the size (-6), then
// the steps (-14); they are a handful of compares per call, never per pixel.
#pragma once

#include <omp.h>

#include <cstddef>
#include <type_traits>
#include <vector>

#include "primitives/primitives.h"

// Row kernels of the hottest primitives are built for three instruction sets;
// the dynamic loader picks one once, when the library is loaded. A build may
// predefine the macro empty to get the baseline code alone.
#ifndef QX_ROW_KERNEL
#define QX_ROW_KERNEL __attribute__((target_clones("avx2", "sse4.1", "default")))
#endif

namespace qx {
namespace roi {

// Start of row y of a rectangle whose rows lie `step` bytes apart.
template <class T>
inline T* row(T* base, int step, int y) {
    using Byte = typename std::conditional<std::is_const<T>::value, const unsigned char, unsigned char>::type;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + static_cast<std::ptrdiff_t>(step) * y);
}

inline bool badSize(int w, int h) { return w < 1 || h < 1; }

// A step must be positive and hold a row of w pixels of `pixelBytes` bytes.
inline bool badStep(int step, int w, int pixelBytes) {
    return step < 1 || static_cast<long long>(step) < static_cast<long long>(w) * pixelBytes;
}

// Status of a rectangle with one buffer.
inline IppStatus check1(const void* p, int step, int pixelBytes, int w, int h) {
    if (!p) return ippStsNullPtrErr;
    if (badSize(w, h)) return ippStsSizeErr;
    if (badStep(step, w, pixelBytes)) return ippStsStepErr;
    return ippStsNoErr;
}

// Status of a rectangle with two buffers (source and destination).
inline IppStatus check2(const void* p1, int step1, int bytes1, const void* p2, int step2, int bytes2, int w, int h) {
    if (!p1 || !p2) return ippStsNullPtrErr;
    if (badSize(w, h)) return ippStsSizeErr;
    if (badStep(step1, w, bytes1) || badStep(step2, w, bytes2)) return ippStsStepErr;
    return ippStsNoErr;
}

// Status of a rectangle with three buffers.
inline IppStatus check3(const void* p1, int step1, int bytes1, const void* p2, int step2, int bytes2,
                        const void* p3, int step3, int bytes3, int w, int h) {
    if (!p1 || !p2 || !p3) return ippStsNullPtrErr;
    if (badSize(w, h)) return ippStsSizeErr;
    if (badStep(step1, w, bytes1) || badStep(step2, w, bytes2) || badStep(step3, w, bytes3)) return ippStsStepErr;
    return ippStsNoErr;
}

// Per-thread scratch of a parallel region, made before the region opens, so
// that running out of memory throws std::bad_alloc to the caller rather than
// ending the process from inside the region.
template <class T>
struct ThreadScratch {
    std::size_t per;
    std::vector<T> all;
    explicit ThreadScratch(std::size_t perThread)
        : per(perThread), all(perThread * static_cast<std::size_t>(omp_get_max_threads())) {}
    T* mine() { return all.data() + per * static_cast<std::size_t>(omp_get_thread_num()); }
};

}  // namespace roi
}  // namespace qx
