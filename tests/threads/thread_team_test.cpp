// The thread teams of a job, through the shared library as a host links it:
// a matte at one thread starts no thread at all (no solver team, no BLAS
// pool), and the results do not depend on the thread count or on the runs
// before them.
#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "qxmatte.h"

// Threads started by the process (thread_count.c).
extern "C" int qxThreadsStarted(void);
extern "C" void qxResetThreadsStarted(void);

namespace {

// The Threads line of /proc/self/status.
int liveThreads() {
    std::FILE* f = std::fopen("/proc/self/status", "r");
    char line[256];
    int n = -1;
    while (f && std::fgets(line, sizeof line, f))
        if (std::strncmp(line, "Threads:", 8) == 0) n = std::atoi(line + 8);
    if (f) std::fclose(f);
    return n;
}

// A soft-edged disc over a textured, noisy background: a 4-byte image,
// three planes of it, and marks with an unknown ring wide enough for the
// solver's supernodal road (over 4096 unknowns).
struct Photo {
    int w, h;
    std::vector<unsigned char> bgra, planes[3], trimap, marks;
    Photo(int width, int height) : w(width), h(height), bgra(4u * w * h), trimap(w * h), marks(w * h) {
        for (auto& p : planes) p.resize(static_cast<std::size_t>(w) * h);
        unsigned state = 12345u;
        const double cx = 0.5 * w, cy = 0.5 * h, r = 0.3 * std::min(w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int i = y * w + x;
                const double d = r + 4.0 * std::sin(7.0 * std::atan2(y - cy, x - cx)) - std::hypot(x - cx, y - cy);
                const double a = std::min(1.0, std::max(0.0, 0.5 + d / 3.0));
                for (int c = 0; c < 3; ++c) {
                    state = state * 1664525u + 1013904223u;
                    const double back = 60 + 40 * std::sin(0.05 * x + c) + 30 * std::cos(0.07 * y);
                    const double v = a * (200 - 50 * c) + (1 - a) * back + (state >> 29);
                    bgra[4u * i + c] = planes[c][i] = static_cast<unsigned char>(std::min(255.0, v));
                }
                bgra[4u * i + 3] = 255;
                trimap[i] = std::fabs(d) <= 12 ? 128 : d > 0 ? 255 : 0;
                marks[i] = trimap[i] == 128 ? 0x7E : trimap[i] == 255 ? 0xFF : 0x01;
            }
    }
};

// estimate 0: the marks' own count of unknowns, a solve at full size; a
// large estimate makes the solve reduced and brought up by the upsampler.
std::vector<unsigned char> matte(const Photo& p, float estimate = 0) {
    std::vector<unsigned char> planes[3] = {p.planes[0], p.planes[1], p.planes[2]}, alpha = p.trimap;
    unsigned char* pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    QxMaskJob job{};
    job.planes = pointers, job.planeStep = p.w;
    job.marksPixels = alpha.data(), job.marksStep = p.w;
    job.width = p.w, job.height = p.h;
    float unknown = 0;
    for (unsigned char t : p.trimap) unknown += t == 128;
    EXPECT_EQ(1, qxMaskAlpha(&job, 0, estimate > 0 ? estimate : unknown, 255, 0, 255, 0));
    return alpha;
}

// The alpha and the colours of a keep/cut cut-out, one after the other.
std::vector<unsigned char> keepCut(const Photo& p, int fullSize) {
    std::vector<unsigned char> image = p.bgra, mask = p.marks, aux = p.marks, out(p.bgra.size(), 7);
    QxJob job{};
    job.imagePixels = image.data(), job.imageStep = 4 * p.w;
    job.maskPixels = mask.data(), job.maskStep = p.w;
    job.outPixels = out.data(), job.outStep = 4 * p.w;
    job.auxPixels = aux.data(), job.auxStep = p.w;
    job.width = job.roiWidth = p.w, job.height = job.roiHeight = p.h;
    job.recoverColors = 1;
    EXPECT_EQ(1, qxKeepCutToAlpha(&job, fullSize));
    mask.insert(mask.end(), out.begin(), out.end());
    return mask;
}

TEST(ThreadTeam, OneThreadStartsNoThreadAndTwoDo) {
    // The count sees threads at all: one started here is one counted.
    const int before = qxThreadsStarted();
    std::thread([] {}).join();
    ASSERT_EQ(before + 1, qxThreadsStarted());

    const Photo photo(240, 200);
    // In a child, which starts with one thread whatever this process ran.
    const pid_t child = fork();
    if (child == 0) {
        qxResetThreadsStarted();
        omp_set_num_threads(1);
        matte(photo);
        keepCut(photo, 1);
        const int atOne = qxThreadsStarted(), liveAtOne = liveThreads();
        omp_set_num_threads(2);
        matte(photo);
        const int atTwo = qxThreadsStarted();
        std::printf("threads started: %d at one thread (%d live), %d at two\n", atOne, liveAtOne, atTwo);
        std::fflush(stdout);
        _exit(atOne == 0 && liveAtOne == 1 && atTwo > 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST(ThreadTeam, SameBytesAtAnyThreadCountAndRun) {
    // Every road: the matte at full and at reduced size, the keep/cut tiles
    // at full and at half size; a thread count run twice.
    const Photo photo(320, 240);
    const int saved = omp_get_max_threads();
    std::vector<unsigned char> first[4];
    for (int threads : {1, 2, 3, 2}) {
        omp_set_num_threads(threads);
        const std::vector<unsigned char> results[4] = {matte(photo), matte(photo, 400000.0f), keepCut(photo, 1),
                                                       keepCut(photo, 0)};
        for (int road = 0; road < 4; ++road) {
            if (first[road].empty()) first[road] = results[road];
            else EXPECT_TRUE(first[road] == results[road]) << "road " << road << " at " << threads << " threads";
        }
    }
    omp_set_num_threads(saved);
    // Not all-constant: the matte has soft values.
    int soft = 0;
    for (unsigned char a : first[0]) soft += a > 0 && a < 255;
    EXPECT_GT(soft, 1000);
}

}  // namespace
