// Fuzzes both foreground exports: an image of four-byte pixels, an alpha
// plane, the second plane and an output image of 1 to a few hundred pixels a
// side, any rectangle inside the image, either edge blending or cell border.
// Checks the return value against the documented set, that the image and the
// two planes are never written, that the output changes only inside the
// rectangle less its frame (3 pixels; 1 for a cell with roiBorder 0), never
// in byte 3, never between rows, and not at all after a failure.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const bool cell = in.ConsumeBool();
    const fuzz::Size s = fuzz::consumeSize(in, 400, 16000);
    const int w = s.width, h = s.height;
    fuzz::Rect roi{in.ConsumeIntegralInRange(0, w - 1), in.ConsumeIntegralInRange(0, h - 1), 0, 0};
    roi.w = in.ConsumeIntegralInRange(1, w - roi.x);
    roi.h = in.ConsumeIntegralInRange(1, h - roi.y);
    const int flag = in.ConsumeIntegral<int>();
    const int roiBorder = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange(-5, 40);
    const bool softAlpha = in.ConsumeBool();

    fuzz::HostImage image(w, h, 4, s.extraStep * 4), alpha(w, h, 1, s.extraStep), aux(w, h, 1, 0);
    fuzz::HostImage out(w, h, 4, in.ConsumeIntegralInRange(0, 3) * 4);
    image.fill(in);
    alpha.fill(in);
    // Mostly definite alpha with a soft band: what matting hands over.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w && !softAlpha; ++x)
            if (alpha.at(x, y) % 4 != 0) alpha.at(x, y) = (x + y) * 2 < w + h ? 0 : 255;
    aux.fill(in);
    out.fill(in);
    fuzz::snapshot(image, alpha, aux, out);

    QxJob job = fuzz::hostJob(image, alpha, &out, &aux);
    fuzz::setRoi(job, roi, roiBorder);
    // qxRecoverForeground reports to the bar an earlier call left: one bar outlives every input.
    static fuzz::Progress bar;
    job.progressCallback = fuzz::Progress::tick;
    job.progressCookie = &bar;
    fuzz::trace("%s %dx%d roi %d,%d %dx%d border %d flag %d", cell ? "qxRecoverForegroundCell" : "qxRecoverForeground",
                w, h, roi.x, roi.y, roi.w, roi.h, roiBorder, flag);

    const int rc = cell ? qxRecoverForegroundCell(&job, flag) : qxRecoverForeground(&job, flag);
    const int success = cell ? 1 : 0;
    // -1 memory, -1000 anything else; tile codes: 102, 103, 112, 113 (buffers),
    // 121-125 (solver), 1, 6, 9, 11 (foreground statuses).
    fuzz::require(fuzz::oneOf(rc, {success, -1, -1000, 102, 103, 112, 113, 121, 122, 123, 125, 1, 6, 9, 11}),
                  "foreground export returns success or a documented failure");
    fuzz::require(image.unchanged() && alpha.unchanged() && aux.unchanged(), "the image and both planes are only read");
    if (rc != success) {
        fuzz::require(out.unchanged(), "the output is untouched after a failure");
        return 0;
    }
    const int frame = (cell && roiBorder == 0) ? 1 : 3;
    out.requireSameOutside({roi.x + frame, roi.y + frame, roi.w - 2 * frame, roi.h - 2 * frame},
                           "the output is written only inside the rectangle less its frame");
    out.requireChannelKept(3, "byte 3 of the output is never written");
    return 0;
}
