#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

#include "frame/progress.h"
#include "frame/status.h"
#include "matting/matting_system.h"
#include "matting/sparse_grid_order.h"
#include "matting/sparse_solver.h"

namespace qx {

namespace {

constexpr double kInv255 = 0.00392156862745098;
constexpr int kTripletsPerWindow = 45;

template <class T>
using Array = std::unique_ptr<T[]>;

// Null when the memory is not to be had: the caller turns that into a status.
template <class T>
Array<T> allocateArray(std::size_t n) {
    return Array<T>(new (std::nothrow) T[std::max<std::size_t>(n, 1)]);
}

// The system L + 255 Known in upper-triangle rows counting from 1. Value is
// float for the direct solver and double for the iterative one.
template <class Value>
struct UpperRows {
    Array<Value> values;
    Array<int> columns;
    Array<int> rowStart;
};

// The pixels that share a window with a pixel and come at or after it in
// reading order lie at 13 places (dy, dx): dy 0 with dx 0..2, dy 1 and 2
// with dx -2..2. Their slot numbers rise with (dy, dx), and so with the
// pixel index and the column of the matrix.
constexpr int kSlots = 13;
constexpr int slotOf(int dy, int dx) { return dy == 0 ? dx : 3 + (dy - 1) * 5 + dx + 2; }

// For the pixel at place a of a window (3 * row + column): the slot of each
// place b >= a, the slots present, and where the pair's value lies among
// the window's 45 stored affinities (its upper triangle, row by row).
struct WindowSlots {
    int8_t slot[9][9] = {};
    int8_t stored[9][9] = {};
    uint16_t present[9] = {};
    int dy[kSlots] = {}, dx[kSlots] = {};
    WindowSlots() {
        int t = 0;
        for (int a = 0; a < 9; ++a)
            for (int b = a; b < 9; ++b) {
                const int y = b / 3 - a / 3, x = b % 3 - a % 3, s = slotOf(y, x);
                slot[a][b] = static_cast<int8_t>(s);
                stored[a][b] = static_cast<int8_t>(t++);
                present[a] = static_cast<uint16_t>(present[a] | (1u << s));
                dy[s] = y;
                dx[s] = x;
            }
    }
};

// Number of each built window by its centre pixel, -1 elsewhere: windows
// are built where the mask (before the second erosion) is 0, inside the
// image's outer frame, and numbered in reading order.
Array<int32_t> numberWindows(const GIMG<unsigned char>& windowMask) {
    const int width = windowMask.width, height = windowMask.height;
    Array<int32_t> windowAt = allocateArray<int32_t>(static_cast<std::size_t>(width) * height);
    if (!windowAt) return windowAt;
    int32_t next = 0;
    for (int y = 0; y < height; ++y) {
        const unsigned char* mask = windowMask.row(y);
        int32_t* at = windowAt.get() + static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x)
            at[x] = (y >= 1 && y < height - 1 && x >= 1 && x < width - 1 && mask[x] == 0) ? next++ : -1;
    }
    return windowAt;
}

// Calls visit(window, place) for each built window holding pixel (x, y),
// windows in reading order.
template <class Visit>
void forWindowsOf(const int32_t* windowAt, int width, int height, int x, int y, Visit visit) {
    const int firstY = std::max(y - 1, 1), lastY = std::min(y + 1, height - 2);
    const int firstX = std::max(x - 1, 1), lastX = std::min(x + 1, width - 2);
    for (int cy = firstY; cy <= lastY; ++cy)
        for (int cx = firstX; cx <= lastX; ++cx) {
            const int32_t w = windowAt[static_cast<std::ptrdiff_t>(cy) * width + cx];
            if (w >= 0) visit(w, 3 * (y - cy + 1) + (x - cx + 1));
        }
}

// The rows straight from the windows' stored affinities, with no triplets
// in between: each entry sums its windows' values in reading order of the
// windows, as merging the triplets in the order they were made did, so the
// matrix is bit for bit the same. Rows are independent: pixel rows in
// parallel, entries counted first to place every row.
template <class Value>
UpperRows<Value> rowsFromWindows(MatteState& state, const int32_t* windowAt, int width, int height, int order) {
    static const WindowSlots slots;
    const int32_t* variableOfPixel = state.variableOfPixel;
    const unsigned char* known = state.knownOfVariable;
    const float* values = state.tripletValues;
    const float* diagonalSums = state.diagonalSums;
    UpperRows<Value> matrix;
    matrix.rowStart = allocateArray<int>(static_cast<std::size_t>(order) + 8);
    if (!matrix.rowStart) failMatte(state, kSystemAllocFailed);
    int* rowStart = matrix.rowStart.get();

#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        const int32_t* variable = variableOfPixel + static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            if (variable[x] < 0) continue;
            unsigned present = 1u;  // a variable no window touches keeps its diagonal
            forWindowsOf(windowAt, width, height, x, y, [&](int32_t, int a) { present |= slots.present[a]; });
            rowStart[variable[x] + 1] = __builtin_popcount(present);
        }
    }
    rowStart[0] = 1;
    for (int i = 0; i < order; ++i) rowStart[i + 1] += rowStart[i];

    const std::size_t entries = static_cast<std::size_t>(rowStart[order]) - 1;
    matrix.values = allocateArray<Value>(entries + 8);
    matrix.columns = allocateArray<int>(entries + 8);
    if (!matrix.values || !matrix.columns) {
        matrix = UpperRows<Value>{};
        failMatte(state, kSystemAllocFailed);
    }
    Value* out = matrix.values.get();
    int* columns = matrix.columns.get();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        const std::ptrdiff_t rowPixel = static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            const int32_t i = variableOfPixel[rowPixel + x];
            if (i < 0) continue;
            float sum[kSlots] = {};
            unsigned present = 1u;
            bool touched = false;
            forWindowsOf(windowAt, width, height, x, y, [&](int32_t w, int a) {
                touched = true;
                const float* window = values + static_cast<std::ptrdiff_t>(w) * kTripletsPerWindow;
                present |= slots.present[a];
                for (int b = a; b < 9; ++b) sum[slots.slot[a][b]] += window[slots.stored[a][b]];
            });
            int j = rowStart[i] - 1;
            // The diagonal: the mark term, plus L's row sum less the pixel's
            // own affinity when a window holds the pixel.
            out[j] = touched ? (static_cast<Value>(known[i]) + static_cast<Value>(diagonalSums[rowPixel + x])) -
                                   static_cast<Value>(sum[0])
                             : static_cast<Value>(known[i]);
            columns[j++] = i + 1;
            for (unsigned bits = present & ~1u; bits; bits &= bits - 1) {
                const int s = __builtin_ctz(bits);
                const std::ptrdiff_t q = rowPixel + x + static_cast<std::ptrdiff_t>(slots.dy[s]) * width + slots.dx[s];
                out[j] = -static_cast<Value>(sum[s]);
                columns[j++] = variableOfPixel[q] + 1;
            }
        }
    }
    return matrix;
}

// Drops the arrays the solver no longer needs, so that it can have the memory.
void releaseAssemblyArrays(MatteState& state) {
    releaseArray(state.diagonalSums);
    releaseArray(state.tripletRows);
    releaseArray(state.tripletColumns);
    releaseArray(state.variableOfPixel);
    releaseArray(state.tripletValues);
}

// The elimination order from the variables' places in the image: windows
// couple pixels at most 2 apart. The same solution as with the solver's own
// ordering up to rounding, found in a fraction of its time, and with larger
// dense blocks in the factor (half the factorisation time at 300000
// unknowns).
Array<int> gridOrder(const MatteState& state, int width, int height, int order) {
    Array<int> xs = allocateArray<int>(order), ys = allocateArray<int>(order), given = allocateArray<int>(order);
    if (!xs || !ys || !given) return Array<int>();
    const int32_t* variable = state.variableOfPixel;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x, ++variable)
            if (*variable >= 0) xs[*variable] = x, ys[*variable] = y;
    gridNestedDissection(order, xs.get(), ys.get(), 2, given.get());
    return given;
}

void solveDirect(MatteState& state, const int32_t* windowAt, int width, int height, int order) {
    UpperRows<float> matrix = rowsFromWindows<float>(state, windowAt, width, height, order);
    Array<int> given = gridOrder(state, width, height, order);
    if (!given) {
        matrix = UpperRows<float>{};
        failMatte(state, kSystemAllocFailed);
    }
    for (int i = 0; i < order; ++i)
        state.solution[i] =
            static_cast<float>(state.markOfVariable[i] * state.knownOfVariable[i]) * 0.003921569f;
    releaseAssemblyArrays(state);
    tickProgress();

    Array<float> scratch = allocateArray<float>(static_cast<std::size_t>(order) + 8);
    if (!scratch) {
        matrix = UpperRows<float>{};
        failMatte(state, kSystemAllocFailed);
    }
    int result;
    try {
        result = solveSparseDirect(order, matrix.values.get(), matrix.rowStart.get(), matrix.columns.get(),
                                   state.solution, scratch.get(), given.get());
    } catch (...) {
        releaseMatteState(state);
        throw;
    }
    matrix = UpperRows<float>{};
    scratch.reset();
    if (result == 0) failMatte(state, kSolverOutOfMemory);
}

void solveIterative(MatteState& state, const int32_t* windowAt, int width, int height, int order) {
    const std::size_t vectorLength = static_cast<std::size_t>(order) + 8;
    Array<double> rightSide = allocateArray<double>(vectorLength);
    Array<double> startVector = allocateArray<double>(vectorLength);
    if (!rightSide || !startVector) failMatte(state, kSystemAllocFailed);
    UpperRows<double> matrix = rowsFromWindows<double>(state, windowAt, width, height, order);
    for (int i = 0; i < order; ++i) {
        startVector[i] = state.markOfVariable[i] * kInv255;
        rightSide[i] = state.knownOfVariable[i] * startVector[i];
    }
    releaseAssemblyArrays(state);
    tickProgress();

    Array<double> work = allocateArray<double>(4 * static_cast<std::size_t>(order) + 8);
    if (!work) {
        matrix = UpperRows<double>{};
        failMatte(state, kSystemAllocFailed);
    }
    const int iterationLimit = std::min(order, 500);
    int result;
    try {
        // A coarse pass, then the fine one from where it stopped.
        solveSparseCG(order, matrix.values.get(), matrix.rowStart.get(), matrix.columns.get(), rightSide.get(),
                      startVector.get(), iterationLimit, 0.001, work.get());
        result = solveSparseCG(order, matrix.values.get(), matrix.rowStart.get(), matrix.columns.get(),
                               rightSide.get(), startVector.get(), iterationLimit, 1e-05, work.get());
    } catch (...) {
        releaseMatteState(state);
        throw;
    }
    ippsConvert_64f32f(startVector.get(), state.solution, order);
    if (result < 0) failMatte(state, kIterativeBase + result);
}

}  // namespace

int assembleAndSolve(MatteState& state, int width, int height, int /*count*/, GIMG<unsigned char>& knownMask,
                     GIMG<unsigned char>& solveMask, GIMG<unsigned char>& work) {
    // The windows were built where solveMask is 0 now, before the second erosion.
    const Array<int32_t> windowAt = numberWindows(solveMask);
    if (!windowAt) failMatte(state, kSystemAllocFailed);
    // The assembly's two steps of progress, counted before the size check.
    tickProgress();
    tickProgress();

    // The second erosion: every pixel that a built window touches becomes a variable.
    erodeKnown(solveMask);
    double maskSum = 0.0;
    ippiSum_8u_C1R(solveMask.pixels, solveMask.step, width, height, &maskSum);
    const long long pixelCount = static_cast<long long>(width) * height;
    const long long variableCount = pixelCount - static_cast<long long>(maskSum * kInv255 + 0.4);
    if (variableCount > kVariableLimit) failMatte(state, kSystemTooLarge);

    // The system order is the number of zero pixels, which is variableCount
    // for a mask of 0 and 255; counting keeps the arrays right for any mask.
    int order = 0;
    for (int y = 0; y < height; ++y) {
        const unsigned char* mask = solveMask.row(y);
        for (int x = 0; x < width; ++x) order += mask[x] == 0;
    }
    state.variableOfPixel = static_cast<int32_t*>(std::malloc(pixelCount * sizeof(int32_t)));
    state.knownOfVariable = static_cast<unsigned char*>(std::malloc(std::max(order, 1)));
    state.markOfVariable = static_cast<unsigned char*>(std::malloc(std::max(order, 1)));
    if (!state.variableOfPixel || !state.knownOfVariable || !state.markOfVariable)
        failMatte(state, kSystemAllocFailed);
    int next = 0;
    for (int y = 0; y < height; ++y) {
        const unsigned char* mask = solveMask.row(y);
        const unsigned char* known = knownMask.row(y);
        const unsigned char* marks = work.row(y);
        int32_t* variable = state.variableOfPixel + static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            if (mask[x] != 0) {
                variable[x] = -1;
                continue;
            }
            variable[x] = next;
            state.knownOfVariable[next] = known[x];
            state.markOfVariable[next] = marks[x];
            ++next;
        }
    }
    state.solution = static_cast<float*>(std::malloc((static_cast<std::size_t>(order) + 8) * sizeof(float)));
    if (!state.solution) failMatte(state, kSystemAllocFailed);

    if (state.useDirectSolver)
        solveDirect(state, windowAt.get(), width, height, order);
    else
        solveIterative(state, windowAt.get(), width, height, order);

    // Alpha 0..1 to 0..255, clamped.
    const int rowBytes = order * static_cast<int>(sizeof(float));
    ippiMulC_32f_C1IR(255.0f, state.solution, rowBytes, order, 1);
    ippiThreshold_GT_32f_C1IR(state.solution, rowBytes, order, 1, 255.0f);
    ippiThreshold_LT_32f_C1IR(state.solution, rowBytes, order, 1, 0.0f);
    return 0;
}

}  // namespace qx
