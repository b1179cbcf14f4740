// An image pyramid whose reduced levels are released however the scope ends.
#pragma once

#include "matting/joint_upsample.h"

namespace qx {

struct PyramidHold {
    ImagePyramid pyramid;
    PyramidHold() { initPyramid(pyramid); }
    ~PyramidHold() noexcept(false) { releasePyramid(pyramid); }
    PyramidHold(const PyramidHold&) = delete;
    PyramidHold& operator=(const PyramidHold&) = delete;
};

}  // namespace qx
