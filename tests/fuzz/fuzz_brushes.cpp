// Fuzzes the selection brushes on one image and mark mask: the hair brush,
// the colour-range brush and desaturation, with any segment, radius, colours,
// tolerance and amount. Checks that each returns 1, reads the image without
// writing it (desaturation: never byte 3, never a pixel whose alpha is odd),
// changes marks only under its brush and only to what it may write (hair: odd
// levels; colour range: 0xFF or 0x01 on pixels that were not fixed), and never
// touches the bytes between rows.
#include <algorithm>

#include "fuzz_support.h"
#include "qxmatte.h"

namespace {

struct Scene {
    fuzz::Size size;
    fuzz::HostImage image, mask;
    explicit Scene(fuzz::Size s)
        : size(s), image(s.width, s.height, 4, s.extraStep * 4), mask(s.width, s.height, 1, s.extraStep) {}
};

// Pixels changed between two copies of a mask lie inside [x0, x1] x [y0, y1].
void changesWithin(const fuzz::HostImage& after, const std::vector<unsigned char>& before, long x0, long y0, long x1,
                   long y1, const char* what) {
    for (int y = 0; y < after.height; ++y)
        for (int x = 0; x < after.width; ++x)
            if (after.bytes[size_t(y) * after.step + x] != before[size_t(y) * after.step + x])
                fuzz::require(x >= x0 && x <= x1 && y >= y0 && y <= y1, what);
}

QxJob jobOf(Scene& s) {
    QxJob job{};
    job.imagePixels = s.image.data();
    job.imageStep = s.image.step;
    job.maskPixels = s.mask.data();
    job.maskStep = s.mask.step;
    job.width = s.size.width;
    job.height = s.size.height;
    return job;
}

void hairOrColourRange(FuzzedDataProvider& in, bool hair) {
    const fuzz::Size size = fuzz::consumeSize(in, 300, 40000);
    Scene s(size);
    int x1 = fuzz::consumeCoordinate(in, size.width), y1 = fuzz::consumeCoordinate(in, size.height);
    int x2 = fuzz::consumeCoordinate(in, size.width), y2 = fuzz::consumeCoordinate(in, size.height);
    const int radius = in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 6) : in.ConsumeIntegralInRange(-2, 400);
    unsigned char colourA[3], colourB[3];
    for (unsigned char& c : colourA) c = in.ConsumeIntegral<unsigned char>();
    for (unsigned char& c : colourB) c = in.ConsumeIntegral<unsigned char>();
    const int tolerance = in.ConsumeIntegralInRange(-5, 500);
    const int keep = in.ConsumeIntegral<int>();
    s.image.fill(in);
    s.mask.fill(in);
    const std::vector<unsigned char> image = s.image.bytes, marks = s.mask.bytes;
    QxJob job = jobOf(s);
    job.hairColour = colourA;
    job.backdropColour = colourB;
    fuzz::trace("%s %dx%d (%d,%d)-(%d,%d) radius %d tolerance %d", hair ? "qxHairSelect" : "qxColorRangeSelect",
                size.width, size.height, x1, y1, x2, y2, radius, tolerance);
    const int rc = hair ? qxHairSelect(&job, x1, y1, x2, y2, radius)
                        : qxColorRangeSelect(&job, x1, y1, x2, y2, radius, colourA, tolerance, keep);
    fuzz::require(rc == 1, "a brush returns 1");
    fuzz::require(s.image.bytes == image, "a brush never writes the image");
    fuzz::require(s.mask.gapsIntact(), "a brush writes only inside the mask's rows");
    const long r = std::min(std::max(radius, 0), 16383);
    changesWithin(s.mask, marks, long(std::min(x1, x2)) - r, long(std::min(y1, y2)) - r, long(std::max(x1, x2)) + r,
                  long(std::max(y1, y2)) + r, "a brush changes marks only under its rectangle");
    for (size_t i = 0; i < marks.size(); ++i) {
        const unsigned char now = s.mask.bytes[i], was = marks[i];
        if (now == was) continue;
        if (hair) {
            fuzz::require(now & 1, "the hair brush writes fixed (odd) levels");
        } else {
            fuzz::require(!(was & 1), "the colour-range brush keeps fixed marks");
            fuzz::require(now == (keep ? 0xFF : 0x01), "the colour-range brush writes keep or cut");
        }
    }
}

void desaturate(FuzzedDataProvider& in) {
    const fuzz::Size size = fuzz::consumeSize(in, 300, 40000);
    Scene s(size);
    const float amount = in.ConsumeBool() ? in.ConsumeProbability<float>()
                                          : in.ConsumeFloatingPointInRange<float>(-3.0f, 3.0f);
    s.image.fill(in);
    s.mask.fill(in);
    const std::vector<unsigned char> image = s.image.bytes, alpha = s.mask.bytes;
    fuzz::trace("qxDesaturation %dx%d amount %g", size.width, size.height, double(amount));
    fuzz::require(qxDesaturation(s.image.data(), s.image.step, size.width, size.height, s.mask.data(), s.mask.step,
                                 amount) == 1,
                  "qxDesaturation returns 1");
    fuzz::require(s.mask.bytes == alpha, "qxDesaturation never writes the alpha plane");
    fuzz::require(s.image.gapsIntact(), "qxDesaturation writes only inside the image's rows");
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const size_t p = size_t(y) * s.image.step + size_t(x) * 4;
            fuzz::require(s.image.bytes[p + 3] == image[p + 3], "qxDesaturation never writes byte 3");
            if (alpha[size_t(y) * s.mask.step + x] & 1)
                for (int c = 0; c < 3; ++c)
                    fuzz::require(s.image.bytes[p + c] == image[p + c], "fixed pixels are not desaturated");
        }
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
