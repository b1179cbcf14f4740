// What the benchmarks read of their own process: a kB field of
// /proc/self/status (VmHWM, VmRSS, ...) and the process's CPU time.
#pragma once

#include <time.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

inline long statusKb(const char* field) {
    std::ifstream f("/proc/self/status");
    std::string line;
    while (std::getline(f, line))
        if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::strlen(field));
    return 0;
}

inline double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}
