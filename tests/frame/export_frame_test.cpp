// The catch columns of the exports.
#include <gtest/gtest.h>

#include <stdexcept>

#include "frame/export_frame.h"
#include "frame/status.h"

TEST(ExportFrame, EachColumnMapsEachFailure) {
    const struct {
        const char* name;
        qx::CatchColumn column;
        int on103, onBadAlloc, onOther;
    } rows[] = {
        {"maskAlpha", qx::kMaskAlphaColumn, -897, -1000, -1000},
        {"grabCut", qx::kGrabCutColumn, -897, -1, -1000},
        {"solveLocal", qx::kSolveLocalColumn, -897, -1, -1000},
        {"foregroundTile", qx::kForegroundTileColumn, 103, -1, -1},
        {"foreground", qx::kForegroundColumn, -1000, -1, -1000},
        {"foregroundCell", qx::kForegroundCellColumn, 103, -1, -1000},
        {"keepCut", qx::kKeepCutColumn, 103, -1, -1000},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(1, qx::runExport(r.column, [] { return 1; }));
        EXPECT_EQ(r.on103, qx::runExport(r.column, []() -> int { throw 103; }));
        EXPECT_EQ(r.onBadAlloc, qx::runExport(r.column, []() -> int { throw std::bad_alloc(); }));
        EXPECT_EQ(r.onOther, qx::runExport(r.column, []() -> int { throw std::runtime_error("x"); }));
        // The foreground solver's status type is no int.
        EXPECT_EQ(r.onOther, qx::runExport(r.column, []() -> int { throw qx::QxBase::QXRC_FILTER; }));
    }
    EXPECT_EQ(-898, qx::runExport(qx::kMaskAlphaColumn, []() -> int { throw 102; }));
    EXPECT_EQ(-5, qx::runExport(qx::kKeepCutColumn, []() -> int { throw -5; }));
}
