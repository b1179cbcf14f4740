// Fuzzes qxKeepCutToAlpha on all three roads: the full-size and half-size
// tile trees and the local re-solve of an edit inside a border, with any
// marks (painted rectangles of soft and fixed values over a base, or raw
// bytes), rectangle, border, merge mode, colour recovery and memory budget.
// Checks the return value against the documented set; that a refused job
// touches nothing; that the image and the host's marks plane are never
// written, nor anything outside the rectangle or between rows; that byte 3 of
// the result image changes only where a 0xFF or 0x01 mark hands over its
// source pixel; that on failure bit 0 of every mark is the host's again; and
// that on success fixed marks come back exactly (0xFF and 0x01 with their
// source colour on the tile roads), solved pixels are even, and an edit only
// removes (mode 0) or only adds (mode 1).
#include <algorithm>

#include "fuzz_support.h"
#include "qxmatte.h"

// The memory budget is the machine's; here the input chooses it, so that the
// local road goes through every pyramid depth and block layout while each
// solve stays small. This definition stands in for the library's at link time.
namespace qx {
static int fuzzBudgetK = 3500000;
int memoryBudgetK() { return fuzzBudgetK; }
}  // namespace qx

namespace {

struct Rect {
    int x, y, w, h;
    bool contains(int px, int py) const { return px >= x && px < x + w && py >= y && py < y + h; }
};

// A few rectangles of mark values, soft and fixed, over a base value, or
// raw bytes from the input.
void paintMarks(FuzzedDataProvider& in, fuzz::HostImage& mask) {
    static const unsigned char values[] = {0x00, 0x01, 0xFE, 0xFF, 0x7E, 0x7F, 0x80, 0x41};
    if (in.ConsumeIntegralInRange(0, 5) == 0) return mask.fill(in);
    const unsigned char base = values[in.ConsumeIntegralInRange(0, 7)];
    for (int y = 0; y < mask.height; ++y)
        for (int x = 0; x < mask.width; ++x) mask.at(x, y) = base;
    const int n = in.ConsumeIntegralInRange(0, 6);
    for (int i = 0; i < n; ++i) {
        const int x0 = in.ConsumeIntegralInRange(0, mask.width - 1), y0 = in.ConsumeIntegralInRange(0, mask.height - 1);
        const int x1 = std::min(mask.width, x0 + in.ConsumeIntegralInRange(1, 120));
        const int y1 = std::min(mask.height, y0 + in.ConsumeIntegralInRange(1, 120));
        const unsigned char v = in.ConsumeBool() ? values[in.ConsumeIntegralInRange(0, 7)]
                                                 : in.ConsumeIntegral<unsigned char>();
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) mask.at(x, y) = v;
    }
}

Rect consumeRect(FuzzedDataProvider& in, int width, int height) {
    if (in.ConsumeIntegralInRange(0, 15) == 0)  // anything at all: mostly a refusal
        return {in.ConsumeIntegralInRange(-20, 300), in.ConsumeIntegralInRange(-20, 300),
                in.ConsumeIntegralInRange(-5, 300), in.ConsumeIntegralInRange(-5, 300)};
    if (in.ConsumeBool()) return {0, 0, width, height};
    Rect r;
    r.w = in.ConsumeIntegralInRange(1, width);
    r.h = in.ConsumeIntegralInRange(1, height);
    r.x = in.ConsumeIntegralInRange(0, width - r.w);
    r.y = in.ConsumeIntegralInRange(0, height - r.h);
    return r;
}

int consumeBudget(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange(0, 3)) {
        case 0: return in.ConsumeIntegralInRange(1, 60);  // blocks of 7 to 55 pixels
        case 1: return in.ConsumeIntegralInRange(60, 6000);
        case 2: return in.ConsumeIntegralInRange(6000, 200000);
        default: return 3500000;
    }
}

int progressCalls = 0;
int checkProgress(int value, int total, void*) {
    fuzz::require(total > 0 && value >= 0 && value <= total, "progress stays within its total");
    ++progressCalls;
    return 1;
}

size_t at(const fuzz::HostImage& p, int x, int y, int c = 0) {
    return size_t(y) * p.step + size_t(x) * p.channels + c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const fuzz::Size s = fuzz::consumeSize(in, 200, 12000);
    const int w = s.width, h = s.height;
    fuzz::HostImage image(w, h, 4, 4 * s.extraStep), out(w, h, 4, s.extraStep + 3), mask(w, h, 1, s.extraStep),
        aux(w, h, 1, 0);
    const Rect rect = consumeRect(in, w, h);
    const int border = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange(-3, 40);
    const int mode = in.ConsumeIntegralInRange(0, 4) == 0 ? in.ConsumeIntegral<int>() : in.ConsumeIntegralInRange(0, 2);
    const int fullSize = in.ConsumeBool() ? 1 : in.ConsumeIntegralInRange(-1, 2);
    const bool recoverColours = in.ConsumeIntegralInRange(0, 3) == 0;
    // The host's marks plane agrees with the mask in bit 0, as a host keeps
    // it, unless the input says otherwise.
    const bool auxAgrees = in.ConsumeIntegralInRange(0, 7) != 0;
    qx::fuzzBudgetK = consumeBudget(in);
    const bool progress = in.ConsumeBool();
    paintMarks(in, mask);
    image.fill(in);
    out.fill(in);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const unsigned char noise = in.remaining_bytes() ? in.ConsumeIntegral<unsigned char>() : (x * 7 + y) & 0xFF;
            aux.at(x, y) = auxAgrees ? (noise & 0xFE) | (mask.at(x, y) & 1) : noise;
        }

    const std::vector<unsigned char> imageBefore = image.bytes, outBefore = out.bytes, marks = mask.bytes,
                                     auxBefore = aux.bytes;
    QxJob job{};
    job.imagePixels = image.data();
    job.imageStep = image.step;
    job.maskPixels = mask.data();
    job.maskStep = mask.step;
    job.outPixels = out.data();
    job.outStep = out.step;
    job.auxPixels = aux.data();
    job.auxStep = aux.step;
    job.width = w;
    job.height = h;
    job.roiX = rect.x;
    job.roiY = rect.y;
    job.roiWidth = rect.w;
    job.roiHeight = rect.h;
    job.roiBorder = border;
    job.recoverColors = recoverColours;
    job.keepCutMode = mode;
    progressCalls = 0;
    if (progress) {
        job.progressCallback = checkProgress;
        job.progressCookie = &progressCalls;
    }
    fuzz::trace("qxKeepCutToAlpha %dx%d rect %d,%d %dx%d border %d mode %d fullSize %d colours %d budget %d aux %d",
                w, h, rect.x, rect.y, rect.w, rect.h, border, mode, fullSize, int(recoverColours), qx::fuzzBudgetK,
                int(auxAgrees));
    const int rc = qxKeepCutToAlpha(&job, fullSize);
    fuzz::require(fuzz::oneOf(rc, {1, -3, -5, -1, 102, 103, 112, 113, 121, 122, 123, 125, 130, -1000}),
                  "qxKeepCutToAlpha returns 1 or a documented failure");
    fuzz::require(image.bytes == imageBefore && aux.bytes == auxBefore, "the image and the host's marks are only read");
    fuzz::require(mask.gapsIntact() && out.gapsIntact(), "keep/cut writes only inside the planes' rows");
    if (rc == -3) {
        fuzz::require(mask.bytes == marks && out.bytes == outBefore, "a refused job touches nothing");
        fuzz::require(progressCalls == 0, "a refused job shows no progress");
        return 0;
    }

    const bool edit = border != 0;  // every rectangle here is small enough for the local road
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t m = at(mask, x, y), o = at(out, x, y);
            const unsigned char was = marks[m], now = mask.bytes[m];
            if (!rect.contains(x, y)) {
                fuzz::require(now == was, "marks outside the rectangle are untouched");
                for (int c = 0; c < 4; ++c)
                    fuzz::require(out.bytes[o + c] == outBefore[o + c], "the result outside the rectangle is untouched");
                continue;
            }
            const bool handsOver = was == 0xFF || was == 0x01;
            if (out.bytes[o + 3] != outBefore[o + 3])
                fuzz::require(handsOver && out.bytes[o + 3] == image.bytes[at(image, x, y, 3)],
                              "byte 3 of the result is only ever the source pixel's under a 0xFF or 0x01 mark");
            if (rc != 1) {
                fuzz::require((now & 1) == (aux.bytes[at(aux, x, y)] & 1), "a failure gives the host its mark bits back");
                continue;
            }
            if (edit && !auxAgrees) continue;
            if (was & 1) {
                fuzz::require(now == was, "fixed marks come back exactly");
                if (handsOver && !edit)
                    for (int c = recoverColours ? 3 : 0; c < 4; ++c)
                        fuzz::require(out.bytes[o + c] == image.bytes[at(image, x, y, c)],
                                      "0xFF and 0x01 hand their source pixel to the result");
                continue;
            }
            fuzz::require(!(now & 1), "solved pixels are even");
            if (edit && mode == 0) fuzz::require(now <= was, "an edit in mode 0 only removes");
            if (edit && mode == 1) fuzz::require(now >= was, "an edit in mode 1 only adds");
        }
    return 0;
}
