#include "utilities/chroma_level.h"

#include <algorithm>

#include "frame/image_buffer.h"

namespace qx {
namespace {

constexpr double kMinGain = 1.12;
constexpr int kMaxN = 120;

// Mean of max(p - 128, 0) over the plane.
double meanAbove(const unsigned char* plane, int step, GIMG<unsigned char>& work) {
    Ipp64f mean = 0;
    work.status = ippiSubC_8u_C1RSfs(plane, step, 128, work.pixels, work.step, work.width, work.height, 0);
    work.status = ippiMean_8u_C1R(work.pixels, work.step, work.width, work.height, &mean);
    return mean;
}

// Mean of max(128 - p, 0) over the plane.
double meanBelow(const unsigned char* plane, int step, GIMG<unsigned char>& work) {
    Ipp64f mean = 0;
    work.status = ippiSet_8u_C1R(128, work.pixels, work.step, work.width, work.height);
    work.status = ippiSub_8u_C1IRSfs(plane, step, work.pixels, work.step, work.width, work.height, 0);
    work.status = ippiMean_8u_C1R(work.pixels, work.step, work.width, work.height, &mean);
    return mean;
}

// n for a measured mean distance m, or 0 when the gain is too small to act.
int stretchN(int target, double m) {
    const double gain = target / (m + 1.0);
    if (!(gain > kMinGain)) return 0;
    return gain * 8 >= kMaxN ? kMaxN : static_cast<int>(gain * 8);
}

// (p - 128 + 1024 / n) * n / 8: the subtraction saturates at 0 first, and the
// truncated 1024 / n moves the middle slightly; that is kept.
void stretch(unsigned char* plane, int step, int n, int width, int height) {
    const auto offset = static_cast<Ipp8u>((128 - 1024 / n) & 0xFF);
    ippiSubC_8u_C1IRSfs(offset, plane, step, width, height, 0);
    ippiMulC_8u_C1IRSfs(static_cast<Ipp8u>(n), plane, step, width, height, 3);
}

}  // namespace

int levelPlane(unsigned char* plane, int step, int target, int width, int height) {
    if (target < 1) return 0;
    GIMG<unsigned char> work(width, height);
    const double m = std::max(meanAbove(plane, step, work), meanBelow(plane, step, work));
    if (const int n = stretchN(target, m)) stretch(plane, step, n, width, height);
    return 1;
}

int levelChromaPair(unsigned char* cb, unsigned char* cr, int step, int target, int width, int height) {
    if (target < 1) return 0;
    GIMG<unsigned char> work(width, height);
    const double m = std::max(meanAbove(cb, step, work), meanAbove(cr, step, work));
    if (const int n = stretchN(target, m)) {
        stretch(cb, step, n, width, height);
        stretch(cr, step, n, width, height);
    }
    return 1;
}

}  // namespace qx
