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
#include "matting/triplet_sort.h"

namespace qx {

namespace {

constexpr double kInv255 = 0.00392156862745098;

template <class T>
using Array = std::unique_ptr<T[]>;

// Null when the memory is not to be had: the caller turns that into a status.
template <class T>
Array<T> allocateArray(std::size_t n) {
    return Array<T>(new (std::nothrow) T[std::max<std::size_t>(n, 1)]);
}

// The system L + 255 Known in upper-triangle rows counting from 1, built by
// walking the merged triplets alongside the variables. Value is float for the
// direct solver and double for the iterative one.
template <class Value>
struct UpperRows {
    Array<Value> values;
    Array<int> columns;
    Array<int> rowStart;
};

template <class Value>
void walkTriplets(const MatteState& state, int order, int mergedCount, UpperRows<Value>& matrix) {
    const int32_t* variableOfPixel = state.variableOfPixel;
    const int32_t* rows = state.tripletRows;
    const int32_t* columns = state.tripletColumns;
    const float* values = state.tripletValues;
    const unsigned char* known = state.knownOfVariable;
    int j = 0, t = 0;
    for (int i = 0; i < order; ++i) {
        matrix.rowStart[i] = j + 1;
        // Rows of pixels without a variable cannot occur (every pixel of a
        // built window is a variable); passed over for safety.
        while (t < mergedCount && variableOfPixel[rows[t]] < i) ++t;
        if (t >= mergedCount || variableOfPixel[rows[t]] > i) {
            // No window touches this variable: only its mark term.
            matrix.values[j] = static_cast<Value>(known[i]);
            matrix.columns[j++] = i + 1;
            continue;
        }
        for (; t < mergedCount && variableOfPixel[rows[t]] == i; ++t) {
            const int columnVariable = variableOfPixel[columns[t]];
            if (columnVariable == i) {
                matrix.values[j] = (static_cast<Value>(known[i]) + static_cast<Value>(state.diagonalSums[rows[t]])) -
                                   static_cast<Value>(values[t]);
                matrix.columns[j++] = i + 1;
            } else if (columnVariable > i) {
                matrix.values[j] = -static_cast<Value>(values[t]);
                matrix.columns[j++] = columnVariable + 1;
            }
        }
    }
    matrix.rowStart[order] = j + 1;
}

template <class Value>
UpperRows<Value> allocateMatrix(MatteState& state, int order, int mergedCount) {
    // Room for every merged triplet and a lone diagonal for any variable
    // without triplets.
    const std::size_t entries = static_cast<std::size_t>(mergedCount) + order + 8;
    UpperRows<Value> matrix{allocateArray<Value>(entries), allocateArray<int>(entries),
                            allocateArray<int>(static_cast<std::size_t>(order) + 8)};
    // On failure the arrays that were made are freed as the throw unwinds.
    if (!matrix.values || !matrix.columns || !matrix.rowStart) failMatte(state, kSystemAllocFailed);
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

void solveDirect(MatteState& state, int width, int height, int order, int mergedCount) {
    UpperRows<float> matrix = allocateMatrix<float>(state, order, mergedCount);
    Array<int> given = gridOrder(state, width, height, order);
    if (!given) {
        matrix = UpperRows<float>{};
        failMatte(state, kSystemAllocFailed);
    }
    for (int i = 0; i < order; ++i)
        state.solution[i] =
            static_cast<float>(state.markOfVariable[i] * state.knownOfVariable[i]) * 0.003921569f;
    walkTriplets(state, order, mergedCount, matrix);
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

void solveIterative(MatteState& state, int order, int mergedCount) {
    const std::size_t vectorLength = static_cast<std::size_t>(order) + 8;
    Array<double> rightSide = allocateArray<double>(vectorLength);
    Array<double> startVector = allocateArray<double>(vectorLength);
    if (!rightSide || !startVector) failMatte(state, kSystemAllocFailed);
    UpperRows<double> matrix = allocateMatrix<double>(state, order, mergedCount);
    for (int i = 0; i < order; ++i) {
        startVector[i] = state.markOfVariable[i] * kInv255;
        rightSide[i] = state.knownOfVariable[i] * startVector[i];
    }
    walkTriplets(state, order, mergedCount, matrix);
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

int assembleAndSolve(MatteState& state, int width, int height, int count, GIMG<unsigned char>& knownMask,
                     GIMG<unsigned char>& solveMask, GIMG<unsigned char>& work) {
    const int mergedCount = sortAndMergeTriplets(state, width, count) + 1;

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
        solveDirect(state, width, height, order, mergedCount);
    else
        solveIterative(state, order, mergedCount);

    // Alpha 0..1 to 0..255, clamped.
    const int rowBytes = order * static_cast<int>(sizeof(float));
    ippiMulC_32f_C1IR(255.0f, state.solution, rowBytes, order, 1);
    ippiThreshold_GT_32f_C1IR(state.solution, rowBytes, order, 1, 255.0f);
    ippiThreshold_LT_32f_C1IR(state.solution, rowBytes, order, 1, 0.0f);
    return 0;
}

}  // namespace qx
