// The record of one matting solve: parameters and the arrays in flight, so
// that the big arrays can be released at the earliest moment and on failure.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace qx {

struct MatteState {
    float* tripletValues = nullptr;      // affinity values, 45 a window (upper triangle), windows in reading order
    float* diagonalSums = nullptr;       // row sums of the affinities, one per pixel
    int32_t* tripletRows = nullptr;      // stays null: a value's row and column follow from its window
    int32_t* tripletColumns = nullptr;   // stays null
    void* spareArray = nullptr;          // stays null
    int32_t* variableOfPixel = nullptr;  // system variable of each pixel
    unsigned char* knownOfVariable = nullptr;  // 255 for a known variable, else 0
    unsigned char* markOfVariable = nullptr;   // the stretched mark of each variable
    unsigned char useDirectSolver = 1;   // 1: solveSparseDirect, 0: solveSparseCG
    float* solution = nullptr;           // right side, then solved alpha (variables + 8)
    int lastStatus = 0;                  // last small-matrix status, never tested
    double epsilon = 1e-07;              // regularisation of the window covariance
    unsigned char inLow = 0;             // input stretch bounds
    unsigned char inHigh = 255;
    float sharpenGain = 0.0f;            // gain of sharpenAlpha; 0.2 or below: off
};

// Frees one array of the record (plain allocator) and sets it to null.
template <class T>
void releaseArray(T*& array) {
    std::free(array);
    array = nullptr;
}

// Frees every non-null array of the record and sets it to null.
void releaseMatteState(MatteState& state);

// Releases the state, then throws code.
[[noreturn]] void failMatte(MatteState& state, int code);

}  // namespace qx
