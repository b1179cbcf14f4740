// Allocators, copies and channel moves, and the load-time set-up.
#include <cstdint>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "primitives/primitives.h"

using namespace qx;

TEST(ImageAllocator, PadsRowsToThirtyTwoBytesAndHonoursForcedFailures) {
    for (const auto& wd : {std::pair<int, int>{1, 32}, {32, 32}, {33, 64}, {100, 128}}) {
        int step = -1;
        Ipp8u* p = ippiMalloc_8u_C1(wd.first, 3, &step);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(step, wd.second) << wd.first;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 32, 0u);
        p[3 * step - 1] = 1;  // the whole block is usable
        ippiFree(p);
    }
    int step = -1;
    EXPECT_EQ(ippiMalloc_8u_C1(0, 5, &step), nullptr);
    EXPECT_EQ(step, 0);
    // Two forced failures still report the row distance; the third call succeeds.
    imageAllocFailuresForTesting = 2;
    EXPECT_EQ(ippiMalloc_8u_C1(48, 2, &step), nullptr);
    EXPECT_EQ(step, 64);
    EXPECT_EQ(ippiMalloc_8u_C1(48, 2, &step), nullptr);
    EXPECT_EQ(imageAllocFailuresForTesting, 0);
    Ipp8u* p = ippiMalloc_8u_C1(48, 2, &step);
    EXPECT_NE(p, nullptr);
    ippiFree(p);
    EXPECT_EQ(ippsMalloc_8u(0), nullptr);
    Ipp8u* s = ippsMalloc_8u(17);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(s) % 32, 0u);
    ippsFree(s);
}

TEST(Copies, RectanglesMasksAndChannelMoves) {
    const int step = 16;
    std::vector<Ipp8u> src(step * 4), dst(step * 4, 0);
    std::iota(src.begin(), src.end(), 0);
    ASSERT_EQ(ippiCopy_8u_C1R(src.data() + step + 1, step, dst.data() + 2, step, 5, 2), 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < step; ++x)
            ASSERT_EQ(dst[y * step + x], y < 2 && x >= 2 && x < 7 ? src[(y + 1) * step + x - 1] : 0);
    // Masked copies move whole pixels where the mask is non-zero; AC4 keeps
    // byte 3 of the destination.
    const Ipp8u mask[3] = {0, 1, 255}, from[3] = {1, 2, 3};
    Ipp8u plane[3] = {9, 9, 9};
    ippiCopy_8u_C1MR(from, 3, plane, 3, 3, 1, mask, 3);
    EXPECT_EQ(std::vector<Ipp8u>(plane, plane + 3), (std::vector<Ipp8u>{9, 2, 3}));
    std::vector<Ipp8u> px(12, 9), pxSrc(12), ac4(12, 50);
    std::iota(pxSrc.begin(), pxSrc.end(), 100);
    ippiCopy_8u_C4MR(pxSrc.data(), 12, px.data(), 12, 3, 1, mask, 3);
    EXPECT_EQ(px, (std::vector<Ipp8u>{9, 9, 9, 9, 104, 105, 106, 107, 108, 109, 110, 111}));
    ippiCopy_8u_AC4R(pxSrc.data(), 12, ac4.data(), 12, 3, 1);
    EXPECT_EQ(ac4, (std::vector<Ipp8u>{100, 101, 102, 50, 104, 105, 106, 50, 108, 109, 110, 50}));
    // Channel moves on 37 pixels (vector loops plus a tail) rebuild the source.
    const int w = 37;
    std::vector<Ipp8u> bgra(4 * w), rebuilt(4 * w, 0), green(w), rgb(3 * w), fromPlanes(3 * w), p(4 * w);
    for (int i = 0; i < 4 * w; ++i) bgra[i] = Ipp8u(i * 7);
    Ipp8u* const planes[4] = {&p[0], &p[w], &p[2 * w], &p[3 * w]};
    ASSERT_EQ(ippiCopy_8u_C4P4R(bgra.data(), 4 * w, planes, w, w, 1), 0);
    ippiCopy_8u_C4C1R(bgra.data() + 1, 4 * w, green.data(), w, w, 1);  // offset selects the channel
    EXPECT_EQ(green, std::vector<Ipp8u>(planes[1], planes[1] + w));
    for (int c = 0; c < 4; ++c) ippiCopy_8u_C1C4R(planes[c], w, rebuilt.data() + c, 4 * w, w, 1);
    EXPECT_EQ(rebuilt, bgra);
    ippiCopy_8u_AC4C3R(bgra.data(), 4 * w, rgb.data(), 3 * w, w, 1);
    ippiCopy_8u_P3C3R(planes, w, fromPlanes.data(), 3 * w, w, 1);
    EXPECT_EQ(rgb, fromPlanes);
    std::fill(fromPlanes.begin(), fromPlanes.end(), 0);
    for (int c = 0; c < 3; ++c) ippiCopy_8u_C1C3R(planes[c], w, fromPlanes.data() + c, 3 * w, w, 1);
    EXPECT_EQ(rgb, fromPlanes);
    EXPECT_EQ(rgb[3 * 5 + 2], bgra[4 * 5 + 2]);
}

TEST(LoadSetup, CodePathAndDenormalModes) {
    EXPECT_EQ(ippStaticInitBest(), 0);
    EXPECT_GE(ippCodePath(), 1);  // every x86-64 processor has SSE2
    EXPECT_LE(ippCodePath(), 5);
    // A denormal result is flushed; a denormal operand reads as zero.
    volatile float tiny = 1e-30f, denormal = 1e-40f;
    unsigned int savedMask = 0;
    ippSetFlushToZero(1, &savedMask);
    EXPECT_EQ(tiny * 1e-10f, 0.0f);
    ippSetFlushToZero(0, &savedMask);
    ippSetDenormAreZeros(1);
    EXPECT_EQ(denormal * 1.0f, 0.0f);
    ippSetDenormAreZeros(0);
    EXPECT_GT(tiny * 1e-10f, 0.0f);
    EXPECT_GT(denormal * 1.0f, 0.0f);
}
