// Fuzzes a GrabCut session as a host drives it: one to three passes of
// qxGrabCut with marks painted in between (soft and fixed, sometimes a
// rectangle of another size), optionally the band of qxGrabCutEdgeGen, and
// qxGrabCutDeleteBuf at the end (which must free the session: the leak
// checker runs). Checks return values against the documented set, that a
// refused pass touches nothing, that fixed marks come back exactly and every
// other pixel of the rectangle even, that the band holds only its three values
// and the fixed marks, the final fixing of certain pixels, and that nothing
// outside the grab rectangle or between rows changes and the image is never
// written.
#include "fuzz_support.h"

namespace {

using fuzz::Rect;

const unsigned char kMarkValues[] = {0x00, 0x01, 0xFE, 0xFF, 0x7E, 0x7F, 0x40, 0x41};

Rect consumeRect(FuzzedDataProvider& in, int width, int height) {
    Rect r;
    if (in.ConsumeIntegralInRange(0, 15) == 0) {  // anything at all: a refusal
        r = {in.ConsumeIntegralInRange(-300, 600), in.ConsumeIntegralInRange(-300, 600),
             in.ConsumeIntegralInRange(-10, 700), in.ConsumeIntegralInRange(-10, 700)};
        return r;
    }
    r.w = std::min(width, in.ConsumeIntegralInRange(11, 260));
    r.h = std::min(height, in.ConsumeIntegralInRange(11, 260));
    r.x = in.ConsumeIntegralInRange(0, width - r.w);
    r.y = in.ConsumeIntegralInRange(0, height - r.h);
    return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const int width = in.ConsumeIntegralInRange(101, 280), height = in.ConsumeIntegralInRange(20, 280);
    const int extra = in.ConsumeIntegralInRange(0, 5);
    fuzz::HostImage image(width, height, 4, 4 * extra), mask(width, height, 1, extra), aux(width, height, 1, 0);
    Rect rect = consumeRect(in, width, height);
    const int passes = in.ConsumeIntegralInRange(1, 3);
    const bool band = in.ConsumeBool();
    // Now and then a band far wider than any rectangle: it costs no more.
    const int bandWidth = in.ConsumeIntegralInRange(0, 7) == 0 ? in.ConsumeIntegralInRange(600, INT_MAX)
                                                                 : in.ConsumeIntegralInRange(-2, 30);
    image.fill(in);
    // Background on the left, foreground on the right unless painted over.
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) mask.at(x, y) = x < width / 2 ? 0x00 : 0xFE;
    mask.paint(in, 4, 80, kMarkValues, false);
    aux.fill(in);
    image.snapshot();

    QxJob job = fuzz::hostJob(image, mask, nullptr, &aux);
    int last = -2;
    for (int pass = 0; pass < passes; ++pass) {
        if (pass > 0) {
            mask.paint(in, 4, 80, kMarkValues, false);
            if (in.ConsumeIntegralInRange(0, 7) == 0) rect = consumeRect(in, width, height);
        }
        job.grabX = rect.x;
        job.grabY = rect.y;
        job.grabWidth = rect.w;
        job.grabHeight = rect.h;
        fuzz::snapshot(mask, aux);
        fuzz::trace("qxGrabCut %dx%d rect %d,%d %dx%d pass %d", width, height, rect.x, rect.y, rect.w, rect.h, pass);
        last = qxGrabCut(&job, in.ConsumeIntegral<int>());
        fuzz::require(fuzz::oneOf(last, {1, -2, -1, -1000, -898, -897, -888, -887, -879, -878, -877, -875, -870}),
                      "qxGrabCut returns 1 or a documented failure");
        fuzz::require(image.unchanged(), "GrabCut never writes the image");
        if (last == -2) {
            fuzz::require(mask.unchanged() && aux.unchanged(), "a refused pass touches nothing");
            continue;
        }
        mask.requireSameOutside(rect, "qxGrabCut changes marks only inside its rectangle");
        aux.requireSameOutside(rect, "qxGrabCut changes the second plane only inside its rectangle");
        for (int y = rect.y; y < rect.y + rect.h && last == 1; ++y)
            for (int x = rect.x; x < rect.x + rect.w; ++x) {
                const unsigned char was = mask.was(x, y), now = mask.at(x, y);
                if (was & 1) fuzz::require(now == was, "qxGrabCut gives fixed marks back exactly");
                else fuzz::require(!(now & 1), "qxGrabCut leaves every other pixel even");
                fuzz::require(aux.at(x, y) == now, "both planes hold the same selection");
            }
    }

    if (band) {
        fuzz::snapshot(mask, aux);
        fuzz::trace("qxGrabCutEdgeGen band %d", bandWidth);
        qxGrabCutEdgeGen(&job, bandWidth);
        fuzz::require(aux.unchanged(), "the band leaves the selection as it was");
        mask.requireSameOutside(rect, "the band stays inside the rectangle");
        for (int y = rect.y; y < rect.y + rect.h && last == 1 && bandWidth >= 0; ++y)
            for (int x = rect.x; x < rect.x + rect.w; ++x) {
                const unsigned char v = mask.at(x, y), a = aux.at(x, y);
                fuzz::require(v == 0x7E || v == 0xFE || v == 0x00 || ((a & 1) && v == a),
                              "the band holds keep, unknown, cut and the fixed marks");
            }
        // Past twice the rectangle's width plus height every width draws the same band.
        if (bandWidth > 2 * (rect.w + rect.h) + 1 && rect.w > 0 && rect.h > 0) {
            fuzz::snapshot(mask, aux);
            qxGrabCutEdgeGen(&job, 2 * (rect.w + rect.h));
            fuzz::require(mask.unchanged(), "a band wider than the rectangle's reach is that reach's band");
        }
    }

    fuzz::snapshot(mask, aux);
    qxGrabCutDeleteBuf(&job);
    mask.requireSameOutside(rect, "the end of the session changes marks only inside the rectangle");
    aux.requireSameOutside(rect, "the end of the session changes the second plane only inside the rectangle");
    for (int y = rect.y; y < rect.y + rect.h && last == 1; ++y)
        for (int x = rect.x; x < rect.x + rect.w; ++x) {
            const unsigned char was = mask.was(x, y), now = mask.at(x, y);
            const unsigned char want = was <= 0x01 ? 0x01 : was >= 0xFE ? 0xFF : (was & 0xFE);
            fuzz::require(now == want, "the end of the session fixes certain pixels");
            fuzz::require(aux.at(x, y) == now, "the fixed marks are copied to the second plane");
        }
    fuzz::require(job.grabCutSession == nullptr, "the end of the session clears the record's field");
    // A second end finds no session and nothing left to fix.
    if (last == 1) {
        fuzz::snapshot(mask, aux);
        qxGrabCutDeleteBuf(&job);
        fuzz::require(mask.unchanged() && aux.unchanged(), "a second end of the session changes nothing");
    }
    return 0;
}
