// Fuzzes the mask utilities on one host mask: the mask box in both depths,
// strokes of every mode, flood fill, stretch and the smoothing filter. Checks
// that the box lies in the image and its counts fit in it, that a stroke
// writes only its pen value, that a fill returns a documented value and
// changes only its rectangle (the whole image for unknown) to its class value,
// that a stretch with protection keeps fixed marks, that the filter leaves its
// border, and that nothing touches the bytes between rows.
#include "fuzz_support.h"

namespace {

int penValue(int mode, int value) {
    switch (mode & 0xFF) {
        case 0: return 1;
        case 1: return 255;
        case 2: return 0x7E;
        case 3: return (value & 0xFE) + 1;
        default: return 0;
    }
}

void maskBox(FuzzedDataProvider& in) {
    const bool wide = in.ConsumeBool();
    const fuzz::Size s = fuzz::consumeSize(in, 300, 40000);
    fuzz::HostImage mask(s.width, s.height, wide ? 2 : 1, s.extraStep + (wide ? s.extraStep % 2 : 0));
    const int keep = in.ConsumeIntegralInRange(-2, 600), cut = in.ConsumeIntegralInRange(-2, 600);
    const bool counts = in.ConsumeBool();
    mask.fill(in);
    mask.snapshot();
    int box[4] = {-7, -7, -7, -7}, countKeep = -7, countCut = -7;
    const int rc = qxMaskBBox(wide, mask.data(), mask.step, s.width, s.height, &box[0], &box[1], &box[2], &box[3],
                              counts ? &countKeep : nullptr, counts ? &countCut : nullptr, 0, keep, cut);
    fuzz::require(rc == 1, "qxMaskBBox returns 1");
    fuzz::require(mask.unchanged(), "qxMaskBBox leaves the mask as it was");
    const int x = box[0], w = box[1], y = box[2], h = box[3];
    if (x == -7) {
        // Nothing marked in the rows: the outputs stay as they were.
        fuzz::require(w == -7 && y == -7 && h == -7, "untouched box is untouched as a whole");
        return;
    }
    if (w == 0) {
        fuzz::require(x == 0 && y == 0 && h == 0, "an empty box is all zeros");
        if (counts) fuzz::require(countKeep == -1 && countCut == -1, "an empty box counts -1");
        return;
    }
    fuzz::require(x >= 0 && y >= 0 && w >= 1 && h >= 24, "box within the image and at least 24 rows");
    fuzz::require(x + w <= s.width && y + h <= s.height, "box ends inside the image");
    if (counts)
        fuzz::require(countKeep >= 0 && countCut >= 0 && static_cast<long>(countKeep) + countCut <= long(w) * h,
                      "counts fit in the box");
}

void stroke(FuzzedDataProvider& in, fuzz::HostImage& mask, const fuzz::Size& s) {
    const int x1 = fuzz::consumeCoordinate(in, s.width), y1 = fuzz::consumeCoordinate(in, s.height);
    const int x2 = fuzz::consumeCoordinate(in, s.width), y2 = fuzz::consumeCoordinate(in, s.height);
    const int radius = in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 4) : in.ConsumeIntegralInRange(0, 400);
    const int mode = in.ConsumeIntegral<int>() % 6, value = in.ConsumeIntegral<int>();
    mask.fill(in);
    fuzz::trace("qxDrawLine8u %dx%d step %d (%d,%d)-(%d,%d) radius %d mode %d value %d", s.width, s.height,
                mask.step, x1, y1, x2, y2, radius, mode, value);
    mask.snapshot();
    fuzz::require(qxDrawLine8u(mask.data(), mask.step, s.width, s.height, x1, y1, x2, y2, radius, mode, value) == 1,
                  "qxDrawLine8u returns 1");
    const unsigned char pen = static_cast<unsigned char>(penValue(mode, value));
    mask.requireChanges([&](int, int now) { return now == pen; }, "a stroke writes only its pen value");
    fuzz::require(mask.gapsIntact(), "a stroke stays inside the image's rows");
}

void fill(FuzzedDataProvider& in, fuzz::HostImage& mask, const fuzz::Size& s) {
    const int seedX = in.ConsumeIntegralInRange(0, s.width + 3), seedY = in.ConsumeIntegralInRange(0, s.height + 3);
    const int mode = in.ConsumeIntegralInRange(-1, 5);
    mask.fill(in);
    // Mostly the three classes, so that regions are large.
    for (size_t i = 0; i < mask.bytes.size(); ++i) {
        unsigned char& b = mask.bytes[i];
        if (!mask.inGap(i)) b = b % 3 == 0 ? 1 : b % 3 == 1 ? 255 : b;
    }
    mask.snapshot();
    int rect[4] = {-7, -7, -7, -7};
    // Now and then no outRect or no mask: refused with -3.
    const int missing = in.ConsumeIntegralInRange(0, 15);
    fuzz::trace("qxFloodFillAlpha %dx%d seed %d,%d mode %d missing %d", s.width, s.height, seedX, seedY, mode, missing);
    const int rc = qxFloodFillAlpha(missing == 0 ? nullptr : mask.data(), mask.step, s.width, s.height, seedX, seedY,
                                    0, 0, mode, 0, missing == 1 ? nullptr : rect);
    fuzz::require(fuzz::oneOf(rc, {1, -1, -3}), "qxFloodFillAlpha returns 1, -1 or -3");
    if (missing <= 1) fuzz::require(rc == -3, "a NULL mask or outRect is refused with -3");
    fuzz::require(mask.gapsIntact(), "a fill stays inside the mask's rows");
    if (rc != 1) {
        fuzz::require(mask.unchanged(), "a refused fill changes nothing");
        return;
    }
    fuzz::require(rect[0] >= 0 && rect[1] >= 0 && rect[2] >= 0 && rect[3] >= 0 && rect[0] + rect[2] <= s.width &&
                      rect[1] + rect[3] <= s.height,
                  "the fill's rectangle lies in the image");
    const int value = mode == 0 ? 1 : mode == 1 ? 255 : 0x7E;
    if (mode != 2) mask.requireSameOutside({rect[0], rect[1], rect[2], rect[3]}, "a fill changes only its rectangle");
    mask.requireChanges([&](int, int now) { return mode >= 0 && mode <= 2 && now == value; },
                        "a fill writes its class value only");
}

void stretch(FuzzedDataProvider& in, fuzz::HostImage& mask, const fuzz::Size& s) {
    int high = in.ConsumeIntegral<int>(), low = in.ConsumeIntegral<int>();
    if ((high & 0xFF) == (low & 0xFF)) low ^= 1;  // the host must not pass equal bounds
    const int protect = in.ConsumeBool() ? 0 : in.ConsumeIntegral<int>();
    mask.fill(in);
    mask.snapshot();
    fuzz::trace("qxScaleAlpha %dx%d high %d low %d protect %d", s.width, s.height, high, low, protect);
    fuzz::require(qxScaleAlpha(mask.data(), mask.step, s.width, s.height, high, low, protect) == 1,
                  "qxScaleAlpha returns 1");
    fuzz::require(mask.gapsIntact(), "a stretch stays inside the mask's rows");
    if (protect) mask.requireChanges([](int was, int) { return !(was & 1); }, "fixed marks survive");
}

void smooth(FuzzedDataProvider& in, fuzz::HostImage& mask, const fuzz::Size& s) {
    const int mode = in.ConsumeIntegralInRange(-1, 3);
    mask.fill(in);
    mask.snapshot();
    fuzz::trace("qxfilterIm8u %dx%d mode %d", s.width, s.height, mode);
    fuzz::require(qxfilterIm8u(mask.data(), mask.step, s.width, s.height, mode) == 1, "qxfilterIm8u returns 1");
    if (mode != 0 && mode != 1) fuzz::require(mask.unchanged(), "another mode changes nothing");
    mask.requireSameOutside({3, 3, s.width - 6, s.height - 6}, "the filter leaves its border");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    // Odd first bytes are strokes, as when the harness had two operations,
    // so that the kept inputs still reach the same call.
    const int op = in.ConsumeIntegral<unsigned char>();
    if (op % 8 == 0) {
        maskBox(in);
        return 0;
    }
    const fuzz::Size s = fuzz::consumeSize(in, 300, 40000);
    fuzz::HostImage mask(s.width, s.height, 1, s.extraStep);
    switch (op % 2 ? 0 : op / 2 % 4) {
        case 0: stroke(in, mask, s); break;
        case 1: fill(in, mask, s); break;
        case 2: stretch(in, mask, s); break;
        case 3: smooth(in, mask, s); break;
    }
    return 0;
}
