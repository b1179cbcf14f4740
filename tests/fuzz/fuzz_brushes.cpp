// Fuzzes the selection brushes on one image and mark mask: the hair brush,
// the colour-range brush and desaturation, with any segment, radius, colours,
// tolerance and amount. Checks that each returns 1, reads the image without
// writing it (desaturation: never byte 3, never a pixel whose alpha is odd),
// changes marks only under its brush and only to what it may write (hair: odd
// levels; colour range: 0xFF or 0x01 on pixels that were not fixed), and never
// touches the bytes between rows.
#include "fuzz_support.h"

namespace {

void hairOrColourRange(FuzzedDataProvider& in, bool hair) {
    const fuzz::Size s = fuzz::consumeSize(in, 300, 40000);
    fuzz::HostImage image(s.width, s.height, 4, s.extraStep * 4), mask(s.width, s.height, 1, s.extraStep);
    int x1 = fuzz::consumeCoordinate(in, s.width), y1 = fuzz::consumeCoordinate(in, s.height);
    int x2 = fuzz::consumeCoordinate(in, s.width), y2 = fuzz::consumeCoordinate(in, s.height);
    const int radius = in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 6) : in.ConsumeIntegralInRange(-2, 400);
    unsigned char colourA[3], colourB[3];
    for (unsigned char& c : colourA) c = in.ConsumeIntegral<unsigned char>();
    for (unsigned char& c : colourB) c = in.ConsumeIntegral<unsigned char>();
    const int tolerance = in.ConsumeIntegralInRange(-5, 500);
    const int keep = in.ConsumeIntegral<int>();
    image.fill(in);
    mask.fill(in);
    fuzz::snapshot(image, mask);
    QxJob job = fuzz::hostJob(image, mask);
    job.hairColour = colourA;
    job.backdropColour = colourB;
    fuzz::trace("%s %dx%d (%d,%d)-(%d,%d) radius %d tolerance %d", hair ? "qxHairSelect" : "qxColorRangeSelect",
                s.width, s.height, x1, y1, x2, y2, radius, tolerance);
    const int rc = hair ? qxHairSelect(&job, x1, y1, x2, y2, radius)
                        : qxColorRangeSelect(&job, x1, y1, x2, y2, radius, colourA, tolerance, keep);
    fuzz::require(rc == 1, "a brush returns 1");
    fuzz::require(image.unchanged(), "a brush never writes the image");
    // The segment's box grown by the radius, cut to the image plus a pixel so that it fits in an int.
    const long r = std::min(std::max(radius, 0), 16383);
    const auto cut = [](long v, int side) { return int(std::clamp(v, -1L, long(side))); };
    const int bx = cut(std::min(x1, x2) - r, s.width), by = cut(std::min(y1, y2) - r, s.height);
    const fuzz::Rect box{bx, by, cut(std::max(x1, x2) + r, s.width) - bx + 1,
                         cut(std::max(y1, y2) + r, s.height) - by + 1};
    mask.requireSameOutside(box, "a brush changes marks only under its rectangle");
    if (hair) mask.requireChanges([](int, int now) { return now & 1; }, "the hair brush writes fixed (odd) levels");
    if (!hair) {
        mask.requireChanges([](int was, int) { return !(was & 1); }, "the colour-range brush keeps fixed marks");
        mask.requireChanges([&](int, int now) { return now == (keep ? 0xFF : 0x01); },
                            "the colour-range brush writes keep or cut");
    }
}

void desaturate(FuzzedDataProvider& in) {
    const fuzz::Size s = fuzz::consumeSize(in, 300, 40000);
    fuzz::HostImage image(s.width, s.height, 4, s.extraStep * 4), alpha(s.width, s.height, 1, s.extraStep);
    const float amount = in.ConsumeBool() ? in.ConsumeProbability<float>()
                                          : in.ConsumeFloatingPointInRange<float>(-3.0f, 3.0f);
    image.fill(in);
    alpha.fill(in);
    fuzz::snapshot(image, alpha);
    fuzz::trace("qxDesaturation %dx%d amount %g", s.width, s.height, double(amount));
    fuzz::require(qxDesaturation(image.data(), image.step, s.width, s.height, alpha.data(), alpha.step,
                                 amount) == 1,
                  "qxDesaturation returns 1");
    fuzz::require(alpha.unchanged(), "qxDesaturation never writes the alpha plane");
    image.requireChannelKept(3, "qxDesaturation never writes byte 3");
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            for (int c = 0; c < 3 && (alpha.was(x, y) & 1); ++c)
                fuzz::require(image.at(x, y, c) == image.was(x, y, c), "fixed pixels are not desaturated");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    switch (in.ConsumeIntegralInRange(0, 2)) {
        case 0: hairOrColourRange(in, true); break;
        case 1: hairOrColourRange(in, false); break;
        case 2: desaturate(in); break;
    }
    return 0;
}
