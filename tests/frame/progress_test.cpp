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

struct Seen {
    std::vector<int> values;
    std::vector<int> totals;
};

int record(int value, int total, void* cookie) {
    auto* s = static_cast<Seen*>(cookie);
    s->values.push_back(value);
    s->totals.push_back(total);
    return 42;
}

TEST(Progress, WrapsToHalfTheTotal) {
    Seen s;
    qx::startProgress(record, &s, 130, 0, 10);
    for (int i = 0; i < 15; ++i) EXPECT_EQ(42, qx::tickProgress());
    EXPECT_EQ((std::vector<int>{10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 65, 75, 85}), s.values);
    EXPECT_EQ(std::vector<int>(15, 130), s.totals);
}

TEST(Progress, ZeroTotalAndZeroStep) {
    Seen s;
    qx::startProgress(record, &s, 0, 0, 10);
    qx::tickProgress();
    qx::tickProgress();
    EXPECT_EQ((std::vector<int>{0, 0}), s.values);
    EXPECT_EQ((std::vector<int>{0, 0}), s.totals);
    s.values.clear();
    qx::startProgress(record, &s, 100, 40, 0);
    qx::tickProgress();
    qx::tickProgress();
    EXPECT_EQ((std::vector<int>{40, 40}), s.values);
}

TEST(Progress, SilentWhenEitherPointerIsNull) {
    Seen s;
    qx::startProgress(record, nullptr, 130, 0, 10);
    EXPECT_EQ(1, qx::tickProgress());
    EXPECT_EQ(0, qx::progressValue);  // no call and no count
    qx::startProgress(nullptr, &s, 130, 0, 10);
    EXPECT_EQ(1, qx::tickProgress());
    EXPECT_TRUE(s.values.empty());
}

std::atomic<int> inside{0};
std::atomic<int> overlaps{0};
int exclusive(int, int, void* cookie) {
    if (inside.fetch_add(1) != 0) overlaps++;
    static_cast<Seen*>(cookie)->values.push_back(qx::progressValue);
    inside.fetch_sub(1);
    return 0;
}

TEST(Progress, TicksFromWorkerThreadsAreSerialised) {
    Seen s;
    qx::startProgress(exclusive, &s, 1 << 30, 0, 3);
#pragma omp parallel for schedule(static) num_threads(4)
    for (int i = 0; i < 2000; ++i) qx::tickProgress();
    EXPECT_EQ(0, overlaps.load());
    ASSERT_EQ(2000u, s.values.size());
    EXPECT_EQ(6000, qx::progressValue);
    for (std::size_t i = 0; i < s.values.size(); ++i) ASSERT_EQ(3 * int(i + 1), s.values[i]);
}

TEST(MemoryBudget, PositiveAndCapped) {
    int k = qx::memoryBudgetK();
    EXPECT_GT(k, 0);
    EXPECT_LE(k, 3500000);
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
TEST(MemoryBudget, FollowsTheAddressSpaceLimit) {
    if (qx::memoryBudgetK() < 900000) GTEST_SKIP() << "memory decides on this machine";
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        rlimit rl;
        getrlimit(RLIMIT_AS, &rl);
        rl.rlim_cur = static_cast<rlim_t>(vmSizeKb()) * 1024 + (rlim_t(1) << 30);
        if (setrlimit(RLIMIT_AS, &rl) != 0) _exit(3);
        int k = qx::memoryBudgetK();
        _exit(std::abs(k - 825955) < 2000 ? 0 : 1);  // VmSize moves by a few pages
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
