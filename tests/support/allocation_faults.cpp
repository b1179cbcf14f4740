#include "support/allocation_faults.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace qxtest {
namespace {

std::atomic<bool> armed{false};
std::atomic<long> count{0};
std::atomic<long> failAtCall{-1};
std::atomic<std::size_t> onlySize{0};
std::atomic<bool> refused{false};

void* allocate(std::size_t n) {
    if (armed.load(std::memory_order_relaxed)) {
        const std::size_t size = onlySize.load(std::memory_order_relaxed);
        if (size == 0 || size == n) {
            if (count.fetch_add(1) == failAtCall.load()) {
                refused = true;
                throw std::bad_alloc();
            }
        }
    }
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}

}  // namespace

AllocationFaults::AllocationFaults(long failAt, std::size_t size) {
    count = 0;
    refused = false;
    failAtCall = failAt;
    onlySize = size;
    armed = true;
}

AllocationFaults::~AllocationFaults() { armed = false; }

long AllocationFaults::counted() const { return count.load(); }
bool AllocationFaults::failed() const { return refused.load(); }

}  // namespace qxtest

void* operator new(std::size_t n) { return qxtest::allocate(n); }
void* operator new[](std::size_t n) { return qxtest::allocate(n); }
// The nothrow forms too, as the standard library's own do (a refusal is a null
// pointer): under AddressSanitizer they would otherwise come from its
// allocator and be given back to free by the delete below.
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return qxtest::allocate(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t n, const std::nothrow_t& tag) noexcept { return operator new(n, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

// When the allocation of a matrix's bookkeeping fails, OpenCV leaks the
// matrix's pixel block; programs that inject such failures don't count it.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() { return "leak:cv::Mat::create\n"; }
