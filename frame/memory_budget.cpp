// Work memory budget: the least of the machine's installed memory, the memory
// that can still be had (available RAM plus free swap) and the address space
// the process may still map, in units of 1300 bytes.
#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "frame/progress.h"

namespace qx {

namespace {

// Value in kB of a "Name:   123 kB" line of a /proc file; false if absent.
bool readProcKb(const char* file, const char* name, uint64_t* kb) {
    std::FILE* f = std::fopen(file, "r");
    if (!f) return false;
    char line[256];
    std::size_t nameLen = std::strlen(name);
    bool found = false;
    while (std::fgets(line, sizeof line, f)) {
        if (std::strncmp(line, name, nameLen) == 0 && line[nameLen] == ':') {
            unsigned long long v = 0;
            if (std::sscanf(line + nameLen + 1, "%llu", &v) == 1) {
                *kb = v;
                found = true;
            }
            break;
        }
    }
    std::fclose(f);
    return found;
}

}  // namespace

unsigned long long freeAddressSpace() {
    const uint64_t userSpace = uint64_t(128) << 40;
    uint64_t limit = userSpace;
    struct rlimit rl;
    if (getrlimit(RLIMIT_AS, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY) limit = rl.rlim_cur;
    uint64_t vmKb = 0;
    readProcKb("/proc/self/status", "VmSize", &vmKb);
    uint64_t used = vmKb * 1024;
    return used < limit ? limit - used : 0;
}

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
