// Shared pieces of the libFuzzer harnesses: host buffers laid out as a host
// would hand them over (rows `step` bytes apart, the last row exactly as long
// as the image, so AddressSanitizer sees any read or write past it), filled
// from the fuzz input, and the checks every export owes its host.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

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
    for (int a : allowed)
        if (a == value) return true;
    return false;
}

// A host image: width x height pixels of `channels` bytes, rows `step` apart,
// with the bytes between rows (when step exceeds the row) filled with a
// pattern that no export may change.
struct HostImage {
    int width = 0, height = 0, channels = 1, step = 0;
    std::vector<unsigned char> bytes;

    HostImage(int w, int h, int c, int extraStep) : width(w), height(h), channels(c), step(w * c + extraStep) {
        bytes.assign(static_cast<size_t>(step) * (h - 1) + static_cast<size_t>(w) * c, 0);
        for (size_t i = 0; i < bytes.size(); ++i)
            if (inGap(i)) bytes[i] = static_cast<unsigned char>(0xA5 ^ i);
    }

    unsigned char* data() { return bytes.data(); }
    unsigned char* row(int y) { return bytes.data() + static_cast<size_t>(y) * step; }
    unsigned char& at(int x, int y, int c = 0) { return row(y)[x * channels + c]; }
    bool inGap(size_t i) const { return static_cast<int>(i % step) >= width * channels; }

    // Pixel bytes from the input; once the input runs dry, a pattern that
    // still has edges and both mark values in it.
    void fill(FuzzedDataProvider& in) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width * channels; ++x)
                row(y)[x] = in.remaining_bytes() ? in.ConsumeIntegral<unsigned char>()
                                                 : static_cast<unsigned char>((x * 37 + y * 101) & 0xFF);
    }

    // The padding between rows is as it was made.
    bool gapsIntact() const {
        for (size_t i = 0; i < bytes.size(); ++i)
            if (inGap(i) && bytes[i] != static_cast<unsigned char>(0xA5 ^ i)) return false;
        return true;
    }
};

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

}  // namespace fuzz
