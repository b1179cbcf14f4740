// Fuzzes the display and tone exports on host images of four-byte (display)
// and three-byte (tone) pixels: qxShowImageAlpha over any marks, bounds, mode
// and colour; qxShowKeepBlend of a second image at least as large; the two
// auto-level tools with any target and mode. Checks return values, that byte
// 3 of four-byte pixels is kept (or made opaque by the opaque display modes),
// that the read-only planes and the bytes between rows are never written, and
// that auto level never darkens.
#include "fuzz_support.h"

namespace {

void showImageAlpha(FuzzedDataProvider& in, const fuzz::Size& s) {
    fuzz::HostImage image(s.width, s.height, 4, s.extraStep * 4),
        alpha(s.width, s.height, 1, in.ConsumeIntegralInRange(0, 7));
    const int high = in.ConsumeIntegral<int>(), low = in.ConsumeIntegral<int>(), mode = in.ConsumeIntegralInRange(-2, 12);
    unsigned char colour[3];
    for (unsigned char& c : colour) c = in.ConsumeIntegral<unsigned char>();
    image.fill(in);
    alpha.fill(in);
    fuzz::snapshot(image, alpha);
    // Now and then a NULL image or alpha: refused with -1 in every known mode.
    const int missing = in.ConsumeIntegralInRange(0, 15);
    unsigned char* pixels = missing == 0 ? nullptr : image.data();
    const unsigned char* marks = missing == 1 ? nullptr : alpha.data();
    fuzz::trace("qxShowImageAlpha %dx%d high %d low %d mode %d missing %d", s.width, s.height, high, low, mode, missing);
    const int rc = qxShowImageAlpha(pixels, image.step, s.width, s.height, marks, alpha.step, high, low, mode, colour);
    // Modes 3 to 6 stretch the alpha from [low, high]: equal low bytes leave nothing to stretch from.
    const bool known = mode >= 1 && mode <= 6;
    const bool nothingToStretch = mode >= 3 && mode <= 6 && (high & 0xFF) == (low & 0xFF);
    const bool refused = known && (nothingToStretch || !pixels || !marks);
    fuzz::require(rc == (refused ? -1 : 1), "qxShowImageAlpha returns 1, or -1 for equal stretch bounds or NULL");
    fuzz::require(alpha.unchanged(), "qxShowImageAlpha never writes the marks");
    fuzz::require(image.gapsIntact(), "a display export writes only inside the image's rows");
    if (rc != 1) {
        fuzz::require(image.unchanged(), "a refused display call changes nothing");
    } else if (mode >= 2 && mode <= 6) {
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                fuzz::require(image.at(x, y, 3) == 255, "the opaque display modes set byte 3 to 255");
    } else {
        image.requireChannelKept(3, "the tint and unknown modes never write byte 3");
    }
}

void showKeepBlend(FuzzedDataProvider& in, const fuzz::Size& s) {
    // The other image may be smaller by a pixel (a mismatch: nothing is mixed).
    const int otherWidth = std::max(1, s.width + in.ConsumeIntegralInRange(-1, 5)),
              otherHeight = std::max(1, s.height + in.ConsumeIntegralInRange(-1, 5));
    fuzz::HostImage image(s.width, s.height, 4, s.extraStep * 4), other(otherWidth, otherHeight, 4, 0);
    const float amount = in.ConsumeFloatingPointInRange<float>(-1.0f, 2.0f);
    image.fill(in);
    other.fill(in);
    fuzz::snapshot(image, other);
    fuzz::trace("qxShowKeepBlend %dx%d other %dx%d amount %g", s.width, s.height, otherWidth, otherHeight, double(amount));
    const bool noOther = in.ConsumeIntegralInRange(0, 15) == 0;
    qxShowKeepBlend(image.data(), image.step, s.width, s.height, noOther ? nullptr : other.data(), other.step,
                    otherWidth, otherHeight, amount);
    fuzz::require(other.unchanged(), "qxShowKeepBlend never writes the other image");
    if (noOther || otherWidth < s.width || otherHeight < s.height)
        fuzz::require(image.unchanged(), "a missing or smaller other image mixes nothing");
    image.requireChannelKept(3, "qxShowKeepBlend never writes byte 3");
}

void autoLevel(FuzzedDataProvider& in, const fuzz::Size& s, bool preview) {
    fuzz::HostImage image(s.width, s.height, 3, s.extraStep);
    const float target = in.ConsumeFloatingPointInRange<float>(-10.0f, 400.0f);
    const int mode = in.ConsumeIntegralInRange(-1, 6), level = in.ConsumeIntegralInRange(-10, 300);
    image.fill(in);
    image.snapshot();
    fuzz::trace("%s %dx%d target %g mode %d level %d", preview ? "qxPreviewAutoLevel" : "qxRGB2YCbCrAutoLevel",
                s.width, s.height, double(target), mode, level);
    if (preview) {
        fuzz::require(qxPreviewAutoLevel(image.data(), image.step, s.width, s.height, target) == 1,
                      "qxPreviewAutoLevel returns 1");
        for (size_t i = 0; i < image.bytes.size(); ++i)
            fuzz::require(image.bytes[i] >= image.before[i] || image.inGap(i), "auto level never darkens");
    } else {
        const int rc = qxRGB2YCbCrAutoLevel(image.data(), image.step, s.width, s.height, mode, level);
        fuzz::require(rc == (mode >= 0 && mode <= 4 ? 1 : 0), "qxRGB2YCbCrAutoLevel returns 1, or 0 for a bad mode");
        if (rc == 0) fuzz::require(image.unchanged(), "an unknown mode changes nothing");
    }
    fuzz::require(image.gapsIntact(), "a tone export writes only inside the image's rows");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const int which = in.ConsumeIntegralInRange(0, 3);
    const fuzz::Size s = fuzz::consumeSize(in, 300, 40000);
    switch (which) {
        case 0: showImageAlpha(in, s); break;
        case 1: showKeepBlend(in, s); break;
        case 2: autoLevel(in, s, true); break;
        case 3: autoLevel(in, s, false); break;
    }
    return 0;
}
