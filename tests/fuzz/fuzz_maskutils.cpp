// Fuzzes the mask utilities on one host mask: the mask box in both depths and
// strokes of every mode. Checks that the box lies in the image and its counts
// fit in it, that a stroke writes only its pen value and only inside the
// image, and that nothing touches the bytes between rows.
#include "fuzz_support.h"
#include "qxmatte.h"

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
    const std::vector<unsigned char> before = mask.bytes;
    int box[4] = {-7, -7, -7, -7}, countKeep = -7, countCut = -7;
    const int rc = qxMaskBBox(wide, mask.data(), mask.step, s.width, s.height, &box[0], &box[1], &box[2], &box[3],
                              counts ? &countKeep : nullptr, counts ? &countCut : nullptr, 0, keep, cut);
    fuzz::require(rc == 1, "qxMaskBBox returns 1");
    fuzz::require(mask.bytes == before, "qxMaskBBox leaves the mask as it was");
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

void stroke(FuzzedDataProvider& in) {
    const fuzz::Size s = fuzz::consumeSize(in, 300, 40000);
    fuzz::HostImage mask(s.width, s.height, 1, s.extraStep);
    const int x1 = fuzz::consumeCoordinate(in, s.width), y1 = fuzz::consumeCoordinate(in, s.height);
    const int x2 = fuzz::consumeCoordinate(in, s.width), y2 = fuzz::consumeCoordinate(in, s.height);
    const int radius = in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 4) : in.ConsumeIntegralInRange(0, 400);
    const int mode = in.ConsumeIntegral<int>() % 6, value = in.ConsumeIntegral<int>();
    mask.fill(in);
    fuzz::trace("qxDrawLine8u %dx%d step %d (%d,%d)-(%d,%d) radius %d mode %d value %d", s.width, s.height,
                mask.step, x1, y1, x2, y2, radius, mode, value);
    const std::vector<unsigned char> before = mask.bytes;
    fuzz::require(qxDrawLine8u(mask.data(), mask.step, s.width, s.height, x1, y1, x2, y2, radius, mode, value) == 1,
                  "qxDrawLine8u returns 1");
    const unsigned char pen = static_cast<unsigned char>(penValue(mode, value));
    for (size_t i = 0; i < before.size(); ++i)
        fuzz::require(mask.bytes[i] == before[i] || mask.bytes[i] == pen, "a stroke writes only its pen value");
    fuzz::require(mask.gapsIntact(), "a stroke stays inside the image's rows");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    switch (in.ConsumeIntegralInRange(0, 1)) {
        case 0: maskBox(in); break;
        case 1: stroke(in); break;
    }
    return 0;
}
