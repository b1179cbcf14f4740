// Export: bounding box of the marked pixels of a mask, with a 12-pixel margin,
// and how many pixels of the two background classes lie inside it.
#include <algorithm>
#include <climits>
#include <cstdint>

#include "frame/export_frame.h"
#include "qxmatte.h"

namespace {

constexpr int kMargin = 12;
constexpr int kMinBoxHeight = 24;  // margins included

// Background test of one depth. 8-bit: a pixel equal to either value. 16-bit:
// the values scaled by 128 become thresholds, at or above keep / at or below cut.
struct Mask8 {
    const unsigned char* base;
    int step;
    int keep, cut;
    int at(int x, int y) const { return base[static_cast<std::ptrdiff_t>(y) * step + x]; }
    bool isKeep(int v) const { return v == keep; }
    bool isCut(int v) const { return v == cut; }
};

struct Mask16 {
    const unsigned char* base;
    int step;
    int keep, cut;
    int at(int x, int y) const {
        return reinterpret_cast<const uint16_t*>(base + static_cast<std::ptrdiff_t>(y) * step)[x];
    }
    bool isKeep(int v) const { return v >= keep; }
    bool isCut(int v) const { return v <= cut; }
};

// A value scaled by 128 for 16-bit pixels, in 64 bits and held to -1 ..
// 65536: every comparison with a 16-bit pixel comes out as it would unclamped.
inline int threshold16(int value) { return static_cast<int>(std::clamp(value * 128LL, -1LL, 65536LL)); }

template <class M>
bool marked(const M& m, int x, int y) {
    int v = m.at(x, y);
    return !m.isKeep(v) && !m.isCut(v);
}

template <class M>
bool rowMarked(const M& m, int y, int width) {
    for (int x = 0; x < width; ++x)
        if (marked(m, x, y)) return true;
    return false;
}

template <class M>
bool columnMarked(const M& m, int x, int top, int rows) {
    for (int y = top; y < top + rows; ++y)
        if (marked(m, x, y)) return true;
    return false;
}

template <class M>
void boundingBox(const M& m, int width, int height, int* outX, int* outWidth, int* outY, int* outHeight,
                 int* outCountKeep, int* outCountCut) {
    int top = height;
    for (int y = 0; y < height; ++y)
        if (rowMarked(m, y, width)) {
            top = y - kMargin;
            break;
        }
    if (top < 0) top = 0;

    int bottom = top;
    for (int y = height - 1; y > top; --y)
        if (rowMarked(m, y, width)) {
            bottom = y > height - 1 - kMargin ? height - 1 : y + kMargin;  // no int overflow at the last rows
            break;
        }
    if (bottom > height - 1) bottom = height - 1;

    const int boxHeight = bottom - top + 1;
    if (boxHeight < kMinBoxHeight) {
        *outX = *outWidth = *outY = *outHeight = 0;
        if (outCountKeep) *outCountKeep = -1;
        if (outCountCut) *outCountCut = -1;
        return;
    }

    int left = width;
    for (int x = 0; x < width; ++x)
        if (columnMarked(m, x, top, boxHeight)) {
            left = x - kMargin;
            break;
        }
    if (left < 0) left = 0;
    if (left == width) return;  // nothing marked in the band: outputs untouched

    int right = left;
    for (int x = width - 1; x > left; --x)
        if (columnMarked(m, x, top, boxHeight)) {
            right = x > width - 1 - kMargin ? width - 1 : x + kMargin;
            break;
        }
    if (right > width - 1) right = width - 1;

    *outX = left;
    *outWidth = right - left + 1;
    *outY = top;
    *outHeight = boxHeight;

    if (outCountKeep && outCountCut) {
        // Counted in 64 bits; a count beyond the int range reports INT_MAX.
        long long keep = 0, cut = 0;
        for (int y = top; y <= bottom; ++y)
            for (int x = left; x <= right; ++x) {
                int v = m.at(x, y);
                keep += m.isKeep(v);
                cut += m.isCut(v);
            }
        *outCountKeep = static_cast<int>(std::min<long long>(keep, INT_MAX));
        *outCountCut = static_cast<int>(std::min<long long>(cut, INT_MAX));
    }
}

}  // namespace

QX_EXPORT int qxMaskBBox(int is16Bit, const void* pixels, int step, int width, int height, int* outX,
                         int* outWidth, int* outY, int* outHeight, int* outCountKeep, int* outCountCut,
                         int /*reserved*/, int valueKeep, int valueCut) {
    // Refused: missing box outputs, a negative size, and for a mask with
    // pixels a missing mask or a step shorter than a row. Nothing is written.
    if (!outX || !outWidth || !outY || !outHeight || width < 0 || height < 0) return 0;
    const long long rowBytes = static_cast<long long>(width) * (is16Bit ? 2 : 1);
    if (width > 0 && height > 0 && (!pixels || step < rowBytes)) return 0;
    const auto* base = static_cast<const unsigned char*>(pixels);
    if (is16Bit)
        boundingBox(Mask16{base, step, threshold16(valueKeep), threshold16(valueCut)}, width, height, outX, outWidth, outY,
                    outHeight, outCountKeep, outCountCut);
    else
        boundingBox(Mask8{base, step, valueKeep, valueCut}, width, height, outX, outWidth, outY, outHeight,
                    outCountKeep, outCountCut);
    return 1;
}
