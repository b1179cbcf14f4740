// Trace records, their numbering and the set-up exports.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "frame/trace.h"
#include "qxmatte.h"

namespace {

struct TraceDir : ::testing::Test {
    std::string dir;
    void SetUp() override {
        char tmpl[] = "/tmp/qxtraceXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(tmpl));
        dir = tmpl;
    }
    void TearDown() override {
        qx::setTraceState(0, "/tmp/");
        std::remove(logPath().c_str());
        std::remove(dir.c_str());
    }
    std::string logPath() const { return dir + "/qxtrace_log.txt"; }
    std::string log() const {
        std::ifstream in(logPath());
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    static std::string rec(int seq, const std::string& body) {
        return "<<<<" + std::to_string(seq) + ": " + body + " \n>>>>\n";
    }
};

TEST_F(TraceDir, SwitchingOnWritesTwoNumberedRecords) {
    const int seq = qx::traceSeq;
    EXPECT_EQ(1, setDebugTrace(1, dir.c_str()));
    EXPECT_EQ(logPath(), qx::traceFile);
    std::string expected = rec(seq, "setTrace - traceFile: \n -- " + logPath()) +
                           rec(seq + 1, "setTrace - traceMask:  1");
    EXPECT_EQ(expected, log());

    EXPECT_EQ(1, qx::traceInt("ippStaticInit", -7));
    expected += rec(seq + 2, "ippStaticInit -7");
    // qxSetupLib with a mask of 3 (bit 0 set) appends, numbers keep rising.
    EXPECT_EQ(1, qxSetupLib(3, nullptr));
    expected += rec(seq + 3, "setTrace - traceFile: \n -- " + logPath()) +
                rec(seq + 4, "setTrace - traceMask:  3");
    EXPECT_EQ(expected, log());
    EXPECT_EQ(seq + 5, qx::traceSeq);
}

TEST_F(TraceDir, OffMasksWriteNothingButTakeThePath) {
    const int seq = qx::traceSeq;
    EXPECT_EQ(0, setDebugTrace(0, dir.c_str()));
    EXPECT_EQ(dir, qx::traceDir);
    EXPECT_EQ(0, setDebugTrace(2, nullptr));  // only bit 0 means anything
    EXPECT_EQ(2, qx::traceMask);
    EXPECT_EQ(0, qx::traceInt("label", 1));
    EXPECT_EQ(seq, qx::traceSeq);
    std::ifstream in(logPath());
    EXPECT_FALSE(in.good());
}

TEST_F(TraceDir, NegativeMaskChangesNothing) {
    ASSERT_EQ(0, setDebugTrace(0, dir.c_str()));
    const std::string file = qx::traceFile;
    EXPECT_EQ(0, qxSetupLib(-1, "/elsewhere"));
    EXPECT_EQ(dir, qx::traceDir);
    EXPECT_EQ(file, qx::traceFile);
    EXPECT_EQ(0, qx::traceMask);
}

TEST_F(TraceDir, UnwritableDirectoryLowersTheResult) {
    const int seq = qx::traceSeq;
    const std::string missing = dir + "/no/such/dir";
    EXPECT_EQ(0, setDebugTrace(1, missing.c_str()));
    EXPECT_EQ(0, qx::traceInt("x", 1));
    EXPECT_EQ(seq, qx::traceSeq);
}

}  // namespace
