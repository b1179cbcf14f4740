// The shared progress bar and the memory budget.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "frame/progress.h"

namespace {

std::atomic<int> inside{0}, overlaps{0};

// Records (value, total) pairs and counts calls that overlap.
int record(int value, int total, void* cookie) {
    if (inside.fetch_add(1) != 0) overlaps++;
    auto* seen = static_cast<std::vector<int>*>(cookie);
    seen->insert(seen->end(), {value, total});
    inside.fetch_sub(1);
    return 42;
}

TEST(Progress, WrapsToHalfTheTotalAndStaysSilentWithoutACookie) {
    std::vector<int> seen;
    qx::startProgress(record, &seen, 130, 0, 10);
    for (int i = 0; i < 14; ++i) EXPECT_EQ(42, qx::tickProgress());
    EXPECT_EQ((std::vector<int>{10, 130, 20, 130, 30, 130, 40, 130, 50, 130, 60, 130, 70, 130, 80, 130, 90, 130,
                                100, 130, 110, 130, 120, 130, 65, 130, 75, 130}),
              seen);
    seen.clear();
    qx::startProgress(record, &seen, 0, 0, 10);  // a zero total reports 0 of 0
    qx::tickProgress();
    EXPECT_EQ((std::vector<int>{0, 0}), seen);

    qx::startProgress(record, nullptr, 130, 0, 10);
    EXPECT_EQ(1, qx::tickProgress());
    EXPECT_EQ(0, qx::progressValue);  // no call and no count
}

TEST(Progress, TicksFromWorkerThreadsAreSerialised) {
    std::vector<int> seen;
    overlaps = 0;
    qx::startProgress(record, &seen, 1 << 30, 0, 3);
#pragma omp parallel for schedule(static) num_threads(4)
    for (int i = 0; i < 2000; ++i) qx::tickProgress();
    EXPECT_EQ(0, overlaps.load());
    ASSERT_EQ(4000u, seen.size());
    for (std::size_t i = 0; i < 2000; ++i) ASSERT_EQ(3 * int(i + 1), seen[2 * i]);
}

long vmSizeKb() {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("VmSize:", 0) == 0) return std::stol(line.substr(7));
    return -1;
}

// With 1 GiB of address space left under a limit, the budget is
// 1073741824 / 1300 = 825955 units, when memory does not decide first.
TEST(MemoryBudget, CappedAndFollowsTheAddressSpaceLimit) {
    const int k = qx::memoryBudgetK();
    EXPECT_GT(k, 0);
    EXPECT_LE(k, 3500000);
    if (k < 900000) GTEST_SKIP() << "memory decides on this machine";
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        rlimit rl;
        getrlimit(RLIMIT_AS, &rl);
        rl.rlim_cur = static_cast<rlim_t>(vmSizeKb()) * 1024 + (rlim_t(1) << 30);
        if (setrlimit(RLIMIT_AS, &rl) != 0) _exit(3);
        _exit(std::abs(qx::memoryBudgetK() - 825955) < 2000 ? 0 : 1);  // VmSize moves by a few pages
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
