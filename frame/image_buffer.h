// Pixel buffers: an owned block or the host's pixels, with a movable view
// (pixels, width, height) and, for owned blocks, a guard row behind the last
// pixel row that the destructor checks.
//
//   IMG<T,C>          the template, never instantiated by itself
//   GIMG<T>           one channel; GIMG<unsigned char> can attach to foreign pixels
//   IMG3<T>           three interleaved channels, owned only
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <new>

#include "frame/status.h"
#include "primitives/primitives.h"

namespace qx {

// Guard element per element type; the guard is allocWidth elements long
// whatever the channel count.
template <class T> struct GuardValue;
template <> struct GuardValue<unsigned char> {
    static constexpr unsigned char value = 0x6D;
};
template <> struct GuardValue<float> {
    static constexpr uint32_t value = 0x6D676EFFu;  // stored as a 32-bit word
};

template <class T, int C>
struct IMG {
    T* allocBase = nullptr;           // start of the block or of the foreign pixels
    unsigned char ippAllocated = 0;   // 1: from ippiMalloc_8u_C1, back through ippiFree
    unsigned char attached = 0;       // 1: foreign pixels, neither checked nor freed
    T* pixels = nullptr;              // origin of the current view
    int step = 0;                     // bytes between row starts
    int allocWidth = 0;
    int allocHeight = 0;
    int width = 0;                    // current view
    int height = 0;
    int status = 1;                   // last primitive status written here

    // Moves the view's origin by dx pixels and dy rows and shrinks it by the
    // same amounts (left and top only).
    virtual void shiftView(int dx, int dy) {
        pixels = reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(pixels) +
                                      static_cast<std::ptrdiff_t>(dy) * step) +
                 static_cast<std::ptrdiff_t>(dx) * C;
        width -= dx;
        height -= dy;
    }

    virtual void resetView() {
        pixels = allocBase;
        width = allocWidth;
        height = allocHeight;
    }

    // Checks the guard and releases an owned block. A disturbed guard throws
    // kGuardDisturbed and leaks the block, unless an exception is already
    // unwinding through the scope that made the buffer: then it only leaks.
    virtual ~IMG() noexcept(false) {  // NOLINT(bugprone-exception-escape): the throw is the overrun report
        if (attached) return;
        if (guardDisturbed()) {
            if (std::uncaught_exceptions() > uncaughtAtConstruction) return;
            throw static_cast<int>(kGuardDisturbed);
        }
        if (!allocBase) return;
        if (ippAllocated)
            ippiFree(allocBase);
        else
            ::operator delete(static_cast<void*>(allocBase));
    }

    IMG(const IMG&) = delete;
    IMG& operator=(const IMG&) = delete;

    // Row y of the current view.
    T* row(int y) const {
        return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(pixels) +
                                    static_cast<std::ptrdiff_t>(y) * step);
    }

protected:
    // foreign null: the owning form, which allocates the block and writes the
    // guard. Otherwise the attach form: the host's pixels, nothing allocated.
    IMG(int w, int h, T* foreign = nullptr, int foreignStep = 0)
        : allocWidth(w), allocHeight(h), width(w), height(h) {
        if (foreign) {
            allocBase = pixels = foreign;
            attached = 1;
            step = foreignStep;
            return;
        }
        // A height below 1 would put the guard row in front of the block;
        // such a buffer is refused as an allocation that cannot be made. (A
        // zero or negative width still gives a block without a guard.)
        if (h < 1) throw static_cast<int>(kAllocFailed);
        if (h == 0x7FFFFFFF) throw static_cast<int>(kAllocTooHigh);  // no room for the guard row
        // A row too long for a 32-bit step counts as an allocation failure.
        const long long rowBytes = static_cast<long long>(w) * static_cast<long long>(sizeof(T)) * C;
        if (rowBytes > kLongestRow) throw static_cast<int>(w > 5000 ? kAllocTooWide : kAllocFailed);
        step = static_cast<int>(rowBytes);
        unsigned char* block = ippiMalloc_8u_C1(step, h + 1, &step);
        if (block) {
            ippAllocated = 1;
        } else {
            // Fall back on the plain allocator, one 16-byte unit wider than
            // the row distance the image allocator left behind.
            step = (step / 16 + 1) * 16;
            block = static_cast<unsigned char*>(
                ::operator new(static_cast<std::size_t>(h + 1) * static_cast<std::size_t>(step)));
        }
        allocBase = pixels = reinterpret_cast<T*>(block);
        if (!pixels) {
            if (w > 5000) throw static_cast<int>(kAllocTooWide);
            if (h > 5000) throw static_cast<int>(kAllocTooHigh);
            throw static_cast<int>(kAllocFailed);
        }
        if (w > 0) writeGuard();
    }

private:
    // Leaves room for the allocators' rounding of the row.
    static constexpr long long kLongestRow = 0x7FFFFFFFLL - 64;
    int uncaughtAtConstruction = std::uncaught_exceptions();

    unsigned char* guardRow() const {
        return reinterpret_cast<unsigned char*>(allocBase) +
               static_cast<std::ptrdiff_t>(allocHeight) * step;
    }
    void writeGuard() {
        auto g = GuardValue<T>::value;
        unsigned char* p = guardRow();
        for (int i = 0; i < allocWidth; ++i) std::memcpy(p + i * sizeof(g), &g, sizeof(g));
    }
    bool guardDisturbed() const {
        if (!allocBase || allocWidth <= 0) return false;
        auto g = GuardValue<T>::value;
        const unsigned char* p = guardRow();
        for (int i = 0; i < allocWidth; ++i)
            if (std::memcmp(p + i * sizeof(g), &g, sizeof(g)) != 0) return true;
        return false;
    }
};

template <class T>
struct GIMG : IMG<T, 1> {
    GIMG(int w, int h) : IMG<T, 1>(w, h) {}
};

template <>
struct GIMG<unsigned char> : IMG<unsigned char, 1> {
    // foreignPixels null: owning; else attached to the host's pixels.
    GIMG(int w, int h, unsigned char* foreignPixels = nullptr, int foreignStep = 0)
        : IMG(w, h, foreignPixels, foreignStep) {}
};

template <class T>
struct IMG3 : IMG<T, 3> {
    IMG3(int w, int h) : IMG<T, 3>(w, h) {}
};

// The library's buffer-to-buffer copy: source view into destination view, at
// the destination's size; the status lands in the destination.
inline void copyImage(const IMG<unsigned char, 1>& src, IMG<unsigned char, 1>& dst) {
    dst.status = ippiCopy_8u_C1R(src.pixels, src.step, dst.pixels, dst.step, dst.width, dst.height);
}

}  // namespace qx
