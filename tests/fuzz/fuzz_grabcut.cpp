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
#include <algorithm>

#include "fuzz_support.h"
#include "qxmatte.h"

namespace {

struct Rect {
    int x, y, w, h;
    bool contains(int px, int py) const { return px >= x && px < x + w && py >= y && py < y + h; }
};

// Pixels outside r are the same in both copies of a plane.
void sameOutside(const fuzz::HostImage& p, const std::vector<unsigned char>& before, const Rect& r, const char* what) {
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x)
            if (!r.contains(x, y))
                fuzz::require(p.bytes[size_t(y) * p.step + x] == before[size_t(y) * p.step + x], what);
    fuzz::require(p.gapsIntact(), "GrabCut writes only inside the planes' rows");
}

// Paints a few rectangles of mark values, soft or fixed.
void paint(FuzzedDataProvider& in, fuzz::HostImage& mask) {
    static const unsigned char values[] = {0x00, 0x01, 0xFE, 0xFF, 0x7E, 0x7F, 0x40, 0x41};
    const int n = in.ConsumeIntegralInRange(0, 4);
    for (int i = 0; i < n; ++i) {
        const int x0 = in.ConsumeIntegralInRange(0, mask.width - 1), y0 = in.ConsumeIntegralInRange(0, mask.height - 1);
        const int x1 = std::min(mask.width, x0 + in.ConsumeIntegralInRange(1, 80));
        const int y1 = std::min(mask.height, y0 + in.ConsumeIntegralInRange(1, 80));
        const unsigned char v = values[in.ConsumeIntegralInRange(0, 7)];
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) mask.at(x, y) = v;
    }
}

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
    const int bandWidth = in.ConsumeIntegralInRange(-2, 30);
    image.fill(in);
    // Background on the left, foreground on the right unless painted over.
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) mask.at(x, y) = x < width / 2 ? 0x00 : 0xFE;
    paint(in, mask);
    aux.fill(in);
    const std::vector<unsigned char> imageBytes = image.bytes;

    QxJob job{};
    job.imagePixels = image.data();
    job.imageStep = image.step;
    job.maskPixels = mask.data();
    job.maskStep = mask.step;
    job.auxPixels = aux.data();
    job.auxStep = aux.step;
    job.width = width;
    job.height = height;
    int last = -2;
    for (int pass = 0; pass < passes; ++pass) {
        if (pass > 0) {
            paint(in, mask);
            if (in.ConsumeIntegralInRange(0, 7) == 0) rect = consumeRect(in, width, height);
        }
        job.grabX = rect.x;
        job.grabY = rect.y;
        job.grabWidth = rect.w;
        job.grabHeight = rect.h;
        const std::vector<unsigned char> marks = mask.bytes, auxBefore = aux.bytes;
        fuzz::trace("qxGrabCut %dx%d rect %d,%d %dx%d pass %d", width, height, rect.x, rect.y, rect.w, rect.h, pass);
        last = qxGrabCut(&job, in.ConsumeIntegral<int>());
        fuzz::require(fuzz::oneOf(last, {1, -2, -1, -1000, -898, -897, -888, -887, -879, -878, -877, -875, -870}),
                      "qxGrabCut returns 1 or a documented failure");
        fuzz::require(image.bytes == imageBytes, "GrabCut never writes the image");
        if (last == -2) {
            fuzz::require(mask.bytes == marks && aux.bytes == auxBefore, "a refused pass touches nothing");
            continue;
        }
        sameOutside(mask, marks, rect, "qxGrabCut changes marks only inside its rectangle");
        sameOutside(aux, auxBefore, rect, "qxGrabCut changes the second plane only inside its rectangle");
        if (last != 1) continue;
        for (int y = rect.y; y < rect.y + rect.h; ++y)
            for (int x = rect.x; x < rect.x + rect.w; ++x) {
                const unsigned char was = marks[size_t(y) * mask.step + x], now = mask.at(x, y);
                if (was & 1) fuzz::require(now == was, "qxGrabCut gives fixed marks back exactly");
                else fuzz::require(!(now & 1), "qxGrabCut leaves every other pixel even");
                fuzz::require(aux.at(x, y) == now, "both planes hold the same selection");
            }
    }

    if (band) {
        const std::vector<unsigned char> marks = mask.bytes, auxBefore = aux.bytes;
        qxGrabCutEdgeGen(&job, bandWidth);
        fuzz::require(aux.bytes == auxBefore, "the band leaves the selection as it was");
        sameOutside(mask, marks, rect, "the band stays inside the rectangle");
        if (last == 1 && bandWidth >= 0)
            for (int y = rect.y; y < rect.y + rect.h; ++y)
                for (int x = rect.x; x < rect.x + rect.w; ++x) {
                    const unsigned char v = mask.at(x, y), a = aux.at(x, y);
                    fuzz::require(v == 0x7E || v == 0xFE || v == 0x00 || ((a & 1) && v == a),
                                  "the band holds keep, unknown, cut and the fixed marks");
                }
    }

    const std::vector<unsigned char> marks = mask.bytes, auxBefore = aux.bytes;
    qxGrabCutDeleteBuf(&job);
    job.grabCutSession = nullptr;
    sameOutside(mask, marks, rect, "the end of the session changes marks only inside the rectangle");
    sameOutside(aux, auxBefore, rect, "the end of the session changes the second plane only inside the rectangle");
    if (last == 1)
        for (int y = rect.y; y < rect.y + rect.h; ++y)
            for (int x = rect.x; x < rect.x + rect.w; ++x) {
                const unsigned char was = marks[size_t(y) * mask.step + x], now = mask.at(x, y);
                const unsigned char want = was <= 0x01 ? 0x01 : was >= 0xFE ? 0xFF : (was & 0xFE);
                fuzz::require(now == want, "the end of the session fixes certain pixels");
                fuzz::require(aux.at(x, y) == now, "the fixed marks are copied to the second plane");
            }
    return 0;
}
