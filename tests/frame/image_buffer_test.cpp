// Guard row, views and allocation fall-back of the pixel buffers.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "frame/image_buffer.h"

namespace {

using qx::GIMG;
using qx::IMG3;

template <class B>
unsigned char* guard(const B& b) {
    return reinterpret_cast<unsigned char*>(b.allocBase) + static_cast<std::ptrdiff_t>(b.allocHeight) * b.step;
}

// Makes a B, lets scribble write into it and returns what its destructor
// threw (0 for nothing). A disturbed guard leaks the block; it is given back.
template <class B, class Scribble>
int destroyAfter(int w, int h, Scribble scribble) {
    void* base = nullptr;
    bool fromImageAllocator = false;
    try {
        B b(w, h);
        base = b.allocBase;
        fromImageAllocator = b.ippAllocated;
        scribble(b);
    } catch (int e) {
        if (fromImageAllocator) qx::ippiFree(base);
        else ::operator delete(base);
        return e;
    }
    return 0;
}

TEST(ImageBuffer, GuardCatchesOverrunOnlyWithinItsLength) {
    // One full row past the last pixel row: 103, though still inside the block.
    EXPECT_EQ(103, destroyAfter<GIMG<unsigned char>>(40, 10, [](auto& b) { std::memset(b.row(10), 0, 40); }));
    // Guard bytes beyond the first allocWidth go unnoticed (the row is 64).
    EXPECT_EQ(0, destroyAfter<GIMG<unsigned char>>(40, 10, [](auto& b) { std::memset(guard(b) + 40, 0, 24); }));
    // Three channels: a 120-byte row, still a 40-byte guard.
    EXPECT_EQ(0, destroyAfter<IMG3<unsigned char>>(40, 10, [](auto& b) { std::memset(guard(b) + 40, 0, 88); }));
    EXPECT_EQ(103, destroyAfter<IMG3<unsigned char>>(40, 10, [](auto& b) { guard(b)[39] = 0x6C; }));
    // Float guards are words: word 9 of 10 counts, word 10 does not.
    EXPECT_EQ(103, destroyAfter<GIMG<float>>(10, 5, [](auto& b) { guard(b)[36] = 0; }));
    EXPECT_EQ(0, destroyAfter<IMG3<float>>(10, 5, [](auto& b) { std::memset(guard(b) + 40, 0, 88); }));
    // Every pixel of the view may be written; zero width has no guard at all.
    EXPECT_EQ(0, destroyAfter<IMG3<float>>(7, 3, [](auto& b) {
        for (int y = 0; y < 3; ++y) std::memset(b.row(y), 0xFF, 7 * 12);
    }));
    EXPECT_EQ(0, destroyAfter<GIMG<unsigned char>>(0, 4, [](auto&) {}));
    // While unwinding the first failure wins; the disturbed block leaks.
    EXPECT_EQ(7, destroyAfter<GIMG<unsigned char>>(16, 4, [](auto& b) {
        std::memset(guard(b), 0, 16);
        throw 7;
    }));
}

TEST(ImageBuffer, FallBackAllocatorWidensTheRow) {
    // 48 bytes, rounded to 64 by the image allocator before it failed: 80.
    qx::imageAllocFailuresForTesting = 1;
    EXPECT_EQ(103, destroyAfter<GIMG<unsigned char>>(48, 4, [](auto& b) {
        EXPECT_EQ(0, b.ippAllocated);
        EXPECT_EQ(80, b.step);
        guard(b)[0] = 0;
    }));
    GIMG<unsigned char> z(0, 4);  // the image allocator declines a zero width itself
    EXPECT_EQ(0, z.ippAllocated);
    EXPECT_EQ(16, z.step);
}

TEST(ImageBuffer, HeightsBelowOneAndOverlongRowsAreRefused) {
    // A height below 1 would put the guard in front of the block: 102 instead.
    for (int h : {-1, 0}) {
        EXPECT_EQ(102, destroyAfter<GIMG<unsigned char>>(10, h, [](auto&) {}));
        EXPECT_EQ(102, destroyAfter<IMG3<float>>(1, h, [](auto&) {}));
    }
    EXPECT_EQ(0, destroyAfter<IMG3<unsigned char>>(1, 1, [](auto& b) { std::memset(b.row(0), 1, 3); }));
    EXPECT_EQ(0, destroyAfter<GIMG<unsigned char>>(-1, 1, [](auto&) {}));  // no guard, still freed
    // 2^28 three-channel floats is a row of 3 GB: too long for a step.
    EXPECT_EQ(112, destroyAfter<IMG3<float>>(1 << 28, 1, [](auto&) {}));
    EXPECT_EQ(113, destroyAfter<GIMG<unsigned char>>(1, 0x7FFFFFFF, [](auto&) {}));
}

TEST(ImageBuffer, AttachedBufferTouchesNothingAndViewsMove) {
    std::vector<unsigned char> host(6 * 12, 0x55);  // exactly 6 rows: nothing behind them
    { GIMG<unsigned char> a(10, 6, host.data(), 12); }
    EXPECT_EQ(std::vector<unsigned char>(6 * 12, 0x55), host);

    IMG3<float> b(20, 10);
    b.shiftView(2, 3);
    b.shiftView(1, 1);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(b.allocBase) + 4 * b.step + 3 * 12,
              reinterpret_cast<unsigned char*>(b.pixels));
    EXPECT_TRUE(b.width == 17 && b.height == 6);
    b.resetView();
    EXPECT_TRUE(b.pixels == b.allocBase && b.width == 20 && b.height == 10);
}

}  // namespace
