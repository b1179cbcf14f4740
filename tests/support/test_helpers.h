// Small helpers shared by the test programs: a thread count that is given
// back, a log of progress reports, thrown ints and a scratch folder.
#pragma once

#include <omp.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "frame/progress.h"

namespace qxtest {

// Sets the OpenMP thread count while it lives.
struct ThreadCount {
    int before = omp_get_max_threads();
    explicit ThreadCount(int n) { omp_set_num_threads(n); }
    ~ThreadCount() { omp_set_num_threads(before); }
};

// Installs itself as the progress bar's callback (total, step as given) and
// records every (value, total) report; silences the bar when it goes, so no
// later tick reaches a dead cookie.
struct ProgressLog {
    std::vector<int> values, totals;
    static int record(int value, int total, void* self) {
        auto* log = static_cast<ProgressLog*>(self);
        log->values.push_back(value), log->totals.push_back(total);
        return 1;
    }
    explicit ProgressLog(int total = 1000000, int step = 1) { qx::startProgress(record, this, total, 0, step); }
    ProgressLog(const ProgressLog&) = delete;
    ~ProgressLog() { qx::startProgress(nullptr, nullptr, 0, 0, 0); }
    int ticks() const { return int(values.size()); }
    void clear() { values.clear(), totals.clear(); }
};

// What f throws as an int; INT_MIN if it returns.
template <class F>
int thrownInt(F&& f) {
    try {
        f();
    } catch (int e) {
        return e;
    }
    return INT_MIN;
}

// A fresh folder under /tmp, removed with everything in it when it goes.
struct TempDir {
    char name[18] = "/tmp/qxtestXXXXXX";
    std::string path = mkdtemp(name) ? name : "";
    TempDir() = default;
    TempDir(const TempDir&) = delete;
    ~TempDir() { std::error_code ignored; std::filesystem::remove_all(path, ignored); }
    std::string file(const std::string& name) const { return path + "/" + name; }
};

// Runs the command-line tool (QX_CLI, else qxmatte on PATH) through sh after
// `prefix` (e.g. a ulimit); returns its exit code, stdout and stderr in output.
inline int runTool(const std::string& args, std::string& output, const std::string& prefix = "") {
    const char* cli = std::getenv("QX_CLI");
    const std::string command = prefix + "'" + (cli ? cli : "qxmatte") + "' " + args + " 2>&1 </dev/null";
    FILE* p = popen(command.c_str(), "r");
    output.clear();
    char buf[4096];
    for (std::size_t n; p && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) output.append(buf, n);
    const int status = p ? pclose(p) : -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace qxtest
