// Load-time set-up of the primitives: the code path index and the
// floating-point control bits of the calling thread.
#include <xmmintrin.h>

#include "primitives/primitives.h"

namespace qx {

namespace {

// Code path chosen at load: 0 generic, 1 SSE2, 2 SSE3, 3 SSSE3, 4 SSE4.1, 5 AVX.
// Row kernels dispatch themselves through the loader; the index records
// what the processor allows, for tracing and tests.
int codePath = 0;

constexpr unsigned int kFlushToZeroBit = 0x8000;    // MXCSR.FTZ
constexpr unsigned int kDenormsAreZeroBit = 0x0040;  // MXCSR.DAZ
constexpr unsigned int kUnderflowMaskBit = 0x0800;   // MXCSR.UM

int detectCodePath() {
    __builtin_cpu_init();
    // The "avx" feature is reported only when the OS saves the wide registers.
    if (__builtin_cpu_supports("avx")) return 5;
    if (__builtin_cpu_supports("sse4.1")) return 4;
    if (__builtin_cpu_supports("ssse3")) return 3;
    if (__builtin_cpu_supports("sse3")) return 2;
    if (__builtin_cpu_supports("sse2")) return 1;
    return 0;
}

}  // namespace

IppStatus ippStaticInitBest() {
    codePath = detectCodePath();
    return ippStsNoErr;
}

IppStatus ippStaticInit() { return ippStaticInitBest(); }

int ippCodePath() { return codePath; }

// value != 0: flush denormal results to zero and mask the underflow
// exception, saving its previous mask bit in *pUMask; value == 0: stop
// flushing and restore the underflow mask bit from *pUMask.
IppStatus ippSetFlushToZero(int value, unsigned int* pUMask) {
    unsigned int csr = _mm_getcsr();
    if (value) {
        if (pUMask) *pUMask = (csr & kUnderflowMaskBit) ? 1u : 0u;
        csr |= kFlushToZeroBit | kUnderflowMaskBit;
    } else {
        csr &= ~kFlushToZeroBit;
        if (pUMask) csr = *pUMask ? (csr | kUnderflowMaskBit) : (csr & ~kUnderflowMaskBit);
    }
    _mm_setcsr(csr);
    return ippStsNoErr;
}

IppStatus ippSetDenormAreZeros(int value) {
    unsigned int csr = _mm_getcsr();
    csr = value ? (csr | kDenormsAreZeroBit) : (csr & ~kDenormsAreZeroBit);
    _mm_setcsr(csr);
    return ippStsNoErr;
}

}  // namespace qx
