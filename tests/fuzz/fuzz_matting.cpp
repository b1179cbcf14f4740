// Fuzzes qxMaskAlpha: three colour planes and a mark mask of 1 to a few
// hundred pixels a side, any marks, any stretch bounds (input bounds with
// different low bytes, as the host must pass them), and an unknown estimate
// that is usually the true count and sometimes large enough to force the
// half-size and reduced paths. Checks the return value against the
// documented set, the progress bar, that the planes and the bytes between
// rows are never written, and that 0 and 255 come back only where the host
// marked exactly that value.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const fuzz::Size s = fuzz::consumeSize(in, 300, 3000);
    const int w = s.width, h = s.height;
    int inHigh = 255, inLow = 0, outHigh = 255, outLow = 0;
    if (in.ConsumeBool()) {
        inHigh = in.ConsumeIntegral<int>();
        inLow = in.ConsumeIntegral<int>();
        if ((inHigh & 0xFF) == (inLow & 0xFF)) inLow ^= 1;
    }
    if (in.ConsumeBool()) {
        outHigh = in.ConsumeIntegral<int>();
        outLow = in.ConsumeIntegral<int>();
    }
    const int estimateKind = in.ConsumeIntegralInRange(0, 7);
    const float wildEstimate = in.ConsumeFloatingPointInRange<float>(0.0f, 2.0e7f);
    const bool withProgress = in.ConsumeBool();
    const int markStyle = in.ConsumeIntegralInRange(0, 2);

    fuzz::HostImage planes[3] = {{w, h, 1, s.extraStep}, {w, h, 1, s.extraStep}, {w, h, 1, s.extraStep}};
    fuzz::HostImage marks(w, h, 1, in.ConsumeIntegralInRange(0, 9));
    for (fuzz::HostImage& p : planes) p.fill(in);
    marks.fill(in);
    if (markStyle != 2) {
        // Mostly known marks, keep on the right, with some unknown among
        // them: the common case, and a quicker solve.
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                unsigned char& m = marks.at(x, y);
                m = (m % 7 == 0) ? m : (x * 3 < w * (markStyle + 1) ? 0 : 255);
            }
    }
    fuzz::snapshot(planes[0], planes[1], planes[2], marks);

    int unknown = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) unknown += marks.at(x, y) != 0 && marks.at(x, y) != 255;
    const float estimate = estimateKind == 0 ? wildEstimate : static_cast<float>(unknown);

    unsigned char* planePointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    fuzz::Progress bar{130, 130};
    QxMaskJob job{};
    job.planes = planePointers;
    job.planeStep = planes[0].step;
    job.marksPixels = marks.data();
    job.marksStep = marks.step;
    job.width = w;
    job.height = h;
    job.progressCallback = withProgress ? fuzz::Progress::tick : nullptr;
    job.progressCookie = withProgress ? &bar : nullptr;
    fuzz::trace("qxMaskAlpha %dx%d steps %d/%d estimate %g in %d..%d out %d..%d unknown %d", w, h, job.planeStep,
                job.marksStep, double(estimate), inLow, inHigh, outLow, outHigh, unknown);

    const int rc = qxMaskAlpha(&job, 0, estimate, inHigh, inLow, outHigh, outLow);
    fuzz::require(fuzz::oneOf(rc, {1, -1000, -1001, -1005, -898, -897, -888, -887, -879, -878, -877, -875, -870}),
                  "qxMaskAlpha returns 1 or a documented failure");
    for (const fuzz::HostImage& p : planes) fuzz::require(p.unchanged(), "qxMaskAlpha never writes a plane");
    fuzz::require(marks.gapsIntact(), "qxMaskAlpha writes only inside the mask's rows");
    if (rc != 1) return 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const unsigned char a = marks.at(x, y), m = marks.was(x, y);
            if (a == 0) fuzz::require(m == 0, "alpha 0 only where the host marked 0");
            if (a == 255) fuzz::require(m == 255, "alpha 255 only where the host marked 255");
        }
    return 0;
}
