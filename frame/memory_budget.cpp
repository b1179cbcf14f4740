// Work memory budget: the least of the machine's installed memory, the memory
// that can still be had (available RAM plus free swap) and the address space
// the process may still map, in units of 1300 bytes.
#include <cstdint>

#include "frame/progress.h"

namespace qx {

int memoryBudgetK() {
    uint64_t totalKb, availKb, swapKb;
    const char* meminfo = "/proc/meminfo";
    if (!readProcKb(meminfo, "MemTotal", &totalKb) || !readProcKb(meminfo, "MemAvailable", &availKb) ||
        !readProcKb(meminfo, "SwapFree", &swapKb))
        return 0;
    uint64_t least = totalKb * 1024;
    uint64_t obtainable = (availKb + swapKb) * 1024;
    if (obtainable < least) least = obtainable;
    uint64_t addressSpace = freeAddressSpace();
    if (addressSpace < least) least = addressSpace;

    int64_t units = static_cast<int64_t>(least) / 1300;
    if (units > 3500000) return 3500000;
    return static_cast<int>(units);
}

}  // namespace qx
