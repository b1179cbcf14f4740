// Flood fill of an 8-bit plane, in place: the 8-connected region of pixels
// whose value lies in [seed - minDelta, seed + maxDelta] (taken on the seed's
// original value, clipped to 0..255) gets newValue. The fill never recurses:
// the caller's work buffer holds an explicit stack of pixel positions and a
// visited bitmap, each pixel being pushed at most once, so the stack can't
// outgrow w * h entries. The result record gets the area, newValue in
// value[0], and the bounding rectangle.
#include <cstdint>
#include <cstring>
#include <limits>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr long long kAlignSlack = 64;

long long bufferBytes(int w, int h) {
    const long long n = static_cast<long long>(w) * h;
    return n * static_cast<long long>(sizeof(int32_t)) + (n + 7) / 8 + kAlignSlack;
}

}  // namespace

IppStatus ippiFloodFillGetSize(int w, int h, int* pBufSize) {
    if (!pBufSize) return ippStsNullPtrErr;
    if (roi::badSize(w, h)) return ippStsSizeErr;
    const long long bytes = bufferBytes(w, h);
    if (bytes > std::numeric_limits<int>::max()) return ippStsSizeErr;
    *pBufSize = static_cast<int>(bytes);
    return ippStsNoErr;
}

IppStatus ippiFloodFill_Range8Con_8u_C1IR(Ipp8u* pImage, int step, int w, int h, int seedX, int seedY,
                                          Ipp8u newValue, Ipp8u minDelta, Ipp8u maxDelta,
                                          IppiConnectedComp* pRegion, Ipp8u* pBuffer) {
    if (!pImage || !pRegion || !pBuffer) return ippStsNullPtrErr;
    if (roi::badSize(w, h)) return ippStsSizeErr;
    if (roi::badStep(step, w, 1)) return ippStsStepErr;
    if (seedX < 0 || seedY < 0 || seedX >= w || seedY >= h) return ippStsOutOfRangeErr;
    if (bufferBytes(w, h) > std::numeric_limits<int>::max()) return ippStsSizeErr;

    *pRegion = IppiConnectedComp{};
    pRegion->value[0] = newValue;
    const int seed = roi::row(pImage, step, seedY)[seedX];
    if (seed == newValue) return ippStsNoErr;  // nothing to change
    const int lo = seed - minDelta < 0 ? 0 : seed - minDelta;
    const int hi = seed + maxDelta > 255 ? 255 : seed + maxDelta;

    // Buffer layout: the position stack (32-bit, aligned), then the bitmap.
    const long long n = static_cast<long long>(w) * h;
    const uintptr_t misalignment = reinterpret_cast<uintptr_t>(pBuffer) & 15u;
    int32_t* stack = reinterpret_cast<int32_t*>(pBuffer + (misalignment ? 16 - misalignment : 0));
    uint8_t* visited = reinterpret_cast<uint8_t*>(stack + n);
    std::memset(visited, 0, static_cast<size_t>((n + 7) / 8));
    auto mark = [visited](int32_t i) { visited[i >> 3] |= uint8_t(1u << (i & 7)); };
    auto seen = [visited](int32_t i) { return (visited[i >> 3] >> (i & 7)) & 1u; };

    long long top = 0, area = 0;
    int minX = seedX, maxX = seedX, minY = seedY, maxY = seedY;
    const int32_t seedIndex = seedY * w + seedX;
    mark(seedIndex);
    stack[top++] = seedIndex;
    while (top > 0) {
        const int32_t i = stack[--top];
        const int x = i % w, y = i / w;
        roi::row(pImage, step, y)[x] = newValue;
        ++area;
        if (x < minX) minX = x;
        if (x > maxX) maxX = x;
        if (y < minY) minY = y;
        if (y > maxY) maxY = y;
        for (int ny = y - 1; ny <= y + 1; ++ny) {
            if (ny < 0 || ny >= h) continue;
            const Ipp8u* r = roi::row(pImage, step, ny);
            for (int nx = x - 1; nx <= x + 1; ++nx) {
                if (nx < 0 || nx >= w) continue;
                const int32_t j = ny * w + nx;
                if (seen(j)) continue;
                // Unvisited pixels still hold their original values.
                if (r[nx] < lo || r[nx] > hi) continue;
                mark(j);
                stack[top++] = j;
            }
        }
    }
    pRegion->area = static_cast<double>(area);
    pRegion->x = minX;
    pRegion->y = minY;
    pRegion->width = maxX - minX + 1;
    pRegion->height = maxY - minY + 1;
    return ippStsNoErr;
}

}  // namespace qx
