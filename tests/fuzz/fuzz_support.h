// Shared pieces of the libFuzzer harnesses: host buffers laid out as a host
// would hand them over (rows `step` bytes apart, the last row exactly as long
// as the image, so AddressSanitizer sees any read or write past it), filled
// from the fuzz input, and the checks every export owes its host.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <vector>

#include "qxmatte.h"

namespace fuzz {

// Aborts with a message; libFuzzer records the input that got here.
[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

inline void require(bool ok, const char* what) {
    if (!ok) fail(what);
}

// With FUZZ_TRACE set, prints the call about to be made (to reproduce a
// finding as a plain test).
template <class... Args>
void trace(const char* format, Args... args) {
    static const bool on = std::getenv("FUZZ_TRACE") != nullptr;
    if (!on) return;
    std::fprintf(stderr, format, args...);
    std::fputc('\n', stderr);
}

inline bool oneOf(int value, std::initializer_list<int> allowed) {
    return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

struct Rect {
    int x, y, w, h;
    bool contains(int px, int py) const { return px >= x && px < x + w && py >= y && py < y + h; }
};

// A host image: width x height pixels of `channels` bytes, rows `step` apart,
// with the bytes between rows (when step exceeds the row) filled with a
// pattern that no export may change. `before` is the copy snapshot() took,
// for the checks after a call.
struct HostImage {
    int width = 0, height = 0, channels = 1, step = 0;
    std::vector<unsigned char> bytes, before;

    HostImage(int w, int h, int c, int extraStep) : width(w), height(h), channels(c), step(w * c + extraStep) {
        bytes.assign(static_cast<size_t>(step) * (h - 1) + static_cast<size_t>(w) * c, 0);
        for (size_t i = 0; i < bytes.size(); ++i)
            if (inGap(i)) bytes[i] = static_cast<unsigned char>(0xA5 ^ i);
    }

    unsigned char* data() { return bytes.data(); }
    size_t index(int x, int y, int c = 0) const { return size_t(y) * step + size_t(x) * channels + c; }
    unsigned char& at(int x, int y, int c = 0) { return bytes[index(x, y, c)]; }
    unsigned char was(int x, int y, int c = 0) const { return before[index(x, y, c)]; }
    bool inGap(size_t i) const { return static_cast<int>(i % step) >= width * channels; }
    void snapshot() { before = bytes; }
    bool unchanged() const { return bytes == before; }

    // Pixel bytes from the input; once the input runs dry, a pattern that
    // still has edges and both mark values in it.
    void fill(FuzzedDataProvider& in) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width * channels; ++x)
                bytes[index(0, y, x)] = in.remaining_bytes() ? in.ConsumeIntegral<unsigned char>()
                                                             : static_cast<unsigned char>((x * 37 + y * 101) & 0xFF);
    }

    // Up to maxCount rectangles (sides 1 to maxSide) of one-byte marks, each
    // one of `values`, or with anyByte sometimes any byte at all.
    void paint(FuzzedDataProvider& in, int maxCount, int maxSide, const unsigned char (&values)[8], bool anyByte) {
        const int n = in.ConsumeIntegralInRange(0, maxCount);
        for (int i = 0; i < n; ++i) {
            const int x0 = in.ConsumeIntegralInRange(0, width - 1), y0 = in.ConsumeIntegralInRange(0, height - 1);
            const int x1 = std::min(width, x0 + in.ConsumeIntegralInRange(1, maxSide));
            const int y1 = std::min(height, y0 + in.ConsumeIntegralInRange(1, maxSide));
            const unsigned char v = !anyByte || in.ConsumeBool() ? values[in.ConsumeIntegralInRange(0, 7)]
                                                                 : in.ConsumeIntegral<unsigned char>();
            for (int y = y0; y < y1; ++y)
                for (int x = x0; x < x1; ++x) at(x, y) = v;
        }
    }

    // The padding between rows is as it was made.
    bool gapsIntact() const {
        for (size_t i = 0; i < bytes.size(); ++i)
            if (inGap(i) && bytes[i] != static_cast<unsigned char>(0xA5 ^ i)) return false;
        return true;
    }

    // Every byte of the pixels outside r is as at the snapshot, and so is the
    // padding between rows.
    void requireSameOutside(const Rect& r, const char* what) const {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < channels && !r.contains(x, y); ++c)
                    require(bytes[index(x, y, c)] == before[index(x, y, c)], what);
        require(gapsIntact(), "an export writes only inside the rows of a plane");
    }

    // Every byte that differs from the snapshot passes ok(was, now).
    template <class Ok>
    void requireChanges(Ok ok, const char* what) const {
        for (size_t i = 0; i < bytes.size(); ++i)
            if (bytes[i] != before[i]) require(ok(before[i], bytes[i]), what);
    }

    // Channel c of every pixel is as at the snapshot, and so is the padding
    // between rows.
    void requireChannelKept(int c, const char* what) const {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) require(bytes[index(x, y, c)] == before[index(x, y, c)], what);
        require(gapsIntact(), "an export writes only inside the rows of a plane");
    }
};

template <class... Images>
void snapshot(Images&... images) {
    (images.snapshot(), ...);
}

// Image sizes within the host's contract: 1 to maxSide pixels a side, at most
// maxArea pixels, and a row step of the row size plus 0 to 15 bytes.
struct Size {
    int width, height, extraStep;
};

inline Size consumeSize(FuzzedDataProvider& in, int maxSide, int maxArea) {
    Size s;
    s.width = in.ConsumeIntegralInRange(1, maxSide);
    s.height = in.ConsumeIntegralInRange(1, maxSide);
    while (s.width * s.height > maxArea) (s.width > s.height ? s.width : s.height) /= 2;
    s.extraStep = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange(0, 15);
    return s;
}

// A coordinate that is usually near the image but may be anywhere.
inline int consumeCoordinate(FuzzedDataProvider& in, int side) {
    switch (in.ConsumeIntegralInRange(0, 7)) {
        case 0: return in.ConsumeIntegral<int>();
        case 1: return in.ConsumeIntegralInRange(-100000, 100000);
        default: return in.ConsumeIntegralInRange(-8, side + 8);
    }
}

// A job record over the host's image and mask, and the result image and
// second plane when given.
inline QxJob hostJob(HostImage& image, HostImage& mask, HostImage* out = nullptr, HostImage* aux = nullptr) {
    QxJob job{};
    job.imagePixels = image.data();
    job.imageStep = image.step;
    job.maskPixels = mask.data();
    job.maskStep = mask.step;
    job.outPixels = out ? out->data() : nullptr;
    job.outStep = out ? out->step : 0;
    job.auxPixels = aux ? aux->data() : nullptr;
    job.auxStep = aux ? aux->step : 0;
    job.width = image.width;
    job.height = image.height;
    return job;
}

inline void setRoi(QxJob& job, const Rect& r, int border) {
    job.roiX = r.x;
    job.roiY = r.y;
    job.roiWidth = r.w;
    job.roiHeight = r.h;
    job.roiBorder = border;
}

// A progress bar for the cookie: counts its calls and checks each stays
// within its total, and that the total is one the export may use.
struct Progress {
    int minTotal = 0, maxTotal = INT_MAX, calls = 0;
    static int tick(int value, int total, void* cookie) {
        Progress& bar = *static_cast<Progress*>(cookie);
        require(total >= bar.minTotal && total <= bar.maxTotal, "progress has its export's total");
        require(value >= 0 && value <= total, "progress stays within its total");
        ++bar.calls;
        return 1;
    }
};

}  // namespace fuzz
