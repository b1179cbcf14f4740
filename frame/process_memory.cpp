// What the process can read of its memory: kB figures of /proc files and the
// address space it may still map. Kept apart from memoryBudgetK so that a
// test or fuzz harness can put its own budget in place at link time.
#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "frame/progress.h"

namespace qx {

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

}  // namespace qx
