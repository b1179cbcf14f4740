// Calls a host may make by mistake: NULL buffers, and sizes, steps and points
// near INT_MAX. Every export answers with its refusal value or a defined
// result, never a crash, an exception or undefined arithmetic (the sanitizer
// build checks the last).
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <climits>
#include <cstddef>
#include <vector>

#include "qxmatte.h"

namespace {

// Address space for a plane of INT_MAX rows: only the pages a call touches
// are ever backed.
struct Reserved {
    unsigned char* data;
    size_t bytes;
    explicit Reserved(size_t n) : bytes(n) {
        void* p = mmap(nullptr, n, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        data = p == MAP_FAILED ? nullptr : static_cast<unsigned char*>(p);
    }
    ~Reserved() {
        if (data) munmap(data, bytes);
    }
};

TEST(HostileCalls, NullBuffersGetEachExportsRefusal) {
    std::vector<unsigned char> px(16 * 16 * 4, 40), alpha(16 * 16, 0x7E);
    const std::vector<unsigned char> before = px;
    const unsigned char colour[3] = {1, 2, 3};
    int rect[4] = {7, 7, 7, 7};
    EXPECT_EQ(-1, qxShowImageAlpha(nullptr, 64, 16, 16, alpha.data(), 16, 255, 0, 1, colour));
    EXPECT_EQ(-1, qxShowImageAlpha(px.data(), 64, 16, 16, nullptr, 16, 255, 0, 2, colour));
    qxShowKeepBlend(nullptr, 64, 16, 16, px.data(), 64, 16, 16, 0.5f);
    qxShowKeepBlend(px.data(), 64, 16, 16, nullptr, 64, 16, 16, 0.5f);
    EXPECT_EQ(-3, qxFloodFillAlpha(alpha.data(), 16, 16, 16, 2, 2, 0, 0, 1, 0, nullptr));
    EXPECT_EQ(-3, qxFloodFillAlpha(nullptr, 16, 16, 16, 2, 2, 0, 0, 1, 0, rect));
    EXPECT_EQ(0, rect[0] | rect[1] | rect[2] | rect[3]);  // zeroed, nothing found
    for (int mode = 0; mode <= 4; ++mode) EXPECT_EQ(0, qxRGB2YCbCrAutoLevel(nullptr, 48, 16, 16, mode, 200));
    EXPECT_EQ(-1, qxPreviewAutoLevel(nullptr, 48, 16, 16, 200.0f));
    EXPECT_EQ(-1, qxScaleAlpha(nullptr, 16, 16, 16, 200, 10, 1));
    EXPECT_EQ(-1, qxfilterIm8u(nullptr, 16, 16, 16, 0));
    EXPECT_EQ(px, before);
    EXPECT_EQ(alpha, std::vector<unsigned char>(16 * 16, 0x7E));
}

TEST(HostileCalls, SizesNearIntMaxAreDefined) {
    const int tall = INT_MAX;
    Reserved mask(static_cast<size_t>(tall) + 4096);
    ASSERT_NE(mask.data, nullptr);
    auto at = [&](long long y) -> unsigned char& { return mask.data[y]; };  // one byte a row

    // A stroke at the last rows of a mask INT_MAX rows high.
    ASSERT_EQ(1, qxDrawLine8u(mask.data, 1, 1, tall, 0, tall - 5, 0, tall - 1, 0, 1, 0));
    EXPECT_EQ(0, at(tall - 6));
    for (long long y = tall - 5; y < tall; ++y) EXPECT_EQ(255, at(y));

    // Its box: marks on the first and last rows give the whole height.
    at(0) = 0x80;
    int x = -1, w = -1, y = -1, h = -1;
    ASSERT_EQ(1, qxMaskBBox(0, mask.data, 1, 1, tall, &x, &w, &y, &h, nullptr, nullptr, 0, 0, 1));
    EXPECT_EQ(0, x);
    EXPECT_EQ(1, w);
    EXPECT_EQ(0, y);
    EXPECT_EQ(tall, h);

    // The colour brush at the bottom of an image INT_MAX rows high.
    Reserved image(4 * static_cast<size_t>(tall) + 4096);
    ASSERT_NE(image.data, nullptr);
    const unsigned char black[3] = {0, 0, 0};
    QxJob job{};
    job.imagePixels = image.data, job.imageStep = 4, job.maskPixels = mask.data, job.maskStep = 1;
    job.width = 1, job.height = tall;
    at(tall - 1) = 0;
    ASSERT_EQ(1, qxColorRangeSelect(&job, 0, tall - 1, 0, tall - 1, 0, black, 1, 0));
    EXPECT_EQ(0x01, at(tall - 1));

    // Work images of INT_MAX rows can't be made: the refusal value, no
    // exception, pixels untouched.
    const unsigned char colour[3] = {9, 9, 9};
    EXPECT_EQ(-1, qxShowImageAlpha(image.data, 4, 1, tall, mask.data, 1, 255, 0, 3, colour));
    EXPECT_EQ(0, image.data[0]);
    Reserved wide(20 * static_cast<size_t>(tall) + 4096);
    ASSERT_NE(wide.data, nullptr);
    EXPECT_EQ(-1, qxfilterIm8u(wide.data, 20, 20, tall, 0));

    // A 20 x 20 mask whose rows lie INT_MAX bytes apart: the 5 x 5 filters
    // reach two rows either way; a lone spike is smoothed away.
    Reserved spread(21 * static_cast<size_t>(tall));
    ASSERT_NE(spread.data, nullptr);
    unsigned char* spike = spread.data + 10LL * tall + 10;
    *spike = 255;
    EXPECT_EQ(1, qxfilterIm8u(spread.data, tall, 20, 20, 1));
    EXPECT_EQ(0, *spike);
}

}  // namespace
