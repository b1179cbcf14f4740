// Out-of-core environment at load and unload, and the load sequence.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "frame/library_load.h"
#include "frame/ooc_environment.h"
#include "frame/progress.h"
#include "frame/trace.h"

namespace {

const char* const kNames[] = {"MKL_PARDISO_OOC_PATH", "MKL_PARDISO_OOC_MAX_CORE_SIZE", "MKL_PARDISO_OOC_KEEP_FILE"};

std::vector<std::string> vars() {
    std::vector<std::string> v;
    for (const char* n : kNames) v.push_back(std::getenv(n) ? std::getenv(n) : "<unset>");
    return v;
}

void reset(const char* tmpdir) {
    for (const char* n : kNames) unsetenv(n);
    if (tmpdir) setenv("TMPDIR", tmpdir, 1);
    else unsetenv("TMPDIR");
}

TEST(OocEnvironment, PrepareAtLoadAndRestoreAtUnload) {
    const struct {
        const char* preset[3];  // path, core size, keep file before load (null: unset)
        std::vector<std::string> loaded, unloaded;  // the host changes path and core in between
    } cases[] = {
        {{nullptr, nullptr, nullptr}, {"/scratch/qx/", "1500", "0"}, {"/changed", "1", "0"}},
        // A path already set wins; unload writes it back with the keep file, even an unset one.
        {{"/data/ooc", "800", nullptr}, {"/data/ooc", "800", "<unset>"}, {"/data/ooc", "800", ""}},
        // Without a path the keep file is not restored.
        {{nullptr, "900", "1"}, {"/scratch/qx/", "1500", "0"}, {"/changed", "900", "0"}},
    };
    for (const auto& c : cases) {
        reset("/scratch/qx/");
        for (int i = 0; i < 3; ++i)
            if (c.preset[i]) setenv(kNames[i], c.preset[i], 1);
        qx::prepareOocEnvironment();
        EXPECT_EQ(1, qx::oocEnvReady);
        EXPECT_EQ(c.loaded, vars());
        setenv(kNames[0], "/changed", 1);
        setenv(kNames[1], "1", 1);
        qx::restoreOocEnvironment();
        EXPECT_EQ(c.unloaded, vars());
    }
    reset(nullptr);
    qx::prepareOocEnvironment();
    EXPECT_EQ("/tmp/", vars()[0]);
    reset(nullptr);
}

int never(int, int, void*) { return 0; }

TEST(LibraryLoad, ClearsProgressAndSwitchesTraceOff) {
    reset(nullptr);
    qx::startProgress(never, &qx::progressTotal, 130, 50, 10);
    qx::setTraceState(1, "/nonexistent-qx-dir");
    EXPECT_EQ(1, qx::libraryLoad());
    EXPECT_EQ(0, qx::traceMask);
    EXPECT_STREQ("/nonexistent-qx-dir", qx::traceDir);  // no path: the directory stays
    EXPECT_TRUE(!qx::progressFn && !qx::progressArg && !qx::progressTotal && !qx::progressValue && !qx::progressStep);
    EXPECT_EQ("1500", vars()[1]);
    EXPECT_EQ(1, qx::libraryUnload());
    qx::setTraceState(0, "/tmp/");
    reset(nullptr);
}

}  // namespace
