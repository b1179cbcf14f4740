// Fault injection for operator new. The replacement operator new lives in
// allocation_faults.cpp; a static archive only brings that object into a test
// program that uses one of the names below, so other programs keep the
// standard allocator.
#pragma once

#include <cstddef>

namespace qxtest {

// While armed, counts the allocations (of `size` bytes only, or of any size
// with 0) and refuses the one numbered failAt (from 0; -1: none) with
// std::bad_alloc. Disarms on destruction.
struct AllocationFaults {
    explicit AllocationFaults(long failAt, std::size_t size = 0);
    ~AllocationFaults();
    long counted() const;  // allocations counted so far
    bool failed() const;   // the chosen one was refused
};

}  // namespace qxtest
