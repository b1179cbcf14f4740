// Out-of-core environment at load and unload, and the load sequence.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "frame/library_load.h"
#include "frame/ooc_environment.h"
#include "frame/progress.h"
#include "frame/trace.h"

namespace {

const char* kPath = "MKL_PARDISO_OOC_PATH";
const char* kCore = "MKL_PARDISO_OOC_MAX_CORE_SIZE";
const char* kKeep = "MKL_PARDISO_OOC_KEEP_FILE";

std::string env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "<unset>";
}

struct OocEnvironment : ::testing::Test {
    void SetUp() override {
        for (const char* n : {kPath, kCore, kKeep}) unsetenv(n);
        setenv("TMPDIR", "/scratch/qx/", 1);
    }
    void TearDown() override { SetUp(); }
};

TEST_F(OocEnvironment, DefaultsWhenNothingIsSet) {
    qx::prepareOocEnvironment();
    EXPECT_EQ(1, qx::oocEnvReady);
    EXPECT_EQ("/scratch/qx/", env(kPath));
    EXPECT_EQ("1500", env(kCore));
    EXPECT_EQ("0", env(kKeep));
    // Unload removes nothing that load added.
    qx::restoreOocEnvironment();
    EXPECT_EQ("/scratch/qx/", env(kPath));
    EXPECT_EQ("1500", env(kCore));
    EXPECT_EQ("0", env(kKeep));

    unsetenv("TMPDIR");
    for (const char* n : {kPath, kCore, kKeep}) unsetenv(n);
    qx::prepareOocEnvironment();
    EXPECT_EQ("/tmp/", env(kPath));
}

TEST_F(OocEnvironment, UserPathWinsAndIsWrittenBack) {
    setenv(kPath, "/data/ooc", 1);
    setenv(kCore, "800", 1);
    qx::prepareOocEnvironment();
    EXPECT_EQ(1, qx::oocEnvReady);
    EXPECT_EQ("/data/ooc", env(kPath));
    EXPECT_EQ("800", env(kCore));
    EXPECT_EQ("<unset>", env(kKeep));

    setenv(kPath, "/changed", 1);
    setenv(kCore, "1", 1);
    qx::restoreOocEnvironment();
    EXPECT_EQ("/data/ooc", env(kPath));
    EXPECT_EQ("800", env(kCore));
    EXPECT_EQ("", env(kKeep));  // restored with the path, even though it was unset
}

TEST_F(OocEnvironment, KeepFileRestoredOnlyWithAPath) {
    setenv(kCore, "900", 1);
    setenv(kKeep, "1", 1);
    qx::prepareOocEnvironment();
    EXPECT_EQ("/scratch/qx/", env(kPath));
    EXPECT_EQ("1500", env(kCore));
    EXPECT_EQ("0", env(kKeep));
    qx::restoreOocEnvironment();
    EXPECT_EQ("/scratch/qx/", env(kPath));
    EXPECT_EQ("900", env(kCore));
    EXPECT_EQ("0", env(kKeep));
}

int never(int, int, void*) { return 0; }

TEST_F(OocEnvironment, LoadClearsProgressAndSwitchesTraceOff) {
    qx::startProgress(never, &qx::progressTotal, 130, 50, 10);
    qx::setTraceState(1, "/nonexistent-qx-dir");
    EXPECT_EQ(1, qx::libraryLoad());
    EXPECT_EQ(0, qx::traceMask);
    EXPECT_STREQ("/nonexistent-qx-dir", qx::traceDir);  // no path: the directory stays
    EXPECT_EQ(nullptr, qx::progressFn);
    EXPECT_EQ(nullptr, qx::progressArg);
    EXPECT_EQ(0, qx::progressTotal + qx::progressValue + qx::progressStep);
    EXPECT_EQ("1500", env(kCore));
    EXPECT_EQ(1, qx::libraryUnload());
    qx::setTraceState(0, "/tmp/");
}

}  // namespace
