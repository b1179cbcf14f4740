// Trace records, their numbering and the set-up exports.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "frame/trace.h"
#include "qxmatte.h"
#include "support/test_helpers.h"

namespace {

struct TraceDir : ::testing::Test {
    qxtest::TempDir tmp;
    std::string dir = tmp.path, logPath = tmp.file("qxtrace_log.txt");
    void TearDown() override { qx::setTraceState(0, "/tmp/"); }
    std::string log() const {
        std::stringstream s;
        s << std::ifstream(logPath).rdbuf();
        return s.str();
    }
    static std::string rec(int seq, const std::string& body) {
        return "<<<<" + std::to_string(seq) + ": " + body + " \n>>>>\n";
    }
};

TEST_F(TraceDir, SwitchingOnWritesNumberedRecords) {
    const int seq = qx::traceSeq;
    EXPECT_EQ(1, setDebugTrace(1, dir.c_str()));
    EXPECT_EQ(logPath, qx::traceFile);
    EXPECT_EQ(1, qx::traceInt("ippStaticInit", -7));
    // qxSetupLib with a mask of 3 (bit 0 set) appends, numbers keep rising.
    EXPECT_EQ(1, qxSetupLib(3, nullptr));
    EXPECT_EQ(rec(seq, "setTrace - traceFile: \n -- " + logPath) + rec(seq + 1, "setTrace - traceMask:  1") +
                  rec(seq + 2, "ippStaticInit -7") + rec(seq + 3, "setTrace - traceFile: \n -- " + logPath) +
                  rec(seq + 4, "setTrace - traceMask:  3"),
              log());
    EXPECT_EQ(seq + 5, qx::traceSeq);
}

TEST_F(TraceDir, OffOrUnwritableWritesNothingAndNegativeChangesNothing) {
    const int seq = qx::traceSeq;
    EXPECT_EQ(0, setDebugTrace(0, dir.c_str()));
    const std::string file = qx::traceFile;
    EXPECT_EQ(0, qxSetupLib(-1, "/elsewhere"));
    EXPECT_TRUE(dir == qx::traceDir && file == qx::traceFile && qx::traceMask == 0) << qx::traceDir;

    EXPECT_EQ(0, setDebugTrace(2, nullptr));  // only bit 0 means anything
    EXPECT_EQ(2, qx::traceMask);
    EXPECT_EQ(0, qx::traceInt("label", 1));
    EXPECT_FALSE(std::ifstream(logPath).good());
    EXPECT_EQ(0, setDebugTrace(1, (dir + "/no/such/dir").c_str()));
    EXPECT_EQ(0, qx::traceInt("x", 1));
    EXPECT_EQ(seq, qx::traceSeq);
}

}  // namespace
