// Fuzzes both foreground exports: an image of four-byte pixels, an alpha
// plane, the second plane and an output image of 1 to a few hundred pixels a
// side, any rectangle inside the image, either edge blending or cell border.
// Checks the return value against the documented set, that the image and the
// two planes are never written, that the output changes only inside the
// rectangle less its frame (3 pixels; 1 for a cell with roiBorder 0), never
// in byte 3, never between rows, and not at all after a failure.
#include "fuzz_support.h"
#include "qxmatte.h"

namespace {

int onProgress(int value, int total, void*) {
    fuzz::require(value >= 0 && value <= total, "progress stays within its total");
    return 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const bool cell = in.ConsumeBool();
    const fuzz::Size s = fuzz::consumeSize(in, 400, 16000);
    const int w = s.width, h = s.height;
    const int roiX = in.ConsumeIntegralInRange(0, w - 1), roiY = in.ConsumeIntegralInRange(0, h - 1);
    const int roiW = in.ConsumeIntegralInRange(1, w - roiX), roiH = in.ConsumeIntegralInRange(1, h - roiY);
    const int flag = in.ConsumeIntegral<int>();
    const int roiBorder = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange(-5, 40);
    const bool softAlpha = in.ConsumeBool();

    fuzz::HostImage image(w, h, 4, s.extraStep * 4), alpha(w, h, 1, s.extraStep), aux(w, h, 1, 0);
    fuzz::HostImage out(w, h, 4, in.ConsumeIntegralInRange(0, 3) * 4);
    image.fill(in);
    alpha.fill(in);
    if (!softAlpha) {
        // Mostly definite alpha with a soft band: what matting hands over.
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                unsigned char& a = alpha.at(x, y);
                if (a % 4 != 0) a = (x + y) * 2 < w + h ? 0 : 255;
            }
    }
    aux.fill(in);
    out.fill(in);
    const std::vector<unsigned char> imageBefore = image.bytes, alphaBefore = alpha.bytes, auxBefore = aux.bytes,
                                     outBefore = out.bytes;

    QxJob job{};
    job.imagePixels = image.data();
    job.imageStep = image.step;
    job.maskPixels = alpha.data();
    job.maskStep = alpha.step;
    job.outPixels = out.data();
    job.outStep = out.step;
    job.auxPixels = aux.data();
    job.auxStep = aux.step;
    job.width = w;
    job.height = h;
    job.roiX = roiX;
    job.roiY = roiY;
    job.roiWidth = roiW;
    job.roiHeight = roiH;
    job.roiBorder = roiBorder;
    job.progressCallback = onProgress;
    job.progressCookie = &job;
    fuzz::trace("%s %dx%d roi %d,%d %dx%d border %d flag %d", cell ? "qxRecoverForegroundCell" : "qxRecoverForeground",
                w, h, roiX, roiY, roiW, roiH, roiBorder, flag);

    const int rc = cell ? qxRecoverForegroundCell(&job, flag) : qxRecoverForeground(&job, flag);
    const int success = cell ? 1 : 0;
    // -1 memory, -1000 anything else; tile codes: 102, 103, 112, 113 (buffers),
    // 121-125 (solver), 1, 6, 9, 11 (foreground statuses).
    fuzz::require(fuzz::oneOf(rc, {success, -1, -1000, 102, 103, 112, 113, 121, 122, 123, 125, 1, 6, 9, 11}),
                  "foreground export returns success or a documented failure");
    fuzz::require(image.bytes == imageBefore, "the image is never written");
    fuzz::require(alpha.bytes == alphaBefore, "the alpha plane is never written");
    fuzz::require(aux.bytes == auxBefore, "the second plane is never written");
    if (rc != success) {
        fuzz::require(out.bytes == outBefore, "the output is untouched after a failure");
        return 0;
    }
    const int frame = (cell && roiBorder == 0) ? 1 : 3;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool inside = x >= roiX + frame && x < roiX + roiW - frame && y >= roiY + frame &&
                                y < roiY + roiH - frame;
            for (int c = 0; c < 4; ++c) {
                const size_t i = size_t(y) * out.step + size_t(x) * 4 + c;
                if (!inside || c == 3)
                    fuzz::require(out.bytes[i] == outBefore[i],
                                  c == 3 ? "byte 3 of the output is never written"
                                         : "the output is written only inside the rectangle less its frame");
            }
        }
    fuzz::require(out.gapsIntact(), "the output is written only inside its rows");
    return 0;
}
