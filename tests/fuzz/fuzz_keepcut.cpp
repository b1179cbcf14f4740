// Fuzzes qxKeepCutToAlpha on all three roads: the full-size and half-size
// tile trees and the local re-solve of an edit inside a border, with any
// marks (painted rectangles of soft and fixed values over a base, or raw
// bytes), rectangle, border, merge mode, colour recovery and memory budget.
// Checks the return value against the documented set; that a refused job
// touches nothing; that the image and the host's marks plane are never
// written, nor anything outside the rectangle or between rows; that byte 3 of
// the result image changes only where a 0xFF or 0x01 mark hands over its
// source pixel; that on failure bit 0 of every mark is the host's again; and
// that on success fixed marks come back exactly (but for fixed cut left as 0
// by an edit whose solve failed inside; 0xFF and 0x01 with their
// source colour on the tile roads), solved pixels are even, and an edit only
// removes (mode 0) or only adds (mode 1).
#include "fuzz_support.h"

// The memory budget is the machine's; here the input chooses it, so that the
// local road goes through every pyramid depth and block layout while each
// solve stays small. This definition stands in for the library's at link time.
namespace qx {
static int fuzzBudgetK = 3500000;
int memoryBudgetK() { return fuzzBudgetK; }
}  // namespace qx

namespace {

using fuzz::Rect;

// A base value with a few rectangles of mark values, soft and fixed, or raw
// bytes from the input.
void paintMarks(FuzzedDataProvider& in, fuzz::HostImage& mask) {
    static const unsigned char values[] = {0x00, 0x01, 0xFE, 0xFF, 0x7E, 0x7F, 0x80, 0x41};
    if (in.ConsumeIntegralInRange(0, 5) == 0) return mask.fill(in);
    const unsigned char base = values[in.ConsumeIntegralInRange(0, 7)];
    for (int y = 0; y < mask.height; ++y)
        for (int x = 0; x < mask.width; ++x) mask.at(x, y) = base;
    mask.paint(in, 6, 120, values, true);
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

    fuzz::snapshot(image, out, mask, aux);
    QxJob job = fuzz::hostJob(image, mask, &out, &aux);
    fuzz::setRoi(job, rect, border);
    job.recoverColors = recoverColours;
    job.keepCutMode = mode;
    fuzz::Progress bar{1};  // a positive total
    job.progressCallback = progress ? fuzz::Progress::tick : nullptr;
    job.progressCookie = &bar;
    fuzz::trace("qxKeepCutToAlpha %dx%d rect %d,%d %dx%d border %d mode %d fullSize %d colours %d budget %d aux %d",
                w, h, rect.x, rect.y, rect.w, rect.h, border, mode, fullSize, int(recoverColours), qx::fuzzBudgetK,
                int(auxAgrees));
    const int rc = qxKeepCutToAlpha(&job, fullSize);
    fuzz::require(fuzz::oneOf(rc, {1, -3, -5, -1, 102, 103, 112, 113, 121, 122, 123, 125, 130, -1000}),
                  "qxKeepCutToAlpha returns 1 or a documented failure");
    fuzz::require(image.unchanged() && aux.unchanged(), "the image and the host's marks are only read");
    if (rc == -3) {
        fuzz::require(mask.unchanged() && out.unchanged() && bar.calls == 0, "a refused job touches nothing");
        return 0;
    }
    mask.requireSameOutside(rect, "marks outside the rectangle are untouched");
    out.requireSameOutside(rect, "the result outside the rectangle is untouched");
    if (border == 0 && std::min(rect.w, rect.h) < 3)
        fuzz::require(rc == -5, "a rectangle under 3 pixels thick has no window to solve: -5");

    const bool edit = border != 0;  // every rectangle here is small enough for the local road
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (!rect.contains(x, y)) continue;  // (checked above)
            const unsigned char was = mask.was(x, y), now = mask.at(x, y);
            const bool handsOver = was == 0xFF || was == 0x01;
            if (out.at(x, y, 3) != out.was(x, y, 3))
                fuzz::require(handsOver && out.at(x, y, 3) == image.at(x, y, 3),
                              "byte 3 of the result is only ever the source pixel's under a 0xFF or 0x01 mark");
            if (rc != 1) {
                fuzz::require((now & 1) == (aux.at(x, y) & 1), "a failure gives the host its mark bits back");
                continue;
            }
            if (edit && !auxAgrees) continue;
            if (was & 1) {
                // A local solve that fails inside (its factor over the
                // budget) leaves the marks as it prepared them for the
                // solver, fixed cut as 0, and the export still reports 1.
                const bool preparedCut = edit && was == 0x01 && now == 0x00;
                fuzz::require(now == was || preparedCut, "fixed marks come back exactly");
                for (int c = recoverColours ? 3 : 0; c < 4 && handsOver && !edit; ++c)
                    fuzz::require(out.at(x, y, c) == image.at(x, y, c),
                                  "0xFF and 0x01 hand their source pixel to the result");
                continue;
            }
            fuzz::require(!(now & 1), "solved pixels are even");
            if (edit && mode == 0) fuzz::require(now <= was, "an edit in mode 0 only removes");
            if (edit && mode == 1) fuzz::require(now >= was, "an edit in mode 1 only adds");
        }
    return 0;
}
