// The catch frame of the exports: each export that catches runs its work
// through runExport with its own column of the catch table, turning a thrown
// int, std::bad_alloc or anything else into its return value. Exports without
// a column let exceptions pass to the host; of those, only the three that
// return nothing remain (qxShowKeepBlend, qxGrabCutEdgeGen, qxGrabCutDeleteBuf).
#pragma once

#include <new>

#include "frame/thread_team.h"

namespace qx {

struct CatchColumn {
    bool intPassesThrough;  // a thrown int e returns e + intBias; else it counts as "other"
    int intBias;
    int badAlloc;           // result for std::bad_alloc
    int other;              // result for anything else
};

//                                                  int e      bad_alloc  else
constexpr CatchColumn kMaskAlphaColumn{true, -1000, -1000, -1000};
constexpr CatchColumn kGrabCutColumn{true, -1000, -1, -1000};
constexpr CatchColumn kSolveLocalColumn{true, -1000, -1, -1000};
constexpr CatchColumn kForegroundTileColumn{true, 0, -1, -1};
constexpr CatchColumn kForegroundColumn{false, 0, -1, -1000};
constexpr CatchColumn kForegroundCellColumn{true, 0, -1, -1000};
constexpr CatchColumn kKeepCutColumn{true, 0, -1, -1000};
// The brushes, display, mask and tone exports: nothing thrown inside them
// (a work image too large for memory, an OpenCV refusal) may reach a host
// that calls from C, so each maps every failure to its refusal value.
constexpr CatchColumn kRefuseMinusOneColumn{false, 0, -1, -1};
constexpr CatchColumn kRefuseZeroColumn{false, 0, 0, 0};

// Runs work() (which returns the export's success value) and maps whatever it
// throws by the column. Buffers of the work are released by unwinding. The
// work runs on one thread when the address space cannot hold more.
template <class Work>
int runExport(const CatchColumn& column, Work&& work) {
    const AffordableThreads threads;
    try {
        return work();
    } catch (int e) {
        return column.intPassesThrough ? e + column.intBias : column.other;
    } catch (const std::bad_alloc&) {
        return column.badAlloc;
    } catch (...) {
        return column.other;
    }
}

}  // namespace qx

// Marks a function as one of the library's exports.
#define QX_EXPORT extern "C" __attribute__((visibility("default")))
